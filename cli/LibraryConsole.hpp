#pragma once

// While in scope, takes the library's console lines: shown on standard error with --verbose,
// otherwise kept off the terminal, and in both cases handed to an optional listener that turns
// them into progress.

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
};

}  // namespace vantocli
