#include "vantoconnect/PrinterQueue.hpp"

#include <optional>
#include <string>
#include <utility>

#include "vantoconnect/StubPrinterCallback.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/TimerLoop.hpp"

namespace vantoconnect {

std::atomic<bool> PrinterQueue::IS_PRINTING{false};
std::mutex PrinterQueue::STATE_MUTEX;
std::mutex PrinterQueue::POLL_MUTEX;
std::vector<std::shared_ptr<VantoReceipt>> PrinterQueue::QUEUE;
std::vector<std::shared_ptr<VantoPrinterCallback>> PrinterQueue::CALLBACK_QUEUE;
std::vector<PrinterQueue::Tracking> PrinterQueue::TRACKING_QUEUE;
std::uint64_t PrinterQueue::lastReceiptId = 0;
std::int64_t PrinterQueue::numberOfRetries = 0;

namespace {
std::atomic<double> timerIntervalScale{1.0};
}  // namespace

PrinterQueue::PrinterQueue(std::shared_ptr<VantoPrinterController> controller)
    : vantoPrinterController(std::move(controller)) {}

void PrinterQueue::setTimerIntervalScale(double scale) {
    timerIntervalScale.store(scale);
}

void PrinterQueue::addToQueue(std::shared_ptr<VantoReceipt> receipt) {
    addToQueue(std::move(receipt), nullptr);
}

void PrinterQueue::addToQueue(std::shared_ptr<VantoReceipt> receipt,
                              std::shared_ptr<VantoPrinterCallback> callback) {
    addToQueue(std::move(receipt), std::move(callback), nullptr);
}

std::uint64_t PrinterQueue::addToQueue(std::shared_ptr<VantoReceipt> receipt,
                                       std::shared_ptr<VantoPrinterCallback> callback,
                                       std::shared_ptr<VantoDeliveryListener> listener) {
    if (!receipt) {
        fatalError(fatal::NIL_UNWRAP);
    }
    if (!callback) {
        callback = std::make_shared<StubPrinterCallback>();
    }
    std::uint64_t receiptId = 0;
    {
        std::lock_guard lock(STATE_MUTEX);
        receiptId = ++lastReceiptId;
        QUEUE.push_back(std::move(receipt));
        CALLBACK_QUEUE.push_back(std::move(callback));
        TRACKING_QUEUE.push_back(Tracking{receiptId, std::move(listener)});
    }
    schedule(SUBMISSION_INTERVAL);
    consoleLine("Adding a new receipt...");
    return receiptId;
}

bool PrinterQueue::cancel(std::uint64_t /*receiptId*/) {
    return false;
}

std::size_t PrinterQueue::waitingReceipts() const {
    std::lock_guard lock(STATE_MUTEX);
    return QUEUE.size();
}

void PrinterQueue::schedule(double interval) const {
    // The timer holds its own copy of the queue object: all the state it reaches is shared, so
    // the copy polls exactly as this instance would, even after this one is gone.
    TimerLoop::shared().schedule(interval * timerIntervalScale.load(),
                                 [target = *this]() mutable { target.runPrintingRoutine(); });
}

void PrinterQueue::runPrintingRoutine() {
    // Polls run one at a time even when called from more than one thread, so the head a poll
    // found free is still the head when it takes it.
    std::lock_guard poll(POLL_MUTEX);
    std::optional<Head> dropped;
    bool askPrinter = false;
    {
        std::lock_guard lock(STATE_MUTEX);
        if (QUEUE.empty() || IS_PRINTING.load()) {
            if (countUnavailablePoll()) {
                dropped = takeHead();
            }
        } else {
            askPrinter = true;
        }
    }
    if (dropped) {
        reportDropped(*dropped);
    }
    if (askPrinter) {
        bool busy = true;
        bool failed = false;
        try {
            busy = vantoPrinterController->isPrinterBusy();
        } catch (const VantoError&) {
            failed = true;
        }
        if (failed) {
            sendPrinterError();
        } else if (busy) {
            std::optional<Head> head;
            {
                std::lock_guard lock(STATE_MUTEX);
                if (countUnavailablePoll()) {
                    head = takeHead();
                }
            }
            if (head) {
                reportDropped(*head);
            }
        } else {
            // Only polls remove receipts, so the head seen above is still the head.
            Head head;
            {
                std::lock_guard lock(STATE_MUTEX);
                head = takeHead();
            }
            if (head.tracking.listener) {
                vantoPrinterController->vantoprint(head.receipt, head.callback,
                                                   head.tracking.receiptId, head.tracking.listener);
            } else {
                vantoPrinterController->vantoprint(head.receipt, head.callback);
            }
            std::size_t remaining = 0;
            {
                std::lock_guard lock(STATE_MUTEX);
                remaining = QUEUE.size();
            }
            consoleLine("Printer sent. Remaining receipts: " + std::to_string(remaining));
        }
    }

    std::size_t waiting = 0;
    {
        std::lock_guard lock(STATE_MUTEX);
        waiting = QUEUE.size();
    }
    if (waiting > 0) {
        consoleLine("Rescheduling printing of remaining receipts: " + std::to_string(waiting));
        schedule(RESCHEDULE_INTERVAL);
    }
}

bool PrinterQueue::countUnavailablePoll() {
    numberOfRetries += 1;
    if (numberOfRetries <= MAX_NUM_RETRIES) {
        return false;
    }
    numberOfRetries = 0;
    return true;
}

PrinterQueue::Head PrinterQueue::takeHead() {
    // Called under the same lock as the decision to give up, so a receipt submitted meanwhile
    // can never be taken in place of the head that was there; an empty queue stays fatal.
    if (QUEUE.empty() || CALLBACK_QUEUE.empty() || TRACKING_QUEUE.empty()) {
        fatalError(fatal::INDEX_OUT_OF_RANGE);
    }
    Head head{std::move(QUEUE.front()), std::move(CALLBACK_QUEUE.front()),
              std::move(TRACKING_QUEUE.front())};
    QUEUE.erase(QUEUE.begin());
    CALLBACK_QUEUE.erase(CALLBACK_QUEUE.begin());
    TRACKING_QUEUE.erase(TRACKING_QUEUE.begin());
    return head;
}

void PrinterQueue::sendPrinterError() {
    Head head;
    {
        std::lock_guard lock(STATE_MUTEX);
        numberOfRetries = 0;
        head = takeHead();
    }
    reportDropped(head);
}

void PrinterQueue::reportDropped(const Head& dropped) {
    vantoPrinterController->notifyPrinterError(dropped.callback,
                                               VantoError::PRINTER_NOT_RESPONDING());
    if (dropped.tracking.listener) {
        VantoDeliveryReport report;
        report.receiptId = dropped.tracking.receiptId;
        dropped.tracking.listener->onDeliveryReport(report);
    }
}

bool PrinterQueue::resetForTesting(std::chrono::milliseconds limit) {
    if (!TimerLoop::shared().waitUntilIdle(limit)) {
        return false;
    }
    std::lock_guard lock(STATE_MUTEX);
    QUEUE.clear();
    CALLBACK_QUEUE.clear();
    TRACKING_QUEUE.clear();
    numberOfRetries = 0;
    IS_PRINTING.store(false);
    return true;
}

}  // namespace vantoconnect
