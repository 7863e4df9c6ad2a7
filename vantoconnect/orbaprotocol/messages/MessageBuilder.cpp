#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"

#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

MessageBuilder& MessageBuilder::withSourceChannel(std::int8_t channel) {
    msg->setSourceChannel(channel);
    return *this;
}

MessageBuilder& MessageBuilder::withSourceNode(std::int8_t node) {
    msg->setSourceNode(node);
    return *this;
}

MessageBuilder& MessageBuilder::withDestinyChannel(std::int8_t channel) {
    msg->setDestChannel(channel);
    return *this;
}

MessageBuilder& MessageBuilder::withDestinynode(std::int8_t node) {
    msg->setDestNode(node);
    return *this;
}

MessageBuilder& MessageBuilder::withTagNumber(std::int8_t tagNumber) {
    msg->setTag(tagNumber);
    return *this;
}

MessageBuilder& MessageBuilder::withTagNumber(std::int64_t tagNumber) {
    return withTagNumber(toInt8Checked(tagNumber));
}

MessageBuilder& MessageBuilder::withTagNumber(int tagNumber) {
    return withTagNumber(static_cast<std::int64_t>(tagNumber));
}

MessageBuilder& MessageBuilder::withType(std::int8_t type) {
    msg->setType(type);
    return *this;
}

Bytes MessageBuilder::build() {
    LinkEncoder encoder;
    encoder.setCRCEnable(true);
    encoder.setLengthSize(LinkEncoder::LENGTH_12BIT);
    std::vector<ByteLump> frames = encoder.processByteLump(*msg, 0);
    return checkedAt(frames, 0).payload;
}

}  // namespace vantoconnect
