#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iostream>
#include <string>

#include "emulator/EmulatedUnit.hpp"
#include "tests/soak/SoakSupport.hpp"
#include "tests/support/ChildRun.hpp"
#include "tests/support/Managers.hpp"
#include "tests/support/Receipts.hpp"
#include "vantoconnect/PrinterQueue.hpp"

// A thousand receipts through the facade against a unit that now and then is not ready,
// refuses packets or answers late. Each must end one way or the other, and the paper must
// agree with what the library reported: printed whole, or reported not printed (dropped, or
// delivered in part) and then never shown as a whole receipt. None lost, none printed twice.
//
// Every printer-status query leaves a socket open in the library for good, and a library
// process cannot wait on descriptors past 1024, so the thousand are printed in batches, each
// in a child process of its own.

namespace vantoconnect::soak {
namespace {

using namespace std::chrono_literals;
using testing::composed;
using testing::runInChild;

constexpr int RECEIPTS = 1000;
constexpr int BATCH = 200;

// Crosses the pipe from a batch's child, so it holds its problems as text of a fixed size.
struct Tally {
    int printed = 0;  // every packet acknowledged, the paper whole and marked complete
    int dropped = 0;  // onPrinterError: nothing reached the printer
    int partial = 0;  // some packets never acknowledged: the paper marked incomplete
    int problemCount = 0;
    char problems[4000] = {};  // one a line, as many as fit; a pipe passes this much whole

    void problem(const std::string& text) {
        ++problemCount;
        const std::size_t used = std::strlen(problems);
        const std::size_t room = sizeof problems - 1 - used;
        std::strncat(problems, (text + "\n").c_str(), std::min(room, text.size() + 1));
    }
};

// Sets the unit's faults for receipt `i` and says which.
std::string injectFault(vantoemu::EmulatedUnit& unit, int i) {
    unit.setReplyDelay(0ms);
    unit.setPrinterCondition(vantoemu::PrinterCondition::Ready);
    if (i % 97 == 13) {
        unit.setPrinterCondition(vantoemu::PrinterCondition::Error);
        return "printer in error";
    }
    switch (i % 10) {
        case 1:
            unit.setPrinterNotReadyPolls(3);
            return "not ready for 3 polls";
        case 3:
            unit.setPrinterErrorReplies(2);
            return "2 packets refused";
        case 5:
            unit.setReplyDelay(30ms);
            return "replies 30 ms late";
        case 7:
            unit.setPrinterErrorReplies(6);
            return "6 packets refused";
        default:
            return "no fault";
    }
}

Tally runBatch(int first, int count) {
    QuietConsole quiet;
    Tally tally;
    vantoemu::EmulatedUnit unit(vantoemu::UnitOptions{
        .port = 0, .outDir = "", .renderReceipts = false, .idleTimeout = 1s, .faults = {}});
    unit.start();
    PrinterQueue::setTimerIntervalScale(0.01);
    if (!PrinterQueue::resetForTesting()) {
        tally.problem("the printer queue did not come to rest");
        return tally;
    }
    Vanto vanto;
    testing::aimAt(*vanto.getConnectionManager(), unit.port());

    std::uint64_t onPaper = 0;
    for (int i = first; i < first + count; ++i) {
        const std::string fault = injectFault(unit, i);
        const std::string which = "receipt " + std::to_string(i) + " (" + fault + "): ";
        const auto story = printOne(vanto, i, 60s);
        if (!story) {
            tally.problem(which + "no delivery report within 60 s");
            return tally;
        }
        const auto report = story->reports().at(0);
        const std::uint64_t expected = onPaper + (report.endOfJobSent ? 1 : 0);
        unit.waitForReceipts(expected, 10s);
        const std::uint64_t now = unit.snapshot().receipts;
        if (now != expected) {
            tally.problem(which + std::to_string(now - onPaper) + " receipts on paper after \"" +
                          report.summary() + "\"");
            onPaper = now;
            continue;
        }
        onPaper = now;
        if (!report.endOfJobSent) {
            ++(report.packetsSent == 0 ? tally.dropped : tally.partial);
            continue;
        }
        const auto paper = unit.receipts().back();
        if (report.allAcknowledged) {
            if (paper.bytes != composed(*shopReceipt(i)) || !paper.complete()) {
                tally.problem(which + "reported printed, on paper " + paper.marks() + " with " +
                              std::to_string(paper.bytes.size()) + " bytes");
            }
            ++tally.printed;
        } else {
            if (paper.complete()) {
                tally.problem(which + "reported \"" + report.summary() +
                              "\" but the paper is marked complete");
            }
            ++tally.partial;
        }
    }
    unit.stop();
    PrinterQueue::resetForTesting();
    return tally;
}

TEST(FaultSoak, ThousandReceiptsArePrintedWholeOrReportedNotPrinted) {
    const auto start = std::chrono::steady_clock::now();
    Tally total;
    std::string problems;
    for (int first = 1; first <= RECEIPTS; first += BATCH) {
        const auto batch = runInChild<Tally>([first] { return runBatch(first, BATCH); });
        ASSERT_TRUE(batch.survived) << "the batch from receipt " << first << " failed";
        total.printed += batch.value.printed;
        total.dropped += batch.value.dropped;
        total.partial += batch.value.partial;
        total.problemCount += batch.value.problemCount;
        problems += batch.value.problems;
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << RECEIPTS << " receipts in " << seconds << " s: " << total.printed
              << " printed whole, " << total.dropped << " dropped and reported, " << total.partial
              << " delivered in part, reported and marked incomplete, " << total.problemCount
              << " problems" << std::endl;
    EXPECT_EQ(total.problemCount, 0) << problems;
    EXPECT_EQ(total.printed + total.dropped + total.partial, RECEIPTS);
    EXPECT_GT(total.printed, RECEIPTS / 2);
}

}  // namespace
}  // namespace vantoconnect::soak
