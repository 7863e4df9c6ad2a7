#include "cli/UnitSession.hpp"

#include <poll.h>
#include <sys/socket.h>

#include <chrono>
#include <future>
#include <mutex>

#include "cli/LibraryConsole.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/TCPClient.hpp"

namespace vantocli {

using namespace vantoconnect;

namespace {
std::mutex addressMutex;
std::string lastUnit;

// A unit that accepts and hangs up at once would otherwise be found out by the library's read,
// which stops the process (classic) or is only a failed poll among many (resilient). A healthy
// unit sends nothing unasked, so a short look suffices.
constexpr int HANG_UP_LOOK_MS = 50;
// The classic printer queue asks a busy printer again after this many seconds (times the scale).
constexpr double CLASSIC_POLL_SECONDS = 2.0;
// The longest pause the resilient library makes between two attempts of one request.
constexpr std::chrono::milliseconds LONGEST_RETRY_PAUSE{800};

bool hungUpAtOnce(const TCPClient& client) {
    const auto fd = client.fd();
    if (!fd) {
        return false;
    }
    pollfd watched{*fd, POLLIN, 0};
    if (poll(&watched, 1, HANG_UP_LOOK_MS) <= 0) {
        return false;
    }
    char byte = 0;
    return recv(*fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

template <typename Duration>
Duration scaled(Duration value, double scale) {
    return std::chrono::duration_cast<Duration>(value * scale);
}

// Everything but the log, which needs the session.
ResilientOptions resilientOptions(const SessionOptions& options) {
    ResilientOptions resilient{.address = options.ip,
                               .port = options.port,
                               .readTimeout = milliseconds(options.readTimeoutSeconds)};
    resilient.pollInterval = scaled(resilient.pollInterval, options.timeScale);
    resilient.waitLimit = scaled(resilient.waitLimit, options.timeScale);
    return resilient;
}

// The longest the resilient library can go without a line while it works for the command: a
// pause between polls or attempts, then one exchange (connect, send, read), after which it
// reports the answer or the failure.
double longestSilence(const ResilientOptions& options) {
    const auto silence = std::max(options.pollInterval, LONGEST_RETRY_PAUSE) +
                         2 * options.connectTimeout + options.readTimeout;
    return std::chrono::duration<double>(silence).count();
}

std::unique_ptr<Watchdog> watchdogFor(const SessionOptions& options) {
    const std::string what = "after accepting the connection";
    if (options.classic() || options.timeoutSeconds) {
        return std::make_unique<Watchdog>(options.text(), options.timeoutOrDefault(), what);
    }
    return std::make_unique<Watchdog>(
        options.text(), longestSilence(resilientOptions(options)) + UnitSession::BACKSTOP_MARGIN,
        what, Watchdog::Kind::Backstop);
}
}  // namespace

UnitSession::UnitSession(const SessionOptions& options)
    : mOptions(options), mWatchdog(watchdogFor(options)) {
    if (classic()) {
        std::lock_guard lock(addressMutex);
        lastUnit = options.text();
    }
    probe(options);
    mVanto = makeFacade();
    mManager = std::dynamic_pointer_cast<AbstractConnectionManager>(mVanto->getConnectionManager());
}

std::unique_ptr<Vanto> UnitSession::makeFacade() {
    if (classic()) {
        PrinterQueue::setTimerIntervalScale(mOptions.timeScale);
        auto vanto = std::make_unique<Vanto>();
        auto manager = vanto->getConnectionManager();
        manager->setConnectionIPAddress(mOptions.ip);
        std::dynamic_pointer_cast<GenericConnectionManager>(manager)->VantoPort = mOptions.port;
        return vanto;
    }
    ResilientOptions resilient = resilientOptions(mOptions);
    // Each line is a sign of life for the backstop, then goes where the console's lines go.
    resilient.log = [watchdog = mWatchdog.get()](std::string_view line) {
        watchdog->heard();
        LibraryConsole::take(line);
    };
    return std::make_unique<Vanto>(resilient);
}

UnitSession::~UnitSession() {
    // Classic only: its queued writes would be cut off by the end of the process. The resilient
    // facade, by design, ends its writes when it goes, and the commands that queue one drain
    // before they say what became of it.
    if (mManager && classic()) {
        drain();
    }
}

std::string UnitSession::pollPlan() const {
    if (classic()) {
        return "asking again in " + Watchdog::seconds(CLASSIC_POLL_SECONDS * mOptions.timeScale);
    }
    const ResilientOptions resilient = resilientOptions(mOptions);
    return "asking every " +
           Watchdog::seconds(std::chrono::duration<double>(resilient.pollInterval).count()) +
           " for at most " +
           Watchdog::seconds(std::chrono::duration<double>(resilient.waitLimit).count());
}

void UnitSession::drain() {
    std::promise<void> done;
    auto finished = done.get_future();
    mManager->getQueue().async([&done] { done.set_value(); });
    finished.wait();
}

bool UnitSession::lastExchangeReachedUnit() {
    return classic() ||
           mManager->getConnectionStatus() != GenericConnectionManager::STATUS_NOT_CONNECTED;
}

CliError UnitSession::failure(const VantoError& error, const std::string& request) {
    const std::string text = error.message().empty() ? error.description() : error.message();
    if (!classic()) {
        if (error.kind() == VantoError::Kind::CONNECTION_LOST) {
            return CliError(CliError::UNREACHABLE, "no answer to " + request + ": " + text);
        }
        if (error.kind() == VantoError::Kind::GENERIC && !lastExchangeReachedUnit()) {
            return CliError(CliError::UNREACHABLE, request + " was not sent: " + text);
        }
    }
    return CliError(CliError::FAILED, text);
}

std::string UnitSession::lastAddress() {
    std::lock_guard lock(addressMutex);
    return lastUnit;
}

std::string UnitSession::closedWithoutAnswer(const std::string& address) {
    return "the unit at " + address + " closed the connection without answering";
}

void UnitSession::probe(const SessionOptions& options) {
    TCPClient client(options.ip, options.port);
    const Result result = client.connect(PROBE_TIMEOUT);
    if (result.isSuccess()) {
        const bool hungUp = hungUpAtOnce(client);
        client.close();
        if (hungUp) {
            throw CliError(
                CliError::UNREACHABLE,
                "the unit at " + options.text() + " accepted the connection and closed it at once");
        }
        return;
    }
    std::string why = "connection refused";
    if (result.error() == make_error_code(SocketError::queryFailed)) {
        why = "the address does not resolve";
    } else if (result.error() == make_error_code(SocketError::connectionTimeout)) {
        why = "no answer within " + std::to_string(PROBE_TIMEOUT) + " s";
    }
    throw CliError(CliError::UNREACHABLE,
                   "cannot reach the unit at " + options.text() + ": " + why);
}

}  // namespace vantocli
