#include "vantoconnect/support/TimerLoop.hpp"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace vantoconnect {

struct TimerLoop::Context {
    asio::io_context io{1};
    std::optional<asio::executor_work_guard<asio::io_context::executor_type>> guard{
        asio::make_work_guard(io)};
    std::thread thread;

    mutable std::mutex mutex;
    mutable std::condition_variable idle;
    std::size_t pending = 0;
    bool ended = false;  // run() has returned

    void run() {
        io.run();
        std::lock_guard lock(mutex);
        ended = true;
        idle.notify_all();
    }

    bool waitForEnd(std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex);
        return idle.wait_for(lock, limit, [this] { return ended; });
    }

    void finished() {
        std::lock_guard lock(mutex);
        --pending;
        if (pending == 0) {
            idle.notify_all();
        }
    }
};

namespace {
// Long enough for any poll of a unit that answers; a poll of one that does not never ends.
constexpr std::chrono::milliseconds kExitGrace{2000};

std::atomic<int> exitStatus{EXIT_SUCCESS};

#if defined(__GLIBC__)
void recordExitStatus(int status, void*) {
    exitStatus.store(status);
}
#endif
}  // namespace

TimerLoop& TimerLoop::shared() {
    static TimerLoop loop;
#if defined(__GLIBC__)
    // Exit handlers run in reverse order of registration: registered after the loop, this one
    // runs before the loop's destructor and tells it the status the process is ending with.
    static const bool hooked = ::on_exit(recordExitStatus, nullptr) == 0;
    (void)hooked;
#endif
    return loop;
}

TimerLoop::TimerLoop() : mContext(std::make_unique<Context>()) {
    mContext->thread = std::thread([context = mContext.get()] { context->run(); });
}

TimerLoop::~TimerLoop() {
    mContext->guard.reset();
    mContext->io.stop();
    if (!mContext->thread.joinable()) {
        return;
    }
    if (isCurrent()) {
        mContext->thread.detach();
        return;
    }
#if defined(__GLIBC__)
    if (!mContext->waitForEnd(kExitGrace)) {
        // The running action is, in practice, a poll blocked in a read of a unit that never
        // answers, and no call can interrupt that read. Joining would hang the exit for ever;
        // letting the thread run on while the rest of the process is torn down could let it touch
        // what is already gone. So the process ends here, with the status it was ending with, its
        // output flushed.
        std::cerr << "vantoconnect: the printer queue's poll had not ended 2 s into the exit (a "
                     "unit that does not answer holds it for ever); the process ends without it"
                  << std::endl;
        std::cout.flush();
        std::fflush(nullptr);
        std::_Exit(exitStatus.load());
    }
#endif
    mContext->thread.join();
}

void TimerLoop::schedule(double seconds, std::function<void()> action) {
    const auto delay = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds < 0.0 ? 0.0 : seconds));
    auto timer = std::make_shared<asio::steady_timer>(mContext->io, delay);
    {
        std::lock_guard lock(mContext->mutex);
        ++mContext->pending;
    }
    // The timer object travels with its own handler so that it lives until it has fired.
    timer->async_wait([context = mContext.get(), timer,
                       action = std::move(action)](const std::error_code& error) {
        struct Done {
            Context* context;
            ~Done() { context->finished(); }
        } done{context};
        if (!error) {
            action();
        }
    });
}

bool TimerLoop::isCurrent() const noexcept {
    return std::this_thread::get_id() == mContext->thread.get_id();
}

std::size_t TimerLoop::pendingTimers() const {
    std::lock_guard lock(mContext->mutex);
    return mContext->pending;
}

bool TimerLoop::waitUntilIdle(std::chrono::milliseconds limit) const {
    std::unique_lock lock(mContext->mutex);
    return mContext->idle.wait_for(lock, limit, [this] { return mContext->pending == 0; });
}

}  // namespace vantoconnect
