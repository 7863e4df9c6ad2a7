#pragma once

// While in scope, takes the library's console lines: shown on standard error with --verbose,
// otherwise kept off the terminal, and in both cases handed to an optional listener that turns
// them into progress. Leaving the scope keeps the lines off standard output: the library's
// threads may still be talking while the command winds down, and standard output is the
// command's own.

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

  private:
    bool mVerbose;
};

}  // namespace vantocli
