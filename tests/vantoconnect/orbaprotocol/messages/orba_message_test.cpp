#include <gtest/gtest.h>

#include "tests/vantoconnect/orbaprotocol/messages/MessageTesting.hpp"
#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"

namespace vantoconnect {
namespace {

using testing::fatalMessage;
using testing::slice;
using testing::wire;

TEST(MessageHeader, ConstructorsSizeAndAddress) {
    ORBAMessage empty(ORBAMessage::GETPCONTROL, 0, true, 0);
    EXPECT_EQ(empty.payload, wire({0x00, 0x02, 0x61, 0x00}));
    EXPECT_TRUE(empty.isWellFormed());
    EXPECT_TRUE(empty.getMessageSpecificContent().empty());
    EXPECT_EQ(ORBAMessage(ORBAMessage::SWITCHDATA, 5, false, 18).payload[3],
              static_cast<std::int8_t>(0x85));

    // The channel-first form makes one byte fewer than header plus content.
    EXPECT_EQ(ORBAMessage(5, ORBAMessage::SETIOSTATE, 2, true, 3).payload,
              wire({0x05, 0x18, 0x49, 0x02, 0x00, 0x00}));
    EXPECT_EQ(fatalMessage([] { ORBAMessage(5, 0x49, 0, true, 0); }), fatal::INDEX_OUT_OF_RANGE);
}

TEST(MessageHeader, NodesReadBackAsSignedNibbles) {
    ORBAMessage m(wire({0x90, 0xF3, 0x00, 0x00}));
    EXPECT_EQ(m.getDestNode(), -7);
    EXPECT_EQ(m.getDestChannel(), 0);
    EXPECT_EQ(m.getSourceNode(), -1);
    EXPECT_EQ(m.getSourceChannel(), 3);
    // Only the low nibble of a node is used; the channel beside it is kept.
    m.setSourceNode(0x17);
    EXPECT_EQ(m.payload[1], 0x73);
    EXPECT_EQ(m.getSourceNode(), 7);
}

TEST(MessageHeader, ChannelSetterSpillsHighBitsIntoNode) {
    ORBAMessage m(wire({0x00, 0x00, 0x00, 0x00}));
    m.setDestChannel(0x12);
    EXPECT_EQ(m.getDestNode(), 1);
    EXPECT_EQ(m.getDestChannel(), 2);
    // The old channel is cleared first; the node is kept.
    m.setDestChannel(0x0C);
    EXPECT_EQ(m.payload[0], 0x1C);
}

TEST(MessageHeader, TagsAccumulateAndCommandLooksAtTag) {
    ORBAMessage m(ORBAMessage::SWITCHDATA, 0, true, 0);
    m.setTag(3);
    m.setTag(4);
    EXPECT_EQ(m.getTag(), 7);
    EXPECT_EQ(m.getSequence(), 7);
    m.setTag(0x1F);
    EXPECT_EQ(m.payload[3], 0x0F);

    const struct {
        int tagByte;
        bool command;
    } cases[] = {{0x00, true}, {0x80, true}, {0x01, false}, {0x81, false}, {0x10, false}};
    for (const auto& c : cases) {
        ORBAMessage r(wire({0, 0, 0, c.tagByte}));
        EXPECT_EQ(r.isCommand(), c.command) << c.tagByte;
        EXPECT_EQ(r.messageType(), c.command ? "command" : "response") << c.tagByte;
    }

    ORBAMessage r(wire({0, 0, 0, 0x05}));
    r.setCommand(false);
    EXPECT_EQ(r.payload[3], static_cast<std::int8_t>(0x85));
    r.setCommand(true);
    EXPECT_EQ(r.payload[3], 0x05);
}

TEST(MessageHeader, SwapAddressesReplyToSender) {
    ORBAMessage m(wire({0x9B, 0x02, 0x49, 0x00}));
    m.swapSrceDest();
    EXPECT_EQ(m.payload, wire({0x02, 0x9B, 0x49, 0x00}));
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

TEST(PayloadValue, ReadsLittleEndianWithEachByteSigned) {
    const struct {
        Bytes bytes;
        std::int64_t value;
    } cases[] = {
        {wire({0x00, 0x01, 0x00, 0x00}), 256},
        {wire({0x78, 0x56, 0x34, 0x12}), 0x12345678},
        {wire({0xFF, 0x00, 0x00, 0x00}), -1},
        {wire({0x00, 0x00, 0x00, 0x80}), -2147483648LL},
        // Each byte borrows from the one above, unlike a plain 32-bit read (which gives -1).
        {wire({0xFF, 0xFF, 0xFF, 0xFF}), -16843009},
    };
    for (const auto& c : cases) {
        Bytes buffer = wire({0, 0, 0, 0, 0x55, 0x55});
        buffer.insert(buffer.end(), c.bytes.begin(), c.bytes.end());
        EXPECT_EQ(ORBAMessage(buffer).get32BitPayloadValue(2), c.value) << c.value;
    }
    EXPECT_EQ(fatalMessage([] { ORBAMessage(Bytes(10, 0)).get32BitPayloadValue(3); }),
              fatal::INDEX_OUT_OF_RANGE);
}

TEST(PayloadValue, WritesOnlyBytesBelow0x80) {
    ORBAMessage m(ORBAMessage::SETIOSTATE, 0, true, 8);
    m.put32BitPayloadValue(4, 0x7F7F7F7F);
    EXPECT_EQ(m.get32BitPayloadValue(4), 0x7F7F7F7F);
    EXPECT_EQ(fatalMessage([&] { m.put32BitPayloadValue(0, 0x80); }), fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(fatalMessage([&] { m.put32BitPayloadValue(0, -1); }), fatal::NOT_ENOUGH_BITS);

    // The bytes before the unstorable one stay written; those after it are untouched.
    m.put32BitPayloadValue(0, 0x55555555);
    EXPECT_EQ(fatalMessage([&] { m.put32BitPayloadValue(0, 0x00800201); }), fatal::NOT_ENOUGH_BITS);
    // Past the end, the bytes that fit are written before the stop.
    EXPECT_EQ(fatalMessage([&] { m.put32BitPayloadValue(6, 0x01010101); }),
              fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(m.getMessageSpecificContent(),
              wire({0x01, 0x02, 0x55, 0x55, 0x7F, 0x7F, 0x01, 0x01}));
}

}  // namespace
}  // namespace vantoconnect
