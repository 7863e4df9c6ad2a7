#pragma once

// `vanto emulate`: runs the emulated unit in the foreground until interrupted, printing what it
// receives and does.

#include <string>

#include "emulator/EmulatedUnit.hpp"

namespace vantocli {

class EmulateCommand {
  public:
    struct Options {
        vantoemu::UnitOptions unit;
        std::string printerState = "ready";  // ready, not-ready, error
        std::string reply = "normal";        // normal, silent, unrecognised
        bool verbose = false;                // also every frame, reply and connection
    };

    // Returns when SIGINT or SIGTERM arrives.
    static void run(Options options);
};

}  // namespace vantocli
