#include "vantoconnect/PrinterQueue.hpp"

#include <string>
#include <utility>

#include "vantoconnect/StubPrinterCallback.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/TimerLoop.hpp"

namespace vantoconnect {

std::atomic<bool> PrinterQueue::IS_PRINTING{false};
std::mutex PrinterQueue::STATE_MUTEX;
std::vector<std::shared_ptr<VantoReceipt>> PrinterQueue::QUEUE;
std::vector<std::shared_ptr<VantoPrinterCallback>> PrinterQueue::CALLBACK_QUEUE;
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
    if (!receipt) {
        fatalError(fatal::NIL_UNWRAP);
    }
    if (!callback) {
        callback = std::make_shared<StubPrinterCallback>();
    }
    {
        std::lock_guard lock(STATE_MUTEX);
        QUEUE.push_back(std::move(receipt));
        CALLBACK_QUEUE.push_back(std::move(callback));
    }
    schedule(SUBMISSION_INTERVAL);
    consoleLine("Adding a new receipt...");
}

void PrinterQueue::schedule(double interval) const {
    // The timer holds its own copy of the queue object: all the state it reaches is shared, so
    // the copy polls exactly as this instance would, even after this one is gone.
    TimerLoop::shared().schedule(interval * timerIntervalScale.load(),
                                 [target = *this]() mutable { target.runPrintingRoutine(); });
}

void PrinterQueue::runPrintingRoutine() {
    bool unavailable = false;
    {
        std::lock_guard lock(STATE_MUTEX);
        unavailable = QUEUE.empty() || IS_PRINTING.load();
    }
    if (unavailable) {
        countUnavailablePoll();
    } else {
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
            countUnavailablePoll();
        } else {
            // Only this thread removes receipts, so the head seen above is still the head.
            std::shared_ptr<VantoReceipt> receipt;
            std::shared_ptr<VantoPrinterCallback> callback;
            {
                std::lock_guard lock(STATE_MUTEX);
                if (QUEUE.empty() || CALLBACK_QUEUE.empty()) {
                    fatalError(fatal::INDEX_OUT_OF_RANGE);
                }
                receipt = std::move(QUEUE.front());
                callback = std::move(CALLBACK_QUEUE.front());
                QUEUE.erase(QUEUE.begin());
                CALLBACK_QUEUE.erase(CALLBACK_QUEUE.begin());
            }
            vantoPrinterController->vantoprint(receipt, callback);
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

void PrinterQueue::countUnavailablePoll() {
    bool giveUp = false;
    {
        std::lock_guard lock(STATE_MUTEX);
        numberOfRetries += 1;
        giveUp = numberOfRetries > MAX_NUM_RETRIES;
    }
    if (giveUp) {
        sendPrinterError();
    }
}

void PrinterQueue::sendPrinterError() {
    std::shared_ptr<VantoPrinterCallback> callback;
    {
        std::lock_guard lock(STATE_MUTEX);
        numberOfRetries = 0;
        if (QUEUE.empty() || CALLBACK_QUEUE.empty()) {
            fatalError(fatal::INDEX_OUT_OF_RANGE);
        }
        QUEUE.erase(QUEUE.begin());
        callback = std::move(CALLBACK_QUEUE.front());
        CALLBACK_QUEUE.erase(CALLBACK_QUEUE.begin());
    }
    vantoPrinterController->notifyPrinterError(callback, VantoError::PRINTER_NOT_RESPONDING());
}

bool PrinterQueue::resetForTesting(std::chrono::milliseconds limit) {
    if (!TimerLoop::shared().waitUntilIdle(limit)) {
        return false;
    }
    std::lock_guard lock(STATE_MUTEX);
    QUEUE.clear();
    CALLBACK_QUEUE.clear();
    numberOfRetries = 0;
    IS_PRINTING.store(false);
    return true;
}

}  // namespace vantoconnect
