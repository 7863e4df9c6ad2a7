#include <gtest/gtest.h>

#include "tests/vantoconnect/orbaprotocol/messages/MessageTesting.hpp"
#include "vantoconnect/orbaprotocol/messages/OrbaIOState.hpp"
#include "vantoconnect/orbaprotocol/messages/SetIOStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"

namespace vantoconnect {
namespace {

using testing::fatalMessage;
using testing::slice;
using testing::wire;

Bytes maskBytes(const SetIOStateMessage& m) {
    return slice(m.getMessageSpecificContent(), 24, 4);
}
Bytes valueBytes(const SetIOStateMessage& m) {
    return slice(m.getMessageSpecificContent(), 28, 4);
}

TEST(SetIOState, FreshStateChangesNothing) {
    SetIOStateMessage m;
    EXPECT_EQ(slice(m.payload, 0, 4), wire({0x00, 0x02, 0x49, 0x00}));
    EXPECT_EQ(m.getMessageSpecificContent(), Bytes(32, 0));

    // The check asks for the port-control type, which this message never has.
    EXPECT_FALSE(m.isWellFormed());
    m.setType(ORBAMessage::SETPCONTROL);
    EXPECT_TRUE(m.isWellFormed());

    EXPECT_EQ(SetIOStateMessage(wire({0x00, 0x02, 0x41, 0x80})).toString(),
              "Set port control command (ByteLump, size 4, contents: 00|02|41|80 ) ");
}

TEST(SetIOState, DiagnosticLedOwnsTwoBitsPerPosition) {
    SetIOStateMessage printer;
    printer.setDiagnosticLEDBitField(VantoDiagnosticLEDS::LED_PRINTER, VantoColorCodes::LED_GREEN);
    EXPECT_EQ(maskBytes(printer), wire({0x00, 0x00, 0x03, 0x00}));
    EXPECT_EQ(valueBytes(printer), wire({0x00, 0x00, 0x01, 0x00}));

    SetIOStateMessage power;
    power.setDiagnosticLEDBitField(VantoDiagnosticLEDS::LED_POWER, VantoColorCodes::LED_OFF);
    EXPECT_EQ(maskBytes(power), wire({0x03, 0x00, 0x00, 0x00}));

    // Fields combine; a later colour replaces the earlier one; N/A drops the mask only.
    SetIOStateMessage m;
    m.setDiagnosticLEDBitField(VantoDiagnosticLEDS::LED_USB1, VantoColorCodes::LED_AMBER);
    m.setDiagnosticLEDBitField(VantoDiagnosticLEDS::LED_USB2, VantoColorCodes::LED_RED);
    m.setDiagnosticLEDBitField(VantoDiagnosticLEDS::LED_USB2, VantoColorCodes::LED_GREEN);
    m.setDiagnosticLEDBitField(VantoDiagnosticLEDS::LED_NETWORK, VantoColorCodes::LED_RED);
    EXPECT_EQ(maskBytes(m), wire({0x0C, 0x00, 0x3C, 0x00}));
    EXPECT_EQ(valueBytes(m), wire({0x08, 0x00, 0x1C, 0x00}));
    m.setDiagnosticLEDBitField(VantoDiagnosticLEDS::LED_USB1, OrbaIOState::NA_NUMBER);
    EXPECT_EQ(maskBytes(m), wire({0x0C, 0x00, 0x30, 0x00}));
    EXPECT_EQ(valueBytes(m), wire({0x08, 0x00, 0x1C, 0x00}));
}

TEST(SetIOState, UsbPowerIsLineTwentySix) {
    for (int setting : {1, 0}) {
        SetIOStateMessage usb;
        usb.setCosmeticLEDBitField(26, setting);
        EXPECT_EQ(maskBytes(usb), wire({0x00, 0x00, 0x00, 0x0C}));
        EXPECT_EQ(valueBytes(usb), wire({0x00, 0x00, 0x00, setting == 1 ? 0x04 : 0x00}));
    }
}

TEST(SetIOState, CosmeticColoursFillLinesEightToTen) {
    for (std::int64_t colour = VantoColorCodes::COSMETIC_OFF;
         colour <= VantoColorCodes::COSMETIC_WHITE; ++colour) {
        const std::int64_t blue = colour & 1;
        const std::int64_t green = (colour >> 1) & 1;
        const std::int64_t red = (colour >> 2) & 1;
        SetIOStateMessage m;
        m.setCosmeticLEDBitField(8, green);
        m.setCosmeticLEDBitField(9, blue);
        m.setCosmeticLEDBitField(10, red);
        EXPECT_EQ(maskBytes(m), wire({0x00, 0x0F, 0x00, 0x00})) << colour;
        EXPECT_EQ(valueBytes(m),
                  wire({0x00, static_cast<int>(green + 2 * blue + 4 * red), 0x00, 0x00}))
            << colour;
    }
}

TEST(SetIOState, CosmeticFieldOverlapsNextLine) {
    // A setting of 2 writes the next line's bit, which that line's own call then clears.
    SetIOStateMessage m;
    m.setCosmeticLEDBitField(8, 2);
    EXPECT_EQ(valueBytes(m), wire({0x00, 0x02, 0x00, 0x00}));
    m.setCosmeticLEDBitField(9, 0);
    EXPECT_EQ(valueBytes(m), wire({0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(maskBytes(m), wire({0x00, 0x07, 0x00, 0x00}));
}

TEST(SetIOState, SolenoidIsBitTwelve) {
    SetIOStateMessage m;
    m.setSolenoidBitField(1);
    EXPECT_EQ(maskBytes(m), wire({0x00, 0x10, 0x00, 0x00}));
    EXPECT_EQ(valueBytes(m), wire({0x00, 0x10, 0x00, 0x00}));
    m.setSolenoidBitField(0);
    EXPECT_EQ(valueBytes(m), wire({0x00, 0x00, 0x00, 0x00}));
    m.setSolenoidBitField(OrbaIOState::NA_NUMBER);
    EXPECT_EQ(maskBytes(m), Bytes(4, 0));
}

TEST(SetIOState, StateRecordSendsDiagnosticsAndSolenoidOnly) {
    OrbaIOState state;
    state.diagnosticSetting = {1, 2, 3};
    state.solenoidSetting = 1;
    state.cosmeticSetting = 1;
    state.buttonSetting = 1;
    SetIOStateMessage m(state);
    EXPECT_EQ(maskBytes(m), wire({0x3F, 0x10, 0x00, 0x00}));
    EXPECT_EQ(valueBytes(m), wire({0x39, 0x10, 0x00, 0x00}));
    EXPECT_EQ(m.gios.diagnosticSetting, state.diagnosticSetting);

    // Received bytes are kept as they are, not filled from the default state.
    EXPECT_EQ(SetIOStateMessage(Bytes(36, 0x11)).payload, Bytes(36, 0x11));
}

TEST(SetIOState, UnwritableFieldsStop) {
    OrbaIOState badColour;
    badColour.diagnosticSetting = {4, 5, 4};
    EXPECT_EQ(fatalMessage([&] { SetIOStateMessage{badColour}; }), fatal::INDEX_OUT_OF_RANGE);

    OrbaIOState badSolenoid;
    badSolenoid.solenoidSetting = -1;
    EXPECT_EQ(fatalMessage([&] { SetIOStateMessage{badSolenoid}; }), fatal::INDEX_OUT_OF_RANGE);

    SetIOStateMessage m;
    EXPECT_EQ(fatalMessage([&] { m.setDiagnosticLEDBitField(32, 1); }), fatal::OVERWIDE_SHIFT);
    EXPECT_EQ(fatalMessage([&] { m.setDiagnosticLEDBitField(-1, 1); }), fatal::OVERWIDE_SHIFT);
    EXPECT_EQ(fatalMessage([&] { m.setCosmeticLEDBitField(64, 1); }), fatal::OVERWIDE_SHIFT);
    EXPECT_EQ(m.getMessageSpecificContent(), Bytes(32, 0));

    // Position 3's mask is 0xC0, a byte the 32-bit writer cannot store.
    EXPECT_EQ(fatalMessage([&] { m.setDiagnosticLEDBitField(VantoDiagnosticLEDS::LED_PED, 0); }),
              fatal::NOT_ENOUGH_BITS);
    // Beyond 32 bits the mask is silently lost rather than stopping.
    SetIOStateMessage high;
    high.setDiagnosticLEDBitField(20, 1);
    EXPECT_EQ(maskBytes(high), Bytes(4, 0));
}

}  // namespace
}  // namespace vantoconnect
