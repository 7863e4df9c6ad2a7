#include "emulator/BarcodeSymbol.hpp"

#include <zint.h>

#include <memory>

namespace vantoemu {

namespace {

struct Delete {
    void operator()(zint_symbol* symbol) const { ZBarcode_Delete(symbol); }
};

}  // namespace

char BarcodeSymbol::upcCheckDigit(const std::string& elevenDigits) {
    int sum = 0;
    for (std::size_t i = 0; i < elevenDigits.size() && i < 11; ++i) {
        const int digit = elevenDigits[i] - '0';
        sum += i % 2 == 0 ? 3 * digit : digit;
    }
    return static_cast<char>('0' + (10 - sum % 10) % 10);
}

BarcodeSymbol BarcodeSymbol::encode(BarcodeKind kind, const std::string& data) {
    BarcodeSymbol out;
    std::unique_ptr<zint_symbol, Delete> symbol(ZBarcode_Create());
    if (!symbol) {
        out.error = "barcode encoder unavailable";
        return out;
    }
    switch (kind) {
        case BarcodeKind::UpcA:
            symbol->symbology = BARCODE_UPCA;
            break;
        case BarcodeKind::Code39:
            symbol->symbology = BARCODE_CODE39;
            break;
        case BarcodeKind::Pdf417:
            symbol->symbology = BARCODE_PDF417;
            break;
    }
    symbol->show_hrt = 0;
    symbol->scale = 0.5f;  // one pixel per module
    symbol->output_options |= BARCODE_NO_QUIET_ZONES;
    const int status = ZBarcode_Encode_and_Buffer(
        symbol.get(), reinterpret_cast<const unsigned char*>(data.data()),
        static_cast<int>(data.size()), 0);
    const int width = symbol->bitmap_width;
    const int height = symbol->bitmap_height;
    if (status >= ZINT_ERROR || symbol->bitmap == nullptr || width <= 0 || height <= 0) {
        out.error = symbol->errtxt;
        return out;
    }
    auto dark = [&](int x, int y) {
        const auto i = (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                        static_cast<std::size_t>(x)) *
                       3;
        return symbol->bitmap[i] < 128;
    };
    out.text = data;
    if (kind == BarcodeKind::Pdf417) {
        out.rows.assign(static_cast<std::size_t>(height),
                        std::vector<bool>(static_cast<std::size_t>(width)));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                out.rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = dark(x, y);
            }
        }
        return out;
    }
    // A linear symbol is the same in every row; the middle one has no guard-bar extensions.
    const int y = height / 2;
    bool bar = true;
    int run = 0;
    for (int x = 0; x < width; ++x) {
        if (dark(x, y) == bar) {
            ++run;
        } else {
            out.runs.push_back(run);
            bar = !bar;
            run = 1;
        }
    }
    out.runs.push_back(run);
    if (kind == BarcodeKind::UpcA && data.size() == 11) {
        out.text += upcCheckDigit(data);
    }
    return out;
}

}  // namespace vantoemu
