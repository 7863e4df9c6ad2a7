#pragma once

// A listening TCP socket. Nothing in the library listens; applications and tests may.

#include <cstdint>
#include <memory>
#include <string>

#include "vantoconnect/Result.hpp"
#include "vantoconnect/transport/Socket.hpp"
#include "vantoconnect/transport/TCPClient.hpp"

namespace vantoconnect {

class TCPServer : public Socket {
  public:
    // address is a dotted IPv4 address; port 0 lets the system choose.
    TCPServer(std::string address, std::int32_t port);

    // Any failure to bind or listen is unknownError.
    Result listen();
    // Blocks for the next connection. The client's port is in network byte order, as the
    // address record holds it. Null when not listening or when accepting failed.
    std::shared_ptr<TCPClient> accept();
    void close();
};

}  // namespace vantoconnect
