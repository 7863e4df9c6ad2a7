#include "tests/support/FakeUnit.hpp"

#include <array>
#include <asio.hpp>
#include <utility>

#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"

namespace vantoconnect::testing {

using asio::ip::tcp;

struct FakeUnit::Impl {
    asio::io_context io;
    tcp::acceptor acceptor{io};
};

struct FakeUnit::Connection {
    explicit Connection(asio::io_context& io) : socket(io) {}
    tcp::socket socket;  // used on the unit's thread only
    std::array<std::uint8_t, 4096> buffer{};
    // Guarded by the unit's mutex.
    UBytes received;
    bool open = true;
};

FakeUnit::Reply FakeUnit::Reply::bytes(UBytes bytes) {
    return chunked({Chunk{std::chrono::milliseconds(0), std::move(bytes)}});
}

FakeUnit::Reply FakeUnit::Reply::chunked(std::vector<Chunk> chunks) {
    Reply reply;
    reply.kind = Kind::Send;
    reply.chunks = std::move(chunks);
    return reply;
}

FakeUnit::Reply FakeUnit::Reply::close() {
    Reply reply;
    reply.kind = Kind::Close;
    return reply;
}

FakeUnit::Reply FakeUnit::Reply::silent() {
    return Reply{};
}

FakeUnit::FakeUnit() : mImpl(std::make_unique<Impl>()) {
    const tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), 0);
    mImpl->acceptor.open(endpoint.protocol());
    mImpl->acceptor.set_option(tcp::acceptor::reuse_address(true));
    mImpl->acceptor.bind(endpoint);
    mImpl->acceptor.listen();
    mPort = mImpl->acceptor.local_endpoint().port();
    startAccept();
    mThread = std::thread([this] { mImpl->io.run(); });
}

FakeUnit::~FakeUnit() {
    mImpl->io.stop();
    mThread.join();
    // The unit's thread is gone: nothing else touches the sockets now.
    asio::error_code ignored;
    mImpl->acceptor.close(ignored);
    for (auto& connection : mConnections) {
        connection->socket.close(ignored);
    }
}

void FakeUnit::script(Reply reply) {
    std::lock_guard<std::mutex> lock(mMutex);
    mScript.push_back(std::move(reply));
}

void FakeUnit::setDefaultReply(Reply reply) {
    std::lock_guard<std::mutex> lock(mMutex);
    mDefaultReply = std::move(reply);
}

void FakeUnit::setGreeting(Reply reply) {
    std::lock_guard<std::mutex> lock(mMutex);
    mGreeting = std::move(reply);
}

std::size_t FakeUnit::connectionCount() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mConnections.size();
}

std::size_t FakeUnit::requestCount() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mRequests;
}

UBytes FakeUnit::received(std::size_t connection) const {
    std::lock_guard<std::mutex> lock(mMutex);
    return connection < mConnections.size() ? mConnections[connection]->received : UBytes{};
}

UBytes FakeUnit::allReceived() const {
    std::lock_guard<std::mutex> lock(mMutex);
    UBytes all;
    for (const auto& connection : mConnections) {
        all.insert(all.end(), connection->received.begin(), connection->received.end());
    }
    return all;
}

bool FakeUnit::isOpen(std::size_t connection) const {
    std::lock_guard<std::mutex> lock(mMutex);
    return connection < mConnections.size() && mConnections[connection]->open;
}

template <typename Predicate>
bool FakeUnit::waitUntil(std::chrono::milliseconds limit, Predicate predicate) const {
    std::unique_lock<std::mutex> lock(mMutex);
    return mChanged.wait_for(lock, limit, predicate);
}

bool FakeUnit::waitForConnections(std::size_t count, std::chrono::milliseconds limit) const {
    return waitUntil(limit, [&] { return mConnections.size() >= count; });
}

bool FakeUnit::waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
    return waitUntil(limit, [&] { return mRequests >= count; });
}

bool FakeUnit::waitForBytes(std::size_t count, std::chrono::milliseconds limit) const {
    return waitUntil(limit, [&] { return mBytes >= count; });
}

bool FakeUnit::waitForClosed(std::size_t connection, std::chrono::milliseconds limit) const {
    return waitUntil(
        limit, [&] { return connection < mConnections.size() && !mConnections[connection]->open; });
}

void FakeUnit::startAccept() {
    auto connection = std::make_shared<Connection>(mImpl->io);
    mImpl->acceptor.async_accept(connection->socket, [this, connection](asio::error_code error) {
        if (error) {
            return;  // the acceptor was closed
        }
        Reply greeting;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mConnections.push_back(connection);
            greeting = mGreeting;
        }
        mChanged.notify_all();
        perform(connection, greeting);
        startRead(connection);
        startAccept();
    });
}

void FakeUnit::startRead(const std::shared_ptr<Connection>& connection) {
    connection->socket.async_read_some(
        asio::buffer(connection->buffer),
        [this, connection](asio::error_code error, std::size_t length) {
            if (error) {
                markClosed(connection);
                return;
            }
            Reply reply;
            {
                std::lock_guard<std::mutex> lock(mMutex);
                if (!connection->open) {
                    return;
                }
                connection->received.insert(
                    connection->received.end(), connection->buffer.begin(),
                    connection->buffer.begin() + static_cast<std::ptrdiff_t>(length));
                ++mRequests;
                mBytes += length;
                if (!mScript.empty()) {
                    reply = std::move(mScript.front());
                    mScript.pop_front();
                } else {
                    reply = mDefaultReply;
                }
            }
            mChanged.notify_all();
            perform(connection, reply);
            startRead(connection);
        });
}

void FakeUnit::perform(const std::shared_ptr<Connection>& connection, const Reply& reply) {
    switch (reply.kind) {
        case Reply::Kind::Silent:
            return;
        case Reply::Kind::Close:
            markClosed(connection);
            return;
        case Reply::Kind::Send:
            break;
    }
    std::chrono::milliseconds at{0};
    for (const Chunk& chunk : reply.chunks) {
        at += chunk.delay;
        auto bytes = std::make_shared<UBytes>(chunk.bytes);
        if (at.count() == 0) {
            asio::error_code ignored;
            asio::write(connection->socket, asio::buffer(*bytes), ignored);
            continue;
        }
        auto timer = std::make_shared<asio::steady_timer>(mImpl->io, at);
        timer->async_wait([connection, bytes, timer](asio::error_code error) {
            if (!error) {
                asio::error_code ignored;
                asio::write(connection->socket, asio::buffer(*bytes), ignored);
            }
        });
    }
}

void FakeUnit::markClosed(const std::shared_ptr<Connection>& connection) {
    asio::error_code ignored;
    connection->socket.shutdown(tcp::socket::shutdown_both, ignored);
    connection->socket.close(ignored);
    {
        std::lock_guard<std::mutex> lock(mMutex);
        connection->open = false;
    }
    mChanged.notify_all();
}

UBytes FakeUnit::frame(const Bytes& message) {
    UBytes out{static_cast<std::uint8_t>(CRC::STX)};
    if (message.empty()) {
        return out;
    }
    CRC crc;
    auto escaped = [&out](std::int8_t b) {
        if (b == CRC::STX || b == CRC::DLE) {
            out.push_back(static_cast<std::uint8_t>(CRC::DLE));
            out.push_back(static_cast<std::uint8_t>(b ^ CRC::BIT6));
        } else {
            out.push_back(static_cast<std::uint8_t>(b));
        }
    };
    auto counted = [&](std::int8_t b) {
        escaped(b);
        crc.addToCRC(b);
    };
    const std::size_t n = message.size();
    if (n <= 127) {
        counted(static_cast<std::int8_t>(n));
    } else {
        counted(static_cast<std::int8_t>((n & 0x7F) | 0x80));
        counted(static_cast<std::int8_t>((n >> 7) & 0xFF));
    }
    for (const std::int8_t b : message) {
        counted(b);
    }
    escaped(crc.getUpperByte());
    escaped(crc.getLowerByte());
    return out;
}

Bytes FakeUnit::message(std::int8_t type, const Bytes& content, bool response, std::int8_t tag) {
    // Destination: host node 0, channel 2; source: the unit's node 1, channel 2.
    Bytes bytes{0x02, 0x12, type,
                static_cast<std::int8_t>((response ? 0x80 : 0x00) | (tag & 0x0F))};
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

std::int32_t FakeUnit::unusedPort() {
    asio::io_context io;
    tcp::acceptor acceptor(io, tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    return acceptor.local_endpoint().port();
}

struct UnansweredListener::Impl {
    asio::io_context io;
    tcp::acceptor acceptor{io};
    tcp::socket filler{io};
};

UnansweredListener::UnansweredListener() : mImpl(std::make_unique<Impl>()) {
    const tcp::endpoint endpoint(asio::ip::make_address("127.0.0.1"), 0);
    mImpl->acceptor.open(endpoint.protocol());
    mImpl->acceptor.bind(endpoint);
    mImpl->acceptor.listen(0);
    mPort = mImpl->acceptor.local_endpoint().port();
    mImpl->filler.connect(mImpl->acceptor.local_endpoint());
}

UnansweredListener::~UnansweredListener() = default;

}  // namespace vantoconnect::testing
