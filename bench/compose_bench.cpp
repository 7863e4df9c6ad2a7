// Composing a typical till receipt: headings, priced items with accented names, separators,
// totals and a barcode, 60 lines in all.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Console.hpp"

namespace {

using namespace vantoconnect;

VantoReceipt typicalReceipt() {
    VantoReceipt receipt;
    receipt.addLine(std::make_shared<VantoReceiptTextLine>("Caf\u00e9 de la Gare", 1, 1, 1));
    receipt.addLine(std::make_shared<VantoReceiptTextLine>("12 Rue des Fleurs, Lyon", 0, 0, 1));
    receipt.addLine(std::make_shared<VantoReceiptTextLine>("Table 7 - Server: Zo\u00eb", 0, 0, 0));
    receipt.addLine(std::make_shared<VantoReceiptSingleCharLine>("="));
    const char* items[] = {"Cr\u00e8me br\u00fbl\u00e9e",
                           "Caf\u00e9 au lait",
                           "Sm\u00f8rrebr\u00f8d",
                           "Jalape\u00f1o poppers",
                           "Espresso",
                           "Croissant aux amandes",
                           "Th\u00e9 vert",
                           "Sparkling water 0.5 l"};
    for (int i = 0; i < 40; ++i) {
        receipt.addLine(std::make_shared<VantoReceiptPriceLine>(
            std::string(items[i % 8]) + (i % 3 == 0 ? " x2" : ""), 0,
            std::to_string(3 + i % 9) + "." + std::to_string(10 + i) + " \u20ac", 0));
    }
    receipt.addLine(std::make_shared<VantoReceiptSingleCharLine>("-"));
    receipt.addLine(std::make_shared<VantoReceiptPriceLine>("Subtotal", 0, "212.40 \u20ac", 0));
    receipt.addLine(std::make_shared<VantoReceiptPriceLine>("VAT 10%", 0, "21.24 \u20ac", 0));
    receipt.addLine(std::make_shared<VantoReceiptPriceLine>("TOTAL", 1, "233.64 \u20ac", 1));
    receipt.addLine(std::make_shared<VantoReceiptSingleCharLine>("-"));
    receipt.addLine(std::make_shared<VantoReceiptPriceLine>("Card **** 4242", 0, "233.64", 0));
    receipt.addLine(std::make_shared<VantoReceiptFeedLine>(1));
    receipt.addLine(
        std::make_shared<VantoReceiptTextLine>("Merci et \u00e0 bient\u00f4t !", 2, 0, 1));
    receipt.addLine(std::make_shared<VantoReceiptTextLine>("", 0, 0, 0));
    receipt.addLine(std::make_shared<VantoReceiptTextLine>("Order 000123", 0, 0, 1));
    receipt.addLine(std::make_shared<VantoReceiptTextLine>("2024-05-17 12:41", 0, 0, 1));
    receipt.addLine(std::make_shared<VantoReceiptSingleCharLine>("\u2500"));
    receipt.addLine(std::make_shared<VantoReceiptFeedLine>(2));
    auto barcode = std::make_shared<VantoReceiptBarcodeLine>(1, "000123");
    barcode->setHri(2);
    receipt.addLine(barcode);
    receipt.addLine(std::make_shared<VantoReceiptFeedLine>(3));
    receipt.addLine(std::make_shared<VantoReceiptTextLine>("www.cafe-de-la-gare.fr", 0, 0, 1));
    return receipt;
}

void BM_ComposeTypicalReceipt(benchmark::State& state) {
    setConsoleSink([](auto) {});
    const VantoReceipt receipt = typicalReceipt();
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto groups = ReceiptComposer().compose(receipt);
        bytes += groups.size();
        benchmark::DoNotOptimize(groups);
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["lines"] = static_cast<double>(receipt.getLines().size());
    benchmark::DoNotOptimize(bytes);
}
BENCHMARK(BM_ComposeTypicalReceipt);

}  // namespace

BENCHMARK_MAIN();
