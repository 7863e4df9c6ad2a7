#include "cli/LibraryConsole.hpp"

#include <iostream>
#include <mutex>

#include "vantoconnect/support/Console.hpp"

namespace vantocli {

namespace {
struct Destination {
    std::mutex mutex;
    bool verbose = false;
    LibraryConsole::Listener listener;
};

// Never destroyed: a library thread may still log while the process exits.
Destination& destination() {
    static auto* const lines = new Destination;
    return *lines;
}

void install(bool verbose, LibraryConsole::Listener listener) {
    {
        Destination& to = destination();
        // Once this returns the old listener is not running and never runs again, so the scope
        // that owned it may end.
        std::lock_guard lock(to.mutex);
        to.verbose = verbose;
        to.listener = std::move(listener);
    }
    vantoconnect::setConsoleSink(LibraryConsole::take);
}
}  // namespace

LibraryConsole::LibraryConsole(bool verbose, Listener listener) : mVerbose(verbose) {
    install(verbose, std::move(listener));
}

LibraryConsole::~LibraryConsole() {
    install(mVerbose, {});
}

void LibraryConsole::take(std::string_view line) {
    Destination& to = destination();
    std::lock_guard lock(to.mutex);
    if (to.verbose) {
        std::cerr << "  | " << line << '\n';
    }
    if (to.listener) {
        to.listener(line);
    }
}

}  // namespace vantocli
