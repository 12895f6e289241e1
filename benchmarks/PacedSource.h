#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace benchmarks {

/// Numbered frames back to back, in pieces that leave when a line of the given rate would have
/// brought their last byte. One thread.
class PacedSource {
public:
    using Clock = std::chrono::steady_clock;
    /// Takes as many bytes as it can now, and tells how many.
    using Write = std::function<std::size_t(std::uint8_t const* bytes, std::size_t size)>;

    PacedSource(std::uint16_t link, std::size_t piece, Write write)
        : link_(link), piece_(piece), write_(std::move(write)) {}

    /// Sends `frames` frames from `start` on.
    void begin(Clock::time_point start, double bytesPerSecond, std::uint32_t frames);

    bool isDone() const { return remaining_ == 0; }

    /// When the next piece is to leave; a time of the far future when all is sent.
    Clock::time_point due() const;

    /// Sends what is due. What the line refuses is due again a millisecond later.
    void send(Clock::time_point now);

    std::uint32_t framesSent() const { return nextNumber_; }

    /// Pieces for which there was no room when they were due: a real line would have lost them.
    std::uint64_t refused() const { return refused_; }

    /// The longest time that a piece was late: a machine that is busy holds up the sender too.
    Clock::duration longestDelay() const { return longestDelay_; }

private:
    std::uint16_t const link_;
    std::size_t const piece_;
    Write const write_;
    Clock::time_point start_;
    double nanosecondsPerByte_ = 0;
    std::uint64_t sentBytes_ = 0;   // since begin()
    std::uint64_t remaining_ = 0;   // bytes
    std::uint32_t nextNumber_ = 0;  // of the frame that is made next
    std::vector<std::uint8_t> made_;
    Clock::time_point notBefore_ = Clock::time_point::min();  // after a refusal
    bool retrying_ = false;
    std::uint64_t refused_ = 0;
    Clock::duration longestDelay_{0};
};

}  // namespace benchmarks
