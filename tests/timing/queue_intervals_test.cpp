#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/Managers.hpp"
#include "tests/support/RecordingCallback.hpp"
#include "tests/support/UnitFrames.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"

namespace vantoconnect::testing {
namespace {

using namespace std::chrono_literals;

// The queue's own intervals, unscaled, once: the first poll 0.1 s after a submission, the next
// 2.0 s after a poll that found the printer busy. Runs alone, so other suites do not stretch it.
TEST(QueueIntervals, FirstPollAfterATenthThenEveryTwoSeconds) {
    PrinterQueue::setTimerIntervalScale(1.0);
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    ConsoleCapture console;
    FakeUnit unit;
    unit.script(FakeUnit::Reply::bytes(PRINTER_NOT_READY));
    unit.script(FakeUnit::Reply::bytes(PRINTER_READY));
    unit.setDefaultReply(FakeUnit::Reply::bytes(PRINT_ACKNOWLEDGED));
    PrinterQueue queue{std::make_shared<VantoPrinterController>(managerFor(unit.port()))};
    auto receipt = std::make_shared<VantoReceipt>();
    receipt->addLine(std::make_shared<VantoReceiptTextLine>("on time", 0, 0, 0));
    auto callback = std::make_shared<RecordingCallback>();

    const auto submitted = std::chrono::steady_clock::now();
    queue.addToQueue(receipt, callback);
    ASSERT_TRUE(unit.waitForConnections(1));
    const auto firstPoll = std::chrono::steady_clock::now();
    ASSERT_TRUE(callback->waitForEvents(1, 5s));
    const auto started = callback->times()[0];

    // Lower bounds are what the timers promise; upper bounds leave room for a loaded machine.
    EXPECT_GE(firstPoll - submitted, 100ms);
    EXPECT_LT(firstPoll - submitted, 1s);
    EXPECT_GE(started - submitted, 2100ms);
    EXPECT_LT(started - submitted, 3500ms);
    ASSERT_TRUE(callback->waitForEvents(2));
    EXPECT_TRUE(PrinterQueue::resetForTesting());
}

}  // namespace
}  // namespace vantoconnect::testing
