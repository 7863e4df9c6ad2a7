#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/GraphemeCounter.hpp"

namespace vantoconnect {
namespace {

using Line = std::shared_ptr<VantoReceiptLine>;

// Bytes spelled as a mix of byte values and runs of bytes.
struct Part {
    Bytes bytes;
    Part(int value) : bytes{static_cast<std::int8_t>(value)} {}
    Part(Bytes run) : bytes(std::move(run)) {}
};
Bytes b(std::initializer_list<Part> parts) {
    Bytes out;
    for (const Part& part : parts) {
        out.insert(out.end(), part.bytes.begin(), part.bytes.end());
    }
    return out;
}

// Text as the composer sends it: in Windows-1252, then back to the default code page.
Bytes text(const std::string& s) {
    return b({0x1B, 0x52, 0x08, Bytes(s.begin(), s.end()), 0x1B, 0x52, 0x00});
}

// The groups a receipt of just these lines composes to, without the fixed feed and cut groups.
std::vector<Bytes> body(std::initializer_list<Line> lines) {
    VantoReceipt receipt;
    for (const auto& line : lines) {
        receipt.addLine(line);
    }
    auto groups = ReceiptComposer().compose(receipt);
    EXPECT_GE(groups.size(), 3u);
    return std::vector<Bytes>(groups.begin() + 1, groups.end() - 2);
}

Line textLine(const std::string& text, std::int64_t style, std::int64_t size,
              std::int64_t position) {
    return std::make_shared<VantoReceiptTextLine>(text, style, size, position);
}
Line feed(std::int64_t lines) {
    return std::make_shared<VantoReceiptFeedLine>(lines);
}
Line price(const std::string& left, const std::string& right, std::int64_t rightStyle = 0) {
    return std::make_shared<VantoReceiptPriceLine>(left, 0, right, rightStyle);
}
Line barcode(std::int64_t type, const std::string& data, std::int64_t hri = 2,
             double height = 54.0 / 154.0) {
    auto line = std::make_shared<VantoReceiptBarcodeLine>(type, data);
    line->setHri(hri);
    line->setHeight(height);
    return line;
}
Line retyped(Line line, VantoReceiptLineType type) {
    line->lineType = type;
    return line;
}

TEST(ReceiptFrame, FeedsAndCutAroundTheLinesAsTheyAreWhenComposedFromAFreshState) {
    ReceiptComposer composer;
    // A line added twice prints twice, and changes made after adding it count.
    VantoReceipt shared;
    auto line = std::make_shared<VantoReceiptFeedLine>(1);
    shared.addLine(line);
    shared.addLine(line);
    line->setLines(2);
    EXPECT_EQ(composer.compose(shared),
              (std::vector<Bytes>{b({0x14, 0x00}), b({0x14, 0x02}), b({0x14, 0x02}),
                                  b({0x14, 0x0C}), b({0x1B, 0x69})}));
    // The composer starts afresh for each receipt.
    VantoReceipt receipt;
    EXPECT_EQ(composer.compose(receipt),
              (std::vector<Bytes>{b({0x14, 0x00}), b({0x14, 0x0C}), b({0x1B, 0x69})}));
    // Any cut type but 0 is partial.
    receipt.setHeaderFeed(3);
    receipt.setFooterFeed(0);
    receipt.setCutType(-1);
    EXPECT_EQ(composer.compose(receipt),
              (std::vector<Bytes>{b({0x14, 0x03}), b({0x14, 0x00}), b({0x1B, 0x6D})}));
    // Both feeds go through the checked byte of feed lines, whose edges the line table holds.
    const auto fatal = ::testing::ThrowsMessage<FatalError>(std::string(fatal::NOT_ENOUGH_BITS));
    receipt.setHeaderFeed(128);
    EXPECT_THAT([&] { composer.compose(receipt); }, fatal);
    receipt.setHeaderFeed(0);
    receipt.setFooterFeed(-129);
    EXPECT_THAT([&] { composer.compose(receipt); }, fatal);
}

// The printer's thread composes while the application goes on changing the receipt and a line
// it holds. Under the race checker (make tsan) any unguarded access fails the run; everywhere,
// each composition must be one state of the receipt: the header and footer feeds, changed
// together under the model's lock, always match, the text is one of the two whole texts, and
// the lines seen only ever grow.
TEST(ReceiptModelLock, CompositionOnAnotherThreadSeesOneWholeStateOfTheReceipt) {
    auto receipt = std::make_shared<VantoReceipt>();
    auto text = std::make_shared<VantoReceiptTextLine>("aaaa", 0, 0, 0);
    auto left = std::make_shared<VantoReceiptPriceLine>("x", 0, "1", 0);
    receipt->addLine(text);
    receipt->addLine(left);
    receipt->setFooterFeed(0);  // as the header, so the two match from the start
    std::atomic<bool> done{false};
    std::thread app([&] {
        for (int k = 0; k < 400; ++k) {
            text->setText(k % 2 == 0 ? "bbbbbbbb" : "aaaa", k % 16, 0, k % 3);
            left->setRightText(std::to_string(k), 0);
            {
                const auto lock = VantoReceipt::lockModel();
                receipt->setHeaderFeed(k % 100);
                receipt->setFooterFeed(k % 100);
            }
            receipt->setCutType(k % 2);
            if (k % 8 == 0) {
                receipt->addLine(std::make_shared<VantoReceiptFeedLine>(1));
            }
            std::this_thread::yield();
        }
        done = true;
    });
    ReceiptComposer composer;
    std::size_t seen = 0;
    int compositions = 0;
    while (!done.load() || compositions < 2) {
        const std::vector<Bytes> groups = composer.compose(*receipt);
        ++compositions;
        ASSERT_GE(groups.size(), 5u);
        EXPECT_EQ(groups.front(), groups[groups.size() - 2]) << "header and footer feeds";
        const std::string printed(groups[1].begin(), groups[1].end());
        EXPECT_NE(printed.find("aaaa") != std::string::npos,
                  printed.find("bbbbbbbb") != std::string::npos)
            << printed;
        EXPECT_GE(groups.size(), seen);
        seen = groups.size();
    }
    app.join();
    // What the application added last is all there once it has stopped.
    EXPECT_EQ(composer.compose(*receipt).size(), 1u + 2u + 50u + 2u);
}

TEST(ComposedLines, GiveExactlyTheseGroupsOrStop) {
    const Bytes left = b({0x1B, 0x61, 0x30});
    const Bytes lf = b({0x0A});
    const Bytes barcodeHead = b({0x1B, 0x61, 0x31});
    const Bytes defaultHri = b({0x1D, 0x48, 0x02});
    const Bytes defaultHeight = b({0x1D, 0x68, 0x36});
    Bytes boxes;
    for (int i = 0; i < 44; ++i) {
        boxes = b({boxes, 0xE2, 0x94, 0x80});
    }
    auto defaultBarcode = std::make_shared<VantoReceiptBarcodeLine>();
    defaultBarcode->setData("123");
    const auto cast = [](const char* from, const char* to) {
        return std::string("Could not cast value of type 'vantoconnect.VantoReceipt") + from +
               "' to 'vantoconnect.VantoReceipt" + to + "'.";
    };
    const std::string bits(fatal::NOT_ENOUGH_BITS);
    const struct {
        Line line;
        std::vector<Bytes> groups;
        std::string fatal = "";  // or the message it stops with
    } cases[] = {
        {textLine("Hi", 1, 1, 1),
         {b({left, 0x1B, 0x61, 0x31, 0x1B, 0x45, 0x01, 0x13, 0x12, text("Hi"), 0x1B, 0x45, 0x00,
             0x0A})}},
        {textLine("a", 0, 0, 3),
         {b({left, 0x1B, 0x61, 0x31, 0x1B, 0x61, 0x32, 0x13, text("a"), lf})}},
        // All four styles, set and cancelled in the same order; bits above 8 ignored.
        {textLine("a", 15 | 16, 0, 0),
         {b({left, 0x1B, 0x45, 0x01, 0x1B,      0x49, 0x01, 0x1B, 0x2D, 0x01,
             0x1D, 0x42, 0x01, 0x13, text("a"), 0x1B, 0x45, 0x00, 0x1B, 0x49,
             0x00, 0x1B, 0x2D, 0x00, 0x1D,      0x42, 0x00, 0x0A})}},
        {textLine("", 15, 1, 2), {lf}},
        {price(std::string(20, 'L'), std::string(23, 'R')),
         {b({text(std::string(20, 'L')), ' ', text(std::string(23, 'R')), lf})}},
        // Columns count user-perceived characters: 3 + 4 + 1 here.
        {price("Cre\u0300me \U0001F1EB\U0001F1F7", "\u00e9"),
         {b({text("Cre\u0300me \U0001F1EB\U0001F1F7"), Bytes(36, ' '), text("\u00e9"), lf})}},
        {price("", "9", 1),
         {b({Bytes(43, ' '), 0x1B, 0x45, 0x01, text("9"), 0x1B, 0x45, 0x00, 0x0A})}},
        {std::make_shared<VantoReceiptSingleCharLine>("\u2500"), {b({boxes, lf})}},
        {std::make_shared<VantoReceiptSingleCharLine>("\0"), {}},
        {feed(0), {}},
        {feed(3), {b({0x14, 0x03})}},
        {feed(-128), {b({0x14, 0x80})}},
        {defaultBarcode,
         {barcodeHead, defaultHri, defaultHeight, b({0x1D, 0x6B, 0x00}), b({'1', '2', '3'}),
          b({0x00})}},
        // The four-argument constructor leaves hri and height at their defaults.
        {std::make_shared<VantoReceiptBarcodeLine>(1, 0, 1.0, "42"),
         {barcodeHead, defaultHri, defaultHeight, b({0x1D, 0x6B, 0x04}), b({'4', '2'}), b({0x00})}},
        {barcode(2, "1", -128, 0.5),
         {barcodeHead, b({0x1D, 0x48, 0x80}), b({0x1D, 0x68, 0x4D}), b({0x1D, 0x6B, 0x0A}),
          b({'1'}), b({0x00})}},
        {barcode(7, "1", 2, 127.0 / 154.0),
         {barcodeHead, defaultHri, b({0x1D, 0x68, 0x7F}), b({'1'}), b({0x00})}},
        {barcode(0, ""), {}},
        {retyped(textLine("x", 0, 0, 0), VantoReceiptLineType::IMAGE_BUFFER), {}},
        // Fatal edges.
        {price(std::string(20, 'L'), std::string(24, 'R')), {}, std::string(fatal::EMPTY_RANGE)},
        {feed(128), {}, bits},
        {barcode(0, "1", 128), {}, bits},
        {barcode(0, "1", 2, 1.0), {}, bits},
        {barcode(0, "1", 2, std::nan("")), {}, std::string(fatal::DOUBLE_NOT_FINITE)},
        {barcode(0, "1", 2, 1e300), {}, std::string(fatal::DOUBLE_TOO_LARGE)},
        {std::make_shared<VantoReceiptLine>(), {}, cast("Line", "TextLine")},
        {retyped(feed(1), VantoReceiptLineType::BARCODE), {}, cast("FeedLine", "BarcodeLine")},
        {retyped(feed(1), VantoReceiptLineType::IMAGE), {}, cast("FeedLine", "ImageLine")},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        if (cases[i].fatal.empty()) {
            EXPECT_EQ(body({cases[i].line}), cases[i].groups);
        } else {
            EXPECT_THAT([&] { body({cases[i].line}); },
                        ::testing::ThrowsMessage<FatalError>(cases[i].fatal));
        }
    }
    EXPECT_EQ(std::hash<VantoReceiptLineType>()(VantoReceiptLineType::IMAGE_BUFFER), 3u);
}

TEST(SingleCharacter, AcceptsExactlyOneUserPerceivedCharacter) {
    // The counter's own suite walks the segmentation rules; these are one of each kind.
    for (const char* one : {"=", "e\u0301", "\U0001F469\u200D\U0001F4BB", "\r\n"}) {
        EXPECT_EQ(VantoReceiptSingleCharLine(std::string(one)).chr, one) << one;
    }
    for (const char* notOne : {"", "ab", "\n\r"}) {
        EXPECT_THROW(VantoReceiptSingleCharLine(std::string(notOne)), FatalError) << notOne;
    }
    VantoReceiptSingleCharLine line;
    EXPECT_THROW(line.setChar("=="), FatalError);
    EXPECT_THROW(line.chr = "", FatalError);
    EXPECT_EQ(line.chr, "-");
}

// Encodes with GLib so that the walk below does not rest on an encoder of our own.
std::string utf8(gunichar cp) {
    char out[6];
    return std::string(out, static_cast<std::size_t>(g_unichar_to_utf8(cp, out)));
}
// The shortcut for text that never joins must agree with the segmentation engine: walk every
// code point below U+3000 (no surrogates among them) alone, after a letter, after CR and before a
// combining mark.
TEST(GraphemeCounting, ShortcutAgreesWithEngine) {
    EXPECT_EQ(GraphemeCounter::count("\U0001F1EB\U0001F1F7\U0001F1E9"), 2);  // a flag and a half
    EXPECT_EQ(GraphemeCounter::count("a\u1100\u1161\u11A8\r\n"), 3);  // conjoining jamo, CR LF
    for (gunichar cp = 0; cp < 0x3000; ++cp) {
        const std::string c = utf8(cp);
        for (const std::string& s : {c, "a" + c, c + "a", "\r" + c, c + "\u0301", c + c}) {
            ASSERT_EQ(GraphemeCounter::count(s), GraphemeCounter::countWithBreakIterator(s))
                << "U+" << std::hex << static_cast<std::uint32_t>(cp);
        }
    }
    // Malformed UTF-8 is counted the engine's way, never past the end.
    for (const std::string s : {"\xC3", "a\xE2\x82", "\xFF\xFE", "\xED\xA0\x80", "\xC0\xAF"}) {
        EXPECT_EQ(GraphemeCounter::count(s), GraphemeCounter::countWithBreakIterator(s));
    }
}

}  // namespace
}  // namespace vantoconnect
