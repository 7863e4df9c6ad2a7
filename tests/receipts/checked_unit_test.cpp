// The emulated unit's settings as the C API and the Python package pass them: each refused
// with a message naming it, before the unit changes; and the failures that are the machine's
// rather than the caller's told apart, so each door can report them as its own I/O error.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "receipts/CheckedUnit.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "receipts/UnitIoError.hpp"

namespace {

using vantoreceipts::CheckedUnit;
using vantoreceipts::ReceiptInputError;
using vantoreceipts::UnitIoError;
using Settings = CheckedUnit::Settings;

// The defaults with one number changed.
Settings with(std::int64_t Settings::*field, std::int64_t value) {
    Settings settings;
    settings.*field = value;
    return settings;
}

TEST(CheckedUnit, RefusesEverySettingOutsideItsRangeAndChangesNothing) {
    CheckedUnit unit(with(&Settings::drawerCloseAfterMs, 0));
    const struct {
        std::function<void()> call;
        std::string names;
    } cases[] = {
        {[] { CheckedUnit(with(&Settings::port, -1)); }, "port must lie in 0...65535, not -1"},
        {[] { CheckedUnit(with(&Settings::port, 65536)); }, "not 65536"},
        {[] { CheckedUnit(with(&Settings::keep, -1)); }, "keep must lie in 0..."},
        {[] { CheckedUnit(with(&Settings::drawerCloseAfterMs, -1)); },
         "drawer_close_after_ms must not be negative, not -1"},
        {[] { CheckedUnit(with(&Settings::printerNotReady, -2)); },
         "printer_not_ready must lie in"},
        {[] { CheckedUnit(with(&Settings::printerError, 1LL << 31)); }, "not 2147483648"},
        {[] { CheckedUnit(with(&Settings::corruptCrc, -1)); }, "corrupt_crc must lie in"},
        {[] { CheckedUnit(with(&Settings::delayMs, -1)); }, "delay_ms must not be negative"},
        {[&] { unit.setPrinterNotReadyPolls(-1); }, "printer_not_ready must lie in"},
        {[&] { unit.setPrinterErrorReplies(-1); }, "printer_error must lie in"},
        {[&] { unit.corruptNextReplies(-1); }, "corrupt_crc must lie in"},
        {[&] { unit.setReplyDelay(-5); }, "delay_ms must not be negative, not -5"},
        {[&] { unit.setDrawerCloseAfter(-5); }, "drawer_close_after_ms must not be negative"},
        {[&] { unit.waitForReceipts(-1, 0); }, "count must not be negative"},
        {[] { CheckedUnit::printerState("on fire"); },
         "unknown printer state \"on fire\" (use ready, not-ready or error)"},
        {[] { CheckedUnit::printerState(std::int64_t{3}); }, "unknown printer state 3 (use 0:"},
        {[] { CheckedUnit::replyMode("loud"); }, "unknown reply mode \"loud\" (use normal,"},
        {[] { CheckedUnit::replyMode(std::int64_t{-1}); }, "unknown reply mode -1"},
    };
    for (const auto& c : cases) {
        std::string message;
        try {
            c.call();
        } catch (const ReceiptInputError& e) {
            message = e.what();
        }
        EXPECT_NE(message.find(c.names), std::string::npos) << "got \"" << message << "\"";
    }
    const auto faults = unit.unit().snapshot().faults;
    EXPECT_EQ(faults.printerNotReadyPolls, 0);
    EXPECT_EQ(faults.replyDelay.count(), 0);
    EXPECT_EQ(unit.unit().snapshot().drawerCloseAfter.count(), 0);
}

TEST(CheckedUnit, AFolderThatCannotBeMadeOrAPortInUseIsTheMachinesFailure) {
    Settings settings;
    settings.outDir = "/proc/no-such-folder";
    EXPECT_THROW(CheckedUnit{settings}, UnitIoError);
    settings.outDir.clear();
    CheckedUnit first(settings);
    first.start();
    settings.port = first.unit().port();
    CheckedUnit second(settings);
    EXPECT_THROW(second.start(), UnitIoError);
    EXPECT_FALSE(second.unit().running());
}

}  // namespace
