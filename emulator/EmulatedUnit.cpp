#include "emulator/EmulatedUnit.hpp"

#include <asio.hpp>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "emulator/DashboardServer.hpp"
#include "emulator/UnitServer.hpp"

namespace vantoemu {

namespace {

std::string prepareLogPath(const std::string& outDir) {
    if (outDir.empty()) {
        return {};
    }
    std::error_code ec;
    std::filesystem::create_directories(outDir, ec);
    if (ec) {
        throw std::runtime_error("cannot create the output directory " + outDir + ": " +
                                 ec.message());
    }
    return (std::filesystem::path(outDir) / "events.jsonl").string();
}

// Often enough that a cut-off job reaches paper soon after its gap, rarely enough to cost
// nothing.
std::chrono::milliseconds expiryPeriod(std::chrono::milliseconds gap) {
    return std::clamp(gap / 4, std::chrono::milliseconds(10), std::chrono::milliseconds(1000));
}

}  // namespace

struct EmulatedUnit::Parts {
    explicit Parts(UnitOptions opts)
        : options(std::move(opts)),
          log(prepareLogPath(options.outDir), options.eventLogLimit),
          ioWork(asio::make_work_guard(io)),
          expiryTimer(io),
          unit(io, log, options.faults, options.drawerCloseAfter, options.jobIdleGap),
          pipeline({options.outDir, options.renderReceipts, options.keep}, log),
          server(
              io, log, {options.bind, options.port, options.idleTimeout, options.maxConnections},
              [this](std::span<const std::uint8_t> frame, const std::string& sender,
                     std::uint64_t connection) { return unit.answer(frame, sender, connection); },
              [this] { return unit.refusesConnections(); }) {
        unit.setJobHandler(
            [this](PrintJob job, int number) { pipeline.print(std::move(job), number); });
        ioThread = std::thread([this] { io.run(); });
        asio::post(io, [this] { armExpiry(); });
    }

    ~Parts() {
        stop();
        ioWork.reset();
        io.stop();
        if (ioThread.joinable()) {
            ioThread.join();
        }
    }

    void stop() {
        if (ioThread.get_id() == std::this_thread::get_id()) {
            return;
        }
        // The dashboard goes first, so no browser changes a fault of a unit that has stopped.
        if (dashboard) {
            dashboard->stop();
            dashboard.reset();
        }
        server.stop();
        // A job half received goes on paper as it stands, as a restart puts it.
        unit.stopped();
        // Let rendering already queued finish, so every received job has its files.
        pipeline.drain();
    }

    void armExpiry() {
        expiryTimer.expires_after(expiryPeriod(unit.jobIdleGap()));
        expiryTimer.async_wait([this](std::error_code ec) {
            if (!ec) {
                unit.expireJobs();
                armExpiry();
            }
        });
    }

    UnitOptions options;
    EventLog log;
    asio::io_context io;
    asio::executor_work_guard<asio::io_context::executor_type> ioWork;
    asio::steady_timer expiryTimer;
    UnitState unit;
    ReceiptPipeline pipeline;
    UnitServer server;
    std::thread ioThread;
    std::unique_ptr<DashboardServer> dashboard;
};

EmulatedUnit::EmulatedUnit(UnitOptions options)
    : mParts(std::make_unique<Parts>(std::move(options))) {}

EmulatedUnit::~EmulatedUnit() = default;

void EmulatedUnit::start() {
    mParts->server.start();
    if (mParts->options.dashboard.enabled && !mParts->dashboard) {
        try {
            mParts->dashboard =
                std::make_unique<DashboardServer>(*this, mParts->log, mParts->options.dashboard);
            mParts->dashboard->start();
        } catch (...) {
            mParts->dashboard.reset();
            mParts->server.stop();
            throw;
        }
    }
}

std::uint16_t EmulatedUnit::dashboardPort() const {
    return mParts->dashboard ? mParts->dashboard->port() : 0;
}

std::string EmulatedUnit::dashboardUrl() const {
    return mParts->dashboard ? mParts->dashboard->url() : std::string();
}

void EmulatedUnit::stop() {
    mParts->stop();
}

void EmulatedUnit::restart(std::chrono::milliseconds downtime) {
    mParts->server.restart(downtime);
    // Every connection is closed, so no packet can arrive for the jobs cut off here.
    mParts->unit.restarted();
}

bool EmulatedUnit::running() const {
    return mParts->server.listening();
}

std::uint16_t EmulatedUnit::port() const {
    return mParts->server.port();
}

std::string EmulatedUnit::address() const {
    return mParts->server.address();
}

UnitSnapshot EmulatedUnit::snapshot() const {
    UnitSnapshot s;
    mParts->unit.fill(s);
    s.connections = mParts->server.connections();
    s.openConnections = mParts->server.openConnections();
    s.frames = mParts->server.frames();
    s.frameErrors = mParts->server.frameErrors();
    s.receipts = mParts->pipeline.printed();
    s.listening = mParts->server.listening();
    s.restarting = mParts->server.restarting();
    s.restarts = mParts->server.restarts();
    return s;
}

void EmulatedUnit::setFaults(const Faults& faults) {
    mParts->unit.setFaults(faults);
}

void EmulatedUnit::setPrinterCondition(PrinterCondition condition) {
    mParts->unit.setPrinterCondition(condition);
}

void EmulatedUnit::setPrinterNotReadyPolls(int polls) {
    mParts->unit.setPrinterNotReadyPolls(polls);
}

void EmulatedUnit::setPrinterErrorReplies(int replies) {
    mParts->unit.setPrinterErrorReplies(replies);
}

void EmulatedUnit::setReplyMode(ReplyMode mode) {
    mParts->unit.setReplyMode(mode);
}

void EmulatedUnit::corruptNextReplies(int replies) {
    mParts->unit.corruptNextReplies(replies);
}

void EmulatedUnit::setReplyDelay(std::chrono::milliseconds delay) {
    mParts->unit.setReplyDelay(delay);
}

void EmulatedUnit::setRefuseConnections(bool refuse) {
    mParts->unit.setRefuseConnections(refuse);
}

void EmulatedUnit::dropNextConnections(int connections) {
    mParts->unit.dropNextConnections(connections);
}

void EmulatedUnit::setJobIdleGap(std::chrono::milliseconds gap) {
    mParts->unit.setJobIdleGap(gap);
}

void EmulatedUnit::openDrawer() {
    mParts->unit.openDrawer("command");
}

void EmulatedUnit::closeDrawer() {
    mParts->unit.closeDrawer("command", 0);
}

void EmulatedUnit::setDrawerCloseAfter(std::chrono::milliseconds after) {
    mParts->unit.setDrawerCloseAfter(after);
}

std::vector<std::vector<std::uint8_t>> EmulatedUnit::handleMessage(
    std::span<const std::uint8_t> message, const std::string& sender) {
    return mParts->unit.answer(message, sender, 0).replies;
}

std::vector<PrintedReceipt> EmulatedUnit::receipts() const {
    return mParts->pipeline.receipts();
}

bool EmulatedUnit::waitForReceipts(std::size_t count, std::chrono::milliseconds timeout) const {
    return mParts->pipeline.waitForReceipts(count, timeout);
}

std::vector<PrintedReceipt> EmulatedUnit::receiptRecords() const {
    return mParts->pipeline.records();
}

std::optional<PrintedReceipt> EmulatedUnit::receipt(int number) const {
    return mParts->pipeline.receipt(number);
}

std::vector<UnitEvent> EmulatedUnit::events() const {
    return mParts->log.events();
}

std::size_t EmulatedUnit::eventCount(const std::string& kind) const {
    return mParts->log.count(kind);
}

bool EmulatedUnit::waitForEvents(const std::string& kind, std::size_t count,
                                 std::chrono::milliseconds timeout) const {
    return mParts->log.waitFor(kind, count, timeout);
}

void EmulatedUnit::setEventListener(std::function<void(const UnitEvent&)> listener) {
    mParts->log.setListener(std::move(listener));
}

}  // namespace vantoemu
