#include "cli/LibraryConsole.hpp"

#include <iostream>

#include "vantoconnect/support/Console.hpp"

namespace vantocli {

namespace {
void install(bool verbose, LibraryConsole::Listener listener) {
    vantoconnect::setConsoleSink([verbose, listener = std::move(listener)](std::string_view line) {
        if (verbose) {
            std::cerr << "  | " << line << '\n';
        }
        if (listener) {
            listener(line);
        }
    });
}
}  // namespace

LibraryConsole::LibraryConsole(bool verbose, Listener listener) : mVerbose(verbose) {
    install(verbose, std::move(listener));
}

LibraryConsole::~LibraryConsole() {
    install(mVerbose, {});
}

}  // namespace vantocli
