#pragma once

// Shared by the integration suites: the library's facade aimed at an emulated unit on a loopback
// port of its own, with the printer queue quick and at rest (QuickPrinterQueue).

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/Managers.hpp"
#include "tests/support/QuickPrinterQueue.hpp"
#include "tests/support/Receipts.hpp"
#include "tests/support/RecordingCallback.hpp"
#include "tests/support/ScratchDir.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantoconnect::integration {

using namespace std::chrono_literals;
using namespace vantoconnect::testing;

inline const std::vector<std::string> PRINTED = {"started 127.0.0.1", "completed 127.0.0.1"};

class UnitTest : public ::testing::Test {
  protected:
    // Drawing the paper is by far the slowest thing the unit does (seconds per receipt under
    // the thread checker), so only suites that look at the paper ask for it.
    virtual bool drawsPaper() const { return false; }

    void SetUp() override {
        // The drawer stays open until a test closes it.
        unit = std::make_unique<vantoemu::EmulatedUnit>(
            vantoemu::UnitOptions{.port = 0,
                                  .outDir = dir.path.string(),
                                  .drawerCloseAfter = 0ms,
                                  .renderReceipts = drawsPaper(),
                                  .faults = {}});
        unit->start();
        aimAt(*manager, unit->port());
    }

    void TearDown() override {
        quick.reset();
        manager.reset();
        vanto.reset();  // lets queued writes finish while the unit still listens
        unit.reset();
    }

    std::size_t events(const std::string& kind) const { return unit->eventCount(kind); }

    ConsoleCapture console;
    const ScratchDir dir;
    std::unique_ptr<vantoemu::EmulatedUnit> unit;
    std::unique_ptr<Vanto> vanto = std::make_unique<Vanto>();
    std::shared_ptr<GenericConnectionManager> manager =
        std::dynamic_pointer_cast<GenericConnectionManager>(vanto->getConnectionManager());
    std::unique_ptr<QuickPrinterQueue> quick = std::make_unique<QuickPrinterQueue>();
};

}  // namespace vantoconnect::integration
