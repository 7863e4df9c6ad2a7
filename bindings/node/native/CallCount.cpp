#include "CallCount.hpp"

namespace vantonode {

void CallCount::add() {
    const std::lock_guard<std::mutex> lock(mMutex);
    ++mRunning;
}

void CallCount::done() {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mRunning > 0 && --mRunning == 0) {
        mIdle.notify_all();
    }
}

void CallCount::waitIdle() {
    std::unique_lock<std::mutex> lock(mMutex);
    mIdle.wait(lock, [this] { return mRunning == 0; });
}

}  // namespace vantonode
