#include "vantoconnect/resilient/LogSink.hpp"

#include <utility>

namespace vantoconnect {

LogSink::LogSink(std::function<void(std::string_view line)> lines) : mLines(std::move(lines)) {
    if (mLines) {
        mConsole = [this](std::string_view text) { line(text); };
    }
}

void LogSink::line(std::string_view text) const {
    if (!mLines) {
        return;
    }
    std::lock_guard lock(mMutex);
    try {
        mLines(text);
    } catch (...) {
        // A log function that throws loses its line, not the receipt being printed.
    }
}

}  // namespace vantoconnect
