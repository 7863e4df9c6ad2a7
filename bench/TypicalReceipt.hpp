#pragma once

// The typical till receipt the composing benchmarks use: headings, 40 priced items with
// accented names, separators, totals and a Code 39 barcode, 60 lines in all. Described once as
// plain values, so the C++ model and the C API build the same receipt from it.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"

namespace vantobench {

// One line of the receipt, in a form both builders read.
struct Line {
    enum Kind { TEXT, PRICE, SEPARATOR, FEED, BARCODE } kind;
    std::string a;
    std::string b;
    std::int64_t style = 0;  // a feed's line count for FEED
    std::int64_t size = 0;
    std::int64_t position = 0;
};

inline std::vector<Line> typicalLines() {
    std::vector<Line> lines = {
        {Line::TEXT, "Caf\u00e9 de la Gare", "", 1, 1, 1},
        {Line::TEXT, "12 Rue des Fleurs, Lyon", "", 0, 0, 1},
        {Line::TEXT, "Table 7 - Server: Zo\u00eb", "", 0, 0, 0},
        {Line::SEPARATOR, "=", ""},
    };
    const char* items[] = {"Cr\u00e8me br\u00fbl\u00e9e",
                           "Caf\u00e9 au lait",
                           "Sm\u00f8rrebr\u00f8d",
                           "Jalape\u00f1o poppers",
                           "Espresso",
                           "Croissant aux amandes",
                           "Th\u00e9 vert",
                           "Sparkling water 0.5 l"};
    for (int i = 0; i < 40; ++i) {
        lines.push_back({Line::PRICE, std::string(items[i % 8]) + (i % 3 == 0 ? " x2" : ""),
                         std::to_string(3 + i % 9) + "." + std::to_string(10 + i) + " \u20ac"});
    }
    const std::vector<Line> tail = {
        {Line::SEPARATOR, "-", ""},
        {Line::PRICE, "Subtotal", "212.40 \u20ac"},
        {Line::PRICE, "VAT 10%", "21.24 \u20ac"},
        {Line::PRICE, "TOTAL", "233.64 \u20ac", 1},
        {Line::SEPARATOR, "-", ""},
        {Line::PRICE, "Card **** 4242", "233.64"},
        {Line::FEED, "", "", 1},
        {Line::TEXT, "Merci et \u00e0 bient\u00f4t !", "", 2, 0, 1},
        {Line::TEXT, "", "", 0, 0, 0},
        {Line::TEXT, "Order 000123", "", 0, 0, 1},
        {Line::TEXT, "2024-05-17 12:41", "", 0, 0, 1},
        {Line::SEPARATOR, "\u2500", ""},
        {Line::FEED, "", "", 2},
        {Line::BARCODE, "000123", ""},
        {Line::FEED, "", "", 3},
        {Line::TEXT, "www.cafe-de-la-gare.fr", "", 0, 0, 1},
    };
    lines.insert(lines.end(), tail.begin(), tail.end());
    return lines;
}

inline vantoconnect::VantoReceipt typicalReceipt() {
    using namespace vantoconnect;
    VantoReceipt receipt;
    for (const Line& l : typicalLines()) {
        switch (l.kind) {
            case Line::TEXT:
                receipt.addLine(
                    std::make_shared<VantoReceiptTextLine>(l.a, l.style, l.size, l.position));
                break;
            case Line::PRICE:
                receipt.addLine(
                    std::make_shared<VantoReceiptPriceLine>(l.a, l.style, l.b, l.style));
                break;
            case Line::SEPARATOR:
                receipt.addLine(std::make_shared<VantoReceiptSingleCharLine>(Character(l.a)));
                break;
            case Line::FEED:
                receipt.addLine(std::make_shared<VantoReceiptFeedLine>(l.style));
                break;
            case Line::BARCODE: {
                auto barcode = std::make_shared<VantoReceiptBarcodeLine>(1, l.a);
                barcode->setHri(2);
                receipt.addLine(barcode);
                break;
            }
        }
    }
    return receipt;
}

}  // namespace vantobench
