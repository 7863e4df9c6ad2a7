#pragma once

// Bounds how long a command waits on a unit, and says what it last saw when the time is up
// before ending the process with UNREACHABLE.
//
// A Limit is --timeout: a fixed period from the start (or from restart()). The classic library
// reads without a time limit and its threads cannot be interrupted, so a unit that accepts a
// connection and then says nothing would otherwise hold the command for ever.
//
// A Backstop stands behind the resilient library, which limits every wait itself and reports
// each failed attempt as a line: its period starts again with every line heard(), and is longer
// than the library can stay silent, so the library's own verdict always comes first. It fires
// only if the library broke its own limits.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vantocli {

class Watchdog {
  public:
    enum class Kind { Limit, Backstop };

    // `what` completes "no usable answer from <address> ...", e.g. "to the printer status request".
    Watchdog(std::string address, double seconds, std::string what, Kind kind = Kind::Limit);
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
    // The library said something: a Backstop starts its period again; a Limit does not.
    void heard();

    // "5 s", "0.5 s".
    static std::string seconds(double value);

  private:
    void watch();

    std::string mAddress;
    double mSeconds;
    Kind mKind;
    std::mutex mMutex;
    std::condition_variable mWake;
    std::chrono::steady_clock::time_point mDeadline;
    std::string mMessage;
    bool mStopped = false;
    std::thread mThread;
};

}  // namespace vantocli
