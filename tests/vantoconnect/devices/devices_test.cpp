#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/vantoconnect/devices/DeviceTestSupport.hpp"
#include "vantoconnect/VantoLedController.hpp"
#include "vantoconnect/orbaprotocol/messages/OrbaIOState.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::testing {
namespace {

// The diagnostic request alone goes out with source node 1 (byte 0x12).
constexpr std::int8_t DIAGNOSTIC_SOURCE = 0x12;
constexpr std::int8_t COSMETIC_SOURCE = 0x02;

class LedControllerTest : public ::testing::Test {
  protected:
    FakeUnit unit;
    VantoLedController leds{managerFor(unit)};
};

TEST_F(LedControllerTest, DiagnosticLedFramesCarryTwoBitsPerPosition) {
    struct Case {
        std::int64_t position;
        std::int64_t colour;
        std::uint32_t mask;
        std::uint32_t value;
    };
    const std::vector<Case> cases = {
        {VantoDiagnosticLEDS::LED_PRINTER, VantoColorCodes::LED_GREEN, 0x00030000, 0x00010000},
        {VantoDiagnosticLEDS::LED_POWER, VantoColorCodes::LED_OFF, 0x00000003, 0x00000000},
        {VantoDiagnosticLEDS::LED_NETWORK, VantoColorCodes::LED_RED, 0x0000000C, 0x00000008},
        {VantoDiagnosticLEDS::LED_USB2, VantoColorCodes::LED_AMBER, 0x00300000, 0x00300000},
        // NA_NUMBER leaves the LED alone: nothing in the mask.
        {VantoDiagnosticLEDS::LED_TABLET, OrbaIOState::NA_NUMBER, 0, 0},
    };
    for (const Case& c : cases) {
        leds.setDiagnosticLed(c.position, c.colour);
    }
    std::vector<UBytes> expected;
    for (const Case& c : cases) {
        expected.push_back(FakeUnit::frame(ioStateMessage(DIAGNOSTIC_SOURCE, c.mask, c.value)));
    }
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

TEST_F(LedControllerTest, CosmeticColoursLightGreenBlueRedLines) {
    // Lines 8, 9, 10 carry green, blue, red: the value nibble is green + 2 blue + 4 red.
    const std::vector<std::pair<std::int64_t, std::uint32_t>> colours = {
        {VantoColorCodes::COSMETIC_OFF, 0x0},    {VantoColorCodes::COSMETIC_BLUE, 0x2},
        {VantoColorCodes::COSMETIC_GREEN, 0x1},  {VantoColorCodes::COSMETIC_CYAN, 0x3},
        {VantoColorCodes::COSMETIC_RED, 0x4},    {VantoColorCodes::COSMETIC_MAGENTA, 0x6},
        {VantoColorCodes::COSMETIC_YELLOW, 0x5}, {VantoColorCodes::COSMETIC_WHITE, 0x7},
    };
    for (const auto& [colour, nibble] : colours) {
        leds.setCosmeticLedCol(colour);
    }
    leds.setCosmeticLedCol(9);  // unknown: the request still goes out, changing nothing

    std::vector<UBytes> expected;
    for (const auto& [colour, nibble] : colours) {
        expected.push_back(
            FakeUnit::frame(ioStateMessage(COSMETIC_SOURCE, 0x00000F00, nibble << 8)));
    }
    expected.push_back(FakeUnit::frame(ioStateMessage(COSMETIC_SOURCE, 0, 0)));
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

TEST_F(LedControllerTest, UnwritableMasksStopBeforeAnythingIsSent) {
    // Position 3's mask byte is 0xC0, which the message cannot hold; 32 shifts past the word.
    EXPECT_THROW(leds.setDiagnosticLed(VantoDiagnosticLEDS::LED_PED, VantoColorCodes::LED_OFF),
                 FatalError);
    EXPECT_THROW(leds.setDiagnosticLed(32, VantoColorCodes::LED_GREEN), FatalError);
    EXPECT_FALSE(unit.waitForConnections(1, std::chrono::milliseconds(200)));
}

}  // namespace
}  // namespace vantoconnect::testing
