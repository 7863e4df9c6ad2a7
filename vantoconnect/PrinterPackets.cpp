#include "vantoconnect/PrinterPackets.hpp"

#include <algorithm>

#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

std::vector<Bytes> PrinterPackets::wrap(const std::vector<Bytes>& groups) {
    constexpr auto packetSize = static_cast<std::size_t>(PACKET_SIZE);
    std::vector<Bytes> packets;
    Bytes buffer(packetSize, 0);
    std::size_t used = 0;
    for (const Bytes& group : groups) {
        if (group.empty()) {
            fatalError(fatal::EMPTY_RANGE);
        }
        if (used + group.size() > packetSize) {
            packets.emplace_back(buffer.begin(),
                                 buffer.begin() + static_cast<std::ptrdiff_t>(used));
            std::fill(buffer.begin(), buffer.end(), 0);
            used = 0;
        }
        if (group.size() > packetSize) {
            fatalError(fatal::INDEX_OUT_OF_RANGE);
        }
        std::copy(group.begin(), group.end(), buffer.begin() + static_cast<std::ptrdiff_t>(used));
        used += group.size();
    }
    if (used > 0) {
        packets.emplace_back(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(used));
    }
    return packets;
}

std::int8_t PrinterPackets::nextTag(std::int8_t tag) {
    return tag >= 15 ? std::int8_t{1} : static_cast<std::int8_t>(tag + 1);
}

Bytes PrinterPackets::dataFrame(const Bytes& packet, std::int8_t channel, std::int8_t tag) {
    SwitchDataMessage message{packet};
    return MessageBuilder(message)
        .withDestinyChannel(channel)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withTagNumber(tag)
        .build();
}

Bytes PrinterPackets::endOfJobFrame() {
    SwitchDataMessage message{Bytes{0x00}};
    return MessageBuilder(message)
        .withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withTagNumber(0)
        .build();
}

Bytes PrinterPackets::busyQueryFrame() {
    SwitchDataMessage message{Bytes{}};
    return MessageBuilder(message)
        .withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
        .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
        .withType(MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND)
        .withTagNumber(0)
        .build();
}

}  // namespace vantoconnect
