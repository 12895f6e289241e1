#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bench/TopicRecords.h"
#include "bench/UnitFrame.h"

namespace bench {

/// The fused solution as the unit reads it: message 15050, 54 data words, machine-order floats.
struct SolutionFrame {
    static constexpr std::uint16_t id = 15050;
    static constexpr std::size_t bytes = 108;
    using Area = std::array<std::uint8_t, bytes>;

    double gpsTimeOfWeek = 0;  ///< s
    double utcTimeOfDay = 0;   ///< s
    std::array<double, 3> position{};
    std::array<float, 3> velocity{};
    std::array<float, 3> attitude{};  ///< pitch, roll, heading
    std::uint16_t gpsWeek = 0;
    std::uint16_t solutionFlags = 0;

    /// Reads the data of a frame of 54 words; nothing for another frame.
    static std::optional<SolutionFrame> decode(const UnitFrame& frame);
};

/// The data area that these two records must give on a server that has heard of no receiver status.
SolutionFrame::Area expectedSolution(const UtcRecord& utc, const PntRecord& pnt);

/// Compares a frame with what the records must give, byte for byte, the flag word included. Empty
/// when it is right; otherwise one text for each difference.
std::vector<std::string> solutionDefects(const UnitFrame& frame, const UtcRecord& utc,
                                         const PntRecord& pnt);

}  // namespace bench
