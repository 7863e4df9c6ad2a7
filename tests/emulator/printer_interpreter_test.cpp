#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/PrinterInterpreter.hpp"

namespace vantoemu {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

// What the composer writes for one text line: justification (left first), style, size,
// code page 1252 around the text, cancel style, line feed.
Bytes composedLine(const std::string& s, std::uint8_t justify, bool bold, bool wide) {
    Bytes out{0x1B, 0x61, 0x30};
    if (justify != 0x30) {
        out = out + Bytes{0x1B, 0x61, justify};
    }
    if (bold) {
        out = out + Bytes{0x1B, 0x45, 0x01};
    }
    out = out + Bytes{0x13};
    if (wide) {
        out = out + Bytes{0x12};
    }
    out = out + Bytes{0x1B, 0x52, 0x08} + text(s) + Bytes{0x1B, 0x52, 0x00};
    if (bold) {
        out = out + Bytes{0x1B, 0x45, 0x00};
    }
    return out + Bytes{0x0A};
}

TEST(PrinterInterpreterText, ComposedLineKeepsStyleSizeJustificationAndCodePage) {
    const auto doc = PrinterInterpreter::interpret(composedLine("Hi", 0x31, true, true));
    const auto lines = doc.all<TextLine>();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].justification, Justification::Center);
    ASSERT_EQ(lines[0].runs.size(), 1u);
    const auto& run = lines[0].runs[0];
    EXPECT_EQ(run.text, "Hi");
    EXPECT_TRUE(run.style.bold);
    EXPECT_TRUE(run.style.wide);
    EXPECT_FALSE(run.style.italic);
    EXPECT_EQ(run.codePage, CodePage::Windows1252);
    EXPECT_TRUE(doc.issues.empty());
    EXPECT_EQ(doc.codePageSwitches, 2u);
}

TEST(PrinterInterpreterText, EveryStyleCommandTurnsOnAndOff) {
    const Bytes bytes = Bytes{0x1B, 0x49, 0x01, 0x1B, 0x2D, 0x01, 0x1D, 0x42, 0x01} + text("a") +
                        Bytes{0x1B, 0x49, 0x00, 0x1B, 0x2D, 0x00, 0x1D, 0x42, 0x00} + text("b") +
                        Bytes{0x0A};
    const auto lines = PrinterInterpreter::interpret(bytes).all<TextLine>();
    ASSERT_EQ(lines.size(), 1u);
    ASSERT_EQ(lines[0].runs.size(), 2u);
    const auto& on = lines[0].runs[0].style;
    EXPECT_TRUE(on.italic && on.underline && on.inverse);
    EXPECT_EQ(lines[0].runs[1].style, TextStyle{});
}

TEST(PrinterInterpreterText, PriceLineInheritsJustificationAndSplitsRunsByStyle) {
    Bytes price = Bytes{0x1B, 0x45, 0x01, 0x1B, 0x52, 0x08} + text("A") +
                  Bytes{0x1B, 0x52, 0x00, 0x1B, 0x45, 0x00} + text(std::string(39, ' ')) +
                  Bytes{0x1B, 0x52, 0x08} + text("1.00") + Bytes{0x1B, 0x52, 0x00, 0x0A};
    const auto doc = PrinterInterpreter::interpret(composedLine("x", 0x32, false, false) + price);
    const auto lines = doc.all<TextLine>();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].justification, Justification::Right);
    EXPECT_EQ(lines[1].text(), "A" + std::string(39, ' ') + "1.00");
    EXPECT_TRUE(lines[1].runs[0].style.bold);
    EXPECT_FALSE(lines[1].runs.back().style.bold);
}

TEST(PrinterInterpreterText, Utf8BytesShowAsWindows1252Characters) {
    const auto lines =
        PrinterInterpreter::interpret(composedLine("caf\xC3\xA9 \xE2\x82\xAC", 0x30, false, false))
            .all<TextLine>();
    ASSERT_EQ(lines.size(), 1u);
    // é (C3 A9) shows as "Ã©"; € (E2 82 AC) as "â‚¬".
    EXPECT_EQ(lines[0].text(), "caf\xC3\x83\xC2\xA9 \xC3\xA2\xE2\x80\x9A\xC2\xAC");
}

TEST(PrinterInterpreterText, DefaultCodePageShowsHighBytesAsPc437) {
    const auto lines = PrinterInterpreter::interpret(Bytes{0x82, 0x0A}).all<TextLine>();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text(), "\xC3\xA9");  // é
}

TEST(PrinterInterpreterText, EmptyLineFeedIsABlankLine) {
    const auto lines = PrinterInterpreter::interpret(Bytes{0x0A, 0x0A}).all<TextLine>();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[0].runs.empty());
}

TEST(PrinterInterpreterElements, FeedsCutsAndConfigPageInOrder) {
    const auto doc = PrinterInterpreter::interpret(
        Bytes{0x14, 0x00, 0x14, 0x03, 0x1F, 0x74, 0x14, 0x0C, 0x1B, 0x69, 0x1B, 0x6D});
    ASSERT_EQ(doc.elements.size(), 6u);
    EXPECT_EQ(std::get<Feed>(doc.elements[1]).lines, 3);
    EXPECT_TRUE(std::holds_alternative<ConfigPage>(doc.elements[2]));
    EXPECT_EQ(std::get<Feed>(doc.elements[3]).lines, 12);
    EXPECT_TRUE(std::get<Cut>(doc.elements[4]).full);
    EXPECT_FALSE(std::get<Cut>(doc.elements[5]).full);
    EXPECT_TRUE(doc.issues.empty());
}

TEST(PrinterInterpreterElements, BarcodesTakeHriHeightAndSystem) {
    const Bytes head{0x1B, 0x61, 0x31, 0x1D, 0x48, 0x02, 0x1D, 0x68, 0x36};
    const Bytes bytes = head + Bytes{0x1D, 0x6B, 0x00} + text("123456789012") + Bytes{0x00} +
                        Bytes{0x1D, 0x48, 0x03, 0x1D, 0x6B, 0x04} + text("ABC") + Bytes{0x00} +
                        Bytes{0x1D, 0x48, 0x01, 0x1D, 0x6B, 0x0A} + text("pdf") + Bytes{0x00};
    const auto doc = PrinterInterpreter::interpret(bytes);
    const auto codes = doc.all<Barcode>();
    ASSERT_EQ(codes.size(), 3u);
    EXPECT_EQ(codes[0].kind, BarcodeKind::UpcA);
    EXPECT_EQ(codes[0].data, "123456789012");
    EXPECT_EQ(codes[0].hri, 2);
    EXPECT_EQ(codes[0].height, 54);
    EXPECT_EQ(codes[0].justification, Justification::Center);
    EXPECT_EQ(codes[1].kind, BarcodeKind::Code39);
    EXPECT_EQ(codes[1].hri, 3);
    EXPECT_EQ(codes[2].kind, BarcodeKind::Pdf417);
    EXPECT_EQ(codes[2].hri, 1);
    EXPECT_TRUE(doc.issues.empty());
}

TEST(PrinterInterpreterElements, RasterBandKeepsItsDotsAndSwallowsItsLineFeed) {
    Bytes band{0x1B, 0x2A, 0x20, 0x02, 0x00, 0x80, 0x00, 0x00, 0x00, 0x00, 0x01, 0x0A};
    const auto doc = PrinterInterpreter::interpret(band + band);
    ASSERT_EQ(doc.elements.size(), 2u);  // no blank lines from the line feeds
    const auto& r = std::get<RasterBand>(doc.elements[0]);
    EXPECT_EQ(r.columns, 2);
    EXPECT_EQ(r.dotsPerColumn, 2);
    EXPECT_TRUE(r.dot(0, 0));
    EXPECT_FALSE(r.dot(0, 1));
    EXPECT_TRUE(r.dot(1, 23));
    EXPECT_FALSE(r.dot(1, 22));
}

TEST(PrinterInterpreterIssues, UnknownBytesAreKeptWithTheirOffset) {
    const auto doc = PrinterInterpreter::interpret(text("ab") + Bytes{0x07, 0x1B, 0x7A} +
                                                   Bytes{0x1D, 0x99, 0x1F, 0x00, 0x0A});
    ASSERT_EQ(doc.issues.size(), 4u);
    EXPECT_EQ(doc.issues[0].offset, 2u);
    EXPECT_EQ(doc.issues[1].offset, 3u);
    EXPECT_EQ(doc.issues[2].offset, 5u);
    EXPECT_EQ(doc.issues[3].offset, 7u);
    ASSERT_EQ(doc.all<TextLine>().size(), 1u);
    EXPECT_EQ(doc.all<TextLine>()[0].text(), "ab");
}

TEST(PrinterInterpreterIssues, UnknownBarcodeSystemPrintsNothingButIsReported) {
    const auto doc =
        PrinterInterpreter::interpret(Bytes{0x1D, 0x6B, 0x07} + text("99") + Bytes{0x00});
    EXPECT_TRUE(doc.all<Barcode>().empty());
    ASSERT_EQ(doc.issues.size(), 1u);
    EXPECT_EQ(doc.issues[0].offset, 0u);
}

TEST(PrinterInterpreterIssues, TruncatedCommandsAtTheEndAreReported) {
    for (const Bytes& tail :
         {Bytes{0x14}, Bytes{0x1B}, Bytes{0x1B, 0x61}, Bytes{0x1D, 0x68}, Bytes{0x1F},
          Bytes{0x1B, 0x2A, 0x20, 0x02}, Bytes{0x1B, 0x2A, 0x20, 0x02, 0x00, 0x00},
          Bytes{0x1D, 0x6B, 0x04, 0x41}}) {
        const auto doc = PrinterInterpreter::interpret(text("ok\n") + tail);
        ASSERT_EQ(doc.issues.size(), 1u) << tail.size();
        EXPECT_EQ(doc.issues[0].offset, 3u);
        EXPECT_EQ(doc.all<TextLine>().size(), 1u);
    }
}

TEST(PrinterInterpreterIssues, TextWithoutLineFeedAtTheEndIsShownAndReported) {
    const auto doc = PrinterInterpreter::interpret(text("tail"));
    EXPECT_EQ(doc.all<TextLine>().size(), 1u);
    EXPECT_EQ(doc.issues.size(), 1u);
}

}  // namespace
}  // namespace vantoemu
