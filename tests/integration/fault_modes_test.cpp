#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "tests/integration/IntegrationSupport.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::integration {
namespace {

using vantoemu::ReplyMode;

// Notes the pause an unrecognised answer calls for instead of sleeping through it. Only the
// serial queue writes the list, and tests read it once drained() has returned.
class PausingManager : public GenericConnectionManager {
  public:
    std::vector<unsigned> pauses;

  protected:
    void sleepSeconds(unsigned seconds) override { pauses.push_back(seconds); }
};

const std::string REQUEUED = "Rescheduling printing of remaining receipts: 1";

using FaultModes = UnitTest;

// ---- a printer that is not ready --------------------------------------------------------------

TEST_F(FaultModes, PrinterNotReadyForThirtyOnePollsCostsTheReceiptButThirtyAreTolerated) {
    unit->setPrinterNotReadyPolls(31);
    auto dropped = std::make_shared<RecordingCallback>();
    vanto->print(receiptSaying("dropped"), dropped);
    ASSERT_TRUE(dropped->waitForEvents(1, 30s));
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    EXPECT_EQ(dropped->events(), std::vector<std::string>{"error PRINTER_NOT_RESPONDING"});
    EXPECT_EQ(console.count("Printer error: PRINTER_NOT_RESPONDING"), 1u);
    EXPECT_EQ(console.count(REQUEUED), 30u);
    EXPECT_EQ(console.count("Printer started"), 0u);
    EXPECT_EQ(events("printer_status"), 31u);
    EXPECT_EQ(events("printer_data"), 0u);

    unit->setPrinterNotReadyPolls(30);
    auto receipt = receiptSaying("patience");
    auto printed = std::make_shared<RecordingCallback>();
    vanto->print(receipt, printed);
    ASSERT_TRUE(printed->waitForEvents(2, 30s));
    ASSERT_TRUE(unit->waitForReceipts(1, 60s));
    EXPECT_EQ(printed->events(), PRINTED);
    EXPECT_EQ(events("printer_status"), 62u);
    EXPECT_EQ(console.count(REQUEUED), 60u);
    EXPECT_EQ(unit->receipts().at(0).bytes, composed(*receipt));
}

// ---- a printer that answers data with an error ------------------------------------------------

TEST_F(FaultModes, PrinterErrorIsRetriedAtOnceFiveTimesThenGivenUp) {
    // Refusing data while the status still reads ready: the queue hands the receipt over.
    unit->setPrinterErrorReplies(5);
    auto callback = std::make_shared<RecordingCallback>();
    vanto->print(receiptSaying("refused"), callback);
    // Completion is reported all the same, and long before any pause could have ended.
    ASSERT_TRUE(callback->waitForEvents(2, 30s));
    EXPECT_EQ(callback->events(), PRINTED);
    ASSERT_TRUE(unit->waitForReceipts(1, 60s));
    EXPECT_EQ(events("printer_error_reply"), 5u);
    EXPECT_EQ(console.count("Printer says: IS NOT OK!"), 5u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 0u);
    // The job ended with nothing in it, and the paper says so.
    EXPECT_TRUE(unit->receipts().at(0).bytes.empty());
    EXPECT_EQ(unit->receipts().at(0).marks(), "incomplete");
}

TEST_F(FaultModes, PrinterInErrorIsNeverHandedAReceipt) {
    unit->setPrinterCondition(vantoemu::PrinterCondition::Error);
    auto dropped = std::make_shared<RecordingCallback>();
    vanto->print(receiptSaying("cover open"), dropped);
    ASSERT_TRUE(dropped->waitForEvents(1, 30s));
    EXPECT_EQ(dropped->events(), std::vector<std::string>{"error PRINTER_NOT_RESPONDING"});
    EXPECT_EQ(events("printer_data"), 0u);
    EXPECT_EQ(events("printer_error_reply"), 0u);
}

// ---- two senders at once ----------------------------------------------------------------------

TEST_F(FaultModes, TwoSendersOfOneReceiptAtOnceBothComeOutWholeOrMarked) {
    // Two applications on one address: each its own connection and work queue, so their
    // packets, each on a fresh connection, interleave at the unit.
    auto receipt = std::make_shared<VantoReceipt>();
    for (int line = 0; line < 120; ++line) {
        receipt->addLine(std::make_shared<VantoReceiptTextLine>(
            "line " + std::to_string(line) + " of a long receipt", 0, 0, 0));
    }
    std::vector<std::shared_ptr<GenericConnectionManager>> managers;
    std::vector<std::shared_ptr<VantoPrinterController>> printers;
    std::vector<std::shared_ptr<RecordingCallback>> callbacks;
    for (int i = 0; i < 2; ++i) {
        managers.push_back(std::make_shared<GenericConnectionManager>());
        aimAt(*managers.back(), unit->port());
        printers.push_back(std::make_shared<VantoPrinterController>(managers.back()));
        callbacks.push_back(std::make_shared<RecordingCallback>());
    }
    auto other =
        std::async(std::launch::async, [&] { printers[1]->vantoprint(receipt, callbacks[1]); });
    printers[0]->vantoprint(receipt, callbacks[0]);
    other.get();
    for (const auto& callback : callbacks) {
        ASSERT_TRUE(callback->waitForEvents(2, 30s));
        EXPECT_EQ(callback->events(), PRINTED);
    }
    ASSERT_TRUE(unit->waitForReceipts(2, 60s));
    const auto expected = composed(*receipt);
    for (const auto& paper : unit->receipts()) {
        EXPECT_TRUE(paper.bytes == expected || paper.interleaved)
            << "receipt " << paper.number << " " << paper.marks() << ", " << paper.bytes.size()
            << " of " << expected.size() << " bytes";
    }
    EXPECT_EQ(unit->snapshot().jobBytesPending, 0u);
}

// ---- answers the library cannot read ---------------------------------------------------------

TEST_F(FaultModes, UnreadableAcknowledgementsCostTheLongPauseBeforeEachResend) {
    // A printer controller on a manager that notes the pauses instead of sleeping through them.
    auto pausing = std::make_shared<PausingManager>();
    aimAt(*pausing, unit->port());
    auto printer = std::make_shared<VantoPrinterController>(pausing);

    // One corrupted acknowledgement: one pause, one resend, which the unit prints only once.
    unit->corruptNextReplies(1);
    printer->sendToPrinterBuffer(Bytes{'a', 0x0A}, MessageBuilder::CHANNEL_UART1_PRINTER);
    ASSERT_TRUE(drained(*pausing));
    EXPECT_EQ(pausing->pauses, std::vector<unsigned>{200});
    auto replies = eventHex(*unit, "reply");
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_EQ(console.count("MESSAGE NOT ACKNOWLEDGED. " + replies[0]), 1u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 1u);
    EXPECT_EQ(events("printer_data_resent"), 1u);
    EXPECT_EQ(unit->snapshot().jobBytesPending, 2u);

    // Unrecognised answers only: a pause before each of the five attempts, then it gives up.
    unit->setReplyMode(ReplyMode::Unrecognised);
    printer->sendToPrinterBuffer(Bytes{'b', 0x0A}, MessageBuilder::CHANNEL_UART1_PRINTER);
    ASSERT_TRUE(drained(*pausing));
    EXPECT_EQ(pausing->pauses, std::vector<unsigned>(6, 200));
    replies = eventHex(*unit, "reply");
    ASSERT_EQ(replies.size(), 7u);
    EXPECT_EQ(console.count("MESSAGE NOT ACKNOWLEDGED. " + replies[2]), 5u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 1u);
}

// ---- slow and silent units -------------------------------------------------------------------

TEST_F(FaultModes, DelayedAnswerIsWaitedForButASilentUnitHoldsTheReadUntilItCloses) {
    unit->setReplyDelay(300ms);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(vanto->printerBusy());
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);

    unit->setReplyDelay(0ms);
    unit->setReplyMode(ReplyMode::Silent);
    auto pending = std::async(std::launch::async, [this] { return vanto->cashDrawerStatus(); });
    // Well past the 2000 ms limit, which a read that never returns cannot reach.
    EXPECT_EQ(pending.wait_for(2300ms), std::future_status::timeout);
    unit->stop();
    // A read that returns nothing is not handled: the exchange stops.
    EXPECT_THROW(pending.get(), FatalError);
}

// ---- a unit at its connection cap --------------------------------------------------------------

TEST_F(FaultModes, PastTheConnectionCapTheLibraryIsRefusedAtConnectAndGoesOn) {
    vantoemu::EmulatedUnit capped(vantoemu::UnitOptions{
        .port = 0, .outDir = "", .renderReceipts = false, .maxConnections = 2, .faults = {}});
    capped.start();
    aimAt(*manager, capped.port());
    // Each status query leaves its socket open, so two of them fill the cap.
    EXPECT_FALSE(vanto->printerBusy());
    EXPECT_FALSE(vanto->printerBusy());
    ASSERT_TRUE(capped.waitForEvents("connection_cap", 1, 2s));
    // Refused at connect, five times over: the printer counts as busy and nothing stops.
    EXPECT_TRUE(vanto->printerBusy());
    EXPECT_EQ(capped.eventCount("printer_status"), 2u);
    const auto lines = console.lines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) {
                                return line.find("SocketError error") != std::string::npos;
                            }),
              5);
}

// ---- a unit that closes every connection it accepts ------------------------------------------

TEST_F(FaultModes, RefusedConnectionLosesWritesSilentlyAndStopsExchanges) {
    unit->setRefuseConnections(true);
    vanto->setDiagnosticLed(VantoDiagnosticLEDS::LED_POWER, VantoColorCodes::LED_RED);
    ASSERT_TRUE(drained(*manager));
    ASSERT_TRUE(unit->waitForEvents("connection_refused", 1, 10s));
    // The request went out on a connection that was already closing: one attempt, no error.
    EXPECT_EQ(console.count("EXCEPTION ON WRITE PACKAGE OR RESPONSE: "), 0u);
    EXPECT_EQ(events("io"), 0u);

    // Exchanges that wait for an answer read nothing, which is not handled.
    EXPECT_THROW(vanto->printerBusy(), FatalError);
    EXPECT_THROW(vanto->cashDrawerStatus(), FatalError);
}

}  // namespace
}  // namespace vantoconnect::integration
