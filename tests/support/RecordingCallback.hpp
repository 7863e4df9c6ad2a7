#pragma once

// A printer callback that records every call as "kind detail" ("started 127.0.0.1",
// "error PRINTER_NOT_RESPONDING") in arrival order, from whichever thread it comes, so a test
// compares the whole story in one assertion.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"

namespace vantoconnect::testing {

class RecordingCallback : public VantoPrinterCallback {
  public:
    void onPrinterStarted(const std::string& ip) override { add("started " + ip); }
    void onPrinterCompleted(const std::string& ip) override { add("completed " + ip); }
    void onPrinterError(const VantoError& error) override { add("error " + error.description()); }

    std::vector<std::string> events() const {
        std::lock_guard lock(mMutex);
        return mEvents;
    }
    // The events so far, once there are at least `count` of them or ten seconds have passed.
    std::vector<std::string> events(std::size_t count) const {
        waitForEvents(count, std::chrono::seconds(10));
        return events();
    }
    bool waitForEvents(std::size_t count,
                       std::chrono::milliseconds limit = std::chrono::seconds(15)) const {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, limit, [&] { return mEvents.size() >= count; });
    }

  private:
    void add(std::string event) {
        std::lock_guard lock(mMutex);
        mEvents.push_back(std::move(event));
        mChanged.notify_all();
    }

    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<std::string> mEvents;
};

}  // namespace vantoconnect::testing
