#include "bench/TopicSchedule.h"

#include <string>
#include <utility>

#include "bench/PeerProgram.h"
#include "bench/TopicPeerProtocol.h"

namespace bench {

void TopicSchedule::start(double rate, std::int64_t count,
                          std::chrono::steady_clock::time_point begin, Publish publish) {
    stop();
    stop_ = false;
    thread_ = std::thread([this, rate, count, begin, publish = std::move(publish)] {
        run(rate, count, begin, publish);
    });
}

void TopicSchedule::stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void TopicSchedule::run(double rate, std::int64_t count,
                        std::chrono::steady_clock::time_point begin, const Publish& publish) {
    for (std::int64_t tick = 0; count == 0 || tick < count; ++tick) {
        const auto offset = static_cast<std::int64_t>(static_cast<double>(tick) * 1e9 / rate);
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (changed_.wait_until(lock, begin + std::chrono::nanoseconds(offset),
                                    [this] { return stop_; })) {
                break;
            }
        }
        publish(offset);
    }
    peerProgram::say(std::string(peerProtocol::done));
}

}  // namespace bench
