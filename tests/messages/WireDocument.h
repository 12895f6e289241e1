#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "messages/Fields.h"

/// What docs/wire.md tells about the messages, and what their layouts declare, in one form so
/// that a test can hold one against the other.

/// The place of a field: bits from the first data word on, with the name of its form.
struct FieldPlace {
    std::size_t firstBit = 0;
    std::size_t bits = 0;
    std::string type;
};

inline bool operator==(FieldPlace const& a, FieldPlace const& b) {
    return a.firstBit == b.firstBit && a.bits == b.bits && a.type == b.type;
}
std::string toText(FieldPlace const& place);

/// The fields of one layout by their names.
using LayoutFields = std::map<std::string, FieldPlace>;

/// The header of a fresh message.
struct MessageHead {
    unsigned words = 0;
    unsigned flagWord = 0;
};

/// One field as the source declares it, with its message's head when the layout has one.
struct DeclaredField {
    std::string layout;
    std::string name;
    FieldPlace place;
    std::optional<unsigned> id;
    MessageHead head;
};

/// All fields of all layouts in messages/. Written by the build.
std::vector<DeclaredField> declaredFields();

template <typename Layout, typename = void>
struct HasHead : std::false_type {};
template <typename Layout>
struct HasHead<Layout, std::void_t<decltype(Layout::id, Layout::flagWord)>> : std::true_type {};

template <typename Layout, typename Field>
DeclaredField declaredField(char const* layout, char const* name) {
    DeclaredField field{
        layout, name, {Field::extent.firstBit, Field::extent.bits, Field::extent.type}, {}, {}};
    if constexpr (HasHead<Layout>::value) {
        field.id = Layout::id;
        field.head = {Layout::words, Layout::flagWord};
    }
    return field;
}

/// The document, read once. A field table has the columns offset, type and field, and the name
/// of the layout stands over the field column:
///
///     | Offset | Type | `OstrelPvtLayout` | Content | Unit |
///     |---|---|---|---|---|
///     | 16, 24 | double | `EcefPosX`, `EcefPosY` | position | m |
///     | 100 | bit 0 | `ReceiverSeen` | engine heard | |
///
/// Offsets are bytes from the first data word; bits count from bit 0 of the offset's byte.
/// Types: word, signed word, byte, bit 3, bits 0-3, 32-bit, signed 32-bit, float, double, those
/// of WireNumbers.h, 7 words, 256 bytes, 12 characters, 16 swapped characters, and 40 groups of
/// 4 bytes.
class WireDocument {
public:
    explicit WireDocument(std::string const& markdown);

    std::map<std::string, LayoutFields> layouts;
    std::map<unsigned, MessageHead> heads;  ///< the rows of the table of messages, by identifier
    std::vector<std::string> errors;        ///< lines of these tables that cannot be read
};
