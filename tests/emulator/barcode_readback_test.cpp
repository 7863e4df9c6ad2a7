// Every barcode the emulated unit draws is read back by an independent reader (zxing-cpp's
// ZXingReader) and must decode to the data sent, at each human-readable-text position and at
// low, default and full bar heights; and the paper looks like a printer's: UPC-A guard bars reach
// down between its split digits, which carry the check digit, and Code 39 keeps a 3:1 ratio.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "emulator/ReceiptRenderer.hpp"
#include "tests/emulator/PrinterBytes.hpp"
#include "tests/support/ScratchDir.hpp"

namespace vantoemu {
namespace {

namespace fs = std::filesystem;
using testing::Bytes;
using testing::text;
using testing::operator+;

constexpr const char* READER = "/usr/bin/ZXingReader";

struct Symbol {
    std::uint8_t system;
    std::string data;
    std::string decoded;  // what a reader must find
};

Bytes barcodeBytes(const Symbol& s, std::uint8_t hri, std::uint8_t height) {
    return Bytes{0x1B, 0x61, 0x31, 0x1D, 0x48, hri, 0x1D, 0x68, height, 0x1D, 0x6B, s.system} +
           text(s.data) + Bytes{0x00};
}

// File name -> decoded text, one reader run for all files (one barcode per file: the reader's
// UPC-A needs that).
std::map<std::string, std::string> readAll(const std::vector<std::string>& files) {
    std::string command = std::string(READER) + " -1 -norotate -noscale";
    for (const auto& f : files) {
        command += " '" + f + "'";
    }
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::map<std::string, std::string> found;
    char line[4096];
    while (pipe && fgets(line, sizeof line, pipe.get()) != nullptr) {
        // "<file> <format> \"<text>\""
        const std::string l(line);
        const auto space = l.find(' ');
        const auto open = l.find('"');
        const auto close = l.rfind('"');
        if (space != std::string::npos && open != std::string::npos && close > open) {
            found[l.substr(0, space)] = l.substr(open + 1, close - open - 1);
        }
    }
    return found;
}

class BarcodeReadBack : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(fs::exists(READER))
            << READER << " is missing: install Debian's zxing-cpp-tools (scripts/install-deps.sh)";
    }
    const vantoconnect::testing::ScratchDir mDir;
};

TEST_F(BarcodeReadBack, EveryBarcodeDecodesToItsDataAtEveryHriAndHeight) {
    const std::vector<Symbol> symbols = {
        {0x00, "01234567890", "012345678905"},  // the printer adds the check digit
        {0x00, "036000291452", "036000291452"},
        {0x04, "VANTO42", "VANTO42"},
        {0x04, "ABCDEFGHIJ0123456789", "ABCDEFGHIJ0123456789"},
        {0x04, "A-1 $/+%.", "A-1 $/+%."},
        {0x0A, "7", "7"},
        {0x0A, std::string(300, 'Z') + "https://example.com/r/000123?x=1",
         std::string(300, 'Z') + "https://example.com/r/000123?x=1"},
    };
    std::map<std::string, std::string> expected;
    for (std::size_t s = 0; s < symbols.size(); ++s) {
        for (std::uint8_t hri = 0; hri < 4; ++hri) {
            for (std::uint8_t height : {24, 54, 127}) {
                const auto r = ReceiptRenderer::renderBytes(barcodeBytes(symbols[s], hri, height));
                ASSERT_TRUE(r.problems.empty()) << symbols[s].data << ": " << r.problems.front();
                const std::string file =
                    (mDir.path / ("s" + std::to_string(s) + "-hri" + std::to_string(hri) + "-h" +
                                  std::to_string(height) + ".png"))
                        .string();
                ReceiptRenderer::writeFile(file, r.png);
                expected[file] = symbols[s].decoded;
            }
        }
    }
    std::vector<std::string> files;
    for (const auto& [file, data] : expected) {
        files.push_back(file);
    }
    const auto found = readAll(files);
    for (const auto& [file, data] : expected) {
        const auto it = found.find(file);
        ASSERT_NE(it, found.end()) << "nothing decoded in " << fs::path(file).filename();
        EXPECT_EQ(it->second, data) << fs::path(file).filename();
    }
}

// Dark runs along row y, as (start, length).
std::vector<std::pair<int, int>> darkRuns(const RenderedReceipt& r, int y) {
    std::vector<std::pair<int, int>> runs;
    for (int x = 0; x < r.width; ++x) {
        if (r.dark(x, y) && (x == 0 || !r.dark(x - 1, y))) {
            runs.emplace_back(x, 1);
        } else if (r.dark(x, y)) {
            ++runs.back().second;
        }
    }
    return runs;
}

int firstDarkRow(const RenderedReceipt& r) {
    for (int y = 0; y < r.height; ++y) {
        if (r.darkCount(0, y, r.width, 1) > 0) {
            return y;
        }
    }
    return -1;
}

TEST_F(BarcodeReadBack, UpcGuardBarsReachBetweenSplitDigitsWithTheCheckDigit) {
    const auto r = ReceiptRenderer::renderBytes(barcodeBytes({0x00, "01234567890", ""}, 2, 60));
    const int top = firstDarkRow(r);
    const auto bars = darkRuns(r, top + 30);
    const auto guards = darkRuns(r, top + 60 + 6);  // below the other bars, beside the digits
    ASSERT_FALSE(bars.empty());
    // Start guard, middle guard and end guard at least; each reaches below the symbol's bars.
    EXPECT_GE(guards.size(), 6u);
    EXPECT_EQ(guards.front().first, bars.front().first);
    EXPECT_EQ(guards.back().first + guards.back().second, bars.back().first + bars.back().second);
    // Digits stand outside the symbol on both sides: ink left of the first bar and right of the
    // last, in the row of digits.
    EXPECT_GT(r.darkCount(0, top + 64, bars.front().first - 2, 24), 0u);
    EXPECT_GT(r.darkCount(bars.back().first + bars.back().second + 2, top + 64, 60, 24), 0u);
    EXPECT_NE(r.text.find("[UPC-A 012345678905]"), std::string::npos);
}

TEST_F(BarcodeReadBack, Code39WideBarsAreThreeTimesTheNarrowAndTooLongIsLeftOut) {
    for (const std::string data : {"VANTO42", "ABCDEFGHIJ0123456789"}) {
        const auto r = ReceiptRenderer::renderBytes(barcodeBytes({0x04, data, ""}, 0, 60));
        std::map<int, int> widths;
        for (const auto& run : darkRuns(r, firstDarkRow(r) + 30)) {
            ++widths[run.second];
        }
        ASSERT_EQ(widths.size(), 2u) << data;
        EXPECT_EQ(widths.rbegin()->first, 3 * widths.begin()->first) << data;
    }
    const auto tooLong =
        ReceiptRenderer::renderBytes(barcodeBytes({0x04, std::string(40, 'W'), ""}, 0, 60));
    ASSERT_EQ(tooLong.problems.size(), 1u);
    EXPECT_NE(tooLong.problems[0].find("wider than the paper"), std::string::npos);
    EXPECT_NE(tooLong.text.find("not printable"), std::string::npos);
}

TEST_F(BarcodeReadBack, Pdf417TextWrapsWithinThePaper) {
    const std::string data(120, 'X');
    const auto r = ReceiptRenderer::renderBytes(barcodeBytes({0x0A, data, ""}, 2, 60));
    ASSERT_TRUE(r.problems.empty());
    // The text rows below the symbol: more than one, none touching the paper's edges.
    int rows = 0;
    bool inRow = false;
    const int symbolEnd = [&] {
        int y = firstDarkRow(r);
        while (y < r.height && r.darkCount(0, y, r.width, 1) > 0) {
            ++y;
        }
        return y;
    }();
    for (int y = symbolEnd; y < r.height; ++y) {
        const bool ink = r.darkCount(0, y, r.width, 1) > 0;
        rows += ink && !inRow ? 1 : 0;
        inRow = ink;
        if (ink) {
            EXPECT_EQ(r.darkCount(0, y, 2, 1) + r.darkCount(r.width - 2, y, 2, 1), 0u) << y;
        }
    }
    EXPECT_GE(rows, 3);  // 120 characters at about 50 a row, and the cut line
}

}  // namespace
}  // namespace vantoemu
