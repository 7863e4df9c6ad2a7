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
#include "tests/support/UnitFrames.hpp"
#include "vantoconnect/connection/ResponseMatcher.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/SetIOStateMessage.hpp"
#include "vantoconnect/transport/TCPClient.hpp"

// The unit's side of the wire: replies, job collection and connection handling. What the
// library makes of each reply and fault mode is shown against the facade in tests/integration.

namespace vantoemu {
namespace {

using namespace std::chrono_literals;
using vantoconnect::Bytes;
using namespace vantoconnect::testing;
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

// A change of the unit's LEDs or solenoid, built as the library's controller builds it.
UBytes ioRequest(vantoconnect::ORBAMessage& msg) {
    MessageBuilder builder(msg);
    builder.withDestinyChannel(MessageBuilder::CHANNEL_IO_BUTTONS_LEDS)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withTagNumber(0);
    const Bytes frame = builder.build();
    return UBytes(frame.begin(), frame.end());
}

Response classify(const std::optional<UBytes>& reply) {
    vantoconnect::ResponseMatcher matcher;
    return reply ? matcher.processResponseFromVanto(Bytes(reply->begin(), reply->end()))
                 : Response::UNKNOWN;
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
        exchange(printerFrame(1, Bytes(text.begin(), text.end())));
        connectTo(*unit)->send(END_OF_JOB);
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
        PrinterCondition condition;
        int refusals;
        Response poll;
        std::uint8_t errorFlag;
        Response data;
    };
    const std::vector<Case> cases = {
        {"ready", PrinterCondition::Ready, 0, Response::PRINTER_STATUS_OK, 0,
         Response::PRINT_ACKNOWLEDGED},
        {"not ready", PrinterCondition::NotReady, 0, Response::PRINTER_STATUS_NOT_READY, 0,
         Response::PRINT_ACKNOWLEDGED},
        {"error", PrinterCondition::Error, 0, Response::PRINTER_STATUS_NOT_READY,
         EmulatedUnit::PRINTER_ERROR_FLAG, Response::ERROR_PRINTER_NOT_OK},
        {"refusing while ready", PrinterCondition::Ready, 1, Response::PRINTER_STATUS_OK, 0,
         Response::ERROR_PRINTER_NOT_OK},
    };
    int tag = 1;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        unit->setPrinterCondition(c.condition);
        unit->setPrinterErrorReplies(c.refusals);
        const auto poll = exchange(PRINTER_BUSY_QUERY);
        EXPECT_EQ(classify(poll), c.poll);
        EXPECT_EQ(onlyFrame(poll).at(4 + 7), c.errorFlag);
        EXPECT_EQ(classify(exchange(printerFrame(tag++, {'x', 0x0A}))), c.data);
    }
    // The drawer's answer never carries the printer's error flag.
    EXPECT_EQ(onlyFrame(exchange(DRAWER_STATUS_REQUEST)).at(4 + 7), 0);
}

TEST_F(EmulatedUnitTest, IdleConnectionsCloseUnlessTheirSenderWaitsForAnAnswer) {
    restart([](UnitOptions& o) { o.idleTimeout = 200ms; });
    auto idle = connectTo(*unit);
    auto slow = connectTo(*unit);
    unit->setReplyDelay(600ms);
    slow->send(PRINTER_BUSY_QUERY);
    // The slow answer outlives the idle time and still arrives.
    EXPECT_EQ(classify(slow->read(1024, 2)), Response::PRINTER_STATUS_OK);
    unit->setReplyDelay(0ms);
    unit->setReplyMode(ReplyMode::Silent);
    auto waiting = connectTo(*unit);
    waiting->send(PRINTER_BUSY_QUERY);
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
    EXPECT_EQ(classify(exchange(PRINTER_BUSY_QUERY)), Response::PRINTER_STATUS_OK);
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

    // A job whose sender vanished reaches the paper on its own once the gap has passed, marked
    // as cut off.
    unit->setJobIdleGap(100ms);
    exchange(printerFrame(1, {'c', 'u', 't', 0x0A}));
    ASSERT_TRUE(unit->waitForReceipts(4, 60s));
    EXPECT_TRUE(unit->receipts().back().notes.back().starts_with("cut off: nothing more came"));
}

TEST_F(EmulatedUnitTest, ARestartClosesEverythingRefusesConnectsAndComesBackOnThePickedPort) {
    vantoconnect::SetIOStateMessage led;
    led.setDiagnosticLEDBitField(8, 3);
    exchange(ioRequest(led));
    const auto port = unit->port();
    auto idle = connectTo(*unit);
    exchange(printerFrame(1, {'c', 'u', 't', 0x0A}));

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

TEST_F(EmulatedUnitTest, DroppedConnectionsLoseOnlyTheAnswerAndGarbageOnlyItself) {
    unit->dropNextConnections(1);
    EXPECT_FALSE(exchange(printerFrame(1, {'a', 0x0A})).has_value());
    // The packet whose answer was lost is in the job: the sender's resend is not printed twice.
    EXPECT_EQ(classify(exchange(printerFrame(1, {'a', 0x0A}))), Response::PRINT_ACKNOWLEDGED);
    EXPECT_EQ(classify(exchange(printerFrame(2, {'b', 0x0A, 0x1B, 0x69}))),
              Response::PRINT_ACKNOWLEDGED);
    connectTo(*unit)->send(END_OF_JOB);
    ASSERT_TRUE(unit->waitForReceipts(1, 60s));
    const auto receipt = unit->receipts().at(0);
    EXPECT_EQ(std::string(receipt.bytes.begin(), receipt.bytes.end()), "a\nb\n\x1bi");
    EXPECT_EQ(receipt.marks(), "complete");
    EXPECT_EQ(disconnects("dropped once the request was read"), 1u);

    // Stray bytes, then a frame cut short, then a ping, which is not answered.
    auto client = connectTo(*unit);
    client->send(UBytes{0xFF, 0xEE, 0x02, 0x05, 0x01});
    client->send(FrameWriter::frame(UBytes{0x18, 0x02, 0x70, 0x00}));
    EXPECT_FALSE(client->read(1024, 1).has_value());
    client->send(PRINTER_BUSY_QUERY);
    EXPECT_EQ(classify(client->read(1024, 2)), Response::PRINTER_STATUS_OK);
    EXPECT_EQ(unit->eventCount("frame_error"), 2u);
    EXPECT_EQ(unit->eventCount("ignored"), 1u);
}

// LED and solenoid changes are shown through the vanto command's device commands.
TEST_F(EmulatedUnitTest, AnOpenedDrawerClosesByItself) {
    const std::size_t changes = unit->eventCount("state");
    unit->setDrawerCloseAfter(100ms);
    unit->openDrawer();
    ASSERT_TRUE(unit->waitForEvents("state", changes + 2, 3s));  // opened, then closed
    EXPECT_FALSE(unit->snapshot().drawerOpen);
}

}  // namespace
}  // namespace vantoemu
