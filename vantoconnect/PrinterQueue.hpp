#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "vantoconnect/ReceiptQueue.hpp"

namespace vantoconnect {

class VantoDeliveryListener;
class VantoPrinterCallback;
class VantoPrinterController;
class VantoReceipt;

// Receipts waiting to be printed, with the callback of each.
//
// The waiting receipts, their callbacks and the poll counter belong to the whole process: every
// PrinterQueue instance shares them. A submission schedules a poll 0.1 s later on the
// process-wide timer thread; while receipts wait, each poll schedules the next 2.0 s later. Every
// submission starts its own chain of polls, so submissions in quick succession poll more often.
//
// A poll that finds the queue empty, a transmission under way or the printer busy counts as
// unavailable. Unavailable polls accumulate across receipts and are reset only by a give-up:
// the 31st since the last give-up drops the head receipt with PRINTER_NOT_RESPONDING. A give-up
// that finds no receipt to drop stops the process (FatalError) rather than drop one that was
// never there. The decision to give up and the removal of the head happen under one lock, so a
// receipt submitted while a poll is deciding is never the one dropped.
//
// Every submission is given a receipt id (1, 2, 3, ... for the process); a receipt submitted
// with a VantoDeliveryListener gets its delivery report right after its last callback. A receipt
// cannot be withdrawn once queued.
class PrinterQueue : public ReceiptQueue {
  public:
    explicit PrinterQueue(std::shared_ptr<VantoPrinterController> controller);

    // A receipt's transmission is under way; set and cleared by the printer controller.
    static std::atomic<bool> IS_PRINTING;

    void addToQueue(std::shared_ptr<VantoReceipt> receipt);
    // An absent callback is replaced by a StubPrinterCallback.
    void addToQueue(std::shared_ptr<VantoReceipt> receipt,
                    std::shared_ptr<VantoPrinterCallback> callback);
    // As above, and the receipt's delivery report goes to `listener` (which may be null).
    // Returns the receipt id.
    std::uint64_t addToQueue(std::shared_ptr<VantoReceipt> receipt,
                             std::shared_ptr<VantoPrinterCallback> callback,
                             std::shared_ptr<VantoDeliveryListener> listener) override;
    // Always false: nothing here withdraws a queued receipt.
    bool cancel(std::uint64_t receiptId) override;
    // The receipts of the whole process, as every instance shares them.
    std::size_t waitingReceipts() const override;

    // One poll; the timers call it on the timer thread.
    void runPrintingRoutine();

    // Multiplies the 0.1 s and 2.0 s poll intervals; 1.0 unless a test shortens the waits.
    static void setTimerIntervalScale(double scale);

    // For tests only: waits until no poll is scheduled or running (at most `limit`), then
    // empties the queue, zeroes the poll counter and clears IS_PRINTING. False when polls were
    // still scheduled at the limit (the state is then left alone).
    static bool resetForTesting(std::chrono::milliseconds limit = std::chrono::seconds(10));

  private:
    static constexpr double SUBMISSION_INTERVAL = 0.1;
    static constexpr double RESCHEDULE_INTERVAL = 2.0;

    struct Tracking {
        std::uint64_t receiptId = 0;
        std::shared_ptr<VantoDeliveryListener> listener;
    };
    struct Head {
        std::shared_ptr<VantoReceipt> receipt;
        std::shared_ptr<VantoPrinterCallback> callback;
        Tracking tracking;
    };

    void sendPrinterError();
    // Both expect STATE_MUTEX held. takeHead stops the process when the queue is empty.
    bool countUnavailablePoll();
    static Head takeHead();
    void reportDropped(const Head& dropped);
    void schedule(double interval) const;

    std::shared_ptr<VantoPrinterController> vantoPrinterController;

    // Held for a whole poll; polls never overlap.
    static std::mutex POLL_MUTEX;
    // Guards the fields below; never held while the controller or a callback runs.
    static std::mutex STATE_MUTEX;
    static std::vector<std::shared_ptr<VantoReceipt>> QUEUE;
    static std::vector<std::shared_ptr<VantoPrinterCallback>> CALLBACK_QUEUE;
    // Index for index with QUEUE, like CALLBACK_QUEUE.
    static std::vector<Tracking> TRACKING_QUEUE;
    static std::uint64_t lastReceiptId;
    static std::int64_t numberOfRetries;
    static constexpr std::int64_t MAX_NUM_RETRIES = 30;
};

}  // namespace vantoconnect
