#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "emulator/FrameReader.hpp"
#include "emulator/FrameWriter.hpp"
#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/Eventually.hpp"
#include "tests/support/ProgramRun.hpp"
#include "tests/support/ScratchDir.hpp"
#include "vantoconnect/connection/ResponseMatcher.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/SetIOStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"
#include "vantoconnect/transport/TCPClient.hpp"

// The unit's side of the wire: replies, job collection and connection handling. What the
// library makes of each reply and fault mode is shown against the facade in tests/integration.

namespace vantoemu {
namespace {

using namespace std::chrono_literals;
using vantoconnect::Bytes;
using vantoconnect::MessageBuilder;
using Response = vantoconnect::VantoMessageResponse;
using UBytes = std::vector<std::uint8_t>;

// A loopback connection to the unit. Reads are one read each, as the library's; absent when
// nothing came within the time-out (whole seconds) or the connection closed.
std::unique_ptr<vantoconnect::TCPClient> connectTo(const EmulatedUnit& unit) {
    auto client = std::make_unique<vantoconnect::TCPClient>("127.0.0.1", unit.port());
    EXPECT_TRUE(client->connect(2).isSuccess());
    return client;
}

// Requests built as the library's controllers build them.
UBytes request(vantoconnect::ORBAMessage& msg, std::int8_t channel, int tag, std::int8_t type = 0) {
    MessageBuilder builder(msg);
    builder.withDestinyChannel(channel)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withTagNumber(tag);
    if (type != 0) {
        builder.withType(type);
    }
    const Bytes frame = builder.build();
    return UBytes(frame.begin(), frame.end());
}
UBytes toPrinter(const UBytes& data, int tag, std::int8_t type = 0) {
    vantoconnect::SwitchDataMessage msg(Bytes(data.begin(), data.end()));
    return request(msg, MessageBuilder::CHANNEL_UART1_PRINTER, tag, type);
}
UBytes busyQuery() {
    return toPrinter({}, 0, MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND);
}

Response classify(const std::optional<UBytes>& reply) {
    if (!reply) {
        return Response::UNKNOWN;
    }
    vantoconnect::ResponseMatcher matcher;
    return matcher.processResponseFromVanto(Bytes(reply->begin(), reply->end()));
}

UBytes onlyFrame(const std::optional<UBytes>& reply) {
    FrameReader reader;
    auto out = reader.feed(reply.value_or(UBytes{}));
    return out.frames.size() == 1 ? out.frames[0] : UBytes{};
}

class EmulatedUnitTest : public ::testing::Test {
  protected:
    void SetUp() override { restart({}); }
    // A fresh unit on a port of its own, writing to `dir`, with the options `change` sets.
    void restart(const std::function<void(UnitOptions&)>& change) {
        unit.reset();
        UnitOptions options{
            .port = 0, .outDir = dir.path.string(), .drawerCloseAfter = 0ms, .faults = {}};
        if (change) {
            change(options);
        }
        unit = std::make_unique<EmulatedUnit>(options);
        unit->start();
    }
    std::size_t disconnects(const std::string& reason) const {
        std::size_t n = 0;
        for (const auto& event : unit->events()) {
            n += event.kind == "disconnect" &&
                 nlohmann::json::parse(event.json).value("reason", "") == reason;
        }
        return n;
    }
    // Prints `text` as a one-packet job from this machine.
    void printJob(const std::string& text) {
        exchange(toPrinter(UBytes(text.begin(), text.end()), 1));
        auto client = connectTo(*unit);
        client->send(toPrinter({0x00}, 0));
    }
    std::optional<UBytes> exchange(const UBytes& request) {
        auto client = connectTo(*unit);
        client->send(request);
        return client->read(1024, 2);
    }

    vantoconnect::testing::ConsoleCapture console;
    const vantoconnect::testing::ScratchDir dir;
    std::unique_ptr<EmulatedUnit> unit;
};

TEST_F(EmulatedUnitTest, PrinterStatesDecideThePollAnswerAndWhetherDataIsTaken) {
    struct Case {
        const char* name;
        std::function<void(EmulatedUnit&)> set;
        Response poll;
        std::uint8_t errorFlag;
        Response data;
    };
    const std::vector<Case> cases = {
        {"ready", [](EmulatedUnit& u) { u.setPrinterCondition(PrinterCondition::Ready); },
         Response::PRINTER_STATUS_OK, 0, Response::PRINT_ACKNOWLEDGED},
        {"not ready", [](EmulatedUnit& u) { u.setPrinterCondition(PrinterCondition::NotReady); },
         Response::PRINTER_STATUS_NOT_READY, 0, Response::PRINT_ACKNOWLEDGED},
        {"error", [](EmulatedUnit& u) { u.setPrinterCondition(PrinterCondition::Error); },
         Response::PRINTER_STATUS_NOT_READY, EmulatedUnit::PRINTER_ERROR_FLAG,
         Response::ERROR_PRINTER_NOT_OK},
        {"refusing while ready",
         [](EmulatedUnit& u) {
             u.setPrinterCondition(PrinterCondition::Ready);
             u.setPrinterErrorReplies(1);
         },
         Response::PRINTER_STATUS_OK, 0, Response::ERROR_PRINTER_NOT_OK},
    };
    int tag = 1;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        c.set(*unit);
        const auto poll = exchange(busyQuery());
        EXPECT_EQ(classify(poll), c.poll);
        EXPECT_EQ(onlyFrame(poll).at(4 + 7), c.errorFlag);
        EXPECT_EQ(classify(exchange(toPrinter({'x', 0x0A}, tag++))), c.data);
    }
    // The drawer's answer never carries the printer's error flag.
    vantoconnect::SwitchDataMessage drawer(Bytes{});
    const auto drawerAnswer =
        onlyFrame(exchange(request(drawer, MessageBuilder::CHANNEL_CASH_DRAWER, 0,
                                   MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND)));
    EXPECT_EQ(drawerAnswer.at(4 + 7), 0);
}

TEST_F(EmulatedUnitTest, IdleConnectionsCloseUnlessTheirSenderWaitsForAnAnswer) {
    restart([](UnitOptions& o) { o.idleTimeout = 200ms; });
    auto idle = connectTo(*unit);
    auto slow = connectTo(*unit);
    unit->setReplyDelay(600ms);
    slow->send(busyQuery());
    // The slow answer outlives the idle time and still arrives.
    EXPECT_EQ(classify(slow->read(1024, 2)), Response::PRINTER_STATUS_OK);
    unit->setReplyDelay(0ms);
    unit->setReplyMode(ReplyMode::Silent);
    auto waiting = connectTo(*unit);
    waiting->send(busyQuery());
    EXPECT_FALSE(idle->read(1024, 2).has_value());  // closed under it
    // The idle one, then the slow one once answered; never the one owed an answer.
    vantoconnect::testing::eventually([&] { return disconnects("idle") >= 2; });
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(disconnects("idle"), 2u);
    EXPECT_EQ(unit->snapshot().openConnections, 1u);
}

TEST_F(EmulatedUnitTest, PastTheCapConnectsAreRefusedUntilOneCloses) {
    restart([](UnitOptions& o) { o.maxConnections = 3; });
    std::vector<std::unique_ptr<vantoconnect::TCPClient>> held;
    for (int i = 0; i < 3; ++i) {
        held.push_back(connectTo(*unit));
    }
    ASSERT_TRUE(unit->waitForEvents("connection_cap", 1, 2s));
    vantoconnect::TCPClient refused("127.0.0.1", unit->port());
    EXPECT_FALSE(refused.connect(2).isSuccess());
    held[0]->close();
    ASSERT_TRUE(unit->waitForEvents("listening", 2, 2s));
    EXPECT_EQ(classify(exchange(busyQuery())), Response::PRINTER_STATUS_OK);
}

TEST_F(EmulatedUnitTest, KeptReceiptsFilesAndEventsStayWithinTheirLimits) {
    restart([](UnitOptions& o) {
        o.keep = 2;
        o.eventLogLimit = 1024;
        o.renderReceipts = false;
    });
    for (const char* text : {"one\n", "two\n", "three\n"}) {
        printJob(text);
    }
    ASSERT_TRUE(unit->waitForReceipts(3, 60s));
    const auto receipts = unit->receipts();
    ASSERT_EQ(receipts.size(), 2u);
    EXPECT_EQ(receipts[0].number, 2);
    EXPECT_FALSE(std::filesystem::exists(dir / "receipt-0001.txt"));
    EXPECT_TRUE(std::filesystem::exists(dir / "receipt-0003.txt"));
    EXPECT_TRUE(std::filesystem::exists(dir / "events.1.jsonl"));
    EXPECT_LE(std::filesystem::file_size(dir / "events.jsonl"), 1024u);

    // A job whose sender vanished reaches the paper on its own once the gap has passed, and
    // says so below the paper.
    unit->setJobIdleGap(100ms);
    exchange(toPrinter({'c', 'u', 't', 0x0A}, 1));
    ASSERT_TRUE(unit->waitForReceipts(4, 60s));
    EXPECT_EQ(unit->receipts().back().marks(), "incomplete");
    const auto text = vantoconnect::testing::slurp(dir / "receipt-0004.txt");
    EXPECT_NE(text.find("\n== receipt 4: incomplete; cut off: nothing more came"),
              std::string::npos)
        << text;
}

TEST_F(EmulatedUnitTest, ARestartClosesEverythingRefusesConnectsAndComesBackOnThePickedPort) {
    vantoconnect::SetIOStateMessage led;
    led.setDiagnosticLEDBitField(8, 3);
    exchange(request(led, MessageBuilder::CHANNEL_IO_BUTTONS_LEDS, 0));
    const auto port = unit->port();
    auto idle = connectTo(*unit);
    exchange(toPrinter({'c', 'u', 't', 0x0A}, 1));

    unit->restart(10min);
    EXPECT_FALSE(idle->read(1024, 2).has_value());
    EXPECT_FALSE(vantoconnect::TCPClient("127.0.0.1", port).connect(2).isSuccess());
    // The cut-off job is on paper at once, on its own.
    ASSERT_TRUE(unit->waitForReceipts(1, 60s));
    EXPECT_EQ(unit->receipts().at(0).notes.back(),
              "cut off: the unit restarted before the end of the job came");

    // A restart during the downtime starts it afresh: here none at all.
    unit->restart(0ms);
    ASSERT_TRUE(unit->waitForEvents("restarted", 1, 5s));
    EXPECT_EQ(unit->port(), port);
    EXPECT_EQ(unit->snapshot().diagnosticLed(8), 3);
    printJob("next\n\x1bi");
    ASSERT_TRUE(unit->waitForReceipts(2, 60s));
    EXPECT_EQ(unit->receipts().at(1).marks(), "complete");
    // Whole tags without the cut every receipt ends with: its sender gave up and ended it.
    printJob("half a recei");
    ASSERT_TRUE(unit->waitForReceipts(3, 60s));
    EXPECT_EQ(unit->receipts().at(2).notes.back(),
              "no cut: the job ended before its receipt's cut");
    unit->stop();
    EXPECT_THROW(unit->restart(0ms), std::logic_error);
}

TEST_F(EmulatedUnitTest, DroppedConnectionsTakeTheRequestAndLoseOnlyTheAnswer) {
    unit->dropNextConnections(1);
    EXPECT_FALSE(exchange(toPrinter({'a', 0x0A}, 1)).has_value());
    EXPECT_EQ(unit->snapshot().faults.dropConnections, 0);
    // The packet whose answer was lost is in the job: the sender's resend is not printed twice.
    EXPECT_EQ(classify(exchange(toPrinter({'a', 0x0A}, 1))), Response::PRINT_ACKNOWLEDGED);
    EXPECT_EQ(classify(exchange(toPrinter({'b', 0x0A, 0x1B, 0x69}, 2))),
              Response::PRINT_ACKNOWLEDGED);
    auto end = connectTo(*unit);
    end->send(toPrinter({0x00}, 0));
    ASSERT_TRUE(unit->waitForReceipts(1, 60s));
    const auto receipt = unit->receipts().at(0);
    EXPECT_EQ(std::string(receipt.bytes.begin(), receipt.bytes.end()), "a\nb\n\x1bi");
    EXPECT_EQ(receipt.marks(), "complete");
    EXPECT_EQ(disconnects("dropped once the request was read"), 1u);
}

TEST_F(EmulatedUnitTest, IoStateIsAnsweredDrivesTheSolenoidAndTheDrawerClosesByItself) {
    vantoconnect::SetIOStateMessage led;
    led.setDiagnosticLEDBitField(8, 1);
    EXPECT_EQ(classify(exchange(request(led, MessageBuilder::CHANNEL_IO_BUTTONS_LEDS, 0))),
              Response::IO_CHANGE_OK);
    vantoconnect::SetIOStateMessage solenoid;
    solenoid.setSolenoidBitField(1);
    exchange(request(solenoid, MessageBuilder::CHANNEL_IO_BUTTONS_LEDS, 0));
    EXPECT_TRUE(unit->snapshot().solenoid);
    EXPECT_EQ(unit->snapshot().diagnosticLed(8), 1);  // untouched by the second change mask

    const std::size_t changes = unit->eventCount("state");
    unit->setDrawerCloseAfter(100ms);
    unit->openDrawer();
    EXPECT_TRUE(unit->snapshot().drawerOpen);
    ASSERT_TRUE(unit->waitForEvents("state", changes + 2, 3s));  // opened, then closed
    EXPECT_FALSE(unit->snapshot().drawerOpen);
}

TEST_F(EmulatedUnitTest, GarbageAndUnknownRequestsAreLoggedAndTheNextFrameAnswered) {
    auto client = connectTo(*unit);
    client->send(UBytes{0xFF, 0xEE, 0x02, 0x05, 0x01});  // stray bytes, then a frame cut short
    client->send(FrameWriter::frame(UBytes{0x18, 0x02, 0x70, 0x00}));  // a ping: not answered
    EXPECT_FALSE(client->read(1024, 1).has_value());
    client->send(busyQuery());
    EXPECT_EQ(classify(client->read(1024, 2)), Response::PRINTER_STATUS_OK);
    EXPECT_EQ(unit->eventCount("frame_error"), 2u);
    EXPECT_EQ(unit->eventCount("ignored"), 1u);
    unit->stop();
    EXPECT_NE(vantoconnect::testing::slurp(dir / "events.jsonl").find("\"event\":\"frame\""),
              std::string::npos);
}

}  // namespace
}  // namespace vantoemu
