// From print() to the receipt's delivery report, for a ten-line receipt sent to an emulated unit
// on loopback whose printer is idle and ready: what a cashier waits between pressing "print"
// and the till knowing the receipt is on paper. Both profiles in one run, one receipt at a time:
//   BM_PrintToReport/classic    Vanto(): the first poll waits for the queue's 0.1 s timer
//   BM_PrintToReport/resilient  Vanto(ResilientOptions): an idle queue sends at once
// Each reports the median and the 99th percentile of its receipts, in milliseconds.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"
#include "vantoconnect/support/Console.hpp"

namespace {

using Clock = std::chrono::steady_clock;

class ReportPromise : public vantoconnect::VantoDeliveryListener {
  public:
    void onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) override {
        mReport.set_value(report);
    }
    std::future<vantoconnect::VantoDeliveryReport> future() { return mReport.get_future(); }

  private:
    std::promise<vantoconnect::VantoDeliveryReport> mReport;
};

std::shared_ptr<vantoconnect::VantoReceipt> tenLines() {
    auto receipt = std::make_shared<vantoconnect::VantoReceipt>();
    for (int line = 1; line <= 10; ++line) {
        receipt->addLine(std::make_shared<vantoconnect::VantoReceiptTextLine>(
            "Line " + std::to_string(line) + " of a receipt on loopback", 0, 0, 0));
    }
    return receipt;
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(p * static_cast<double>(values.size() - 1) + 0.5);
    return values[std::min(index, values.size() - 1)];
}

void BM_PrintToReport(benchmark::State& state) {
    const bool resilient = state.range(0) == 1;
    vantoconnect::setConsoleSink([](std::string_view) {});
    vantoemu::EmulatedUnit unit(
        {.port = 0, .outDir = "", .renderReceipts = false, .keep = 4, .faults = {}});
    unit.start();
    std::unique_ptr<vantoconnect::Vanto> vanto;
    if (resilient) {
        vanto = std::make_unique<vantoconnect::Vanto>(
            vantoconnect::ResilientOptions{.address = "127.0.0.1", .port = unit.port()});
    } else {
        vanto = std::make_unique<vantoconnect::Vanto>();
        vanto->getConnectionManager()->setConnectionIPAddress("127.0.0.1");
        std::dynamic_pointer_cast<vantoconnect::GenericConnectionManager>(
            vanto->getConnectionManager())
            ->VantoPort = unit.port();
    }
    const auto receipt = tenLines();
    std::vector<double> milliseconds;
    std::int64_t delivered = 0;
    for (auto _ : state) {
        auto listener = std::make_shared<ReportPromise>();
        auto report = listener->future();
        const auto start = Clock::now();
        vanto->print(receipt, nullptr, listener);
        const auto outcome = report.get();
        milliseconds.push_back(
            std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        delivered += outcome.allAcknowledged ? 1 : 0;
    }
    vanto.reset();
    vantoconnect::PrinterQueue::resetForTesting();
    vantoconnect::setConsoleSink({});
    if (delivered != state.iterations()) {
        state.SkipWithError("a receipt was not delivered");
        return;
    }
    state.counters["median_ms"] = percentile(milliseconds, 0.5);
    state.counters["p99_ms"] = percentile(milliseconds, 0.99);
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(resilient ? "resilient" : "classic");
}

}  // namespace

BENCHMARK(BM_PrintToReport)
    ->Arg(0)
    ->Arg(1)
    ->Iterations(200)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

BENCHMARK_MAIN();
