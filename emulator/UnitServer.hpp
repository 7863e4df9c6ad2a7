#pragma once

// The unit's network side: listens on TCP, accepts connections up to a cap, reads frames and
// writes the answers that the frame handler gives. What a frame means is not its business.
//
// Everything runs on the network thread of the io_context it is given; start() and stop()
// may be called from any other thread.

// A standard header before asio: asio picks its allocator from the standard library's
// configuration, and a file that reached asio first would pick another one than the rest.
#include <cstddef>

#include <asio.hpp>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "emulator/EventLog.hpp"
#include "emulator/FrameAnswer.hpp"
#include "emulator/FrameReader.hpp"

namespace vantoemu {

class UnitConnection;

class UnitServer {
  public:
    struct Options {
        std::string bind = "127.0.0.1";
        std::uint16_t port = 0;
        std::chrono::milliseconds idleTimeout{0};
        std::size_t maxConnections = 4096;
    };

    // One frame from `sender` (the peer's address) on connection `connection`.
    using FrameHandler = std::function<FrameAnswer(
        std::span<const std::uint8_t> frame, const std::string& sender, std::uint64_t connection)>;

    UnitServer(asio::io_context& io, EventLog& log, Options options, FrameHandler handler,
               std::function<bool()> refuseConnections);

    // Throws std::runtime_error when the address cannot be bound.
    void start();
    // Closes the listener and every connection.
    void stop();
    // A reboot: closes the listener and every connection at once, and listens again on the same
    // address and port once `downtime` (at most a day) has passed; connects meanwhile are
    // refused. Returns when everything is closed. A restart during the downtime starts the
    // downtime afresh. Throws std::logic_error when the server is not started.
    void restart(std::chrono::milliseconds downtime);

    bool listening() const { return mListening.load(); }
    std::uint16_t port() const { return mPort.load(); }
    const std::string& address() const { return mOptions.bind; }
    std::uint64_t connections() const { return mConnectionCount.load(); }
    std::uint64_t openConnections() const { return mOpenConnections.load(); }
    std::uint64_t frames() const { return mFrames.load(); }
    std::uint64_t frameErrors() const { return mFrameErrors.load(); }
    std::uint64_t restarts() const { return mRestarts.load(); }
    bool restarting() const { return mRestarting.load(); }

    // For the connections.
    FrameAnswer frame(std::uint64_t connection, const std::string& sender,
                      const std::vector<std::uint8_t>& message);
    void frameError(std::uint64_t connection, const FrameReader::Error& error);
    void closed(std::uint64_t connection, const std::string& reason);
    EventLog& log() { return mLog; }

  private:
    void listen();
    void accept();
    void onAccepted(asio::ip::tcp::socket socket);
    // At the cap the listener is closed, so that further connects are refused by the system
    // and fail at once, instead of being accepted and then dropped under a sender that is
    // already waiting for an answer. Connections the system completed before the listener
    // closed are still served.
    void pauseAccepting();
    // Listens again after a restart's downtime, trying again shortly while the port is taken.
    void comeBack(std::chrono::milliseconds downtime, bool firstTry);
    void closeListener();
    void closeAll(const std::string& reason);

    asio::io_context& mIo;
    EventLog& mLog;
    Options mOptions;
    FrameHandler mHandler;
    std::function<bool()> mRefuse;
    asio::steady_timer mRetryTimer;
    asio::steady_timer mRestartTimer;

    // Touched on the network thread only.
    std::unique_ptr<asio::ip::tcp::acceptor> mAcceptor;
    std::map<std::uint64_t, std::weak_ptr<UnitConnection>> mConnections;
    bool mStopped = true;
    bool mPaused = false;

    std::atomic<std::uint16_t> mPort{0};
    std::atomic<bool> mListening{false};
    std::atomic<std::uint64_t> mConnectionCount{0};
    std::atomic<std::uint64_t> mOpenConnections{0};
    std::atomic<std::uint64_t> mFrames{0};
    std::atomic<std::uint64_t> mFrameErrors{0};
    std::atomic<std::uint64_t> mRestarts{0};
    std::atomic<bool> mRestarting{false};  // down until a restart's downtime has passed
};

}  // namespace vantoemu
