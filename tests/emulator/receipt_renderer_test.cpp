#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "emulator/PrinterInterpreter.hpp"
#include "emulator/ReceiptRenderer.hpp"
#include "tests/emulator/PrinterBytes.hpp"

namespace vantoemu {
namespace {

using testing::Bytes;
using testing::text;
using testing::operator+;

// Rows that hold at least one dark dot.
std::vector<int> darkRows(const RenderedReceipt& r) {
    std::vector<int> rows;
    for (int y = 0; y < r.height; ++y) {
        if (r.darkCount(0, y, r.width, 1) > 0) {
            rows.push_back(y);
        }
    }
    return rows;
}

TEST(ReceiptRendererPaper, PngIs576DotsWideAndMatchesThePixels) {
    // A barcode its system cannot encode is left out and reported, never fatal.
    const auto r = ReceiptRenderer::renderBytes(text("Hello\n") + Bytes{0x1D, 0x6B, 0x00} +
                                                text("12AB") + Bytes{0x00, 0x1B, 0x69});
    EXPECT_EQ(r.width, 576);
    // The PNG's header chunk carries the same width and height.
    const auto h = static_cast<std::uint8_t>(r.height);
    const Bytes ihdr = {
        'I', 'H', 'D', 'R', 0, 0, 0x02, 0x40, 0, 0, static_cast<std::uint8_t>(r.height >> 8), h};
    ASSERT_GT(r.png.size(), 24u);
    EXPECT_EQ(Bytes(r.png.begin() + 12, r.png.begin() + 24), ihdr);
    EXPECT_EQ(r.pixels.size(), static_cast<std::size_t>(r.width * r.height));
    EXPECT_GT(r.darkCount(0, 0, 200, 45), 20u);  // the word near the top left
    EXPECT_EQ(r.problems.size(), 1u);
}

TEST(ReceiptRendererPaper, RasterColumnsAreTwoDotsWide) {
    // Ten fully black columns, then ten white ones.
    Bytes band{0x1B, 0x2A, 0x20, 20, 0};
    for (int c = 0; c < 20; ++c) {
        const std::uint8_t v = c < 10 ? 0xFF : 0x00;
        band = band + Bytes{v, v, v};
    }
    const auto r = ReceiptRenderer::renderBytes(band + Bytes{0x0A});
    const auto rows = darkRows(r);
    ASSERT_EQ(rows.size(), 24u);
    const int y = rows.front();
    EXPECT_EQ(r.darkCount(0, y, 20, 24), 20u * 24u);
    EXPECT_EQ(r.darkCount(20, y, 556, 24), 0u);
    EXPECT_EQ(r.text, "[image 20x24]\n");
}

TEST(ReceiptRendererPaper, BarcodesDrawBarsAtTheCommandedHeight) {
    const Bytes head{0x1B, 0x61, 0x31, 0x1D, 0x48, 0x00, 0x1D, 0x68, 60};
    for (const Bytes& code : {Bytes{0x1D, 0x6B, 0x00} + text("012345678905") + Bytes{0x00},
                              Bytes{0x1D, 0x6B, 0x04} + text("VANTO42") + Bytes{0x00}}) {
        const auto r = ReceiptRenderer::renderBytes(head + code);
        ASSERT_TRUE(r.problems.empty()) << r.problems.front();
        const auto rows = darkRows(r);
        ASSERT_EQ(rows.size(), 60u);
        // A bar row alternates between ink and paper many times, centred on the paper.
        int transitions = 0;
        for (int x = 1; x < r.width; ++x) {
            transitions += r.dark(x, rows[30]) != r.dark(x - 1, rows[30]) ? 1 : 0;
        }
        EXPECT_GT(transitions, 30);
        EXPECT_LT(r.darkCount(0, rows[0], 40, 60), 1u);
    }
}

TEST(ReceiptRendererPaper, HriAddsTextAboveBelowOrBoth) {
    auto heightWith = [](std::uint8_t hri) {
        const Bytes bytes = Bytes{0x1D, 0x48, hri, 0x1D, 0x68, 40, 0x1D, 0x6B, 0x00} +
                            text("012345678905") + Bytes{0x00};
        const auto r = ReceiptRenderer::renderBytes(bytes);
        const auto rows = darkRows(r);
        return rows.back() - rows.front();
    };
    const int none = heightWith(0);
    EXPECT_GT(heightWith(1), none + 10);
    EXPECT_GT(heightWith(2), none + 10);
    EXPECT_GT(heightWith(3), heightWith(2) + 10);
}

TEST(ReceiptRendererPaper, WideTextTakesTwiceTheWidth) {
    // Ten characters fill ten of 44 columns (about 131 dots), or twenty when wide.
    const auto normal = ReceiptRenderer::renderBytes(text("MMMMMMMMMM\n"));
    const auto wide = ReceiptRenderer::renderBytes(Bytes{0x12} + text("MMMMMMMMMM\n"));
    EXPECT_GT(normal.darkCount(100, 0, 30, normal.height), 0u);
    EXPECT_EQ(normal.darkCount(140, 0, 436, normal.height), 0u);
    EXPECT_GT(wide.darkCount(230, 0, 30, wide.height), 0u);
    EXPECT_EQ(wide.darkCount(270, 0, 306, wide.height), 0u);
}

TEST(ReceiptRendererPaper, InverseTextIsLightOnABlackCell) {
    const auto r = ReceiptRenderer::renderBytes(Bytes{0x1D, 0x42, 0x01} + text("  ") +
                                                Bytes{0x1D, 0x42, 0x00, 0x0A});
    const auto rows = darkRows(r);
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(r.darkCount(0, rows.front(), 26, 30), 26u * 30u);
}

TEST(ReceiptRendererText, ShowsJustifiedLinesMarkersAndCuts) {
    const Bytes bytes = Bytes{0x14, 0x00, 0x1B, 0x61, 0x31} + text("MENU\n") +
                        Bytes{0x1B, 0x61, 0x32} + text("1.00\n") + Bytes{0x14, 0x02} +
                        Bytes{0x1B, 0x61, 0x31, 0x1D, 0x6B, 0x00} + text("012345678905") +
                        Bytes{0x00, 0x1B, 0x6D};
    const auto r = ReceiptRenderer::renderBytes(bytes);
    const std::string expected = std::string(20, ' ') + "MENU\n" + std::string(40, ' ') +
                                 "1.00\n\n\n" + std::string(12, ' ') + "[UPC-A 012345678905]\n" +
                                 std::string(15, '-') + " partial cut " + std::string(16, '-') +
                                 "\n";
    EXPECT_EQ(r.text, expected);
}

TEST(ReceiptRendererText, Utf8AccentShowsAsTwoCharactersAndWrapsAt44Columns) {
    const Bytes bytes = Bytes{0x1B, 0x52, 0x08} + text("caf\xC3\xA9") +
                        Bytes{0x1B, 0x52, 0x00, 0x0A} + text(std::string(50, 'x') + "\n") +
                        Bytes{0x12} + text(std::string(23, 'w') + "\n");
    const auto r = ReceiptRenderer::renderBytes(bytes);
    EXPECT_EQ(r.text, "caf\xC3\x83\xC2\xA9\n" + std::string(44, 'x') + "\n" + std::string(6, 'x') +
                          "\n" + std::string(22, 'w') + "\nw\n");
}

TEST(ReceiptRendererFiles, RenderBytesToFileWritesThePngOrThrows) {
    const auto path = std::filesystem::temp_directory_path() / "vantoemu-render-test.png";
    const auto r = ReceiptRenderer::renderBytesToFile(text("preview\n"), path.string());
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(file), {}), r.png);
    std::filesystem::remove(path);
    EXPECT_THROW(ReceiptRenderer::renderBytesToFile(text("x\n"), (path / "no/such.png").string()),
                 std::runtime_error);
}

}  // namespace
}  // namespace vantoemu
