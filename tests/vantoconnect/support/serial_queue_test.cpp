#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <numeric>
#include <thread>
#include <vector>

#include "vantoconnect/support/SerialQueue.hpp"

namespace vantoconnect {
namespace {

TEST(SerialQueue, RunsWorkOneAtATimeInSubmissionOrderOffTheCallersThread) {
    std::vector<int> order;
    std::atomic<int> running{0};
    std::promise<void> gate;
    auto opened = gate.get_future().share();
    {
        SerialQueue queue("test.pool");
        // The first item blocks until the caller has submitted everything: async() must not wait.
        queue.async([opened] { opened.wait(); });
        for (int i = 0; i < 100; ++i) {
            queue.async([&, i] {
                EXPECT_EQ(++running, 1);
                EXPECT_TRUE(queue.isCurrent());
                order.push_back(i);
                std::this_thread::sleep_for(std::chrono::microseconds(50));
                --running;
            });
        }
        EXPECT_FALSE(queue.isCurrent());
        gate.set_value();
    }  // the destructor drains the queue
    std::vector<int> expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
}

}  // namespace
}  // namespace vantoconnect
