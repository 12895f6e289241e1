#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "messages/WireNumbers.h"
#include "messages/WireText.h"

/// Declared layouts: every field of a message is named once, with its place and width, and
/// nothing else knows a word number. A field works on the whole frame of its message, an
/// array of five header words, the data words and the data checksum, or on a record, which has
/// the data words alone; a field that reaches outside the data words does not compile.
///
/// Word 0 is the first data word, byte 0 its low byte. Bit 0 is the least significant bit.
/// Each field tells its `extent`, by which the tables of docs/wire.md are tested.
namespace fields {

constexpr std::size_t headerWords = 5;

template <std::size_t words>
using Frame = std::array<std::uint16_t, headerWords + words + 1>;

/// What a field occupies: bit 0 is bit 0 of word 0, bit 16 that of word 1.
struct Extent {
    std::size_t firstBit;
    std::size_t bits;
    const char* type;  ///< name of the form, as docs/wire.md calls it
};

/// Data words without a frame around them: a whole payload, or one group of those that a message
/// repeats. A derived record names its fields and adds no members.
template <std::size_t Words>
struct Record {
    static constexpr std::size_t words = Words;

    /// Writes one field, named by its type: `status.set<PntdStatusMsg::Kind>(3)`.
    template <typename Field>
    void set(typename Field::Type const& value) {
        Field::set(*this, value);
    }

    /// Reads one field.
    template <typename Field>
    typename Field::Type get() const {
        return Field::get(*this);
    }

    std::array<std::uint16_t, Words> data{};
};

/// The `Count` data words from `Word` on, of a frame or of a record.
template <std::size_t Word, std::size_t Count, std::size_t N>
constexpr std::uint16_t const* place(std::array<std::uint16_t, N> const& frame) {
    static_assert(headerWords + Word + Count <= N - 1, "the field lies outside the data words");
    return frame.data() + headerWords + Word;
}
template <std::size_t Word, std::size_t Count, std::size_t N>
constexpr std::uint16_t* place(std::array<std::uint16_t, N>& frame) {
    static_assert(headerWords + Word + Count <= N - 1, "the field lies outside the data words");
    return frame.data() + headerWords + Word;
}
template <std::size_t Word, std::size_t Count, std::size_t N>
constexpr std::uint16_t const* place(Record<N> const& record) {
    static_assert(Word + Count <= N, "the field lies outside the data words");
    return record.data.data() + Word;
}
template <std::size_t Word, std::size_t Count, std::size_t N>
constexpr std::uint16_t* place(Record<N>& record) {
    static_assert(Word + Count <= N, "the field lies outside the data words");
    return record.data.data() + Word;
}

/// Bits `Low` to `Low + Width - 1` of one data word; a set leaves the other bits alone and
/// drops what is too wide.
template <std::size_t Word, unsigned Low, unsigned Width>
struct BitField {
    static_assert(Width > 0 && Low + Width <= 16, "a bit field lies within one word");
    using Type = std::uint16_t;
    static constexpr Extent extent{16 * Word + Low, Width, "bits"};
    static constexpr std::uint16_t mask = static_cast<std::uint16_t>(((1U << Width) - 1U) << Low);

    template <typename Storage>
    static std::uint16_t get(Storage const& storage) {
        return static_cast<std::uint16_t>((*place<Word, 1>(storage) & mask) >> Low);
    }

    template <typename Storage>
    static void set(Storage& storage, std::uint16_t value) {
        std::uint16_t& word = *place<Word, 1>(storage);
        word = static_cast<std::uint16_t>((word & ~mask) | ((value << Low) & mask));
    }
};

/// One whole data word.
template <std::size_t Word>
using WordField = BitField<Word, 0, 16>;

/// Bits of one byte.
template <std::size_t Byte, unsigned Low, unsigned Width>
struct ByteBits : BitField<Byte / 2, 8 * (Byte % 2) + Low, Width> {
    static_assert(Low + Width <= 8, "the bits lie within one byte");
};

/// One whole byte.
template <std::size_t Byte>
using ByteField = ByteBits<Byte, 0, 8>;

/// A value that stands in its words as it stands in memory: the base of the forms below.
template <std::size_t Word, typename T>
struct CopiedField {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) % 2 == 0);
    using Type = T;

    template <typename Storage>
    static T get(Storage const& storage) {
        T value;
        std::memcpy(static_cast<void*>(&value), place<Word, sizeof(T) / 2>(storage), sizeof value);
        return value;
    }

    template <typename Storage>
    static void set(Storage& storage, T const& value) {
        std::memcpy(place<Word, sizeof(T) / 2>(storage), &value, sizeof value);
    }
};

/// A number in the machine's own form over whole data words, as 32-bit and 64-bit IEEE
/// floats travel in the solution messages.
template <std::size_t Word, typename T>
struct MachineField : CopiedField<Word, T> {
    static_assert(std::is_arithmetic_v<T>);
    static constexpr const char* typeName() {
        if constexpr (std::is_floating_point_v<T>) {
            return sizeof(T) == 8 ? "double" : "float";
        } else if constexpr (sizeof(T) == 2) {
            return std::is_signed_v<T> ? "signed word" : "word";
        } else {
            return std::is_signed_v<T> ? "signed 32-bit" : "32-bit";
        }
    }
    static constexpr Extent extent{16 * Word, 8 * sizeof(T), typeName()};
};

/// A number in one of the formats of WireNumbers.h, by its record: `NumberField<0, OtwDECD>`.
/// A host number can be set as it is.
template <std::size_t Word, typename Number>
struct NumberField : CopiedField<Word, Number> {
    static constexpr const char* typeName() {
        if constexpr (std::is_same_v<Number, OtwDECD>) {
            return "PDP double";
        } else if constexpr (std::is_same_v<Number, OtwDECS>) {
            return "PDP float";
        } else if constexpr (std::is_same_v<Number, OtwEFLT>) {
            return "Tesk extended";
        } else {
            static_assert(std::is_same_v<Number, OtwSFLT>);
            return "Tesk float";
        }
    }
    static constexpr Extent extent{16 * Word, 8 * sizeof(Number), typeName()};
};

/// `Count` data words that belong together.
template <std::size_t Word, std::size_t Count>
struct WordsField : CopiedField<Word, std::array<std::uint16_t, Count>> {
    static constexpr Extent extent{16 * Word, 16 * Count, "words"};
};

/// `Count` bytes from byte `Byte` on, both even.
template <std::size_t Byte, std::size_t Count>
struct BytesField : CopiedField<Byte / 2, std::array<std::uint8_t, Count>> {
    static_assert(Byte % 2 == 0, "bytes begin with a word");
    static constexpr Extent extent{8 * Byte, 8 * Count, "bytes"};
};

/// `Width` characters from byte `Byte` on, both even: read up to the first NUL, written with
/// blanks behind.
template <std::size_t Byte, std::size_t Width>
struct TextField {
    static_assert(Byte % 2 == 0 && Width % 2 == 0, "text fills whole words");
    using Type = std::string;
    static constexpr Extent extent{8 * Byte, 8 * Width, "characters"};

    template <typename Storage>
    static std::string get(Storage const& storage) {
        return wiretext::get(place<Byte / 2, Width / 2>(storage), Width);
    }

    template <typename Storage>
    static void set(Storage& storage, std::string_view text) {
        wiretext::set(place<Byte / 2, Width / 2>(storage), Width, text);
    }
};

/// The same with the two bytes of each word exchanged.
template <std::size_t Byte, std::size_t Width>
struct SwappedTextField {
    static_assert(Byte % 2 == 0 && Width % 2 == 0, "text fills whole words");
    using Type = std::string;
    static constexpr Extent extent{8 * Byte, 8 * Width, "swapped characters"};

    template <typename Storage>
    static std::string get(Storage const& storage) {
        return wiretext::getSwapped(place<Byte / 2, Width / 2>(storage), Width);
    }

    template <typename Storage>
    static void set(Storage& storage, std::string_view text) {
        wiretext::setSwapped(place<Byte / 2, Width / 2>(storage), Width, text);
    }
};

/// `Count` groups of words from `Word` on, each with the fields of `Group`, which is a Record.
/// `Counter` is the field that tells how many of them a message means.
template <std::size_t Word, typename Group, std::size_t Count, typename Counter>
struct GroupField {
    static_assert(sizeof(Group) == 2 * Group::words, "a group has no members of its own");
    using Element = Group;
    using CountField = Counter;
    static constexpr std::size_t count = Count;
    static constexpr std::size_t begin = Word;
    static constexpr std::size_t words = Group::words;  ///< of one group
    static constexpr std::size_t end = Word + Count * Group::words;
    static constexpr Extent extent{16 * Word, 16 * Count* Group::words, "groups"};

    /// `index` is below `count`.
    template <typename Storage>
    static Group get(Storage const& storage, std::size_t index) {
        Group group;
        std::copy_n(at(place<Word, Count * Group::words>(storage), index), Group::words,
                    group.data.begin());
        return group;
    }

    /// `index` is below `count`.
    template <typename Storage>
    static void set(Storage& storage, std::size_t index, Group const& group) {
        std::copy(group.data.begin(), group.data.end(),
                  at(place<Word, Count * Group::words>(storage), index));
    }

private:
    template <typename Pointer>
    static Pointer at(Pointer groups, std::size_t index) {
        assert(index < Count);
        return groups + index * Group::words;
    }
};

// A field and the unit of its value: `fields::Seconds<fields::NumberField<0, OtwDECD>>`.

template <typename Field>
struct Seconds : Field {
    static constexpr char const* unit = "s";
};
template <typename Field>
struct Days : Field {
    static constexpr char const* unit = "d";
};
template <typename Field>
struct Metres : Field {
    static constexpr char const* unit = "m";
};
template <typename Field>
struct SquareMetres : Field {
    static constexpr char const* unit = "m²";
};
template <typename Field>
struct MetresPerSecond : Field {
    static constexpr char const* unit = "m/s";
};
template <typename Field>
struct SquareMetresPerSecondSquared : Field {
    static constexpr char const* unit = "m²/s²";
};
template <typename Field>
struct Radians : Field {
    static constexpr char const* unit = "rad";
};

}  // namespace fields
