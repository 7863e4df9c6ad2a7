#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/FakeUnit.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/transport/SocketError.hpp"

namespace vantoconnect {
namespace {

using testing::ConsoleCapture;
using testing::FakeUnit;
using namespace std::chrono_literals;

constexpr std::int8_t kSwitchData = 0x4E;
constexpr std::int8_t kPortControl = 0x61;
const char* const kEXCEPTION = "EXCEPTION ON WRITE PACKAGE OR RESPONSE: ";

// Records the pause instead of taking it.
class PausingManager : public GenericConnectionManager {
  public:
    std::vector<unsigned> pauses() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mPauses;
    }

  protected:
    void sleepSeconds(unsigned seconds) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mPauses.push_back(seconds);
    }

  private:
    std::mutex mMutex;
    std::vector<unsigned> mPauses;
};

std::shared_ptr<PausingManager> managerFor(std::int32_t port) {
    auto manager = std::make_shared<PausingManager>();
    manager->setConnectionIPAddress("127.0.0.1");
    manager->VantoPort = port;
    return manager;
}

// Waits until every write body submitted so far has run.
void drain(GenericConnectionManager& manager) {
    std::promise<void> done;
    manager.getQueue().async([&done] { done.set_value(); });
    ASSERT_EQ(done.get_future().wait_for(10s), std::future_status::ready);
}

UBytes acknowledged() {
    return FakeUnit::frame(FakeUnit::message(kSwitchData, {}, true, 1));
}
UBytes printerRefused() {
    return FakeUnit::frame(FakeUnit::message(kSwitchData, {}, false, 0));
}
UBytes portControl(std::int8_t state) {
    Bytes content(18, 0);
    content[6] = state;
    return FakeUnit::frame(FakeUnit::message(kPortControl, content));
}
Bytes signedOf(const UBytes& bytes) {
    return toSignedBytes(bytes);
}
UBytes concat(const UBytes& a, const UBytes& b) {
    UBytes all = a;
    all.insert(all.end(), b.begin(), b.end());
    return all;
}

// The unit may record a connection a moment after the client's connect has returned.
::testing::AssertionResult exactlyConnections(const FakeUnit& unit, std::size_t count) {
    if (!unit.waitForConnections(count)) {
        return ::testing::AssertionFailure() << "only " << unit.connectionCount() << " connections";
    }
    if (unit.waitForConnections(count + 1, 100ms)) {
        return ::testing::AssertionFailure() << unit.connectionCount() << " connections";
    }
    return ::testing::AssertionSuccess();
}

const std::string kRefusedText = localizedDescription(SocketError::unknownError);

TEST(ManagerState, StatusNeverMovesAndTheAddressIsTakenAsGiven) {
    FakeUnit unit;
    unit.setDefaultReply(FakeUnit::Reply::bytes(portControl(0x04)));
    auto manager = managerFor(unit.port());
    EXPECT_EQ(manager->getConnectionStatus(), -1);
    EXPECT_EQ(manager->writeAndResponse({1}), VantoMessageResponse::PRINTER_STATUS_OK);
    EXPECT_EQ(manager->getConnectionStatus(), -1);
    manager->disconnect();
    manager->setConnectionIPAddress("not an address");
    EXPECT_EQ(manager->getConnectionIPAddress(), "not an address");
    EXPECT_EQ(manager->VantoPort.load(), unit.port());
}

TEST(ManagerState, DefaultsAreTheUnitsAddressAndPort) {
    GenericConnectionManager manager;  // opens nothing, so the default address is never reached
    EXPECT_EQ(manager.getConnectionIPAddress(), GenericConnectionManager::DEFAULT_IP_ADDRESS);
    EXPECT_EQ(manager.VantoPort.load(), 8080);
    EXPECT_EQ(manager.getConnectionStatus(), GenericConnectionManager::STATUS_NOT_INITIALISED);
    manager.disconnect();  // nothing open: harmless
}

TEST(WriteWithoutAcknowledgement, MakesOneAttemptAndClosesIt) {
    FakeUnit unit;
    auto manager = managerFor(unit.port());
    ConsoleCapture console;
    const Bytes buffer{0x02, 0x05, -128, -1, 0x7F};
    manager->write(buffer, false);
    drain(*manager);
    ASSERT_TRUE(unit.waitForClosed(0));
    EXPECT_TRUE(exactlyConnections(unit, 1));
    EXPECT_EQ(unit.received(0), (UBytes{0x02, 0x05, 0x80, 0xFF, 0x7F}));
    EXPECT_TRUE(console.lines().empty());
}

TEST(WriteWithAcknowledgement, RetriesAtOnceWhenThePrinterSaysNo) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::bytes(printerRefused()));
    unit.script(FakeUnit::Reply::bytes(acknowledged()));
    auto manager = managerFor(unit.port());
    ConsoleCapture console;
    manager->write({1, 2, 3}, true);
    drain(*manager);
    EXPECT_EQ(console.count("Printer says: IS NOT OK!"), 1u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 1u);
    EXPECT_TRUE(manager->pauses().empty());
    EXPECT_TRUE(exactlyConnections(unit, 2));
    EXPECT_TRUE(unit.waitForClosed(0));
    EXPECT_TRUE(unit.waitForClosed(1));
    EXPECT_EQ(unit.received(1), (UBytes{1, 2, 3}));
}

TEST(WriteWithAcknowledgement, PausesTwoHundredSecondsAfterAnUnrecognisedAnswer) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::bytes({0x00, 0x0A, 0xFF}));
    unit.script(FakeUnit::Reply::bytes(acknowledged()));
    auto manager = managerFor(unit.port());
    ConsoleCapture console;
    manager->write({9}, true);
    drain(*manager);
    EXPECT_EQ(console.count("MESSAGE NOT ACKNOWLEDGED. 000aff"), 1u);
    EXPECT_EQ(manager->pauses(), std::vector<unsigned>{200});
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), 1u);
    EXPECT_TRUE(exactlyConnections(unit, 2));
}

TEST(WriteWithAcknowledgement, GivesUpSilentlyAfterFiveRefusals) {
    FakeUnit unit;
    unit.setDefaultReply(FakeUnit::Reply::bytes(printerRefused()));
    auto manager = managerFor(unit.port());
    ConsoleCapture console;
    manager->write({4}, true);
    drain(*manager);
    EXPECT_TRUE(exactlyConnections(unit, 5));
    EXPECT_EQ(console.count("Printer says: IS NOT OK!"), 5u);
    EXPECT_EQ(console.lines().size(), 5u);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_TRUE(unit.waitForClosed(i));
    }
}

TEST(WriteFailures, AnUnreachableUnitIsTriedFiveTimesWithTheExceptionLine) {
    auto manager = managerFor(FakeUnit::unusedPort());
    ConsoleCapture console;
    manager->write({1}, false);
    drain(*manager);
    EXPECT_EQ(console.count(kEXCEPTION), 5u);
    EXPECT_EQ(console.lines().size(), 5u);
}

TEST(WriteOrdering, BodiesRunInSubmissionOrderWhileTheCallerGoesOn) {
    FakeUnit unit;
    auto manager = managerFor(unit.port());
    std::promise<void> gate;
    auto opened = gate.get_future().share();
    manager->getQueue().async([opened] { opened.wait(); });
    for (std::int8_t i = 1; i <= 4; ++i) {
        manager->write({i, i}, false);
    }
    // Every write returned although no body could run yet.
    EXPECT_TRUE(exactlyConnections(unit, 0));
    gate.set_value();
    drain(*manager);
    ASSERT_TRUE(exactlyConnections(unit, 4));
    for (std::uint8_t i = 1; i <= 4; ++i) {
        ASSERT_TRUE(unit.waitForClosed(i - 1u));
        EXPECT_EQ(unit.received(i - 1u), (UBytes{i, i}));
    }
}

TEST(WriteOrdering, APendingBodyKeepsTheManagerAlive) {
    FakeUnit unit;
    auto manager = managerFor(unit.port());
    std::promise<void> gate;
    auto opened = gate.get_future().share();
    manager->getQueue().async([opened] { opened.wait(); });
    manager->write({5}, false);
    manager.reset();
    gate.set_value();
    EXPECT_TRUE(unit.waitForBytes(1));
    EXPECT_TRUE(unit.waitForClosed(0));
}

TEST(WriteAndResponse, ReturnsTheAnswerAndLeavesTheConnectionOpen) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::bytes(portControl(0x00)));
    unit.script(FakeUnit::Reply::bytes(portControl(0x7F)));
    auto manager = managerFor(unit.port());
    EXPECT_EQ(manager->writeAndResponse({1, 2}), VantoMessageResponse::PRINTER_STATUS_NOT_READY);
    EXPECT_EQ(unit.received(0), (UBytes{1, 2}));
    EXPECT_FALSE(unit.waitForClosed(0, 200ms));
    // The next exchange replaces the open connection without closing it.
    EXPECT_EQ(manager->writeAndResponse({3}), VantoMessageResponse::CASH_DRAWER_STATE_1);
    EXPECT_FALSE(unit.waitForClosed(0, 200ms));
    // disconnect() closes the current connection only.
    manager->disconnect();
    EXPECT_TRUE(unit.waitForClosed(1));
    EXPECT_TRUE(unit.isOpen(0));
}

TEST(WriteAndResponse, AnUnreachableUnitIsTriedFiveTimesThenUnknown) {
    auto manager = managerFor(FakeUnit::unusedPort());
    ConsoleCapture console;
    EXPECT_EQ(manager->writeAndResponse({1}), VantoMessageResponse::UNKNOWN);
    EXPECT_EQ(console.count(kRefusedText), 5u);
    EXPECT_EQ(console.lines().size(), 5u);
}

TEST(WriteAndResponse, AnUnrecognisedAnswerIsReturnedWithoutRetry) {
    FakeUnit unit;
    unit.setDefaultReply(FakeUnit::Reply::bytes(printerRefused()));
    auto manager = managerFor(unit.port());
    EXPECT_EQ(manager->writeAndResponse({1}), VantoMessageResponse::ERROR_PRINTER_NOT_OK);
    EXPECT_TRUE(exactlyConnections(unit, 1));
}

TEST(WriteAndResponse, ANothingReadIsFatalOnTheCallersThread) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::close());
    auto manager = managerFor(unit.port());
    try {
        manager->writeAndResponse({1});
        ADD_FAILURE() << "expected a fatal error";
    } catch (const FatalError& error) {
        EXPECT_STREQ(error.what(), fatal::NIL_UNWRAP.data());
    }
}

TEST(WriteRaw, AnEmptyBufferOnlyListens) {
    FakeUnit unit;
    const UBytes wanted = portControl(0x3F);
    unit.setGreeting(FakeUnit::Reply::bytes(wanted));
    auto manager = managerFor(unit.port());
    EXPECT_EQ(manager->writeAndResponseRaw({}, kPortControl, 1000), signedOf(wanted));
    EXPECT_EQ(unit.requestCount(), 0u);
    EXPECT_TRUE(unit.received(0).empty());
    // A match returns without closing the connection.
    EXPECT_FALSE(unit.waitForClosed(0, 200ms));
    manager->disconnect();
}

TEST(WriteRaw, AFailedConnectGivesExactly512ZeroBytesSilently) {
    auto manager = managerFor(FakeUnit::unusedPort());
    ConsoleCapture console;
    EXPECT_EQ(manager->writeAndResponseRaw({1, 2}, kPortControl, 1000), Bytes(512, 0));
    EXPECT_TRUE(console.lines().empty());
}

TEST(WriteRaw, ReturnsTheWholeChunkHoldingTheWantedFrame) {
    FakeUnit unit;
    const UBytes chunk = concat(acknowledged(), concat(portControl(0x7F), acknowledged()));
    unit.script(FakeUnit::Reply::bytes(chunk));
    auto manager = managerFor(unit.port());
    EXPECT_EQ(manager->writeAndResponseRaw({7}, kPortControl, 1000), signedOf(chunk));
    EXPECT_EQ(unit.received(0), (UBytes{7}));
}

TEST(WriteRaw, ReturnsTheLastChunkOnceTheTimeLimitHasPassed) {
    FakeUnit unit;
    const UBytes first = acknowledged();
    const UBytes second = FakeUnit::frame(FakeUnit::message(kSwitchData, {1}, true, 2));
    unit.script(FakeUnit::Reply::chunked({{0ms, first}, {300ms, second}}));
    auto manager = managerFor(unit.port());
    // The first chunk arrives well inside the limit, so the manager reads again.
    EXPECT_EQ(manager->writeAndResponseRaw({7}, kPortControl, 150), signedOf(second));
    EXPECT_TRUE(unit.waitForClosed(0));
}

TEST(WriteRaw, AFrameBegunInOneExchangeCanCompleteInTheNext) {
    FakeUnit unit;
    const UBytes wanted = portControl(0x7F);
    const UBytes head(wanted.begin(), wanted.begin() + 8);
    const UBytes tail(wanted.begin() + 8, wanted.end());
    unit.script(FakeUnit::Reply::bytes(head));
    unit.script(FakeUnit::Reply::bytes(tail));
    auto manager = managerFor(unit.port());
    // A limit below zero ends the first exchange after its first read.
    EXPECT_EQ(manager->writeAndResponseRaw({1}, kPortControl, -1), signedOf(head));
    EXPECT_EQ(manager->writeAndResponseRaw({2}, kPortControl, -1), signedOf(tail));
    EXPECT_FALSE(unit.waitForClosed(1, 200ms));
    manager->disconnect();
}

TEST(WriteRaw, ANothingReadIsFatal) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::close());
    auto manager = managerFor(unit.port());
    EXPECT_THROW(manager->writeAndResponseRaw({1}, kPortControl, 1000), FatalError);
}

TEST(WriteFatalDeathTest, ANothingReadOnTheQueueEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            FakeUnit unit;
            unit.script(FakeUnit::Reply::close());
            auto manager = managerFor(unit.port());
            manager->write({1}, true);
            drain(*manager);
        },
        "unexpectedly found nil while unwrapping an Optional value");
}

}  // namespace
}  // namespace vantoconnect
