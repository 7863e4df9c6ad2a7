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

TEST(ReceiptRendererPaper, WideTextTakesTwiceTheWidth) {
    // Ten characters fill ten of 44 columns (about 131 dots), or twenty when wide.
    const auto normal = ReceiptRenderer::renderBytes(text("MMMMMMMMMM\n"));
    const auto wide = ReceiptRenderer::renderBytes(Bytes{0x12} + text("MMMMMMMMMM\n"));
    EXPECT_GT(normal.darkCount(100, 0, 30, normal.height), 0u);
    EXPECT_EQ(normal.darkCount(140, 0, 436, normal.height), 0u);
    EXPECT_GT(wide.darkCount(230, 0, 30, wide.height), 0u);
    EXPECT_EQ(wide.darkCount(270, 0, 306, wide.height), 0u);
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
