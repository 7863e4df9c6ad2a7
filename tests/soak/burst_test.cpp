#include <gtest/gtest.h>

#include "tests/support/BurstRun.hpp"

namespace vantoconnect::testing {
namespace {

// A burst loses receipts to the queue's process-wide poll count although the printer is ready;
// what the queue must never do is lose track of one: each receipt is taken once, in submission
// order, and is either printed whole or reported dropped. Whether the process outlives the
// polls that follow depends on timing (a kept fatal edge), so each burst runs in a child.
TEST(Burst, EveryReceiptIsPrintedOrReportedDroppedOnceAndInOrder) {
    for (const int size : {10, 20, 30, 40}) {
        SCOPED_TRACE("burst of " + std::to_string(size));
        const BurstOutcome outcome = runBurstInChild(size);
        ASSERT_TRUE(outcome.reported);
        EXPECT_TRUE(outcome.inOrder);
        EXPECT_EQ(outcome.printed + outcome.dropped, size);
        EXPECT_EQ(outcome.other, 0);
        EXPECT_GT(outcome.printed, 0);
        if (size > 30) {
            // More chains of polls than the limit are still alive when the queue empties.
            EXPECT_FALSE(outcome.survived);
        }
    }
}

}  // namespace
}  // namespace vantoconnect::testing
