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

}  // namespace vantoconnect
