#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"

#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

ORBAMessage::ORBAMessage(std::int8_t chan, std::int8_t com, std::int8_t tag, bool cmd,
                         std::int64_t i)
    : ByteLump(addChecked(i, 3)) {
    setDestChannel(chan);
    setSourceNode(1);
    setSourceChannel(8);
    setType(com);
    setTag(tag);
    setCommand(cmd);
}

ORBAMessage::ORBAMessage(std::int8_t com, std::int8_t tag, bool cmd, std::int64_t i)
    : ByteLump(addChecked(i, MESSHEADERSIZE)) {
    setDestChannel(0);
    setSourceNode(0);
    setSourceChannel(2);
    setType(com);
    setTag(tag);
    setCommand(cmd);
}

// Built from a count rather than from the bytes, so an empty reception gives an empty message
// for isWellFormed() to reject instead of stopping the process.
ORBAMessage::ORBAMessage(const Bytes& byteArray)
    : ByteLump(static_cast<std::int64_t>(byteArray.size())) {
    payload = byteArray;
}

std::int8_t& ORBAMessage::byteAt(std::int64_t ix) {
    return checkedAt(payload, ix);
}

std::int8_t ORBAMessage::byteAt(std::int64_t ix) const {
    return checkedAt(payload, ix);
}

bool ORBAMessage::isCommand() const {
    return (byteAt(MESSTAGIX) & 0x7F) == 0;
}

std::string ORBAMessage::messageType() const {
    return isCommand() ? "command" : "response";
}

void ORBAMessage::setNode(std::int64_t ix, std::int8_t node) {
    std::int8_t& b = byteAt(ix);
    b = static_cast<std::int8_t>((b & 0x0F) | ((node & 0x0F) << 4));
}

// The whole channel value is ORed in: a channel above 15 lands in the node nibble.
void ORBAMessage::setChannel(std::int64_t ix, std::int8_t channel) {
    std::int8_t& b = byteAt(ix);
    b = static_cast<std::int8_t>((b & 0xF0) | (channel & 0xFF));
}

void ORBAMessage::setDestNode(std::int8_t node) {
    setNode(MESSDESTCHANIX, node);
}

std::int8_t ORBAMessage::getDestNode() const {
    return static_cast<std::int8_t>(byteAt(MESSDESTCHANIX) >> 4);
}

void ORBAMessage::setDestChannel(std::int8_t channel) {
    setChannel(MESSDESTCHANIX, channel);
}

std::int8_t ORBAMessage::getDestChannel() const {
    return static_cast<std::int8_t>(byteAt(MESSDESTCHANIX) & 0x0F);
}

void ORBAMessage::setSourceChannel(std::int8_t channel) {
    setChannel(MESSSRCECHANIX, channel);
}

std::int8_t ORBAMessage::getSourceChannel() const {
    return static_cast<std::int8_t>(byteAt(MESSSRCECHANIX) & 0x0F);
}

void ORBAMessage::setSourceNode(std::int8_t node) {
    setNode(MESSSRCECHANIX, node);
}

std::int8_t ORBAMessage::getSourceNode() const {
    return static_cast<std::int8_t>(byteAt(MESSSRCECHANIX) >> 4);
}

void ORBAMessage::setType(std::int8_t type) {
    byteAt(MESSTYPEIX) = type;
}

std::int8_t ORBAMessage::getType() const {
    return byteAt(MESSTYPEIX);
}

// Messages are built with a zero tag byte and tagged once, so the old tag is not cleared.
void ORBAMessage::setTag(std::int8_t tag) {
    std::int8_t& b = byteAt(MESSTAGIX);
    b = static_cast<std::int8_t>(b | (tag & 0x0F));
}

std::int8_t ORBAMessage::getTag() const {
    return static_cast<std::int8_t>(byteAt(MESSTAGIX) & 0x0F);
}

std::int8_t ORBAMessage::getSequence() const {
    return getTag();
}

void ORBAMessage::setCommand(bool b) {
    std::int8_t& t = byteAt(MESSTAGIX);
    t = static_cast<std::int8_t>(b ? (t & 0x7F) : (t | 0x80));
}

// The bytes the buffer really holds, whatever sizeInBytes has been set to: the header and
// content accessors index the buffer, so this is the length they can reach.
std::int64_t ORBAMessage::getActualLength() const {
    return static_cast<std::int64_t>(payload.size());
}

Bytes ORBAMessage::getMessageSpecificContent() const {
    Bytes content(requireCount(subtractChecked(getActualLength(), MESSHEADERSIZE)));
    for (std::size_t k = 0; k < content.size(); ++k) {
        content[k] = byteAt(MESSHEADERSIZE + static_cast<std::int64_t>(k));
    }
    return content;
}

bool ORBAMessage::isWellFormed() const {
    const std::int64_t length = getActualLength();
    return length >= MINMESSSIZE && length <= MAXMESSSIZE;
}

std::int64_t ORBAMessage::get32BitPayloadValue(std::int64_t ix) const {
    const std::int64_t base = addChecked(MESSHEADERSIZE, ix);
    std::int64_t result = 0;
    for (std::int64_t k = 3; k >= 0; --k) {
        // Four signed bytes cannot overflow 64 bits; multiplying keeps negative values defined.
        result = result * 256 + byteAt(addChecked(base, k));
    }
    return result;
}

void ORBAMessage::put32BitPayloadValue(std::int64_t ix, std::int64_t pl) {
    const std::int64_t base = addChecked(MESSHEADERSIZE, ix);
    for (std::int64_t k = 0; k < 4; ++k) {
        const std::int8_t b = toInt8Checked(pl & 0xFF);
        byteAt(addChecked(base, k)) = b;
        pl >>= 8;
    }
}

void ORBAMessage::swapSrceDest() {
    const std::int8_t srcNode = getSourceNode();
    const std::int8_t srcChannel = getSourceChannel();
    setSourceNode(getDestNode());
    setSourceChannel(getDestChannel());
    setDestNode(srcNode);
    setDestChannel(srcChannel);
}

}  // namespace vantoconnect
