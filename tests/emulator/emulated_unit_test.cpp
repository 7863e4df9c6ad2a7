#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "emulator/FrameReader.hpp"
#include "emulator/FrameWriter.hpp"
#include "tests/support/ConsoleCapture.hpp"
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
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() /
              ("vantoemu-" +
               std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        std::filesystem::remove_all(dir);
        unit = std::make_unique<EmulatedUnit>(
            UnitOptions{.port = 0, .outDir = dir.string(), .drawerCloseAfter = 0ms, .faults = {}});
        unit->start();
    }
    void TearDown() override {
        unit.reset();
        std::filesystem::remove_all(dir);
    }
    std::optional<UBytes> exchange(const UBytes& request) {
        auto client = connectTo(*unit);
        client->send(request);
        return client->read(1024, 2);
    }

    vantoconnect::testing::ConsoleCapture console;
    std::filesystem::path dir;
    std::unique_ptr<EmulatedUnit> unit;
};

TEST_F(EmulatedUnitTest, PrinterStatusCountsDownNotReadyPollsAndAnswersTheSender) {
    unit->setPrinterNotReadyPolls(2);
    for (const Response expected :
         {Response::PRINTER_STATUS_NOT_READY, Response::PRINTER_STATUS_NOT_READY,
          Response::PRINTER_STATUS_OK}) {
        EXPECT_EQ(classify(exchange(busyQuery())), expected);
    }
    const UBytes reply = onlyFrame(exchange(busyQuery()));
    ASSERT_EQ(reply.size(), 22u);
    // Addressed back to the sender (node 0, channel 2), then the type.
    EXPECT_EQ(UBytes(reply.begin(), reply.begin() + 3), (UBytes{0x02, 0x12, 0x61}));
    EXPECT_EQ(reply[4 + 6], EmulatedUnit::PRINTER_READY);
}

TEST_F(EmulatedUnitTest, DataIsAcknowledgedByTagOrRefusedAndTheJobRenderedAtItsEnd) {
    const UBytes first = {0x14, 0x00, 0x1B, 0x61, 0x31, 'H', 'e', 'l', 'l', 'o', 0x0A};
    UBytes second(1000, 'x');  // a packet long enough for the two-byte length
    second.push_back(0x0A);
    const UBytes cut = {0x1B, 0x69};
    // A refused packet is answered with header byte 3 cleared and not kept.
    unit->setPrinterErrorReplies(1);
    const auto refused = exchange(toPrinter(first, 1));
    EXPECT_EQ(classify(refused), Response::ERROR_PRINTER_NOT_OK);
    EXPECT_EQ(onlyFrame(refused).at(3), 0x00);
    int tag = 1;
    for (const UBytes& packet : {first, second, cut}) {
        const auto reply = exchange(toPrinter(packet, tag));
        EXPECT_EQ(classify(reply), Response::PRINT_ACKNOWLEDGED);
        EXPECT_EQ(onlyFrame(reply).at(3), 0x80 | tag++);
    }
    auto client = connectTo(*unit);
    client->send(toPrinter({0x00}, 0));
    EXPECT_FALSE(client->read(1024, 1).has_value());  // the end of a job is not answered
    ASSERT_TRUE(unit->waitForReceipts(1, 10s));
    const auto receipt = unit->receipts().at(0);
    EXPECT_EQ(receipt.packets, 3u);
    UBytes all = first;
    all.insert(all.end(), second.begin(), second.end());
    all.insert(all.end(), cut.begin(), cut.end());
    EXPECT_EQ(receipt.bytes, all);
    EXPECT_EQ(receipt.pngPath, (dir / "receipt-0001.png").string());
    EXPECT_TRUE(std::filesystem::exists(receipt.pngPath));
    std::string firstLine;
    std::getline(std::ifstream(dir / "receipt-0001.txt"), firstLine);
    EXPECT_EQ(firstLine, std::string(19, ' ') + "Hello");
    EXPECT_EQ(unit->snapshot().jobBytesPending, 0u);
}

TEST_F(EmulatedUnitTest, IoStateIsAnsweredAndDrivesTheSolenoid) {
    vantoconnect::SetIOStateMessage led;
    led.setDiagnosticLEDBitField(8, 1);
    EXPECT_EQ(classify(exchange(request(led, MessageBuilder::CHANNEL_IO_BUTTONS_LEDS, 0))),
              Response::IO_CHANGE_OK);
    vantoconnect::SetIOStateMessage solenoid;
    solenoid.setSolenoidBitField(1);
    exchange(request(solenoid, MessageBuilder::CHANNEL_IO_BUTTONS_LEDS, 0));
    EXPECT_TRUE(unit->snapshot().solenoid);
    EXPECT_EQ(unit->snapshot().diagnosticLed(8), 1);  // untouched by the second change mask
}

TEST_F(EmulatedUnitTest, DrawerClosesByItselfAfterTheConfiguredTime) {
    const std::size_t changes = unit->eventCount("state");
    unit->setDrawerCloseAfter(100ms);
    unit->openDrawer();
    EXPECT_TRUE(unit->snapshot().drawerOpen);
    ASSERT_TRUE(unit->waitForEvents("state", changes + 2, 3s));  // opened, then closed
    EXPECT_FALSE(unit->snapshot().drawerOpen);
}

TEST_F(EmulatedUnitTest, HoldsItsPortAndServesBesideManyIdleConnections) {
    EXPECT_THROW(
        EmulatedUnit(UnitOptions{.port = unit->port(), .outDir = "", .faults = {}}).start(),
        std::runtime_error);
    std::vector<std::unique_ptr<vantoconnect::TCPClient>> idle;
    for (int i = 0; i < 40; ++i) {
        idle.push_back(connectTo(*unit));
    }
    idle[7]->send(busyQuery());
    EXPECT_EQ(classify(idle[7]->read(1024, 2)), Response::PRINTER_STATUS_OK);
    EXPECT_EQ(classify(exchange(busyQuery())), Response::PRINTER_STATUS_OK);
    EXPECT_GE(unit->snapshot().openConnections, 40u);
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
    std::stringstream log;
    log << std::ifstream(dir / "events.jsonl").rdbuf();
    EXPECT_NE(log.str().find("\"event\":\"frame\""), std::string::npos);
}

}  // namespace
}  // namespace vantoemu
