#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <filesystem>
#include <iostream>

#include "emulator/EmulatedUnit.hpp"
#include "tests/soak/SoakSupport.hpp"
#include "tests/support/Managers.hpp"
#include "tests/support/ScratchDir.hpp"
#include "tests/support/UnitFrames.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/transport/TCPClient.hpp"

namespace vantoconnect::soak {
namespace {

using namespace std::chrono_literals;

// The emulated unit left running under a steady stream of receipts must not grow: receipts,
// events and the connections the library leaves open are all bounded.
TEST(EmulatorMemory, StaysFlatFromTwoHundredToTwoThousandReceipts) {
    constexpr int RECEIPTS = 2000;
    constexpr int EARLY = 200;
    QuietConsole quiet;
    const testing::ScratchDir scratch;
    const auto& dir = scratch.path;
    const vantoemu::UnitOptions options{
        .port = 0, .outDir = dir.string(), .keep = 50, .idleTimeout = 1s, .faults = {}};
    vantoemu::EmulatedUnit unit(options);
    unit.start();

    // The printer controller on a connection of its own: the packets, tags and end of job of
    // the facade, without the printer-status query whose socket the library never closes (a
    // library process runs out of descriptors it can wait on after about a thousand of them).
    // The status queries are made here instead, and their sockets left open for a while, as
    // the library leaves them, so that the unit's idle time-out has something to close.
    auto manager = std::make_shared<GenericConnectionManager>();
    testing::aimAt(*manager, unit.port());
    VantoPrinterController printer(manager);
    std::deque<std::unique_ptr<TCPClient>> leftOpen;

    long early = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i <= RECEIPTS; ++i) {
        auto status = std::make_unique<TCPClient>("127.0.0.1", unit.port());
        ASSERT_TRUE(status->connect(2).isSuccess());
        status->send(testing::PRINTER_BUSY_QUERY);
        ASSERT_TRUE(status->read(1024, 5).has_value());
        leftOpen.push_back(std::move(status));
        if (leftOpen.size() > 100) {
            leftOpen.front()->close();  // dropping a client leaves its descriptor open
            leftOpen.pop_front();
        }
        auto story = std::make_shared<testing::RecordingCallback>();
        printer.vantoprint(shopReceipt(i), story, static_cast<std::uint64_t>(i), story);
        ASSERT_TRUE(story->waitForEvents(3, 30s)) << "receipt " << i;
        ASSERT_TRUE(story->reports().at(0).allAcknowledged)
            << "receipt " << i << ": " << story->reports().at(0).summary() << "; descriptors "
            << std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
        ASSERT_TRUE(unit.waitForReceipts(static_cast<std::size_t>(i), 30s)) << "receipt " << i;
        if (i == EARLY) {
            early = residentKb();
        }
    }
    const long late = residentKb();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << "resident memory after " << EARLY << " receipts: " << early / 1024 << " MB, after "
              << RECEIPTS << ": " << late / 1024 << " MB (" << (late - early) / 1024
              << " MB more); " << RECEIPTS << " receipts in " << seconds << " s" << std::endl;
    EXPECT_LT(late - early, 20 * 1024);

    const auto receipts = unit.receipts();
    ASSERT_FALSE(receipts.empty());
    EXPECT_EQ(receipts.back().number, RECEIPTS);
    EXPECT_TRUE(receipts.back().complete());
    // Only the kept receipts are on disk.
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        files += entry.path().extension() == ".txt" ? 1 : 0;
    }
    EXPECT_EQ(files, options.keep);
    EXPECT_GT(unit.eventCount("disconnect"), static_cast<std::size_t>(RECEIPTS));
}

}  // namespace
}  // namespace vantoconnect::soak
