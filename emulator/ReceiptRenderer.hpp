#pragma once

// Draws a printer document as the paper would come out of the unit's 80 mm printer: 576 dots
// wide, 44 monospaced columns (22 when wide), barcodes, bit-image bands whose columns are two
// dots wide, and a labelled dashed line at each cut. Also gives a plain-text view of the same
// paper for terminals and tests.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "emulator/PrinterDocument.hpp"

namespace vantoemu {

struct RenderedReceipt {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;  // one grey byte per dot, row by row; 0 is black
    std::vector<std::uint8_t> png;
    std::string text;                   // the plain-text view, lines ended by '\n'
    std::vector<std::string> problems;  // what could not be drawn as asked

    bool dark(int x, int y) const;
    // Dark dots inside the rectangle.
    std::size_t darkCount(int x, int y, int w, int h) const;
};

class ReceiptRenderer {
  public:
    static constexpr int PAPER_DOTS = 576;
    static constexpr int COLUMNS = 44;
    static constexpr int WIDE_COLUMNS = 22;
    static constexpr int LINE_DOTS = 30;

    static RenderedReceipt render(const PrinterDocument& document);
    static std::string textView(const PrinterDocument& document);

    // Interprets and renders raw printer bytes with no unit involved (previews).
    static RenderedReceipt renderBytes(std::span<const std::uint8_t> bytes);
    // Renders the bytes and writes the PNG to `pngPath`; throws std::runtime_error when the
    // file cannot be written.
    static RenderedReceipt renderBytesToFile(std::span<const std::uint8_t> bytes,
                                             const std::string& pngPath);
    static void writeFile(const std::string& path, std::span<const std::uint8_t> data);
};

}  // namespace vantoemu
