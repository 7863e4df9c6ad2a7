#pragma once

// One conversation of the command with a unit: the library's facade pointed at --ip/--port,
// a quick reachability check first (the library itself waits up to 200 seconds for a connect,
// five times over), and the library's console lines turned into progress or kept quiet.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantocli {

struct UnitAddress {
    std::string ip;
    std::int32_t port = 8080;
    std::string text() const { return ip + ":" + std::to_string(port); }
};

class UnitSession {
  public:
    // Seconds the reachability check waits for a connect.
    static constexpr std::int64_t PROBE_TIMEOUT = 3;

    // Throws CliError(UNREACHABLE) when nothing accepts a connection at the address.
    explicit UnitSession(const UnitAddress& address);
    // Waits for the library's queued writes to finish, so nothing is cut off at exit.
    ~UnitSession();
    UnitSession(const UnitSession&) = delete;
    UnitSession& operator=(const UnitSession&) = delete;

    vantoconnect::Vanto& vanto() { return *mVanto; }
    std::shared_ptr<vantoconnect::GenericConnectionManager> manager() { return mManager; }
    const UnitAddress& address() const { return mAddress; }

    // Blocks until every write submitted so far has run.
    void drain();

    static void probe(const UnitAddress& address);

  private:
    UnitAddress mAddress;
    std::unique_ptr<vantoconnect::Vanto> mVanto;
    std::shared_ptr<vantoconnect::GenericConnectionManager> mManager;
};

}  // namespace vantocli
