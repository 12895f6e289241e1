#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <typeindex>
#include <variant>
#include <vector>

#include "messages/Fields.h"

/// All declared layouts as data, for whoever walks over fields without knowing the message: the
/// test of docs/wire.md, and programs that show messages. The build lists them from the headers
/// of this folder, in the order in which they stand there; places and values come from the
/// declarations themselves.

/// What a field holds, in the host's form.
using FieldValue = std::variant<std::uint64_t, std::int64_t, float, double, std::string,
                                std::vector<std::uint16_t>, std::vector<std::uint8_t>>;

/// One field of a layout.
struct DeclaredField {
    /// From all data words of the layout.
    using Read = FieldValue (*)(std::uint16_t const* data);

    /// Of a field that is a row of groups.
    struct Groups {
        std::type_index layout;  ///< of one group
        std::size_t begin;       ///< first word
        std::size_t words;       ///< of one group
        std::size_t places;
        Read counted;  ///< how many of them a message means
    };

    std::string name;
    fields::Extent extent;
    std::string unit;  ///< "s", "m/s" and so on; empty for what has none
    Read read;         ///< null for a row of groups
    std::optional<Groups> groups;
};

/// One layout: of a message, or of a group in messages.
struct DeclaredLayout {
    /// The header of a fresh message.
    struct Head {
        unsigned id;
        unsigned words;
        unsigned flagWord;
    };

    std::string name;
    std::type_index type;
    std::size_t words;
    std::optional<Head> head;  ///< a group has none
    std::vector<DeclaredField> fields;
};

/// Every layout. Made by the first call; any thread may call.
std::vector<DeclaredLayout> const& declaredLayouts();

// What the list that the build writes is made of.

template <typename Field, typename = void>
struct UnitOf {
    static constexpr char const* text = "";
};
template <typename Field>
struct UnitOf<Field, std::void_t<decltype(Field::unit)>> {
    static constexpr char const* text = Field::unit;
};

template <typename Field, typename = void>
struct IsRowOfGroups : std::false_type {};
template <typename Field>
struct IsRowOfGroups<Field, std::void_t<typename Field::Element>> : std::true_type {};

template <typename Layout, typename = void>
struct HasHead : std::false_type {};
template <typename Layout>
struct HasHead<Layout, std::void_t<decltype(Layout::id, Layout::flagWord)>> : std::true_type {};

inline FieldValue toFieldValue(std::uint16_t value) {
    return std::uint64_t{value};
}
inline FieldValue toFieldValue(std::uint32_t value) {
    return std::uint64_t{value};
}
inline FieldValue toFieldValue(std::int16_t value) {
    return std::int64_t{value};
}
inline FieldValue toFieldValue(float value) {
    return value;
}
inline FieldValue toFieldValue(double value) {
    return value;
}
inline FieldValue toFieldValue(OtwDECD const& value) {
    return value.AsDouble();
}
inline FieldValue toFieldValue(OtwDECS const& value) {
    return value.AsFloat();
}
inline FieldValue toFieldValue(OtwEFLT const& value) {
    return value.AsDouble();
}
inline FieldValue toFieldValue(OtwSFLT const& value) {
    return value.AsFloat();
}
inline FieldValue toFieldValue(std::string value) {
    return value;
}
template <typename Item, std::size_t Count>
FieldValue toFieldValue(std::array<Item, Count> const& items) {
    return std::vector<Item>(items.begin(), items.end());
}

template <typename Layout, typename Field>
FieldValue readDeclaredField(std::uint16_t const* data) {
    fields::Record<Layout::words> record;
    std::copy_n(data, record.data.size(), record.data.begin());
    return toFieldValue(Field::get(record));
}

template <typename Layout, typename Field>
DeclaredField makeDeclaredField(char const* name) {
    DeclaredField field{name, Field::extent, UnitOf<Field>::text, nullptr, {}};
    if constexpr (IsRowOfGroups<Field>::value) {
        field.groups = DeclaredField::Groups{typeid(typename Field::Element), Field::begin,
                                             Field::words, Field::count,
                                             readDeclaredField<Layout, typename Field::CountField>};
    } else {
        field.read = readDeclaredField<Layout, Field>;
    }
    return field;
}

template <typename Layout>
DeclaredLayout makeDeclaredLayout(char const* name, std::vector<DeclaredField> fields) {
    DeclaredLayout layout{name, typeid(Layout), Layout::words, {}, std::move(fields)};
    if constexpr (HasHead<Layout>::value) {
        layout.head = DeclaredLayout::Head{Layout::id, Layout::words, Layout::flagWord};
    }
    return layout;
}
