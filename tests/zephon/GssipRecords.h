#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "aspn2_msgs/GSSIP.h"
#include "bench/UnitFrame.h"

/// Records as the queues deliver them.

constexpr unsigned char trevo = 39;
constexpr unsigned char halvorUnit = 47;
constexpr unsigned char pntDevice = 49;

inline aspn2_msgs::idl::GSSIP makeRecord(std::vector<std::uint8_t> bytes, unsigned char source,
                                         unsigned char instance = 0) {
    aspn2_msgs::idl::GSSIP record;
    record.header().device_id(0x03002E00 | source << 16 | instance);
    record.num_bytes(static_cast<std::int32_t>(bytes.size()));
    record.data(std::move(bytes));
    return record;
}

inline aspn2_msgs::idl::GSSIP makeRecord(bench::UnitFrame const& frame, unsigned char source,
                                         unsigned char instance = 0) {
    return makeRecord(frame.encode(), source, instance);
}
