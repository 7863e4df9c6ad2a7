#include "vantoconnect/connection/GenericConnectionManager.hpp"

#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"

#ifndef VANTO_DEFAULT_UNIT_ADDRESS
#define VANTO_DEFAULT_UNIT_ADDRESS "192.168.4.1"
#endif

namespace vantoconnect {
namespace {

// Wall-clock milliseconds since 1970, from the clock's seconds as a double.
std::int64_t nowMilliseconds() {
    const double seconds =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    return toInt64Checked(seconds * 1000.0);
}

// A read that returns nothing is not handled: the exchange stops the process.
const UBytes& unwrap(const std::optional<UBytes>& read) {
    if (!read) {
        fatalError(fatal::NIL_UNWRAP);
    }
    return *read;
}

std::string failureText(const Result& result) {
    return result.error() ? result.error()->message() : std::string();
}

}  // namespace

const char* const GenericConnectionManager::DEFAULT_IP_ADDRESS = VANTO_DEFAULT_UNIT_ADDRESS;

GenericConnectionManager::GenericConnectionManager()
    : VantoIPAddress(DEFAULT_IP_ADDRESS),
      client(std::make_shared<TCPClient>(VantoIPAddress.load(), VantoPort.load())),
      queue("com.vantoconnect.connection.pool") {}

GenericConnectionManager::~GenericConnectionManager() = default;

std::int64_t GenericConnectionManager::getConnectionStatus() {
    return connectionState;
}

std::string GenericConnectionManager::getConnectionIPAddress() {
    return VantoIPAddress.load();
}

void GenericConnectionManager::setConnectionIPAddress(const std::string& IPAddress) {
    VantoIPAddress = IPAddress;
}

void GenericConnectionManager::write(const Bytes& buffer, bool resendForAcknowledged) {
    write(buffer, resendForAcknowledged, nullptr);
}

void GenericConnectionManager::write(const Bytes& buffer, bool resendForAcknowledged,
                                     std::function<void(const WriteOutcome&)> onDone) {
    // When shared, a pending body keeps the manager alive; otherwise the owner must outlive it.
    auto keepAlive = weak_from_this().lock();
    queue.async([this, keepAlive, buffer, resendForAcknowledged, onDone = std::move(onDone)] {
        const WriteOutcome outcome = writeBody(buffer, resendForAcknowledged);
        if (onDone) {
            onDone(outcome);
        }
    });
}

WriteOutcome GenericConnectionManager::writeBody(const Bytes& buffer, bool resendForAcknowledged) {
    WriteOutcome outcome;
    for (int attempt = 0; attempt < NUM_OF_RETRIES_SENT_PACKAGES; ++attempt) {
        try {
            openConnection();
            writeToVanto(toUnsignedBytes(buffer));
            if (!resendForAcknowledged) {
                outcome.delivered = true;
            } else {
                const std::optional<UBytes> read = readFromVanto();
                const VantoMessageResponse response = classify(toSignedBytes(unwrap(read)));
                if (responseMatcher.isAcknowledged(response)) {
                    consoleLine("Printer says: ACKNOWLEDGED");
                    outcome.delivered = true;
                } else if (response == VantoMessageResponse::ERROR_PRINTER_NOT_OK) {
                    // The printer said no: try again straight away.
                    consoleLine("Printer says: IS NOT OK!");
                    ++outcome.refused;
                } else {
                    consoleLine("MESSAGE NOT ACKNOWLEDGED. " + bytesToHex(unwrap(read)));
                    ++outcome.unrecognised;
                    // An answer nobody understands: give the unit a long rest before resending.
                    sleepSeconds(200);
                }
            }
        } catch (const VantoError&) {
            consoleLine("EXCEPTION ON WRITE PACKAGE OR RESPONSE: ");
        }
        disconnect();
        if (outcome.delivered) {
            return outcome;
        }
    }
    // Five failures: the message is dropped without a word on the console.
    return outcome;
}

VantoMessageResponse GenericConnectionManager::writeAndResponse(const Bytes& buffer) {
    for (int attempt = 0; attempt < NUM_OF_RETRIES_SENT_PACKAGES; ++attempt) {
        try {
            openConnection();
            writeToVanto(toUnsignedBytes(buffer));
            // The connection stays open; the next exchange replaces it.
            return classify(toSignedBytes(unwrap(readFromVanto())));
        } catch (const VantoError& error) {
            if (error.kind() == VantoError::Kind::GENERIC) {
                consoleLine(error.message());
            } else {
                consoleLine("generic error thrown: writeAndResponse");
            }
        }
    }
    disconnect();
    return VantoMessageResponse::UNKNOWN;
}

Bytes GenericConnectionManager::writeAndResponseRaw(const Bytes& buffer,
                                                    std::int8_t packageExpected,
                                                    std::int64_t defaultMaxTimeout) {
    Bytes result(static_cast<std::size_t>(MAX_PACKET_SIZE), 0);
    const std::int64_t start = nowMilliseconds();
    try {
        openConnection();
        if (!buffer.empty()) {
            writeToVanto(toUnsignedBytes(buffer));
        }
        bool listening = true;
        while (listening) {
            Bytes chunk = toSignedBytes(unwrap(readFromVanto()));
            if (matchIncomingWithType(chunk, packageExpected)) {
                return chunk;
            }
            const std::int64_t elapsed = subtractChecked(nowMilliseconds(), start);
            if (elapsed > defaultMaxTimeout) {
                result = std::move(chunk);
                listening = false;
            }
        }
    } catch (const VantoError&) {
        // Dropped on purpose: the caller sees the zero bytes.
    }
    disconnect();
    return result;
}

bool GenericConnectionManager::matchIncomingWithType(const Bytes& buffer,
                                                     std::int8_t packageTypeExpected) {
    std::vector<ByteLump> frames;
    {
        std::lock_guard<std::mutex> lock(decoderMutex);
        frames = linkDecoder.processByteLump(ByteLump(buffer), 0);
    }
    for (const ByteLump& frame : frames) {
        if (ORBAMessage(frame.payload).getType() == packageTypeExpected) {
            return true;
        }
    }
    return false;
}

void GenericConnectionManager::openConnection() {
    {
        auto fresh = std::make_shared<TCPClient>(VantoIPAddress.load(), VantoPort.load());
        // The previous client is dropped without being closed: its connection stays open.
        std::lock_guard<std::mutex> lock(clientMutex);
        client = std::move(fresh);
    }
    const Result result = currentClient()->connect(TIMEOUT);
    if (result.isFailure()) {
        throw VantoError::GENERIC(failureText(result));
    }
}

void GenericConnectionManager::writeToVanto(const UBytes& byteData) {
    const Result result = currentClient()->send(byteData);
    if (result.isFailure()) {
        throw VantoError::GENERIC(failureText(result));
    }
}

std::optional<UBytes> GenericConnectionManager::readFromVanto() {
    return currentClient()->read(1024, -1);
}

void GenericConnectionManager::disconnect() {
    currentClient()->close();
}

VantoMessageResponse GenericConnectionManager::classify(const Bytes& answer) {
    std::lock_guard<std::mutex> lock(matcherMutex);
    return responseMatcher.processResponseFromVanto(answer);
}

std::shared_ptr<TCPClient> GenericConnectionManager::currentClient() {
    std::lock_guard<std::mutex> lock(clientMutex);
    return client;
}

std::string GenericConnectionManager::bytesToHex(const UBytes& inByte) {
    std::string hex;
    hex.reserve(inByte.size() * 2);
    char digits[3];
    for (const std::uint8_t byte : inByte) {
        std::snprintf(digits, sizeof(digits), "%02hhx", byte);
        hex += digits;
    }
    return hex;
}

void GenericConnectionManager::sleepSeconds(unsigned seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
}

}  // namespace vantoconnect
