#pragma once

// Shared by the integration suites: the library's facade aimed at an emulated unit on a loopback
// port of its own, a callback that records what it hears, and waits that end as soon as what
// they wait for has happened.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/support/ConsoleCapture.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantoconnect::integration {

using namespace std::chrono_literals;

// Polls a condition until it holds or the limit passes; for state the unit offers no event for.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds limit = 5s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

// Returns once every write body queued on the manager before the call has run.
inline bool drained(GenericConnectionManager& manager, std::chrono::milliseconds limit = 10s) {
    auto reached = std::make_shared<std::promise<void>>();
    auto future = reached->get_future();
    manager.getQueue().async([reached] { reached->set_value(); });
    return future.wait_for(limit) == std::future_status::ready;
}

inline std::shared_ptr<GenericConnectionManager> managerOf(Vanto& vanto) {
    return std::dynamic_pointer_cast<GenericConnectionManager>(vanto.getConnectionManager());
}

inline void aimAt(GenericConnectionManager& manager, std::uint16_t port) {
    manager.setConnectionIPAddress("127.0.0.1");
    manager.VantoPort = port;
}

// The "hex" field of each of the unit's events of one kind, in order.
inline std::vector<std::string> eventHex(const vantoemu::EmulatedUnit& unit,
                                         const std::string& kind) {
    std::vector<std::string> out;
    for (const auto& event : unit.events()) {
        if (event.kind == kind) {
            out.push_back(nlohmann::json::parse(event.json).value("hex", std::string()));
        }
    }
    return out;
}

inline std::shared_ptr<VantoReceipt> receiptSaying(const std::string& text) {
    auto receipt = std::make_shared<VantoReceipt>();
    receipt->addLine(std::make_shared<VantoReceiptTextLine>(text, 0, 0, 0));
    return receipt;
}

// The printer bytes of a receipt as the unit should collect them: every group, in order.
inline std::vector<std::uint8_t> composed(const VantoReceipt& receipt) {
    std::vector<std::uint8_t> all;
    for (const Bytes& group : ReceiptComposer().compose(receipt)) {
        for (const std::int8_t b : group) {
            all.push_back(static_cast<std::uint8_t>(b));
        }
    }
    return all;
}

// Width and height from a PNG file's header chunk; zero when the file is not a PNG.
struct PngSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};
inline PngSize pngSize(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    unsigned char head[24] = {};
    in.read(reinterpret_cast<char*>(head), sizeof head);
    const unsigned char signature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    if (!in || !std::equal(signature, signature + 8, head)) {
        return {};
    }
    auto word = [&](int at) {
        return (std::uint32_t{head[at]} << 24) | (std::uint32_t{head[at + 1]} << 16) |
               (std::uint32_t{head[at + 2]} << 8) | std::uint32_t{head[at + 3]};
    };
    return {word(16), word(20)};
}

// Records every callback in arrival order, from whichever thread it comes.
class RecordingCallback : public VantoPrinterCallback {
  public:
    struct Event {
        std::string kind;  // "started", "completed" or "error"
        std::string detail;
    };

    void onPrinterStarted(const std::string& ipAddress) override { add("started", ipAddress); }
    void onPrinterCompleted(const std::string& ipAddress) override { add("completed", ipAddress); }
    void onPrinterError(const VantoError& error) override { add("error", error.description()); }

    std::vector<Event> events() const {
        std::lock_guard lock(mMutex);
        return mEvents;
    }
    std::vector<std::string> kinds() const {
        std::vector<std::string> out;
        for (const auto& e : events()) {
            out.push_back(e.kind);
        }
        return out;
    }
    bool waitForEvents(std::size_t count, std::chrono::milliseconds limit = 15s) const {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, limit, [&] { return mEvents.size() >= count; });
    }

  private:
    void add(std::string kind, std::string detail) {
        std::lock_guard lock(mMutex);
        mEvents.push_back({std::move(kind), std::move(detail)});
        mChanged.notify_all();
    }

    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<Event> mEvents;
};

// A fresh unit on a port of its own and a facade aimed at it. The printer queue's waits are
// cut a hundredfold (0.1 s and 2.0 s become 1 ms and 20 ms) and its process-wide state starts
// empty.
class UnitTest : public ::testing::Test {
  protected:
    // Drawing the paper is by far the slowest thing the unit does (seconds per receipt under
    // the thread checker), so only suites that look at the paper ask for it.
    virtual bool drawsPaper() const { return false; }

    void SetUp() override {
        PrinterQueue::setTimerIntervalScale(0.01);
        ASSERT_TRUE(PrinterQueue::resetForTesting());
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        dir = std::filesystem::temp_directory_path() /
              ("vanto-integration-" + name + "-" + std::to_string(::getpid()));
        std::filesystem::remove_all(dir);
        vantoemu::UnitOptions options;
        options.port = 0;
        options.outDir = dir.string();
        options.drawerCloseAfter = 0ms;  // the drawer stays open until a test closes it
        options.renderReceipts = drawsPaper();
        unit = std::make_unique<vantoemu::EmulatedUnit>(options);
        unit->start();
        vanto = std::make_unique<Vanto>();
        manager = managerOf(*vanto);
        ASSERT_NE(manager, nullptr);
        aimAt(*manager, unit->port());
    }

    void TearDown() override {
        EXPECT_TRUE(PrinterQueue::resetForTesting());
        PrinterQueue::setTimerIntervalScale(1.0);
        manager.reset();
        vanto.reset();  // lets queued writes finish while the unit still listens
        unit.reset();
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }

    std::size_t events(const std::string& kind) const { return unit->eventCount(kind); }

    testing::ConsoleCapture console;
    std::filesystem::path dir;
    std::unique_ptr<vantoemu::EmulatedUnit> unit;
    std::unique_ptr<Vanto> vanto;
    std::shared_ptr<GenericConnectionManager> manager;
};

}  // namespace vantoconnect::integration
