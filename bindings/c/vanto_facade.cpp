// The facade: one vanto_t per Vanto, its connection settings, the unit's devices and printing.

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "COptions.hpp"
#include "CPrintCallbacks.hpp"
#include "CallGuard.hpp"
#include "DeliveryReports.hpp"
#include "Handles.hpp"
#include "OutBuffers.hpp"
#include "ReportWaiter.hpp"
#include "vantoconnect/vanto.h"

using namespace vantoc;

namespace {

// Why a receipt's report says it did not reach the printer whole, as the status of
// vanto_print_and_wait and its reason.
CApiError undelivered(std::uint64_t id, const ReportWaiter::Outcome& outcome) {
    using Kind = vantoconnect::VantoError::Kind;
    const std::string receipt = "receipt " + std::to_string(id);
    const std::optional<vantoconnect::VantoError>& error = outcome.error;
    if (error && error->kind() == Kind::PRINTER_NOT_RESPONDING) {
        return {VANTO_ERROR_PRINTER_NOT_RESPONDING,
                receipt +
                    " was not printed: the printer queue gave up on it "
                    "(PRINTER_NOT_RESPONDING)"};
    }
    if (outcome.report.cancelled) {
        return {VANTO_ERROR_CANCELLED, receipt + " was not printed: " +
                                           (error ? error->message() : outcome.report.summary())};
    }
    // Part of it went out: the report says how much, the error why the rest did not.
    const std::string why =
        receipt + ": " + outcome.report.summary() +
        (error && !error->message().empty() ? " (" + error->message() + ")" : "");
    if (error && error->kind() != Kind::GENERIC) {
        return {statusOf(*error), why};
    }
    return {VANTO_ERROR_NOT_DELIVERED, why};
}

}  // namespace

extern "C" {

vanto_status vanto_create(vanto_t** vanto) {
    return vanto_create_with(nullptr, vanto);
}

vanto_status vanto_create_with(const vanto_options* options, vanto_t** vanto) {
    return guarded(__func__, [&] {
        vanto_t*& out = required(vanto, "vanto");
        out = new vanto_t(facadeOptions(options));
    });
}

vanto_status vanto_profile(const vanto_t* vanto, int* profile) {
    return guarded(__func__, [&] {
        int& out = required(profile, "profile");
        out = required(vanto, "vanto").profile() == vantoreceipts::Profile::Classic
                  ? VANTO_PROFILE_CLASSIC
                  : VANTO_PROFILE_RESILIENT;
    });
}

void vanto_free(vanto_t* vanto) {
    delete vanto;
}

vanto_status vanto_set_address(vanto_t* vanto, const char* address) {
    return guarded(
        __func__, [&] { required(vanto, "vanto").setAddress(requiredString(address, "address")); });
}

vanto_status vanto_get_address(const vanto_t* vanto, char** address) {
    return guarded(__func__, [&] {
        char*& out = required(address, "address");
        out = OutBuffers::string(required(vanto, "vanto").address());
    });
}

vanto_status vanto_set_port(vanto_t* vanto, int32_t port) {
    return guarded(__func__, [&] { required(vanto, "vanto").setPort(port); });
}

vanto_status vanto_get_port(const vanto_t* vanto, int32_t* port) {
    return guarded(__func__, [&] {
        int32_t& out = required(port, "port");
        out = required(vanto, "vanto").port();
    });
}

vanto_status vanto_connection_status(vanto_t* vanto, int64_t* status) {
    return guarded(__func__, [&] {
        int64_t& out = required(status, "status");
        out = required(vanto, "vanto").connectionStatus();
    });
}

vanto_status vanto_disconnect(vanto_t* vanto) {
    return guarded(__func__, [&] { required(vanto, "vanto").disconnect(); });
}

vanto_status vanto_cash_drawer_status(vanto_t* vanto, int64_t* status) {
    return guarded(__func__, [&] {
        int64_t& out = required(status, "status");
        out = required(vanto, "vanto").cashDrawerStatus();
    });
}

vanto_status vanto_open_cash_drawer(vanto_t* vanto, int validate, int* pulse_sent) {
    return guarded(__func__, [&] {
        int& out = required(pulse_sent, "pulse_sent");
        out = required(vanto, "vanto").openCashDrawer(validate != 0) ? 1 : 0;
    });
}

vanto_status vanto_set_diagnostic_led(vanto_t* vanto, int64_t position, int64_t colour) {
    return guarded(__func__, [&] { required(vanto, "vanto").setDiagnosticLed(position, colour); });
}

vanto_status vanto_set_cosmetic_led(vanto_t* vanto, int64_t colour) {
    return guarded(__func__, [&] { required(vanto, "vanto").setCosmeticLed(colour); });
}

vanto_status vanto_enable_usb(vanto_t* vanto) {
    return guarded(__func__, [&] { required(vanto, "vanto").enableUsb(); });
}

vanto_status vanto_disable_usb(vanto_t* vanto) {
    return guarded(__func__, [&] { required(vanto, "vanto").disableUsb(); });
}

vanto_status vanto_printer_busy(vanto_t* vanto, int* busy) {
    return guarded(__func__, [&] {
        int& out = required(busy, "busy");
        out = required(vanto, "vanto").printerBusy() ? 1 : 0;
    });
}

vanto_status vanto_print(vanto_t* vanto, vanto_receipt_t* receipt,
                         const vanto_print_callbacks* callbacks, uint64_t* receipt_id) {
    return guarded(__func__, [&] {
        auto& facade = required(vanto, "vanto");
        const auto& queued = required(receipt, "receipt");
        // Without callbacks this is print(receipt): the queue stands a do-nothing callback in.
        std::shared_ptr<CPrintCallbacks> forward;
        if (callbacks != nullptr) {
            forward = std::make_shared<CPrintCallbacks>(*callbacks);
        }
        const std::uint64_t id = facade.print(queued, forward, forward);
        if (receipt_id != nullptr) {
            *receipt_id = id;
        }
    });
}

vanto_status vanto_print_and_wait(vanto_t* vanto, vanto_receipt_t* receipt, int64_t timeout_ms,
                                  vanto_delivery_report* report) {
    return guarded(__func__, [&] {
        auto& facade = required(vanto, "vanto");
        const auto& queued = required(receipt, "receipt");
        if (report != nullptr) {
            // Before the receipt is queued: a report that cannot be filled must not print it.
            checkedSize(report->struct_size, "report");
        }
        auto waiter = std::make_shared<ReportWaiter>();
        const std::uint64_t id = facade.print(queued, waiter, waiter);
        const auto outcome = waiter->wait(std::chrono::milliseconds(timeout_ms));
        if (!outcome) {
            throw CApiError(VANTO_ERROR_TIMEOUT,
                            "no delivery report for receipt " + std::to_string(id) + " within " +
                                std::to_string(timeout_ms) + " ms; it may still be printed later");
        }
        if (report != nullptr) {
            writeTo(*report, outcome->report);
        }
        if (!outcome->report.allAcknowledged) {
            throw undelivered(id, *outcome);
        }
    });
}

vanto_status vanto_cancel(vanto_t* vanto, uint64_t receipt_id, int* cancelled) {
    return guarded(__func__, [&] {
        int& out = required(cancelled, "cancelled");
        out = required(vanto, "vanto").cancel(receipt_id) ? 1 : 0;
    });
}

vanto_status vanto_waiting_receipts(vanto_t* vanto, size_t* waiting) {
    return guarded(__func__, [&] {
        size_t& out = required(waiting, "waiting");
        out = required(vanto, "vanto").waitingReceipts();
    });
}

}  // extern "C"
