#include "vantoconnect/support/TimerLoop.hpp"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <condition_variable>
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

    void finished() {
        std::lock_guard lock(mutex);
        --pending;
        if (pending == 0) {
            idle.notify_all();
        }
    }
};

TimerLoop& TimerLoop::shared() {
    static TimerLoop loop;
    return loop;
}

TimerLoop::TimerLoop() : mContext(std::make_unique<Context>()) {
    mContext->thread = std::thread([context = mContext.get()] { context->io.run(); });
}

TimerLoop::~TimerLoop() {
    mContext->guard.reset();
    mContext->io.stop();
    if (mContext->thread.joinable()) {
        if (isCurrent()) {
            mContext->thread.detach();
        } else {
            mContext->thread.join();
        }
    }
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
