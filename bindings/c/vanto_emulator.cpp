// The emulated unit in the caller's process, with its faults and what it shows.

#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "CallGuard.hpp"
#include "Handles.hpp"
#include "OutBuffers.hpp"
#include "emulator/UnitOptions.hpp"
#include "vantoconnect/vanto.h"

using namespace vantoc;
using std::chrono::milliseconds;

namespace {

vantoemu::EmulatedUnit& unitOf(const vanto_emulator_t* emulator) {
    return *required(emulator, "emulator").unit;
}

int32_t count(int32_t value, const char* name) {
    if (value < 0) {
        throw CApiError(VANTO_ERROR_INVALID,
                        std::string(name) + " must not be negative, not " + std::to_string(value));
    }
    return value;
}

milliseconds duration(int64_t ms, const char* name) {
    if (ms < 0) {
        throw CApiError(VANTO_ERROR_INVALID,
                        std::string(name) + " must not be negative, not " + std::to_string(ms));
    }
    return milliseconds(ms);
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
        if (port < 0 || port > 65535) {
            throw CApiError(VANTO_ERROR_INVALID,
                            "port must lie in 0...65535, not " + std::to_string(port));
        }
        vantoemu::UnitOptions options;
        options.bind = bind != nullptr ? bind : "127.0.0.1";
        options.port = static_cast<std::uint16_t>(port);
        options.outDir = out_dir != nullptr ? out_dir : "";
        auto made = std::make_unique<vanto_emulator_t>();
        try {
            made->unit = std::make_unique<vantoemu::EmulatedUnit>(options);
        } catch (const std::runtime_error& e) {
            throw CApiError(VANTO_ERROR_IO, e.what());
        }
        out = made.release();
    });
}

vanto_status vanto_emulator_start(vanto_emulator_t* emulator) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        try {
            unit.start();
        } catch (const std::runtime_error& e) {
            throw CApiError(VANTO_ERROR_IO, e.what());
        }
    });
}

vanto_status vanto_emulator_stop(vanto_emulator_t* emulator) {
    return guarded(__func__, [&] { unitOf(emulator).stop(); });
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
        auto& unit = unitOf(emulator);
        switch (state) {
            case VANTO_EMULATOR_PRINTER_READY:
                unit.setPrinterCondition(vantoemu::PrinterCondition::Ready);
                return;
            case VANTO_EMULATOR_PRINTER_NOT_READY:
                unit.setPrinterCondition(vantoemu::PrinterCondition::NotReady);
                return;
            case VANTO_EMULATOR_PRINTER_ERROR:
                unit.setPrinterCondition(vantoemu::PrinterCondition::Error);
                return;
            default:
                throw CApiError(VANTO_ERROR_INVALID,
                                "unknown printer state " + std::to_string(state) +
                                    " (use VANTO_EMULATOR_PRINTER_READY, _NOT_READY or _ERROR)");
        }
    });
}

vanto_status vanto_emulator_set_printer_not_ready_polls(vanto_emulator_t* emulator, int32_t polls) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        unit.setPrinterNotReadyPolls(count(polls, "polls"));
    });
}

vanto_status vanto_emulator_set_printer_error(vanto_emulator_t* emulator, int32_t packets) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        unit.setPrinterErrorReplies(count(packets, "packets"));
    });
}

vanto_status vanto_emulator_set_reply_mode(vanto_emulator_t* emulator, int32_t mode) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        switch (mode) {
            case VANTO_EMULATOR_REPLY_NORMAL:
                unit.setReplyMode(vantoemu::ReplyMode::Normal);
                return;
            case VANTO_EMULATOR_REPLY_SILENT:
                unit.setReplyMode(vantoemu::ReplyMode::Silent);
                return;
            case VANTO_EMULATOR_REPLY_UNRECOGNISED:
                unit.setReplyMode(vantoemu::ReplyMode::Unrecognised);
                return;
            default:
                throw CApiError(VANTO_ERROR_INVALID,
                                "unknown reply mode " + std::to_string(mode) +
                                    " (use VANTO_EMULATOR_REPLY_NORMAL, _SILENT or _UNRECOGNISED)");
        }
    });
}

vanto_status vanto_emulator_corrupt_next_replies(vanto_emulator_t* emulator, int32_t replies) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        unit.corruptNextReplies(count(replies, "replies"));
    });
}

vanto_status vanto_emulator_set_reply_delay(vanto_emulator_t* emulator, int64_t delay_ms) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        unit.setReplyDelay(duration(delay_ms, "delay_ms"));
    });
}

vanto_status vanto_emulator_set_refuse_connections(vanto_emulator_t* emulator, int refuse) {
    return guarded(__func__, [&] { unitOf(emulator).setRefuseConnections(refuse != 0); });
}

vanto_status vanto_emulator_drop_next_connections(vanto_emulator_t* emulator, int32_t connections) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        unit.dropNextConnections(count(connections, "connections"));
    });
}

vanto_status vanto_emulator_restart(vanto_emulator_t* emulator, int64_t downtime_ms) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        const auto downtime = duration(downtime_ms, "downtime_ms");
        try {
            unit.restart(downtime);
        } catch (const std::logic_error& e) {
            throw CApiError(VANTO_ERROR_INVALID, e.what());
        }
    });
}

vanto_status vanto_emulator_set_drawer_close_after(vanto_emulator_t* emulator, int64_t after_ms) {
    return guarded(__func__, [&] {
        auto& unit = unitOf(emulator);
        unit.setDrawerCloseAfter(duration(after_ms, "after_ms"));
    });
}

vanto_status vanto_emulator_open_drawer(vanto_emulator_t* emulator) {
    return guarded(__func__, [&] { unitOf(emulator).openDrawer(); });
}

vanto_status vanto_emulator_close_drawer(vanto_emulator_t* emulator) {
    return guarded(__func__, [&] { unitOf(emulator).closeDrawer(); });
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
        const auto& unit = unitOf(emulator);
        if (count_ < 0) {
            throw CApiError(VANTO_ERROR_INVALID, "count must not be negative");
        }
        if (!unit.waitForReceipts(static_cast<std::size_t>(count_), milliseconds(timeout_ms))) {
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
