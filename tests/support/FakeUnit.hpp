#pragma once

// A scripted stand-in for the unit, for tests: a TCP server on 127.0.0.1 (port chosen by the
// system) with its own thread. It accepts any number of connections, records every byte each
// one sends (connections numbered in the order they were accepted), and answers each request
// (each read that brings bytes) with the next scripted reply, or with the default reply once
// the script has run out. A reply writes bytes, closes the connection, or stays silent.
//
// Tests never sleep blindly: the wait functions block until the awaited state is reached or a
// time limit passes, and say which.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect::testing {

class FakeUnit {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kWait{5000};

    struct Chunk {
        std::chrono::milliseconds delay{0};  // after the request, or after the previous chunk
        UBytes bytes;
    };

    struct Reply {
        enum class Kind { Send, Close, Silent };
        Kind kind = Kind::Silent;
        std::vector<Chunk> chunks;

        // One write of these bytes, at once.
        static Reply bytes(UBytes bytes);
        // Several writes, each after its delay; separate writes reach the peer as separate reads
        // when the delays are long enough.
        static Reply chunked(std::vector<Chunk> chunks);
        // The unit closes the connection without answering.
        static Reply close();
        // No answer; the connection stays open.
        static Reply silent();
    };

    FakeUnit();
    ~FakeUnit();
    FakeUnit(const FakeUnit&) = delete;
    FakeUnit& operator=(const FakeUnit&) = delete;

    std::int32_t port() const noexcept { return mPort; }

    // Appends to the script consumed by requests in arrival order, across connections.
    void script(Reply reply);
    // What requests get once the script is used up (initially: silence).
    void setDefaultReply(Reply reply);
    // Done to every new connection as soon as it is accepted, before any request.
    void setGreeting(Reply reply);

    std::size_t connectionCount() const;
    std::size_t requestCount() const;
    // Bytes received on one connection (0 is the first accepted), and on all of them in order.
    UBytes received(std::size_t connection) const;
    UBytes allReceived() const;
    // False once the peer has closed the connection or the unit has closed it by script.
    bool isOpen(std::size_t connection) const;

    bool waitForConnections(std::size_t count, std::chrono::milliseconds limit = kWait) const;
    bool waitForRequests(std::size_t count, std::chrono::milliseconds limit = kWait) const;
    bool waitForBytes(std::size_t count, std::chrono::milliseconds limit = kWait) const;
    bool waitForClosed(std::size_t connection, std::chrono::milliseconds limit = kWait) const;

    // A reply frame as the unit sends it: start byte, 12-bit length, escaped message bytes and
    // CRC-16/XMODEM. Built by hand rather than with the library's encoder so that making a
    // frame writes no console line into the output a test is asserting.
    static UBytes frame(const Bytes& message);
    // A message of the given type with `content` after the 4-byte header, addressed from the
    // unit to the host. `response` sets the direction bit; tag is the low nibble of byte 3.
    static Bytes message(std::int8_t type, const Bytes& content = {}, bool response = true,
                         std::int8_t tag = 0);

    // A loopback port on which nothing listens (chosen by binding and releasing it).
    static std::int32_t unusedPort();

  private:
    struct Impl;
    struct Connection;

    void startAccept();
    void startRead(const std::shared_ptr<Connection>& connection);
    void perform(const std::shared_ptr<Connection>& connection, const Reply& reply);
    void markClosed(const std::shared_ptr<Connection>& connection);

    template <typename Predicate>
    bool waitUntil(std::chrono::milliseconds limit, Predicate predicate) const;

    std::unique_ptr<Impl> mImpl;
    std::int32_t mPort = 0;

    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::deque<Reply> mScript;
    Reply mDefaultReply = Reply::silent();
    Reply mGreeting = Reply::silent();
    std::vector<std::shared_ptr<Connection>> mConnections;
    std::size_t mRequests = 0;
    std::size_t mBytes = 0;

    std::thread mThread;
};

// A loopback listener that never completes a connect: its backlog of 0 is filled by one
// connection that is never accepted, so every further connect waits until its time-out.
class UnansweredListener {
  public:
    UnansweredListener();
    ~UnansweredListener();
    UnansweredListener(const UnansweredListener&) = delete;
    UnansweredListener& operator=(const UnansweredListener&) = delete;

    std::int32_t port() const noexcept { return mPort; }

  private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
    std::int32_t mPort = 0;
};

}  // namespace vantoconnect::testing
