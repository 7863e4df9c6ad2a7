#include "vantoconnect/VantoConfigurationController.hpp"

#include <utility>
#include <vector>

#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/connection/AbstractConnectionManager.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/orbaprotocol/messages/GetControlStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/SetIOStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

namespace {
// The USB ports' power switch sits on output line 26.
constexpr std::int64_t USB_POWER_LINE = 26;
// How long the unit may take to answer the drawer sensor query, in
// milliseconds.
constexpr std::int64_t CASH_DRAWER_STATUS_TIMEOUT = 2000;
// The drawer sensor is bit 6 of this content byte of the port-control answer.
constexpr std::size_t CASH_DRAWER_SENSOR_BYTE = 6;
constexpr std::size_t CASH_DRAWER_MIN_CONTENT = 8;
}  // namespace

VantoConfigurationController::VantoConfigurationController(
    std::shared_ptr<AbstractConnectionManager> mPort)
    : mPort(std::move(mPort)), linkEncoder(std::make_unique<LinkEncoder>()) {
    linkEncoder->setCRCEnable(true);
    linkEncoder->setLengthSize(LinkEncoder::LENGTH_12BIT);
}

VantoConfigurationController::~VantoConfigurationController() = default;

void VantoConfigurationController::enableUSB() {
    setUSBPower(1);
}

void VantoConfigurationController::disableUSB() {
    setUSBPower(0);
}

void VantoConfigurationController::setUSBPower(std::int64_t setting) {
    SetIOStateMessage msg;
    msg.setCosmeticLEDBitField(USB_POWER_LINE, setting);
    msg.setDestChannel(MessageBuilder::CHANNEL_IO_BUTTONS_LEDS);
    msg.setDestNode(MessageBuilder::NODE_VANTO_BRAIN_UNIT);
    writeFrame(msg);
}

void VantoConfigurationController::openCashDrawer() {
    // The printer's drawer kick: ESC p, pin 0, longest on and off times. The
    // drawer port understands the same sequence.
    const Bytes data{0x1B, 0x70, 0x00, -1, -1};
    SwitchDataMessage msg{data};
    msg.setDestChannel(MessageBuilder::CHANNEL_CASH_DRAWER);
    msg.setDestNode(MessageBuilder::NODE_VANTO_BRAIN_UNIT);
    writeFrame(msg);
}

std::int64_t VantoConfigurationController::cashDrawerStatus() {
    GetControlStateMessage msg;
    const Bytes bytes = MessageBuilder(msg)
                            .withDestinyChannel(MessageBuilder::CHANNEL_CASH_DRAWER)
                            .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
                            .withType(MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND)
                            .withTagNumber(0)
                            .build();
    const Bytes reply =
        mPort->writeAndResponseRaw(bytes, ORBAMessage::GETPCONTROL, CASH_DRAWER_STATUS_TIMEOUT);

    // A fresh decoder: a partial frame left from an earlier answer must not mix
    // into this one.
    LinkDecoder16 decoder;
    const std::vector<ByteLump> frames = decoder.processByteLump(ByteLump(reply), 0);
    for (const ByteLump& frame : frames) {
        const ORBAMessage message(frame.payload);
        const Bytes content = message.getMessageSpecificContent();
        if (content.size() >= CASH_DRAWER_MIN_CONTENT &&
            message.getType() == MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND) {
            const auto sensor = static_cast<std::uint8_t>(content[CASH_DRAWER_SENSOR_BYTE]);
            return (sensor & 0x40) >> 6;
        }
    }
    throw VantoError::GENERIC("Cash drawer status message not received");
}

void VantoConfigurationController::writeFrame(const ORBAMessage& message) {
    Bytes bytes;
    {
        std::lock_guard lock(encoderMutex);
        const std::vector<ByteLump> frames = linkEncoder->processByteLump(message, 0);
        bytes = checkedAt(frames, 0).payload;
    }
    mPort->write(bytes, false);
}

}  // namespace vantoconnect
