#include "cli/UnitSession.hpp"

#include <poll.h>
#include <sys/socket.h>

#include <future>
#include <mutex>

#include "cli/CliError.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/TCPClient.hpp"

namespace vantocli {

using namespace vantoconnect;

namespace {
std::mutex addressMutex;
std::string lastUnit;

// A unit that accepts and hangs up at once would otherwise be found out by the library's read,
// which stops the process. A healthy unit sends nothing unasked, so a short look suffices.
constexpr int HANG_UP_LOOK_MS = 50;

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
}  // namespace

UnitSession::UnitSession(const UnitAddress& address)
    : mAddress(address),
      mWatchdog(std::make_unique<Watchdog>(address.text(), address.timeoutSeconds,
                                           "after accepting the connection")) {
    {
        std::lock_guard lock(addressMutex);
        lastUnit = address.text();
    }
    probe(address);
    mVanto = std::make_unique<Vanto>();
    mManager = std::dynamic_pointer_cast<GenericConnectionManager>(mVanto->getConnectionManager());
    mManager->setConnectionIPAddress(address.ip);
    mManager->VantoPort = address.port;
}

UnitSession::~UnitSession() {
    if (mManager) {
        drain();
    }
}

void UnitSession::drain() {
    std::promise<void> done;
    auto finished = done.get_future();
    mManager->getQueue().async([&done] { done.set_value(); });
    finished.wait();
}

std::string UnitSession::lastAddress() {
    std::lock_guard lock(addressMutex);
    return lastUnit;
}

std::string UnitSession::closedWithoutAnswer(const std::string& address) {
    return "the unit at " + address + " closed the connection without answering";
}

void UnitSession::probe(const UnitAddress& address) {
    TCPClient client(address.ip, address.port);
    const Result result = client.connect(PROBE_TIMEOUT);
    if (result.isSuccess()) {
        const bool hungUp = hungUpAtOnce(client);
        client.close();
        if (hungUp) {
            throw CliError(
                CliError::UNREACHABLE,
                "the unit at " + address.text() + " accepted the connection and closed it at once");
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
                   "cannot reach the unit at " + address.text() + ": " + why);
}

}  // namespace vantocli
