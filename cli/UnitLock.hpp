#pragma once

// Keeps print jobs of this machine's vanto commands to one unit from interleaving on its paper:
// the unit prints packets in the order they arrive, whoever sent them. The lock is a file named
// after the unit's address and port in the runtime directory (XDG_RUNTIME_DIR, else the
// temporary directory), held with flock, so the system releases it when a command ends in any
// way. Commands on other machines do not see it.

#include <filesystem>
#include <string>

#include "cli/UnitSession.hpp"

namespace vantocli {

class UnitLock {
  public:
    // Waits at most the unit's --timeout for another command to finish; announces the wait on
    // standard output. Throws CliError(UNREACHABLE) when the time runs out.
    explicit UnitLock(const UnitAddress& unit);
    ~UnitLock();
    UnitLock(const UnitLock&) = delete;
    UnitLock& operator=(const UnitLock&) = delete;

    static std::filesystem::path pathFor(const UnitAddress& unit);

  private:
    int mFd = -1;
};

}  // namespace vantocli
