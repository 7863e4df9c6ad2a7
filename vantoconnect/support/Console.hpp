#pragma once

// The library's diagnostic lines. Each line is written whole, with its newline, in one locked
// write to standard output and flushed, so lines from different threads never interleave.
// No levels, no time stamps: the texts are the library's own and callers may match on them.

#include <functional>
#include <string_view>

namespace vantoconnect {

void consoleLine(std::string_view line);

// An application (or a test) may take the lines instead of standard output, for example to
// route them into its own log. The sink is called under the console lock, one line at a time,
// in the order the lines were written. An empty function restores standard output.
using ConsoleSink = std::function<void(std::string_view line)>;
void setConsoleSink(ConsoleSink sink);

// While it lives, lines written on the constructing thread go to `sink` instead of the
// process-wide destination above; an empty sink drops them. A null pointer changes nothing, so
// code that may or may not have a sink of its own can always make one. Redirects nest. The sink
// must outlive the redirect, and is called outside the console lock: it serialises on its own.
class ConsoleRedirect {
  public:
    explicit ConsoleRedirect(const ConsoleSink* sink) noexcept;
    ~ConsoleRedirect();
    ConsoleRedirect(const ConsoleRedirect&) = delete;
    ConsoleRedirect& operator=(const ConsoleRedirect&) = delete;

  private:
    const ConsoleSink* mPrevious;
};

}  // namespace vantoconnect
