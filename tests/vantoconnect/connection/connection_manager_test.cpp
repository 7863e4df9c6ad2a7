#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/FakeUnit.hpp"
#include "tests/support/Managers.hpp"
#include "tests/support/UnitFrames.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantoconnect {
namespace {

using testing::ConsoleCapture;
using testing::drained;
using testing::FakeUnit;
using testing::managerFor;
using namespace std::chrono_literals;

constexpr std::int8_t kSwitchData = 0x4E;
constexpr std::int8_t kPortControl = 0x61;

const UBytes kAcknowledged = testing::PRINT_ACKNOWLEDGED;
const UBytes kRefused = FakeUnit::frame(FakeUnit::message(kSwitchData, {}, false, 0));
const auto portControl = [](std::int8_t state) { return testing::portControlReply(18, state); };

// The unit may record a connection a moment after the client's connect has returned.
bool exactlyConnections(const FakeUnit& unit, std::size_t count) {
    return unit.waitForConnections(count) && !unit.waitForConnections(count + 1, 100ms);
}

// A refusal is resent at once, an unrecognised answer only after the long pause, and five
// refusals end the write without a word more.
TEST(WriteWithAcknowledgement, RetriesOnRefusalsAndUnknownAnswersAndGivesUpAfterFive) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::bytes(kRefused));
    unit.script(FakeUnit::Reply::bytes({0x00, 0x0A, 0xFF}));
    unit.script(FakeUnit::Reply::bytes(kAcknowledged));
    auto manager = managerFor(unit.port());
    ConsoleCapture console;
    manager->write({1, 2, 3}, true);
    ASSERT_TRUE(drained(*manager));
    // The decoder reports each byte of the unrecognised answer that lies outside a frame.
    EXPECT_EQ(console.lines(), (std::vector<std::string>{"Printer says: IS NOT OK!", "0", "10",
                                                         "-1", "MESSAGE NOT ACKNOWLEDGED. 000aff",
                                                         "Printer says: ACKNOWLEDGED"}));
    EXPECT_EQ(manager->pauses, std::vector<unsigned>{200});
    EXPECT_TRUE(exactlyConnections(unit, 3));
    EXPECT_EQ(unit.allReceived(), (UBytes{1, 2, 3, 1, 2, 3, 1, 2, 3}));

    console.clear();
    unit.setDefaultReply(FakeUnit::Reply::bytes(kRefused));
    manager->write({4}, true);
    ASSERT_TRUE(drained(*manager));
    EXPECT_TRUE(exactlyConnections(unit, 8));
    EXPECT_EQ(console.lines(), std::vector<std::string>(5, "Printer says: IS NOT OK!"));
    EXPECT_TRUE(unit.waitForClosed(7));
}

// Without acknowledgement each write is one attempt on a connection of its own, closed after.
TEST(WriteOrdering, BodiesRunInSubmissionOrderWhileTheCallerGoesOnAndKeepTheManagerAlive) {
    FakeUnit unit;
    auto manager = managerFor(unit.port());
    ConsoleCapture console;
    std::promise<void> gate;
    auto opened = gate.get_future().share();
    manager->getQueue().async([opened] { opened.wait(); });
    for (std::int8_t i = 1; i <= 4; ++i) {
        manager->write({i, static_cast<std::int8_t>(-i), -128}, false);
    }
    // Every write returned although no body could run yet.
    EXPECT_TRUE(exactlyConnections(unit, 0));
    manager.reset();  // the pending bodies hold the last references
    gate.set_value();
    ASSERT_TRUE(exactlyConnections(unit, 4));
    for (std::uint8_t i = 1; i <= 4; ++i) {
        ASSERT_TRUE(unit.waitForClosed(i - 1u));
        EXPECT_EQ(unit.received(i - 1u), (UBytes{i, static_cast<std::uint8_t>(256 - i), 0x80}));
    }
    EXPECT_TRUE(console.lines().empty());
}

TEST(WriteAndResponse, ReturnsEachAnswerOnceAndLeavesTheConnectionOpen) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::bytes(portControl(0x00)));
    unit.script(FakeUnit::Reply::bytes(portControl(0x7F)));
    unit.script(FakeUnit::Reply::bytes(kRefused));
    auto manager = managerFor(unit.port());
    EXPECT_EQ(manager->writeAndResponse({1, 2}), VantoMessageResponse::PRINTER_STATUS_NOT_READY);
    EXPECT_EQ(unit.received(0), (UBytes{1, 2}));
    // The next exchange replaces the open connection without closing it.
    EXPECT_EQ(manager->writeAndResponse({3}), VantoMessageResponse::CASH_DRAWER_STATE_1);
    EXPECT_FALSE(unit.waitForClosed(0, 200ms));
    // disconnect() closes the current connection only, and a second one finds nothing to close.
    manager->disconnect();
    manager->disconnect();
    EXPECT_TRUE(unit.waitForClosed(1));
    EXPECT_FALSE(unit.waitForClosed(0, 0ms));
    // An answer the caller did not hope for is still an answer: no retry.
    EXPECT_EQ(manager->writeAndResponse({4}), VantoMessageResponse::ERROR_PRINTER_NOT_OK);
    EXPECT_TRUE(exactlyConnections(unit, 3));
    EXPECT_EQ(manager->getConnectionStatus(), -1);  // never moves
}

TEST(UnreachableUnit, EachExchangeFailsInItsOwnWay) {
    auto manager = managerFor(FakeUnit::unusedPort());
    ConsoleCapture console;
    EXPECT_EQ(manager->writeAndResponse({1}), VantoMessageResponse::UNKNOWN);
    EXPECT_EQ(console.lines(), std::vector<std::string>(5,
                                                        "The operation couldn\u2019t be completed. "
                                                        "(vantoconnect.SocketError error 3.)"));
    console.clear();
    EXPECT_EQ(manager->writeAndResponseRaw({1, 2}, kPortControl, 1000), Bytes(512, 0));
    EXPECT_TRUE(console.lines().empty());
}

// On the caller's thread an empty read stops with a catchable error (the integration suite
// meets it through the facade); on the queue the same edge ends the process.
TEST(NothingReadDeathTest, OnTheQueueItEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            FakeUnit unit;
            unit.script(FakeUnit::Reply::close());
            auto manager = managerFor(unit.port());
            manager->write({1}, true);
            drained(*manager);
        },
        "unexpectedly found nil while unwrapping an Optional value");
}

// One connection per exchange, each left open on a match: the answers arrive in script order.
TEST(WriteRaw, ReturnsTheChunkOfTheWantedFrameOrTheLastChunkOnceTheLimitHasPassed) {
    FakeUnit unit;
    const UBytes wanted = portControl(0x7F);
    UBytes chunk = kAcknowledged;
    chunk.insert(chunk.end(), wanted.begin(), wanted.end());
    chunk.insert(chunk.end(), kAcknowledged.begin(), kAcknowledged.end());
    const UBytes late = FakeUnit::frame(FakeUnit::message(kSwitchData, {1}, true, 2));
    const UBytes head(wanted.begin(), wanted.begin() + 8);
    const UBytes tail(wanted.begin() + 8, wanted.end());
    unit.script(FakeUnit::Reply::bytes(chunk));
    unit.script(FakeUnit::Reply::chunked({{0ms, kAcknowledged}, {300ms, late}}));
    unit.script(FakeUnit::Reply::bytes(head));
    unit.script(FakeUnit::Reply::bytes(tail));
    auto manager = managerFor(unit.port());
    EXPECT_EQ(manager->writeAndResponseRaw({7}, kPortControl, 1000), toSignedBytes(chunk));
    EXPECT_EQ(unit.received(0), (UBytes{7}));
    // The first chunk arrives well inside the limit, so the manager reads again.
    EXPECT_EQ(manager->writeAndResponseRaw({8}, kPortControl, 150), toSignedBytes(late));
    EXPECT_TRUE(unit.waitForClosed(1));  // no match: closed
    // A limit below zero ends an exchange after its first read, yet the frame begun in one
    // exchange completes in the next.
    EXPECT_EQ(manager->writeAndResponseRaw({1}, kPortControl, -1), toSignedBytes(head));
    EXPECT_EQ(manager->writeAndResponseRaw({2}, kPortControl, -1), toSignedBytes(tail));
    EXPECT_FALSE(unit.waitForClosed(3, 200ms));
    // An empty buffer sends nothing and only listens.
    const UBytes greeting = portControl(0x3F);
    unit.setGreeting(FakeUnit::Reply::bytes(greeting));
    EXPECT_EQ(manager->writeAndResponseRaw({}, kPortControl, 1000), toSignedBytes(greeting));
    EXPECT_EQ(unit.requestCount(), 4u);
    EXPECT_TRUE(unit.received(4).empty());
}

// Applications know the address as a public field and write it directly, from any thread,
// while queued writes read it for each attempt: a change reaches the next connection, and
// nothing races (the race checker runs this suite too).
TEST(UnitAddress, DirectWritesWhileBodiesConnectAreSafeAndReachTheNextConnection) {
    FakeUnit unit;
    auto manager = managerFor(FakeUnit::unusedPort());
    manager->VantoPort = unit.port();
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop) {
            manager->VantoIPAddress = std::string("127.0.0.1");
            EXPECT_EQ(manager->getConnectionIPAddress(), "127.0.0.1");
        }
    });
    for (std::int8_t i = 0; i < 20; ++i) {
        manager->write({i}, false);
    }
    ASSERT_TRUE(drained(*manager));
    stop = true;
    writer.join();
    EXPECT_TRUE(exactlyConnections(unit, 20));

    // A name that cannot be resolved, written directly, is what the next attempt uses.
    manager->VantoIPAddress = std::string("no such unit");
    ConsoleCapture console;
    manager->write({1}, false);
    ASSERT_TRUE(drained(*manager));
    EXPECT_EQ(console.count("EXCEPTION ON WRITE PACKAGE OR RESPONSE: "), 5u);
    EXPECT_TRUE(exactlyConnections(unit, 20));
}

}  // namespace
}  // namespace vantoconnect
