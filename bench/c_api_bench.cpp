// What the C API costs over the C++ call it wraps, on composing a typical 60-line receipt: the
// same receipt built once through each, then composed over and over. The C call also joins the
// groups into one buffer that the caller owns and frees, which is part of its price.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/vanto.h"

namespace {

using namespace vantoconnect;

// One line of the receipt, in a form both builders read.
struct Line {
    enum Kind { TEXT, PRICE, SEPARATOR, FEED, BARCODE } kind;
    std::string a;
    std::string b;
    std::int64_t style = 0;
    std::int64_t size = 0;
    std::int64_t position = 0;
};

std::vector<Line> typicalLines() {
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

VantoReceipt cppReceipt() {
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

vanto_receipt_t* cReceipt() {
    vanto_receipt_t* receipt = nullptr;
    vanto_receipt_create(&receipt);
    for (const Line& l : typicalLines()) {
        vanto_status status = VANTO_OK;
        switch (l.kind) {
            case Line::TEXT:
                status = vanto_receipt_add_text(receipt, l.a.c_str(), l.style, l.size, l.position);
                break;
            case Line::PRICE:
                status =
                    vanto_receipt_add_price(receipt, l.a.c_str(), l.style, l.b.c_str(), l.style);
                break;
            case Line::SEPARATOR:
                status = vanto_receipt_add_separator(receipt, l.a.c_str());
                break;
            case Line::FEED:
                status = vanto_receipt_add_feed(receipt, l.style);
                break;
            case Line::BARCODE:
                status = vanto_receipt_add_barcode(receipt, VANTO_BARCODE_TYPE_CODE39, l.a.c_str(),
                                                   VANTO_BARCODE_HRI_BELOW,
                                                   VANTO_BARCODE_HEIGHT_DEFAULT);
                break;
        }
        if (status != VANTO_OK) {
            throw std::runtime_error(vanto_last_error());
        }
    }
    return receipt;
}

void BM_ComposeCpp(benchmark::State& state) {
    setConsoleSink([](auto) {});
    const VantoReceipt receipt = cppReceipt();
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto groups = ReceiptComposer().compose(receipt);
        for (const auto& group : groups) {
            bytes += group.size();
        }
        benchmark::DoNotOptimize(groups);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(BM_ComposeCpp);

// The same C++ call, and then what the C API adds to it: the groups joined into one buffer that
// the caller frees. The difference from BM_ComposeC is the cost of the C boundary itself.
void BM_ComposeCppJoined(benchmark::State& state) {
    setConsoleSink([](auto) {});
    const VantoReceipt receipt = cppReceipt();
    std::size_t bytes = 0;
    for (auto _ : state) {
        const auto groups = ReceiptComposer().compose(receipt);
        std::size_t total = 0;
        for (const auto& group : groups) {
            total += group.size();
        }
        auto* joined = static_cast<std::uint8_t*>(std::malloc(total));
        std::size_t at = 0;
        for (const auto& group : groups) {
            std::memcpy(joined + at, group.data(), group.size());
            at += group.size();
        }
        bytes += total;
        benchmark::DoNotOptimize(joined);
        std::free(joined);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(BM_ComposeCppJoined);

void BM_ComposeC(benchmark::State& state) {
    vanto_receipt_t* receipt = cReceipt();
    std::size_t bytes = 0;
    for (auto _ : state) {
        uint8_t* composed = nullptr;
        size_t size = 0;
        if (vanto_receipt_compose(receipt, &composed, &size) != VANTO_OK) {
            state.SkipWithError(vanto_last_error());
            break;
        }
        bytes += size;
        benchmark::DoNotOptimize(composed);
        vanto_bytes_free(composed);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
    vanto_receipt_free(receipt);
}
BENCHMARK(BM_ComposeC);

}  // namespace

BENCHMARK_MAIN();
