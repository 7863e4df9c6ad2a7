#include "cli/PrintCommands.hpp"

#include <atomic>
#include <future>
#include <iostream>
#include <mutex>
#include <optional>

#include "cli/CliError.hpp"
#include "cli/LibraryConsole.hpp"
#include "cli/UnitLock.hpp"
#include "emulator/ReceiptRenderer.hpp"
#include "receipts/ReceiptFile.hpp"
#include "receipts/ReceiptPreview.hpp"
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
// seen, and hands the delivery report to the waiting command. The two profiles write different
// lines for the same steps; both become the same progress.
class JobProgress : public VantoPrinterCallback, public VantoDeliveryListener {
  public:
    JobProgress(const Job& job, UnitSession& session)
        : mJob(job),
          mAddress(session.options().text()),
          mClassic(session.classic()),
          mPolling(session.pollPlan()),
          mWatchdog(session.watchdog()) {}

    void onPrinterStarted(const std::string& ipAddress) override {
        queued();
        mStarted = true;
        say("started on " + ipAddress);
        mWatchdog.saw(awaiting());
    }
    void onPrinterCompleted(const std::string& ipAddress) override {
        // The classic library's "completed" means its queue got through the job, not that the
        // paper came out; the report below says what the unit acknowledged.
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
            queued();
        } else if (line == "Printer says: ACKNOWLEDGED") {
            ++mAcknowledged;
            mRefusals = 0;
            say("packet " + std::to_string(position()) + " of " + std::to_string(mJob.packets) +
                " acknowledged");
            mWatchdog.saw(awaiting());
        } else if (line == "Printer says: IS NOT OK!") {
            // Each packet gets five attempts; after the fifth refusal the classic library goes
            // on with the next packet, the resilient one stops the receipt.
            const bool last = ++mRefusals == 5;
            say("the printer refused packet " + std::to_string(position() + 1) +
                (!last      ? "; the library tries it again"
                 : mClassic ? " five times; the library goes on without it"
                            : " five times"));
            if (last) {
                mRefusals = 0;
                ++mGivenUp;
            }
        } else if (mClassic) {
            onClassicLine(line);
        } else {
            onResilientLine(line);
        }
    }

    std::future<VantoDeliveryReport> report() { return mReport.get_future(); }
    std::optional<VantoError> error() {
        std::lock_guard lock(mMutex);
        return mError;
    }
    // Resilient: why the first poll of the printer got no answer, when no poll ever got one;
    // empty once the printer has answered. (The first: the poll the queue makes as its time runs
    // out has no time left to wait, and its failure says so.)
    std::string unansweredPolls() {
        std::lock_guard lock(mMutex);
        return mPrinterAnswered ? std::string() : mPollFailure;
    }

  private:
    // Packets done with, acknowledged or given up: the last one's position in the receipt.
    int position() const { return mAcknowledged + mGivenUp; }

    // The resilient queue may start a receipt before the line that says it was queued comes
    // from the submitting thread; whichever comes first says it, and the rest wait until it has.
    void queued() {
        std::call_once(mQueued, [this] {
            say("queued");
            mWatchdog.saw("to the printer status query before packet 1 of " +
                          std::to_string(mJob.packets));
        });
    }

    void onClassicLine(std::string_view line) {
        if (line.starts_with("MESSAGE NOT ACKNOWLEDGED. ")) {
            say("unexpected answer from the unit; the library waits 200 s before resending");
            mWatchdog.note("the unit at " + mAddress +
                           " gave an answer nobody understands to packet " +
                           std::to_string(position() + 1) + " of " + std::to_string(mJob.packets) +
                           " and the library pauses 200 s before each resend");
        } else if (line.starts_with("Rescheduling printing of remaining receipts: ")) {
            busy();
        }
    }

    // Every failed attempt of the resilient library is a line naming the unit; "Printer ..."
    // lines repeat what the callbacks say.
    void onResilientLine(std::string_view line) {
        if (line == "Printer not ready") {
            queued();
            {
                std::lock_guard lock(mMutex);
                mPrinterAnswered = true;
            }
            busy();
            return;
        }
        if (line.find(mAddress) == std::string_view::npos || line.starts_with("Printer ")) {
            return;
        }
        if (mStarted) {
            // After a packet that did not get through, the attempts are the end of the job's.
            say("an attempt failed with " + std::to_string(mAcknowledged) + " of " +
                std::to_string(mJob.packets) + " packets acknowledged: " + std::string(line));
            return;
        }
        queued();
        {
            std::lock_guard lock(mMutex);
            if (mPollFailure.empty()) {
                mPollFailure = line;
            }
        }
        say("no printer status: " + std::string(line) + "; " + mPolling);
        mWatchdog.note("the unit at " + mAddress + " gave no printer status (" + std::string(line) +
                       "); nothing of " + mJob.name + " was sent");
    }

    void busy() {
        say("printer busy; " + mPolling);
        mWatchdog.note("the printer at " + mAddress + " did not report ready; nothing of " +
                       mJob.name + " was sent");
    }

    std::string awaiting() const {
        const int acknowledged = mAcknowledged;
        if (position() >= mJob.packets) {
            return "after the last of " + std::to_string(mJob.packets) + " packets";
        }
        return "to packet " + std::to_string(position() + 1) + " of " +
               std::to_string(mJob.packets) + " (" + std::to_string(acknowledged) +
               " acknowledged)";
    }

    void say(const std::string& text) {
        std::lock_guard lock(mMutex);
        std::cout << "print: " << text << std::endl;
    }

    const Job& mJob;
    const std::string mAddress;
    const bool mClassic;
    const std::string mPolling;
    Watchdog& mWatchdog;
    std::mutex mMutex;
    std::atomic<int> mAcknowledged{0};
    // Packets the printer refused five times: the classic library goes on past them.
    std::atomic<int> mGivenUp{0};
    std::atomic<int> mRefusals{0};
    std::atomic<bool> mStarted{false};
    std::once_flag mQueued;
    std::optional<VantoError> mError;
    std::string mPollFailure;
    bool mPrinterAnswered = false;
    std::promise<VantoDeliveryReport> mReport;
};

std::string counts(const VantoDeliveryReport& r) {
    // Only the resilient library, whose reads end, counts packets as unanswered; the line names
    // them when there are any, and otherwise reads the same in both profiles.
    return std::to_string(r.packetsSent) + " packets sent, " +
           std::to_string(r.packetsAcknowledged) + " acknowledged, " +
           std::to_string(r.packetsRefused) + " refused, " + std::to_string(r.packetsUnrecognised) +
           " unrecognised, " +
           (r.packetsUnanswered > 0 ? std::to_string(r.packetsUnanswered) + " unanswered, " : "") +
           std::to_string(r.packetsNotSent) + " not sent; end of job " +
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

const std::string DROPPED = "the receipt was dropped unprinted (PRINTER_NOT_RESPONDING)";

// The classic library reports a dropped receipt as an error and everything else in the report.
std::optional<CliError> classicVerdict(const VantoDeliveryReport& report,
                                       const std::optional<VantoError>& error) {
    if (error) {
        return CliError(CliError::FAILED, error->kind() == VantoError::Kind::PRINTER_NOT_RESPONDING
                                              ? "the printer did not become ready; " + DROPPED
                                              : error->description());
    }
    if (!report.allAcknowledged) {
        return CliError(CliError::FAILED, report.summary());
    }
    return std::nullopt;
}

// The resilient library stops a receipt at its first packet that did not get through and says
// which in the error; the report says what became of the others.
std::optional<CliError> resilientVerdict(const VantoDeliveryReport& report,
                                         const std::optional<VantoError>& error,
                                         const std::string& unansweredPolls,
                                         const std::string& unit) {
    if (!error) {
        return report.allAcknowledged ? std::nullopt
                                      : std::optional(CliError(CliError::FAILED, report.summary()));
    }
    std::string packets = std::to_string(report.packetsAcknowledged) + " of " +
                          std::to_string(report.packetsSent) + " packets acknowledged";
    if (report.packetsUnanswered > 0) {
        packets += ", " + std::to_string(report.packetsUnanswered) +
                   " went out unanswered and may have printed";
    }
    if (report.packetsNotSent > 0) {
        packets += ", " + std::to_string(report.packetsNotSent) + " not sent";
    }
    packets += "; the receipt is incomplete";
    switch (error->kind()) {
        case VantoError::Kind::PRINTER_NOT_RESPONDING:
            if (!unansweredPolls.empty()) {
                return CliError(CliError::UNREACHABLE, "the unit at " + unit +
                                                           " never answered the printer status "
                                                           "query (" +
                                                           unansweredPolls + "); " + DROPPED);
            }
            return CliError(CliError::FAILED, "the printer did not become ready; " + DROPPED);
        case VantoError::Kind::CONNECTION_LOST:
            return CliError(CliError::UNREACHABLE,
                            error->message() + "; " + packets + " (CONNECTION_LOST)");
        case VantoError::Kind::GENERIC:
            // Refused or not understood: the unit answered. Otherwise nothing reached it.
            return CliError(report.packetsRefused + report.packetsUnrecognised > 0
                                ? CliError::FAILED
                                : CliError::UNREACHABLE,
                            error->message() + "; " + packets);
        case VantoError::Kind::CANCELLED:
            break;
    }
    return CliError(CliError::FAILED, error->message() + " (CANCELLED)");
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

void PrintCommands::print(const SessionOptions& unit, const std::vector<std::string>& receiptFiles,
                          bool verbose) {
    std::vector<Job> jobs;
    {
        LibraryConsole quiet(verbose);
        for (const auto& file : receiptFiles) {
            auto receipt = ReceiptFile::load(file);
            const auto packets = packetCount(ReceiptFile::compose(*receipt, file));
            jobs.push_back(Job{file, std::move(receipt), packets});
        }
    }
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
        auto progress = std::make_shared<JobProgress>(job, session);
        {
            std::lock_guard guard(currentMutex);
            current = progress;
        }
        auto report = progress->report();
        session.vanto().print(job.receipt, progress, progress);
        // Resilient: the library's limits end every wait with a report. Classic: a unit that
        // never answers sends no report; the watchdog ends the wait.
        const VantoDeliveryReport delivered = report.get();
        std::cout << "print: report: " << counts(delivered) << std::endl;
        const auto failed = session.classic()
                                ? classicVerdict(delivered, progress->error())
                                : resilientVerdict(delivered, progress->error(),
                                                   progress->unansweredPolls(), unit.text());
        if (failed) {
            throw CliError(failed->exitCode(),
                           job.name + ": " + failed->what() + notSent(jobs, i + 1));
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
