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

TEST(ReceiptRendererPaper, BarcodesDrawBarsAtTheCommandedHeightOrAreReportedUnprintable) {
    // A barcode its system cannot encode is left out and reported, never fatal.
    const auto letters = Bytes{0x1D, 0x6B, 0x00} + text("12AB") + Bytes{0x00};
    EXPECT_EQ(ReceiptRenderer::renderBytes(letters).problems.size(), 1u);
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

TEST(ReceiptRendererText, LinesWrapAt44ColumnsOr22Wide) {
    const auto r = ReceiptRenderer::renderBytes(text(std::string(50, 'x') + "\n") + Bytes{0x12} +
                                                text(std::string(23, 'w') + "\n"));
    EXPECT_EQ(r.text, std::string(44, 'x') + "\n" + std::string(6, 'x') + "\n" +
                          std::string(22, 'w') + "\nw\n");
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
