#pragma once

// Raised once when a facade closes: every wait of its exchanges watches it, so a request in
// flight ends at once instead of holding the application (or its exit) until a time limit.

#include <atomic>
#include <chrono>

namespace vantoconnect {

class StopSignal {
  public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Idempotent; never lowered again.
    void raise() noexcept;
    bool raised() const noexcept { return mRaised.load(); }
    // Sleeps for `pause`, or less when the signal is raised meanwhile; true when it was.
    bool waitFor(std::chrono::milliseconds pause) const;
    // Readable once raised: poll it beside the socket. -1 when the system gave none, in which
    // case waits notice the signal only when they next wake.
    int fd() const noexcept { return mFd; }

  private:
    int mFd;
    std::atomic<bool> mRaised{false};
};

}  // namespace vantoconnect
