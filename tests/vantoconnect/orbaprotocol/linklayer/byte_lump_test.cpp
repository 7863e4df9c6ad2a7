#include <gtest/gtest.h>

#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/orbaprotocol/linklayer/AbstractBLProducer.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"

namespace vantoconnect {
namespace {

using linktest::fatalMessage;
using linktest::wire;

TEST(ByteLumpDump, ListsSizeAndLowercasePairsOfTheBitPattern) {
    EXPECT_EQ(ByteLump(wire({0x01, 0x02}), 0, 2).toString(), "ByteLump, size 2, contents: 01|02");
    EXPECT_EQ(ByteLump(wire({0x02, 0x7F, 0xC8})).toString(),
              "ByteLump, size 3, contents: 02|7f|c8");
    EXPECT_EQ(ByteLump(wire({0xFF})).toString(), "ByteLump, size 1, contents: ff");
    EXPECT_EQ(ByteLump(std::int64_t{0}).toString(), "<Empty>");

    ByteLump lump(wire({0x0A, 0x0B, 0x0C}));
    lump.sizeInBytes = 2;  // the count is trusted over the array
    EXPECT_EQ(lump.toString(), "ByteLump, size 2, contents: 0a|0b");
    lump.sizeInBytes = -4;
    EXPECT_EQ(lump.toString(), "<Empty>");
    lump.sizeInBytes = 4;
    EXPECT_EQ(fatalMessage([&] { (void)lump.toString(); }), fatal::INDEX_OUT_OF_RANGE);
}

TEST(ByteLumpDump, HexByteAndDigitValues) {
    const ByteLump lump(std::int64_t{1});
    EXPECT_EQ(lump.toHexByte(-1), "ff");
    EXPECT_EQ(lump.toHexByte(-100), "9c");
    EXPECT_EQ(lump.toHexByte(0x0A), "0a");
    EXPECT_EQ(lump.toHexByte(0x7F), "7f");
    EXPECT_EQ(lump.toHexByte(-128), "80");
    EXPECT_EQ(ByteLump::gethex('0'), 0);
    EXPECT_EQ(ByteLump::gethex('9'), 9);
    EXPECT_EQ(ByteLump::gethex('a'), 10);
    EXPECT_EQ(ByteLump::gethex('F'), 15);
    EXPECT_EQ(ByteLump::gethex('g'), 0);
    EXPECT_EQ(ByteLump::gethex(-1), 0);
}

TEST(ByteLumpConstruction, CopiesTheRequestedRange) {
    const ByteLump part(wire({1, 2, 3, 4, 5}), 1, 3);
    EXPECT_EQ(part.payload, wire({2, 3, 4}));
    EXPECT_EQ(part.sizeInBytes, 3);
    EXPECT_EQ(part.toByteArray(), wire({2, 3, 4}));

    const ByteLump zeros(std::int64_t{4});
    EXPECT_EQ(zeros.payload, Bytes(4, 0));
    EXPECT_EQ(zeros.sizeInBytes, 4);
}

TEST(ByteLumpConstruction, CopyIsDeepAndFollowsTheCount) {
    ByteLump original(wire({1, 2, 3}));
    ByteLump copy(original);
    copy.payload[0] = 9;
    EXPECT_EQ(original.payload[0], 1);

    original.sizeInBytes = 2;
    EXPECT_EQ(ByteLump(original).payload, wire({1, 2}));
}

TEST(ByteLumpConstruction, EmptyOrOutOfRangeCopiesStop) {
    EXPECT_EQ(fatalMessage([] { ByteLump l(Bytes{}); }), fatal::EMPTY_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1}), 0, 0); }), fatal::EMPTY_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1, 2}), 1, 2); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1, 2}), -1, 1); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1}), 0, -1); }), fatal::NEGATIVE_COUNT);
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::int64_t{-1}); }), fatal::NEGATIVE_COUNT);
    const ByteLump empty(std::int64_t{0});
    EXPECT_EQ(fatalMessage([&] { ByteLump l(empty); }), fatal::EMPTY_RANGE);
    ByteLump shortened(wire({1, 2}));
    shortened.sizeInBytes = 3;
    EXPECT_EQ(fatalMessage([&] { (void)shortened.toByteArray(); }), fatal::INDEX_OUT_OF_RANGE);
}

TEST(ByteLumpEscapeNotation, DecodesEscapesAndLiterals) {
    EXPECT_EQ(ByteLump(std::string_view("AB\\0D")).payload, wire({0x41, 0x42, 0x0D}));
    EXPECT_EQ(ByteLump(std::string_view("\\4a")).payload, wire({0x4A}));
    EXPECT_EQ(ByteLump(std::string_view("\\4A")).payload, wire({0x4A}));
    EXPECT_EQ(ByteLump(std::string_view("\\\\")).payload, wire({0x5C}));
    EXPECT_EQ(ByteLump(std::string_view("\\G1")).payload, wire({0x01}));  // non-digit counts 0
    EXPECT_EQ(ByteLump(std::string_view("\\7f\\00x")).payload, wire({0x7F, 0x00, 'x'}));
    // A backslash as the second digit is a zero digit, not a literal.
    EXPECT_EQ(ByteLump(std::string_view("\\4\\")).payload, wire({0x40}));
    // An escape cut off by the end of the text is dropped.
    EXPECT_EQ(ByteLump(std::string_view("ok\\4")).payload, wire({'o', 'k'}));
    EXPECT_EQ(ByteLump(std::string_view("ok\\4")).sizeInBytes, 2);
}

TEST(ByteLumpEscapeNotation, StopsOnValuesAboveASignedByteAndOnEmptyResults) {
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::string_view("\\80")); }), fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::string_view("\\ff")); }), fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::string_view("caf\xC3\xA9")); }),
              fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::string_view("")); }), fatal::EMPTY_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::string_view("\\a")); }), fatal::EMPTY_RANGE);
    // "\\8" alone is cut off before its value is formed, so nothing overflows.
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::string_view("\\8")); }), fatal::EMPTY_RANGE);
}

TEST(ByteLumpEscapeNotation, ScratchIsSizedInCharactersSoLineBreakPairsOverrun) {
    // CR LF is one character but two bytes: the second byte has no room.
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::string_view("\r\n")); }),
              fatal::INDEX_OUT_OF_RANGE);
    // An escape frees enough room for the pair.
    EXPECT_EQ(ByteLump(std::string_view("\\41\r\n")).payload, wire({0x41, '\r', '\n'}));
    EXPECT_EQ(ByteLump(std::string_view("\n\r")).payload, wire({'\n', '\r'}));
}

TEST(PipelineRoles, ProducerKeepsOneZeroCountPerChannel) {
    const AbstractBLProducer one(1);
    EXPECT_EQ(one.noOfChannels, 1);
    EXPECT_EQ(one.consumersPerChannel, std::vector<std::int64_t>{0});
    const AbstractBLProducer none(0);
    EXPECT_TRUE(none.consumersPerChannel.empty());
    EXPECT_EQ(fatalMessage([] { AbstractBLProducer p(-1); }), fatal::NEGATIVE_COUNT);
}

}  // namespace
}  // namespace vantoconnect
