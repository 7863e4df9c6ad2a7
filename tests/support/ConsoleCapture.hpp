#pragma once

// Collects the library's console lines while in scope, instead of letting them reach standard
// output, so tests can assert them to the character.

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "vantoconnect/support/Console.hpp"

namespace vantoconnect::testing {

class ConsoleCapture {
  public:
    ConsoleCapture() {
        setConsoleSink([this](std::string_view line) {
            std::lock_guard lock(mMutex);
            mLines.emplace_back(line);
        });
    }
    ~ConsoleCapture() { setConsoleSink({}); }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    std::vector<std::string> lines() const {
        std::lock_guard lock(mMutex);
        return mLines;
    }
    // How many captured lines equal the text exactly.
    std::size_t count(std::string_view line) const {
        const auto all = lines();
        return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
    }
    bool contains(std::string_view line) const { return count(line) > 0; }
    void clear() {
        std::lock_guard lock(mMutex);
        mLines.clear();
    }

  private:
    mutable std::mutex mMutex;
    std::vector<std::string> mLines;
};

}  // namespace vantoconnect::testing
