#include <gtest/gtest.h>

#include <future>
#include <nlohmann/json.hpp>

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

// The "hex" field of each of the unit's events of one kind, in order.
std::vector<std::string> eventHex(const vantoemu::EmulatedUnit& unit, const std::string& kind) {
    std::vector<std::string> out;
    for (const auto& event : unit.events()) {
        if (event.kind == kind) {
            out.push_back(nlohmann::json::parse(event.json).value("hex", std::string()));
        }
    }
    return out;
}

using FaultModes = UnitTest;

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
    auto pausing = managerFor(unit->port());
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
