#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/PrinterInterpreter.hpp"
#include "tests/emulator/PrinterBytes.hpp"

// What the facade's own receipts become (composed lines, price lines, barcodes) is checked
// end to end in tests/integration; here are the commands and failures those do not reach.

namespace vantoemu {
namespace {

using testing::Bytes;
using testing::text;
using testing::operator+;

TEST(PrinterInterpreterText, HighBytesShowAsTheSelectedCodePage) {
    const Bytes bytes = Bytes{0x1B, 0x52, 0x08} + text("caf\xC3\xA9 \xE2\x82\xAC") +
                        Bytes{0x1B, 0x52, 0x00, 0x82, 0x0A, 0x0A};
    const auto lines = PrinterInterpreter::interpret(bytes).all<TextLine>();
    ASSERT_EQ(lines.size(), 2u);
    // In Windows-1252 é (C3 A9) shows as "Ã©" and € (E2 82 AC) as "â‚¬"; by default 0x82 is é.
    EXPECT_EQ(lines[0].text(), "caf\xC3\x83\xC2\xA9 \xC3\xA2\xE2\x80\x9A\xC2\xAC\xC3\xA9");
    EXPECT_TRUE(lines[1].runs.empty());  // an empty line feed is a blank line
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

// Unknown bytes are kept in place and reading goes on after them; a tail cut short or that the
// printer cannot print is reported where it starts.
TEST(PrinterInterpreterIssues, UnknownCutShortOrUnprintableBytesAreReportedAtTheirStart) {
    struct Case {
        Bytes tail;
        std::size_t lines = 1;
    };
    for (const Case& c :
         {Case{{0x14}}, Case{{0x1B}}, Case{{0x1B, 0x61}}, Case{{0x1D, 0x68}}, Case{{0x1F}},
          Case{{0x1B, 0x2A, 0x20, 0x02}}, Case{{0x1B, 0x2A, 0x20, 0x02, 0x00, 0x00}},
          Case{{0x1D, 0x6B, 0x04, 0x41}},
          Case{{0x1D, 0x6B, 0x07, '9', '9', 0x00}},  // a barcode system the printer lacks
          Case{text("tail"), 2},                     // text never ended by a line feed
          Case{Bytes{0x07} + text("ab\n"), 2}, Case{Bytes{0x1B, 0x7A} + text("ab\n"), 2},
          Case{Bytes{0x1D, 0x99} + text("ab\n"), 2}, Case{Bytes{0x1F, 0x00} + text("ab\n"), 2}}) {
        SCOPED_TRACE(::testing::PrintToString(c.tail));
        const auto doc = PrinterInterpreter::interpret(text("ok\n") + c.tail);
        ASSERT_EQ(doc.issues.size(), 1u);
        EXPECT_EQ(doc.issues[0].offset, 3u);
        EXPECT_EQ(doc.all<TextLine>().size(), c.lines);
        EXPECT_TRUE(doc.all<Barcode>().empty());
    }
}

}  // namespace
}  // namespace vantoemu
