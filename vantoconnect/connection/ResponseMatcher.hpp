#pragma once

// Turns the bytes of one read from the unit into one answer. The frames in the read are
// classified one by one and a single answer is chosen for the whole read: a printer-ready report
// first, then the first acknowledging answer, then the first answer of any kind.

#include <vector>

#include "vantoconnect/VantoMessageResponse.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class ResponseMatcher {
  public:
    ResponseMatcher();

    // UNKNOWN for an empty read or one without a complete frame. A frame split across reads is
    // completed by a later call. A frame too short to hold a message header is fatal.
    VantoMessageResponse processResponseFromVanto(const Bytes& buffer);
    // PRINT_ACKNOWLEDGED, WIFI_ACKNOWLEDGED and IO_CHANGE_OK acknowledge; nothing else does.
    bool isAcknowledged(VantoMessageResponse response) const;
    // System information answers are recognised but not interpreted.
    VantoMessageResponse processSysInfo(const Bytes& messageSpecific) const;

  private:
    // Where a port-control answer carries the port's state.
    static constexpr std::int64_t POS_IO_CONTROL_STATE = 6;

    bool containsPrinterStatusOk(const std::vector<VantoMessageResponse>& responses) const;
    VantoMessageResponse processSwitchData(const ORBAMessage& message) const;
    VantoMessageResponse processIOState(const Bytes& messageSpecific) const;
    VantoMessageResponse processPortControlState(const Bytes& messageSpecific) const;

    LinkDecoder16 linkDecoder;
};

}  // namespace vantoconnect
