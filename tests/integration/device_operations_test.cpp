#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/integration/IntegrationSupport.hpp"
#include "tests/support/FakeUnit.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::integration {
namespace {

using LEDS = VantoDiagnosticLEDS;
using Colours = VantoColorCodes;

using DeviceOperations = UnitTest;

TEST_F(DeviceOperations, DiagnosticLedsLightOnlyTheAddressedPosition) {
    // Every position the library can address, each with a colour of its own.
    const std::vector<std::pair<std::int64_t, std::int64_t>> settings = {
        {LEDS::LED_POWER, Colours::LED_GREEN},  {LEDS::LED_NETWORK, Colours::LED_RED},
        {LEDS::LED_TABLET, Colours::LED_AMBER}, {LEDS::LED_PRINTER, Colours::LED_RED},
        {LEDS::LED_USB1, Colours::LED_AMBER},   {LEDS::LED_USB2, Colours::LED_GREEN}};
    for (const auto& [position, colour] : settings) {
        vanto->setDiagnosticLed(position, colour);
    }
    ASSERT_TRUE(unit->waitForEvents("io", settings.size(), 10s));
    auto state = unit->snapshot();
    for (const auto& [position, colour] : settings) {
        EXPECT_EQ(state.diagnosticLed(static_cast<int>(position)), colour) << position;
    }
    EXPECT_EQ(state.diagnosticLed(static_cast<int>(LEDS::LED_PED)), Colours::LED_OFF);

    // Switching one off leaves its neighbours as they were.
    vanto->setDiagnosticLed(LEDS::LED_PRINTER, Colours::LED_OFF);
    ASSERT_TRUE(unit->waitForEvents("io", settings.size() + 1, 10s));
    state = unit->snapshot();
    EXPECT_EQ(state.diagnosticLed(static_cast<int>(LEDS::LED_PRINTER)), Colours::LED_OFF);
    EXPECT_EQ(state.diagnosticLed(static_cast<int>(LEDS::LED_USB1)), Colours::LED_AMBER);
    EXPECT_EQ(state.diagnosticLed(static_cast<int>(LEDS::LED_TABLET)), Colours::LED_AMBER);
    EXPECT_EQ(state.cosmeticColour, Colours::COSMETIC_OFF);
    EXPECT_FALSE(state.usbPower);
}

TEST_F(DeviceOperations, PedLedStopsOnTheCallersThreadAndSendsNothing) {
    // Its change mask 0xC0 does not fit the message's signed byte.
    EXPECT_THROW(vanto->setDiagnosticLed(LEDS::LED_PED, Colours::LED_GREEN), FatalError);
    EXPECT_THROW(vanto->setDiagnosticLed(LEDS::LED_PED, Colours::LED_OFF), FatalError);
    vanto->setDiagnosticLed(LEDS::LED_POWER, Colours::LED_GREEN);
    ASSERT_TRUE(drained(*manager));
    ASSERT_TRUE(unit->waitForEvents("io", 1, 10s));
    EXPECT_EQ(unit->snapshot().connections, 1u);
    EXPECT_EQ(unit->snapshot().diagnosticLed(static_cast<int>(LEDS::LED_POWER)),
              Colours::LED_GREEN);
}

TEST_F(DeviceOperations, CosmeticLightTakesEveryColourAndIgnoresUnknownOnes) {
    vanto->setDiagnosticLed(LEDS::LED_NETWORK, Colours::LED_RED);
    std::size_t sent = 1;
    for (std::int64_t colour = Colours::COSMETIC_OFF; colour <= Colours::COSMETIC_WHITE; ++colour) {
        vanto->setCosmeticLedCol(colour);
        ASSERT_TRUE(unit->waitForEvents("io", ++sent, 10s));
        EXPECT_EQ(unit->snapshot().cosmeticColour, colour);
    }
    vanto->setCosmeticLedCol(Colours::COSMETIC_MAGENTA);
    vanto->setCosmeticLedCol(9);  // goes out with an empty mask
    sent += 2;
    ASSERT_TRUE(unit->waitForEvents("io", sent, 10s));
    const auto state = unit->snapshot();
    EXPECT_EQ(state.cosmeticColourName, "COSMETIC_MAGENTA");
    EXPECT_EQ(state.diagnosticLed(static_cast<int>(LEDS::LED_NETWORK)), Colours::LED_RED);
    EXPECT_FALSE(state.usbPower);
}

TEST_F(DeviceOperations, UsbPowerFollowsEnableAndDisable) {
    vanto->setCosmeticLedCol(Colours::COSMETIC_CYAN);
    vanto->enableUSB();
    ASSERT_TRUE(unit->waitForEvents("io", 2, 10s));
    EXPECT_TRUE(unit->snapshot().usbPower);
    vanto->disableUSB();
    ASSERT_TRUE(unit->waitForEvents("io", 3, 10s));
    EXPECT_FALSE(unit->snapshot().usbPower);
    EXPECT_EQ(unit->snapshot().cosmeticColour, Colours::COSMETIC_CYAN);
}

TEST_F(DeviceOperations, DrawerStatusReadsTheSensorBothWays) {
    EXPECT_EQ(vanto->cashDrawerStatus(), Vanto::CASH_DRAWER_STATUS_CLOSED);
    unit->openDrawer();
    EXPECT_EQ(vanto->cashDrawerStatus(), Vanto::CASH_DRAWER_STATUS_OPENED);
    unit->closeDrawer();
    EXPECT_EQ(vanto->cashDrawerStatus(), Vanto::CASH_DRAWER_STATUS_CLOSED);
    EXPECT_EQ(events("drawer_status"), 3u);
}

TEST_F(DeviceOperations, ValidatedOpenPulsesAClosedDrawerOnly) {
    EXPECT_TRUE(vanto->openCashDrawer());
    ASSERT_TRUE(eventually([&] { return unit->snapshot().drawerOpen; }));

    // Now open: the second request reads the sensor and leaves the drawer alone.
    EXPECT_FALSE(vanto->openCashDrawer(true));
    ASSERT_TRUE(drained(*manager));
    EXPECT_EQ(vanto->cashDrawerStatus(), Vanto::CASH_DRAWER_STATUS_OPENED);
    EXPECT_EQ(unit->snapshot().drawerOpenings, 1u);
    EXPECT_EQ(events("drawer_status"), 3u);
}

TEST_F(DeviceOperations, UnvalidatedOpenPulsesWithoutReadingTheSensor) {
    unit->openDrawer();
    EXPECT_TRUE(vanto->openCashDrawer(false));
    ASSERT_TRUE(eventually([&] { return unit->snapshot().drawerOpenings == 2; }));
    EXPECT_EQ(events("drawer_status"), 0u);
}

TEST_F(DeviceOperations, PrinterBusyFollowsReadiness) {
    EXPECT_FALSE(vanto->printerBusy());
    unit->setPrinterCondition(vantoemu::PrinterCondition::NotReady);
    EXPECT_TRUE(vanto->printerBusy());
    unit->setPrinterCondition(vantoemu::PrinterCondition::Ready);
    EXPECT_FALSE(vanto->printerBusy());
    EXPECT_EQ(events("printer_status"), 3u);
}

TEST_F(DeviceOperations, UnitThatRefusesConnectionsCountsAsBusyAndHasNoDrawerStatus) {
    aimAt(*manager, static_cast<std::uint16_t>(testing::FakeUnit::unusedPort()));
    EXPECT_TRUE(vanto->printerBusy());
    try {
        vanto->cashDrawerStatus();
        ADD_FAILURE() << "no status without a unit";
    } catch (const VantoError& error) {
        EXPECT_EQ(error.message(), "Cash drawer status message not received");
    }
    EXPECT_THROW(vanto->openCashDrawer(), VantoError);
    EXPECT_EQ(unit->snapshot().connections, 0u);
}

}  // namespace
}  // namespace vantoconnect::integration
