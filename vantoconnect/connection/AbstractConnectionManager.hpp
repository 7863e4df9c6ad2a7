#pragma once

// What the controllers need of a connection manager: the application's view of the connection,
// the three exchanges and the serial queue that write bodies run on. GenericConnectionManager is
// the library's own; the resilient profile puts ResilientConnectionManager in its place, and the
// controllers build the same messages for either.

#include <cstdint>
#include <functional>

#include "vantoconnect/VantoConnectionManager.hpp"
#include "vantoconnect/VantoMessageResponse.hpp"
#include "vantoconnect/connection/WriteOutcome.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class SerialQueue;

class AbstractConnectionManager : public VantoConnectionManager {
  public:
    // Returns at once; the exchange runs later on getQueue(), in submission order.
    virtual void write(const Bytes& buffer, bool resendForAcknowledged) = 0;
    // The same, then `onDone` on getQueue() with what the attempts saw.
    virtual void write(const Bytes& buffer, bool resendForAcknowledged,
                       std::function<void(const WriteOutcome&)> onDone) = 0;
    // Blocks for the unit's answer, classified.
    virtual VantoMessageResponse writeAndResponse(const Bytes& buffer) = 0;
    // Blocks until a frame of message type `packageExpected` arrives or `defaultMaxTimeout`
    // milliseconds have passed; returns the raw bytes read, for the caller to decode.
    virtual Bytes writeAndResponseRaw(const Bytes& buffer, std::int8_t packageExpected,
                                      std::int64_t defaultMaxTimeout) = 0;
    virtual SerialQueue& getQueue() noexcept = 0;

    // The unit's TCP port for the next connection.
    virtual std::int32_t getConnectionPort() = 0;
    virtual void setConnectionPort(std::int32_t port) = 0;
};

}  // namespace vantoconnect
