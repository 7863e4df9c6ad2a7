#pragma once

// Waits for one receipt's delivery report on the caller's thread. The library may deliver the
// report after the caller has stopped waiting (a time-out), so the waiter is shared with it and
// lives until both are done.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"

namespace vantoc {

class ReportWaiter : public vantoconnect::VantoPrinterCallback,
                     public vantoconnect::VantoDeliveryListener {
  public:
    struct Outcome {
        vantoconnect::VantoDeliveryReport report;
        // What onPrinterError said before the report, if it came: the queue gave up on the
        // receipt, or (resilient) the connection was lost, sending failed or it was cancelled.
        std::optional<vantoconnect::VantoError> error;
    };

    void onPrinterStarted(const std::string&) override {}
    void onPrinterCompleted(const std::string&) override {}
    void onPrinterError(const vantoconnect::VantoError& error) override;
    void onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) override;

    // The outcome once the report has come; nothing when `limit` passed first. A negative
    // limit, or one of more than a century, waits for ever.
    std::optional<Outcome> wait(std::chrono::milliseconds limit);

  private:
    std::mutex mMutex;
    std::condition_variable mArrived;
    std::optional<vantoconnect::VantoError> mError;
    std::optional<Outcome> mOutcome;
};

}  // namespace vantoc
