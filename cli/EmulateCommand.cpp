#include "cli/EmulateCommand.hpp"

#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <ctime>
#include <iostream>
#include <memory>
#include <mutex>
#include <set>

#include "cli/CliError.hpp"
#include "cli/PortOption.hpp"
#include "cli/SecondsOption.hpp"
#include "emulator/DashboardAccess.hpp"
#include "receipts/CheckedUnit.hpp"

namespace vantocli {

using namespace vantoemu;
using vantoreceipts::CheckedUnit;

namespace {
std::chrono::milliseconds seconds(double value) {
    return std::chrono::milliseconds(static_cast<long long>(value * 1000));
}

// Every open connection costs a descriptor; the usual soft limit of 1024 would stop the unit
// accepting long before its connection cap.
void allowDescriptorsFor(std::size_t connections) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    const rlim_t wanted = static_cast<rlim_t>(connections) + 256;
    if (limit.rlim_cur < wanted) {
        limit.rlim_cur =
            limit.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Restarts the unit on SIGHUP and every `restartEvery`, until SIGINT or SIGTERM.
void waitForStop(EmulatedUnit& unit, const sigset_t& signals,
                 const EmulateCommand::Options& options) {
    using Clock = std::chrono::steady_clock;
    const bool periodic = options.restartEvery.count() > 0;
    auto nextRestart = Clock::now() + options.restartEvery;
    for (;;) {
        int received = 0;
        if (periodic) {
            const auto left = std::max(Clock::duration::zero(), nextRestart - Clock::now());
            const auto secondsLeft = std::chrono::duration_cast<std::chrono::seconds>(left);
            const timespec wait{
                static_cast<time_t>(secondsLeft.count()),
                static_cast<long>((left - secondsLeft) / std::chrono::nanoseconds(1))};
            received = sigtimedwait(&signals, nullptr, &wait);
            if (received < 0) {
                if (errno != EAGAIN) {
                    continue;  // interrupted: look at the clock again
                }
                nextRestart += options.restartEvery;
            }
        } else if (sigwait(&signals, &received) != 0) {
            continue;
        }
        if (received == SIGINT || received == SIGTERM) {
            return;
        }
        std::cerr << "vanto emulate: restarting (" << (received == SIGHUP ? "SIGHUP" : "periodic")
                  << "): closing every connection, listening again in "
                  << options.restartDowntime.count() << " ms" << std::endl;
        unit.restart(options.restartDowntime);
    }
}

const char* const PRINTER_HELP =
    "ready: the printer answers ready and prints; "
    "not-ready: every status poll answers 'not ready', data that still arrives is printed; "
    "error: every status poll answers 'not ready' with the error flag, and data that still "
    "arrives is refused, as with the cover open or out of paper";

}  // namespace

void EmulateCommand::addTo(CLI::App& app, std::function<void()>& action, const bool& verbose) {
    auto* emulate = app.add_subcommand("emulate", "run an emulated unit until Ctrl-C");
    // The parsed values land here; the callback keeps it alive as long as the command line.
    struct Parsed {
        Options emu;
        double drawerCloseAfter = 5.0;
        double idleTimeout = 0;
        double jobGap = 210;
        double logLimitMb = 64;
        int delayMs = 0;
        int httpPort = -1;
        int restartMs = static_cast<int>(EmulatedUnit::DEFAULT_RESTART_DOWNTIME.count());
        double restartEvery = 0;
    };
    auto parsed = std::make_shared<Parsed>();
    Options& emu = parsed->emu;
    emu.unit.port = 8080;
    emulate->add_option("--bind", emu.unit.bind, "address to listen on")->capture_default_str();
    emulate->add_option("--port", emu.unit.port, "TCP port (0 picks a free one)")
        ->capture_default_str();
    emulate->add_option("--out", emu.unit.outDir, "folder for receipt PNGs, texts, events.jsonl")
        ->capture_default_str();
    emulate
        ->add_option("--drawer-close-after", parsed->drawerCloseAfter,
                     "seconds until an opened drawer closes (0: stays open)")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    emulate->add_option("--printer,--printer-state", emu.printerState, PRINTER_HELP)
        ->capture_default_str()
        ->check(CLI::IsMember({"ready", "not-ready", "error"}));
    emulate
        ->add_option("--printer-not-ready", emu.unit.faults.printerNotReadyPolls,
                     "answer the next N status polls 'not ready'")
        ->check(CLI::NonNegativeNumber);
    emulate
        ->add_option("--printer-error", emu.unit.faults.printerErrorReplies,
                     "refuse the next N print packets with a printer error, while status polls "
                     "still answer ready")
        ->check(CLI::NonNegativeNumber);
    emulate->add_option("--reply", emu.reply, "normal, silent or unrecognised")
        ->capture_default_str();
    emulate
        ->add_option("--corrupt-crc", emu.unit.faults.corruptCrcReplies,
                     "corrupt the CRC of the next N replies")
        ->check(CLI::NonNegativeNumber);
    emulate->add_option("--delay", parsed->delayMs, "delay every reply by MS milliseconds")
        ->check(CLI::NonNegativeNumber);
    emulate->add_flag("--refuse", emu.unit.faults.refuseConnections,
                      "close every connection at once");
    emulate
        ->add_option("--drop-next", emu.unit.faults.dropConnections,
                     "close the next N connections that carry a request as soon as it is read, "
                     "unanswered (print data is kept: only the answer is lost)")
        ->check(CLI::Range(0, 1000000));
    emulate
        ->add_option("--restart-ms", parsed->restartMs,
                     "milliseconds a restart keeps the unit down (connects are refused), for "
                     "SIGHUP and --restart-every")
        ->capture_default_str()
        ->check(CLI::Range(0, 86400000));
    emulate
        ->add_option("--restart-every", parsed->restartEvery,
                     "restart the unit every SECONDS (at most a day; SIGHUP restarts it too)")
        ->check(SecondsOption::validator(86400));
    emulate
        ->add_option("--idle-timeout", parsed->idleTimeout,
                     "close a connection idle for SECONDS unless its sender still waits for an "
                     "answer (0: never)")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    emulate
        ->add_option("--max-connections", emu.unit.maxConnections,
                     "open connections beyond which new ones are refused until some close")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    emulate
        ->add_option("--keep", emu.unit.keep,
                     "receipts kept on disk and in memory, older ones deleted (0: keep every "
                     "file)")
        ->capture_default_str();
    emulate
        ->add_option("--job-gap", parsed->jobGap,
                     "seconds of silence after which a job that never ended is printed as "
                     "incomplete (the library pauses up to 200 s between packets)")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    emulate
        ->add_option("--log-limit", parsed->logLimitMb,
                     "MB at which events.jsonl is renamed events.1.jsonl and started afresh")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    emulate
        ->add_option("--http", parsed->httpPort,
                     "serve the dashboard (page, JSON API, live events) on this HTTP port "
                     "(0 picks a free one)")
        ->check(PortOption::validator(0));
    emulate
        ->add_option("--http-bind", emu.unit.dashboard.bind,
                     "address the dashboard listens on (anyone who reaches it can change the "
                     "unit's faults)")
        ->capture_default_str();
    emulate->callback([&action, &verbose, parsed] {
        Options& emu = parsed->emu;
        emu.unit.drawerCloseAfter = seconds(parsed->drawerCloseAfter);
        emu.unit.faults.replyDelay = std::chrono::milliseconds(parsed->delayMs);
        emu.unit.idleTimeout = seconds(parsed->idleTimeout);
        emu.unit.jobIdleGap = seconds(parsed->jobGap);
        emu.unit.eventLogLimit = static_cast<std::size_t>(parsed->logLimitMb * (1u << 20));
        emu.verbose = verbose;
        emu.restartDowntime = std::chrono::milliseconds(parsed->restartMs);
        emu.restartEvery = std::chrono::milliseconds(
            static_cast<long long>(std::ceil(parsed->restartEvery * 1000)));
        if (parsed->httpPort >= 0) {
            emu.unit.dashboard.enabled = true;
            emu.unit.dashboard.port = static_cast<std::uint16_t>(parsed->httpPort);
        }
        action = [parsed] { EmulateCommand::run(parsed->emu); };
    });
}

void EmulateCommand::run(Options options) {
    if (options.restartEvery.count() > 0 && options.restartEvery <= options.restartDowntime) {
        throw CliError(CliError::BAD_INPUT,
                       "--restart-every: " + std::to_string(options.restartEvery.count()) +
                           " ms is not longer than the downtime of " +
                           std::to_string(options.restartDowntime.count()) +
                           " ms (--restart-ms): the unit would never be back");
    }
    allowDescriptorsFor(options.unit.maxConnections);
    options.unit.faults.printer = CheckedUnit::printerState(options.printerState);
    options.unit.faults.replyMode = CheckedUnit::replyMode(options.reply);

    // Block the stop signals before the unit's threads start, so only sigwait below sees them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    std::mutex outputMutex;
    if (options.unit.dashboard.enabled &&
        !DashboardAccess::isNumericAddress(options.unit.dashboard.bind)) {
        throw CliError(CliError::BAD_INPUT, "--http-bind: \"" + options.unit.dashboard.bind +
                                                "\" is not an IPv4 or IPv6 address");
    }
    if (options.unit.dashboard.enabled &&
        !DashboardAccess::isLoopback(options.unit.dashboard.bind)) {
        std::cerr << "vanto emulate: warning: the dashboard listens on "
                  << options.unit.dashboard.bind
                  << ", beyond this machine; anyone who reaches it can change the unit's faults"
                  << std::endl;
    }
    std::unique_ptr<EmulatedUnit> unit;
    try {
        unit = std::make_unique<EmulatedUnit>(options.unit);
        // Everything but the per-frame chatter, unless asked for it.
        static const std::set<std::string> chatter{"frame", "reply", "connection", "disconnect"};
        unit->setEventListener([&, verbose = options.verbose](const UnitEvent& event) {
            if (verbose || chatter.count(event.kind) == 0) {
                std::lock_guard<std::mutex> lock(outputMutex);
                std::cout << event.json << std::endl;
            }
        });
        unit->start();
    } catch (const std::runtime_error& e) {
        throw CliError(CliError::BAD_INPUT, e.what());
    }
    std::cerr << "vanto emulate: listening on " << unit->address() << ':' << unit->port()
              << (options.unit.outDir.empty() ? std::string()
                                              : ", receipts in " + options.unit.outDir)
              << "; Ctrl-C stops" << std::endl;
    if (unit->dashboardPort() != 0) {
        std::cerr << "vanto emulate: dashboard on " << unit->dashboardUrl() << std::endl;
    }

    waitForStop(*unit, stopSignals, options);
    unit->stop();
    std::cerr << "vanto emulate: stopped" << std::endl;
}

}  // namespace vantocli
