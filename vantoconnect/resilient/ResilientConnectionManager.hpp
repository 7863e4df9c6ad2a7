#pragma once

// The resilient profile's path to the unit. Every exchange opens its own connection and closes
// it once its answer or its failure is in, so a process's descriptors stay flat however many
// requests it makes. Every wait has a limit (ResilientOptions), and everything a unit or the
// network can do (refuse, close, reset, answer with something unrecognised, say nothing)
// becomes a value or a VantoError for the caller, never the end of the process.
//
//   write               returns at once; runs later on the manager's serial queue with deliver()
//   writeAndResponse    blocks; the classified answer, or UNKNOWN when none came (logged)
//   writeAndResponseRaw blocks; the bytes that hold the wanted frame; throws VantoError GENERIC
//                       when the unit cannot be reached and CONNECTION_LOST when it closed the
//                       connection or said nothing within the read limit
//
// A request whose bytes went out is never sent again after the answer was lost: the unit may
// have acted on it, and a receipt packet sent twice prints twice. Only a request that certainly
// did not reach the unit (no connection, not written) or that the printer refused is tried
// again.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vantoconnect/connection/AbstractConnectionManager.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"
#include "vantoconnect/resilient/UnitSocket.hpp"
#include "vantoconnect/support/LockedString.hpp"
#include "vantoconnect/support/SerialQueue.hpp"

namespace vantoconnect {

class LogSink;
class StopSignal;

class ResilientConnectionManager : public AbstractConnectionManager,
                                   public std::enable_shared_from_this<ResilientConnectionManager> {
  public:
    using Clock = std::chrono::steady_clock;

    // What became of one request.
    struct Answer {
        UnitSocket::Status status = UnitSocket::Status::Ok;
        // The unit's answer, classified; UNKNOWN when none was wanted or none came.
        VantoMessageResponse response = VantoMessageResponse::UNKNOWN;
        // Why it failed, in words for people; empty when status is Ok.
        std::string failure{};
        // The request went out whole: a failure after it may have left the unit acting on it.
        bool sent = false;
        // The bytes of the answer, when one was read.
        UBytes bytes{};
    };

    // Attempts of one request that failed without reaching the unit, or was refused.
    static constexpr int ATTEMPTS = 5;

    ResilientConnectionManager(const ResilientOptions& options, std::shared_ptr<const LogSink> log,
                               std::shared_ptr<StopSignal> stop);
    // Raises the stop signal: exchanges in flight end at once, writes still queued fail at once.
    ~ResilientConnectionManager() override;
    ResilientConnectionManager(const ResilientConnectionManager&) = delete;
    ResilientConnectionManager& operator=(const ResilientConnectionManager&) = delete;

    // STATUS_NOT_INITIALISED before the first exchange, then STATUS_CONNECTED_WIFI when the last
    // exchange got through to the unit and STATUS_NOT_CONNECTED when it did not. It tells what
    // the last request found, not that a link is up: none is kept open.
    std::int64_t getConnectionStatus() override;
    void setConnectionIPAddress(const std::string& IPAddress) override;
    std::string getConnectionIPAddress() override;
    // Nothing stays open between exchanges, so there is nothing to close.
    void disconnect() override;

    void write(const Bytes& buffer, bool resendForAcknowledged) override;
    void write(const Bytes& buffer, bool resendForAcknowledged,
               std::function<void(const WriteOutcome&)> onDone) override;
    VantoMessageResponse writeAndResponse(const Bytes& buffer) override;
    Bytes writeAndResponseRaw(const Bytes& buffer, std::int8_t packageExpected,
                              std::int64_t defaultMaxTimeout) override;
    SerialQueue& getQueue() noexcept override { return mQueue; }
    std::int32_t getConnectionPort() override { return mPort.load(); }
    void setConnectionPort(std::int32_t port) override { mPort.store(port); }

    // One attempt on a fresh connection: connect, send and, when `wantAnswer`, read until one
    // whole frame is in; otherwise see that the unit closes in order. No wait goes past
    // `deadline` (nor past the options' own limits).
    Answer exchange(const Bytes& frame, bool wantAnswer, Clock::time_point deadline);
    // A message the unit must get, on the calling thread: up to ATTEMPTS attempts, the next
    // only after one the printer refused or, with `retryUnreached`, one that did not reach the
    // unit (after a short pause). Print data counts as acknowledged only by the printer's answer
    // carrying its own tag. With `wantAcknowledgement` false, delivered once the unit closed the
    // connection in order after it (or kept it open a moment): a unit that resets it instead
    // went away with the message unread.
    //
    // A caller in the middle of a job passes `retryUnreached` false: a unit that could not be
    // reached may have rebooted and lost the job's start, and the rest sent afterwards would
    // come out as a receipt with its head missing.
    WriteOutcome deliver(const Bytes& frame, bool wantAcknowledgement, bool retryUnreached = true);

    // The address and port as "host:port", for messages.
    std::string peer();
    // When the unit last answered (or closed in order after a message it need not answer);
    // when the manager was made, before that.
    Clock::time_point lastAnswer() const noexcept {
        return Clock::time_point(Clock::duration(mLastAnswer.load()));
    }

  private:
    // Reads until a whole frame is in; the answer's bytes, or a failure status.
    UnitSocket::Status readAnswer(UnitSocket& socket, UBytes& answer, Clock::time_point deadline);
    void note(const Answer& answer);
    // The pause before attempt `attempt` (1-based) after one that did not reach the unit.
    static std::chrono::milliseconds retryPause(int attempt);

    const ResilientOptions mOptions;
    std::shared_ptr<const LogSink> mLog;
    std::shared_ptr<StopSignal> mStop;
    LockedString mAddress;
    std::atomic<std::int32_t> mPort;
    std::atomic<std::int64_t> mStatus;
    std::atomic<Clock::rep> mLastAnswer;
    // Last, so that it goes first: its destructor lets queued writes finish (at once, as the
    // stop signal is raised by then) while the rest of the manager is still whole.
    SerialQueue mQueue;
};

}  // namespace vantoconnect
