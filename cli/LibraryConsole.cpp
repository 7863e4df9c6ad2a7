#include "cli/LibraryConsole.hpp"

#include <iostream>

#include "vantoconnect/support/Console.hpp"

namespace vantocli {

LibraryConsole::LibraryConsole(bool verbose, Listener listener) {
    vantoconnect::setConsoleSink([verbose, listener = std::move(listener)](std::string_view line) {
        if (verbose) {
            std::cerr << "  | " << line << '\n';
        }
        if (listener) {
            listener(line);
        }
    });
}

LibraryConsole::~LibraryConsole() {
    vantoconnect::setConsoleSink({});
}

}  // namespace vantocli
