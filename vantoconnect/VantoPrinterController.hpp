#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class AbstractConnectionManager;
class VantoDeliveryListener;
class VantoError;
class VantoPrinterCallback;
class VantoReceipt;

// Prints one receipt at a time on the unit's printer port, answers whether the printer is busy
// and prints the printer's configuration page.
//
// A receipt's printer bytes travel in packets of at most PACKET_SIZE_TCP bytes, each an
// acknowledged switch-data message with a tag that cycles 1..15; an unacknowledged end-of-job
// message (single byte 0x00, tag 0) closes the job. Completion is reported once the
// connection's work queue has passed the last message, whether or not the unit took them all:
// the connection manager deals with send failures on its own.
class VantoPrinterController {
  public:
    static constexpr std::int64_t PACKET_SIZE_TCP = 1024;

    explicit VantoPrinterController(std::shared_ptr<AbstractConnectionManager> mPort);
    virtual ~VantoPrinterController();
    VantoPrinterController(const VantoPrinterController&) = delete;
    VantoPrinterController& operator=(const VantoPrinterController&) = delete;

    // Sets PrinterQueue::IS_PRINTING, reports the start on this thread, queues every packet and
    // returns; PrinterQueue::IS_PRINTING is cleared on the connection's work queue after the
    // completion has been reported there.
    virtual void vantoprint(std::shared_ptr<VantoReceipt> receipt,
                            std::shared_ptr<VantoPrinterCallback> callback);
    // The same job, byte for byte, and then the receipt's delivery report to `listener`, right
    // after onPrinterCompleted on the connection's work queue.
    virtual void vantoprint(std::shared_ptr<VantoReceipt> receipt,
                            std::shared_ptr<VantoPrinterCallback> callback, std::uint64_t receiptId,
                            std::shared_ptr<VantoDeliveryListener> listener);
    // Blocks for the unit's answer. False only when the printer reports itself ready.
    virtual bool isPrinterBusy();
    // The printer's own configuration page; takes the next tag without resetting the sequence.
    virtual void printConfigPage();
    virtual void notifyPrinterError(const std::shared_ptr<VantoPrinterCallback>& callback,
                                    const VantoError& error);
    // Queues one packet of printer bytes as an acknowledged switch-data message.
    virtual void sendToPrinterBuffer(const Bytes& b, std::int8_t channel);

  private:
    friend class PrinterControllerProbe;  // lets tests drive the packing and sending directly

    // Packs byte groups into packets of at most PACKET_SIZE_TCP bytes without splitting a group.
    // An empty group or one longer than a packet stops the process.
    std::vector<Bytes> wrapContent(const std::vector<Bytes>& contents) const;
    struct Delivery;

    // Everything vantoprint does; `delivery` may be null.
    void printReceipt(const std::shared_ptr<VantoReceipt>& receipt,
                      const std::shared_ptr<VantoPrinterCallback>& callback,
                      const std::shared_ptr<Delivery>& delivery);
    // Everything vantoprint does once the receipt is composed; `delivery` may be null.
    void printGroups(const std::vector<Bytes>& groups,
                     const std::shared_ptr<VantoPrinterCallback>& callback,
                     const std::shared_ptr<Delivery>& delivery);
    void sendPacket(const Bytes& b, std::int8_t channel, const std::shared_ptr<Delivery>& delivery);
    std::int8_t getNextSequenceNumber();
    void resetTagNumber();
    void sendMessageFinished(const std::shared_ptr<Delivery>& delivery = nullptr);
    void notifyPrinterStarted(const std::shared_ptr<VantoPrinterCallback>& callback);
    // Runs on the connection's work queue and needs nothing of the controller, so an
    // application may drop the controller while a job is still queued.
    static void notifyPrinterCompleted(AbstractConnectionManager& port,
                                       const std::shared_ptr<VantoPrinterCallback>& callback);

    std::atomic<std::int8_t> tagNumber{0};
    std::shared_ptr<AbstractConnectionManager> mPort;
};

}  // namespace vantoconnect
