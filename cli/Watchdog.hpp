#pragma once

// Bounds how long a command waits on a unit. The library reads without a time limit, so a unit
// that accepts a connection and then says nothing would hold the command for ever; its threads
// cannot be interrupted either. When the time is up the watchdog says what it last saw and ends
// the process with UNREACHABLE.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vantocli {

class Watchdog {
  public:
    // `what` completes "no usable answer from <address> ...", e.g. "to the printer status request".
    Watchdog(std::string address, double seconds, std::string what);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    // The latest thing seen, for the message should the time run out: "no usable answer from
    // <address> <what>".
    void saw(const std::string& what);
    // The same with the whole message, for waits that are not for an answer.
    void note(std::string message);
    // A new full period from now, for the next receipt of a batch.
    void restart(const std::string& what);

    // "5 s", "0.5 s".
    static std::string seconds(double value);

  private:
    void watch();

    std::string mAddress;
    double mSeconds;
    std::mutex mMutex;
    std::condition_variable mWake;
    std::chrono::steady_clock::time_point mDeadline;
    std::string mMessage;
    bool mStopped = false;
    std::thread mThread;
};

}  // namespace vantocli
