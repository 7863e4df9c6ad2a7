#include <gtest/gtest.h>

#include "tests/support/BurstRun.hpp"
#include "vantoconnect/PrinterQueue.hpp"

namespace vantoconnect::testing {
namespace {

// A burst loses receipts to the queue's process-wide poll count although the printer is ready;
// what the queue must never do is lose track of one: each receipt is taken once, in submission
// order, and is either printed whole or reported dropped.
TEST(Burst, EveryReceiptIsPrintedOrReportedDroppedOnceAndInOrder) {
    for (const int size : {10, 20, 30}) {
        SCOPED_TRACE("burst of " + std::to_string(size));
        ASSERT_TRUE(PrinterQueue::resetForTesting(std::chrono::seconds(60)));
        const BurstOutcome outcome = runBurst(size);
        EXPECT_TRUE(outcome.inOrder);
        EXPECT_EQ(outcome.printed + outcome.dropped, size);
        EXPECT_EQ(outcome.other, 0);
        EXPECT_GT(outcome.printed, 0);
    }
    EXPECT_TRUE(PrinterQueue::resetForTesting(std::chrono::seconds(60)));
}

// Every submission polls on its own until the queue is empty; after a burst of more than 30,
// the polls that find the queue empty pass the give-up limit with nothing to drop.
TEST(BurstDeathTest, MoreThanThirtyAtOnceEndTheProcessOnceTheQueueIsEmpty) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            runBurst(40);
            std::this_thread::sleep_for(std::chrono::seconds(10));
        },
        "Index out of range");
}

}  // namespace
}  // namespace vantoconnect::testing
