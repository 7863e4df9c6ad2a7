#pragma once

// The client end of a TCP connection: connect with a time-out, send, read, close. Failures are
// values (a failed Result, an absent read), never exceptions.

#include <cstdint>
#include <optional>
#include <string>

#include "vantoconnect/Result.hpp"
#include "vantoconnect/support/Bytes.hpp"
#include "vantoconnect/transport/Socket.hpp"

namespace vantoconnect {

class TCPClient : public Socket {
  public:
    TCPClient(std::string address, std::int32_t port);

    // timeout in whole seconds. -1 queryFailed, -2 connectionClosed, -3 connectionTimeout,
    // anything else unknownError (a refused connection among them).
    //
    // The wait uses select(), which cannot watch a descriptor of 1024 (FD_SETSIZE) or above.
    // When the new socket gets such a descriptor it is closed again before any connection is
    // tried, and connect fails with connectionClosed. A process that holds that many
    // descriptors (exchanges that leave their socket open add up) can connect again only once
    // a lower one is free.
    Result connect(std::int64_t timeout);
    // Harmless when there is nothing to close.
    void close();

    Result send(const UBytes& data);
    // Sends up to the first zero byte, as a C string would.
    Result send(const std::string& string);

    // At most length bytes from one read. A timeout of 0 or less waits without limit. Absent
    // when not connected, at end of stream, on error or on time-out, and, with a time-out, on
    // a descriptor of 1024 or above, which select() cannot watch. A length or time-out that
    // does not fit 32 bits, or a negative length, is fatal.
    std::optional<UBytes> read(std::int64_t length, std::int64_t timeout = -1);
};

}  // namespace vantoconnect
