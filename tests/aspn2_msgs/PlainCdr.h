#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/aspn2_msgs/RecordFields.h"

namespace records {

/// Writes CDR by the book and in the simplest way: each number at a multiple of its size, counted
/// from behind the encapsulation, zeroes in the gaps. The other opinion beside Fast CDR.
class PlainCdr {
public:
    explicit PlainCdr(bool bigEndian = false) : bigEndian_(bigEndian) {
        bytes_ = {0, static_cast<std::uint8_t>(bigEndian ? 0 : 1), 0, 0};
    }

    std::vector<std::uint8_t> const& bytes() const { return bytes_; }

    /// Places of the boolean bytes.
    std::vector<std::size_t> const& booleans() const { return booleans_; }

    template <class T>
    void operator()(T const& value) {
        if constexpr (IsRecord<T>::value) {
            forEachField(value, [this](auto const& field) { (*this)(field); });
        } else if constexpr (std::is_same_v<T, bool>) {
            booleans_.push_back(bytes_.size());
            bytes_.push_back(value ? 1 : 0);
        } else {
            static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
            static_assert(!std::is_enum_v<T> || sizeof(T) == 4);
            number(value);
        }
    }

    template <class T, std::size_t N>
    void operator()(std::array<T, N> const& values) {
        for (T const& value : values) {
            (*this)(value);
        }
    }

    template <class T>
    void operator()(std::vector<T> const& values) {
        number(static_cast<std::uint32_t>(values.size()));
        for (T const& value : values) {
            (*this)(value);
        }
    }

    /// A text ends at its first zero, as C strings do.
    void operator()(std::string const& text) {
        std::string const shown = text.c_str();
        number(static_cast<std::uint32_t>(shown.size() + 1));
        bytes_.insert(bytes_.end(), shown.begin(), shown.end());
        bytes_.push_back(0);
    }

private:
    template <class T>
    void number(T value) {
        while ((bytes_.size() - 4) % sizeof(T) != 0) {
            bytes_.push_back(0);
        }
        std::array<std::uint8_t, sizeof(T)> raw{};
        std::memcpy(raw.data(), &value, sizeof(T));  // low byte first on every machine we build for
        if (bigEndian_) {
            bytes_.insert(bytes_.end(), raw.rbegin(), raw.rend());
        } else {
            bytes_.insert(bytes_.end(), raw.begin(), raw.end());
        }
    }

    bool bigEndian_;
    std::vector<std::uint8_t> bytes_;
    std::vector<std::size_t> booleans_;
};

/// Fills every field with a value of its own; sequences get `elements` elements and texts
/// `characters` characters.
class Fill {
public:
    Fill(std::size_t elements, std::size_t characters)
        : elements_(elements), characters_(characters) {}

    template <class T>
    void operator()(T& value) {
        if constexpr (IsRecord<T>::value) {
            forEachField(value, [this](auto& field) { (*this)(field); });
        } else if constexpr (std::is_same_v<T, bool>) {
            value = (++next_ % 2) == 0;
        } else if constexpr (std::is_enum_v<T>) {
            value = static_cast<T>(++next_ % 3);
        } else if constexpr (std::is_floating_point_v<T>) {
            value = static_cast<T>(++next_) + T(0.25);
        } else if constexpr (sizeof(T) == 1) {
            value = static_cast<T>(++next_);
        } else {
            value = -static_cast<T>(++next_) * 100003;
        }
    }

    template <class T, std::size_t N>
    void operator()(std::array<T, N>& values) {
        for (T& value : values) {
            (*this)(value);
        }
    }

    template <class T>
    void operator()(std::vector<T>& values) {
        values.resize(elements_);
        for (T& value : values) {
            (*this)(value);
        }
    }

    void operator()(std::string& text) { text.assign(characters_, 'x'); }

private:
    std::size_t elements_;
    std::size_t characters_;
    int next_ = 0;
};

template <class T>
T filled(std::size_t elements = 3, std::size_t characters = 9) {
    T record;
    Fill(elements, characters)(record);
    return record;
}

template <class T>
std::vector<std::uint8_t> encoded(T const& record, bool bigEndian = false) {
    PlainCdr cdr(bigEndian);
    cdr(record);
    return cdr.bytes();
}

/// How many elements and characters a record's sequences and texts hold.
class CountElements {
public:
    std::size_t count() const { return count_; }

    template <class T>
    void operator()(T const& value) {
        if constexpr (IsRecord<T>::value) {
            forEachField(value, [this](auto const& field) { (*this)(field); });
        }
    }
    template <class T>
    void operator()(std::vector<T> const& values) {
        count_ += values.capacity();
    }
    void operator()(std::string const& text) { count_ += text.size(); }

private:
    std::size_t count_ = 0;
};

}  // namespace records
