// The dashboard's parts that HTTP does not reach from outside: who is let in (IPv6 forms, other
// ports, non-loopback binds), the event feed a slow stream reads, fault changes reaching the
// unit, and the server's life with the unit's.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "emulator/DashboardAccess.hpp"
#include "emulator/DashboardApi.hpp"
#include "emulator/DashboardFeed.hpp"
#include "emulator/EmulatedUnit.hpp"

namespace {

using namespace std::chrono_literals;
using namespace vantoemu;

TEST(DashboardAccess, NamesTheBoundAddressWithItsPortAndLocalhostOnlyOnLoopback) {
    const DashboardAccess v6("::1", 8081);
    EXPECT_TRUE(v6.hostAllowed("[::1]:8081"));
    EXPECT_TRUE(v6.hostAllowed("[0:0:0:0:0:0:0:1]:8081"));  // the same address written out
    EXPECT_TRUE(v6.hostAllowed("localhost:8081"));
    EXPECT_FALSE(v6.hostAllowed("::1:8081"));  // unbracketed: not a valid Host
    EXPECT_FALSE(v6.hostAllowed("[::1]8081"));
    EXPECT_FALSE(v6.hostAllowed("[::1:8081"));
    EXPECT_FALSE(v6.hostAllowed("127.0.0.1:8081"));  // not the address bound

    // An address on the network is named as itself only: a page reached as localhost on
    // some other machine must not pass.
    const DashboardAccess lan("192.0.2.10", 8081);
    EXPECT_TRUE(lan.hostAllowed("192.0.2.10:8081"));
    EXPECT_FALSE(lan.hostAllowed("localhost:8081"));
    EXPECT_FALSE(lan.hostAllowed("192.0.2.10:+8081"));

    // The scheme's default port is the only one a browser leaves out.
    const DashboardAccess http("127.0.0.1", 80);
    EXPECT_TRUE(http.hostAllowed("127.0.0.1"));
    EXPECT_TRUE(http.hostAllowed("localhost:80"));
    EXPECT_TRUE(http.originAllowed("http://localhost"));
    EXPECT_FALSE(http.originAllowed("http://localhost/"));
    EXPECT_FALSE(http.originAllowed("http://evil@localhost"));

    EXPECT_TRUE(DashboardAccess::isLoopback("127.8.9.1"));
    EXPECT_FALSE(DashboardAccess::isLoopback("128.0.0.1"));
}

TEST(DashboardFeed, AStreamThatFallsBehindSkipsToTheOldestKeptAndCloseWakesIt) {
    DashboardFeed feed;
    for (std::size_t i = 0; i < DashboardFeed::KEPT + 50; ++i) {
        feed.push({i + 1, "frame", "{}"});
    }
    const auto entries = feed.after(3, 0ms);
    ASSERT_EQ(entries.size(), DashboardFeed::KEPT);
    EXPECT_EQ(entries.front().id, 51u);
    EXPECT_TRUE(feed.after(DashboardFeed::KEPT + 50, 0ms).empty());
    EXPECT_EQ(feed.recentStart(10), DashboardFeed::KEPT + 40);

    const auto start = std::chrono::steady_clock::now();
    std::thread reader([&] { feed.after(DashboardFeed::KEPT + 50, 30s); });
    std::this_thread::sleep_for(50ms);
    feed.close();
    reader.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
    EXPECT_TRUE(feed.after(0, 0ms).empty());
}

class DashboardUnit : public ::testing::Test {
  protected:
    void SetUp() override {
        UnitOptions options{.port = 0, .outDir = "", .renderReceipts = false, .faults = {}};
        options.dashboard.enabled = true;
        unit = std::make_unique<EmulatedUnit>(options);
        unit->start();
    }
    std::unique_ptr<EmulatedUnit> unit;
};

// Refusals over HTTP are tried by the security suite; here, that every field reaches the unit.
TEST_F(DashboardUnit, AFaultChangeReachesTheUnitThroughItsOwnSetters) {
    // What the page shows afterwards, read back from the unit.
    const nlohmann::json shown = {{"printer", "not-ready"}, {"printerNotReady", 2},
                                  {"printerError", 4},      {"reply", "unrecognised"},
                                  {"corruptCrc", 3},        {"delayMs", 5},
                                  {"refuse", true},         {"dropNext", 6}};
    auto change = shown;
    change["reply"] = "unrecognized";  // the other spelling is taken too
    change["drawerCloseAfterMs"] = 0;
    EXPECT_EQ(DashboardApi::changeFaults(*unit, change), "");
    const auto state = DashboardApi::state(*unit);
    EXPECT_EQ(state["faults"], shown);
    EXPECT_EQ(state["drawer"]["closeAfterMs"], 0);
    EXPECT_EQ(DashboardApi::changeFaults(*unit, {{"bogus", 1}}), "unknown fault field \"bogus\"");
}

// A restart made from the page is tried in the browser suite; here, that a bad one changes nothing.
TEST_F(DashboardUnit, ARestartIsRefusedWhole) {
    EXPECT_NE(DashboardApi::restart(*unit, {{"downtimeMs", -1}}), "");
    EXPECT_NE(DashboardApi::restart(*unit, {{"downtimeMs", 10}, {"now", true}}), "");
    EXPECT_EQ(unit->snapshot().restarts, 0u);
}

TEST_F(DashboardUnit, TheDashboardStopsAndStartsWithTheUnit) {
    const auto port = unit->dashboardPort();
    ASSERT_NE(port, 0);
    EXPECT_EQ(unit->dashboardUrl(), "http://127.0.0.1:" + std::to_string(port) + "/");
    unit->stop();
    EXPECT_EQ(unit->dashboardPort(), 0);
    unit->start();
    EXPECT_NE(unit->dashboardPort(), 0);

    // A dashboard port already taken fails the start and leaves the unit not listening.
    UnitOptions clash{.port = 0, .outDir = "", .renderReceipts = false, .faults = {}};
    clash.dashboard = {.enabled = true, .bind = "127.0.0.1", .port = unit->dashboardPort()};
    EmulatedUnit second(clash);
    EXPECT_THROW(second.start(), std::runtime_error);
    EXPECT_FALSE(second.running());
}

}  // namespace
