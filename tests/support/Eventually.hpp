#pragma once

// For what a test cannot be told of, such as a request the unit confirms to nobody: polls
// `holds` until it is true, or until `limit` has passed, and says which.

#include <chrono>
#include <thread>

namespace vantoconnect::testing {

template <typename Predicate>
bool eventually(Predicate&& holds, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

}  // namespace vantoconnect::testing
