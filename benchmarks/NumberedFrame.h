#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "bench/UnitFrame.h"

namespace benchmarks {

/// A frame that tells its sender and its place in the stream, so that each can be found again.
///
///     data word 0      number of the link
///     data words 1, 2  number of the frame, low word first
///     the other words  derived from the frame's number
struct NumberedFrame {
    static constexpr std::size_t dataWords = 31;
    static constexpr std::size_t lineBytes = 74;
    static constexpr std::uint16_t id = 9990;  ///< one that no job of the server knows

    std::uint16_t link = 0;
    std::uint32_t number = 0;

    /// Fills the data words of a frame.
    void fill(std::uint16_t* data) const;

    /// A frame that asks for no ACK.
    bench::UnitFrame frame() const;

    /// Nothing when the frame is not exactly what frame() makes.
    static std::optional<NumberedFrame> read(bench::UnitFrame const& frame);

    /// The same for the data of a record, header and checksums included.
    static std::optional<NumberedFrame> read(std::vector<std::uint8_t> const& bytes);
};

}  // namespace benchmarks
