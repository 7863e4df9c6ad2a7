#pragma once

// The recent events the dashboard streams to browsers. The unit's threads only append here
// (one short lock, one copy of the line), so a slow or stalled browser can never hold up an
// answer on the wire: each stream reads at its own pace and, if it falls further behind than
// the feed keeps, skips to the oldest event still kept.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "emulator/EventLog.hpp"

namespace vantoemu {

class DashboardFeed {
  public:
    static constexpr std::size_t KEPT = 2000;

    struct Entry {
        std::uint64_t id = 0;  // the feed's own count, the SSE event id
        std::string kind;
        std::string json;
    };

    void push(const UnitEvent& event);
    // Entries after `after` (0: from the oldest kept), waiting up to `timeout` for the first.
    // Returns nothing once closed.
    std::vector<Entry> after(std::uint64_t after, std::chrono::milliseconds timeout);
    // The id of the entry `count` before the newest, so a new stream starts with some history.
    std::uint64_t recentStart(std::size_t count) const;
    void close();
    bool closed() const;

  private:
    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<Entry> mEntries;
    std::uint64_t mNext = 1;
    bool mClosed = false;
};

}  // namespace vantoemu
