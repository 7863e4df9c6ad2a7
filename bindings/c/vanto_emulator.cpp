// The emulated unit in the caller's process, with its faults and what it shows.

#include <limits>
#include <optional>
#include <string>

#include "CallGuard.hpp"
#include "Handles.hpp"
#include "OutBuffers.hpp"
#include "vantoconnect/vanto.h"

using namespace vantoc;
using vantoreceipts::CheckedUnit;

static_assert(static_cast<int>(vantoemu::PrinterCondition::NotReady) ==
                  VANTO_EMULATOR_PRINTER_NOT_READY &&
              static_cast<int>(vantoemu::PrinterCondition::Error) == VANTO_EMULATOR_PRINTER_ERROR);
static_assert(static_cast<int>(vantoemu::ReplyMode::Silent) == VANTO_EMULATOR_REPLY_SILENT &&
              static_cast<int>(vantoemu::ReplyMode::Unrecognised) ==
                  VANTO_EMULATOR_REPLY_UNRECOGNISED);

namespace {

CheckedUnit& checked(vanto_emulator_t* emulator) {
    return required(emulator, "emulator");
}

const vantoemu::EmulatedUnit& unitOf(const vanto_emulator_t* emulator) {
    return required(emulator, "emulator").unit();
}

vantoemu::PrintedReceipt printed(const vanto_emulator_t* emulator, int64_t number) {
    const auto& unit = unitOf(emulator);
    std::optional<vantoemu::PrintedReceipt> receipt;
    if (number >= 1 && number <= std::numeric_limits<int>::max()) {
        receipt = unit.receipt(static_cast<int>(number));
    }
    if (!receipt) {
        throw CApiError(VANTO_ERROR_INVALID,
                        "no receipt " + std::to_string(number) +
                            " in memory (receipts are numbered from 1; the unit keeps the last " +
                            std::to_string(vantoemu::ReceiptPipeline::RECEIPTS_IN_MEMORY) + ")");
    }
    return *receipt;
}

}  // namespace

extern "C" {

vanto_status vanto_emulator_create(const char* bind, int32_t port, const char* out_dir,
                                   vanto_emulator_t** emulator) {
    return guarded(__func__, [&] {
        vanto_emulator_t*& out = required(emulator, "emulator");
        CheckedUnit::Settings settings;
        settings.bind = bind != nullptr ? bind : "127.0.0.1";
        settings.port = port;
        settings.outDir = out_dir != nullptr ? out_dir : "";
        out = new vanto_emulator_t(settings);
    });
}

vanto_status vanto_emulator_start(vanto_emulator_t* emulator) {
    return guarded(__func__, [&] { checked(emulator).start(); });
}

vanto_status vanto_emulator_stop(vanto_emulator_t* emulator) {
    return guarded(__func__, [&] { checked(emulator).stop(); });
}

void vanto_emulator_free(vanto_emulator_t* emulator) {
    delete emulator;
}

vanto_status vanto_emulator_port(const vanto_emulator_t* emulator, int32_t* port) {
    return guarded(__func__, [&] {
        int32_t& out = required(port, "port");
        out = unitOf(emulator).port();
    });
}

vanto_status vanto_emulator_set_printer_state(vanto_emulator_t* emulator, int32_t state) {
    return guarded(__func__, [&] {
        checked(emulator).unit().setPrinterCondition(CheckedUnit::printerState(state));
    });
}

vanto_status vanto_emulator_set_printer_not_ready_polls(vanto_emulator_t* emulator, int32_t polls) {
    return guarded(__func__, [&] { checked(emulator).setPrinterNotReadyPolls(polls); });
}

vanto_status vanto_emulator_set_printer_error(vanto_emulator_t* emulator, int32_t packets) {
    return guarded(__func__, [&] { checked(emulator).setPrinterErrorReplies(packets); });
}

vanto_status vanto_emulator_set_reply_mode(vanto_emulator_t* emulator, int32_t mode) {
    return guarded(__func__,
                   [&] { checked(emulator).unit().setReplyMode(CheckedUnit::replyMode(mode)); });
}

vanto_status vanto_emulator_corrupt_next_replies(vanto_emulator_t* emulator, int32_t replies) {
    return guarded(__func__, [&] { checked(emulator).corruptNextReplies(replies); });
}

vanto_status vanto_emulator_set_reply_delay(vanto_emulator_t* emulator, int64_t delay_ms) {
    return guarded(__func__, [&] { checked(emulator).setReplyDelay(delay_ms); });
}

vanto_status vanto_emulator_set_refuse_connections(vanto_emulator_t* emulator, int refuse) {
    return guarded(__func__, [&] { checked(emulator).unit().setRefuseConnections(refuse != 0); });
}

vanto_status vanto_emulator_drop_next_connections(vanto_emulator_t* emulator, int32_t connections) {
    return guarded(__func__, [&] { checked(emulator).dropNextConnections(connections); });
}

vanto_status vanto_emulator_restart(vanto_emulator_t* emulator, int64_t downtime_ms) {
    return guarded(__func__, [&] { checked(emulator).restart(downtime_ms); });
}

vanto_status vanto_emulator_set_drawer_close_after(vanto_emulator_t* emulator, int64_t after_ms) {
    return guarded(__func__, [&] { checked(emulator).setDrawerCloseAfter(after_ms); });
}

vanto_status vanto_emulator_open_drawer(vanto_emulator_t* emulator) {
    return guarded(__func__, [&] { checked(emulator).unit().openDrawer(); });
}

vanto_status vanto_emulator_close_drawer(vanto_emulator_t* emulator) {
    return guarded(__func__, [&] { checked(emulator).unit().closeDrawer(); });
}

vanto_status vanto_emulator_drawer_open(const vanto_emulator_t* emulator, int* open) {
    return guarded(__func__, [&] {
        int& out = required(open, "open");
        out = unitOf(emulator).snapshot().drawerOpen ? 1 : 0;
    });
}

vanto_status vanto_emulator_diagnostic_led(const vanto_emulator_t* emulator, int64_t position,
                                           int64_t* colour) {
    return guarded(__func__, [&] {
        int64_t& out = required(colour, "colour");
        const auto snapshot = unitOf(emulator).snapshot();
        const int shown = position >= 0 && position <= 31
                              ? snapshot.diagnosticLed(static_cast<int>(position))
                              : -1;
        if (shown < 0) {
            throw CApiError(VANTO_ERROR_INVALID,
                            "no diagnostic LED at position " + std::to_string(position));
        }
        out = shown;
    });
}

vanto_status vanto_emulator_cosmetic_colour(const vanto_emulator_t* emulator, int64_t* colour) {
    return guarded(__func__, [&] {
        int64_t& out = required(colour, "colour");
        out = unitOf(emulator).snapshot().cosmeticColour;
    });
}

vanto_status vanto_emulator_usb_power(const vanto_emulator_t* emulator, int* on) {
    return guarded(__func__, [&] {
        int& out = required(on, "on");
        out = unitOf(emulator).snapshot().usbPower ? 1 : 0;
    });
}

vanto_status vanto_emulator_events(const vanto_emulator_t* emulator, char** jsonl) {
    return guarded(__func__, [&] {
        char*& out = required(jsonl, "jsonl");
        std::string lines;
        for (const auto& event : unitOf(emulator).events()) {
            lines += event.json;
            lines += '\n';
        }
        out = OutBuffers::string(lines);
    });
}

vanto_status vanto_emulator_receipt_count(const vanto_emulator_t* emulator, int64_t* count_) {
    return guarded(__func__, [&] {
        int64_t& out = required(count_, "count");
        out = static_cast<int64_t>(unitOf(emulator).snapshot().receipts);
    });
}

vanto_status vanto_emulator_wait_for_receipts(const vanto_emulator_t* emulator, int64_t count_,
                                              int64_t timeout_ms) {
    return guarded(__func__, [&] {
        if (!required(emulator, "emulator").waitForReceipts(count_, timeout_ms)) {
            throw CApiError(VANTO_ERROR_TIMEOUT, std::to_string(count_) +
                                                     " receipts were not printed within " +
                                                     std::to_string(timeout_ms) + " ms");
        }
    });
}

vanto_status vanto_emulator_receipt_text(const vanto_emulator_t* emulator, int64_t number,
                                         char** text) {
    return guarded(__func__, [&] {
        char*& out = required(text, "text");
        out = OutBuffers::string(printed(emulator, number).rendered.text);
    });
}

vanto_status vanto_emulator_receipt_png(const vanto_emulator_t* emulator, int64_t number,
                                        uint8_t** png, size_t* size) {
    return guarded(__func__, [&] {
        uint8_t*& outPng = required(png, "png");
        size_t& outSize = required(size, "size");
        const auto picture = printed(emulator, number).picture();
        if (!picture) {
            throw CApiError(VANTO_ERROR_INVALID,
                            "receipt " + std::to_string(number) +
                                "'s picture is neither in memory (the unit keeps the last " +
                                std::to_string(vantoemu::ReceiptPipeline::RECEIPTS_WITH_PIXELS) +
                                ") nor on disk (give the unit an out_dir to keep them all)");
        }
        outPng = OutBuffers::bytes(*picture);
        outSize = picture->size();
    });
}

vanto_status vanto_emulator_receipt_complete(const vanto_emulator_t* emulator, int64_t number,
                                             int* complete) {
    return guarded(__func__, [&] {
        int& out = required(complete, "complete");
        out = printed(emulator, number).complete() ? 1 : 0;
    });
}

}  // extern "C"
