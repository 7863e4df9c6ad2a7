#pragma once

// Keeps print jobs of this machine's vanto commands to one unit from interleaving on its paper:
// the unit prints packets in the order they arrive, whoever sent them. The lock is a file named
// after the unit's address and port in the runtime directory (XDG_RUNTIME_DIR, else the
// temporary directory), held with flock, so the system releases it when a command ends in any
// way. Commands on other machines do not see it.
//
// Both profiles need it: each command has a facade and a printer queue of its own, whichever the
// profile, so nothing in the library keeps two commands' packets apart.

#include <filesystem>
#include <string>

#include "cli/UnitSession.hpp"

namespace vantocli {

class UnitLock {
  public:
    // Waits at most the unit's --timeout (300 s when not given) for another command to finish;
    // announces the wait on standard output. Throws CliError(UNREACHABLE) when the time runs out.
    explicit UnitLock(const SessionOptions& unit);
    ~UnitLock();
    UnitLock(const UnitLock&) = delete;
    UnitLock& operator=(const UnitLock&) = delete;

    static std::filesystem::path pathFor(const SessionOptions& unit);

  private:
    int mFd = -1;
};

}  // namespace vantocli
