// Composing a typical till receipt: headings, priced items with accented names, separators,
// totals and a barcode, 60 lines in all.

#include <benchmark/benchmark.h>

#include <memory>

#include "bench/TypicalReceipt.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/support/Console.hpp"

namespace {

using namespace vantoconnect;

void BM_ComposeTypicalReceipt(benchmark::State& state) {
    setConsoleSink([](auto) {});
    const VantoReceipt receipt = vantobench::typicalReceipt();
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
