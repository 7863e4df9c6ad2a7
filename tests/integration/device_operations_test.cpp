#include <gtest/gtest.h>

#include "tests/integration/IntegrationSupport.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::integration {
namespace {

using LEDS = VantoDiagnosticLEDS;
using Colours = VantoColorCodes;

using DeviceOperations = UnitTest;

TEST_F(DeviceOperations, LedsLightAndUsbTakeWhatTheFacadeSets) {
    // Its change mask 0xC0 does not fit the message's signed byte: nothing goes out.
    EXPECT_THROW(vanto->setDiagnosticLed(LEDS::LED_PED, Colours::LED_GREEN), FatalError);
    // Every position the library can address, each with a colour of its own.
    const std::vector<std::pair<std::int64_t, std::int64_t>> settings = {
        {LEDS::LED_POWER, Colours::LED_GREEN},  {LEDS::LED_NETWORK, Colours::LED_RED},
        {LEDS::LED_TABLET, Colours::LED_AMBER}, {LEDS::LED_PRINTER, Colours::LED_RED},
        {LEDS::LED_USB1, Colours::LED_AMBER},   {LEDS::LED_USB2, Colours::LED_GREEN}};
    for (const auto& [position, colour] : settings) {
        vanto->setDiagnosticLed(position, colour);
    }
    std::size_t sent = settings.size();
    for (std::int64_t colour = Colours::COSMETIC_OFF; colour <= Colours::COSMETIC_WHITE; ++colour) {
        vanto->setCosmeticLedCol(colour);
        ASSERT_TRUE(unit->waitForEvents("io", ++sent, 10s));
        EXPECT_EQ(unit->snapshot().cosmeticColour, colour);
    }
    vanto->setCosmeticLedCol(Colours::COSMETIC_MAGENTA);
    vanto->setCosmeticLedCol(9);  // goes out with an empty mask
    vanto->enableUSB();
    sent += 3;
    ASSERT_TRUE(unit->waitForEvents("io", sent, 10s));
    const auto state = unit->snapshot();
    EXPECT_EQ(state.connections, sent);
    for (const auto& [position, colour] : settings) {
        EXPECT_EQ(state.diagnosticLed(static_cast<int>(position)), colour) << position;
    }
    EXPECT_EQ(state.diagnosticLed(static_cast<int>(LEDS::LED_PED)), Colours::LED_OFF);
    EXPECT_EQ(state.cosmeticColourName, "COSMETIC_MAGENTA");
    EXPECT_TRUE(state.usbPower);
}

}  // namespace
}  // namespace vantoconnect::integration
