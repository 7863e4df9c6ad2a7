#include "vantoconnect/VantoLedController.hpp"

#include <optional>
#include <utility>
#include <vector>

#include "vantoconnect/connection/AbstractConnectionManager.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/SetIOStateMessage.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

namespace {
// Which of the cosmetic light's green, blue and red lines (8, 9, 10) a colour
// lights.
struct CosmeticLines {
    std::int64_t green;
    std::int64_t blue;
    std::int64_t red;
};
}  // namespace

VantoLedController::VantoLedController(
    std::shared_ptr<AbstractConnectionManager> abstractConnectionManager)
    : mPort(std::move(abstractConnectionManager)), linkEncoder(std::make_unique<LinkEncoder>()) {
    linkEncoder->setCRCEnable(true);
    linkEncoder->setLengthSize(LinkEncoder::LENGTH_12BIT);
}

VantoLedController::~VantoLedController() = default;

void VantoLedController::setDiagnosticLed(std::int64_t position, std::int64_t color) {
    SetIOStateMessage msg;
    msg.setDestChannel(MessageBuilder::CHANNEL_IO_BUTTONS_LEDS);
    msg.setDestNode(MessageBuilder::NODE_VANTO_BRAIN_UNIT);
    // The unit accepts the diagnostic request with either source node; this one
    // has always gone out as node 1 and stays so.
    msg.setSourceNode(MessageBuilder::NODE_VANTO_BRAIN_UNIT);
    msg.setTag(0);
    msg.setDiagnosticLEDBitField(position, color);
    writeFrame(msg);
}

void VantoLedController::setCosmeticLedCol(std::int64_t color) {
    SetIOStateMessage msg;
    std::optional<CosmeticLines> lines;
    switch (color) {
        case VantoColorCodes::COSMETIC_OFF:
            lines = CosmeticLines{0, 0, 0};
            break;
        case VantoColorCodes::COSMETIC_BLUE:
            lines = CosmeticLines{0, 1, 0};
            break;
        case VantoColorCodes::COSMETIC_GREEN:
            lines = CosmeticLines{1, 0, 0};
            break;
        case VantoColorCodes::COSMETIC_CYAN:
            lines = CosmeticLines{1, 1, 0};
            break;
        case VantoColorCodes::COSMETIC_RED:
            lines = CosmeticLines{0, 0, 1};
            break;
        case VantoColorCodes::COSMETIC_MAGENTA:
            lines = CosmeticLines{0, 1, 1};
            break;
        case VantoColorCodes::COSMETIC_YELLOW:
            lines = CosmeticLines{1, 0, 1};
            break;
        case VantoColorCodes::COSMETIC_WHITE:
            lines = CosmeticLines{1, 1, 1};
            break;
        default:
            break;  // an unknown colour still goes out, changing nothing
    }
    if (lines) {
        msg.setCosmeticLEDBitField(8, lines->green);
        msg.setCosmeticLEDBitField(9, lines->blue);
        msg.setCosmeticLEDBitField(10, lines->red);
    }
    msg.setDestChannel(MessageBuilder::CHANNEL_IO_BUTTONS_LEDS);
    msg.setDestNode(MessageBuilder::NODE_VANTO_BRAIN_UNIT);
    msg.setTag(0);
    writeFrame(msg);
}

void VantoLedController::writeFrame(const ORBAMessage& message) {
    Bytes bytes;
    {
        std::lock_guard lock(encoderMutex);
        const std::vector<ByteLump> frames = linkEncoder->processByteLump(message, 0);
        bytes = checkedAt(frames, 0).payload;
    }
    mPort->write(bytes, false);
}

}  // namespace vantoconnect
