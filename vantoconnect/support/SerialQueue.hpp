#pragma once

// A serial work queue: work submitted with async() runs later, one item at a time, in
// submission order, on the queue's own thread. Built on an Asio io_context run by one thread.
//
// A FatalError thrown by a work item is not caught: it leaves the thread and ends the process,
// as a trap on a background queue would.

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace vantoconnect {

class SerialQueue {
  public:
    explicit SerialQueue(std::string label);
    // Runs the work already submitted to its end, then stops the thread.
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    // Returns at once; the work runs after everything submitted before it.
    void async(std::function<void()> work);

    const std::string& label() const noexcept { return mLabel; }
    // True when called from a work item of this queue.
    bool isCurrent() const noexcept { return std::this_thread::get_id() == mThread.get_id(); }

  private:
    struct Context;

    std::string mLabel;
    // Shared with the thread, so that a queue destroyed from one of its own work items (the last
    // owner of the queue's owner let go there) leaves the context alive until run() returns.
    std::shared_ptr<Context> mContext;
    std::thread mThread;
};

}  // namespace vantoconnect
