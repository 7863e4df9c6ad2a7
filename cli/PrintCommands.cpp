#include "cli/PrintCommands.hpp"

#include <future>
#include <iostream>
#include <mutex>

#include "cli/CliError.hpp"
#include "cli/LibraryConsole.hpp"
#include "cli/UnitLock.hpp"
#include "emulator/ReceiptRenderer.hpp"
#include "receipts/ReceiptFile.hpp"
#include "receipts/ReceiptPreview.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoDeliveryReport.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"

namespace vantocli {

using namespace vantoconnect;
using namespace vantoreceipts;

namespace {

constexpr std::size_t PACKET_BYTES = 1024;

struct Job {
    std::string name;
    std::shared_ptr<VantoReceipt> receipt;
    std::int64_t packets = 0;
};

// Follows one receipt: says each step as it happens, keeps the watchdog told of the last thing
// seen, and hands the delivery report to the waiting command.
class JobProgress : public VantoPrinterCallback, public VantoDeliveryListener {
  public:
    JobProgress(const Job& job, std::string address, Watchdog& watchdog)
        : mJob(job), mAddress(std::move(address)), mWatchdog(watchdog) {}

    void onPrinterStarted(const std::string& ipAddress) override {
        say("started on " + ipAddress);
        mWatchdog.saw(awaiting());
    }
    void onPrinterCompleted(const std::string& ipAddress) override {
        // The library's "completed" means its queue got through the job, not that the paper
        // came out; the report below says what the unit acknowledged.
        say("sending finished on " + ipAddress);
    }
    void onPrinterError(const VantoError& error) override {
        std::lock_guard lock(mMutex);
        mError = error;
    }
    void onDeliveryReport(const VantoDeliveryReport& report) override { mReport.set_value(report); }

    // The library's own lines, turned into progress.
    void onLibraryLine(std::string_view line) {
        if (line == "Adding a new receipt...") {
            say("queued");
            mWatchdog.saw("to the printer status query before packet 1 of " +
                          std::to_string(mJob.packets));
        } else if (line == "Printer says: ACKNOWLEDGED") {
            const int acknowledged = ++mAcknowledged;
            say("packet " + std::to_string(acknowledged) + " of " + std::to_string(mJob.packets) +
                " acknowledged");
            mWatchdog.saw(awaiting());
        } else if (line == "Printer says: IS NOT OK!") {
            say("the printer refused packet " + std::to_string(mAcknowledged + 1) +
                "; the library resends it");
        } else if (line.starts_with("MESSAGE NOT ACKNOWLEDGED. ")) {
            say("unexpected answer from the unit; the library waits 200 s before resending");
            mWatchdog.note(
                "the unit at " + mAddress + " gave an answer nobody understands to packet " +
                std::to_string(mAcknowledged + 1) + " of " + std::to_string(mJob.packets) +
                " and the library pauses 200 s before each resend");
        } else if (line.starts_with("Rescheduling printing of remaining receipts: ")) {
            say("printer busy; asking again in 2 s");
            mWatchdog.note("the printer at " + mAddress + " did not report ready; nothing of " +
                           mJob.name + " was sent");
        }
    }

    std::future<VantoDeliveryReport> report() { return mReport.get_future(); }
    std::optional<VantoError> error() {
        std::lock_guard lock(mMutex);
        return mError;
    }

  private:
    std::string awaiting() const {
        const int acknowledged = mAcknowledged;
        if (acknowledged >= mJob.packets) {
            return "after the last of " + std::to_string(mJob.packets) + " packets";
        }
        return "to packet " + std::to_string(acknowledged + 1) + " of " +
               std::to_string(mJob.packets) + " (" + std::to_string(acknowledged) +
               " acknowledged)";
    }

    void say(const std::string& text) {
        std::lock_guard lock(mMutex);
        std::cout << "print: " << text << std::endl;
    }

    const Job& mJob;
    const std::string mAddress;
    Watchdog& mWatchdog;
    std::mutex mMutex;
    std::atomic<int> mAcknowledged{0};
    std::optional<VantoError> mError;
    std::promise<VantoDeliveryReport> mReport;
};

std::string counts(const VantoDeliveryReport& r) {
    return std::to_string(r.packetsSent) + " packets sent, " +
           std::to_string(r.packetsAcknowledged) + " acknowledged, " +
           std::to_string(r.packetsRefused) + " refused, " + std::to_string(r.packetsUnrecognised) +
           " unrecognised, " + std::to_string(r.packetsNotSent) + " not sent; end of job " +
           (r.endOfJobSent ? "sent" : "not sent");
}

std::string notSent(const std::vector<Job>& jobs, std::size_t from) {
    if (from >= jobs.size()) {
        return {};
    }
    std::string names;
    for (std::size_t i = from; i < jobs.size(); ++i) {
        names += (i == from ? "" : ", ") + jobs[i].name;
    }
    return "; not sent: " + names;
}

}  // namespace

std::int64_t PrintCommands::packetCount(const std::vector<Bytes>& groups) {
    std::int64_t packets = 0;
    std::size_t used = 0;
    for (const auto& group : groups) {
        if (used + group.size() > PACKET_BYTES) {
            ++packets;
            used = group.size();
        } else {
            used += group.size();
        }
    }
    return packets + (used > 0 ? 1 : 0);
}

void PrintCommands::print(const UnitAddress& unit, const std::vector<std::string>& receiptFiles,
                          bool verbose, double timeScale) {
    std::vector<Job> jobs;
    {
        LibraryConsole quiet(verbose);
        for (const auto& file : receiptFiles) {
            auto receipt = ReceiptFile::load(file);
            const auto packets = packetCount(ReceiptFile::compose(*receipt, file));
            jobs.push_back(Job{file, std::move(receipt), packets});
        }
    }
    PrinterQueue::setTimerIntervalScale(timeScale);
    UnitLock lock(unit);

    std::mutex currentMutex;
    std::shared_ptr<JobProgress> current;
    LibraryConsole console(verbose, [&](std::string_view line) {
        std::lock_guard guard(currentMutex);
        if (current) {
            current->onLibraryLine(line);
        }
    });
    UnitSession session(unit);
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        const Job& job = jobs[i];
        std::cout << "print: " << job.name << " (" << job.packets
                  << (job.packets == 1 ? " packet)" : " packets)") << std::endl;
        session.watchdog().restart("to the first printer status query for " + job.name);
        auto progress = std::make_shared<JobProgress>(job, unit.text(), session.watchdog());
        {
            std::lock_guard guard(currentMutex);
            current = progress;
        }
        auto report = progress->report();
        session.vanto().print(job.receipt, progress, progress);
        // A unit that never answers sends no report; the watchdog ends the wait.
        const VantoDeliveryReport delivered = report.get();
        std::cout << "print: report: " << counts(delivered) << std::endl;
        if (const auto error = progress->error()) {
            throw CliError(CliError::FAILED,
                           job.name + ": " +
                               (error->kind() == VantoError::Kind::PRINTER_NOT_RESPONDING
                                    ? std::string("the printer did not become ready; the receipt "
                                                  "was dropped unprinted (PRINTER_NOT_RESPONDING)")
                                    : error->description()) +
                               notSent(jobs, i + 1));
        }
        if (!delivered.allAcknowledged) {
            throw CliError(CliError::FAILED,
                           job.name + ": " + delivered.summary() + notSent(jobs, i + 1));
        }
        std::cout << "print: " << job.name << " delivered: the unit acknowledged all "
                  << delivered.packetsAcknowledged << " packets" << std::endl;
    }
    std::lock_guard guard(currentMutex);
    current.reset();
}

void PrintCommands::preview(const std::filesystem::path& receiptFile,
                            const std::filesystem::path& pngFile, bool showText) {
    vantoemu::RenderedReceipt rendered;
    {
        LibraryConsole quiet(false);
        const auto receipt = ReceiptFile::load(receiptFile);
        rendered = ReceiptPreview::render(*receipt, receiptFile.string());
    }
    try {
        vantoemu::ReceiptRenderer::writeFile(pngFile.string(), rendered.png);
    } catch (const std::runtime_error& e) {
        throw CliError(CliError::BAD_INPUT,
                       pngFile.string() + ": cannot write the picture: " + e.what());
    }
    std::cout << "wrote " << pngFile.string() << " (" << rendered.width << " x " << rendered.height
              << " dots)\n";
    if (showText) {
        std::cout << rendered.text;
    }
}

}  // namespace vantocli
