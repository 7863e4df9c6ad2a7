#include "emulator/DashboardFeed.hpp"

namespace vantoemu {

void DashboardFeed::push(const UnitEvent& event) {
    {
        std::lock_guard lock(mMutex);
        mEntries.push_back({mNext++, event.kind, event.json});
        if (mEntries.size() > KEPT) {
            mEntries.pop_front();
        }
    }
    mChanged.notify_all();
}

std::vector<DashboardFeed::Entry> DashboardFeed::after(std::uint64_t after,
                                                       std::chrono::milliseconds timeout) {
    std::unique_lock lock(mMutex);
    mChanged.wait_for(lock, timeout, [&] { return mClosed || mNext - 1 > after; });
    std::vector<Entry> out;
    if (mClosed) {
        return out;
    }
    if (mEntries.empty()) {
        return out;
    }
    // Ids are consecutive, so the first one wanted is found by arithmetic.
    const std::uint64_t front = mEntries.front().id;
    const std::size_t first = after < front ? 0 : static_cast<std::size_t>(after - front + 1);
    for (std::size_t i = first; i < mEntries.size(); ++i) {
        out.push_back(mEntries[i]);
    }
    return out;
}

std::uint64_t DashboardFeed::recentStart(std::size_t count) const {
    std::lock_guard lock(mMutex);
    const std::uint64_t newest = mNext - 1;
    return newest > count ? newest - count : 0;
}

void DashboardFeed::close() {
    {
        std::lock_guard lock(mMutex);
        mClosed = true;
    }
    mChanged.notify_all();
}

bool DashboardFeed::closed() const {
    std::lock_guard lock(mMutex);
    return mClosed;
}

}  // namespace vantoemu
