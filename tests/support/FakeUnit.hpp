#pragma once

// A scripted stand-in for the unit, for tests: a TCP server on 127.0.0.1 (port chosen by the
// system) with its own thread. It accepts any number of connections, records every byte each
// one sends (connections numbered in the order they were accepted), and answers each request
// (each read that brings bytes) with the next scripted reply, or with the default reply once
// the script has run out. A reply writes bytes, closes the connection, or stays silent.
//
// Tests never sleep blindly: the wait functions block until the awaited state is reached or a
// time limit passes, and say which.

#include <array>
#include <asio.hpp>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect::testing {

class FakeUnit {
    using tcp = asio::ip::tcp;
    using Limit = std::chrono::milliseconds;
    static constexpr Limit kWait{5000};

  public:
    struct Chunk {
        std::chrono::milliseconds delay{0};  // after the request, or after the previous chunk
        UBytes bytes;
    };

    // A default-constructed reply stays silent and leaves the connection open.
    struct Reply {
        bool closes = false;
        std::vector<Chunk> chunks;

        // One write of these bytes, at once.
        static Reply bytes(UBytes bytes) { return chunked({{Limit(0), std::move(bytes)}}); }
        // Several writes, each after its delay; separate writes reach the peer as separate reads
        // when the delays are long enough.
        static Reply chunked(std::vector<Chunk> chunks) { return {false, std::move(chunks)}; }
        // The unit closes the connection without answering.
        static Reply close() { return {true, {}}; }
    };

    FakeUnit() {
        startAccept();
        mThread = std::thread([this] { mIo.run(); });
    }
    // Once the unit's thread is gone, destroying the context closes every socket it still holds.
    ~FakeUnit() {
        mIo.stop();
        mThread.join();
    }
    FakeUnit(const FakeUnit&) = delete;
    FakeUnit& operator=(const FakeUnit&) = delete;

    std::int32_t port() const noexcept { return mPort; }

    // Appends to the script consumed by requests in arrival order, across connections.
    void script(Reply reply) {
        std::lock_guard lock(mMutex);
        mScript.push_back(std::move(reply));
    }
    // What requests get once the script is used up (initially: silence).
    void setDefaultReply(Reply reply) {
        std::lock_guard lock(mMutex);
        mDefaultReply = std::move(reply);
    }
    // Done to every new connection as soon as it is accepted, before any request.
    void setGreeting(Reply reply) {
        std::lock_guard lock(mMutex);
        mGreeting = std::move(reply);
    }

    std::size_t connectionCount() const {
        std::lock_guard lock(mMutex);
        return mConnections.size();
    }
    std::size_t requestCount() const {
        std::lock_guard lock(mMutex);
        return mRequests;
    }
    // Bytes received on one connection (0 is the first accepted), and on all of them in order.
    UBytes received(std::size_t connection) const {
        std::lock_guard lock(mMutex);
        return connection < mConnections.size() ? mConnections[connection]->received : UBytes{};
    }
    UBytes allReceived() const {
        std::lock_guard lock(mMutex);
        UBytes all;
        for (const auto& connection : mConnections) {
            all.insert(all.end(), connection->received.begin(), connection->received.end());
        }
        return all;
    }
    bool waitForConnections(std::size_t count, Limit limit = kWait) const {
        return waitUntil(limit, [&] { return mConnections.size() >= count; });
    }
    bool waitForRequests(std::size_t count, Limit limit = kWait) const {
        return waitUntil(limit, [&] { return mRequests >= count; });
    }
    bool waitForBytes(std::size_t count, Limit limit = kWait) const {
        return waitUntil(limit, [&] { return mBytes >= count; });
    }
    bool waitForClosed(std::size_t connection, Limit limit = kWait) const {
        return waitUntil(limit, [&] {
            return connection < mConnections.size() && !mConnections[connection]->open;
        });
    }

    // A reply frame as the unit sends it: start byte, 12-bit length, escaped message bytes and
    // CRC-16/XMODEM. Built by hand rather than with the library's encoder so that making a
    // frame writes no console line into the output a test is asserting.
    static UBytes frame(const Bytes& message);
    // A message of the given type with `content` after the 4-byte header, addressed from the
    // unit to the host. `response` sets the direction bit; tag is the low nibble of byte 3.
    static Bytes message(std::int8_t type, const Bytes& content = {}, bool response = true,
                         std::int8_t tag = 0);

    // A loopback port on which nothing listens (chosen by binding and releasing it).
    static std::int32_t unusedPort() {
        asio::io_context io;
        return tcp::acceptor(io, tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0))
            .local_endpoint()
            .port();
    }

  private:
    struct Connection {
        explicit Connection(asio::io_context& io) : socket(io) {}
        tcp::socket socket;  // used on the unit's thread only
        std::array<std::uint8_t, 4096> buffer{};
        UBytes received;  // guarded by the unit's mutex, as is `open`
        bool open = true;
    };

    template <typename Predicate>
    bool waitUntil(Limit limit, Predicate predicate) const {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, limit, predicate);
    }

    void startAccept() {
        auto connection = std::make_shared<Connection>(mIo);
        mAcceptor.async_accept(connection->socket, [this, connection](asio::error_code error) {
            if (error) {
                return;  // the acceptor was closed
            }
            std::unique_lock lock(mMutex);
            mConnections.push_back(connection);
            const Reply greeting = mGreeting;
            lock.unlock();
            mChanged.notify_all();
            perform(connection, greeting);
            startRead(connection);
            startAccept();
        });
    }

    void startRead(const std::shared_ptr<Connection>& connection) {
        auto onRead = [this, connection](asio::error_code error, std::size_t length) {
            if (error) {
                return markClosed(connection);
            }
            std::unique_lock lock(mMutex);
            if (!connection->open) {
                return;
            }
            const auto* begin = connection->buffer.data();
            connection->received.insert(connection->received.end(), begin, begin + length);
            ++mRequests;
            mBytes += length;
            const Reply reply = mScript.empty() ? mDefaultReply : std::move(mScript.front());
            if (!mScript.empty()) {
                mScript.pop_front();
            }
            lock.unlock();
            mChanged.notify_all();
            perform(connection, reply);
            startRead(connection);
        };
        connection->socket.async_read_some(asio::buffer(connection->buffer), onRead);
    }

    void perform(const std::shared_ptr<Connection>& connection, const Reply& reply) {
        if (reply.closes) {
            return markClosed(connection);
        }
        Limit at{0};
        for (const Chunk& chunk : reply.chunks) {
            auto write = [connection, bytes = chunk.bytes](asio::error_code error = {}) {
                if (!error) {
                    asio::write(connection->socket, asio::buffer(bytes), error);
                }
            };
            // Immediate chunks go out before the next read starts.
            if ((at += chunk.delay).count() == 0) {
                write();
                continue;
            }
            auto timer = std::make_shared<asio::steady_timer>(mIo, at);
            timer->async_wait([write, timer](asio::error_code error) { write(error); });
        }
    }

    void markClosed(const std::shared_ptr<Connection>& connection) {
        asio::error_code ignored;
        connection->socket.shutdown(tcp::socket::shutdown_both, ignored);
        connection->socket.close(ignored);
        std::lock_guard lock(mMutex);
        connection->open = false;
        mChanged.notify_all();
    }

    asio::io_context mIo;
    tcp::acceptor mAcceptor{mIo, tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0)};
    const std::int32_t mPort = mAcceptor.local_endpoint().port();
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::deque<Reply> mScript;
    Reply mDefaultReply;
    Reply mGreeting;
    std::vector<std::shared_ptr<Connection>> mConnections;
    std::size_t mRequests = 0;
    std::size_t mBytes = 0;
    std::thread mThread;
};

// A loopback listener that never completes a connect: its backlog of 0 is filled by one
// connection that is never accepted, so every further connect waits until its time-out.
class UnansweredListener {
  public:
    UnansweredListener() {
        const asio::ip::tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), 0);
        mAcceptor.open(endpoint.protocol());
        mAcceptor.bind(endpoint);
        mAcceptor.listen(0);
        mPort = mAcceptor.local_endpoint().port();
        mFiller.connect(mAcceptor.local_endpoint());
    }
    std::int32_t port() const noexcept { return mPort; }

  private:
    asio::io_context mIo;
    asio::ip::tcp::acceptor mAcceptor{mIo};
    asio::ip::tcp::socket mFiller{mIo};
    std::int32_t mPort = 0;
};

}  // namespace vantoconnect::testing
