#pragma once

// Receives datagrams on one address and port, with the sender's address.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "vantoconnect/support/Bytes.hpp"
#include "vantoconnect/transport/Socket.hpp"

namespace vantoconnect {

class UDPServer : public Socket {
  public:
    // An empty address or "255.255.255.255" binds every interface and accepts broadcasts.
    // When binding fails the server has no descriptor and receives nothing.
    UDPServer(const std::string& address, std::int32_t port);

    // Blocks for one datagram of at most length bytes: (bytes, sender address, sender port in
    // network byte order). The bytes are absent when receiving failed or nothing came.
    std::tuple<std::optional<UBytes>, std::string, std::int32_t> recv(std::int64_t length);
    void close();
};

}  // namespace vantoconnect
