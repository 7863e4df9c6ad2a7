#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <type_traits>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/GraphemeCounter.hpp"

namespace vantoconnect {
namespace {

TEST(ReceiptModel, NewReceiptDefaults) {
    VantoReceipt receipt;
    EXPECT_TRUE(receipt.getLines().empty());
    EXPECT_EQ(receipt.getCutType(), 0);
    EXPECT_EQ(receipt.getHeaderFeed(), 0);
    EXPECT_EQ(receipt.getFooterFeed(), 12);
}

TEST(ReceiptModel, EachLineClassReportsItsType) {
    EXPECT_EQ(VantoReceiptLine().lineType, VantoReceiptLineType::TEXT);
    EXPECT_EQ(VantoReceiptTextLine().lineType, VantoReceiptLineType::TEXT);
    EXPECT_EQ(VantoReceiptPriceLine().lineType, VantoReceiptLineType::PRICE);
    EXPECT_EQ(VantoReceiptBarcodeLine().lineType, VantoReceiptLineType::BARCODE);
    EXPECT_EQ(VantoReceiptFeedLine().lineType, VantoReceiptLineType::FEED);
    EXPECT_EQ(VantoReceiptSingleCharLine().lineType, VantoReceiptLineType::SINGLE_CHAR);
    const std::uint8_t white[4] = {255, 255, 255, 255};
    EXPECT_EQ(VantoReceiptImageLine(Image::fromRGBA(1, 1, white)).lineType,
              VantoReceiptLineType::IMAGE);
    static_assert(!std::is_default_constructible_v<VantoReceiptImageLine>);
}

TEST(ReceiptModel, LineTypeHashIsTheOrdinal) {
    std::hash<VantoReceiptLineType> hash;
    EXPECT_EQ(hash(VantoReceiptLineType::IMAGE_BUFFER), 3u);
    EXPECT_EQ(hash(VantoReceiptLineType::PRICE), 0u);
    EXPECT_EQ(hash(VantoReceiptLineType::SINGLE_CHAR), 6u);
    EXPECT_NE(VantoReceiptLineType::IMAGE_BUFFER, VantoReceiptLineType::IMAGE);
}

TEST(ReceiptModel, BarcodeConstructorKeepsDefaultHriAndHeight) {
    VantoReceiptBarcodeLine line(1, 0, 1.0, "42");
    EXPECT_EQ(line.type, 1);
    EXPECT_EQ(line.data, "42");
    EXPECT_EQ(line.hri, 2);
    EXPECT_EQ(line.height, VantoReceiptBarcodeLine().height);
    EXPECT_EQ(static_cast<std::int64_t>(line.height * 154), 54);
    line.setHri(0);
    line.setHeight(0.5);
    EXPECT_EQ(line.hri, 0);
    EXPECT_EQ(line.height, 0.5);
}

TEST(SingleCharacter, AcceptsExactlyOneUserPerceivedCharacter) {
    EXPECT_EQ(VantoReceiptSingleCharLine().chr, "-");
    for (const char* one : {"=", "\u00e9", "e\u0301", "\U0001F1E9\U0001F1EA",
                            "\U0001F469\u200D\U0001F4BB", "\r\n", "\u2500"}) {
        EXPECT_EQ(VantoReceiptSingleCharLine(std::string(one)).chr, one) << one;
    }
    EXPECT_TRUE(VantoReceiptSingleCharLine("\0").chr.isNul());
    EXPECT_THROW(VantoReceiptSingleCharLine(std::string()), FatalError);
    EXPECT_THROW(VantoReceiptSingleCharLine("ab"), FatalError);
    EXPECT_THROW(VantoReceiptSingleCharLine("\n\r"), FatalError);
    VantoReceiptSingleCharLine line;
    EXPECT_THROW(line.setChar("=="), FatalError);
    EXPECT_THROW(line.chr = "", FatalError);
    EXPECT_EQ(line.chr, "-");
    line.setChar("*");
    EXPECT_EQ(line.chr, "*");
}

TEST(GraphemeCounting, ClustersNotBytesOrCodePoints) {
    EXPECT_EQ(GraphemeCounter::count(""), 0);
    EXPECT_EQ(GraphemeCounter::count("abc"), 3);
    EXPECT_EQ(GraphemeCounter::count("a\r\nb"), 3);
    EXPECT_EQ(GraphemeCounter::count("\r\r\n\n"), 3);
    EXPECT_EQ(GraphemeCounter::count("e\u0301"), 1);
    EXPECT_EQ(GraphemeCounter::count("\u00e9t\u00e9"), 3);
    EXPECT_EQ(GraphemeCounter::count("\U0001F1EB\U0001F1F7\U0001F1E9"), 2);
    EXPECT_EQ(GraphemeCounter::count("\uD55C\uAE00"), 2);        // Hangul syllables
    EXPECT_EQ(GraphemeCounter::count("\u1100\u1161\u11A8"), 1);  // conjoining jamo
    EXPECT_EQ(GraphemeCounter::count(std::string(3, '\0')), 3);
}

// The shortcut for text that never joins must agree with the segmentation engine: walk every
// code point below U+3000 (and a few beyond) alone, after a letter, after CR and before a
// combining mark.
TEST(GraphemeCounting, ShortcutAgreesWithEngine) {
    auto utf8 = [](char32_t cp) {
        std::string s;
        if (cp < 0x80) {
            s += static_cast<char>(cp);
        } else if (cp < 0x800) {
            s += static_cast<char>(0xC0 | (cp >> 6));
            s += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            s += static_cast<char>(0xE0 | (cp >> 12));
            s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            s += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            s += static_cast<char>(0xF0 | (cp >> 18));
            s += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            s += static_cast<char>(0x80 | (cp & 0x3F));
        }
        return s;
    };
    int checked = 0;
    for (char32_t cp = 0; cp < 0x3000; ++cp) {
        if (cp >= 0xD800 && cp < 0xE000) {
            continue;
        }
        const std::string c = utf8(cp);
        for (const std::string& s : {c, "a" + c, c + "a", "\r" + c, c + "\u0301", c + c}) {
            ASSERT_EQ(GraphemeCounter::count(s), GraphemeCounter::countWithBreakIterator(s))
                << "U+" << std::hex << static_cast<std::uint32_t>(cp);
            ++checked;
        }
    }
    // Malformed UTF-8 is counted the engine's way, never past the end.
    for (const std::string s : {"\xC3", "a\xE2\x82", "\xFF\xFE", "\xED\xA0\x80", "\xC0\xAF"}) {
        EXPECT_EQ(GraphemeCounter::count(s), GraphemeCounter::countWithBreakIterator(s));
    }
    EXPECT_GT(checked, 60000);
}

}  // namespace
}  // namespace vantoconnect
