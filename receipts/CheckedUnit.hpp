#pragma once

// The emulated unit as the language bindings drive it: every setting checked before it reaches
// the unit (counts and delays not negative, a port in 0...65535, printer states and reply modes
// by the words of vanto emulate or by their codes), and the failures that belong to the machine
// (a folder that cannot be made, an address that cannot be bound) told apart as UnitIoError.
// The C API's emulator handle and the Python package's Emulator are this class, so both refuse
// the same settings with the same messages, naming each setting as the bindings spell it.
//
// A refused setting throws ReceiptInputError and changes nothing. Bindings call the blocking
// members (start, stop, waitForReceipts) without holding an interpreter lock.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "emulator/EmulatedUnit.hpp"

namespace vantoreceipts {

class CheckedUnit {
  public:
    struct Settings {
        std::string bind = "127.0.0.1";
        std::int64_t port = 0;  // 0 picks a free port
        std::string outDir;     // empty: nothing on disk
        std::int64_t keep = 0;  // receipts kept on disk and in memory; 0 keeps every file
        std::int64_t drawerCloseAfterMs = 5000;  // 0: an opened drawer stays open
        vantoemu::PrinterCondition printer = vantoemu::PrinterCondition::Ready;
        std::int64_t printerNotReady = 0;
        std::int64_t printerError = 0;
        vantoemu::ReplyMode reply = vantoemu::ReplyMode::Normal;
        std::int64_t corruptCrc = 0;
        std::int64_t delayMs = 0;
        bool refuse = false;
        std::int64_t dropNext = 0;
        // Open connections past which the unit refuses new ones, as a small unit does.
        std::int64_t maxConnections = 4096;
        // False keeps each receipt's bytes, text view and marks but draws no picture.
        bool render = true;
    };

    // The states and modes by the command line's words (ready, not-ready, error; normal,
    // silent, unrecognised) or by their codes, 0, 1 and 2 in that order.
    static vantoemu::PrinterCondition printerState(std::string_view word);
    static vantoemu::PrinterCondition printerState(std::int64_t code);
    static vantoemu::ReplyMode replyMode(std::string_view word);
    static vantoemu::ReplyMode replyMode(std::int64_t code);

    // The unit starts with the settings' faults, so its event log does not open with a change
    // for each. Not yet listening.
    explicit CheckedUnit(const Settings& settings);
    CheckedUnit(const CheckedUnit&) = delete;
    CheckedUnit& operator=(const CheckedUnit&) = delete;

    void start();
    void stop();

    void setPrinterNotReadyPolls(std::int64_t polls);
    void setPrinterErrorReplies(std::int64_t packets);
    void corruptNextReplies(std::int64_t replies);
    void setReplyDelay(std::int64_t ms);
    void setDrawerCloseAfter(std::int64_t ms);
    void dropNextConnections(std::int64_t connections);
    // A restart of a unit that is not started is refused (ReceiptInputError) on this thread.
    void restart(std::int64_t downtimeMs);
    // False when `timeoutMs` passes before `count` receipts have been printed.
    bool waitForReceipts(std::int64_t count, std::int64_t timeoutMs) const;

    // Everything that needs no check: state, receipts, events, drawer, refusal, the modes.
    vantoemu::EmulatedUnit& unit() noexcept { return *mUnit; }
    const vantoemu::EmulatedUnit& unit() const noexcept { return *mUnit; }

  private:
    std::unique_ptr<vantoemu::EmulatedUnit> mUnit;
};

}  // namespace vantoreceipts
