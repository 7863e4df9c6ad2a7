#pragma once

// One TCP connection to the unit, for one exchange. Every wait has a deadline and ends early
// when the facade's StopSignal is raised; the descriptor is closed when the object goes, whatever
// happened. Waits use poll(), so descriptors numbered above 1024 work as well as any.

#include <chrono>
#include <cstdint>
#include <string>

#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class StopSignal;

class UnitSocket {
  public:
    using Clock = std::chrono::steady_clock;

    enum class Status {
        Ok,
        Unreachable,  // no connection: the name did not resolve, the unit refused, no route,
                      // or the connect's time limit passed; nothing of the request went out
        NotSent,      // connected, but the request could not be written whole
        Closed,       // the unit closed or reset the connection before its answer was in
        TimedOut,     // the unit said nothing before the deadline
        Stopped,      // the facade closed
    };

    explicit UnitSocket(const StopSignal& stop) noexcept : mStop(stop) {}
    ~UnitSocket();
    UnitSocket(const UnitSocket&) = delete;
    UnitSocket& operator=(const UnitSocket&) = delete;

    Status connect(const std::string& host, std::int32_t port, Clock::time_point deadline);
    Status send(const UBytes& bytes, Clock::time_point deadline);
    // Appends what one read returns, at most 1024 bytes, to `into`.
    Status receive(UBytes& into, Clock::time_point deadline);
    // For a message that gets no answer: says it is complete (shuts the sending side) and waits
    // for the unit to close its side. Ok once it closed in order, after reading what was sent;
    // Closed when it reset the connection instead (a unit that goes away with the message
    // unread); TimedOut when it keeps the connection open past the deadline.
    Status awaitClose(Clock::time_point deadline);

    // Why the last call failed, for people: "connection to 127.0.0.1:8080 refused".
    const std::string& failure() const noexcept { return mFailure; }

  private:
    // Waits until the descriptor is ready for `events`; Ok, TimedOut or Stopped.
    Status await(short events, Clock::time_point deadline);
    Status fail(Status status, std::string why);

    const StopSignal& mStop;
    int mFd = -1;
    std::string mPeer;
    std::string mFailure;
};

}  // namespace vantoconnect
