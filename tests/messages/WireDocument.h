#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "messages/DeclaredLayouts.h"

/// What docs/wire.md tells about the messages, and what their layouts declare, in one form so
/// that a test can hold one against the other.

/// The place of a field: bits from the first data word on, with the name of its form and its unit.
struct FieldPlace {
    std::size_t firstBit = 0;
    std::size_t bits = 0;
    std::string type;
    std::string unit;
};

inline bool operator==(FieldPlace const& a, FieldPlace const& b) {
    return a.firstBit == b.firstBit && a.bits == b.bits && a.type == b.type && a.unit == b.unit;
}
std::string toText(FieldPlace const& place);

/// The fields of one layout by their names.
using LayoutFields = std::map<std::string, FieldPlace>;

/// A row of the table of messages, for one identifier.
struct MessageRow {
    unsigned words = 0;
    unsigned flagWord = 0;
    std::string direction;
    std::vector<std::string> functions;  ///< that take or make it
};

/// The document, read once. A field table has the columns offset, type and field, and the name
/// of the layout stands over the field column:
///
///     | Offset | Type | `OstrelPvtLayout` | Content | Unit |
///     |---|---|---|---|---|
///     | 16, 24 | double | `EcefPosX`, `EcefPosY` | position | m |
///     | 100 | bit 0 | `ReceiverSeen` | engine heard | |
///
/// Offsets are bytes from the first data word; bits count from bit 0 of the offset's byte.
/// The column of units may be missing.
/// Types: word, signed word, byte, bit 3, bits 0-3, 32-bit, signed 32-bit, float, double, those
/// of WireNumbers.h, 7 words, 256 bytes, 12 characters, 16 swapped characters, and 40 groups of
/// 4 bytes.
class WireDocument {
public:
    explicit WireDocument(std::string const& markdown);

    std::map<std::string, LayoutFields> layouts;
    std::map<unsigned, MessageRow> messages;   ///< the table of messages, by identifier
    std::map<unsigned, std::string> headings;  ///< of the messages with a chapter of their own
    std::vector<std::string> errors;           ///< lines of these tables that cannot be read
};
