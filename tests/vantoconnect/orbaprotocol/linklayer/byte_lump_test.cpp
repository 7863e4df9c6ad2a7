#include <gtest/gtest.h>

#include <vector>

#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/orbaprotocol/linklayer/AbstractBLProducer.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"

namespace vantoconnect {
namespace {

using linktest::fatalMessage;
using linktest::wire;

TEST(ByteLumpText, DumpFollowsTheCountAndPrintsTheBitPattern) {
    EXPECT_EQ(ByteLump(wire({0x02, 0x7F, 0xC8, 0xFF})).toString(),
              "ByteLump, size 4, contents: 02|7f|c8|ff");
    ByteLump lump(wire({0x0A, 0x0B, 0x0C}));
    lump.sizeInBytes = 2;
    EXPECT_EQ(lump.toString(), "ByteLump, size 2, contents: 0a|0b");
    lump.sizeInBytes = -4;
    EXPECT_EQ(lump.toString(), "<Empty>");
    lump.sizeInBytes = 4;
    EXPECT_EQ(fatalMessage([&] { (void)lump.toString(); }), fatal::INDEX_OUT_OF_RANGE);

    EXPECT_EQ(lump.toHexByte(-100) + lump.toHexByte(-128) + lump.toHexByte(0x0A), "9c800a");
    // A byte that is no digit counts 0, however it reads as a number.
    EXPECT_EQ(ByteLump::gethex(-1), 0);
}

TEST(ByteLumpConstruction, CopiesAreDeepAndFollowTheCount) {
    const ByteLump part(wire({1, 2, 3, 4, 5}), 1, 3);
    EXPECT_EQ(part.payload, wire({2, 3, 4}));

    ByteLump original(wire({1, 2, 3}));
    original.sizeInBytes = 2;
    ByteLump copy = ByteLump::copyOf(original);
    copy.payload[0] = 9;
    EXPECT_EQ(original.payload, wire({1, 2, 3}));
    EXPECT_EQ(copy.payload, wire({9, 2}));
    EXPECT_EQ(original.toByteArray(), wire({1, 2}));
    // Containers copy lumps without asking, empty ones too: only copyOf carries the checks.
    const std::vector<ByteLump> empties(40, ByteLump(std::int64_t{0}));
    EXPECT_EQ(empties.back().sizeInBytes, 0);
}

TEST(ByteLumpConstruction, EmptyOrOutOfRangeCopiesStop) {
    EXPECT_EQ(fatalMessage([] { ByteLump l(Bytes{}); }), fatal::EMPTY_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1}), 0, 0); }), fatal::EMPTY_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1}), 0, -1); }), fatal::NEGATIVE_COUNT);
    EXPECT_EQ(fatalMessage([] { ByteLump l(std::int64_t{-1}); }), fatal::NEGATIVE_COUNT);
    const ByteLump empty(std::int64_t{0});
    EXPECT_EQ(fatalMessage([&] { (void)ByteLump::copyOf(empty); }), fatal::EMPTY_RANGE);
    EXPECT_EQ(fatalMessage([] { AbstractBLProducer p(-1); }), fatal::NEGATIVE_COUNT);
}

TEST(ByteLumpEscapeNotation, DecodesEscapesAndStopsOnWhatItCannotHold) {
    const std::string_view ok = testing::NO_FATAL_ERROR;
    const struct {
        std::string_view text;
        Bytes payload;
        std::string_view stop;
    } cases[] = {
        {"AB\\0D", wire({0x41, 0x42, 0x0D}), ok},
        {"\\4a\\4A\\\\", wire({0x4A, 0x4A, 0x5C}), ok},
        {"\\G1", wire({0x01}), ok},  // a non-digit counts 0
        {"\\7f\\00x", wire({0x7F, 0x00, 'x'}), ok},
        {"\\4\\", wire({0x40}), ok},      // a backslash as second digit is a zero digit
        {"ok\\4", wire({'o', 'k'}), ok},  // an escape cut off by the end is dropped
        {"\\80", Bytes{}, fatal::NOT_ENOUGH_BITS},
        {"caf\xC3\xA9", Bytes{}, fatal::NOT_ENOUGH_BITS},
        {"", Bytes{}, fatal::EMPTY_RANGE},
        {"\\8", Bytes{}, fatal::EMPTY_RANGE},  // cut off before its value is formed
        // Scratch is sized in characters and CR LF is one character but two bytes.
        {"\r\n", Bytes{}, fatal::INDEX_OUT_OF_RANGE},
        {"\\41\r\n", wire({0x41, '\r', '\n'}), ok},
        {"\n\r", wire({'\n', '\r'}), ok},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Bytes got;
        EXPECT_EQ(fatalMessage([&] {
                      const ByteLump lump(c.text);
                      EXPECT_EQ(lump.sizeInBytes, static_cast<std::int64_t>(lump.payload.size()));
                      got = lump.payload;
                  }),
                  c.stop);
        EXPECT_EQ(got, c.payload);
    }
}

}  // namespace
}  // namespace vantoconnect
