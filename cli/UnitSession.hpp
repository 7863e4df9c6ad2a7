#pragma once

// One conversation of the command with a unit: the library's facade of the chosen profile
// pointed at --ip/--port, a quick reachability check first, and a watchdog behind it all.
//
//   resilient (the default)  Vanto(ResilientOptions): every wait of the library has a limit,
//                            failures come back as VantoError, callbacks and reports, and its
//                            lines come to the log this session gives it; the watchdog is a
//                            backstop behind the library's own limits, unless --timeout is given
//   classic (--classic)      Vanto(): reads without a limit, a process the library ends when a
//                            unit hangs up, lines on the library's console; the watchdog bounds
//                            the conversation by --timeout (default 300 s)

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "cli/CliError.hpp"
#include "cli/Watchdog.hpp"
#include "receipts/CheckedFacade.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/connection/AbstractConnectionManager.hpp"

namespace vantocli {

struct SessionOptions {
    // Longer than the classic printer queue's give-up (about 62 s) plus one 200-second pause of
    // that library, so that their own verdicts still reach the user.
    static constexpr double DEFAULT_TIMEOUT = 300;

    std::string ip;
    std::int32_t port = 8080;
    vantoreceipts::Profile profile = vantoreceipts::Profile::Resilient;
    // --timeout, when given.
    std::optional<double> timeoutSeconds{};
    // --read-timeout: the resilient library's limit on every answer.
    double readTimeoutSeconds = 5;
    // Shortens the printer queue's waits between polls and its give-up (tests only).
    double timeScale = 1.0;

    bool classic() const { return profile == vantoreceipts::Profile::Classic; }
    // The watchdog of the classic profile, and how long any command waits for another
    // command's lock on the unit.
    double timeoutOrDefault() const { return timeoutSeconds.value_or(DEFAULT_TIMEOUT); }
    std::string text() const { return ip + ":" + std::to_string(port); }
};

class UnitSession {
  public:
    // Seconds the reachability check waits for a connect.
    static constexpr std::int64_t PROBE_TIMEOUT = 3;
    // What the resilient profile's backstop adds to the longest the library can stay silent.
    static constexpr double BACKSTOP_MARGIN = 10;

    // Throws CliError(UNREACHABLE) when nothing accepts a connection at the address, or the
    // unit closes it at once.
    explicit UnitSession(const SessionOptions& options);
    // Classic: waits for the library's queued writes to finish, so nothing is cut off at exit.
    ~UnitSession();
    UnitSession(const UnitSession&) = delete;
    UnitSession& operator=(const UnitSession&) = delete;

    vantoconnect::Vanto& vanto() { return *mVanto; }
    std::shared_ptr<vantoconnect::AbstractConnectionManager> manager() { return mManager; }
    const SessionOptions& options() const { return mOptions; }
    bool classic() const { return mOptions.classic(); }
    Watchdog& watchdog() { return *mWatchdog; }
    // How the printer queue goes on asking a busy printer, in words: "asking again in 2 s".
    std::string pollPlan() const;

    // Blocks until every write submitted so far has run.
    void drain();
    // After a drain, in the resilient profile: whether the last exchange got through to the
    // unit. The classic profile cannot tell (true).
    bool lastExchangeReachedUnit();
    // The command's failure for a request (e.g. "the drawer status request") the library
    // answered with `error`: the resilient profile tells a unit that was not reached or fell
    // silent (UNREACHABLE) from one that answered otherwise than asked (FAILED).
    CliError failure(const vantoconnect::VantoError& error, const std::string& request);

    // Nothing listens, the name does not resolve, or the unit hangs up at once: one clear line
    // and UNREACHABLE before anything is queued. The classic library would wait 200 s per
    // connect, or end the process on the hang-up; the resilient one would spend its whole wait
    // for the printer (60 s) polling a unit that hangs up. So both profiles look first.
    static void probe(const SessionOptions& options);

    // Classic only: the unit of the session opened last, for messages about a process the
    // library ends.
    static std::string lastAddress();
    // Classic only: the one line for a unit that closed the connection where the library waited
    // for an answer, which that library answers by ending the process.
    static std::string closedWithoutAnswer(const std::string& address);

  private:
    std::unique_ptr<vantoconnect::Vanto> makeFacade();

    SessionOptions mOptions;
    std::unique_ptr<Watchdog> mWatchdog;
    std::unique_ptr<vantoconnect::Vanto> mVanto;
    std::shared_ptr<vantoconnect::AbstractConnectionManager> mManager;
};

}  // namespace vantocli
