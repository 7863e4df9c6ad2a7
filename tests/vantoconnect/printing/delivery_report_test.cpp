#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/Managers.hpp"
#include "tests/support/QuickPrinterQueue.hpp"
#include "tests/support/RecordingCallback.hpp"
#include "tests/support/UnitFrames.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/VantoDeliveryReport.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"

namespace vantoconnect::testing {
namespace {

using Events = std::vector<std::string>;
using Reply = FakeUnit::Reply;

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

class ThrowingStatusPrinter : public VantoPrinterController {
  public:
    using VantoPrinterController::VantoPrinterController;
    bool isPrinterBusy() override { throw VantoError::GENERIC("unreachable"); }
};

class DeliveryReportTest : public ::testing::Test {
  protected:
    ConsoleCapture console;
    FakeUnit unit;
    std::shared_ptr<PausingManager> manager = managerFor(unit.port());
    PrinterQueue queue{std::make_shared<VantoPrinterController>(manager)};
    QuickPrinterQueue quick;
};

TEST_F(DeliveryReportTest, EveryPacketLandsInExactlyOneCount) {
    struct Case {
        const char* name;
        std::vector<UBytes> firstPacketAnswers;  // after the printer said it is ready
        std::string report;
        std::string summary;
    };
    const std::vector<Case> cases = {
        {"acknowledged",
         {},
         "report 2/0/0/0 of 2, end sent, all acknowledged",
         "all 2 packets acknowledged"},
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
        ASSERT_EQ(callback->reports().size(), 1u);
        EXPECT_EQ(callback->reports()[0].receiptId, id);
        EXPECT_EQ(callback->reports()[0].summary(), c.summary);
        ASSERT_TRUE(PrinterQueue::resetForTesting());
    }
}

// Every packet acknowledged is not enough: the end of the job must reach the unit too. The
// last acknowledgement comes late, and meanwhile the unit's port goes away.
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
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(callback->events().size(), 3u);  // one report, never a second
}

TEST_F(DeliveryReportTest, UnreachableUnitAndDroppedReceiptAreNeverCalledPrinted) {
    unit.script(Reply::bytes(PRINTER_READY));
    auto gone = std::make_shared<UnitGoneAtStart>(manager);
    queue.addToQueue(twoPacketReceipt(), gone, gone);
    EXPECT_EQ(gone->events(3), (Events{"started 127.0.0.1", "completed 127.0.0.1",
                                       "report 0/0/0/2 of 2, end not sent"}));
    EXPECT_EQ(gone->reports().at(0).summary(),
              "2 of 2 packets never reached the unit, the end of the job could not be "
              "sent; the receipt is incomplete");
    ASSERT_TRUE(PrinterQueue::resetForTesting());

    PrinterQueue failing{std::make_shared<ThrowingStatusPrinter>(manager)};
    auto dropped = std::make_shared<RecordingCallback>();
    const std::uint64_t id = failing.addToQueue(twoPacketReceipt(), dropped, dropped);
    EXPECT_EQ(dropped->events(2),
              (Events{"error PRINTER_NOT_RESPONDING", "report 0/0/0/0 of 0, end not sent"}));
    EXPECT_EQ(dropped->reports().at(0).receiptId, id);
    EXPECT_EQ(dropped->reports().at(0).summary(), "nothing was sent; the receipt was not printed");
}

TEST_F(DeliveryReportTest, ReceiptIdsFollowSubmissionOrderAndPlainSubmissionsTakeTheirTurn) {
    unit.setDefaultReply(Reply::bytes(PRINTER_READY));
    auto first = std::make_shared<RecordingCallback>();
    auto second = std::make_shared<RecordingCallback>();
    const std::uint64_t a = queue.addToQueue(twoPacketReceipt(), first, first);
    queue.addToQueue(twoPacketReceipt(), nullptr);
    const std::uint64_t b = queue.addToQueue(twoPacketReceipt(), second, second);
    EXPECT_EQ(b, a + 2);
    // The unit answers everything with "ready", which acknowledges nothing: the data packets
    // are all unrecognised, and the reports say so rather than call the receipts printed.
    ASSERT_TRUE(second->waitForEvents(3));
    EXPECT_EQ(first->reports().at(0).receiptId, a);
    EXPECT_EQ(second->reports().at(0).receiptId, b);
    EXPECT_FALSE(second->reports().at(0).allAcknowledged);
    EXPECT_EQ(second->reports().at(0).packetsUnrecognised, 2);
}

// Completion is reported once the connection has got through the last packet, which includes
// waiting for its answer, and on the connection's own thread, never on the submitter's.
TEST_F(DeliveryReportTest, CompletionFollowsTheLastAnswerOnALibraryThread) {
    using namespace std::chrono_literals;
    unit.script(Reply::bytes(PRINTER_READY));
    unit.script(Reply::bytes(PRINT_ACKNOWLEDGED));
    unit.script(Reply::chunked({{300ms, PRINT_ACKNOWLEDGED}}));
    auto callback = std::make_shared<RecordingCallback>();
    queue.addToQueue(twoPacketReceipt(), callback, callback);
    ASSERT_TRUE(callback->waitForEvents(3));
    const auto threads = callback->threads();
    const auto times = callback->times();
    EXPECT_GE(times[1] - times[0], 300ms);
    EXPECT_NE(threads[1], std::this_thread::get_id());
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_NE(threads[1], threads[0]);  // the queue's timer thread started it
    EXPECT_EQ(threads[2], threads[1]);  // the report follows on the same thread
}

}  // namespace
}  // namespace vantoconnect::testing
