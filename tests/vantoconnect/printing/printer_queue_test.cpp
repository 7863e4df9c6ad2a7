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
#include "vantoconnect/VantoDeliveryReport.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/TimerLoop.hpp"

namespace vantoconnect::testing {
namespace {

using Events = std::vector<std::string>;
using Reply = FakeUnit::Reply;
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
    unit.script(Reply::bytes(PRINTER_READY));
    unit.setDefaultReply(Reply::bytes(PRINT_ACKNOWLEDGED));
    EXPECT_EQ(print("Thank you", 2), (Events{"started 127.0.0.1", "completed 127.0.0.1"}));

    const auto groups = ReceiptComposer().compose(*receiptSaying("Thank you"));
    const Bytes data = std::accumulate(groups.begin(), groups.end(), Bytes{}, concat<Bytes>);
    const std::vector<UBytes> expected = {PRINTER_BUSY_QUERY, printerFrame(1, data), END_OF_JOB};
    EXPECT_EQ(receivedLike(unit, expected), expected);
    EXPECT_EQ(console.count("Adding a new receipt..."), 1u);
    EXPECT_EQ(console.count("Printer started"), 1u);
    EXPECT_EQ(console.count("Printer sent. Remaining receipts: 0"), 1u);
    EXPECT_EQ(console.count("Printer completed."), 1u);

    // The facade's own submission, with no callback to tell.
    unit.script(Reply::bytes(PRINTER_READY));
    Vanto vanto;
    aimAt(*vanto.getConnectionManager(), unit.port());
    vanto.print(receiptSaying("no callback"));
    ASSERT_TRUE(unit.waitForRequests(6));
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(unit.received(5), END_OF_JOB);
}

TEST_F(PrinterQueueTest, BusyPrinterCostsTheHeadReceiptAtTheThirtyFirstPoll) {
    unit.setDefaultReply(Reply::bytes(PRINTER_NOT_READY));
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
}

// A transmission under way counts as unavailable without asking; a status query that fails
// drops the head receipt at once.
TEST_F(PrinterQueueTest, TransmissionUnderWayWaitsAndAFailingStatusQueryDropsAtOnce) {
    PrinterQueue::IS_PRINTING = true;
    EXPECT_EQ(print("stuck", 1), Events{GAVE_UP});
    EXPECT_EQ(unit.connectionCount(), 0u);
    auto printer = std::make_shared<UnreachablePrinter>(manager);
    queue = PrinterQueue{printer};
    EXPECT_EQ(print("lost", 1), Events{GAVE_UP});
    EXPECT_EQ(printer->queries.load(), 1);
}

// Polls of an empty queue count too, without asking the printer: twenty leave eleven for the
// next receipt. (What the 31st such poll does, with no receipt to drop: the death test below.)
TEST_F(PrinterQueueTest, UnavailablePollsOfAnEmptyQueueCountTowardsTheNextReceipt) {
    for (int poll = 1; poll <= 20; ++poll) {
        queue.runPrintingRoutine();
    }
    EXPECT_EQ(unit.connectionCount(), 0u);
    unit.setDefaultReply(Reply::bytes(PRINTER_NOT_READY));
    EXPECT_EQ(print("late", 1), Events{GAVE_UP});
    EXPECT_EQ(unit.requestCount(), 11u);
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

const UBytes REFUSED = FakeUnit::frame(FakeUnit::message(0x4E, {}, false, 0));
const UBytes UNRECOGNISED = FakeUnit::frame(FakeUnit::message(0x3F));

// Thirty 40-character lines: two packets of printer data.
std::shared_ptr<VantoReceipt> twoPacketReceipt() {
    auto receipt = std::make_shared<VantoReceipt>();
    for (int line = 0; line < 30; ++line) {
        receipt->addLine(
            std::make_shared<VantoReceiptTextLine>(std::string(40, 'a' + line % 26), 0, 0, 0));
    }
    return receipt;
}

// Aims the connection at a port where nothing listens as soon as the job starts, so that every
// attempt at every packet fails to connect.
class UnitGoneAtStart : public RecordingCallback {
  public:
    UnitGoneAtStart(std::shared_ptr<GenericConnectionManager> manager) : manager(manager) {}
    void onPrinterStarted(const std::string& ip) override {
        manager->VantoPort = FakeUnit::unusedPort();
        RecordingCallback::onPrinterStarted(ip);
    }
    std::shared_ptr<GenericConnectionManager> manager;
};

// The queue's reports, for receipts submitted with a delivery listener.
using DeliveryReportTest = PrinterQueueTest;

TEST_F(DeliveryReportTest, EveryPacketLandsInExactlyOneCount) {
    struct Case {
        const char* name;
        std::vector<UBytes> firstPacketAnswers;  // after the printer said it is ready
        std::string report;
        std::string summary;
    };
    const std::vector<Case> cases = {
        {"refused on every attempt", std::vector<UBytes>(5, REFUSED),
         "report 1/1/0/0 of 2, end sent",
         "the unit refused 1 of 2 packets; the receipt is incomplete"},
        {"refused, then understood",
         {REFUSED, REFUSED},
         "report 2/0/0/0 of 2, end sent, all acknowledged",
         "all 2 packets acknowledged"},
        {"refusals and one answer nobody understands",
         {REFUSED, REFUSED, UNRECOGNISED, REFUSED, REFUSED},
         "report 1/0/1/0 of 2, end sent",
         "the unit gave no recognisable answer to 1 of 2 packets; the receipt may be incomplete"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FakeUnit fresh;
        auto port = managerFor(fresh.port());
        PrinterQueue local{std::make_shared<VantoPrinterController>(port)};
        fresh.script(Reply::bytes(PRINTER_READY));
        for (const UBytes& answer : c.firstPacketAnswers) {
            fresh.script(Reply::bytes(answer));
        }
        fresh.setDefaultReply(Reply::bytes(PRINT_ACKNOWLEDGED));
        auto callback = std::make_shared<RecordingCallback>();
        const std::uint64_t id = local.addToQueue(twoPacketReceipt(), callback, callback);
        EXPECT_EQ(callback->events(3),
                  (Events{"started 127.0.0.1", "completed 127.0.0.1", c.report}));
        EXPECT_EQ(callback->reports().at(0).receiptId, id);
        EXPECT_EQ(callback->reports().at(0).summary(), c.summary);
        ASSERT_TRUE(PrinterQueue::resetForTesting());
    }
}

// Every packet acknowledged is not enough: the end of the job must reach the unit too. The
// last acknowledgement comes late, and meanwhile the unit's port goes away. Completion waits
// for that last answer and, like the report after it, comes on the connection's own thread.
TEST_F(DeliveryReportTest, AcknowledgedPacketsWithoutTheEndOfJobAreNotAPrintedReceipt) {
    using namespace std::chrono_literals;
    unit.script(Reply::bytes(PRINTER_READY));
    unit.script(Reply::bytes(PRINT_ACKNOWLEDGED));
    unit.script(Reply::chunked({{500ms, PRINT_ACKNOWLEDGED}}));
    auto callback = std::make_shared<RecordingCallback>();
    queue.addToQueue(twoPacketReceipt(), callback, callback);
    ASSERT_TRUE(unit.waitForConnections(3));
    manager->VantoPort = FakeUnit::unusedPort();
    EXPECT_EQ(callback->events(3), (Events{"started 127.0.0.1", "completed 127.0.0.1",
                                           "report 2/0/0/0 of 2, end not sent"}));
    EXPECT_EQ(callback->reports().at(0).summary(),
              "the end of the job could not be sent; the receipt may be incomplete");
    const auto threads = callback->threads();
    EXPECT_GE(callback->times()[1] - callback->times()[0], 500ms);
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_NE(threads[1], threads[0]);  // the queue's timer thread started it
    EXPECT_EQ(threads[2], threads[1]);
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(callback->events().size(), 3u);  // one report, never a second
}

TEST_F(DeliveryReportTest, UnreachableUnitAndDroppedReceiptAreNeverCalledPrinted) {
    unit.script(Reply::bytes(PRINTER_READY));
    auto gone = std::make_shared<UnitGoneAtStart>(manager);
    const std::uint64_t goneId = queue.addToQueue(twoPacketReceipt(), gone, gone);
    EXPECT_EQ(gone->events(3), (Events{"started 127.0.0.1", "completed 127.0.0.1",
                                       "report 0/0/0/2 of 2, end not sent"}));
    EXPECT_EQ(gone->reports().at(0).summary(),
              "2 of 2 packets never reached the unit, the end of the job could not be "
              "sent; the receipt is incomplete");
    ASSERT_TRUE(PrinterQueue::resetForTesting());

    // Ids follow submission order across queues, and a plain submission takes its turn.
    PrinterQueue failing{std::make_shared<UnreachablePrinter>(manager)};
    failing.addToQueue(twoPacketReceipt(), nullptr);
    auto dropped = std::make_shared<RecordingCallback>();
    const std::uint64_t id = failing.addToQueue(twoPacketReceipt(), dropped, dropped);
    EXPECT_EQ(id, goneId + 2);
    EXPECT_EQ(dropped->events(2),
              (Events{"error PRINTER_NOT_RESPONDING", "report 0/0/0/0 of 0, end not sent"}));
    EXPECT_EQ(dropped->reports().at(0).receiptId, id);
    EXPECT_EQ(dropped->reports().at(0).summary(), "nothing was sent; the receipt was not printed");
}

}  // namespace
}  // namespace vantoconnect::testing
