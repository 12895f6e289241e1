#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The number formats of GSSIP payloads (ICD-GPS-153), which come from processors older than
/// IEEE 754. All work on the frame's 16-bit data words, in the frame's order; "byte 0" of a word
/// is its low byte, which travels first.
///
/// PDP double (4 words) and PDP float (the first 2): sign s, exponent e, fraction f. The value is
/// (-1)^s * 0.1f * 2^(e - 128), with a hidden leading 1; all words 0 is zero.
///
///              15 14        7 6         0
///    word 0   | s |    e     | f, top 7 |
///    word 1.. |   f, most significant   |
///
/// Tesk extended (3 words, 6 bytes) and Tesk float (2 words, 4 bytes): the same value rule, with
/// 39 and 23 bits of fraction.
///
///    byte 0   | e                       |
///    byte 1.. | f, lowest byte first    |
///    last     | s | f, top 7            |
///
/// T single (2 words) and T double (4 words): a signed exponent e, and a two's complement mantissa
/// m of 24 or 32 bits, whose bits below the sign are the fraction behind a leading 1. An e of
/// 0x80 means zero.
///
///                T single                  T double
///    word 0   | m, low 16            |  | m, low 16          |
///    word 1   | e         | m, top 8 |  | -        | m, next 8 |
///    word 2                             | not used            |
///    word 3                             | e        | m, top 8  |
///
/// Nothing here fails, reports, locks or keeps state. A pointer names as many words as its format
/// has; input and output may not overlap.

/// The low three bits of the fraction are dropped, not rounded.
double CnvPdpD2PcD(const std::uint16_t* words);
/// Exponents below 3, which IEEE 754 single cannot hold as normal numbers, give 0.
float CnvPdpF2PcF(const std::uint16_t* words);
double CnvTeskD2PcD(const std::uint16_t* words);
float CnvTeskF2PcF(const std::uint16_t* words);

/// Values too small for the format, and zero, become zero without sign. Values too large,
/// infinities and NaN become the largest value, with the sign.
void cnvpcd(const double* value, std::uint16_t* words);
void cnvpcs(const float* value, std::uint16_t* words);
/// As cnvpcd, then cut (not rounded) to 39 bits of fraction.
void CnvPcD2TeskE(const double* value, std::uint16_t* words);
void CnvPcF2TeskF(const float* value, std::uint16_t* words);

double cnvte(const std::uint16_t* words);
float cnvts(const std::uint16_t* words);
void cnvten(const std::uint16_t* words, double* value);
void cnvtsn(const std::uint16_t* words, float* value);

/// Swaps the two bytes in place and returns the result.
std::uint16_t u16swap(std::uint16_t* word);
/// Swaps the two 16-bit halves in place.
void lswap(std::uint32_t* value);
/// Exchanges bytes 0 and 1 with bytes 2 and 3 in place.
void MSW16_LSW16_swap(std::uint8_t* bytes);
/// u16swap on `count` words.
void ByteSwap(std::uint16_t* words, std::size_t count);

/// A memory test: fills with 0x55, 0xAA and 0x55 and reads each back. Returns 0 on success, with
/// 0x55 in all of the memory, and 1 at the first wrong byte.
int flushZero(std::uint8_t* bytes, std::size_t length);

/// Four decimal digits, one in each nibble, the lowest in the lowest nibble, to a number. A
/// nibble above 9 in the three low places counts as 0; the top one counts unless `value` is
/// 40960 (0xA000) or more.
unsigned FromNBCD(std::uint64_t value);
/// The reverse for 1 to 9999; any other value is returned as it stands.
std::uint64_t ToNBCD(std::uint64_t value);

/// The direction of a horizontal velocity: radians from north over east, in [0, 2 pi). No
/// velocity has the direction 0; NaN in either gives NaN.
double DirectionRadiansFromVelocity(double north, double east);
float DirectionRadiansFromVelocityF(float north, float east);

struct SecondsNanoseconds {
    std::int64_t seconds;
    std::int32_t nanoseconds;  ///< 0 to 999,999,999, for negative times too
};

/// A time in seconds to the nearest nanosecond. NaN gives 0, a time beyond 64 bits the end of
/// the range.
SecondsNanoseconds ToSecondsNanoseconds(double time);

/// The nearest float, also where the language leaves the result open: what lies beyond the largest
/// float becomes an infinity, and NaN stays NaN.
float NarrowToFloat(double value);

/// The records that stand for one number in a payload: exactly its words, without padding.
class OtwDECD {
public:
    OtwDECD() = default;
    // Not explicit, in any of the records: they stand where a number is meant.
    OtwDECD(double value) { cnvpcd(&value, words_.data()); }
    /// Four words as they came, unchanged.
    explicit OtwDECD(const std::array<std::uint16_t, 4>& words) : words_(words) {}
    OtwDECD& operator=(double value) {
        cnvpcd(&value, words_.data());
        return *this;
    }

    double AsDouble() const { return CnvPdpD2PcD(words_.data()); }
    const std::array<std::uint16_t, 4>& words() const { return words_; }

private:
    std::array<std::uint16_t, 4> words_{};
};

class OtwDECS {
public:
    OtwDECS() = default;
    OtwDECS(float value) { cnvpcs(&value, words_.data()); }
    OtwDECS& operator=(float value) {
        cnvpcs(&value, words_.data());
        return *this;
    }

    float AsFloat() const { return CnvPdpF2PcF(words_.data()); }
    const std::array<std::uint16_t, 2>& words() const { return words_; }

private:
    std::array<std::uint16_t, 2> words_{};
};

class OtwEFLT {
public:
    OtwEFLT() = default;
    OtwEFLT(double value) { CnvPcD2TeskE(&value, words_.data()); }
    OtwEFLT& operator=(double value) {
        CnvPcD2TeskE(&value, words_.data());
        return *this;
    }

    double AsDouble() const { return CnvTeskD2PcD(words_.data()); }
    const std::array<std::uint16_t, 3>& words() const { return words_; }

private:
    std::array<std::uint16_t, 3> words_{};
};

class OtwSFLT {
public:
    OtwSFLT() = default;
    OtwSFLT(float value) { CnvPcF2TeskF(&value, words_.data()); }
    OtwSFLT& operator=(float value) {
        CnvPcF2TeskF(&value, words_.data());
        return *this;
    }

    float AsFloat() const { return CnvTeskF2PcF(words_.data()); }
    /// The four bytes in the order of the wire.
    std::array<std::uint8_t, 4> AsTeskFloat() const;
    const std::array<std::uint16_t, 2>& words() const { return words_; }

private:
    std::array<std::uint16_t, 2> words_{};
};
