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
    std::function<void(const UnitEvent&)> listener;
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
        listener = mListener;
    }
    mChanged.notify_all();
    if (listener) {
        listener(event);
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

void EventLog::setListener(std::function<void(const UnitEvent&)> listener) {
    std::lock_guard lock(mMutex);
    mListener = std::move(listener);
}

}  // namespace vantoemu
