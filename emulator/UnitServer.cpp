#include "emulator/UnitServer.hpp"

#include <algorithm>
#include <future>
#include <stdexcept>

#include "emulator/Hex.hpp"
#include "emulator/UnitConnection.hpp"

namespace vantoemu {

UnitServer::UnitServer(asio::io_context& io, EventLog& log, Options options, FrameHandler handler,
                       std::function<bool()> refuseConnections)
    : mIo(io),
      mLog(log),
      mOptions(std::move(options)),
      mHandler(std::move(handler)),
      mRefuse(std::move(refuseConnections)),
      mRetryTimer(io),
      mRestartTimer(io) {}

void UnitServer::start() {
    // The failure crosses threads as text and becomes an exception on the caller's thread, so no
    // exception object is shared between threads: its reference count lives in the standard
    // library, where the race checker cannot see the hand-over.
    std::promise<std::string> started;
    auto result = started.get_future();
    asio::post(mIo, [this, &started] {
        std::string failure;
        try {
            if (mStopped) {
                listen();
                mStopped = false;
                mLog.record("listening", {{"address", mOptions.bind}, {"port", mPort.load()}});
            }
        } catch (const std::exception& e) {
            failure = "cannot listen on " + mOptions.bind + ":" + std::to_string(mOptions.port) +
                      ": " + e.what();
        }
        started.set_value(std::move(failure));
    });
    if (const std::string failure = result.get(); !failure.empty()) {
        throw std::runtime_error(failure);
    }
}

void UnitServer::listen() {
    // Once a port has been picked it is kept, so that a listener reopened after the cap is
    // found where the clients look for it.
    const std::uint16_t port = mPort.load() != 0 ? mPort.load() : mOptions.port;
    asio::ip::tcp::endpoint endpoint(asio::ip::make_address(mOptions.bind), port);
    auto acceptor = std::make_unique<asio::ip::tcp::acceptor>(mIo);
    acceptor->open(endpoint.protocol());
    acceptor->set_option(asio::socket_base::reuse_address(true));
    acceptor->bind(endpoint);
    acceptor->listen(asio::socket_base::max_listen_connections);
    mPort = acceptor->local_endpoint().port();
    mAcceptor = std::move(acceptor);
    mListening = true;
    accept();
}

void UnitServer::stop() {
    std::promise<void> stopped;
    auto result = stopped.get_future();
    asio::post(mIo, [this, &stopped] {
        if (!mStopped) {
            mStopped = true;
            mPaused = false;
            mRestarting = false;
            mRestartTimer.cancel();
            closeListener();
            mLog.record("stopped");
        }
        closeAll("unit stopped");
        stopped.set_value();
    });
    result.wait();
}

void UnitServer::closeListener() {
    mRetryTimer.cancel();
    if (mAcceptor) {
        std::error_code ignored;
        mAcceptor->close(ignored);
        mAcceptor.reset();
    }
    mListening = false;
}

void UnitServer::closeAll(const std::string& reason) {
    auto open = mConnections;
    for (auto& [id, weak] : open) {
        if (auto connection = weak.lock()) {
            connection->close(reason);
        }
    }
}

void UnitServer::restart(std::chrono::milliseconds downtime) {
    // A day is longer than any reboot, and keeps the timer's arithmetic far from overflowing.
    downtime = std::clamp(downtime, std::chrono::milliseconds(0),
                          std::chrono::milliseconds(std::chrono::hours(24)));
    // Whether it was running; the refusal is thrown here, on the caller's thread.
    std::promise<bool> down;
    auto result = down.get_future();
    asio::post(mIo, [this, &down, downtime] {
        if (mStopped) {
            down.set_value(false);
            return;
        }
        ++mRestarts;
        closeListener();
        // Nothing reopens the listener while the unit is down, whatever closes.
        mPaused = false;
        mRestarting = true;
        mLog.record("restart", {{"downtime_ms", downtime.count()},
                                {"open_connections", mOpenConnections.load()}});
        closeAll("unit restarting");
        comeBack(downtime, true);
        down.set_value(true);
    });
    if (!result.get()) {
        throw std::logic_error("the unit is not running: start it before restarting it");
    }
}

void UnitServer::comeBack(std::chrono::milliseconds downtime, bool firstTry) {
    mRestartTimer.expires_after(firstTry ? downtime : std::chrono::milliseconds(200));
    mRestartTimer.async_wait([this, downtime, firstTry](std::error_code ec) {
        if (ec || mStopped || !mRestarting) {
            return;
        }
        try {
            listen();
            mRestarting = false;
            mLog.record("restarted", {{"address", mOptions.bind},
                                      {"port", mPort.load()},
                                      {"downtime_ms", downtime.count()}});
        } catch (const std::exception& e) {
            // Another program took the port meanwhile; a unit keeps trying, and says so once.
            if (firstTry) {
                mLog.record("listen_error", {{"error", e.what()}, {"detail", "trying again"}});
            }
            comeBack(downtime, false);
        }
    });
}

void UnitServer::accept() {
    if (!mAcceptor) {
        return;
    }
    mAcceptor->async_accept([this](std::error_code ec, asio::ip::tcp::socket socket) {
        if (ec == asio::error::operation_aborted || !mAcceptor) {
            return;
        }
        if (ec) {
            // Out of descriptors, most likely: try again shortly rather than spin.
            mLog.record("accept_error", {{"error", ec.message()}});
            mRetryTimer.expires_after(std::chrono::milliseconds(100));
            mRetryTimer.async_wait([this](std::error_code waited) {
                if (!waited) {
                    accept();
                }
            });
            return;
        }
        onAccepted(std::move(socket));
        if (mOpenConnections.load() >= mOptions.maxConnections) {
            pauseAccepting();
        } else {
            accept();
        }
    });
}

void UnitServer::onAccepted(asio::ip::tcp::socket socket) {
    const std::uint64_t id = ++mConnectionCount;
    std::error_code ec;
    const auto peer = socket.remote_endpoint(ec);
    const std::string peerText =
        ec ? std::string("unknown")
           : peer.address().to_string() + ":" + std::to_string(peer.port());
    if (mRefuse && mRefuse()) {
        mLog.record("connection_refused", {{"connection", id}, {"peer", peerText}});
        socket.close(ec);
        return;
    }
    mLog.record("connection", {{"connection", id}, {"peer", peerText}});
    auto connection = std::make_shared<UnitConnection>(*this, std::move(socket), id, peerText,
                                                       mOptions.idleTimeout);
    mConnections[id] = connection;
    ++mOpenConnections;
    connection->start();
}

void UnitServer::pauseAccepting() {
    std::error_code ec;
    mAcceptor->non_blocking(true, ec);
    for (;;) {
        asio::ip::tcp::socket socket(mIo);
        mAcceptor->accept(socket, ec);
        if (ec) {
            break;
        }
        onAccepted(std::move(socket));
    }
    mAcceptor->close(ec);
    mAcceptor.reset();
    mPaused = true;
    mListening = false;
    mLog.record("connection_cap",
                {{"open", mOpenConnections.load()},
                 {"cap", mOptions.maxConnections},
                 {"detail", "not listening: new connections are refused until some close"}});
}

FrameAnswer UnitServer::frame(std::uint64_t connection, const std::string& sender,
                              const std::vector<std::uint8_t>& message) {
    ++mFrames;
    nlohmann::json fields = {{"connection", connection}, {"size", message.size()}};
    if (message.size() >= 4) {
        fields["dest_node"] = message[0] >> 4;
        fields["dest_channel"] = message[0] & 0x0F;
        fields["source_node"] = message[1] >> 4;
        fields["source_channel"] = message[1] & 0x0F;
        fields["type"] = hexByte(message[2]);
        fields["tag_byte"] = hexByte(message[3]);
    }
    fields["hex"] = hex(message);
    mLog.record("frame", fields);
    return mHandler(message, sender, connection);
}

void UnitServer::frameError(std::uint64_t connection, const FrameReader::Error& error) {
    ++mFrameErrors;
    mLog.record("frame_error", {{"connection", connection},
                                {"kind", FrameReader::kindName(error.kind)},
                                {"offset", error.offset},
                                {"detail", error.message}});
}

void UnitServer::closed(std::uint64_t connection, const std::string& reason) {
    mConnections.erase(connection);
    --mOpenConnections;
    mLog.record("disconnect", {{"connection", connection}, {"reason", reason}});
    if (mPaused && !mStopped && !mRestarting && mOpenConnections.load() < mOptions.maxConnections) {
        try {
            listen();
            mPaused = false;
            mLog.record("listening", {{"address", mOptions.bind},
                                      {"port", mPort.load()},
                                      {"open", mOpenConnections.load()}});
        } catch (const std::exception& e) {
            mLog.record("listen_error", {{"error", e.what()}});
        }
    }
}

}  // namespace vantoemu
