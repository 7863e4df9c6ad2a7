#include "receipts/CheckedUnit.hpp"

#include <limits>
#include <stdexcept>

#include "receipts/ReceiptInputError.hpp"
#include "receipts/UnitIoError.hpp"

namespace vantoreceipts {

using std::chrono::milliseconds;
using vantoemu::PrinterCondition;
using vantoemu::ReplyMode;

namespace {

// The unit counts in int.
int count(std::int64_t value, const char* name) {
    if (value < 0 || value > std::numeric_limits<int>::max()) {
        throw ReceiptInputError(std::string(name) + " must lie in 0..." +
                                std::to_string(std::numeric_limits<int>::max()) + ", not " +
                                std::to_string(value));
    }
    return static_cast<int>(value);
}

milliseconds duration(std::int64_t ms, const char* name) {
    if (ms < 0) {
        throw ReceiptInputError(std::string(name) + " must not be negative, not " +
                                std::to_string(ms));
    }
    return milliseconds(ms);
}

template <typename Run>
void asIo(Run&& run) {
    try {
        run();
    } catch (const std::runtime_error& e) {
        throw UnitIoError(e.what());
    }
}

}  // namespace

PrinterCondition CheckedUnit::printerState(std::string_view word) {
    if (const auto condition = vantoemu::printerConditionFromWord(word)) {
        return *condition;
    }
    throw ReceiptInputError("unknown printer state \"" + std::string(word) +
                            "\" (use ready, not-ready or error)");
}

PrinterCondition CheckedUnit::printerState(std::int64_t code) {
    if (code < 0 || code > static_cast<std::int64_t>(PrinterCondition::Error)) {
        throw ReceiptInputError("unknown printer state " + std::to_string(code) +
                                " (use 0: ready, 1: not-ready or 2: error)");
    }
    return static_cast<PrinterCondition>(code);
}

ReplyMode CheckedUnit::replyMode(std::string_view word) {
    if (const auto mode = vantoemu::replyModeFromWord(word)) {
        return *mode;
    }
    throw ReceiptInputError("unknown reply mode \"" + std::string(word) +
                            "\" (use normal, silent or unrecognised)");
}

ReplyMode CheckedUnit::replyMode(std::int64_t code) {
    if (code < 0 || code > static_cast<std::int64_t>(ReplyMode::Unrecognised)) {
        throw ReceiptInputError("unknown reply mode " + std::to_string(code) +
                                " (use 0: normal, 1: silent or 2: unrecognised)");
    }
    return static_cast<ReplyMode>(code);
}

CheckedUnit::CheckedUnit(const Settings& settings) {
    if (settings.port < 0 || settings.port > 65535) {
        throw ReceiptInputError("port must lie in 0...65535, not " + std::to_string(settings.port));
    }
    vantoemu::UnitOptions options;
    options.bind = settings.bind;
    options.port = static_cast<std::uint16_t>(settings.port);
    options.outDir = settings.outDir;
    options.keep = static_cast<std::size_t>(count(settings.keep, "keep"));
    options.drawerCloseAfter = duration(settings.drawerCloseAfterMs, "drawer_close_after_ms");
    options.faults.printer = settings.printer;
    options.faults.printerNotReadyPolls = count(settings.printerNotReady, "printer_not_ready");
    options.faults.printerErrorReplies = count(settings.printerError, "printer_error");
    options.faults.replyMode = settings.reply;
    options.faults.corruptCrcReplies = count(settings.corruptCrc, "corrupt_crc");
    options.faults.replyDelay = duration(settings.delayMs, "delay_ms");
    options.faults.refuseConnections = settings.refuse;
    options.faults.dropConnections = count(settings.dropNext, "drop_next");
    if (settings.maxConnections < 1) {
        throw ReceiptInputError("max_connections must be at least 1, not " +
                                std::to_string(settings.maxConnections));
    }
    options.maxConnections = static_cast<std::size_t>(settings.maxConnections);
    options.renderReceipts = settings.render;
    asIo([&] { mUnit = std::make_unique<vantoemu::EmulatedUnit>(options); });
}

void CheckedUnit::start() {
    asIo([&] { mUnit->start(); });
}

void CheckedUnit::stop() {
    mUnit->stop();
}

void CheckedUnit::dropNextConnections(std::int64_t connections) {
    mUnit->dropNextConnections(count(connections, "drop_next"));
}

void CheckedUnit::restart(std::int64_t downtimeMs) {
    const auto downtime = duration(downtimeMs, "downtime_ms");
    try {
        mUnit->restart(downtime);
    } catch (const std::logic_error& e) {
        throw ReceiptInputError(e.what());
    }
}

void CheckedUnit::setPrinterNotReadyPolls(std::int64_t polls) {
    mUnit->setPrinterNotReadyPolls(count(polls, "printer_not_ready"));
}

void CheckedUnit::setPrinterErrorReplies(std::int64_t packets) {
    mUnit->setPrinterErrorReplies(count(packets, "printer_error"));
}

void CheckedUnit::corruptNextReplies(std::int64_t replies) {
    mUnit->corruptNextReplies(count(replies, "corrupt_crc"));
}

void CheckedUnit::setReplyDelay(std::int64_t ms) {
    mUnit->setReplyDelay(duration(ms, "delay_ms"));
}

void CheckedUnit::setDrawerCloseAfter(std::int64_t ms) {
    mUnit->setDrawerCloseAfter(duration(ms, "drawer_close_after_ms"));
}

bool CheckedUnit::waitForReceipts(std::int64_t count, std::int64_t timeoutMs) const {
    if (count < 0) {
        throw ReceiptInputError("count must not be negative, not " + std::to_string(count));
    }
    return mUnit->waitForReceipts(static_cast<std::size_t>(count), milliseconds(timeoutMs));
}

}  // namespace vantoreceipts
