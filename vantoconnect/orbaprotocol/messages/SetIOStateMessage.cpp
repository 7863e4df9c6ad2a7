#include "vantoconnect/orbaprotocol/messages/SetIOStateMessage.hpp"

#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

SetIOStateMessage::SetIOStateMessage()
    : ORBAMessage(SETIOSTATE, 0, true, SET_IOCONTROL_PAYLOADSIZE) {
    applyCurrentIOState();
}

SetIOStateMessage::SetIOStateMessage(const OrbaIOState& new_state) : SetIOStateMessage() {
    gios = new_state;
    applyCurrentIOState();
}

SetIOStateMessage::SetIOStateMessage(const Bytes& b) : ORBAMessage(b) {}

void SetIOStateMessage::applyCurrentIOState() {
    for (std::int64_t k = 0; k < 3; ++k) {
        setDiagnosticLEDBitField(
            k, checkedAt(OrbaIOState::RGAColourVals, checkedAt(gios.diagnosticSetting, k)));
    }
    setSolenoidBitField(checkedAt(OrbaIOState::SolenoidVals, gios.solenoidSetting));
}

void SetIOStateMessage::setBitField(std::int64_t shift, std::int64_t setting) {
    const std::int64_t mask = shiftLeftChecked(3, shift);
    std::int64_t sig = get32BitPayloadValue(OUTLINE_SIG);
    std::int64_t val = get32BitPayloadValue(OUTLINE_VAL);
    if (setting == OrbaIOState::NA_NUMBER) {
        sig &= ~mask;
    } else {
        sig |= mask;
        val = (val & ~mask) | shiftLeftChecked(setting, shift);
    }
    put32BitPayloadValue(OUTLINE_SIG, sig);
    put32BitPayloadValue(OUTLINE_VAL, val);
}

void SetIOStateMessage::setDiagnosticLEDBitField(std::int64_t led_no, std::int64_t setting) {
    setBitField(multiplyChecked(2, led_no), setting);
}

void SetIOStateMessage::setCosmeticLEDBitField(std::int64_t led_no, std::int64_t setting) {
    setBitField(led_no, setting);
}

void SetIOStateMessage::setSolenoidBitField(std::int64_t setting) {
    constexpr std::int64_t solenoid = 0x1000;
    std::int64_t sig = get32BitPayloadValue(OUTLINE_SIG);
    std::int64_t val = get32BitPayloadValue(OUTLINE_VAL);
    if (setting == OrbaIOState::NA_NUMBER) {
        sig &= ~solenoid;
    } else {
        sig |= solenoid;
        val = (val & ~solenoid) | shiftLeftChecked(setting, 12);
    }
    put32BitPayloadValue(OUTLINE_SIG, sig);
    put32BitPayloadValue(OUTLINE_VAL, val);
}

bool SetIOStateMessage::isWellFormed() const {
    return ORBAMessage::isWellFormed() &&
           getActualLength() == MESSHEADERSIZE + SET_IOCONTROL_PAYLOADSIZE &&
           getType() == SETPCONTROL;
}

std::string SetIOStateMessage::toString() const {
    return "Set port control " + messageType() + " (" + ByteLump::toString() + " ) ";
}

}  // namespace vantoconnect
