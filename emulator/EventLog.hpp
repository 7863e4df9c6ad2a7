#pragma once

// Everything the unit receives and does, as JSON lines: appended to a file when one is given,
// kept in memory for whoever drives the unit, and handed to the listeners (a terminal, a
// dashboard) as it happens. The file is
// rotated at a size limit (the previous one kept beside it with ".1" before the extension), so
// that a unit left running for days neither fills the disk nor loses the latest events.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vantoemu {

struct UnitEvent {
    std::uint64_t sequence = 0;
    std::string kind;
    std::string json;  // the whole line, without its newline
};

class EventLog {
  public:
    // Events kept in memory; older ones stay in the file only. Frame events carry whole
    // packets in hex, so this bounds the memory to a few megabytes.
    static constexpr std::size_t MEMORY_LIMIT = 4000;
    static constexpr std::size_t DEFAULT_FILE_LIMIT = 64u << 20;

    // An empty path keeps events in memory only. Throws std::runtime_error when the file
    // cannot be opened.
    explicit EventLog(const std::string& path, std::size_t fileLimit = DEFAULT_FILE_LIMIT);

    // Where a full file goes: "events.jsonl" becomes "events.1.jsonl".
    static std::string rotatedPath(const std::string& path);

    void record(const std::string& kind, nlohmann::json fields = nlohmann::json::object());

    std::vector<UnitEvent> events() const;
    std::size_t count(const std::string& kind) const;
    bool waitFor(const std::string& kind, std::size_t count,
                 std::chrono::milliseconds timeout) const;
    using Listener = std::function<void(const UnitEvent&)>;
    // The one listener of whoever owns the unit (the command line); an empty one removes it.
    void setListener(Listener listener);
    // Further listeners, each removed by the number it was given. Listeners run on the thread
    // that recorded the event, outside the log's lock, and must not block.
    std::uint64_t addListener(Listener listener);
    void removeListener(std::uint64_t id);

  private:
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    void rotate();

    std::string mPath;
    std::size_t mFileLimit;
    std::size_t mFileBytes = 0;
    std::ofstream mFile;
    std::deque<UnitEvent> mEvents;
    std::map<std::string, std::size_t> mCounts;
    std::uint64_t mSequence = 0;
    std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
    // Copied on change, so recording hands the current set on without holding the lock.
    std::shared_ptr<const std::vector<std::pair<std::uint64_t, Listener>>> mListeners;
    std::uint64_t mNextListener = 1;
};

}  // namespace vantoemu
