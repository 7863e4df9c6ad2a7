#include "ReportWaiter.hpp"

namespace vantoc {

void ReportWaiter::onPrinterError(const vantoconnect::VantoError& error) {
    std::lock_guard lock(mMutex);
    mError = error;
}

void ReportWaiter::onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) {
    std::lock_guard lock(mMutex);
    mOutcome = Outcome{report, mError};
    mArrived.notify_all();
}

std::optional<ReportWaiter::Outcome> ReportWaiter::wait(std::chrono::milliseconds limit) {
    // A limit of more than a century is no limit; a longer one would overflow the clock's count.
    constexpr std::chrono::milliseconds FOR_EVER = std::chrono::hours(24 * 365 * 100);
    std::unique_lock lock(mMutex);
    const auto arrived = [this] { return mOutcome.has_value(); };
    if (limit.count() < 0 || limit > FOR_EVER) {
        mArrived.wait(lock, arrived);
    } else {
        mArrived.wait_for(lock, limit, arrived);
    }
    return mOutcome;
}

}  // namespace vantoc
