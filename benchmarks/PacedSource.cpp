#include "benchmarks/PacedSource.h"

#include <algorithm>

#include "benchmarks/NumberedFrame.h"

namespace benchmarks {
namespace {

constexpr std::chrono::milliseconds retryAfter{1};

}  // namespace

void PacedSource::begin(Clock::time_point start, double bytesPerSecond, std::uint32_t frames) {
    start_ = start;
    nanosecondsPerByte_ = 1e9 / bytesPerSecond;
    sentBytes_ = 0;
    remaining_ = std::uint64_t{frames} * NumberedFrame::lineBytes;
}

PacedSource::Clock::time_point PacedSource::due() const {
    if (isDone()) {
        return Clock::time_point::max();
    }
    auto const bytes = sentBytes_ + std::min<std::uint64_t>(piece_, remaining_);
    return start_ + std::chrono::nanoseconds(static_cast<std::int64_t>(static_cast<double>(bytes) *
                                                                       nanosecondsPerByte_));
}

void PacedSource::send(Clock::time_point now) {
    while (due() <= now) {
        longestDelay_ = std::max(longestDelay_, now - due());
        std::size_t const size = std::min<std::uint64_t>(piece_, remaining_);
        while (made_.size() < size) {
            auto const frame = NumberedFrame{link_, nextNumber_++}.frame().encode();
            made_.insert(made_.end(), frame.begin(), frame.end());
        }
        std::size_t const taken = write_(made_.data(), size);
        made_.erase(made_.begin(), made_.begin() + static_cast<std::ptrdiff_t>(taken));
        sentBytes_ += taken;
        remaining_ -= taken;
        bool const refused = taken < size;
        refused_ += refused && !retrying_ ? 1 : 0;
        retrying_ = refused;
        if (refused) {
            notBefore_ = now + retryAfter;
        }
    }
}

}  // namespace benchmarks
