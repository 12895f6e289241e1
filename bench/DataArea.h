#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bench/UnitFrame.h"

namespace bench {

/// The data words of a frame as bytes, in which numbers stand in the machine's own order.
using DataArea = std::vector<std::uint8_t>;

template <class T, class Area>
T takeAt(const Area& area, std::size_t offset) {
    T value;
    std::memcpy(&value, area.data() + offset, sizeof value);
    return value;
}

template <class Area, class T>
void putAt(Area& area, std::size_t offset, T value) {
    std::memcpy(area.data() + offset, &value, sizeof value);
}

DataArea dataArea(const UnitFrame& frame);

/// Where a field of a message begins, in bytes of its data; the next one ends it.
struct FieldPlace {
    std::size_t begin;
    const char* name;
};

/// Compares a frame with what it must be, byte for byte. Empty when it is right; otherwise one text
/// for each difference. Bytes that are missing count as zero.
std::vector<std::string> frameDefects(const UnitFrame& frame, std::uint16_t id, std::uint16_t flags,
                                      const DataArea& expected,
                                      const std::vector<FieldPlace>& places);

}  // namespace bench
