#pragma once

#include <mutex>
#include <string>
#include <utility>

namespace vantoconnect {

// A string field that several threads may read and assign directly. It reads and assigns like
// a std::string, so a field that applications know as a plain public string keeps its name and
// its syntax (`manager.VantoIPAddress = "..."`) while every access takes the lock.
class LockedString {
  public:
    LockedString() = default;
    explicit LockedString(std::string value) : value(std::move(value)) {}
    LockedString(const LockedString&) = delete;
    LockedString& operator=(const LockedString&) = delete;

    LockedString& operator=(std::string next) {
        std::lock_guard lock(mutex);
        value = std::move(next);
        return *this;
    }

    // A copy taken under the lock: the caller never holds a reference into the guarded string.
    std::string load() const {
        std::lock_guard lock(mutex);
        return value;
    }
    operator std::string() const { return load(); }

  private:
    mutable std::mutex mutex;
    std::string value;
};

}  // namespace vantoconnect
