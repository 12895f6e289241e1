#pragma once

#include <chrono>
#include <thread>

/// Looks again and again until `condition` holds, for what no event tells; false when it did not
/// in time.
template <typename Condition>
bool holdsInTime(Condition condition,
                 std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
