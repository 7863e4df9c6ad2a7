#pragma once

// One accepted TCP connection: reads frames, hands each to the server, and writes the answers
// in the order they were made, each after its delay and each in one write, because one read
// of the library is one read of at most 1024 bytes.
//
// Lives on the server's network thread only.

// A standard header before asio: asio picks its allocator from the standard library's
// configuration, and a file that reached asio first would pick another one than the rest.
#include <cstddef>

#include <array>
#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "emulator/FrameAnswer.hpp"
#include "emulator/FrameReader.hpp"

namespace vantoemu {

class UnitServer;

class UnitConnection : public std::enable_shared_from_this<UnitConnection> {
  public:
    using Clock = std::chrono::steady_clock;

    UnitConnection(UnitServer& server, asio::ip::tcp::socket socket, std::uint64_t id,
                   std::string peer, std::chrono::milliseconds idleTimeout);

    void start();
    void close(const std::string& reason);

    std::uint64_t id() const { return mId; }
    const std::string& peer() const { return mPeer; }
    // The sender may be reading from it: a frame half read, an answer not yet written, or an
    // answer that will never come. Closing it then would end the library's process.
    bool answerOwed() const;

  private:
    void read();
    void onRead(std::error_code ec, std::size_t n);
    void schedule(FrameAnswer::Write write);
    void arm();
    void writeNext();
    void armIdle();

    UnitServer& mServer;
    asio::ip::tcp::socket mSocket;
    asio::steady_timer mReplyTimer;
    asio::steady_timer mIdleTimer;
    std::uint64_t mId;
    std::string mPeer;
    std::string mSender;  // the peer's address without the port
    std::chrono::milliseconds mIdleTimeout;
    FrameReader mReader;
    std::array<std::uint8_t, 2048> mBuffer{};
    std::deque<std::pair<Clock::time_point, std::vector<std::uint8_t>>> mPending;
    std::deque<std::vector<std::uint8_t>> mOutbox;
    Clock::time_point mLastActivity = Clock::now();
    bool mWriting = false;
    bool mClosed = false;
    bool mAnswerWithheld = false;
};

}  // namespace vantoemu
