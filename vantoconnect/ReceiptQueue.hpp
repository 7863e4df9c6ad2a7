#pragma once

// Where the facade hands its receipts: the process-wide PrinterQueue of the classic profile, or
// the resilient profile's queue of its own. The facade sees no difference.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vantoconnect {

class VantoDeliveryListener;
class VantoPrinterCallback;
class VantoReceipt;

class ReceiptQueue {
  public:
    virtual ~ReceiptQueue() = default;

    // Queues the receipt and returns the id its delivery report will carry. The callback and
    // the listener may be null.
    virtual std::uint64_t addToQueue(std::shared_ptr<VantoReceipt> receipt,
                                     std::shared_ptr<VantoPrinterCallback> callback,
                                     std::shared_ptr<VantoDeliveryListener> listener) = 0;
    // Withdraws a receipt that is still waiting to be sent; it is reported cancelled. False when
    // it is not waiting (sent, being sent, reported, unknown) or the queue cannot withdraw one.
    virtual bool cancel(std::uint64_t receiptId) = 0;
    // Receipts queued and not yet handed to the printer.
    virtual std::size_t waitingReceipts() const = 0;
};

}  // namespace vantoconnect
