#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <climits>
#include <memory>
#include <string>

#include "tests/vantoconnect/devices/DeviceTestSupport.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoError.hpp"

namespace vantoconnect::testing {
namespace {

const UBytes DRAWER_STATUS_REQUEST =
    FakeUnit::frame(concat({0x1C, 0x02, 0x61, 0x00}, Bytes(18, 0)));
const UBytes DRAWER_PULSE = FakeUnit::frame({0x1C, 0x02, 0x4E, 0x00, 0x1B, 0x70, 0x00, -1, -1});

// Sockets this process holds, counted from its descriptor table.
int openSockets() {
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr) {
        return -1;
    }
    while (dirent* entry = readdir(dir)) {
        const std::string path = std::string("/proc/self/fd/") + entry->d_name;
        char target[PATH_MAX] = {};
        if (readlink(path.c_str(), target, sizeof(target) - 1) > 0 &&
            std::string(target).rfind("socket:", 0) == 0) {
            ++count;
        }
    }
    closedir(dir);
    return count;
}

void aimAt(Vanto& vanto, std::int32_t port) {
    auto manager =
        std::dynamic_pointer_cast<GenericConnectionManager>(vanto.getConnectionManager());
    ASSERT_NE(manager, nullptr);
    manager->setConnectionIPAddress("127.0.0.1");
    manager->VantoPort = port;
}

class VantoFacadeTest : public ::testing::Test {
  protected:
    void SetUp() override { aimAt(vanto, unit.port()); }

    FakeUnit unit;
    Vanto vanto;
};

TEST(VantoCreation, OpensNoSocket) {
    const int before = openSockets();
    ASSERT_GE(before, 0);
    auto vanto = std::make_unique<Vanto>();
    EXPECT_EQ(openSockets(), before);
    aimAt(*vanto, FakeUnit::unusedPort());
}

TEST_F(VantoFacadeTest, ValidatedOpenPulsesOnlyAClosedDrawer) {
    unit.script(FakeUnit::Reply::bytes(portControlReply(18, 0x7F)));  // closed
    EXPECT_TRUE(vanto.openCashDrawer());
    const std::vector<UBytes> expected = {DRAWER_STATUS_REQUEST, DRAWER_PULSE};
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

TEST_F(VantoFacadeTest, ValidatedOpenOfAnOpenDrawerSendsNothing) {
    unit.script(FakeUnit::Reply::bytes(portControlReply(18, 0x3F)));  // open
    unit.script(FakeUnit::Reply::bytes(portControlReply(18, 0x3F)));
    EXPECT_FALSE(vanto.openCashDrawer(true));
    EXPECT_EQ(vanto.cashDrawerStatus(), Vanto::CASH_DRAWER_STATUS_OPENED);
    EXPECT_FALSE(unit.waitForConnections(3, std::chrono::milliseconds(300)));
    EXPECT_EQ(unit.connectionCount(), 2u);  // the two status reads, no pulse
}

TEST_F(VantoFacadeTest, UnvalidatedOpenPulsesWithoutAsking) {
    EXPECT_TRUE(vanto.openCashDrawer(false));
    EXPECT_EQ(receivedLike(unit, {DRAWER_PULSE}), std::vector<UBytes>{DRAWER_PULSE});
}

TEST(VantoUnreachable, FailingStatusPassesThroughAndPrinterCountsAsBusy) {
    Vanto vanto;
    aimAt(vanto, FakeUnit::unusedPort());
    EXPECT_THROW(vanto.openCashDrawer(), VantoError);
    EXPECT_THROW(vanto.cashDrawerStatus(), VantoError);
    EXPECT_TRUE(vanto.printerBusy());
}

TEST_F(VantoFacadeTest, PrinterBusyFollowsTheUnitsAnswer) {
    unit.script(FakeUnit::Reply::bytes(printerReadyReply()));
    unit.script(FakeUnit::Reply::bytes(printerNotReadyReply()));
    EXPECT_FALSE(vanto.printerBusy());
    EXPECT_TRUE(vanto.printerBusy());
    EXPECT_EQ(unit.received(0), printerBusyQueryFrame());
}

}  // namespace
}  // namespace vantoconnect::testing
