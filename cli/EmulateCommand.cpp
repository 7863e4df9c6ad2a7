#include "cli/EmulateCommand.hpp"

#include <csignal>
#include <iostream>
#include <mutex>
#include <set>

#include "cli/CliError.hpp"

namespace vantocli {

using namespace vantoemu;

namespace {
PrinterCondition printerCondition(const std::string& word) {
    if (word == "ready") {
        return PrinterCondition::Ready;
    }
    if (word == "not-ready") {
        return PrinterCondition::NotReady;
    }
    if (word == "error") {
        return PrinterCondition::Error;
    }
    throw CliError(CliError::BAD_INPUT,
                   "unknown printer state \"" + word + "\" (use ready, not-ready or error)");
}

ReplyMode replyMode(const std::string& word) {
    if (word == "normal") {
        return ReplyMode::Normal;
    }
    if (word == "silent") {
        return ReplyMode::Silent;
    }
    if (word == "unrecognised" || word == "unrecognized") {
        return ReplyMode::Unrecognised;
    }
    throw CliError(CliError::BAD_INPUT,
                   "unknown reply mode \"" + word + "\" (use normal, silent or unrecognised)");
}
}  // namespace

void EmulateCommand::run(Options options) {
    options.unit.faults.printer = printerCondition(options.printerState);
    options.unit.faults.replyMode = replyMode(options.reply);

    // Block the stop signals before the unit's threads start, so only sigwait below sees them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    std::mutex outputMutex;
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

    int received = 0;
    sigwait(&stopSignals, &received);
    unit->stop();
    std::cerr << "vanto emulate: stopped" << std::endl;
}

}  // namespace vantocli
