#include <gtest/gtest.h>
#include <poll.h>

#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "emulator/FrameReader.hpp"
#include "emulator/FrameWriter.hpp"
#include "tests/support/ConsoleCapture.hpp"
#include "vantoconnect/connection/ResponseMatcher.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/messages/GetControlStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/SetIOStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"

namespace vantoemu {
namespace {

using namespace std::chrono_literals;
using vantoconnect::Bytes;
using vantoconnect::MessageBuilder;
using vantoconnect::VantoMessageResponse;
using UBytes = std::vector<std::uint8_t>;

// A blocking loopback client that reads with a time limit.
class Client {
  public:
    explicit Client(std::uint16_t port) : mSocket(mIo) {
        mSocket.connect({asio::ip::make_address("127.0.0.1"), port});
    }
    void send(const Bytes& frame) {
        asio::write(mSocket, asio::buffer(frame.data(), frame.size()));
    }
    void sendRaw(const UBytes& bytes) { asio::write(mSocket, asio::buffer(bytes)); }
    // One read, as the library does it; nullopt when nothing came in time, empty when closed.
    std::optional<UBytes> read(std::chrono::milliseconds timeout = 2000ms) {
        pollfd fd{mSocket.native_handle(), POLLIN, 0};
        if (::poll(&fd, 1, static_cast<int>(timeout.count())) <= 0) {
            return std::nullopt;
        }
        UBytes buffer(1024);
        std::error_code ec;
        const std::size_t n = mSocket.read_some(asio::buffer(buffer), ec);
        buffer.resize(ec ? 0 : n);
        return buffer;
    }

  private:
    asio::io_context mIo;
    asio::ip::tcp::socket mSocket;
};

// Requests built exactly as the library's controllers build them.
Bytes printerData(const UBytes& data, int tag) {
    vantoconnect::SwitchDataMessage msg(Bytes(data.begin(), data.end()));
    return MessageBuilder(msg)
        .withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withTagNumber(static_cast<std::int8_t>(tag))
        .build();
}
Bytes endOfJob() {
    vantoconnect::SwitchDataMessage msg(Bytes{0x00});
    return MessageBuilder(msg)
        .withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withTagNumber(0)
        .build();
}
Bytes printerBusyQuery() {
    vantoconnect::SwitchDataMessage msg(Bytes{});
    return MessageBuilder(msg)
        .withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withType(MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND)
        .withTagNumber(0)
        .build();
}
Bytes drawerStatusQuery() {
    vantoconnect::GetControlStateMessage msg;
    return MessageBuilder(msg)
        .withDestinyChannel(MessageBuilder::CHANNEL_CASH_DRAWER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withType(MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND)
        .withTagNumber(0)
        .build();
}
Bytes drawerPulse() {
    vantoconnect::SwitchDataMessage msg(Bytes{0x1B, 0x70, 0x00, -1, -1});
    return MessageBuilder(msg)
        .withDestinyChannel(MessageBuilder::CHANNEL_CASH_DRAWER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .build();
}
template <typename Fill>
Bytes ioState(Fill fill) {
    vantoconnect::SetIOStateMessage msg;
    fill(msg);
    return MessageBuilder(msg)
        .withDestinyChannel(MessageBuilder::CHANNEL_IO_BUTTONS_LEDS)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .build();
}
Bytes cosmetic(int colour) {
    static const int lines[8][3] = {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 1, 0},
                                    {0, 0, 1}, {0, 1, 1}, {1, 0, 1}, {1, 1, 1}};
    return ioState([&](vantoconnect::SetIOStateMessage& m) {
        for (int k = 0; k < 3; ++k) {
            m.setCosmeticLEDBitField(8 + k, lines[colour][k]);
        }
    });
}

VantoMessageResponse classify(const std::optional<UBytes>& reply) {
    if (!reply) {
        return VantoMessageResponse::UNKNOWN;
    }
    vantoconnect::ResponseMatcher matcher;
    return matcher.processResponseFromVanto(Bytes(reply->begin(), reply->end()));
}

// The drawer bit as the library's configuration controller reads it.
int drawerBit(const std::optional<UBytes>& reply) {
    if (!reply || reply->empty()) {
        return -1;
    }
    vantoconnect::LinkDecoder16 decoder;
    decoder.setCRCEnable(true);
    decoder.setLengthSize(1);
    for (const auto& frame :
         decoder.processByteLump(vantoconnect::ByteLump(Bytes(reply->begin(), reply->end())), 0)) {
        vantoconnect::ORBAMessage m(frame.payload);
        const Bytes content = m.getMessageSpecificContent();
        if (content.size() >= 8 && m.getType() == 0x61) {
            return (content[6] & 0x40) >> 6;
        }
    }
    return -1;
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
        UnitOptions options;
        options.port = 0;
        options.outDir = dir.string();
        options.drawerCloseAfter = 0ms;
        unit = std::make_unique<EmulatedUnit>(options);
        unit->start();
    }
    void TearDown() override {
        unit.reset();
        std::filesystem::remove_all(dir);
    }
    std::optional<UBytes> exchange(const Bytes& request,
                                   std::chrono::milliseconds timeout = 2000ms) {
        Client client(unit->port());
        client.send(request);
        return client.read(timeout);
    }

    vantoconnect::testing::ConsoleCapture console;
    std::filesystem::path dir;
    std::unique_ptr<EmulatedUnit> unit;
};

TEST_F(EmulatedUnitTest, ListensOnLoopbackAtThePortItReports) {
    EXPECT_NE(unit->port(), 0);
    EXPECT_TRUE(unit->running());
    UnitOptions taken;
    taken.port = unit->port();
    taken.outDir = "";
    EmulatedUnit other(taken);
    EXPECT_THROW(other.start(), std::runtime_error);
}

TEST_F(EmulatedUnitTest, PrinterStatusFollowsReadinessAndNotReadyPolls) {
    EXPECT_EQ(classify(exchange(printerBusyQuery())), VantoMessageResponse::PRINTER_STATUS_OK);
    unit->setPrinterNotReadyPolls(2);
    EXPECT_EQ(classify(exchange(printerBusyQuery())),
              VantoMessageResponse::PRINTER_STATUS_NOT_READY);
    EXPECT_EQ(classify(exchange(printerBusyQuery())),
              VantoMessageResponse::PRINTER_STATUS_NOT_READY);
    EXPECT_EQ(classify(exchange(printerBusyQuery())), VantoMessageResponse::PRINTER_STATUS_OK);
    unit->setPrinterCondition(PrinterCondition::NotReady);
    EXPECT_EQ(classify(exchange(printerBusyQuery())),
              VantoMessageResponse::PRINTER_STATUS_NOT_READY);
    const UBytes reply = onlyFrame(exchange(printerBusyQuery()));
    ASSERT_EQ(reply.size(), 22u);
    EXPECT_EQ(reply[0], 0x02);  // addressed back to the sender: node 0, channel 2
    EXPECT_EQ(reply[1], 0x12);
}

TEST_F(EmulatedUnitTest, PrintJobIsAcknowledgedPerPacketAndRenderedAtItsEnd) {
    const UBytes first = {0x14, 0x00, 0x1B, 0x61, 0x31, 'H', 'e', 'l', 'l', 'o', 0x0A};
    UBytes second(1000, 'x');  // a packet long enough for the two-byte length
    second.push_back(0x0A);
    const UBytes cut = {0x1B, 0x69};
    int tag = 1;
    for (const UBytes& packet : {first, second, cut}) {
        const auto reply = exchange(printerData(packet, tag));
        EXPECT_EQ(classify(reply), VantoMessageResponse::PRINT_ACKNOWLEDGED);
        EXPECT_EQ(onlyFrame(reply).at(3), 0x80 | tag);
        ++tag;
    }
    Client client(unit->port());
    client.send(endOfJob());
    EXPECT_FALSE(client.read(300ms).has_value());  // the end of a job is not answered
    ASSERT_TRUE(unit->waitForReceipts(1, 10s));
    const auto receipt = unit->receipts().at(0);
    EXPECT_EQ(receipt.number, 1);
    EXPECT_EQ(receipt.packets, 3u);
    EXPECT_EQ(receipt.bytes.size(), first.size() + second.size() + cut.size());
    ASSERT_FALSE(receipt.document.all<TextLine>().empty());
    EXPECT_EQ(receipt.document.all<TextLine>()[0].text(), "Hello");
    EXPECT_EQ(receipt.pngPath, (dir / "receipt-0001.png").string());
    EXPECT_TRUE(std::filesystem::exists(receipt.pngPath));
    std::ifstream txt(dir / "receipt-0001.txt");
    std::string firstLine;
    std::getline(txt, firstLine);
    EXPECT_EQ(firstLine, std::string(19, ' ') + "Hello");
    EXPECT_EQ(receipt.rendered.width, 576);
    EXPECT_EQ(unit->snapshot().jobBytesPending, 0u);
}

TEST_F(EmulatedUnitTest, ResentPacketIsAcknowledgedButPrintedOnce) {
    const UBytes line = {'a', 0x0A};
    EXPECT_EQ(classify(exchange(printerData(line, 1))), VantoMessageResponse::PRINT_ACKNOWLEDGED);
    EXPECT_EQ(classify(exchange(printerData(line, 1))), VantoMessageResponse::PRINT_ACKNOWLEDGED);
    EXPECT_EQ(classify(exchange(printerData(line, 2))), VantoMessageResponse::PRINT_ACKNOWLEDGED);
    EXPECT_EQ(unit->snapshot().jobBytesPending, 4u);
}

TEST_F(EmulatedUnitTest, PrinterErrorAnswersDataWithTheErrorFrame) {
    unit->setPrinterErrorReplies(1);
    const auto reply = exchange(printerData({'a', 0x0A}, 1));
    EXPECT_EQ(classify(reply), VantoMessageResponse::ERROR_PRINTER_NOT_OK);
    EXPECT_EQ(onlyFrame(reply).at(3), 0x00);
    EXPECT_EQ(classify(exchange(printerData({'a', 0x0A}, 1))),
              VantoMessageResponse::PRINT_ACKNOWLEDGED);
    unit->setPrinterCondition(PrinterCondition::Error);
    EXPECT_EQ(classify(exchange(printerData({'b', 0x0A}, 2))),
              VantoMessageResponse::ERROR_PRINTER_NOT_OK);
    // The busy query still reports ready, so the library goes on to send its data.
    EXPECT_EQ(classify(exchange(printerBusyQuery())), VantoMessageResponse::PRINTER_STATUS_OK);
    EXPECT_EQ(unit->snapshot().jobBytesPending, 2u);
}

TEST_F(EmulatedUnitTest, DrawerOpensOnThePulseAndReportsItsSensor) {
    EXPECT_EQ(drawerBit(exchange(drawerStatusQuery())), 1);  // closed
    Client client(unit->port());
    client.send(drawerPulse());
    EXPECT_FALSE(client.read(200ms).has_value());
    EXPECT_TRUE(unit->snapshot().drawerOpen);
    EXPECT_EQ(drawerBit(exchange(drawerStatusQuery())), 0);  // open
    unit->closeDrawer();
    EXPECT_EQ(drawerBit(exchange(drawerStatusQuery())), 1);
    EXPECT_EQ(unit->snapshot().drawerOpenings, 1u);
}

TEST_F(EmulatedUnitTest, DrawerClosesByItselfAfterTheConfiguredTime) {
    unit->setDrawerCloseAfter(100ms);
    unit->openDrawer();
    EXPECT_TRUE(unit->snapshot().drawerOpen);
    const auto deadline = std::chrono::steady_clock::now() + 3s;
    while (unit->snapshot().drawerOpen && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_FALSE(unit->snapshot().drawerOpen);
}

TEST_F(EmulatedUnitTest, IoStateDrivesLedsLightUsbAndSolenoid) {
    EXPECT_EQ(classify(exchange(ioState([](auto& m) { m.setDiagnosticLEDBitField(8, 1); }))),
              VantoMessageResponse::IO_CHANGE_OK);
    exchange(ioState([](auto& m) { m.setDiagnosticLEDBitField(0, 3); }));
    auto s = unit->snapshot();
    EXPECT_EQ(s.diagnosticLed(8), 1);  // LED_PRINTER green
    EXPECT_EQ(s.diagnosticLed(0), 3);  // LED_POWER amber, set later, leaves the first alone
    EXPECT_EQ(s.diagnosticLed(9), 0);
    for (int colour = 0; colour < 8; ++colour) {
        exchange(cosmetic(colour));
        EXPECT_EQ(unit->snapshot().cosmeticColour, colour);
    }
    EXPECT_EQ(unit->snapshot().cosmeticColourName, "COSMETIC_WHITE");
    exchange(ioState([](auto& m) { m.setCosmeticLEDBitField(26, 1); }));
    EXPECT_TRUE(unit->snapshot().usbPower);
    EXPECT_EQ(unit->snapshot().cosmeticColour, 7);
    exchange(ioState([](auto& m) { m.setCosmeticLEDBitField(26, 0); }));
    EXPECT_FALSE(unit->snapshot().usbPower);
    exchange(ioState([](auto& m) { m.setSolenoidBitField(1); }));
    EXPECT_TRUE(unit->snapshot().solenoid);
    EXPECT_EQ(unit->snapshot().diagnosticLed(8), 1);
}

TEST_F(EmulatedUnitTest, SilentModeAnswersNothingAndKeepsTheConnection) {
    unit->setReplyMode(ReplyMode::Silent);
    Client client(unit->port());
    client.send(printerBusyQuery());
    EXPECT_FALSE(client.read(300ms).has_value());
    unit->setReplyMode(ReplyMode::Normal);
    client.send(printerBusyQuery());
    EXPECT_EQ(classify(client.read()), VantoMessageResponse::PRINTER_STATUS_OK);
}

TEST_F(EmulatedUnitTest, UnrecognisedModeAnswersWithAFrameTheLibraryCannotPlace) {
    unit->setReplyMode(ReplyMode::Unrecognised);
    const auto reply = exchange(printerData({'a'}, 1));
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(onlyFrame(reply).size(), 4u);
    EXPECT_EQ(classify(reply), VantoMessageResponse::UNKNOWN);
}

TEST_F(EmulatedUnitTest, CorruptedCrcSpoilsOnlyTheNextReplies) {
    unit->corruptNextReplies(1);
    const auto bad = exchange(printerBusyQuery());
    ASSERT_TRUE(bad.has_value());
    EXPECT_EQ(classify(bad), VantoMessageResponse::UNKNOWN);
    EXPECT_EQ(classify(exchange(printerBusyQuery())), VantoMessageResponse::PRINTER_STATUS_OK);
}

TEST_F(EmulatedUnitTest, DelayedRepliesArriveAfterTheDelay) {
    unit->setReplyDelay(250ms);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(classify(exchange(printerBusyQuery())), VantoMessageResponse::PRINTER_STATUS_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 240ms);
}

TEST_F(EmulatedUnitTest, RefusedConnectionsAreClosedAtOnce) {
    unit->setRefuseConnections(true);
    Client client(unit->port());
    const auto reply = client.read(2000ms);
    ASSERT_TRUE(reply.has_value());
    EXPECT_TRUE(reply->empty());
    EXPECT_TRUE(unit->waitForEvents("connection_refused", 1, 2s));
}

TEST_F(EmulatedUnitTest, ManyIdleConnectionsDoNotBlockNewOnes) {
    std::vector<std::unique_ptr<Client>> idle;
    for (int i = 0; i < 40; ++i) {
        idle.push_back(std::make_unique<Client>(unit->port()));
    }
    idle[7]->send(printerBusyQuery());
    EXPECT_EQ(classify(idle[7]->read()), VantoMessageResponse::PRINTER_STATUS_OK);
    EXPECT_EQ(classify(exchange(printerBusyQuery())), VantoMessageResponse::PRINTER_STATUS_OK);
    EXPECT_GE(unit->snapshot().openConnections, 40u);
}

TEST_F(EmulatedUnitTest, GarbageIsReportedAndTheNextFrameStillAnswered) {
    Client client(unit->port());
    client.sendRaw({0xFF, 0xEE, 0x02, 0x05, 0x01});  // stray bytes, then a frame cut short
    const Bytes query = printerBusyQuery();
    client.send(query);
    EXPECT_EQ(classify(client.read()), VantoMessageResponse::PRINTER_STATUS_OK);
    EXPECT_TRUE(unit->waitForEvents("frame_error", 2, 2s));
    EXPECT_EQ(unit->snapshot().frameErrors, 2u);
}

TEST_F(EmulatedUnitTest, UnknownRequestsAreLoggedAndNotAnswered) {
    Client client(unit->port());
    const UBytes ping = FrameWriter::frame(UBytes{0x18, 0x02, 0x70, 0x00});
    client.sendRaw(ping);
    EXPECT_FALSE(client.read(300ms).has_value());
    EXPECT_EQ(unit->eventCount("ignored"), 1u);
    unit->stop();
    std::ifstream log(dir / "events.jsonl");
    std::string line;
    bool sawFrame = false;
    while (std::getline(log, line)) {
        sawFrame = sawFrame || line.find("\"event\":\"frame\"") != std::string::npos;
    }
    EXPECT_TRUE(sawFrame);
}

}  // namespace
}  // namespace vantoemu
