#include "tests/support/ConsoleCapture.hpp"

#include <algorithm>

#include "vantoconnect/support/Console.hpp"

namespace vantoconnect::testing {

ConsoleCapture::ConsoleCapture() {
    setConsoleSink([this](std::string_view line) {
        std::lock_guard<std::mutex> lock(mMutex);
        mLines.emplace_back(line);
    });
}

ConsoleCapture::~ConsoleCapture() {
    setConsoleSink({});
}

std::vector<std::string> ConsoleCapture::lines() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mLines;
}

std::size_t ConsoleCapture::count(std::string_view line) const {
    std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<std::size_t>(std::count(mLines.begin(), mLines.end(), line));
}

void ConsoleCapture::clear() {
    std::lock_guard<std::mutex> lock(mMutex);
    mLines.clear();
}

}  // namespace vantoconnect::testing
