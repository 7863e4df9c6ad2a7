#include "vantoconnect/connection/ResponseMatcher.hpp"

#include <algorithm>

#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/orbaprotocol/messages/GetControlStateMessage.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

ResponseMatcher::ResponseMatcher() {
    linkDecoder.setCRCEnable(true);
    linkDecoder.setLengthSize(LinkEncoder::LENGTH_12BIT);
}

VantoMessageResponse ResponseMatcher::processResponseFromVanto(const Bytes& buffer) {
    if (buffer.empty()) {
        return VantoMessageResponse::UNKNOWN;
    }
    const std::vector<ByteLump> frames = linkDecoder.processByteLump(ByteLump(buffer), 0);
    std::vector<VantoMessageResponse> responses;
    responses.reserve(frames.size());
    for (const ByteLump& frame : frames) {
        const ORBAMessage message(frame.payload);
        const std::int8_t type = message.getType();
        const Bytes messageSpecific = message.getMessageSpecificContent();
        VantoMessageResponse response = VantoMessageResponse::UNKNOWN;
        if (type == ORBAMessage::SETIOSTATE) {
            response = processIOState(messageSpecific);
        } else if (type == ORBAMessage::SWITCHDATA) {
            response = processSwitchData(message);
        } else if (type == ORBAMessage::GETPCONTROL) {
            response = processPortControlState(messageSpecific);
        } else if (type == ORBAMessage::GETSYSINFO) {
            response = processSysInfo(messageSpecific);
        }
        responses.push_back(response);
    }
    if (containsPrinterStatusOk(responses)) {
        return VantoMessageResponse::PRINTER_STATUS_OK;
    }
    const auto acknowledged = std::find_if(responses.begin(), responses.end(),
                                           [this](auto r) { return isAcknowledged(r); });
    if (acknowledged != responses.end()) {
        return *acknowledged;
    }
    return responses.empty() ? VantoMessageResponse::UNKNOWN : responses.front();
}

bool ResponseMatcher::isAcknowledged(VantoMessageResponse response) const {
    return response == VantoMessageResponse::PRINT_ACKNOWLEDGED ||
           response == VantoMessageResponse::WIFI_ACKNOWLEDGED ||
           response == VantoMessageResponse::IO_CHANGE_OK;
}

VantoMessageResponse ResponseMatcher::processSysInfo(const Bytes& /*messageSpecific*/) const {
    return VantoMessageResponse::UNKNOWN;
}

bool ResponseMatcher::containsPrinterStatusOk(
    const std::vector<VantoMessageResponse>& responses) const {
    return std::find(responses.begin(), responses.end(), VantoMessageResponse::PRINTER_STATUS_OK) !=
           responses.end();
}

VantoMessageResponse ResponseMatcher::processSwitchData(const ORBAMessage& message) const {
    // The printer answers data it could not take with a switch-data frame marked as a command.
    return message.isCommand() ? VantoMessageResponse::ERROR_PRINTER_NOT_OK
                               : VantoMessageResponse::PRINT_ACKNOWLEDGED;
}

VantoMessageResponse ResponseMatcher::processIOState(const Bytes& /*messageSpecific*/) const {
    return VantoMessageResponse::IO_CHANGE_OK;
}

VantoMessageResponse ResponseMatcher::processPortControlState(const Bytes& messageSpecific) const {
    if (static_cast<std::int64_t>(messageSpecific.size()) !=
        GetControlStateMessage::GETCONTROL_PAYLOADSIZE) {
        return VantoMessageResponse::UNKNOWN;
    }
    switch (checkedAt(messageSpecific, POS_IO_CONTROL_STATE)) {
        case 0x04:
            return VantoMessageResponse::PRINTER_STATUS_OK;
        case 0x00:
            return VantoMessageResponse::PRINTER_STATUS_NOT_READY;
        case 0x7F:
            return VantoMessageResponse::CASH_DRAWER_STATE_1;
        case 0x3F:
            return VantoMessageResponse::CASH_DRAWER_STATE_2;
        default:
            return VantoMessageResponse::UNKNOWN;
    }
}

}  // namespace vantoconnect
