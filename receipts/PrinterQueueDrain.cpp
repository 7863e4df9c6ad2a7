#include "receipts/PrinterQueueDrain.hpp"

#include <algorithm>
#include <cstdint>
#include <thread>

#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/support/TimerLoop.hpp"

namespace vantoreceipts {

using std::chrono::milliseconds;

bool PrinterQueueDrain::waitUntilIdle(milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    auto& timers = vantoconnect::TimerLoop::shared();
    for (;;) {
        const auto left =
            std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now());
        if (timers.waitUntilIdle(std::max(left, milliseconds(0))) &&
            !vantoconnect::PrinterQueue::IS_PRINTING.load() && timers.pendingTimers() == 0) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(5));
    }
}

milliseconds PrinterQueueDrain::fromSeconds(double seconds) {
    constexpr double DAY = 24 * 3600;
    if (!(seconds >= 0)) {
        return milliseconds(0);
    }
    return milliseconds(static_cast<std::int64_t>(std::min(seconds, DAY) * 1000.0));
}

}  // namespace vantoreceipts
