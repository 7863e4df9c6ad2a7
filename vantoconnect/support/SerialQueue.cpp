#include "vantoconnect/support/SerialQueue.hpp"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <optional>
#include <utility>

namespace vantoconnect {

struct SerialQueue::Context {
    asio::io_context io{1};
    std::optional<asio::executor_work_guard<asio::io_context::executor_type>> guard{
        asio::make_work_guard(io)};
};

SerialQueue::SerialQueue(std::string label)
    : mLabel(std::move(label)), mContext(std::make_shared<Context>()) {
    mThread = std::thread([context = mContext] { context->io.run(); });
}

SerialQueue::~SerialQueue() {
    // Dropping the guard lets run() return once the queued work is done.
    mContext->guard.reset();
    if (mThread.joinable()) {
        if (isCurrent()) {
            mThread.detach();  // destroyed from its own work item: nothing to wait for
        } else {
            mThread.join();
        }
    }
}

void SerialQueue::async(std::function<void()> work) {
    asio::post(mContext->io, std::move(work));
}

}  // namespace vantoconnect
