#pragma once

// The resilient profile's printer queue: one per facade, with a thread of its own.
//
// A receipt is composed when it is submitted, on the caller's thread (so changes to the receipt
// object afterwards are not printed, and a receipt the composer cannot take fails there, as an
// exception). Receipts go out one at a time, in submission order. A receipt submitted to an idle
// queue is sent at once: its first poll of the printer is made straight away, and it is sent as
// soon as a poll finds the printer ready. Polls count only against the receipt they are made
// for: it is given up (PRINTER_NOT_RESPONDING) at its 31st poll that finds the printer busy or
// unreachable, or when it has waited ResilientOptions::waitLimit, whichever comes first; the
// next receipt starts from nothing. One exception: when the unit has answered nothing for the
// whole limit, receipts that have waited that long since they were submitted are given up at
// once as they reach the head, so a queue behind a dead unit is reported within the limit.
//
// Sending stops at the first packet the unit does not acknowledge: the receipt is then
// incomplete whatever follows, and a packet whose answer was lost is never sent again (it may
// have printed). Once a packet has gone out, a unit that cannot be reached ends the receipt
// too: it may have rebooted and lost what it had, and the rest alone would print as a receipt
// without its head. The end of the job is still sent, so the unit puts what it has on paper. The
// callback hears onPrinterStarted when sending begins, then onPrinterCompleted only when every
// packet was acknowledged and the end of the job went out, otherwise onPrinterError with why;
// the listener's report comes last. All three and the report run on the queue's thread, except
// for a cancelled receipt, whose onPrinterError and report run on the thread that cancelled it
// before cancel() returns. Callbacks that throw are logged and otherwise ignored.
//
// Destroying the queue cancels the receipts still waiting, ends the one being sent at once (it is
// reported with CANCELLED and what its packets did) and joins the thread.

#include <cstdint>
#include <memory>
#include <thread>

#include "vantoconnect/ReceiptQueue.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"

namespace vantoconnect {

class LogSink;
class ResilientConnectionManager;
class StopSignal;

class ResilientPrinterQueue : public ReceiptQueue {
  public:
    ResilientPrinterQueue(std::shared_ptr<ResilientConnectionManager> port,
                          const ResilientOptions& options, std::shared_ptr<const LogSink> log,
                          std::shared_ptr<StopSignal> stop);
    ~ResilientPrinterQueue() override;
    ResilientPrinterQueue(const ResilientPrinterQueue&) = delete;
    ResilientPrinterQueue& operator=(const ResilientPrinterQueue&) = delete;

    // Receipt ids count 1, 2, 3, ... for this queue. A null receipt, or one the composer cannot
    // take, throws FatalError here and is not queued.
    std::uint64_t addToQueue(std::shared_ptr<VantoReceipt> receipt,
                             std::shared_ptr<VantoPrinterCallback> callback,
                             std::shared_ptr<VantoDeliveryListener> listener) override;
    bool cancel(std::uint64_t receiptId) override;
    std::size_t waitingReceipts() const override;

  private:
    struct Job;
    struct State;

    // The queue's thread. It owns a share of the state, so a queue destroyed from one of its own
    // callbacks leaves the thread to finish on its own.
    static void run(const std::shared_ptr<State>& state);

    std::shared_ptr<State> mState;
    std::thread mWorker;
};

}  // namespace vantoconnect
