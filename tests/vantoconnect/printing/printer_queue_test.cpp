#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/Managers.hpp"
#include "tests/support/QuickPrinterQueue.hpp"
#include "tests/support/Receipts.hpp"
#include "tests/support/RecordingCallback.hpp"
#include "tests/support/UnitFrames.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/TimerLoop.hpp"

namespace vantoconnect::testing {
namespace {

using Events = std::vector<std::string>;
const std::string GAVE_UP = "error PRINTER_NOT_RESPONDING";

// A printer whose status query cannot even be asked. Were its receipt printed all the same, the
// callback would hear of the start.
class UnreachablePrinter : public VantoPrinterController {
  public:
    using VantoPrinterController::VantoPrinterController;
    bool isPrinterBusy() override {
        ++queries;
        throw VantoError::GENERIC("unreachable");
    }
    std::atomic<int> queries{0};
};

class PrinterQueueTest : public ::testing::Test {
  protected:
    // The events of a receipt queued now, once `count` of them have come and the queue is idle.
    Events print(const std::string& text, std::size_t count) {
        auto callback = std::make_shared<RecordingCallback>();
        queue.addToQueue(receiptSaying(text), callback);
        const Events events = callback->events(count);
        EXPECT_TRUE(PrinterQueue::resetForTesting());
        return events;
    }

    ConsoleCapture console;
    FakeUnit unit;
    std::shared_ptr<PausingManager> manager = managerFor(unit.port());
    PrinterQueue queue{std::make_shared<VantoPrinterController>(manager)};
    QuickPrinterQueue quick;
};

TEST_F(PrinterQueueTest, ReceiptPrintsEndToEndAndReportsStartThenCompletion) {
    unit.script(FakeUnit::Reply::bytes(PRINTER_READY));
    unit.setDefaultReply(FakeUnit::Reply::bytes(PRINT_ACKNOWLEDGED));
    EXPECT_EQ(print("Thank you", 2), (Events{"started 127.0.0.1", "completed 127.0.0.1"}));

    const auto groups = ReceiptComposer().compose(*receiptSaying("Thank you"));
    const Bytes data = std::accumulate(groups.begin(), groups.end(), Bytes{}, concat<Bytes>);
    const std::vector<UBytes> expected = {PRINTER_BUSY_QUERY, printerFrame(1, data), END_OF_JOB};
    EXPECT_EQ(receivedLike(unit, expected), expected);
    EXPECT_EQ(console.count("Adding a new receipt..."), 1u);
    EXPECT_EQ(console.count("Printer started"), 1u);
    EXPECT_EQ(console.count("Printer sent. Remaining receipts: 0"), 1u);
    EXPECT_EQ(console.count("Printer completed."), 1u);
    EXPECT_EQ(console.count("Rescheduling printing of remaining receipts: 1"), 0u);
}

TEST_F(PrinterQueueTest, BusyPrinterCostsTheHeadReceiptAtTheThirtyFirstPoll) {
    unit.setDefaultReply(FakeUnit::Reply::bytes(PRINTER_NOT_READY));
    auto first = std::make_shared<RecordingCallback>();
    auto second = std::make_shared<RecordingCallback>();
    queue.addToQueue(receiptSaying("first"), first);
    queue.addToQueue(receiptSaying("second"), second);
    EXPECT_EQ(first->events(1), Events{GAVE_UP});
    EXPECT_EQ(second->events(1), Events{GAVE_UP});
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    // Each poll asked the printer once, 31 times a receipt: the count restarts after a give-up.
    EXPECT_EQ(unit.requestCount(), 62u);
    EXPECT_EQ(console.count("Printer error: PRINTER_NOT_RESPONDING"), 2u);
    EXPECT_EQ(console.count("Printer started"), 0u);
}

TEST_F(PrinterQueueTest, TheFacadePrintsWithoutACallback) {
    unit.script(FakeUnit::Reply::bytes(PRINTER_READY));
    unit.setDefaultReply(FakeUnit::Reply::bytes(PRINT_ACKNOWLEDGED));
    Vanto vanto;
    aimAt(*vanto.getConnectionManager(), unit.port());
    vanto.print(receiptSaying("no callback"));
    ASSERT_TRUE(unit.waitForRequests(3));
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(unit.received(2), END_OF_JOB);
}

TEST_F(PrinterQueueTest, ThirtyBusyPollsAreWaitedOut) {
    for (int poll = 0; poll < 30; ++poll) {
        unit.script(FakeUnit::Reply::bytes(PRINTER_NOT_READY));
    }
    unit.script(FakeUnit::Reply::bytes(PRINTER_READY));
    unit.setDefaultReply(FakeUnit::Reply::bytes(PRINT_ACKNOWLEDGED));
    EXPECT_EQ(print("patience", 2), (Events{"started 127.0.0.1", "completed 127.0.0.1"}));
    EXPECT_EQ(console.count("Rescheduling printing of remaining receipts: 1"), 30u);
}

TEST_F(PrinterQueueTest, UnavailablePollsAccumulateUntilAGiveUp) {
    // Twenty polls of an empty queue leave eleven for the next receipt.
    for (int poll = 1; poll <= 20; ++poll) {
        queue.runPrintingRoutine();
    }
    unit.setDefaultReply(FakeUnit::Reply::bytes(PRINTER_NOT_READY));
    EXPECT_EQ(print("late", 1), Events{GAVE_UP});
    EXPECT_EQ(unit.requestCount(), 11u);
}

TEST_F(PrinterQueueTest, TransmissionUnderWayCountsAsUnavailableWithoutAsking) {
    PrinterQueue::IS_PRINTING = true;
    EXPECT_EQ(print("stuck", 1), Events{GAVE_UP});
    EXPECT_EQ(unit.connectionCount(), 0u);
}

TEST_F(PrinterQueueTest, FailingStatusQueryDropsTheHeadReceiptAtOnce) {
    auto printer = std::make_shared<UnreachablePrinter>(manager);
    queue = PrinterQueue{printer};
    EXPECT_EQ(print("lost", 1), Events{GAVE_UP});
    EXPECT_EQ(printer->queries.load(), 1);
}

TEST_F(PrinterQueueTest, GiveUpWithNothingQueuedStops) {
    // Polls of an empty queue count too; the 31st has no receipt to drop.
    for (int poll = 1; poll <= 30; ++poll) {
        queue.runPrintingRoutine();
    }
    EXPECT_THROW(queue.runPrintingRoutine(), FatalError);
    EXPECT_EQ(unit.connectionCount(), 0u);
}

using PrinterQueueDeathTest = PrinterQueueTest;

// On the timer thread, where the queue really polls, the same edge ends the process: 32
// receipts held up by a transmission that never ends start 32 chains of polls; once the last
// receipt is dropped, each chain polls the empty queue once more, and the 31st of those polls
// gives up with nothing to drop.
TEST_F(PrinterQueueDeathTest, BurstOfThirtyTwoHeldUpReceiptsEndsTheProcessOnTheTimerThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            PrinterQueue::IS_PRINTING = true;
            // Submitted from the timer thread itself, so no poll runs between submissions.
            TimerLoop::shared().schedule(0, [this] {
                for (int receipt = 0; receipt < 32; ++receipt) {
                    queue.addToQueue(receiptSaying("held up"), nullptr);
                }
            });
            std::this_thread::sleep_for(std::chrono::seconds(30));
        },
        "Index out of range");
}

// No call can interrupt a poll's read of a unit that never answers, yet a program that ends
// then must end, with its own status, instead of waiting in the exit for ever.
TEST_F(PrinterQueueDeathTest, ExitWhileAPollWaitsOnASilentUnitEndsWithTheProgramsStatus) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    unit.setDefaultReply({});
    EXPECT_EXIT(
        {
            queue.addToQueue(receiptSaying("never answered"), nullptr);
            if (!unit.waitForRequests(1)) {
                std::_Exit(99);
            }
            std::exit(7);
        },
        ::testing::ExitedWithCode(7), "poll had not ended 2 s into the exit");
}

// Give-ups take receipts in submission order, each once, whatever the timing of submissions
// and polls. (A give-up that finds the queue empty is fatal: the death test above.)
TEST_F(PrinterQueueTest, GiveUpsDropReceiptsInSubmissionOrderWhileOthersArrive) {
    constexpr int kReceipts = 20;  // fewer than 31 chains of polls: the queue never dies empty
    for (int round = 0; round < 5; ++round) {
        PrinterQueue::IS_PRINTING = true;
        std::vector<std::shared_ptr<RecordingCallback>> callbacks(kReceipts);
        for (auto& callback : callbacks) {
            callback = std::make_shared<RecordingCallback>();
        }
        queue.addToQueue(receiptSaying("0"), callbacks[0]);
        std::thread submitter([&] {
            for (int n = 1; n < kReceipts; ++n) {
                std::this_thread::sleep_for(std::chrono::milliseconds(n % 4));
                queue.addToQueue(receiptSaying(std::to_string(n)), callbacks[n]);
            }
        });
        submitter.join();
        for (int n = 0; n < kReceipts; ++n) {
            ASSERT_EQ(callbacks[n]->events(1), Events{GAVE_UP}) << "round " << round;
            if (n > 0) {
                ASSERT_LT(callbacks[n - 1]->times()[0], callbacks[n]->times()[0]) << n;
            }
        }
        ASSERT_TRUE(PrinterQueue::resetForTesting());
        for (const auto& callback : callbacks) {
            ASSERT_EQ(callback->events().size(), 1u);
        }
    }
}

}  // namespace
}  // namespace vantoconnect::testing
