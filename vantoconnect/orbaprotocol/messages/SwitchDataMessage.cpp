#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"

#include <algorithm>

namespace vantoconnect {

SwitchDataMessage::SwitchDataMessage() : ORBAMessage(SWITCHDATA, 0, false, 0) {}

SwitchDataMessage::SwitchDataMessage(std::int64_t size) : ORBAMessage(SWITCHDATA, 0, true, size) {}

SwitchDataMessage::SwitchDataMessage(const Bytes& b)
    : ORBAMessage(SWITCHDATA, 0, true, static_cast<std::int64_t>(b.size())) {
    std::copy(b.begin(), b.end(), payload.begin() + MESSPAYLOADIX);
}

bool SwitchDataMessage::isWellFormed() const {
    return ORBAMessage::isWellFormed() &&
           getActualLength() >= MESSHEADERSIZE + MIN_SWITCH_PAYLOADSIZE && getType() == SWITCHDATA;
}

std::string SwitchDataMessage::toString() const {
    return "Switch data " + messageType() + " (" + ByteLump::toString() + " ) ";
}

}  // namespace vantoconnect
