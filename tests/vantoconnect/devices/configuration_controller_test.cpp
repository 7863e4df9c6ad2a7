#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

#include "tests/vantoconnect/devices/DeviceTestSupport.hpp"
#include "vantoconnect/VantoConfigurationController.hpp"
#include "vantoconnect/VantoError.hpp"

namespace vantoconnect::testing {
namespace {

const UBytes DRAWER_STATUS_REQUEST =
    FakeUnit::frame(concat({0x1C, 0x02, 0x61, 0x00}, Bytes(18, 0)));
const UBytes DRAWER_PULSE = FakeUnit::frame({0x1C, 0x02, 0x4E, 0x00, 0x1B, 0x70, 0x00, -1, -1});

UBytes join(UBytes a, const UBytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

class ConfigurationControllerTest : public ::testing::Test {
  protected:
    FakeUnit unit;
    VantoConfigurationController controller{managerFor(unit)};

    // The status read, or the error text when it throws.
    std::string statusAfter(FakeUnit::Reply reply) {
        unit.script(std::move(reply));
        try {
            return std::to_string(controller.cashDrawerStatus());
        } catch (const VantoError& error) {
            return error.message();
        }
    }
};

TEST_F(ConfigurationControllerTest, UsbPowerIsLineTwentySix) {
    controller.enableUSB();
    controller.disableUSB();
    const std::vector<UBytes> expected = {
        FakeUnit::frame(ioStateMessage(0x02, 0x0C000000, 0x04000000)),
        FakeUnit::frame(ioStateMessage(0x02, 0x0C000000, 0x00000000))};
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

TEST_F(ConfigurationControllerTest, DrawerPulseGoesToTheDrawerChannel) {
    controller.openCashDrawer();
    EXPECT_EQ(receivedLike(unit, {DRAWER_PULSE}), std::vector<UBytes>{DRAWER_PULSE});
}

TEST_F(ConfigurationControllerTest, StatusIsBitSixOfContentByteSix) {
    EXPECT_EQ(statusAfter(FakeUnit::Reply::bytes(portControlReply(8, 0x40))), "1");
    EXPECT_EQ(statusAfter(FakeUnit::Reply::bytes(portControlReply(8, -0x41))), "0");  // 0xBF
    EXPECT_EQ(statusAfter(FakeUnit::Reply::bytes(portControlReply(18, 0x7F))), "1");
    EXPECT_EQ(unit.received(0), DRAWER_STATUS_REQUEST);
}

TEST_F(ConfigurationControllerTest, FirstMatchingFrameDecides) {
    EXPECT_EQ(statusAfter(FakeUnit::Reply::bytes(
                  join(portControlReply(8, 0x40), portControlReply(8, 0x00)))),
              "1");
    EXPECT_EQ(statusAfter(FakeUnit::Reply::bytes(
                  join(portControlReply(8, 0x00), portControlReply(8, 0x40)))),
              "0");
    // A short answer is passed over for a later full one in the same read.
    EXPECT_EQ(statusAfter(FakeUnit::Reply::bytes(
                  join(portControlReply(7, 0x00), portControlReply(8, 0x40)))),
              "1");
}

TEST_F(ConfigurationControllerTest, NoUsableAnswerIsAnError) {
    const std::string error = "Cash drawer status message not received";
    // Seven content bytes are one too few.
    EXPECT_EQ(statusAfter(FakeUnit::Reply::bytes(portControlReply(7, 0x40))), error);
    // Frames of another type until the two seconds are over.
    const UBytes ack = printAcknowledgedReply();
    EXPECT_EQ(statusAfter(FakeUnit::Reply::chunked(
                  {{std::chrono::milliseconds(0), ack}, {std::chrono::milliseconds(2100), ack}})),
              error);
}

TEST(ConfigurationControllerUnreachable, NoFrameAtAllIsAnError) {
    auto manager = std::make_shared<QuickConnectionManager>();
    manager->setConnectionIPAddress("127.0.0.1");
    manager->VantoPort = FakeUnit::unusedPort();
    VantoConfigurationController controller{manager};
    try {
        controller.cashDrawerStatus();
        FAIL() << "no error";
    } catch (const VantoError& error) {
        EXPECT_EQ(error.kind(), VantoError::Kind::GENERIC);
        EXPECT_EQ(error.message(), "Cash drawer status message not received");
    }
}

}  // namespace
}  // namespace vantoconnect::testing
