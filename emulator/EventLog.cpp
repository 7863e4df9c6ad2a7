#include "emulator/EventLog.hpp"

#include <filesystem>
#include <stdexcept>

namespace vantoemu {

EventLog::EventLog(const std::string& path, std::size_t fileLimit)
    : mPath(path), mFileLimit(fileLimit) {
    if (!path.empty()) {
        mFile.open(path, std::ios::out | std::ios::trunc);
        if (!mFile) {
            throw std::runtime_error("cannot write the event log " + path);
        }
    }
}

void EventLog::record(const std::string& kind, nlohmann::json fields) {
    std::shared_ptr<const std::vector<std::pair<std::uint64_t, Listener>>> listeners;
    UnitEvent event;
    {
        std::lock_guard lock(mMutex);
        nlohmann::json line = nlohmann::json::object();
        line["seq"] = ++mSequence;
        line["ms"] = std::chrono::duration_cast<std::chrono::milliseconds>(
                         std::chrono::steady_clock::now() - mStart)
                         .count();
        line["event"] = kind;
        if (fields.is_object()) {
            for (auto& [key, value] : fields.items()) {
                line[key] = value;
            }
        }
        event.sequence = mSequence;
        event.kind = kind;
        // Received bytes need not be UTF-8; they are replaced rather than allowed to abort.
        event.json = line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        if (mFile.is_open()) {
            if (mFileLimit > 0 && mFileBytes > 0 &&
                mFileBytes + event.json.size() + 1 > mFileLimit) {
                rotate();
            }
            mFile << event.json << '\n';
            mFile.flush();
            mFileBytes += event.json.size() + 1;
        }
        mEvents.push_back(event);
        if (mEvents.size() > MEMORY_LIMIT) {
            mEvents.pop_front();
        }
        ++mCounts[kind];
        listeners = mListeners;
    }
    mChanged.notify_all();
    if (listeners) {
        for (const auto& [id, listener] : *listeners) {
            listener(event);
        }
    }
}

std::string EventLog::rotatedPath(const std::string& path) {
    std::filesystem::path p(path);
    return (p.parent_path() / (p.stem().string() + ".1" + p.extension().string())).string();
}

void EventLog::rotate() {
    mFile.close();
    std::error_code ignored;
    std::filesystem::rename(mPath, rotatedPath(mPath), ignored);
    mFile.open(mPath, std::ios::out | std::ios::trunc);
    mFileBytes = 0;
}

std::vector<UnitEvent> EventLog::events() const {
    std::lock_guard lock(mMutex);
    return {mEvents.begin(), mEvents.end()};
}

std::size_t EventLog::count(const std::string& kind) const {
    std::lock_guard lock(mMutex);
    auto it = mCounts.find(kind);
    return it == mCounts.end() ? 0 : it->second;
}

bool EventLog::waitFor(const std::string& kind, std::size_t count,
                       std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mMutex);
    return mChanged.wait_for(lock, timeout, [&] {
        auto it = mCounts.find(kind);
        return it != mCounts.end() && it->second >= count;
    });
}

namespace {
// The owner's listener has number 0 and comes first, so the terminal sees an event before
// anyone else reacts to it.
constexpr std::uint64_t OWNER_LISTENER = 0;
}  // namespace

void EventLog::setListener(Listener listener) {
    removeListener(OWNER_LISTENER);
    if (!listener) {
        return;
    }
    std::lock_guard lock(mMutex);
    auto next = std::make_shared<std::vector<std::pair<std::uint64_t, Listener>>>();
    next->emplace_back(OWNER_LISTENER, std::move(listener));
    if (mListeners) {
        next->insert(next->end(), mListeners->begin(), mListeners->end());
    }
    mListeners = std::move(next);
}

std::uint64_t EventLog::addListener(Listener listener) {
    std::lock_guard lock(mMutex);
    auto next = mListeners
                    ? std::make_shared<std::vector<std::pair<std::uint64_t, Listener>>>(*mListeners)
                    : std::make_shared<std::vector<std::pair<std::uint64_t, Listener>>>();
    const std::uint64_t id = mNextListener++;
    next->emplace_back(id, std::move(listener));
    mListeners = std::move(next);
    return id;
}

void EventLog::removeListener(std::uint64_t id) {
    std::lock_guard lock(mMutex);
    if (!mListeners) {
        return;
    }
    auto next = std::make_shared<std::vector<std::pair<std::uint64_t, Listener>>>();
    for (const auto& entry : *mListeners) {
        if (entry.first != id) {
            next->push_back(entry);
        }
    }
    mListeners = std::move(next);
}

}  // namespace vantoemu
