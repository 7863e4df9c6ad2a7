#pragma once

// Shared by the long runs against an in-process emulated unit: receipts of a shop's usual
// length, the process's resident memory, and one receipt printed at a time through the facade
// with its whole story recorded.

#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/RecordingCallback.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"

namespace vantoconnect::soak {

using testing::QuietConsole;

// Forty lines, the first naming the receipt so that its paper can be told from every other.
inline std::shared_ptr<VantoReceipt> shopReceipt(int number) {
    auto receipt = std::make_shared<VantoReceipt>();
    receipt->addLine(std::make_shared<VantoReceiptTextLine>(
        "RECEIPT " + std::to_string(number), Vanto::TEXT_STYLE_BOLD, Vanto::TEXT_SIZE_NORMAL,
        Vanto::TEXT_POSITION_CENTER));
    for (int line = 1; line < 40; ++line) {
        receipt->addLine(std::make_shared<VantoReceiptTextLine>(
            "item " + std::to_string(line) + " x" + std::to_string(number % 7 + 1) + "   " +
                std::to_string(line * 3 + number % 100) + ".99",
            Vanto::TEXT_STYLE_NONE, Vanto::TEXT_SIZE_NORMAL, Vanto::TEXT_POSITION_LEFT));
    }
    return receipt;
}

// Resident memory of this process in kB, from /proc/self/status.
inline long residentKb() {
    std::ifstream status("/proc/self/status");
    std::string key;
    while (status >> key) {
        if (key == "VmRSS:") {
            long kb = 0;
            status >> kb;
            return kb;
        }
        status.ignore(4096, '\n');
    }
    return -1;
}

// Submits one receipt and waits for its delivery report, which comes last of its events.
// Absent when nothing was reported within the limit. The report of a dropped receipt comes
// from inside a poll that then looks whether receipts still wait; a receipt submitted in that
// instant would start a second chain of polls whose extra poll finds the queue empty, and
// enough of those end the process. So the next submission waits until that poll is surely over.
inline std::shared_ptr<testing::RecordingCallback> printOne(Vanto& vanto, int number,
                                                            std::chrono::seconds limit) {
    auto recorder = std::make_shared<testing::RecordingCallback>();
    vanto.print(shopReceipt(number), recorder, recorder);
    if (!recorder->waitForReport(limit)) {
        return nullptr;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return recorder;
}

}  // namespace vantoconnect::soak
