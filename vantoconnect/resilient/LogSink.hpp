#pragma once

// Where a resilient facade's lines go: the application's function, called for one line at a
// time whatever thread wrote it, and never allowed to take the library down with it.

#include <functional>
#include <mutex>
#include <string_view>

#include "vantoconnect/support/Console.hpp"

namespace vantoconnect {

class LogSink {
  public:
    // An empty function drops every line.
    explicit LogSink(std::function<void(std::string_view line)> lines);
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;

    void line(std::string_view text) const;

    // For a ConsoleRedirect: the library's shared code writes its lines to the console, and on
    // this facade's threads they come here instead.
    const ConsoleSink& consoleSink() const noexcept { return mConsole; }

  private:
    std::function<void(std::string_view)> mLines;
    ConsoleSink mConsole;
    // Recursive, so a log function that itself reaches the library cannot lock itself out.
    mutable std::recursive_mutex mMutex;
};

}  // namespace vantoconnect
