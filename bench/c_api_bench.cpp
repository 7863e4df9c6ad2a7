// What the C API costs over the C++ call it wraps, on composing a typical 60-line receipt: the
// same receipt built once through each, then composed over and over. Both join the composer's
// groups into one buffer the caller frees; the composer alone is shown for scale.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/TypicalReceipt.hpp"
#include "receipts/CheckedReceipt.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/vanto.h"

namespace {

using namespace vantoconnect;

vanto_receipt_t* cReceipt() {
    vanto_receipt_t* receipt = nullptr;
    vanto_receipt_create(&receipt);
    using vantobench::Line;
    for (const Line& l : vantobench::typicalLines()) {
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

// The library's composer alone: its byte groups, as the printer controller takes them.
void BM_ComposeGroups(benchmark::State& state) {
    setConsoleSink([](auto) {});
    const VantoReceipt receipt = vantobench::typicalReceipt();
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
BENCHMARK(BM_ComposeGroups);

// The C++ call vanto_receipt_compose wraps: the same groups joined into one buffer that the
// caller owns (here, as there, one malloc and one free).
void BM_ComposeCpp(benchmark::State& state) {
    setConsoleSink([](auto) {});
    const vantoreceipts::CheckedReceipt receipt(
        std::make_shared<VantoReceipt>(vantobench::typicalReceipt()));
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::uint8_t* joined = nullptr;
        bytes += receipt.composeInto([&joined](std::size_t size) {
            return joined = static_cast<std::uint8_t*>(std::malloc(size));
        });
        benchmark::DoNotOptimize(joined);
        std::free(joined);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(BM_ComposeCpp);

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
