#pragma once

#include <cstdint>

namespace FACE::IOSS {

/// The value of one I/O parameter: a tag and a place of its own for each alternative, so that a
/// value set earlier under another tag stays where it is. A fresh one is a short_value of 0.
///
/// Each alternative has three forms: `x_value(v)` stores and sets the tag; `x_value()` sets the
/// tag and gives the place to write to; `x_value(v, code)` reads, and with another tag gives
/// TAG_MISMATCH and leaves `v` as it was.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order of the tags
class IO_PARAMETER_VALUE_TYPE {
public:
    enum RETURN_CODE : std::int32_t { NO_ERROR = 0, TAG_MISMATCH = 1 };

    /// What `descriminator` gives for each alternative.
    enum TAG : std::uint32_t {
        SHORT_VALUE = 0,
        LONG_VALUE = 1,
        LONGLONG_VALUE = 2,
        USHORT_VALUE = 3,
        ULONG_VALUE = 4,
        ULONGLONG_VALUE = 5,
        FLOAT_VALUE = 6,
        DOUBLE_VALUE = 7,
        LONGDOUBLE_VALUE = 8,
        CHAR_VALUE = 9,
        BOOLEAN_VALUE = 10,
        OCTET_VALUE = 11
    };

    std::uint32_t descriminator() const noexcept { return tag_; }

    void short_value(std::int16_t v) noexcept { short_value() = v; }
    std::int16_t& short_value() noexcept { return select(SHORT_VALUE, short_); }
    void short_value(std::int16_t& v, RETURN_CODE& code) const noexcept {
        read(SHORT_VALUE, short_, v, code);
    }

    void long_value(std::int32_t v) noexcept { long_value() = v; }
    std::int32_t& long_value() noexcept { return select(LONG_VALUE, long_); }
    void long_value(std::int32_t& v, RETURN_CODE& code) const noexcept {
        read(LONG_VALUE, long_, v, code);
    }

    void longlong_value(std::int64_t v) noexcept { longlong_value() = v; }
    std::int64_t& longlong_value() noexcept { return select(LONGLONG_VALUE, longlong_); }
    void longlong_value(std::int64_t& v, RETURN_CODE& code) const noexcept {
        read(LONGLONG_VALUE, longlong_, v, code);
    }

    void ushort_value(std::uint16_t v) noexcept { ushort_value() = v; }
    std::uint16_t& ushort_value() noexcept { return select(USHORT_VALUE, ushort_); }
    void ushort_value(std::uint16_t& v, RETURN_CODE& code) const noexcept {
        read(USHORT_VALUE, ushort_, v, code);
    }

    void ulong_value(std::uint32_t v) noexcept { ulong_value() = v; }
    std::uint32_t& ulong_value() noexcept { return select(ULONG_VALUE, ulong_); }
    void ulong_value(std::uint32_t& v, RETURN_CODE& code) const noexcept {
        read(ULONG_VALUE, ulong_, v, code);
    }

    void ulonglong_value(std::uint64_t v) noexcept { ulonglong_value() = v; }
    std::uint64_t& ulonglong_value() noexcept { return select(ULONGLONG_VALUE, ulonglong_); }
    void ulonglong_value(std::uint64_t& v, RETURN_CODE& code) const noexcept {
        read(ULONGLONG_VALUE, ulonglong_, v, code);
    }

    void float_value(float v) noexcept { float_value() = v; }
    float& float_value() noexcept { return select(FLOAT_VALUE, float_); }
    void float_value(float& v, RETURN_CODE& code) const noexcept {
        read(FLOAT_VALUE, float_, v, code);
    }

    void double_value(double v) noexcept { double_value() = v; }
    double& double_value() noexcept { return select(DOUBLE_VALUE, double_); }
    void double_value(double& v, RETURN_CODE& code) const noexcept {
        read(DOUBLE_VALUE, double_, v, code);
    }

    void longdouble_value(long double v) noexcept { longdouble_value() = v; }
    long double& longdouble_value() noexcept { return select(LONGDOUBLE_VALUE, longdouble_); }
    void longdouble_value(long double& v, RETURN_CODE& code) const noexcept {
        read(LONGDOUBLE_VALUE, longdouble_, v, code);
    }

    void char_value(std::int8_t v) noexcept { char_value() = v; }
    std::int8_t& char_value() noexcept { return select(CHAR_VALUE, char_); }
    void char_value(std::int8_t& v, RETURN_CODE& code) const noexcept {
        read(CHAR_VALUE, char_, v, code);
    }

    void boolean_value(bool v) noexcept { boolean_value() = v; }
    bool& boolean_value() noexcept { return select(BOOLEAN_VALUE, boolean_); }
    void boolean_value(bool& v, RETURN_CODE& code) const noexcept {
        read(BOOLEAN_VALUE, boolean_, v, code);
    }

    void octet_value(std::uint8_t v) noexcept { octet_value() = v; }
    std::uint8_t& octet_value() noexcept { return select(OCTET_VALUE, octet_); }
    void octet_value(std::uint8_t& v, RETURN_CODE& code) const noexcept {
        read(OCTET_VALUE, octet_, v, code);
    }

private:
    template <class V>
    V& select(TAG tag, V& place) noexcept {
        tag_ = tag;
        return place;
    }

    template <class V>
    void read(TAG tag, V place, V& value, RETURN_CODE& code) const noexcept {
        if (tag_ != tag) {
            code = TAG_MISMATCH;
            return;
        }
        value = place;
        code = NO_ERROR;
    }

    std::uint32_t tag_ = SHORT_VALUE;
    std::int16_t short_ = 0;
    std::int32_t long_ = 0;
    std::int64_t longlong_ = 0;
    std::uint16_t ushort_ = 0;
    std::uint32_t ulong_ = 0;
    std::uint64_t ulonglong_ = 0;
    float float_ = 0;
    double double_ = 0;
    long double longdouble_ = 0;
    std::int8_t char_ = 0;
    bool boolean_ = false;
    std::uint8_t octet_ = 0;
};

}  // namespace FACE::IOSS
