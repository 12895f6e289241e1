#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "bench/UnitFrame.h"

namespace bench {

/// Finds the frames in the bytes that a line brings. One thread.
///
/// After a false start or a bad checksum it looks again from the next byte on, so that a good frame
/// hidden behind the defect is found.
class UnitParser {
public:
    struct Counters {
        std::uint64_t bytes = 0;
        std::uint64_t frames = 0;
        std::uint64_t headerErrors = 0;  ///< checksum, or more data words than expected
        std::uint64_t dataErrors = 0;
        std::uint64_t skippedBytes = 0;  ///< bytes that belong to no good frame

        std::uint64_t checksumErrors() const { return headerErrors + dataErrors; }
    };

    using FrameHandler =
        std::function<void(const UnitFrame& frame, const std::vector<std::uint8_t>& bytes)>;

    /// `handler` is called from feed() for each good frame. A header that announces more than
    /// `largestFrame` data words counts as damaged: the unit would wait for the rest for ever.
    explicit UnitParser(FrameHandler handler, std::size_t largestFrame = 1024);

    void feed(const std::uint8_t* bytes, std::size_t count);

    /// Forgets what is not complete, as after a hang-up. The counters stay.
    void reset() { pending_.clear(); }

    const Counters& counters() const { return counters_; }

private:
    enum class Step { NeedsMore, Skip, Delivered };
    Step inspect(std::size_t begin, std::size_t& length);

    FrameHandler handler_;
    std::size_t largestFrame_;
    std::vector<std::uint8_t> pending_;  // what has come and belongs to no delivered frame
    Counters counters_;
};

}  // namespace bench
