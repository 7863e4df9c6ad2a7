#include "vantoconnect/VantoPrinterController.hpp"

#include <string>
#include <utility>

#include "vantoconnect/PrinterPackets.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoMessageResponse.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/connection/AbstractConnectionManager.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/SerialQueue.hpp"

namespace vantoconnect {

// The report of one receipt as its packets' write bodies finish. Only the connection's serial
// queue touches it after the job is queued, one body at a time, so it needs no lock.
struct VantoPrinterController::Delivery {
    VantoDeliveryReport report;
    std::shared_ptr<VantoDeliveryListener> listener;

    void deliver() {
        report.settle();
        listener->onDeliveryReport(report);
    }
};

VantoPrinterController::VantoPrinterController(std::shared_ptr<AbstractConnectionManager> mPort)
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
    return PrinterPackets::wrap(contents);
}

bool VantoPrinterController::isPrinterBusy() {
    return mPort->writeAndResponse(PrinterPackets::busyQueryFrame()) !=
           VantoMessageResponse::PRINTER_STATUS_OK;
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
    const Bytes bytes = PrinterPackets::dataFrame(b, channel, getNextSequenceNumber());
    if (!delivery) {
        mPort->write(bytes, true);
        return;
    }
    mPort->write(bytes, true, [delivery](const WriteOutcome& outcome) {
        delivery->report.countPacket(outcome);
    });
}

void VantoPrinterController::sendMessageFinished(const std::shared_ptr<Delivery>& delivery) {
    const Bytes bytes = PrinterPackets::endOfJobFrame();
    if (!delivery) {
        mPort->write(bytes, false);
        return;
    }
    mPort->write(bytes, false, [delivery](const WriteOutcome& outcome) {
        delivery->report.endOfJobSent = outcome.delivered;
    });
}

std::int8_t VantoPrinterController::getNextSequenceNumber() {
    const std::int8_t next = PrinterPackets::nextTag(tagNumber.load());
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
    AbstractConnectionManager& port, const std::shared_ptr<VantoPrinterCallback>& callback) {
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
