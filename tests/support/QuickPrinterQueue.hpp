#pragma once

#include <gtest/gtest.h>

#include "vantoconnect/PrinterQueue.hpp"

namespace vantoconnect::testing {

// For one test, the printer queue polls a hundred times sooner (0.1 s and 2.0 s become 1 ms and
// 20 ms), and its process-wide state is empty before and after. Declare it after whatever the
// queue's polls reach (the fake unit, the connection manager), so it is the first to go and the
// queue has gone quiet before they do.
class QuickPrinterQueue {
  public:
    QuickPrinterQueue() {
        PrinterQueue::setTimerIntervalScale(0.01);
        EXPECT_TRUE(PrinterQueue::resetForTesting());
    }
    ~QuickPrinterQueue() {
        EXPECT_TRUE(PrinterQueue::resetForTesting());
        PrinterQueue::setTimerIntervalScale(1.0);
    }
    QuickPrinterQueue(const QuickPrinterQueue&) = delete;
    QuickPrinterQueue& operator=(const QuickPrinterQueue&) = delete;
};

}  // namespace vantoconnect::testing
