#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

/// Declared layouts: every field of a message is named once, with its place and width, and
/// nothing else knows a word number. A field works on the whole frame of its message, an
/// array of five header words, the data words and the data checksum; a field that reaches
/// outside the data words does not compile.
///
/// Word 0 is the first data word. Bit 0 is the least significant bit.
namespace fields {

constexpr std::size_t headerWords = 5;

template <std::size_t words>
using Frame = std::array<std::uint16_t, headerWords + words + 1>;

/// Bits `Low` to `Low + Width - 1` of one data word; a set leaves the other bits alone.
template <std::size_t Word, unsigned Low, unsigned Width>
struct BitField {
    static_assert(Width > 0 && Low + Width <= 16, "a bit field lies within one word");
    using Type = std::uint16_t;
    static constexpr std::uint16_t mask = static_cast<std::uint16_t>(((1U << Width) - 1U) << Low);

    template <std::size_t N>
    static std::uint16_t get(std::array<std::uint16_t, N> const& frame) {
        static_assert(headerWords + Word < N - 1, "the field lies outside the data words");
        return static_cast<std::uint16_t>((frame[headerWords + Word] & mask) >> Low);
    }

    template <std::size_t N>
    static void set(std::array<std::uint16_t, N>& frame, std::uint16_t value) {
        static_assert(headerWords + Word < N - 1, "the field lies outside the data words");
        std::uint16_t& word = frame[headerWords + Word];
        word = static_cast<std::uint16_t>((word & ~mask) | ((value << Low) & mask));
    }
};

/// One whole data word.
template <std::size_t Word>
using WordField = BitField<Word, 0, 16>;

/// A number in the machine's own form over whole data words, as 32-bit and 64-bit IEEE
/// floats travel in the solution messages.
template <std::size_t Word, typename T>
struct MachineField {
    static_assert(std::is_arithmetic_v<T> && sizeof(T) % 2 == 0);
    using Type = T;

    template <std::size_t N>
    static T get(std::array<std::uint16_t, N> const& frame) {
        static_assert(headerWords + Word + sizeof(T) / 2 <= N - 1,
                      "the field lies outside the data words");
        T value;
        std::memcpy(&value, &frame[headerWords + Word], sizeof value);
        return value;
    }

    template <std::size_t N>
    static void set(std::array<std::uint16_t, N>& frame, T value) {
        static_assert(headerWords + Word + sizeof(T) / 2 <= N - 1,
                      "the field lies outside the data words");
        std::memcpy(&frame[headerWords + Word], &value, sizeof value);
    }
};

}  // namespace fields
