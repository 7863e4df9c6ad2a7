#pragma once

// The only path between the library and the unit. Callers hand it a framed message and pick one
// of three exchanges:
//   write               returns at once; the body runs later on the manager's serial queue,
//                       up to five attempts, each on a fresh connection closed afterwards;
//                       with acknowledgement wanted, unacknowledged answers are resent
//   writeAndResponse    blocks; up to five attempts; returns the classified answer and leaves
//                       the connection open
//   writeAndResponseRaw blocks; reads until a frame of the wanted type arrives or the time limit
//                       has passed; returns the raw bytes of the last read
// A connection is opened for every exchange and never kept alive on purpose. A connection left
// open is replaced by the next exchange without being closed: its descriptor stays open.
//
// A read that returns nothing (the unit closed the connection, or the read failed) is a fatal
// error in all three exchanges. On the serial queue that ends the process.
//
// Share the manager through std::shared_ptr (std::make_shared): a pending write body then keeps
// it alive.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "vantoconnect/VantoMessageResponse.hpp"
#include "vantoconnect/connection/AbstractConnectionManager.hpp"
#include "vantoconnect/connection/ResponseMatcher.hpp"
#include "vantoconnect/connection/WriteOutcome.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/support/Bytes.hpp"
#include "vantoconnect/support/LockedString.hpp"
#include "vantoconnect/support/SerialQueue.hpp"
#include "vantoconnect/transport/TCPClient.hpp"

namespace vantoconnect {

class GenericConnectionManager : public AbstractConnectionManager,
                                 public std::enable_shared_from_this<GenericConnectionManager> {
  public:
    static constexpr std::int64_t STATUS_NOT_INITIALISED = -1;
    static constexpr std::int64_t STATUS_NOT_CONNECTED = 0;
    static constexpr std::int64_t STATUS_CONNECTED_WIFI = 2;
    // Connect time-out in seconds.
    static constexpr std::int64_t TIMEOUT = 200;
    // Length of the all-zero answer of writeAndResponseRaw when nothing could be exchanged.
    static constexpr std::int64_t MAX_PACKET_SIZE = 512;
    // The address the unit has on its own Wi-Fi network; fixed when the library is built.
    static const char* const DEFAULT_IP_ADDRESS;

    // Reported by getConnectionStatus(); the manager itself never changes it.
    std::atomic<std::int64_t> connectionState{STATUS_NOT_INITIALISED};
    // Used by the next connection: every attempt reads it anew, so a change takes effect at the
    // next connection, and callbacks see the address as it is when they run. Reading and
    // assigning it directly is safe from any thread.
    LockedString VantoIPAddress;
    std::atomic<std::int32_t> VantoPort{8080};

    // Opens nothing.
    GenericConnectionManager();
    ~GenericConnectionManager() override;
    GenericConnectionManager(const GenericConnectionManager&) = delete;
    GenericConnectionManager& operator=(const GenericConnectionManager&) = delete;

    std::int64_t getConnectionStatus() override;
    std::string getConnectionIPAddress() override;
    void setConnectionIPAddress(const std::string& IPAddress) override;

    void write(const Bytes& buffer, bool resendForAcknowledged) override;
    // The same exchange, on the wire and on the console, and then `onDone` on the serial queue
    // with what the attempts saw. It is not called when the body never ends: a read that waits
    // for an answer has no time limit, and a connection closed under it stops the process.
    void write(const Bytes& buffer, bool resendForAcknowledged,
               std::function<void(const WriteOutcome&)> onDone) override;
    VantoMessageResponse writeAndResponse(const Bytes& buffer) override;
    // packageExpected is a message type; defaultMaxTimeout is in milliseconds and is looked at
    // only after each read, so a silent unit holds the caller indefinitely.
    Bytes writeAndResponseRaw(const Bytes& buffer, std::int8_t packageExpected,
                              std::int64_t defaultMaxTimeout) override;

    // Closes the current connection, if any.
    void disconnect() override;

    // The serial queue that runs write bodies; work submitted to it runs after them.
    SerialQueue& getQueue() noexcept override { return queue; }

    // VantoPort, for callers that see the manager through its abstract base.
    std::int32_t getConnectionPort() override { return VantoPort.load(); }
    void setConnectionPort(std::int32_t port) override { VantoPort.store(port); }

  protected:
    // The pause after an unrecognised answer. Tests override it; the product really sleeps.
    virtual void sleepSeconds(unsigned seconds);

  private:
    static constexpr int NUM_OF_RETRIES_SENT_PACKAGES = 5;

    WriteOutcome writeBody(const Bytes& buffer, bool resendForAcknowledged);
    bool matchIncomingWithType(const Bytes& buffer, std::int8_t packageTypeExpected);
    void openConnection();
    void writeToVanto(const UBytes& byteData);
    std::optional<UBytes> readFromVanto();
    VantoMessageResponse classify(const Bytes& answer);
    std::shared_ptr<TCPClient> currentClient();
    static std::string bytesToHex(const UBytes& inByte);

    // The caller's thread and the queue's thread both replace and use the client; the lock is
    // held only to swap or fetch it, never across a connect or a read.
    std::mutex clientMutex;
    std::shared_ptr<TCPClient> client;
    std::mutex matcherMutex;
    ResponseMatcher responseMatcher;
    // Kept for the manager's life: a frame begun in one raw exchange may end in the next.
    std::mutex decoderMutex;
    LinkDecoder16 linkDecoder;
    // Last, so that it is the first to go: its destructor lets pending bodies finish while the
    // rest of the manager is still whole.
    SerialQueue queue;
};

}  // namespace vantoconnect
