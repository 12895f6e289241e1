#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "benchmarks/NumberedFrame.h"

namespace benchmarks {

/// Which of the numbered frames of three links have arrived at one end. One thread.
class FrameLedger {
public:
    static constexpr std::size_t links = 3;

    void add(NumberedFrame const& frame) {
        if (frame.link < 1 || frame.link > links) {
            addForeign();
            return;
        }
        std::uint32_t& next = next_.at(frame.link - 1U);
        // A gap shows as frames that are short at the end.
        outOfOrder_ += frame.number != next ? 1 : 0;
        next = frame.number + 1;
        ++arrived_.at(frame.link - 1U);
    }

    /// Bytes came that are no frame of ours.
    void addForeign() { ++foreign_; }

    std::uint32_t arrived(unsigned link) const { return arrived_.at(link - 1); }
    std::uint64_t arrived() const { return std::uint64_t{arrived_[0]} + arrived_[1] + arrived_[2]; }

    /// What is wrong beside frames that are missing: foreign bytes, gaps and repetitions.
    std::uint64_t defects() const { return foreign_ + outOfOrder_; }

private:
    std::array<std::uint32_t, links> next_{};
    std::array<std::uint32_t, links> arrived_{};
    std::uint64_t foreign_ = 0;
    std::uint64_t outOfOrder_ = 0;
};

}  // namespace benchmarks
