#include "vantoconnect/resilient/ResilientPrinterQueue.hpp"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "vantoconnect/PrinterPackets.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoDeliveryReport.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/orbaprotocol/messages/MessageBuilder.hpp"
#include "vantoconnect/resilient/LogSink.hpp"
#include "vantoconnect/resilient/ResilientConnectionManager.hpp"
#include "vantoconnect/resilient/StopSignal.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

using Clock = std::chrono::steady_clock;

struct ResilientPrinterQueue::Job {
    std::uint64_t id = 0;
    Clock::time_point submitted;
    // The receipt's data packets as frames, tagged 1, 2, ..., 15, 1, ...
    std::vector<Bytes> frames;
    std::shared_ptr<VantoPrinterCallback> callback;
    std::shared_ptr<VantoDeliveryListener> listener;
};

struct ResilientPrinterQueue::State {
    std::shared_ptr<ResilientConnectionManager> port;
    ResilientOptions options;
    std::shared_ptr<const LogSink> log;
    std::shared_ptr<StopSignal> stop;

    mutable std::mutex mutex;
    std::condition_variable wake;
    std::deque<Job> waiting;
    std::uint64_t lastId = 0;
    bool closing = false;

    // Polls for the receipt at the head until it is sent, given up, cancelled or the queue
    // closes.
    void serve(std::uint64_t headId, Clock::time_point submitted);
    bool printerReady(Clock::time_point limit);
    void send(Job job);
    void giveUp(const Job& job);
    void cancelled(const Job& job, const std::string& why);
    void failed(const Job& job, const VantoError& error, const VantoDeliveryReport& report);

    // Expects the lock held.
    bool headIs(std::uint64_t id) const { return !waiting.empty() && waiting.front().id == id; }
    Job takeHead() {
        Job job = std::move(waiting.front());
        waiting.pop_front();
        return job;
    }
    // The application's code never takes the queue down with it.
    template <typename Call>
    void guarded(Call&& call) const {
        try {
            call();
        } catch (const std::exception& error) {
            log->line(std::string("a print callback threw, ignored: ") + error.what());
        } catch (...) {
            log->line("a print callback threw, ignored");
        }
    }
};

ResilientPrinterQueue::ResilientPrinterQueue(std::shared_ptr<ResilientConnectionManager> port,
                                             const ResilientOptions& options,
                                             std::shared_ptr<const LogSink> log,
                                             std::shared_ptr<StopSignal> stop)
    : mState(std::make_shared<State>()) {
    mState->port = std::move(port);
    mState->options = options.bounded();
    mState->options.log = nullptr;  // the sink has it; a second copy would only keep it alive
    mState->log = std::move(log);
    mState->stop = std::move(stop);
    mWorker = std::thread(run, mState);
}

ResilientPrinterQueue::~ResilientPrinterQueue() {
    std::deque<Job> left;
    {
        std::lock_guard lock(mState->mutex);
        mState->closing = true;
        left.swap(mState->waiting);
    }
    mState->wake.notify_all();
    mState->stop->raise();
    for (const Job& job : left) {
        mState->cancelled(job, "the facade was closed before it was sent");
    }
    if (mWorker.joinable()) {
        if (mWorker.get_id() == std::this_thread::get_id()) {
            mWorker.detach();
        } else {
            mWorker.join();
        }
    }
}

std::uint64_t ResilientPrinterQueue::addToQueue(std::shared_ptr<VantoReceipt> receipt,
                                                std::shared_ptr<VantoPrinterCallback> callback,
                                                std::shared_ptr<VantoDeliveryListener> listener) {
    if (!receipt) {
        fatalError(fatal::NIL_UNWRAP);
    }
    Job job;
    job.submitted = Clock::now();
    job.callback = std::move(callback);
    job.listener = std::move(listener);
    std::int8_t tag = 0;
    for (const Bytes& packet : PrinterPackets::wrap(ReceiptComposer().compose(*receipt))) {
        tag = PrinterPackets::nextTag(tag);
        job.frames.push_back(
            PrinterPackets::dataFrame(packet, MessageBuilder::CHANNEL_UART1_PRINTER, tag));
    }
    std::uint64_t id = 0;
    bool closed = false;
    {
        std::lock_guard lock(mState->mutex);
        id = job.id = ++mState->lastId;
        closed = mState->closing;
        if (!closed) {
            mState->waiting.push_back(std::move(job));
        }
    }
    if (closed) {
        mState->cancelled(job, "the facade was closed before it was sent");
        return id;
    }
    mState->wake.notify_all();
    mState->log->line("Adding a new receipt...");
    return id;
}

bool ResilientPrinterQueue::cancel(std::uint64_t receiptId) {
    Job job;
    {
        std::lock_guard lock(mState->mutex);
        const auto found = std::find_if(mState->waiting.begin(), mState->waiting.end(),
                                        [&](const Job& j) { return j.id == receiptId; });
        if (found == mState->waiting.end()) {
            return false;
        }
        job = std::move(*found);
        mState->waiting.erase(found);
    }
    // The thread may be waiting between two polls for this very receipt.
    mState->wake.notify_all();
    mState->cancelled(job, "cancelled before it was sent");
    return true;
}

std::size_t ResilientPrinterQueue::waitingReceipts() const {
    std::lock_guard lock(mState->mutex);
    return mState->waiting.size();
}

void ResilientPrinterQueue::run(const std::shared_ptr<State>& state) {
    const ConsoleRedirect lines(&state->log->consoleSink());
    for (;;) {
        std::uint64_t head = 0;
        Clock::time_point submitted;
        {
            std::unique_lock lock(state->mutex);
            state->wake.wait(lock, [&] { return state->closing || !state->waiting.empty(); });
            if (state->closing) {
                return;
            }
            head = state->waiting.front().id;
            submitted = state->waiting.front().submitted;
        }
        try {
            state->serve(head, submitted);
        } catch (const std::exception& error) {
            // Nothing here should throw; if something does, the till must still print the next
            // receipt.
            state->log->line(std::string("printer queue: ") + error.what());
        }
    }
}

void ResilientPrinterQueue::State::serve(std::uint64_t headId, Clock::time_point submitted) {
    const auto now = Clock::now();
    const auto limit = now + options.waitLimit;
    // Behind a receipt given up on a unit that has said nothing for the whole wait, the next
    // ones that have waited as long go at once: otherwise each would wait the limit afresh.
    if (now - submitted >= options.waitLimit && now - port->lastAnswer() >= options.waitLimit) {
        std::unique_lock lock(mutex);
        if (!closing && headIs(headId)) {
            Job job = takeHead();
            lock.unlock();
            giveUp(job);
        }
        return;
    }
    std::int64_t unavailable = 0;
    for (;;) {
        const bool ready = printerReady(limit);
        std::unique_lock lock(mutex);
        if (closing || !headIs(headId)) {
            return;
        }
        if (ready) {
            Job job = takeHead();
            lock.unlock();
            send(std::move(job));
            return;
        }
        ++unavailable;
        if (unavailable <= options.maxUnavailablePolls && Clock::now() < limit) {
            wake.wait_until(lock, std::min(Clock::now() + options.pollInterval, limit),
                            [&] { return closing || !headIs(headId); });
            if (closing || !headIs(headId)) {
                return;
            }
        }
        // A poll made with no time left could only fail: the wait ends here instead.
        if (unavailable > options.maxUnavailablePolls || Clock::now() >= limit) {
            Job job = takeHead();
            lock.unlock();
            giveUp(job);
            return;
        }
    }
}

bool ResilientPrinterQueue::State::printerReady(Clock::time_point limit) {
    const auto answer = port->exchange(PrinterPackets::busyQueryFrame(), true, limit);
    if (answer.status != UnitSocket::Status::Ok) {
        log->line(answer.failure);
        return false;
    }
    if (answer.response == VantoMessageResponse::UNKNOWN) {
        log->line("the unit at " + port->peer() +
                  " answered the printer status query with something unrecognised");
        return false;
    }
    if (answer.response != VantoMessageResponse::PRINTER_STATUS_OK) {
        log->line("Printer not ready");
        return false;
    }
    return true;
}

void ResilientPrinterQueue::State::send(Job job) {
    const std::string address = port->getConnectionIPAddress();
    log->line("Printer started");
    guarded([&] {
        if (job.callback) {
            job.callback->onPrinterStarted(address);
        }
    });

    VantoDeliveryReport report;
    report.receiptId = job.id;
    report.packetsSent = static_cast<std::int64_t>(job.frames.size());
    std::string failure;
    bool lost = false;
    for (std::size_t index = 0; index < job.frames.size(); ++index) {
        if (!failure.empty()) {
            ++report.packetsNotSent;  // after a packet that did not get through: not tried
            continue;
        }
        // Only the first packet may wait out a unit that cannot be reached: nothing of the
        // receipt is on paper yet. Later, the unit may have rebooted and dropped the start.
        const WriteOutcome outcome = port->deliver(job.frames[index], true, index == 0);
        report.countPacket(outcome);
        if (!outcome.delivered) {
            failure = "packet " + std::to_string(index + 1) + " of " +
                      std::to_string(job.frames.size()) + ": " + outcome.failure;
            lost = outcome.unanswered > 0;
        }
    }
    const WriteOutcome end = port->deliver(PrinterPackets::endOfJobFrame(), false, false);
    report.endOfJobSent = end.delivered;
    if (failure.empty() && !end.delivered) {
        failure = "the end of the job: " + end.failure;
        lost = end.unanswered > 0;
    }
    report.settle();

    // Before the callbacks: a facade destroyed from one of them hears nothing after it.
    std::size_t remaining = 0;
    {
        std::lock_guard lock(mutex);
        remaining = waiting.size();
    }
    log->line("Printer sent. Remaining receipts: " + std::to_string(remaining));

    if (report.allAcknowledged) {
        log->line("Printer completed.");
        guarded([&] {
            if (job.callback) {
                job.callback->onPrinterCompleted(address);
            }
        });
        guarded([&] {
            if (job.listener) {
                job.listener->onDeliveryReport(report);
            }
        });
    } else if (stop->raised()) {
        failed(job, VantoError::CANCELLED("the facade was closed while it was being sent"), report);
    } else if (lost) {
        failed(job, VantoError::CONNECTION_LOST(failure), report);
    } else {
        failed(job, VantoError::GENERIC(failure), report);
    }
}

void ResilientPrinterQueue::State::giveUp(const Job& job) {
    VantoDeliveryReport report;
    report.receiptId = job.id;
    failed(job, VantoError::PRINTER_NOT_RESPONDING(), report);
}

void ResilientPrinterQueue::State::cancelled(const Job& job, const std::string& why) {
    VantoDeliveryReport report;
    report.receiptId = job.id;
    report.cancelled = true;
    failed(job, VantoError::CANCELLED(why), report);
}

void ResilientPrinterQueue::State::failed(const Job& job, const VantoError& error,
                                          const VantoDeliveryReport& report) {
    log->line("Printer error: " + error.description());
    guarded([&] {
        if (job.callback) {
            job.callback->onPrinterError(error);
        }
    });
    guarded([&] {
        if (job.listener) {
            job.listener->onDeliveryReport(report);
        }
    });
}

}  // namespace vantoconnect
