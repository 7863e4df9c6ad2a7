#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/integration/IntegrationSupport.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::integration {
namespace {

using vantoemu::PrinterCondition;
using vantoemu::ReplyMode;
using Clock = std::chrono::steady_clock;

// Takes note of the pause an unrecognised answer calls for instead of sleeping through it.
class PausingManager : public GenericConnectionManager {
  public:
    std::vector<unsigned> pauses() const {
        std::lock_guard lock(mMutex);
        return mPauses;
    }

  protected:
    void sleepSeconds(unsigned seconds) override {
        std::lock_guard lock(mMutex);
        mPauses.push_back(seconds);
    }

  private:
    mutable std::mutex mMutex;
    std::vector<unsigned> mPauses;
};

const std::string REQUEUED = "Rescheduling printing of remaining receipts: 1";

class FaultModes : public UnitTest {
  protected:
    // A printer controller of its own on a manager that does not sleep.
    void useManagerWithoutPauses() {
        pausing = std::make_shared<PausingManager>();
        aimAt(*pausing, unit->port());
        printer = std::make_shared<VantoPrinterController>(pausing);
    }
    void TearDown() override {
        printer.reset();
        pausing.reset();
        UnitTest::TearDown();
    }

    std::shared_ptr<PausingManager> pausing;
    std::shared_ptr<VantoPrinterController> printer;
};

// ---- a printer that is not ready --------------------------------------------------------------

TEST_F(FaultModes, PrinterNotReadyForThirtyPollsStillPrintsAtTheNext) {
    unit->setPrinterNotReadyPolls(30);
    auto receipt = receiptSaying("patience");
    auto callback = std::make_shared<RecordingCallback>();
    vanto->print(receipt, callback);
    ASSERT_TRUE(callback->waitForEvents(2, 30s));
    ASSERT_TRUE(unit->waitForReceipts(1, 10s));
    EXPECT_EQ(callback->kinds(), (std::vector<std::string>{"started", "completed"}));
    EXPECT_EQ(events("printer_status"), 31u);
    EXPECT_EQ(console.count(REQUEUED), 30u);
    EXPECT_EQ(unit->receipts().at(0).bytes, composed(*receipt));
}

TEST_F(FaultModes, PrinterNotReadyForThirtyOnePollsCostsTheReceipt) {
    unit->setPrinterNotReadyPolls(31);
    auto callback = std::make_shared<RecordingCallback>();
    vanto->print(receiptSaying("dropped"), callback);
    ASSERT_TRUE(callback->waitForEvents(1, 30s));
    ASSERT_TRUE(PrinterQueue::resetForTesting());
    ASSERT_EQ(callback->kinds(), std::vector<std::string>{"error"});
    EXPECT_EQ(callback->events()[0].detail, "PRINTER_NOT_RESPONDING");
    EXPECT_EQ(console.count("Printer error: PRINTER_NOT_RESPONDING"), 1u);
    EXPECT_EQ(console.count(REQUEUED), 30u);
    EXPECT_EQ(console.count("Printer started"), 0u);
    EXPECT_EQ(events("printer_status"), 31u);
    EXPECT_EQ(events("printer_data"), 0u);
    EXPECT_EQ(events("job"), 0u);
}

// ---- a printer that answers data with an error ------------------------------------------------

TEST_F(FaultModes, PrinterErrorIsRetriedAtOnceFiveTimesThenGivenUp) {
    unit->setPrinterCondition(PrinterCondition::Error);
    auto callback = std::make_shared<RecordingCallback>();
    const auto start = Clock::now();
    vanto->print(receiptSaying("refused"), callback);
    // Completion is reported all the same, and long before any pause could have ended.
    ASSERT_TRUE(callback->waitForEvents(2, 30s));
    EXPECT_LT(Clock::now() - start, 30s);
    EXPECT_EQ(callback->kinds(), (std::vector<std::string>{"started", "completed"}));
    ASSERT_TRUE(unit->waitForReceipts(1, 10s));

    EXPECT_EQ(events("printer_error_reply"), 5u);
    EXPECT_EQ(console.count("Printer says: IS NOT OK!"), 5u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 0u);
    std::vector<std::string> data;
    for (const auto& event : unit->events()) {
        const auto fields = nlohmann::json::parse(event.json);
        if (event.kind == "frame" && fields.value("type", "") == "0x4e" &&
            fields.value("tag_byte", "") == "0x01") {
            data.push_back(fields.value("hex", ""));
        }
    }
    ASSERT_EQ(data.size(), 5u);
    EXPECT_EQ(data, std::vector<std::string>(5, data[0]));  // the same packet every time
    EXPECT_TRUE(unit->receipts().at(0).bytes.empty());      // the job ended with nothing in it
}

TEST_F(FaultModes, PassingPrinterErrorIsOvercomeByTheRetry) {
    unit->setPrinterErrorReplies(2);
    auto receipt = receiptSaying("second time lucky");
    auto callback = std::make_shared<RecordingCallback>();
    vanto->print(receipt, callback);
    ASSERT_TRUE(callback->waitForEvents(2));
    ASSERT_TRUE(unit->waitForReceipts(1, 10s));
    EXPECT_EQ(console.count("Printer says: IS NOT OK!"), 2u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 1u);
    EXPECT_EQ(unit->receipts().at(0).bytes, composed(*receipt));
}

// ---- answers the library cannot read ---------------------------------------------------------

TEST_F(FaultModes, UnrecognisedAnswerCostsTheLongPauseBeforeEachResend) {
    useManagerWithoutPauses();
    unit->setReplyMode(ReplyMode::Unrecognised);
    printer->sendToPrinterBuffer(Bytes{'a', 0x0A}, MessageBuilder::CHANNEL_UART1_PRINTER);
    ASSERT_TRUE(drained(*pausing));

    EXPECT_EQ(pausing->pauses(), std::vector<unsigned>(5, 200));
    const auto replies = eventHex(*unit, "reply");
    ASSERT_EQ(replies.size(), 5u);
    EXPECT_EQ(console.count("MESSAGE NOT ACKNOWLEDGED. " + replies[0]), 5u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 0u);
}

TEST_F(FaultModes, CorruptedAcknowledgementCostsOnePauseAndOneResend) {
    useManagerWithoutPauses();
    unit->corruptNextReplies(1);
    printer->sendToPrinterBuffer(Bytes{'a', 0x0A}, MessageBuilder::CHANNEL_UART1_PRINTER);
    ASSERT_TRUE(drained(*pausing));

    EXPECT_EQ(pausing->pauses(), std::vector<unsigned>{200});
    const auto replies = eventHex(*unit, "reply");
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_EQ(console.count("MESSAGE NOT ACKNOWLEDGED. " + replies[0]), 1u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 1u);
    EXPECT_EQ(events("printer_data"), 1u);
    EXPECT_EQ(events("printer_data_resent"), 1u);
    EXPECT_EQ(unit->snapshot().jobBytesPending, 2u);  // printed once
}

TEST_F(FaultModes, CorruptedStatusAnswerReadsAsBusy) {
    unit->corruptNextReplies(1);
    EXPECT_TRUE(vanto->printerBusy());
    EXPECT_FALSE(vanto->printerBusy());
}

// ---- slow and silent units -------------------------------------------------------------------

TEST_F(FaultModes, DelayedAnswersAreWaitedForEvenPastTheDrawersTimeLimit) {
    unit->setReplyDelay(300ms);
    auto start = Clock::now();
    EXPECT_FALSE(vanto->printerBusy());
    EXPECT_GE(Clock::now() - start, 300ms);

    // The limit is looked at only after a read has returned, and this read brings the answer.
    unit->setReplyDelay(2100ms);
    start = Clock::now();
    EXPECT_EQ(vanto->cashDrawerStatus(), Vanto::CASH_DRAWER_STATUS_CLOSED);
    EXPECT_GE(Clock::now() - start, 2100ms);
}

TEST_F(FaultModes, WrongAnswerAfterTheTimeLimitEndsTheDrawerStatusRead) {
    unit->setReplyMode(ReplyMode::Unrecognised);
    unit->setReplyDelay(2100ms);
    const auto start = Clock::now();
    try {
        vanto->cashDrawerStatus();
        ADD_FAILURE() << "an unrecognised answer gave a drawer status";
    } catch (const VantoError& error) {
        EXPECT_EQ(error.message(), "Cash drawer status message not received");
    }
    EXPECT_GE(Clock::now() - start, 2000ms);
    EXPECT_EQ(events("drawer_status"), 1u);
}

TEST_F(FaultModes, SilentUnitHoldsTheDrawerStatusReadUntilTheConnectionCloses) {
    unit->setReplyMode(ReplyMode::Silent);
    auto pending = std::async(std::launch::async, [this] { return vanto->cashDrawerStatus(); });
    // Well past the 2000 ms limit, which a read that never returns cannot reach.
    EXPECT_EQ(pending.wait_for(2300ms), std::future_status::timeout);
    unit->stop();
    // A read that returns nothing is not handled: the exchange stops.
    EXPECT_THROW(pending.get(), FatalError);
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
    EXPECT_EQ(unit->snapshot().diagnosticLed(static_cast<int>(VantoDiagnosticLEDS::LED_POWER)),
              VantoColorCodes::LED_OFF);

    // Exchanges that wait for an answer read nothing, which is not handled.
    EXPECT_THROW(vanto->printerBusy(), FatalError);
    EXPECT_THROW(vanto->cashDrawerStatus(), FatalError);
}

}  // namespace
}  // namespace vantoconnect::integration
