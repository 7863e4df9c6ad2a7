#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/vantoconnect/devices/DeviceTestSupport.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::testing {
namespace {

std::shared_ptr<VantoReceipt> receiptSaying(const std::string& text) {
    auto receipt = std::make_shared<VantoReceipt>();
    receipt->addLine(std::make_shared<VantoReceiptTextLine>(text, 0, 0, 0));
    return receipt;
}

// The one data packet of a short receipt.
UBytes dataFrameOf(const VantoReceipt& receipt) {
    Bytes all;
    for (const Bytes& group : ReceiptComposer().compose(receipt)) {
        all = concat(all, group);
    }
    return printerFrame(1, all);
}

// A printer whose status query cannot even be asked.
class UnreachablePrinter : public VantoPrinterController {
  public:
    using VantoPrinterController::VantoPrinterController;
    bool isPrinterBusy() override {
        ++queries;
        throw VantoError::GENERIC("unreachable");
    }
    void vantoprint(std::shared_ptr<VantoReceipt>, std::shared_ptr<VantoPrinterCallback>) override {
        ++prints;
    }
    std::atomic<int> queries{0};
    std::atomic<int> prints{0};
};

class PrinterQueueTest : public ::testing::Test {
  protected:
    void SetUp() override {
        // 0.1 s and 2.0 s become 1 ms and 20 ms.
        PrinterQueue::setTimerIntervalScale(0.01);
        ASSERT_TRUE(PrinterQueue::resetForTesting());
    }
    void TearDown() override {
        EXPECT_TRUE(PrinterQueue::resetForTesting());
        PrinterQueue::setTimerIntervalScale(1.0);
    }

    FakeUnit unit;
    std::shared_ptr<QuickConnectionManager> manager = managerFor(unit);
    std::shared_ptr<VantoPrinterController> controller =
        std::make_shared<VantoPrinterController>(manager);
    PrinterQueue queue{controller};
};

TEST_F(PrinterQueueTest, ReceiptPrintsEndToEndAndReportsStartThenCompletion) {
    ConsoleCapture console;
    unit.script(FakeUnit::Reply::bytes(printerReadyReply()));
    unit.setDefaultReply(FakeUnit::Reply::bytes(printAcknowledgedReply()));
    auto receipt = receiptSaying("Thank you");
    auto callback = std::make_shared<RecordingCallback>();

    queue.addToQueue(receipt, callback);
    ASSERT_TRUE(callback->waitForEvents(2));
    ASSERT_TRUE(PrinterQueue::resetForTesting());

    const auto events = callback->events();
    EXPECT_EQ(callback->kinds(), (std::vector<std::string>{"started", "completed"}));
    EXPECT_EQ(events[0].detail, "127.0.0.1");
    EXPECT_EQ(events[1].detail, "127.0.0.1");
    const std::vector<UBytes> expected = {printerBusyQueryFrame(), dataFrameOf(*receipt),
                                          endOfJobFrame()};
    EXPECT_EQ(receivedLike(unit, expected), expected);

    EXPECT_EQ(console.count("Adding a new receipt..."), 1u);
    EXPECT_EQ(console.count("Printer started"), 1u);
    EXPECT_EQ(console.count("Printer sent. Remaining receipts: 0"), 1u);
    EXPECT_EQ(console.count("Printer completed."), 1u);
    for (const std::string& line : console.lines()) {
        EXPECT_EQ(line.rfind("Rescheduling", 0), std::string::npos) << line;
    }
}

TEST_F(PrinterQueueTest, ReceiptsPrintInSubmissionOrder) {
    // Query, data, end of job (or the second query, whichever the unit reads first), query,
    // data, end of job.
    for (const UBytes& reply : {printerReadyReply(), printAcknowledgedReply(), printerReadyReply(),
                                printerReadyReply(), printAcknowledgedReply()}) {
        unit.script(FakeUnit::Reply::bytes(reply));
    }
    auto first = receiptSaying("first");
    auto second = receiptSaying("second");
    auto callback = std::make_shared<RecordingCallback>();

    queue.addToQueue(first, callback);
    queue.addToQueue(second, callback);
    ASSERT_TRUE(callback->waitForEvents(4));
    ASSERT_TRUE(PrinterQueue::resetForTesting());

    EXPECT_EQ(callback->kinds(),
              (std::vector<std::string>{"started", "completed", "started", "completed"}));
    const std::vector<UBytes> expected = {printerBusyQueryFrame(), dataFrameOf(*first),
                                          endOfJobFrame(),         printerBusyQueryFrame(),
                                          dataFrameOf(*second),    endOfJobFrame()};
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

TEST_F(PrinterQueueTest, BusyPrinterCostsTheHeadReceiptAtTheThirtyFirstPoll) {
    ConsoleCapture console;
    unit.setDefaultReply(FakeUnit::Reply::bytes(printerNotReadyReply()));
    auto first = std::make_shared<RecordingCallback>(&unit);
    auto second = std::make_shared<RecordingCallback>(&unit);

    queue.addToQueue(receiptSaying("first"), first);
    queue.addToQueue(receiptSaying("second"), second);
    ASSERT_TRUE(first->waitForEvents(1));
    ASSERT_TRUE(second->waitForEvents(1));
    ASSERT_TRUE(PrinterQueue::resetForTesting());

    // Each poll asked the printer once; the count restarts after the first give-up.
    EXPECT_EQ(first->events()[0].kind, "error");
    EXPECT_EQ(first->events()[0].detail, "PRINTER_NOT_RESPONDING");
    EXPECT_EQ(first->events()[0].requestsSeen, 31u);
    EXPECT_EQ(second->events()[0].kind, "error");
    EXPECT_EQ(second->events()[0].requestsSeen, 62u);
    EXPECT_EQ(unit.requestCount(), 62u);
    EXPECT_EQ(console.count("Printer error: PRINTER_NOT_RESPONDING"), 2u);
    EXPECT_EQ(console.count("Printer started"), 0u);
}

TEST_F(PrinterQueueTest, UnavailablePollsAccumulateUntilAGiveUp) {
    // Twenty polls of an empty queue leave eleven for the next receipt.
    for (int poll = 1; poll <= 20; ++poll) {
        queue.runPrintingRoutine();
    }
    unit.setDefaultReply(FakeUnit::Reply::bytes(printerNotReadyReply()));
    auto callback = std::make_shared<RecordingCallback>(&unit);
    queue.addToQueue(receiptSaying("late"), callback);
    ASSERT_TRUE(callback->waitForEvents(1));
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(callback->events()[0].kind, "error");
    EXPECT_EQ(callback->events()[0].requestsSeen, 11u);
}

TEST_F(PrinterQueueTest, TransmissionUnderWayCountsAsUnavailableWithoutAsking) {
    PrinterQueue::IS_PRINTING = true;
    auto callback = std::make_shared<RecordingCallback>();
    queue.addToQueue(receiptSaying("stuck"), callback);
    ASSERT_TRUE(callback->waitForEvents(1));
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(callback->kinds(), std::vector<std::string>{"error"});
    EXPECT_EQ(unit.connectionCount(), 0u);
}

TEST_F(PrinterQueueTest, FailingStatusQueryDropsTheHeadReceiptAtOnce) {
    auto printer = std::make_shared<UnreachablePrinter>(manager);
    PrinterQueue failing{printer};
    auto dropped = std::make_shared<RecordingCallback>();
    failing.addToQueue(receiptSaying("lost"), dropped);
    ASSERT_TRUE(dropped->waitForEvents(1));
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(dropped->kinds(), std::vector<std::string>{"error"});
    EXPECT_EQ(printer->queries.load(), 1);
    EXPECT_EQ(printer->prints.load(), 0);
}

TEST_F(PrinterQueueTest, GiveUpWithNothingQueuedStops) {
    // Polls of an empty queue count too; the 31st has no receipt to drop.
    for (int poll = 1; poll <= 30; ++poll) {
        queue.runPrintingRoutine();
    }
    EXPECT_THROW(queue.runPrintingRoutine(), FatalError);
    EXPECT_EQ(unit.connectionCount(), 0u);
}

TEST_F(PrinterQueueTest, PrintWithoutCallbackStillPrints) {
    ConsoleCapture console;
    unit.script(FakeUnit::Reply::bytes(printerReadyReply()));
    unit.setDefaultReply(FakeUnit::Reply::bytes(printAcknowledgedReply()));
    Vanto vanto;
    auto facadeManager =
        std::dynamic_pointer_cast<GenericConnectionManager>(vanto.getConnectionManager());
    facadeManager->setConnectionIPAddress("127.0.0.1");
    facadeManager->VantoPort = unit.port();

    vanto.print(receiptSaying("no callback"));
    ASSERT_TRUE(unit.waitForRequests(3));
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(console.count("Printer started"), 1u);
    EXPECT_EQ(unit.received(2), endOfJobFrame());
}

}  // namespace
}  // namespace vantoconnect::testing
