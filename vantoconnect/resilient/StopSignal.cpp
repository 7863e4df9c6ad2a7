#include "vantoconnect/resilient/StopSignal.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <thread>

namespace vantoconnect {

StopSignal::StopSignal() : mFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

StopSignal::~StopSignal() {
    if (mFd >= 0) {
        ::close(mFd);
    }
}

void StopSignal::raise() noexcept {
    if (mRaised.exchange(true)) {
        return;
    }
    if (mFd >= 0) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(mFd, &one, sizeof(one));
    }
}

bool StopSignal::waitFor(std::chrono::milliseconds pause) const {
    using Clock = std::chrono::steady_clock;
    const auto until = Clock::now() + pause;
    while (!raised()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        if (left.count() <= 0) {
            return false;
        }
        if (mFd < 0) {
            // Without a descriptor to wait on, look at the flag every few milliseconds.
            std::this_thread::sleep_for(std::min(left, std::chrono::milliseconds(10)));
            continue;
        }
        pollfd fd{mFd, POLLIN, 0};
        ::poll(&fd, 1, static_cast<int>(left.count()));
    }
    return true;
}

}  // namespace vantoconnect
