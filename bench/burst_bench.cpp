// Receipts submitted all at once to a ready printer, at the queue's real intervals: how many
// print and how many the queue drops with PRINTER_NOT_RESPONDING. The queue counts unavailable
// polls over the whole process, and every submission starts its own chain of polls, so a burst
// drops receipts although the printer never fails. Each burst runs in a child process of its
// own, with a fresh queue, because once a burst's last receipt has gone, the chains of polls
// still alive find the queue empty, and when the count passes 30 there the process stops.
//
// Not a Google Benchmark timing: it prints a table, one row per burst size.
//   bench_burst [SIZE ...]     default sizes 5 9 10 20 30 40 100

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tests/support/BurstRun.hpp"

using vantoconnect::testing::BurstOutcome;

int main(int argc, char** argv) {
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] != '-') {  // flags meant for the Google Benchmark programs
            sizes.push_back(std::atoi(argv[i]));
        }
    }
    if (sizes.empty()) {
        sizes = {5, 9, 10, 20, 30, 40, 100};
    }
    std::printf("%-8s %-8s %-8s %-8s %-9s %-9s %s\n", "burst", "printed", "dropped", "partial",
                "in order", "seconds", "process afterwards");
    for (const int size : sizes) {
        const BurstOutcome outcome = vantoconnect::testing::runBurstInChild(size);
        if (!outcome.reported) {
            std::printf("%-8d ended before every receipt was reported\n", size);
            continue;
        }
        std::printf("%-8d %-8d %-8d %-8d %-9s %-9.1f %s\n", size, outcome.printed, outcome.dropped,
                    outcome.other, outcome.inOrder ? "yes" : "NO", outcome.seconds,
                    outcome.survived ? "kept running" : "stopped (give-up with an empty queue)");
    }
    return 0;
}
