#pragma once

// A burst of receipts submitted all at once to an emulated unit with a ready printer, through
// the facade and at the queue's real intervals, and the fate of each: printed, dropped with
// PRINTER_NOT_RESPONDING, or delivered in part. Shared by the burst benchmark, which prints
// the table, and the soak suite, which checks it.

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/support/ChildRun.hpp"
#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/Managers.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/TimerLoop.hpp"

namespace vantoconnect::testing {

struct BurstOutcome {
    bool reported = false;  // every receipt got its report before the process ended
    int printed = 0;        // every packet acknowledged
    int dropped = 0;        // PRINTER_NOT_RESPONDING
    int other = 0;          // delivered in part
    bool inOrder = true;
    double seconds = 0;
    bool survived = false;  // the process was still running a few seconds after the burst
};

// The fate of every receipt of the burst. The queue decides each receipt's fate on its timer
// thread, at the start of its transmission or at its give-up, so those calls give the order in
// which the queue took the receipts; the delivery reports then say whether each really printed.
class Tally {
  public:
    void decided(int receipt) {
        std::lock_guard lock(mutex);
        decisions.push_back(receipt);
    }
    void reported(const VantoDeliveryReport& report) {
        std::lock_guard lock(mutex);
        ++reports;
        if (report.allAcknowledged) {
            ++outcome.printed;
        } else if (report.packetsSent == 0) {
            ++outcome.dropped;
        } else {
            ++outcome.other;
        }
        changed.notify_all();
    }
    bool waitFor(int count, std::chrono::seconds limit) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, limit, [&] { return reports >= count; });
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> decisions;
    int reports = 0;
    BurstOutcome outcome;
};

class ReceiptCallback : public VantoPrinterCallback, public VantoDeliveryListener {
  public:
    ReceiptCallback(std::shared_ptr<Tally> tally, int receipt) : tally(tally), receipt(receipt) {}
    void onPrinterStarted(const std::string&) override { tally->decided(receipt); }
    void onPrinterCompleted(const std::string&) override {}
    void onPrinterError(const VantoError&) override { tally->decided(receipt); }
    void onDeliveryReport(const VantoDeliveryReport& report) override { tally->reported(report); }

  private:
    std::shared_ptr<Tally> tally;
    int receipt;
};

// Submits `size` receipts at once and waits until each has its report. Whether the process
// survives the polls that follow depends on timing, so run it through runBurstInChild.
inline BurstOutcome runBurst(int size) {
    const QuietConsole quiet;
    vantoemu::EmulatedUnit unit(
        vantoemu::UnitOptions{.port = 0, .outDir = "", .renderReceipts = false, .faults = {}});
    unit.start();
    Vanto vanto;
    aimAt(*vanto.getConnectionManager(), unit.port());

    auto tally = std::make_shared<Tally>();
    std::vector<std::shared_ptr<VantoReceipt>> receipts;
    for (int n = 0; n < size; ++n) {
        auto receipt = std::make_shared<VantoReceipt>();
        for (int line = 0; line < 20; ++line) {
            receipt->addLine(std::make_shared<VantoReceiptTextLine>(
                "Receipt " + std::to_string(n) + ", line " + std::to_string(line), 0, 0, 0));
        }
        receipts.push_back(receipt);
    }
    const auto start = std::chrono::steady_clock::now();
    // All at once, from the queue's own timer thread, so that no poll runs between them.
    TimerLoop::shared().schedule(0, [&vanto, &receipts, tally] {
        for (std::size_t n = 0; n < receipts.size(); ++n) {
            auto callback = std::make_shared<ReceiptCallback>(tally, static_cast<int>(n));
            vanto.print(receipts[n], callback, callback);
        }
    });
    const bool reported = tally->waitFor(size, std::chrono::seconds(600));
    std::lock_guard lock(tally->mutex);
    BurstOutcome outcome = tally->outcome;
    outcome.reported = reported;
    outcome.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::vector<int> expected(static_cast<std::size_t>(size));
    std::iota(expected.begin(), expected.end(), 0);
    outcome.inOrder = tally->decisions == expected;
    return outcome;
}

// Runs the burst in a child process, which stays a few seconds after the last report, as an
// application would, while the remaining polls run out. The parent learns the outcome and
// whether the child survived.
inline BurstOutcome runBurstInChild(int size) {
    const auto child =
        runInChild<BurstOutcome>([size] { return runBurst(size); }, std::chrono::seconds(5));
    BurstOutcome outcome = child.value;
    outcome.survived = child.survived;
    return outcome;
}

}  // namespace vantoconnect::testing
