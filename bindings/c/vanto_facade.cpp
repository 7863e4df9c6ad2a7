// The facade: one vanto_t per Vanto, its connection settings, the unit's devices and printing.

#include <chrono>
#include <memory>
#include <string>

#include "CPrintCallbacks.hpp"
#include "CallGuard.hpp"
#include "DeliveryReports.hpp"
#include "Handles.hpp"
#include "OutBuffers.hpp"
#include "ReportWaiter.hpp"
#include "vantoconnect/vanto.h"

using namespace vantoc;

extern "C" {

vanto_status vanto_create(vanto_t** vanto) {
    return guarded(__func__, [&] {
        vanto_t*& out = required(vanto, "vanto");
        out = new vanto_t();
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
        auto waiter = std::make_shared<ReportWaiter>();
        const std::uint64_t id = facade.print(queued, waiter, waiter);
        const auto outcome = waiter->wait(std::chrono::milliseconds(timeout_ms));
        if (!outcome) {
            throw CApiError(VANTO_ERROR_TIMEOUT,
                            "no delivery report for receipt " + std::to_string(id) + " within " +
                                std::to_string(timeout_ms) + " ms; it may still be printed later");
        }
        if (report != nullptr) {
            *report = toC(outcome->report);
        }
        if (outcome->dropped) {
            throw CApiError(VANTO_ERROR_PRINTER_NOT_RESPONDING,
                            "receipt " + std::to_string(id) +
                                " was not printed: the printer queue gave up on it "
                                "(PRINTER_NOT_RESPONDING)");
        }
        if (!outcome->report.allAcknowledged) {
            throw CApiError(VANTO_ERROR_NOT_DELIVERED,
                            "receipt " + std::to_string(id) + ": " + outcome->report.summary());
        }
    });
}

}  // extern "C"
