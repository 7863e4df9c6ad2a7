#pragma once

// The one process-wide timer thread. The printer queue's state belongs to the whole process, so
// its polls run on a single thread whatever thread submitted the receipt: two polls never
// overlap, and a poll never waits for an application thread to be free.
//
// A FatalError thrown by an action is not caught: it leaves the thread and ends the process.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace vantoconnect {

class TimerLoop {
  public:
    // Started on first use; stopped when the process exits (timers still waiting are dropped).
    // An action still running then is given two seconds to end. One that does not (a poll of a
    // unit that never answers) would hold the exit for ever, so the process ends at that point
    // with its exit status, skipping the exit handlers registered before the loop started.
    static TimerLoop& shared();

    ~TimerLoop();
    TimerLoop(const TimerLoop&) = delete;
    TimerLoop& operator=(const TimerLoop&) = delete;

    // Runs action once, about `seconds` from now, on the timer thread. Returns at once.
    void schedule(double seconds, std::function<void()> action);

    // True when called from an action running on the timer thread.
    bool isCurrent() const noexcept;

    // Timers scheduled and not yet finished running, the running one included.
    std::size_t pendingTimers() const;

    // Blocks until no timer is waiting or running, or the limit passes; true when idle.
    bool waitUntilIdle(std::chrono::milliseconds limit) const;

  private:
    TimerLoop();
    struct Context;
    std::unique_ptr<Context> mContext;
};

}  // namespace vantoconnect
