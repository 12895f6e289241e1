#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/DataArea.h"
#include "bench/TopicRecords.h"
#include "bench/UnitFrame.h"

namespace bench {

/// The alternate navigation as the unit reads it: message 15052, 44 data words, machine-order
/// floats. Its flag word asks for an ACK, and it carries the time of the position, one second
/// before that of its GPSTime.
constexpr std::uint16_t altNavigationId = 15052;

/// The data area that these two records must give. The time of week must be a time.
DataArea expectedAltNavigation(const PositionVelocityRecord& position, const GpsTimeRecord& time);

/// Compares a frame with what the records must give, byte for byte, the flag word included. Empty
/// when it is right; otherwise one text for each difference.
std::vector<std::string> altNavigationDefects(const UnitFrame& frame,
                                              const PositionVelocityRecord& position,
                                              const GpsTimeRecord& time);

}  // namespace bench
