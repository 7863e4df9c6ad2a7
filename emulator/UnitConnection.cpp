#include "emulator/UnitConnection.hpp"

#include "emulator/UnitServer.hpp"

namespace vantoemu {

UnitConnection::UnitConnection(UnitServer& server, asio::ip::tcp::socket socket, std::uint64_t id,
                               std::string peer, std::chrono::milliseconds idleTimeout)
    : mServer(server),
      mSocket(std::move(socket)),
      mReplyTimer(mSocket.get_executor()),
      mIdleTimer(mSocket.get_executor()),
      mId(id),
      mPeer(std::move(peer)),
      mSender(mPeer.substr(0, mPeer.rfind(':'))),
      mIdleTimeout(idleTimeout) {}

void UnitConnection::start() {
    read();
    armIdle();
}

bool UnitConnection::answerOwed() const {
    return mAnswerWithheld || mReader.midFrame() || !mPending.empty() || !mOutbox.empty() ||
           mWriting;
}

void UnitConnection::read() {
    auto self = shared_from_this();
    mSocket.async_read_some(asio::buffer(mBuffer),
                            [self](std::error_code ec, std::size_t n) { self->onRead(ec, n); });
}

void UnitConnection::onRead(std::error_code ec, std::size_t n) {
    if (mClosed) {
        return;
    }
    if (ec) {
        close(ec == asio::error::eof ? "closed by peer" : ec.message());
        return;
    }
    mLastActivity = Clock::now();
    const auto output = mReader.feed(std::span<const std::uint8_t>(mBuffer.data(), n));
    for (const auto& error : output.errors) {
        mServer.frameError(mId, error);
    }
    for (const auto& frame : output.frames) {
        FrameAnswer answer = mServer.frame(mId, mSender, frame);
        if (answer.dropConnection) {
            close("dropped once the request was read");
            return;
        }
        mAnswerWithheld = mAnswerWithheld || answer.answerOwed;
        for (auto& write : answer.writes) {
            schedule(std::move(write));
        }
    }
    read();
}

void UnitConnection::schedule(FrameAnswer::Write write) {
    mPending.emplace_back(Clock::now() + write.delay, std::move(write.frame));
    if (mPending.size() == 1) {
        arm();
    }
}

void UnitConnection::arm() {
    if (mPending.empty() || mClosed) {
        return;
    }
    mReplyTimer.expires_at(mPending.front().first);
    auto self = shared_from_this();
    mReplyTimer.async_wait([self](std::error_code ec) {
        if (ec || self->mClosed) {
            return;
        }
        while (!self->mPending.empty() && self->mPending.front().first <= Clock::now()) {
            self->mOutbox.push_back(std::move(self->mPending.front().second));
            self->mPending.pop_front();
        }
        self->writeNext();
        self->arm();
    });
}

void UnitConnection::writeNext() {
    if (mWriting || mOutbox.empty() || mClosed) {
        return;
    }
    mWriting = true;
    auto self = shared_from_this();
    asio::async_write(
        mSocket, asio::buffer(mOutbox.front()), [self](std::error_code ec, std::size_t) {
            self->mWriting = false;
            self->mOutbox.pop_front();
            self->mLastActivity = Clock::now();
            if (ec) {
                self->mServer.log().record("write_error",
                                           {{"connection", self->mId}, {"error", ec.message()}});
                return;
            }
            self->writeNext();
        });
}

void UnitConnection::armIdle() {
    if (mIdleTimeout.count() <= 0 || mClosed) {
        return;
    }
    mIdleTimer.expires_at(mLastActivity + mIdleTimeout);
    auto self = shared_from_this();
    mIdleTimer.async_wait([self](std::error_code ec) {
        if (ec || self->mClosed) {
            return;
        }
        if (Clock::now() - self->mLastActivity >= self->mIdleTimeout && !self->answerOwed()) {
            self->close("idle");
            return;
        }
        if (self->answerOwed()) {
            // Nothing will change by itself while an answer is owed; look again later.
            self->mLastActivity = Clock::now();
        }
        self->armIdle();
    });
}

void UnitConnection::close(const std::string& reason) {
    if (mClosed) {
        return;
    }
    mClosed = true;
    std::error_code ignored;
    mReplyTimer.cancel();
    mIdleTimer.cancel();
    mSocket.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    mSocket.close(ignored);
    mServer.closed(mId, reason);
}

}  // namespace vantoemu
