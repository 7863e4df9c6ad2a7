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
#include <future>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/RecordingCallback.hpp"
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

// Returns once every write body queued on the manager before the call has run.
inline bool drained(GenericConnectionManager& manager, std::chrono::milliseconds limit = 10s) {
    auto reached = std::make_shared<std::promise<void>>();
    auto future = reached->get_future();
    manager.getQueue().async([reached] { reached->set_value(); });
    return future.wait_for(limit) == std::future_status::ready;
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
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

using vantoconnect::testing::RecordingCallback;

inline const std::vector<std::string> PRINTED = {"started 127.0.0.1", "completed 127.0.0.1"};

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
        dir = std::filesystem::temp_directory_path() /
              ("vanto-integration-" + std::to_string(::getpid()));
        // The drawer stays open until a test closes it.
        unit = std::make_unique<vantoemu::EmulatedUnit>(
            vantoemu::UnitOptions{.port = 0,
                                  .outDir = dir.string(),
                                  .drawerCloseAfter = 0ms,
                                  .renderReceipts = drawsPaper(),
                                  .faults = {}});
        unit->start();
        vanto = std::make_unique<Vanto>();
        manager =
            std::dynamic_pointer_cast<GenericConnectionManager>(vanto->getConnectionManager());
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
