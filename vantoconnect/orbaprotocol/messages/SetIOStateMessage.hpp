#pragma once

// Sets output lines of the unit: diagnostic LEDs, the cosmetic light, USB power, the solenoid.
// The 32 content bytes end in two little-endian words: at OUTLINE_SIG a change mask (a set bit
// drives the line, a clear bit leaves it alone) and at OUTLINE_VAL the values of the driven
// lines. Diagnostic LED p owns bits 2p+1..2p; the cosmetic routine writes a 2-bit field at bit
// n for line n (lines 8-10 the cosmetic light, 26 USB power); the solenoid is bit 12.
//
// isWellFormed() asks for the port-control type, which this message never carries, so it
// rejects every message this class builds; the unit's answers are checked the same way.

#include <cstdint>
#include <string>

#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/OrbaIOState.hpp"

namespace vantoconnect {

class SetIOStateMessage : public ORBAMessage {
  public:
    OrbaIOState gios;
    std::int64_t OUTLINE_SIG = 24;
    std::int64_t OUTLINE_VAL = 28;

    // Type SETIOSTATE, 32 zero content bytes, then the default state applied: an empty mask.
    SetIOStateMessage();
    // As above, then new_state applied on top.
    explicit SetIOStateMessage(const OrbaIOState& new_state);
    // Received bytes as they are; nothing applied or checked.
    explicit SetIOStateMessage(const Bytes& b);

    // A setting of NA_NUMBER clears the field's mask bits and leaves its value bits; any
    // other setting sets the mask and replaces the value. led_no must be 0..31; others stop.
    void setDiagnosticLEDBitField(std::int64_t led_no, std::int64_t setting);
    // The field is two bits wide but lines are one bit apart, so each call also clears the
    // value bit of the next line up. Lines are written in increasing order with settings 0 or
    // 1, which keeps every line's own bit. led_no must be 0..63.
    void setCosmeticLEDBitField(std::int64_t led_no, std::int64_t setting);
    void setSolenoidBitField(std::int64_t setting);

    bool isWellFormed() const override;
    std::string toString() const override;

  private:
    static constexpr std::int64_t SET_IOCONTROL_PAYLOADSIZE = 32;

    // Diagnostic LEDs 0-2 and the solenoid; the cosmetic and button settings are not sent.
    void applyCurrentIOState();
    void setBitField(std::int64_t shift, std::int64_t setting);
};

}  // namespace vantoconnect
