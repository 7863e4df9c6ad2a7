#include "vantoconnect/support/Console.hpp"

#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <string>

namespace vantoconnect {

namespace {
std::mutex& consoleMutex() {
    static std::mutex mutex;
    return mutex;
}

ConsoleSink& consoleSink() {
    static ConsoleSink sink;
    return sink;
}

// One write(2) per line where the kernel takes it whole; a short write continues with the rest.
void writeAll(std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(STDOUT_FILENO, text.data(), text.size());
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;  // standard output is gone; diagnostics are not worth stopping for
        }
        text.remove_prefix(static_cast<std::size_t>(n));
    }
}

// The sink of the innermost live ConsoleRedirect of this thread, if any.
thread_local const ConsoleSink* redirected = nullptr;
}  // namespace

ConsoleRedirect::ConsoleRedirect(const ConsoleSink* sink) noexcept : mPrevious(redirected) {
    if (sink != nullptr) {
        redirected = sink;
    }
}

ConsoleRedirect::~ConsoleRedirect() {
    redirected = mPrevious;
}

void consoleLine(std::string_view line) {
    if (redirected != nullptr) {
        if (*redirected) {
            (*redirected)(line);
        }
        return;
    }
    std::lock_guard<std::mutex> lock(consoleMutex());
    if (consoleSink()) {
        consoleSink()(line);
        return;
    }
    // The line and its newline leave in one write; the buffer is reused per thread.
    thread_local std::string buffer;
    buffer.assign(line);
    buffer.push_back('\n');
    writeAll(buffer);
}

void setConsoleSink(ConsoleSink sink) {
    std::lock_guard<std::mutex> lock(consoleMutex());
    consoleSink() = std::move(sink);
}

}  // namespace vantoconnect
