#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <vector>

#include "vantoconnect/support/SerialQueue.hpp"

namespace vantoconnect {
namespace {

TEST(SerialQueue, RunsWorkInSubmissionOrderOffTheCallersThread) {
    std::vector<int> order;
    std::mutex mutex;
    std::promise<void> gate;
    auto opened = gate.get_future().share();
    {
        SerialQueue queue("test.pool");
        // The first item blocks until the caller has submitted everything: async() must not wait.
        queue.async([opened] { opened.wait(); });
        for (int i = 0; i < 100; ++i) {
            queue.async([&, i] {
                EXPECT_TRUE(queue.isCurrent());
                std::lock_guard<std::mutex> lock(mutex);
                order.push_back(i);
            });
        }
        EXPECT_FALSE(queue.isCurrent());
        gate.set_value();
    }  // the destructor drains the queue
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    }
}

TEST(SerialQueue, ItemsNeverOverlap) {
    std::atomic<int> running{0};
    std::atomic<int> maxRunning{0};
    {
        SerialQueue queue("test.pool");
        for (int i = 0; i < 50; ++i) {
            queue.async([&] {
                const int now = ++running;
                int seen = maxRunning.load();
                while (now > seen && !maxRunning.compare_exchange_weak(seen, now)) {
                }
                std::this_thread::sleep_for(std::chrono::microseconds(100));
                --running;
            });
        }
    }
    EXPECT_EQ(maxRunning.load(), 1);
}

}  // namespace
}  // namespace vantoconnect
