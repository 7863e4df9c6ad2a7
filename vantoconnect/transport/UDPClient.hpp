#pragma once

// Sends datagrams to one address and port, optionally as broadcasts.

#include <cstdint>
#include <string>

#include "vantoconnect/Result.hpp"
#include "vantoconnect/support/Bytes.hpp"
#include "vantoconnect/transport/Socket.hpp"

namespace vantoconnect {

class UDPClient : public Socket {
  public:
    // The host is resolved once, here; a host that does not resolve is kept as given, and
    // sending to it then fails.
    UDPClient(const std::string& address, std::int32_t port);

    Result send(const UBytes& data);
    // Sends up to the first zero byte, as a C string would.
    Result send(const std::string& string);
    void enableBroadcast();
    void close();
};

}  // namespace vantoconnect
