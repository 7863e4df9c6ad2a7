#include <gtest/gtest.h>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/vantoconnect/orbaprotocol/messages/MessageTesting.hpp"
#include "vantoconnect/orbaprotocol/messages/GetControlStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"

namespace vantoconnect {
namespace {

using testing::fatalMessage;
using testing::wire;

TEST(MessageBuilder, CashDrawerStatusRequestFrame) {
    testing::ConsoleCapture console;
    GetControlStateMessage msg;
    const Bytes frame = MessageBuilder(msg)
                            .withDestinyChannel(MessageBuilder::CHANNEL_CASH_DRAWER)
                            .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
                            .withType(MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND)
                            .withTagNumber(0)
                            .build();

    // Start, length 22, the escaped header 1C 02 61 00, 18 zero bytes, CRC DF 7C.
    Bytes expected = wire({0x02, 0x16, 0x1C, 0x10, 0x42, 0x61, 0x00});
    expected.resize(expected.size() + 18, 0);
    expected.push_back(static_cast<std::int8_t>(0xDF));
    expected.push_back(0x7C);
    EXPECT_EQ(frame, expected);

    // The caller's own message was addressed, not a copy.
    EXPECT_EQ(testing::slice(msg.payload, 0, 4), wire({0x1C, 0x02, 0x61, 0x00}));
    ASSERT_EQ(console.lines().size(), 1U);
    EXPECT_EQ(
        console.lines()[0].rfind("link encoder, frame ByteLump, size 27, contents: 02|16|1c|", 0),
        0U);
}

TEST(MessageBuilder, TaggedPrinterDataFrame) {
    testing::ConsoleCapture console;
    SwitchDataMessage msg(wire({0x1B, 0x40, 0x10, 0x41}));
    MessageBuilder builder(msg);
    builder.withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withTagNumber(5);
    EXPECT_EQ(builder.build(), wire({0x02, 0x08, 0x12, 0x10, 0x42, 0x4E, 0x05, 0x1B, 0x40, 0x10,
                                     0x50, 0x41, 0x71, 0x69}));
    // Nothing is carried between builds.
    EXPECT_EQ(builder.build(), builder.build());
    EXPECT_TRUE(
        console.contains("link encoder, frame ByteLump, size 14, contents: "
                         "02|08|12|10|42|4e|05|1b|40|10|50|41|71|69"));
}

TEST(MessageBuilder, TagNumberForms) {
    SwitchDataMessage msg;
    MessageBuilder builder(msg);
    builder.withTagNumber(15);
    EXPECT_EQ(msg.getTag(), 15);

    SwitchDataMessage ored(1);
    MessageBuilder(ored).withTagNumber(std::int64_t{3}).withTagNumber(std::int8_t{4});
    EXPECT_EQ(ored.getTag(), 7);

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

}  // namespace
}  // namespace vantoconnect
