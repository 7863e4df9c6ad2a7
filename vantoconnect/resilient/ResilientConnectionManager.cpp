#include "vantoconnect/resilient/ResilientConnectionManager.hpp"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/connection/ResponseMatcher.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/resilient/LogSink.hpp"
#include "vantoconnect/resilient/StopSignal.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {
namespace {

using Status = UnitSocket::Status;
using Clock = ResilientConnectionManager::Clock;

// An answer comes in one piece; when only part of a frame has arrived, the rest gets this long
// before what came is taken as all there is.
constexpr std::chrono::milliseconds REST_OF_ANSWER{250};

std::vector<ByteLump> framesIn(const UBytes& bytes) {
    if (bytes.empty()) {
        return {};
    }
    LinkDecoder16 decoder;
    return decoder.processByteLump(ByteLump(toSignedBytes(bytes)), 0);
}

// An answer too short for a message header would stop the process in the matcher: here it is
// simply not understood.
VantoMessageResponse classify(const UBytes& answer) {
    try {
        return ResponseMatcher().processResponseFromVanto(toSignedBytes(answer));
    } catch (const FatalError&) {
        return VantoMessageResponse::UNKNOWN;
    }
}

bool holdsType(const UBytes& bytes, std::int8_t type) {
    for (const ByteLump& frame : framesIn(bytes)) {
        if (frame.payload.size() >= 4 && ORBAMessage(frame.payload).getType() == type) {
            return true;
        }
    }
    return false;
}

// How the printer answered a data packet tagged `tag`: a switch-data command refuses it, a
// switch-data response with its tag takes it; nothing else answers it (an acknowledgement of
// another kind, or of another packet, is not this packet's).
enum class PrintVerdict { Taken, Refused, Other };

PrintVerdict printVerdict(const UBytes& answer, std::int8_t tag) {
    bool taken = false;
    for (const ByteLump& frame : framesIn(answer)) {
        if (frame.payload.size() < 4) {
            continue;
        }
        const ORBAMessage message(frame.payload);
        if (message.getType() != ORBAMessage::SWITCHDATA) {
            continue;
        }
        if (message.isCommand()) {
            return PrintVerdict::Refused;
        }
        taken = taken || message.getTag() == tag;
    }
    return taken ? PrintVerdict::Taken : PrintVerdict::Other;
}

// The tag of a request that carries print data: the one its acknowledgement must carry.
std::optional<std::int8_t> printTag(const Bytes& request) {
    for (const ByteLump& frame : framesIn(toUnsignedBytes(request))) {
        if (frame.payload.size() >= 4) {
            const ORBAMessage message(frame.payload);
            if (message.getType() == ORBAMessage::SWITCHDATA && message.getTag() != 0) {
                return message.getTag();
            }
        }
    }
    return std::nullopt;
}

// A frame too short for a message header, which the controllers would stop the process on.
bool holdsStub(const UBytes& bytes) {
    const auto frames = framesIn(bytes);
    return std::any_of(frames.begin(), frames.end(),
                       [](const ByteLump& frame) { return frame.payload.size() < 4; });
}

bool reachedUnit(Status status) {
    return status == Status::Ok || status == Status::Closed || status == Status::TimedOut;
}

}  // namespace

ResilientConnectionManager::ResilientConnectionManager(const ResilientOptions& options,
                                                       std::shared_ptr<const LogSink> log,
                                                       std::shared_ptr<StopSignal> stop)
    : mOptions(options.bounded()),
      mLog(std::move(log)),
      mStop(std::move(stop)),
      mAddress(options.address.empty() ? GenericConnectionManager::DEFAULT_IP_ADDRESS
                                       : options.address),
      mPort(options.port),
      mStatus(GenericConnectionManager::STATUS_NOT_INITIALISED),
      mLastAnswer(Clock::now().time_since_epoch().count()),
      mQueue("com.vantoconnect.resilient.pool") {}

ResilientConnectionManager::~ResilientConnectionManager() {
    mStop->raise();
}

std::int64_t ResilientConnectionManager::getConnectionStatus() {
    return mStatus.load();
}

void ResilientConnectionManager::setConnectionIPAddress(const std::string& IPAddress) {
    mAddress = IPAddress;
}

std::string ResilientConnectionManager::getConnectionIPAddress() {
    return mAddress.load();
}

void ResilientConnectionManager::disconnect() {}

std::string ResilientConnectionManager::peer() {
    return mAddress.load() + ":" + std::to_string(mPort.load());
}

void ResilientConnectionManager::write(const Bytes& buffer, bool resendForAcknowledged) {
    write(buffer, resendForAcknowledged, nullptr);
}

void ResilientConnectionManager::write(const Bytes& buffer, bool resendForAcknowledged,
                                       std::function<void(const WriteOutcome&)> onDone) {
    auto keepAlive = weak_from_this().lock();
    mQueue.async([this, keepAlive, buffer, resendForAcknowledged, onDone = std::move(onDone)] {
        const ConsoleRedirect lines(&mLog->consoleSink());
        const WriteOutcome outcome = deliver(buffer, resendForAcknowledged);
        if (onDone) {
            onDone(outcome);
        }
    });
}

VantoMessageResponse ResilientConnectionManager::writeAndResponse(const Bytes& buffer) {
    const ConsoleRedirect lines(&mLog->consoleSink());
    for (int attempt = 1;; ++attempt) {
        const Answer answer = exchange(buffer, true, Clock::time_point::max());
        if (answer.status == Status::Ok) {
            return answer.response;
        }
        mLog->line(answer.failure);
        // Asking again is harmless, but only worth it when the question never got there.
        if (reachedUnit(answer.status) || answer.status == Status::Stopped || attempt == ATTEMPTS ||
            mStop->waitFor(retryPause(attempt + 1))) {
            return VantoMessageResponse::UNKNOWN;
        }
    }
}

Bytes ResilientConnectionManager::writeAndResponseRaw(const Bytes& buffer,
                                                      std::int8_t packageExpected,
                                                      std::int64_t defaultMaxTimeout) {
    const ConsoleRedirect lines(&mLog->consoleSink());
    const auto start = Clock::now();
    UnitSocket socket(*mStop);
    Status status = socket.connect(mAddress.load(), mPort.load(), start + mOptions.connectTimeout);
    if (status == Status::Ok && !buffer.empty()) {
        status = socket.send(toUnsignedBytes(buffer), Clock::now() + mOptions.connectTimeout);
    }
    if (status != Status::Ok) {
        note(Answer{status, VantoMessageResponse::UNKNOWN, socket.failure()});
        throw status == Status::Stopped ? VantoError::CANCELLED(socket.failure())
                                        : VantoError::GENERIC(socket.failure());
    }
    const auto deadline = Clock::now() + mOptions.readTimeout;
    const auto enough =
        start + std::chrono::milliseconds(std::clamp<std::int64_t>(defaultMaxTimeout, 0, 86400000));
    UBytes received;
    for (;;) {
        status = socket.receive(received, deadline);
        if (status != Status::Ok) {
            break;
        }
        if (holdsStub(received)) {
            note(Answer{});
            const std::string failure = "the unit at " + peer() +
                                        " answered with a frame too "
                                        "short to be a message";
            mLog->line(failure);
            throw VantoError::GENERIC(failure);
        }
        if (holdsType(received, packageExpected)) {
            note(Answer{});
            return toSignedBytes(received);
        }
        if (Clock::now() > enough) {
            // Answers came, none of the wanted type: the caller decides what that means.
            note(Answer{});
            return toSignedBytes(received);
        }
    }
    if (status == Status::TimedOut && !received.empty()) {
        note(Answer{});
        return toSignedBytes(received);
    }
    const std::string failure = status == Status::TimedOut
                                    ? "no answer from " + peer() + " within " +
                                          std::to_string(mOptions.readTimeout.count()) + " ms"
                                    : socket.failure();
    note(Answer{status, VantoMessageResponse::UNKNOWN, failure});
    mLog->line(failure);
    throw status == Status::Stopped ? VantoError::CANCELLED(failure)
                                    : VantoError::CONNECTION_LOST(failure);
}

ResilientConnectionManager::Answer ResilientConnectionManager::exchange(
    const Bytes& frame, bool wantAnswer, Clock::time_point deadline) {
    const ConsoleRedirect lines(&mLog->consoleSink());
    Answer answer;
    UnitSocket socket(*mStop);
    const auto connectBy = std::min(deadline, Clock::now() + mOptions.connectTimeout);
    answer.status = socket.connect(mAddress.load(), mPort.load(), connectBy);
    if (answer.status == Status::Ok) {
        answer.status = socket.send(toUnsignedBytes(frame),
                                    std::min(deadline, Clock::now() + mOptions.connectTimeout));
        answer.sent = answer.status == Status::Ok;
    }
    if (answer.status == Status::Ok && !wantAnswer) {
        // Nothing answers it; a unit that closes in order read it first. One that keeps the
        // connection open is given the benefit of the doubt after a moment.
        answer.status = socket.awaitClose(std::min(deadline, Clock::now() + REST_OF_ANSWER));
        if (answer.status == Status::TimedOut) {
            answer.status = Status::Ok;
        }
    }
    if (answer.status == Status::Ok && wantAnswer) {
        UBytes& bytes = answer.bytes;
        const auto readFrom = Clock::now();
        const auto readBy = std::min(deadline, readFrom + mOptions.readTimeout);
        answer.status = readAnswer(socket, bytes, readBy);
        if (answer.status == Status::Ok) {
            answer.response = classify(bytes);
        } else if (answer.status == Status::TimedOut) {
            const auto waited =
                std::chrono::duration_cast<std::chrono::milliseconds>(readBy - readFrom);
            answer.failure =
                "no answer from " + peer() + " within " + std::to_string(waited.count()) + " ms";
        }
    }
    if (answer.status != Status::Ok && answer.failure.empty()) {
        answer.failure = socket.failure();
    }
    note(answer);
    return answer;
}

UnitSocket::Status ResilientConnectionManager::readAnswer(UnitSocket& socket, UBytes& answer,
                                                          Clock::time_point deadline) {
    Status status = socket.receive(answer, deadline);
    while (status == Status::Ok && framesIn(answer).empty()) {
        status = socket.receive(answer, std::min(deadline, Clock::now() + REST_OF_ANSWER));
        if (status == Status::TimedOut) {
            // Part of something, and nothing more: not an answer anyone can read.
            return Status::Ok;
        }
    }
    return status;
}

WriteOutcome ResilientConnectionManager::deliver(const Bytes& frame, bool wantAcknowledgement,
                                                 bool retryUnreached) {
    const ConsoleRedirect lines(&mLog->consoleSink());
    const std::optional<std::int8_t> tag = wantAcknowledgement ? printTag(frame) : std::nullopt;
    WriteOutcome outcome;
    for (int attempt = 1; attempt <= ATTEMPTS; ++attempt) {
        const Answer answer = exchange(frame, wantAcknowledgement, Clock::time_point::max());
        if (answer.status == Status::Ok) {
            const PrintVerdict verdict =
                !wantAcknowledgement ? PrintVerdict::Taken
                : tag                ? printVerdict(answer.bytes, *tag)
                : ResponseMatcher().isAcknowledged(answer.response) ? PrintVerdict::Taken
                : answer.response == VantoMessageResponse::ERROR_PRINTER_NOT_OK
                    ? PrintVerdict::Refused
                    : PrintVerdict::Other;
            if (verdict == PrintVerdict::Taken) {
                if (wantAcknowledgement) {
                    mLog->line("Printer says: ACKNOWLEDGED");
                }
                outcome.delivered = true;
                outcome.failure.clear();
                return outcome;
            }
            if (verdict == PrintVerdict::Refused) {
                // The printer said no, so it did not print it: ask again at once.
                ++outcome.refused;
                outcome.failure =
                    "the printer at " + peer() + " refused the packet (printer error)";
                mLog->line("Printer says: IS NOT OK!");
                continue;
            }
            ++outcome.unrecognised;
            outcome.failure = "the unit at " + peer() + " answered with something unrecognised";
            mLog->line(outcome.failure);
            return outcome;
        }
        outcome.failure = answer.failure;
        if (answer.status != Status::Stopped) {
            mLog->line(answer.failure);
        }
        if (answer.sent) {
            // It went out and the answer was lost (or the facade closed under it): the unit
            // may have acted on it, and a packet sent twice prints twice.
            ++outcome.unanswered;
            return outcome;
        }
        // Nothing reached the unit: trying again cannot print anything twice.
        if (answer.status == Status::Stopped || !retryUnreached || attempt == ATTEMPTS ||
            mStop->waitFor(retryPause(attempt + 1))) {
            return outcome;
        }
    }
    return outcome;
}

void ResilientConnectionManager::note(const Answer& answer) {
    if (answer.status == Status::Stopped) {
        return;
    }
    if (answer.status == Status::Ok) {
        mLastAnswer.store(Clock::now().time_since_epoch().count());
    }
    mStatus.store(reachedUnit(answer.status) ? GenericConnectionManager::STATUS_CONNECTED_WIFI
                                             : GenericConnectionManager::STATUS_NOT_CONNECTED);
}

std::chrono::milliseconds ResilientConnectionManager::retryPause(int attempt) {
    // 100, 200, 400, 800 ms: long enough to ride out a blip, short enough that five attempts
    // never hold a receipt for more than a second and a half.
    return std::chrono::milliseconds(100 << std::clamp(attempt - 2, 0, 3));
}

}  // namespace vantoconnect
