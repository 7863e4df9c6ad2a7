#pragma once

// Lines written from any thread, kept in order so tests can assert them to the character: the
// library's console lines while a ConsoleCapture is in scope (instead of standard output), or
// whatever a LineLog's sink is handed, such as a facade's own log.

#include <algorithm>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "vantoconnect/support/Console.hpp"

namespace vantoconnect::testing {

class LineLog {
  public:
    LineLog() = default;
    LineLog(const LineLog&) = delete;
    LineLog& operator=(const LineLog&) = delete;

    std::function<void(std::string_view)> sink() {
        return [this](std::string_view line) {
            std::lock_guard lock(mMutex);
            mLines.emplace_back(line);
        };
    }
    std::vector<std::string> lines() const {
        std::lock_guard lock(mMutex);
        return mLines;
    }
    // How many lines equal the text exactly.
    std::size_t count(std::string_view line) const {
        const auto all = lines();
        return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
    }
    void clear() {
        std::lock_guard lock(mMutex);
        mLines.clear();
    }

  private:
    mutable std::mutex mMutex;
    std::vector<std::string> mLines;
};

class ConsoleCapture : public LineLog {
  public:
    ConsoleCapture() { setConsoleSink(sink()); }
    ~ConsoleCapture() { setConsoleSink({}); }
};

// Drops the library's console lines while in scope: thousands of receipts, or a fuzzer's every
// stray byte, would bury the one line that matters.
struct QuietConsole {
    QuietConsole() {
        setConsoleSink([](std::string_view) {});
    }
    ~QuietConsole() { setConsoleSink({}); }
    QuietConsole(const QuietConsole&) = delete;
    QuietConsole& operator=(const QuietConsole&) = delete;
};

}  // namespace vantoconnect::testing
