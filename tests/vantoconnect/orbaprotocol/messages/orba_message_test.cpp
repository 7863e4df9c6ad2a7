#include <gtest/gtest.h>

#include <limits>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/orbaprotocol/messages/GetControlStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/LineState.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/OrbaIOState.hpp"
#include "vantoconnect/orbaprotocol/messages/PortControlState.hpp"
#include "vantoconnect/orbaprotocol/messages/SetIOStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"

namespace vantoconnect {
namespace {

using linktest::concat;
using linktest::fatalMessage;
using linktest::ioContent;
using linktest::wire;
using C = VantoColorCodes;
using D = VantoDiagnosticLEDS;

TEST(MessageHeader, ConstructorsSizeAndAddress) {
    ORBAMessage empty(ORBAMessage::GETPCONTROL, 0, true, 0);
    EXPECT_EQ(empty.payload, wire({0x00, 0x02, 0x61, 0x00}));
    EXPECT_EQ(ORBAMessage(ORBAMessage::SWITCHDATA, 5, false, 18).payload,
              concat(wire({0x00, 0x02, 0x4E, 0x85}), Bytes(18, 0)));
    // The channel-first form makes one byte fewer than header plus content.
    EXPECT_EQ(ORBAMessage(5, ORBAMessage::SETIOSTATE, 2, true, 3).payload,
              wire({0x05, 0x18, 0x49, 0x02, 0x00, 0x00}));
    EXPECT_EQ(fatalMessage([] { ORBAMessage(5, 0x49, 0, true, 0); }), fatal::INDEX_OUT_OF_RANGE);
}

TEST(MessageHeader, NodesAreSignedNibblesAndChannelsSpillIntoThem) {
    ORBAMessage m(wire({0x90, 0xF3, 0x00, 0x00}));
    EXPECT_EQ(m.getDestNode(), -7);
    EXPECT_EQ(m.getSourceNode(), -1);
    EXPECT_EQ(m.getSourceChannel(), 3);
    // Only the low nibble of a node is used; the channel beside it is kept.
    m.setSourceNode(0x17);
    EXPECT_EQ(m.payload[1], 0x73);
    m.swapSrceDest();
    EXPECT_EQ(m.payload, wire({0x73, 0x90, 0x00, 0x00}));

    // A channel's high bits land in the node; the old channel is cleared first.
    ORBAMessage c(Bytes(4, 0));
    c.setDestChannel(0x12);
    EXPECT_EQ(c.payload[0], 0x12);
    c.setDestChannel(0x0C);
    EXPECT_EQ(c.payload[0], 0x1C);
}

TEST(MessageHeader, TagsAccumulateAndCommandLooksAtTheTag) {
    ORBAMessage m(ORBAMessage::SWITCHDATA, 0, true, 0);
    m.setTag(3);
    m.setTag(4);
    EXPECT_EQ(m.getTag(), 7);
    m.setTag(0x1F);
    EXPECT_EQ(m.payload[3], 0x0F);

    for (int tagByte : {0x80, 0x01, 0x10}) {
        const bool command = (tagByte & 0x7F) == 0;
        ORBAMessage r(wire({0, 0, 0, tagByte}));
        EXPECT_EQ(r.isCommand(), command) << tagByte;
        EXPECT_EQ(r.messageType(), command ? "command" : "response") << tagByte;
    }
}

TEST(MessageSize, WellFormedOnlyFrom4To300Bytes) {
    EXPECT_FALSE(ORBAMessage(Bytes(3, 0)).isWellFormed());
    EXPECT_TRUE(ORBAMessage(Bytes(4, 0)).isWellFormed());
    EXPECT_TRUE(ORBAMessage(Bytes(300, 0)).isWellFormed());
    EXPECT_FALSE(ORBAMessage(Bytes(301, 0)).isWellFormed());
    // An empty reception is a message to reject, not a stop.
    ORBAMessage empty{Bytes{}};
    EXPECT_FALSE(empty.isWellFormed());
    EXPECT_EQ(fatalMessage([&] { empty.getType(); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(fatalMessage([] { ORBAMessage(Bytes(3, 0)).getMessageSpecificContent(); }),
              fatal::NEGATIVE_COUNT);
}

// The length is the buffer's, not the count beside it, so a count written at either end of
// its range changes neither the size check nor the content.
TEST(MessageSize, LengthIsTheBufferWhateverTheCountSays) {
    for (std::int64_t count :
         {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, std::int64_t{0},
          std::int64_t{3}, std::int64_t{301}, std::numeric_limits<std::int64_t>::max()}) {
        SCOPED_TRACE(count);
        ORBAMessage m(wire({0x1C, 0x02, 0x4E, 0x81, 0x33}));
        m.sizeInBytes = count;
        EXPECT_EQ(m.getActualLength(), 5);
        EXPECT_TRUE(m.isWellFormed());
        EXPECT_EQ(m.getMessageSpecificContent(), wire({0x33}));
    }
    ORBAMessage shortened(Bytes(301, 0));
    shortened.sizeInBytes = 4;
    EXPECT_FALSE(shortened.isWellFormed());
}

TEST(PayloadValue, ReadsLittleEndianWithEachByteSigned) {
    const std::pair<Bytes, std::int64_t> cases[] = {
        {wire({0x78, 0x56, 0x34, 0x12}), 0x12345678},
        {wire({0xFF, 0x00, 0x00, 0x00}), -1},
        {wire({0x00, 0x00, 0x00, 0x80}), -2147483648LL},
        // Each byte borrows from the one above, unlike a plain 32-bit read (which gives -1).
        {wire({0xFF, 0xFF, 0xFF, 0xFF}), -16843009},
    };
    for (const auto& [bytes, value] : cases) {
        const ORBAMessage m(concat(wire({0, 0, 0, 0, 0x55, 0x55}), bytes));
        EXPECT_EQ(m.get32BitPayloadValue(2), value);
    }
    EXPECT_EQ(fatalMessage([] { ORBAMessage(Bytes(10, 0)).get32BitPayloadValue(3); }),
              fatal::INDEX_OUT_OF_RANGE);
}

TEST(PayloadValue, WritesOnlyBytesBelow0x80) {
    ORBAMessage m(ORBAMessage::SETIOSTATE, 0, true, 8);
    m.put32BitPayloadValue(4, 0x7F7F7F7F);
    EXPECT_EQ(fatalMessage([&] { m.put32BitPayloadValue(0, 0x80); }), fatal::NOT_ENOUGH_BITS);
    // The bytes before the unstorable one stay written; those after it are untouched.
    m.put32BitPayloadValue(0, 0x55555555);
    EXPECT_EQ(fatalMessage([&] { m.put32BitPayloadValue(0, 0x00800201); }), fatal::NOT_ENOUGH_BITS);
    // Past the end, the bytes that fit are written before the stop.
    EXPECT_EQ(fatalMessage([&] { m.put32BitPayloadValue(6, 0x01010101); }),
              fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(m.getMessageSpecificContent(),
              wire({0x01, 0x02, 0x55, 0x55, 0x7F, 0x7F, 0x01, 0x01}));
}

TEST(MessageBuilder, TaggedPrinterDataFrameIsTheSameOnEveryBuild) {
    testing::ConsoleCapture console;
    SwitchDataMessage msg(wire({0x1B, 0x40, 0x10, 0x41}));
    MessageBuilder builder(msg);
    builder.withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withTagNumber(5);
    const Bytes frame =
        wire({0x02, 0x08, 0x12, 0x10, 0x42, 0x4E, 0x05, 0x1B, 0x40, 0x10, 0x50, 0x41, 0x71, 0x69});
    EXPECT_EQ(builder.build(), frame);
    EXPECT_EQ(builder.build(), frame);
    // The caller's own message was addressed, not a copy.
    EXPECT_EQ(msg.payload, wire({0x12, 0x02, 0x4E, 0x05, 0x1B, 0x40, 0x10, 0x41}));
    EXPECT_EQ(console.lines().size(), 2u);  // one encoder line a build
}

TEST(MessageBuilder, TagNumbersMustFitASignedByteAndKeepTheirLowNibble) {
    SwitchDataMessage wide(1);
    EXPECT_EQ(fatalMessage([&] { MessageBuilder(wide).withTagNumber(200); }),
              fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(fatalMessage([&] { MessageBuilder(wide).withTagNumber(std::int64_t{-129}); }),
              fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(wide.getTag(), 0);
    MessageBuilder(wide).withTagNumber(-128);
    EXPECT_EQ(wide.getTag(), 0);
    MessageBuilder(wide).withTagNumber(-1);
    EXPECT_EQ(wide.getTag(), 15);
}

std::vector<std::int64_t> settings(const PortControlState& s) {
    return {s.speedSetting, s.charSizeSetting, s.stopSizeSetting, s.paritySetting, s.flowSetting};
}

TEST(PortControlState, SettersKeepNothing) {
    PortControlState s(true, LineState::LINERADIOMODEM);
    const std::vector<std::int64_t> notAvailable = settings(s);
    s.setSpeed(9600);
    s.setCharSize(3);
    s.setStopSize(0x40);
    s.setParity(0x08);
    s.setFlowControl(0x10);
    EXPECT_EQ(settings(s), notAvailable);
}

TEST(GetControlState, RequestContentAndItsOwnTypeCheck) {
    GetControlStateMessage m;
    EXPECT_EQ(m.payload, concat(wire({0x00, 0x02, 0x61, 0x00}), Bytes(18, 0)));
    EXPECT_FALSE(m.isWellFormed());
    m.setType(ORBAMessage::SETPCONTROL);
    EXPECT_TRUE(m.isWellFormed());
    // A reply with tag 0 still reads as a command: only the tag bits are looked at.
    EXPECT_EQ(GetControlStateMessage(wire({0x02, 0x1C, 0x61, 0x80, 0x7F})).toString(),
              "Get port control state command (ByteLump, size 5, contents: 02|1c|61|80|7f ) ");

    PortControlState s(true, LineState::LINESERIAL);
    EXPECT_EQ(GetControlStateMessage(s).getMessageSpecificContent(),
              concat(wire({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0}), Bytes(12, 0)));
    s.speedSetting = 115200;
    s.charSizeSetting = 3;
    s.paritySetting = 0x10;
    s.stopSizeSetting = 0x40;
    s.flowSetting = 0x20;
    EXPECT_EQ(GetControlStateMessage(s).getMessageSpecificContent(),
              concat(wire({0x00, 0xC2, 0x01, 0x00, 0x53, 0x20}), Bytes(12, 0)));
}

TEST(GetControlState, ExtractedStateKeepsOnlyPortKind) {
    const auto reply = [](int source, std::size_t size) {
        return GetControlStateMessage(concat(
            wire({0x02, source, 0x61, 0x80, 0x80, 0x25, 0x00, 0x00, 0x03}), Bytes(size - 5, 0x10)));
    };
    const PortControlState radio = reply(0x15, 18).extractPortControlState();
    EXPECT_EQ(radio.serial_or_radio, LineState::LINERADIOMODEM);
    EXPECT_FALSE(radio.writeable);
    EXPECT_EQ(settings(radio), settings(PortControlState(true, 0)));
    EXPECT_EQ(reply(0x1C, 18).extractPortControlState().serial_or_radio, LineState::LINESERIAL);
    EXPECT_EQ(fatalMessage([&] { reply(0x1C, 17).extractPortControlState(); }),
              fatal::INDEX_OUT_OF_RANGE);
}

TEST(SwitchData, ConstructorsFixTypeAndDirection) {
    SwitchDataMessage bare;
    EXPECT_EQ(bare.payload, wire({0x00, 0x02, 0x4E, 0x80}));
    EXPECT_TRUE(bare.isWellFormed());
    EXPECT_EQ(SwitchDataMessage(5).payload, concat(wire({0x00, 0x02, 0x4E, 0x00}), Bytes(5, 0)));
    EXPECT_EQ(fatalMessage([] { SwitchDataMessage(-5); }), fatal::NEGATIVE_COUNT);

    SwitchDataMessage pulse(wire({0x1B, 0x70, 0x00, 0xFF, 0xFF}));
    pulse.setDestChannel(12);
    pulse.setDestNode(1);
    EXPECT_EQ(pulse.toString(),
              "Switch data command (ByteLump, size 9, contents: 1c|02|4e|00|1b|70|00|ff|ff ) ");
    pulse.setType(ORBAMessage::GETPCONTROL);
    EXPECT_FALSE(pulse.isWellFormed());
}

TEST(SetIOState, FreshStateChangesNothingAndFailsItsOwnTypeCheck) {
    SetIOStateMessage m;
    EXPECT_EQ(m.payload, concat(wire({0x00, 0x02, 0x49, 0x00}), ioContent(0, 0)));
    // The check asks for the port-control type, which this message never has.
    EXPECT_FALSE(m.isWellFormed());
    m.setType(ORBAMessage::SETPCONTROL);
    EXPECT_TRUE(m.isWellFormed());
    EXPECT_EQ(SetIOStateMessage(wire({0x00, 0x02, 0x41, 0x80})).toString(),
              "Set port control command (ByteLump, size 4, contents: 00|02|41|80 ) ");
    // Received bytes are kept as they are, not filled from the default state.
    EXPECT_EQ(SetIOStateMessage(Bytes(36, 0x11)).payload, Bytes(36, 0x11));
}

TEST(SetIOState, FieldsCombineReplaceAndOverlap) {
    const std::int64_t na = OrbaIOState::NA_NUMBER;
    SetIOStateMessage m;
    // Two bits per diagnostic position; a later colour replaces the earlier one and N/A drops
    // the mask only.
    m.setDiagnosticLEDBitField(D::LED_USB1, C::LED_AMBER);
    m.setDiagnosticLEDBitField(D::LED_USB2, C::LED_RED);
    m.setDiagnosticLEDBitField(D::LED_USB2, C::LED_GREEN);
    m.setDiagnosticLEDBitField(D::LED_NETWORK, C::LED_RED);
    m.setDiagnosticLEDBitField(D::LED_USB1, na);
    // Beyond 32 bits the field is silently lost rather than stopping.
    m.setDiagnosticLEDBitField(20, C::LED_GREEN);
    EXPECT_EQ(m.getMessageSpecificContent(), ioContent(0x0030000C, 0x001C0008));
    // A cosmetic setting of 2 writes the next line's bit, which that line's own call clears.
    m.setCosmeticLEDBitField(8, 2);
    EXPECT_EQ(m.getMessageSpecificContent(), ioContent(0x0030030C, 0x001C0208));
    m.setCosmeticLEDBitField(9, 0);
    EXPECT_EQ(m.getMessageSpecificContent(), ioContent(0x0030070C, 0x001C0008));
    m.setSolenoidBitField(1);
    m.setSolenoidBitField(0);
    EXPECT_EQ(m.getMessageSpecificContent(), ioContent(0x0030170C, 0x001C0008));
    m.setSolenoidBitField(na);
    EXPECT_EQ(m.getMessageSpecificContent(), ioContent(0x0030070C, 0x001C0008));
}

// A state record sends its diagnostics and solenoid only, and stops on what it cannot write.
TEST(SetIOState, StateRecordSendsDiagnosticsAndSolenoidOnlyOrStops) {
    OrbaIOState state;
    state.diagnosticSetting = {1, 2, 3};
    state.solenoidSetting = 1;
    state.cosmeticSetting = 1;
    state.buttonSetting = 1;
    EXPECT_EQ(SetIOStateMessage(state).getMessageSpecificContent(),
              ioContent(0x0000103F, 0x00001039));

    OrbaIOState badColour;
    badColour.diagnosticSetting = {4, 5, 4};
    EXPECT_EQ(fatalMessage([&] { SetIOStateMessage{badColour}; }), fatal::INDEX_OUT_OF_RANGE);
    OrbaIOState badSolenoid;
    badSolenoid.solenoidSetting = -1;
    EXPECT_EQ(fatalMessage([&] { SetIOStateMessage{badSolenoid}; }), fatal::INDEX_OUT_OF_RANGE);

    // Diagnostic positions that stop are tried through the LED controller.
    SetIOStateMessage m;
    EXPECT_EQ(fatalMessage([&] { m.setCosmeticLEDBitField(64, 1); }), fatal::OVERWIDE_SHIFT);
    EXPECT_EQ(m.getMessageSpecificContent(), ioContent(0, 0));
}

}  // namespace
}  // namespace vantoconnect
