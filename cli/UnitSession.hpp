#pragma once

// One conversation of the command with a unit: the library's facade pointed at --ip/--port,
// a quick reachability check first (the library itself waits up to 200 seconds for a connect,
// five times over), and a watchdog that bounds the whole conversation by --timeout.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "cli/Watchdog.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantocli {

struct UnitAddress {
    std::string ip;
    std::int32_t port = 8080;
    // Longer than the printer queue's give-up (about 62 s) plus one 200-second pause of the
    // library, so that their own verdicts still reach the user.
    double timeoutSeconds = 300;
    std::string text() const { return ip + ":" + std::to_string(port); }
};

class UnitSession {
  public:
    // Seconds the reachability check waits for a connect.
    static constexpr std::int64_t PROBE_TIMEOUT = 3;

    // Throws CliError(UNREACHABLE) when nothing accepts a connection at the address, or the
    // unit closes it at once.
    explicit UnitSession(const UnitAddress& address);
    // Waits for the library's queued writes to finish, so nothing is cut off at exit.
    ~UnitSession();
    UnitSession(const UnitSession&) = delete;
    UnitSession& operator=(const UnitSession&) = delete;

    vantoconnect::Vanto& vanto() { return *mVanto; }
    std::shared_ptr<vantoconnect::GenericConnectionManager> manager() { return mManager; }
    const UnitAddress& address() const { return mAddress; }
    Watchdog& watchdog() { return *mWatchdog; }

    // Blocks until every write submitted so far has run.
    void drain();

    static void probe(const UnitAddress& address);

    // The unit of the session opened last, for messages about a process the library ends.
    static std::string lastAddress();

    // The one line for a unit that closed the connection where the library waited for an answer.
    static std::string closedWithoutAnswer(const std::string& address);

  private:
    UnitAddress mAddress;
    std::unique_ptr<Watchdog> mWatchdog;
    std::unique_ptr<vantoconnect::Vanto> mVanto;
    std::shared_ptr<vantoconnect::GenericConnectionManager> mManager;
};

}  // namespace vantocli
