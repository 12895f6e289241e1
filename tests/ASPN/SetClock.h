#pragma once

#include <atomic>
#include <chrono>
#include <memory>

/// A steady clock that stands still until it is moved. Copies move together; any thread may read.
class SetClock {
public:
    std::chrono::steady_clock::time_point operator()() const {
        return std::chrono::steady_clock::time_point(std::chrono::nanoseconds(now_->load()));
    }

    void advance(std::chrono::nanoseconds step) { *now_ += step.count(); }

private:
    std::shared_ptr<std::atomic<long long>> now_ =
        std::make_shared<std::atomic<long long>>(1'000'000'000'000);
};
