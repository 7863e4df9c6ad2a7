#pragma once

// Asks the unit for the control state of the port on its destination channel; the cash drawer
// sensor is read from the reply. Content layout (18 bytes):
//
//   0-3   speed, least significant byte first
//   4     character size (bits 0-2) | parity (bits 3-5) | stop bits (bits 6-7)
//   5     flow control (bits 4-7)
//   6-17  status bytes of the reply; 6 is the line status (bit 6: cash drawer sensor)
//
// isWellFormed() asks for the port-control-set type, so a message of this class's own type
// fails it, as the unit's replies do.

#include <cstdint>
#include <string>

#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/PortControlState.hpp"

namespace vantoconnect {

class GetControlStateMessage : public ORBAMessage {
  public:
    // Public so that reply classification can check a reply's size against it.
    static constexpr std::int64_t GETCONTROL_PAYLOADSIZE = 18;

    // Type GETPCONTROL, command, tag 0, 18 zero content bytes.
    GetControlStateMessage();
    explicit GetControlStateMessage(const PortControlState& pcs);
    // Received bytes as they are.
    explicit GetControlStateMessage(const Bytes& b);

    // Writes the settings into content bytes 0-5. A speed marked not available, or any speed
    // beyond 32 bits, goes out as its low 32 bits (all ones for the marker).
    void applyControlState(const PortControlState& pcs);
    // Decodes a reply. Every field is read, so a short reply stops the process, but the state
    // record's setters keep nothing: the result carries only the port kind (radio for source
    // channel 5, serial otherwise), writeable false and not-available settings.
    PortControlState extractPortControlState() const;

    bool isWellFormed() const override;
    std::string toString() const override;
};

}  // namespace vantoconnect
