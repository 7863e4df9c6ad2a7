#include "vantoconnect/orbaprotocol/messages/GetControlStateMessage.hpp"

#include "vantoconnect/orbaprotocol/messages/LineState.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

GetControlStateMessage::GetControlStateMessage()
    : ORBAMessage(GETPCONTROL, 0, true, GETCONTROL_PAYLOADSIZE) {}

GetControlStateMessage::GetControlStateMessage(const PortControlState& pcs)
    : GetControlStateMessage() {
    applyControlState(pcs);
}

GetControlStateMessage::GetControlStateMessage(const Bytes& b) : ORBAMessage(b) {}

void GetControlStateMessage::applyControlState(const PortControlState& pcs) {
    const auto contentByte = [this](std::int64_t k) -> std::int8_t& {
        return checkedAt(payload, MESSPAYLOADIX + k);
    };
    const auto speed = static_cast<std::uint64_t>(pcs.speedSetting);
    for (std::int64_t k = 0; k < 4; ++k) {
        contentByte(k) = static_cast<std::int8_t>((speed >> (8 * k)) & 0xFF);
    }
    contentByte(4) = static_cast<std::int8_t>(
        (pcs.charSizeSetting & 0x07) | (pcs.paritySetting & 0x38) | (pcs.stopSizeSetting & 0xC0));
    contentByte(5) = static_cast<std::int8_t>(pcs.flowSetting & 0xFF);
}

PortControlState GetControlStateMessage::extractPortControlState() const {
    const std::int64_t kind =
        getSourceChannel() == 5 ? LineState::LINERADIOMODEM : LineState::LINESERIAL;
    PortControlState pcs(false, kind);
    const Bytes content = getMessageSpecificContent();

    std::int64_t speed = checkedAt(content, 3);
    for (std::int64_t k = 2; k >= 0; --k) {
        speed = static_cast<std::int64_t>(static_cast<std::uint64_t>(speed) << 8) |
                checkedAt(content, k);
    }
    pcs.setSpeed(speed);

    const std::int64_t format = checkedAt(content, 4);
    pcs.setCharSize(format & 0x07);
    pcs.setParity(format & 0x38);
    pcs.setStopSize(format & 0xC0);
    pcs.setFlowControl(checkedAt(content, 5));

    // The status bytes carry nothing the state record holds, but a reply must have them all.
    for (std::int64_t k = 6; k < GETCONTROL_PAYLOADSIZE; ++k) {
        static_cast<void>(checkedAt(content, k));
    }
    return pcs;
}

bool GetControlStateMessage::isWellFormed() const {
    return ORBAMessage::isWellFormed() &&
           getActualLength() == MESSHEADERSIZE + GETCONTROL_PAYLOADSIZE && getType() == SETPCONTROL;
}

std::string GetControlStateMessage::toString() const {
    return "Get port control state " + messageType() + " (" + ByteLump::toString() + " ) ";
}

}  // namespace vantoconnect
