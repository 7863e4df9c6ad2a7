#pragma once

// Work of one owner (a Vanto, an emulated unit) still running off the main thread: calls in
// progress and receipts whose report has not come. close() waits for it to fall to zero.

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace vantonode {

class CallCount {
  public:
    void add();
    void done();
    // Blocks until nothing is running.
    void waitIdle();

  private:
    std::mutex mMutex;
    std::condition_variable mIdle;
    std::size_t mRunning = 0;
};

}  // namespace vantonode
