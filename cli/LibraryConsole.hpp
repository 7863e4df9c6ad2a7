#pragma once

// While in scope, takes the library's lines: shown on standard error with --verbose, otherwise
// kept off the terminal, and in both cases handed to an optional listener that turns them into
// progress. Leaving the scope keeps the lines off standard output: the library's threads may
// still be talking while the command winds down, and standard output is the command's own.
//
// The lines arrive two ways. The classic facade writes them to the library's console, which this
// class takes over process-wide. The resilient facade hands them to the log function it was made
// with, and UnitSession's log passes them to take().

#include <functional>
#include <string_view>

namespace vantocli {

class LibraryConsole {
  public:
    using Listener = std::function<void(std::string_view line)>;

    explicit LibraryConsole(bool verbose, Listener listener = {});
    ~LibraryConsole();
    LibraryConsole(const LibraryConsole&) = delete;
    LibraryConsole& operator=(const LibraryConsole&) = delete;

    // One line of the library, treated as its console lines are, whichever thread brings it.
    // It never writes to the library's console: the resilient facade sends that console to its
    // log on its own threads, and a log that wrote there again would call itself without end.
    static void take(std::string_view line);

  private:
    bool mVerbose;
};

}  // namespace vantocli
