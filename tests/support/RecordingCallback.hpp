#pragma once

// A printer callback and delivery listener that records every call as "kind detail" ("started
// 127.0.0.1", "error PRINTER_NOT_RESPONDING", "report 2/0/0/0 of 2, end sent, all acknowledged") in
// arrival order, from whichever thread it comes, so a test compares the whole story in one
// assertion.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"

namespace vantoconnect::testing {

class RecordingCallback : public VantoPrinterCallback, public VantoDeliveryListener {
  public:
    void onPrinterStarted(const std::string& ip) override { add("started " + ip); }
    void onPrinterCompleted(const std::string& ip) override { add("completed " + ip); }
    void onPrinterError(const VantoError& error) override { add("error " + error.description()); }
    // Counts as acknowledged/refused/unrecognised/not sent of sent.
    void onDeliveryReport(const VantoDeliveryReport& report) override {
        add("report " + std::to_string(report.packetsAcknowledged) + "/" +
                std::to_string(report.packetsRefused) + "/" +
                std::to_string(report.packetsUnrecognised) + "/" +
                std::to_string(report.packetsNotSent) + " of " +
                std::to_string(report.packetsSent) +
                (report.endOfJobSent ? ", end sent" : ", end not sent") +
                (report.packetsUnanswered > 0
                     ? ", " + std::to_string(report.packetsUnanswered) + " unanswered"
                     : "") +
                (report.allAcknowledged ? ", all acknowledged" : "") +
                (report.cancelled ? ", cancelled" : ""),
            &report);
    }

    std::vector<VantoDeliveryReport> reports() const {
        std::lock_guard lock(mMutex);
        return mReports;
    }
    // The thread of each event, index for index with events().
    std::vector<std::thread::id> threads() const {
        std::lock_guard lock(mMutex);
        return mThreads;
    }
    std::vector<std::chrono::steady_clock::time_point> times() const {
        std::lock_guard lock(mMutex);
        return mTimes;
    }

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

    // A receipt's report comes last of its events.
    bool waitForReport(std::chrono::milliseconds limit = std::chrono::seconds(15)) const {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, limit, [&] { return !mReports.empty(); });
    }

  private:
    // A report is kept with its event under one lock, so that whoever sees the report also sees
    // every event before it.
    void add(std::string event, const VantoDeliveryReport* report = nullptr) {
        std::lock_guard lock(mMutex);
        if (report != nullptr) {
            mReports.push_back(*report);
        }
        mEvents.push_back(std::move(event));
        mThreads.push_back(std::this_thread::get_id());
        mTimes.push_back(std::chrono::steady_clock::now());
        mChanged.notify_all();
    }

    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<std::string> mEvents;
    std::vector<std::thread::id> mThreads;
    std::vector<std::chrono::steady_clock::time_point> mTimes;
    std::vector<VantoDeliveryReport> mReports;
};

}  // namespace vantoconnect::testing
