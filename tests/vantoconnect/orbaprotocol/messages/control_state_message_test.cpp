#include <gtest/gtest.h>

#include <limits>

#include "tests/vantoconnect/orbaprotocol/messages/MessageTesting.hpp"
#include "vantoconnect/orbaprotocol/messages/GetControlStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/LineState.hpp"
#include "vantoconnect/orbaprotocol/messages/PortControlState.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"

namespace vantoconnect {
namespace {

using testing::fatalMessage;
using testing::slice;
using testing::wire;

void expectNotAvailable(const PortControlState& s) {
    EXPECT_EQ(s.speedSetting, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(s.charSizeSetting, 7);
    EXPECT_EQ(s.stopSizeSetting, 0xC0);
    EXPECT_EQ(s.paritySetting, 0x38);
    EXPECT_EQ(s.flowSetting, 0xF0);
}

TEST(PortControlState, SettersKeepNothing) {
    PortControlState s(true, LineState::LINERADIOMODEM);
    expectNotAvailable(s);
    EXPECT_TRUE(s.writeable);
    EXPECT_EQ(s.serial_or_radio, LineState::LINERADIOMODEM);
    s.setSpeed(9600);
    s.setCharSize(3);
    s.setStopSize(0x40);
    s.setParity(0x08);
    s.setFlowControl(0x10);
    expectNotAvailable(s);
}

Bytes replyFrom(int sourceByte, Bytes content) {
    Bytes b = wire({0x02, sourceByte, 0x61, 0x80});
    b.insert(b.end(), content.begin(), content.end());
    return b;
}

TEST(GetControlState, RequestCarriesEighteenContentBytes) {
    GetControlStateMessage m;
    EXPECT_EQ(slice(m.payload, 0, 4), wire({0x00, 0x02, 0x61, 0x00}));
    EXPECT_EQ(m.getMessageSpecificContent(), Bytes(18, 0));
    EXPECT_FALSE(m.isWellFormed());
    m.setType(ORBAMessage::SETPCONTROL);
    EXPECT_TRUE(m.isWellFormed());

    GetControlStateMessage shortReply(wire({0x02, 0x1C, 0x61, 0x80, 0x7F}));
    // A reply with tag 0 still reads as a command: only the tag bits are looked at.
    EXPECT_EQ(shortReply.toString(),
              "Get port control state command (ByteLump, size 5, contents: 02|1c|61|80|7f ) ");
}

TEST(GetControlState, AppliedStateFillsSpeedFormatAndFlow) {
    GetControlStateMessage na(PortControlState(false, LineState::LINESERIAL));
    EXPECT_EQ(slice(na.getMessageSpecificContent(), 0, 7),
              wire({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0, 0x00}));

    PortControlState s(true, LineState::LINESERIAL);
    s.speedSetting = 115200;
    s.charSizeSetting = 3;
    s.paritySetting = 0x10;
    s.stopSizeSetting = 0x40;
    s.flowSetting = 0x20;
    GetControlStateMessage m(s);
    EXPECT_EQ(slice(m.getMessageSpecificContent(), 0, 7),
              wire({0x00, 0xC2, 0x01, 0x00, 0x53, 0x20, 0x00}));
}

TEST(GetControlState, ExtractedStateKeepsOnlyPortKind) {
    Bytes content = wire({0x80, 0x25, 0x00, 0x00, 0x03, 0x10});
    content.resize(18, 0x7F);
    PortControlState radio =
        GetControlStateMessage(replyFrom(0x15, content)).extractPortControlState();
    EXPECT_EQ(radio.serial_or_radio, LineState::LINERADIOMODEM);
    EXPECT_FALSE(radio.writeable);
    expectNotAvailable(radio);

    PortControlState serial =
        GetControlStateMessage(replyFrom(0x1C, content)).extractPortControlState();
    EXPECT_EQ(serial.serial_or_radio, LineState::LINESERIAL);

    content.pop_back();
    EXPECT_EQ(fatalMessage([&] {
                  GetControlStateMessage(replyFrom(0x1C, content)).extractPortControlState();
              }),
              fatal::INDEX_OUT_OF_RANGE);
}

TEST(SwitchData, ConstructorsFixTypeAndDirection) {
    SwitchDataMessage bare;
    EXPECT_EQ(bare.payload, wire({0x00, 0x02, 0x4E, 0x80}));
    EXPECT_TRUE(bare.isWellFormed());

    SwitchDataMessage sized(5);
    EXPECT_EQ(sized.getActualLength(), 9);
    EXPECT_EQ(sized.payload[3], 0x00);
    EXPECT_EQ(fatalMessage([] { SwitchDataMessage(-5); }), fatal::NEGATIVE_COUNT);

    SwitchDataMessage pulse(wire({0x1B, 0x70, 0x00, 0xFF, 0xFF}));
    pulse.setDestChannel(12);
    pulse.setDestNode(1);
    EXPECT_EQ(pulse.payload, wire({0x1C, 0x02, 0x4E, 0x00, 0x1B, 0x70, 0x00, 0xFF, 0xFF}));
    EXPECT_EQ(pulse.toString(),
              "Switch data command (ByteLump, size 9, contents: 1c|02|4e|00|1b|70|00|ff|ff ) ");

    EXPECT_FALSE(SwitchDataMessage(Bytes(297, 0)).isWellFormed());
    pulse.setType(ORBAMessage::GETPCONTROL);
    EXPECT_FALSE(pulse.isWellFormed());
}

}  // namespace
}  // namespace vantoconnect
