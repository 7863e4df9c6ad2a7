#include "emulator/PrinterDocument.hpp"

namespace vantoemu {

std::string TextLine::text() const {
    std::string out;
    for (const auto& run : runs) {
        out += run.text;
    }
    return out;
}

bool RasterBand::dot(int column, int row) const {
    const int bytesPerColumn = rows / 8;
    if (column < 0 || column >= columns || row < 0 || row >= rows) {
        return false;
    }
    const std::size_t index =
        static_cast<std::size_t>(column) * static_cast<std::size_t>(bytesPerColumn) +
        static_cast<std::size_t>(row / 8);
    if (index >= data.size()) {
        return false;
    }
    return (data[index] & (0x80 >> (row % 8))) != 0;
}

std::string barcodeKindName(BarcodeKind kind) {
    switch (kind) {
        case BarcodeKind::UpcA:
            return "UPC-A";
        case BarcodeKind::Code39:
            return "Code 39";
        case BarcodeKind::Pdf417:
            return "PDF417";
    }
    return "barcode";
}

}  // namespace vantoemu
