#pragma once

// `vanto emulate`: runs the emulated unit in the foreground until interrupted, printing what it
// receives and does.

#include <chrono>
#include <functional>
#include <string>

#include "emulator/EmulatedUnit.hpp"

namespace CLI {
class App;
}

namespace vantocli {

class EmulateCommand {
  public:
    struct Options {
        vantoemu::UnitOptions unit;
        std::string printerState = "ready";  // ready, not-ready, error
        std::string reply = "normal";        // normal, silent, unrecognised
        bool verbose = false;                // also every frame, reply and connection
        // How long a restart (SIGHUP, --restart-every) keeps the unit down.
        std::chrono::milliseconds restartDowntime =
            vantoemu::EmulatedUnit::DEFAULT_RESTART_DOWNTIME;
        std::chrono::milliseconds restartEvery{0};  // zero: only on SIGHUP
    };

    // Adds the `emulate` subcommand with its options; when it is chosen, `action` is set to
    // run it. `verbose` is read when the command line has been parsed.
    static void addTo(CLI::App& app, std::function<void()>& action, const bool& verbose);

    // Returns when SIGINT or SIGTERM arrives; SIGHUP restarts the unit.
    static void run(Options options);
};

}  // namespace vantocli
