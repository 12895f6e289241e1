// The least that the road of a fused solution can cost: the server's hops and nothing else.
// A listener joins two topics; the pair passes two queues and two threads, and leaves by one
// write(2) of one 120-byte frame.
//
//     road_floor DOMAIN TRANSPORT HISTORY_DEPTH DEVICE

#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <exception>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/UTCTime.h"
#include "benchmarks/FloorTransport.h"

namespace benchmarks {
namespace {

namespace idl = aspn2_msgs::idl;

/// A mutex and a condition variable around a deque; any thread may call.
template <class T>
class HandOff {
public:
    void push(T value) {
        std::lock_guard<std::mutex> const lock(mutex_);
        items_.push_back(value);
        changed_.notify_one();
    }

    /// Waits for an item; nothing comes once the queue is closed.
    std::optional<T> pop() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || !items_.empty(); });
        if (closed_) {
            return std::nullopt;
        }
        T const value = items_.front();
        items_.pop_front();
        return value;
    }

    void close() {
        std::lock_guard<std::mutex> const lock(mutex_);
        closed_ = true;
        changed_.notify_one();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<T> items_;  // guarded by mutex_
    bool closed_ = false;  // guarded by mutex_
};

/// Finds the pairs; the transport may call from any of its threads.
class Join {
public:
    explicit Join(HandOff<double>& output) : output_(output) {}

    void take(idl::UTCTime const& record) {
        std::lock_guard<std::mutex> const lock(mutex_);
        utcTag_ = tagOf(record.header());
        timeOfWeek_ = record.gps_tow_sec() + record.gps_tow_nsec() * 1e-9;
        complete();
    }

    void take(idl::MeridanePNT const& record) {
        std::lock_guard<std::mutex> const lock(mutex_);
        pntTag_ = tagOf(record.header());
        complete();
    }

private:
    static std::int64_t tagOf(idl::header const& header) {
        return header.timestamp_valid().sec() * 1'000'000'000 + header.timestamp_valid().nsec();
    }

    /// Called with the lock held.
    void complete() {
        if (utcTag_ && utcTag_ == pntTag_) {
            output_.push(timeOfWeek_);
            utcTag_.reset();
            pntTag_.reset();
        }
    }

    HandOff<double>& output_;
    std::mutex mutex_;
    std::optional<std::int64_t> utcTag_;  // guarded by mutex_, as the rest
    std::optional<std::int64_t> pntTag_;
    double timeOfWeek_ = 0;
};

/// A frame of message 15050, so that the measuring end reads it like the server's: 54 data words
/// that begin with the GPS time of week. The fifth word balances the first four, so the sums hold
/// without a pass over the frame.
class Frame {
public:
    Frame() {
        std::uint16_t const header[] = {0x81FF, 15050, 54, 0x8000};
        std::uint16_t sum = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            words_[i] = header[i];
            sum = static_cast<std::uint16_t>(sum + header[i]);
        }
        words_[4] = static_cast<std::uint16_t>(-sum);
    }

    void setTimeOfWeek(double value) {
        std::memcpy(&words_[5], &value, sizeof value);
        unsigned const sum = 0U + words_[5] + words_[6] + words_[7] + words_[8];
        words_[9] = static_cast<std::uint16_t>(0U - sum);
    }

    /// One write(2). Raises std::system_error when the line takes less than the frame.
    void writeTo(int line) const {
        auto const written = ::write(line, words_.data(), sizeof words_);
        if (written != static_cast<ssize_t>(sizeof words_)) {
            throw std::system_error(errno, std::generic_category(), "write");
        }
    }

private:
    std::array<std::uint16_t, 60> words_{};
};

void run(FloorSettings const& settings, char const* device) {
    blockEndSignals();
    int const line = ::open(device, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (line < 0) {
        throw std::system_error(errno, std::generic_category(), device);
    }
    HandOff<double> first;
    HandOff<double> second;
    std::thread middle([&first, &second] {
        while (auto const timeOfWeek = first.pop()) {
            second.push(*timeOfWeek);
        }
    });
    std::thread writer([&second, line] {
        Frame frame;
        while (auto const timeOfWeek = second.pop()) {
            frame.setTimeOfWeek(*timeOfWeek);
            frame.writeTo(line);
        }
    });
    {
        Join join(first);
        auto const take = [&join](auto const& record) { join.take(record); };
        FloorListener<idl::UTCTime, decltype(take)> clock(take);
        FloorListener<idl::MeridanePNT, decltype(take)> navigator(take);
        FloorParticipant participant(settings);
        participant.subscribe<idl::UTCTime>("UTCTime", clock);
        participant.subscribe<idl::MeridanePNT>("MeridanePNT", navigator);
        announceReady();
        waitForEndSignal();
    }
    first.close();
    second.close();
    middle.join();
    writer.join();
    ::close(line);
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    try {
        if (argc != 5) {
            throw std::invalid_argument("arguments: DOMAIN TRANSPORT HISTORY_DEPTH DEVICE");
        }
        benchmarks::run(benchmarks::parseFloorSettings(argc, argv), argv[4]);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "road_floor: %s\n", error.what());
        return 1;
    }
    return 0;
}
