#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/Eventually.hpp"
#include "tests/support/FakeUnit.hpp"
#include "tests/support/UnitFrames.hpp"
#include "tests/vantoconnect/transport/LowDescriptorsTaken.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/resilient/LogSink.hpp"
#include "vantoconnect/resilient/ResilientConnectionManager.hpp"
#include "vantoconnect/resilient/StopSignal.hpp"

namespace vantoconnect::testing {
namespace {

using namespace std::chrono_literals;
using Reply = FakeUnit::Reply;
using Clock = std::chrono::steady_clock;

int openDescriptors() {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                          std::filesystem::directory_iterator()));
}

// A manager of the resilient profile aimed at a fake unit, with short limits.
struct Resilient {
    explicit Resilient(std::int32_t port, std::chrono::milliseconds readTimeout = 300ms)
        : manager(std::make_shared<ResilientConnectionManager>(
              ResilientOptions{.address = "127.0.0.1",
                               .port = port,
                               .connectTimeout = 300ms,
                               .readTimeout = readTimeout},
              std::make_shared<LogSink>(
                  [this](std::string_view line) { lines.emplace_back(line); }),
              stop)) {}

    std::vector<std::string> lines;
    std::shared_ptr<StopSignal> stop = std::make_shared<StopSignal>();
    std::shared_ptr<ResilientConnectionManager> manager;
};

const Bytes PACKET = toSignedBytes(printerFrame(1, {0x41}));
const UBytes REFUSED = FakeUnit::frame(FakeUnit::message(0x4E, {}, false, 0));

// An outcome in words, and the connections the unit saw: "delivered, 1 refused, 2 connections".
std::string summary(const WriteOutcome& outcome, std::size_t connections) {
    std::string out = outcome.delivered ? "delivered" : "not delivered";
    for (const auto& [count, word] : {std::pair{outcome.refused, " refused"},
                                      {outcome.unrecognised, " unrecognised"},
                                      {outcome.unanswered, " unanswered"}}) {
        out += count > 0 ? ", " + std::to_string(count) + word : "";
    }
    return out + ", " + std::to_string(connections) +
           (connections == 1 ? " connection" : " connections");
}

// What each behaviour of a unit becomes for one packet that wants an acknowledgement. The rule
// that matters most: once the packet's bytes went out, it is never sent again (the printer may
// have taken it), while one the printer refused, or one that never reached the unit, is.
TEST(ResilientDelivery, EachAnswerOfTheUnitBecomesAnOutcomeAndOnlySafeResends) {
    const std::string unrecognised = "not delivered, 1 unrecognised, 1 connection";
    const struct {
        const char* name;
        std::string outcome;
        Reply reply;  // then acknowledgements: a resend that should not happen would succeed
        int times = 1;
    } cases[] = {
        {"acknowledged", "delivered, 1 connection", Reply::bytes(PRINT_ACKNOWLEDGED)},
        {"refused then acknowledged", "delivered, 1 refused, 2 connections", Reply::bytes(REFUSED)},
        {"refused five times", "not delivered, 5 refused, 5 connections", Reply::bytes(REFUSED), 5},
        {"closed without an answer", "not delivered, 1 unanswered, 1 connection", Reply::close()},
        {"silent past the read limit", "not delivered, 1 unanswered, 1 connection", Reply{}},
        {"bytes that make no frame", unrecognised, Reply::bytes({0x02, 0x05, 0x01})},
        {"a frame too short for a message", unrecognised,
         Reply::bytes(FakeUnit::frame({0x12, 0x02}))},
        {"an acknowledgement of another kind", unrecognised,
         Reply::bytes(FakeUnit::frame(FakeUnit::message(0x49, {1, 2})))},
        {"an acknowledgement of another packet", unrecognised,
         Reply::bytes(FakeUnit::frame(FakeUnit::message(0x4E, {}, true, 2)))},
        {"an answer in two pieces", "delivered, 1 connection",
         Reply::chunked(
             {{0ms, UBytes(PRINT_ACKNOWLEDGED.begin(), PRINT_ACKNOWLEDGED.begin() + 3)},
              {40ms, UBytes(PRINT_ACKNOWLEDGED.begin() + 3, PRINT_ACKNOWLEDGED.end())}})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeUnit unit;
        for (int k = 0; k < c.times; ++k) {
            unit.script(c.reply);
        }
        unit.setDefaultReply(Reply::bytes(PRINT_ACKNOWLEDGED));
        Resilient resilient(unit.port());
        const WriteOutcome outcome = resilient.manager->deliver(PACKET, true);
        EXPECT_EQ(summary(outcome, unit.connectionCount()), c.outcome);
        EXPECT_EQ(outcome.failure.empty(), outcome.delivered) << outcome.failure;
    }
}

// A unit that cannot be reached is tried five times with short pauses, then the packet is
// reported not sent; a request wanting no answer is delivered once written.
TEST(ResilientDelivery, AnUnreachableUnitIsTriedFiveTimesWithinTwoSeconds) {
    Resilient resilient(FakeUnit::unusedPort());
    const auto start = Clock::now();
    const WriteOutcome outcome = resilient.manager->deliver(PACKET, true);
    EXPECT_LT(Clock::now() - start, 2s);
    EXPECT_FALSE(outcome.delivered);
    EXPECT_EQ(outcome.unanswered + outcome.refused + outcome.unrecognised, 0);
    EXPECT_NE(outcome.failure.find("refused"), std::string::npos) << outcome.failure;
    EXPECT_EQ(std::count(resilient.lines.begin(), resilient.lines.end(), outcome.failure), 5);
    EXPECT_EQ(resilient.manager->deliver(PACKET, true, false).failure, outcome.failure);
    EXPECT_EQ(std::count(resilient.lines.begin(), resilient.lines.end(), outcome.failure), 6)
        << "in the middle of a job, an unreachable unit is not tried again";

    FakeUnit unit;
    Resilient quiet(unit.port());
    EXPECT_TRUE(quiet.manager->deliver(toSignedBytes(END_OF_JOB), false).delivered);
    EXPECT_TRUE(unit.waitForBytes(END_OF_JOB.size()));
}

// The blocking exchanges: what a caller gets back from each behaviour of the unit.
TEST(ResilientExchanges, FailuresAreAnswersOrErrorsNeverTheEndOfTheProcess) {
    const Bytes drawerQuery = toSignedBytes(DRAWER_STATUS_REQUEST);
    const UBytes drawerClosed = portControlReply(18, 0x7F);
    struct Case {
        const char* name;
        Reply reply;
        VantoMessageResponse response;             // of writeAndResponse
        std::optional<VantoError::Kind> rawError;  // of writeAndResponseRaw
    } cases[] = {
        {"answered", Reply::bytes(drawerClosed), VantoMessageResponse::CASH_DRAWER_STATE_1,
         std::nullopt},
        {"closed", Reply::close(), VantoMessageResponse::UNKNOWN,
         VantoError::Kind::CONNECTION_LOST},
        {"silent", Reply{}, VantoMessageResponse::UNKNOWN, VantoError::Kind::CONNECTION_LOST},
        {"a frame too short for a message", Reply::bytes(FakeUnit::frame({0x1C})),
         VantoMessageResponse::UNKNOWN, VantoError::Kind::GENERIC},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FakeUnit unit;
        unit.setDefaultReply(c.reply);
        Resilient resilient(unit.port(), 200ms);
        EXPECT_EQ(resilient.manager->writeAndResponse(drawerQuery), c.response);
        EXPECT_EQ(unit.connectionCount(), 1u)
            << "an exchange that reached the unit is not repeated";
        try {
            const Bytes raw = resilient.manager->writeAndResponseRaw(
                drawerQuery, MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND, 100);
            EXPECT_FALSE(c.rawError.has_value());
            EXPECT_FALSE(raw.empty());
        } catch (const VantoError& error) {
            ASSERT_TRUE(c.rawError.has_value()) << error.description();
            EXPECT_EQ(error.kind(), *c.rawError);
            EXPECT_NE(error.message().find("127.0.0.1:" + std::to_string(unit.port())),
                      std::string::npos)
                << error.message();
        }
    }

    Resilient nobody(FakeUnit::unusedPort());
    EXPECT_EQ(nobody.manager->writeAndResponse(drawerQuery), VantoMessageResponse::UNKNOWN);
    try {
        nobody.manager->writeAndResponseRaw(drawerQuery, 0x61, 100);
        ADD_FAILURE() << "an unreachable unit answered";
    } catch (const VantoError& error) {
        EXPECT_EQ(error.kind(), VantoError::Kind::GENERIC);
    }
    EXPECT_EQ(nobody.manager->getConnectionStatus(),
              GenericConnectionManager::STATUS_NOT_CONNECTED);
}

// Every exchange closes its connection, whatever the unit did, so a process's descriptors stay
// flat; and descriptors numbered past what select() can take work as well as any.
TEST(ResilientExchanges, DescriptorsStayFlatAndHighNumbersWork) {
    FakeUnit unit;
    unit.setDefaultReply(Reply::bytes(PRINT_ACKNOWLEDGED));
    Resilient resilient(unit.port(), 100ms);
    const int before = openDescriptors();
    for (int round = 0; round < 40; ++round) {
        unit.script(round % 4 == 0   ? Reply::close()
                    : round % 4 == 1 ? Reply{}
                                     : Reply::bytes(REFUSED));
        resilient.manager->deliver(PACKET, true);
        resilient.manager->writeAndResponse(PACKET);
    }
    // The fake unit, in this process too, closes its side a moment after the library's.
    for (std::size_t k = 0; k < unit.connectionCount(); ++k) {
        unit.waitForClosed(k);
    }
    eventually([&] { return openDescriptors() <= before; }, 2s);
    EXPECT_EQ(openDescriptors(), before);

    if (!LowDescriptorsTaken::allow(1200)) {
        GTEST_SKIP() << "the process may not open 1200 descriptors";
    }
    const LowDescriptorsTaken low;
    EXPECT_TRUE(resilient.manager->deliver(PACKET, true).delivered);
}

}  // namespace
}  // namespace vantoconnect::testing
