#include "cli/UnitSession.hpp"

#include <future>

#include "cli/CliError.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/TCPClient.hpp"

namespace vantocli {

using namespace vantoconnect;

UnitSession::UnitSession(const UnitAddress& address) : mAddress(address) {
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

void UnitSession::probe(const UnitAddress& address) {
    TCPClient client(address.ip, address.port);
    const Result result = client.connect(PROBE_TIMEOUT);
    if (result.isSuccess()) {
        client.close();
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
