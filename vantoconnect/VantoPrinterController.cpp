#include "vantoconnect/VantoPrinterController.hpp"

#include <algorithm>
#include <string>
#include <utility>

#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoMessageResponse.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/orbaprotocol/messages/SwitchDataMessage.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

// The report of one receipt as its packets' write bodies finish. Only the connection's serial
// queue touches it after the job is queued, one body at a time, so it needs no lock.
struct VantoPrinterController::Delivery {
    VantoDeliveryReport report;
    std::shared_ptr<VantoDeliveryListener> listener;

    void count(const WriteOutcome& outcome) {
        if (outcome.delivered) {
            ++report.packetsAcknowledged;
        } else if (outcome.unrecognised > 0) {
            ++report.packetsUnrecognised;
        } else if (outcome.refused > 0) {
            ++report.packetsRefused;
        } else {
            ++report.packetsNotSent;
        }
    }

    void deliver() {
        report.allAcknowledged = report.packetsSent > 0 &&
                                 report.packetsAcknowledged == report.packetsSent &&
                                 report.endOfJobSent;
        listener->onDeliveryReport(report);
    }
};

VantoPrinterController::VantoPrinterController(std::shared_ptr<GenericConnectionManager> mPort)
    : mPort(std::move(mPort)) {}

VantoPrinterController::~VantoPrinterController() = default;

void VantoPrinterController::vantoprint(std::shared_ptr<VantoReceipt> receipt,
                                        std::shared_ptr<VantoPrinterCallback> callback) {
    printReceipt(receipt, callback, nullptr);
}

void VantoPrinterController::vantoprint(std::shared_ptr<VantoReceipt> receipt,
                                        std::shared_ptr<VantoPrinterCallback> callback,
                                        std::uint64_t receiptId,
                                        std::shared_ptr<VantoDeliveryListener> listener) {
    if (!listener) {
        vantoprint(std::move(receipt), std::move(callback));
        return;
    }
    auto delivery = std::make_shared<Delivery>();
    delivery->report.receiptId = receiptId;
    delivery->listener = std::move(listener);
    printReceipt(receipt, callback, delivery);
}

void VantoPrinterController::printReceipt(const std::shared_ptr<VantoReceipt>& receipt,
                                          const std::shared_ptr<VantoPrinterCallback>& callback,
                                          const std::shared_ptr<Delivery>& delivery) {
    PrinterQueue::IS_PRINTING.store(true);
    notifyPrinterStarted(callback);
    if (!receipt) {
        fatalError(fatal::NIL_UNWRAP);
    }
    printGroups(ReceiptComposer().compose(*receipt), callback, delivery);
}

void VantoPrinterController::printGroups(const std::vector<Bytes>& groups,
                                         const std::shared_ptr<VantoPrinterCallback>& callback,
                                         const std::shared_ptr<Delivery>& delivery) {
    const std::vector<Bytes> packets = wrapContent(groups);
    if (delivery) {
        delivery->report.packetsSent = static_cast<std::int64_t>(packets.size());
    }
    resetTagNumber();
    for (const Bytes& packet : packets) {
        sendPacket(packet, MessageBuilder::CHANNEL_UART1_PRINTER, delivery);
    }
    sendMessageFinished(delivery);
    // Queued behind the writes above, so it runs once the connection has got through them. It
    // holds the manager: the application may have dropped everything else by then.
    mPort->getQueue().async([port = mPort, callback, delivery] {
        notifyPrinterCompleted(*port, callback);
        PrinterQueue::IS_PRINTING.store(false);
        // After the flag, so that an application that submits its next receipt on the report
        // never meets a poll that still sees this job under way.
        if (delivery) {
            delivery->deliver();
        }
    });
}

std::vector<Bytes> VantoPrinterController::wrapContent(const std::vector<Bytes>& contents) const {
    constexpr auto packetSize = static_cast<std::size_t>(PACKET_SIZE_TCP);
    std::vector<Bytes> packets;
    Bytes buffer(packetSize, 0);
    std::size_t used = 0;
    for (const Bytes& group : contents) {
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

bool VantoPrinterController::isPrinterBusy() {
    SwitchDataMessage message{Bytes{}};
    const Bytes bytes = MessageBuilder(message)
                            .withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
                            .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
                            .withType(MessageBuilder::GET_PORT_CONTROL_STATE_COMMAND)
                            .withTagNumber(0)
                            .build();
    return mPort->writeAndResponse(bytes) != VantoMessageResponse::PRINTER_STATUS_OK;
}

void VantoPrinterController::printConfigPage() {
    sendToPrinterBuffer(Bytes{0x1F, 0x74}, MessageBuilder::CHANNEL_UART1_PRINTER);
    sendMessageFinished();
}

void VantoPrinterController::sendToPrinterBuffer(const Bytes& b, std::int8_t channel) {
    sendPacket(b, channel, nullptr);
}

void VantoPrinterController::sendPacket(const Bytes& b, std::int8_t channel,
                                        const std::shared_ptr<Delivery>& delivery) {
    SwitchDataMessage message{b};
    const Bytes bytes = MessageBuilder(message)
                            .withDestinyChannel(channel)
                            .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
                            .withTagNumber(getNextSequenceNumber())
                            .build();
    if (!delivery) {
        mPort->write(bytes, true);
        return;
    }
    mPort->write(bytes, true,
                 [delivery](const WriteOutcome& outcome) { delivery->count(outcome); });
}

void VantoPrinterController::sendMessageFinished(const std::shared_ptr<Delivery>& delivery) {
    SwitchDataMessage message{Bytes{0x00}};
    const Bytes bytes = MessageBuilder(message)
                            .withDestinyChannel(MessageBuilder::CHANNEL_UART1_PRINTER)
                            .withDestinynode(MessageBuilder::NODE_VANTO_BRAIN_UNIT)
                            .withTagNumber(0)
                            .build();
    if (!delivery) {
        mPort->write(bytes, false);
        return;
    }
    mPort->write(bytes, false, [delivery](const WriteOutcome& outcome) {
        delivery->report.endOfJobSent = outcome.delivered;
    });
}

std::int8_t VantoPrinterController::getNextSequenceNumber() {
    // Tag 0 marks control messages, so data packets cycle through 1..15 only.
    std::int8_t next = static_cast<std::int8_t>(tagNumber.load() + 1);
    if (next > 15) {
        next = 1;
    }
    tagNumber.store(next);
    return next;
}

void VantoPrinterController::resetTagNumber() {
    tagNumber.store(0);
}

void VantoPrinterController::notifyPrinterStarted(
    const std::shared_ptr<VantoPrinterCallback>& callback) {
    consoleLine("Printer started");
    if (callback) {
        callback->onPrinterStarted(mPort->getConnectionIPAddress());
    }
}

void VantoPrinterController::notifyPrinterCompleted(
    GenericConnectionManager& port, const std::shared_ptr<VantoPrinterCallback>& callback) {
    consoleLine("Printer completed.");
    if (callback) {
        callback->onPrinterCompleted(port.getConnectionIPAddress());
    }
}

void VantoPrinterController::notifyPrinterError(
    const std::shared_ptr<VantoPrinterCallback>& callback, const VantoError& error) {
    consoleLine("Printer error: " + error.description());
    if (callback) {
        callback->onPrinterError(error);
    }
}

}  // namespace vantoconnect
