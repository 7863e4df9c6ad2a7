#pragma once

// Passes raw bytes through the unit to one of its device ports: printer data, the cash drawer
// pulse. The content is the bytes to pass on, unchanged.

#include <cstdint>
#include <string>

#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"

namespace vantoconnect {

class SwitchDataMessage : public ORBAMessage {
  public:
    // An empty message marked as a response (direction bit set).
    SwitchDataMessage();
    // A command with size zero content bytes.
    explicit SwitchDataMessage(std::int64_t size);
    // A command carrying b as its content.
    explicit SwitchDataMessage(const Bytes& b);

    bool isWellFormed() const override;
    std::string toString() const override;

  private:
    static constexpr std::int64_t MIN_SWITCH_PAYLOADSIZE = 0;
};

}  // namespace vantoconnect
