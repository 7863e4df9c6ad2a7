#pragma once

// Shared by the device and printing suites: a connection manager aimed at the fake unit, the
// expected wire frames, and a callback that records what it was told.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/FakeUnit.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect::testing {

// Never pauses for the 200 s that an unrecognised answer costs in production.
class QuickConnectionManager : public GenericConnectionManager {
  protected:
    void sleepSeconds(unsigned /*seconds*/) override {}
};

inline std::shared_ptr<QuickConnectionManager> managerFor(const FakeUnit& unit) {
    auto manager = std::make_shared<QuickConnectionManager>();
    manager->setConnectionIPAddress("127.0.0.1");
    manager->VantoPort = unit.port();
    return manager;
}

inline Bytes concat(Bytes head, const Bytes& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

// A 32-bit word as the unit reads it: least significant byte first.
inline Bytes littleEndian(std::uint32_t word) {
    return {static_cast<std::int8_t>(word & 0xFF), static_cast<std::int8_t>((word >> 8) & 0xFF),
            static_cast<std::int8_t>((word >> 16) & 0xFF),
            static_cast<std::int8_t>((word >> 24) & 0xFF)};
}

// A set-IO-state request to the IO channel: 24 zero bytes, the change mask, the values.
inline Bytes ioStateMessage(std::int8_t source, std::uint32_t mask, std::uint32_t value) {
    Bytes message{0x1B, source, 0x49, 0x00};
    message.resize(4 + 24, 0);
    return concat(concat(message, littleEndian(mask)), littleEndian(value));
}

// A port-control answer whose content is `size` bytes with `state` at content byte 6.
inline UBytes portControlReply(std::size_t size, std::int8_t state) {
    Bytes content(size, 0);
    if (size > 6) {
        content[6] = state;
    }
    return FakeUnit::frame(FakeUnit::message(0x61, content));
}

inline UBytes printerReadyReply() {
    return portControlReply(18, 0x04);
}
inline UBytes printerNotReadyReply() {
    return portControlReply(18, 0x00);
}
// The unit acknowledges with a switch-data response carrying a tag; tag 0 reads as an error.
inline UBytes printAcknowledgedReply() {
    return FakeUnit::frame(FakeUnit::message(0x4E, {}, true, 1));
}

// Printer-channel switch data from the host with the given tag.
inline UBytes printerFrame(std::int8_t tag, const Bytes& data) {
    return FakeUnit::frame(concat({0x12, 0x02, 0x4E, tag}, data));
}
inline UBytes endOfJobFrame() {
    return printerFrame(0, {0x00});
}
inline UBytes printerBusyQueryFrame() {
    return FakeUnit::frame({0x12, 0x02, 0x61, 0x00});
}

// Records every callback in arrival order, from whatever thread it comes.
class RecordingCallback : public VantoPrinterCallback {
  public:
    struct Event {
        std::string kind;  // "started", "completed" or "error"
        std::string detail;
        std::size_t requestsSeen = 0;  // the fake unit's request count at that moment
    };

    explicit RecordingCallback(const FakeUnit* unit = nullptr) : mUnit(unit) {}

    void onPrinterStarted(const std::string& ipAddress) override { add("started", ipAddress); }
    void onPrinterCompleted(const std::string& ipAddress) override { add("completed", ipAddress); }
    void onPrinterError(const VantoError& error) override { add("error", error.description()); }

    std::vector<Event> events() const {
        std::lock_guard lock(mMutex);
        return mEvents;
    }
    bool waitForEvents(std::size_t count,
                       std::chrono::milliseconds limit = std::chrono::seconds(10)) const {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, limit, [&] { return mEvents.size() >= count; });
    }
    std::vector<std::string> kinds() const {
        std::vector<std::string> out;
        for (const Event& e : events()) {
            out.push_back(e.kind);
        }
        return out;
    }

  private:
    void add(std::string kind, std::string detail) {
        const std::size_t seen = mUnit != nullptr ? mUnit->requestCount() : 0;
        std::lock_guard lock(mMutex);
        mEvents.push_back({std::move(kind), std::move(detail), seen});
        mChanged.notify_all();
    }

    const FakeUnit* mUnit;
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<Event> mEvents;
};

}  // namespace vantoconnect::testing

namespace vantoconnect::testing {

// What each connection brought, once as many connections and bytes as `expected` holds have
// arrived (or the wait has timed out), for comparison with `expected`, one frame per connection.
inline std::vector<UBytes> receivedLike(const FakeUnit& unit, const std::vector<UBytes>& expected) {
    std::size_t total = 0;
    for (const UBytes& frame : expected) {
        total += frame.size();
    }
    unit.waitForConnections(expected.size());
    unit.waitForBytes(total);
    std::vector<UBytes> out;
    for (std::size_t k = 0; k < unit.connectionCount(); ++k) {
        out.push_back(unit.received(k));
    }
    return out;
}

}  // namespace vantoconnect::testing
