#include "messages/WireNumbers.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

template <typename Record, std::size_t Bytes>
constexpr bool isPayload =
    sizeof(Record) == Bytes &&
    alignof(Record) <= alignof(std::uint16_t) && std::is_trivially_copyable_v<Record>;
static_assert(isPayload<OtwDECD, 8> && isPayload<OtwDECS, 4>);
static_assert(isPayload<OtwEFLT, 6> && isPayload<OtwSFLT, 4>);
static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == 8);
static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == 4);

namespace {

constexpr unsigned doubleFractionBits = 52;
constexpr unsigned floatFractionBits = 23;

std::uint64_t bitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

std::uint32_t bitsOf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

/// Surplus bits of `fraction` must be clear, `exponent` within 11 bits.
double makeDouble(bool negative, std::uint64_t exponent, std::uint64_t fraction) {
    const std::uint64_t bits =
        static_cast<std::uint64_t>(negative) << 63 | exponent << doubleFractionBits | fraction;
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// Surplus bits of `fraction` must be clear, `exponent` within 8 bits.
float makeFloat(bool negative, std::uint32_t exponent, std::uint32_t fraction) {
    const std::uint32_t bits =
        static_cast<std::uint32_t>(negative) << 31 | exponent << floatFractionBits | fraction;
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint16_t word(unsigned high, unsigned low) {
    return static_cast<std::uint16_t>((high & 0xFFU) << 8 | (low & 0xFFU));
}
unsigned highByte(std::uint16_t w) {
    return w >> 8U;
}
unsigned lowByte(std::uint16_t w) {
    return w & 0xFFU;
}

/// The first word of a PDP number.
std::uint16_t pdpHead(bool negative, unsigned exponent, unsigned fractionTop) {
    return static_cast<std::uint16_t>(static_cast<unsigned>(negative) << 15 | exponent << 7 |
                                      fractionTop);
}
bool pdpSign(std::uint16_t head) {
    return (head & 0x8000U) != 0;
}
unsigned pdpExponent(std::uint16_t head) {
    return head >> 7U & 0xFFU;
}
unsigned pdpFractionTop(std::uint16_t head) {
    return head & 0x7FU;
}

/// Sign and top of the fraction as the last byte of a Tesk number holds them.
unsigned teskLast(std::uint16_t head) {
    return (head >> 8U & 0x80U) | pdpFractionTop(head);
}
std::uint16_t headOfTesk(unsigned exponent, unsigned last) {
    return pdpHead((last & 0x80U) != 0, exponent, last & 0x7FU);
}

constexpr unsigned zeroExponent = 0x80;  // of the T formats

}  // namespace

double CnvPdpD2PcD(const std::uint16_t* words) {
    if (words[0] == 0 && words[1] == 0 && words[2] == 0 && words[3] == 0) {
        return 0.0;
    }
    const std::uint64_t fraction = static_cast<std::uint64_t>(pdpFractionTop(words[0])) << 48 |
                                   static_cast<std::uint64_t>(words[1]) << 32 |
                                   static_cast<std::uint64_t>(words[2]) << 16 | words[3];
    return makeDouble(pdpSign(words[0]), pdpExponent(words[0]) + 894U, fraction >> 3U);
}

float CnvPdpF2PcF(const std::uint16_t* words) {
    const unsigned exponent = pdpExponent(words[0]);
    if (exponent < 3) {
        return 0.0F;
    }
    return makeFloat(pdpSign(words[0]), exponent - 2, pdpFractionTop(words[0]) << 16U | words[1]);
}

double CnvTeskD2PcD(const std::uint16_t* words) {
    const std::array<std::uint16_t, 4> pdp{
        headOfTesk(lowByte(words[0]), highByte(words[2])),
        word(lowByte(words[2]), highByte(words[1])),
        word(lowByte(words[1]), highByte(words[0])),
        0,
    };
    return CnvPdpD2PcD(pdp.data());
}

float CnvTeskF2PcF(const std::uint16_t* words) {
    const std::array<std::uint16_t, 2> pdp{
        headOfTesk(lowByte(words[0]), highByte(words[1])),
        word(lowByte(words[1]), highByte(words[0])),
    };
    return CnvPdpF2PcF(pdp.data());
}

void cnvpcd(const double* value, std::uint16_t* words) {
    const std::uint64_t bits = bitsOf(*value);
    const bool negative = bits >> 63U != 0;
    const unsigned exponent = static_cast<unsigned>(bits >> doubleFractionBits & 0x7FFU);
    if (exponent < 895) {
        words[0] = words[1] = words[2] = words[3] = 0;
        return;
    }
    if (exponent > 1149) {
        words[0] = negative ? 0xFFFF : 0x7FFF;
        words[1] = words[2] = words[3] = 0xFFFF;
        return;
    }
    const std::uint64_t fraction = bits << 3U;  // 55 bits; those above are cut off below
    words[0] = pdpHead(negative, exponent - 894, static_cast<unsigned>(fraction >> 48U & 0x7FU));
    words[1] = static_cast<std::uint16_t>(fraction >> 32U);
    words[2] = static_cast<std::uint16_t>(fraction >> 16U);
    words[3] = static_cast<std::uint16_t>(fraction);
}

void cnvpcs(const float* value, std::uint16_t* words) {
    const std::uint32_t bits = bitsOf(*value);
    const bool negative = bits >> 31U != 0;
    const unsigned exponent = bits >> floatFractionBits & 0xFFU;
    if (exponent < 2) {
        words[0] = words[1] = 0;
        return;
    }
    if (exponent > 253) {
        words[0] = negative ? 0xFFFF : 0x7FFF;
        words[1] = 0xFFFF;
        return;
    }
    words[0] = pdpHead(negative, exponent + 2, bits >> 16U & 0x7FU);
    words[1] = static_cast<std::uint16_t>(bits);
}

void CnvPcD2TeskE(const double* value, std::uint16_t* words) {
    std::array<std::uint16_t, 4> pdp{};
    cnvpcd(value, pdp.data());
    words[0] = word(lowByte(pdp[2]), pdpExponent(pdp[0]));
    words[1] = word(lowByte(pdp[1]), highByte(pdp[2]));
    words[2] = word(teskLast(pdp[0]), highByte(pdp[1]));
}

void CnvPcF2TeskF(const float* value, std::uint16_t* words) {
    std::array<std::uint16_t, 2> pdp{};
    cnvpcs(value, pdp.data());
    words[0] = word(lowByte(pdp[1]), pdpExponent(pdp[0]));
    words[1] = word(teskLast(pdp[0]), highByte(pdp[1]));
}

double cnvte(const std::uint16_t* words) {
    const unsigned exponent = highByte(words[3]);
    if (exponent == zeroExponent) {
        return 0.0;
    }
    const std::uint32_t mantissa =
        lowByte(words[3]) << 24U | lowByte(words[1]) << 16U | static_cast<unsigned>(words[0]);
    const bool negative = mantissa >> 31U != 0;
    // Negated as unsigned: the most negative mantissa stays itself, with a fraction of 0.
    const std::uint32_t magnitude = negative ? 0U - mantissa : mantissa;
    const std::uint64_t fraction = magnitude & 0x7FFFFFFFU;
    // The exponent byte is signed: adding 128 modulo 256 makes it an offset.
    const unsigned biased = ((exponent + 128U) & 0xFFU) + (1023U - 128U);
    return makeDouble(negative, biased, fraction << (doubleFractionBits - 31U));
}

float cnvts(const std::uint16_t* words) {
    const unsigned exponent = highByte(words[1]);
    if (exponent == zeroExponent) {
        return 0.0F;
    }
    const std::uint32_t mantissa = lowByte(words[1]) << 16U | static_cast<unsigned>(words[0]);
    const bool negative = mantissa >> 23U != 0;
    // Negated as unsigned: the most negative mantissa stays itself, with a fraction of 0.
    const std::uint32_t magnitude = negative ? 0U - mantissa : mantissa;
    return makeFloat(negative, (exponent + 127U) & 0xFFU, magnitude & 0x7FFFFFU);
}

void cnvten(const std::uint16_t* words, double* value) {
    *value = cnvte(words);
}

void cnvtsn(const std::uint16_t* words, float* value) {
    *value = cnvts(words);
}

std::uint16_t u16swap(std::uint16_t* word16) {
    *word16 = word(lowByte(*word16), highByte(*word16));
    return *word16;
}

void lswap(std::uint32_t* value) {
    *value = *value << 16U | *value >> 16U;
}

void MSW16_LSW16_swap(std::uint8_t* bytes) {
    std::swap(bytes[0], bytes[2]);
    std::swap(bytes[1], bytes[3]);
}

void ByteSwap(std::uint16_t* words, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        u16swap(&words[i]);
    }
}

int flushZero(std::uint8_t* bytes, std::size_t length) {
    // Volatile: every byte is really written and read back.
    volatile std::uint8_t* const memory = bytes;
    constexpr std::array<std::uint8_t, 3> patterns{0x55, 0xAA, 0x55};
    for (const std::uint8_t pattern : patterns) {
        for (std::size_t i = 0; i < length; ++i) {
            memory[i] = pattern;
        }
        for (std::size_t i = 0; i < length; ++i) {
            if (memory[i] != pattern) {
                return 1;
            }
        }
    }
    return 0;
}

unsigned FromNBCD(std::uint64_t value) {
    unsigned number = 0;
    unsigned weight = 1;
    for (unsigned place = 0; place < 3; ++place) {
        const unsigned digit = static_cast<unsigned>(value >> (4U * place) & 0xFU);
        number += digit > 9 ? 0 : digit * weight;
        weight *= 10;
    }
    if (value < 0xA000U) {
        number += static_cast<unsigned>(value >> 12U) * weight;
    }
    return number;
}

std::uint64_t ToNBCD(std::uint64_t value) {
    if (value > 9999) {
        return value;
    }
    return value / 1000 << 12U | value / 100 % 10 << 8U | value / 10 % 10 << 4U | value % 10;
}

double DirectionRadiansFromVelocity(double north, double east) {
    constexpr double fullCircle = 6.283185307179586;
    double direction = std::atan2(east, north);
    if (direction < 0) {
        direction += fullCircle;
    }
    // A hair west of north rounds up to the full circle; adding 0 clears the sign of a zero.
    return direction >= fullCircle ? 0.0 : direction + 0.0;
}

float DirectionRadiansFromVelocityF(float north, float east) {
    constexpr float fullCircle = 6.2831853F;
    const auto direction = static_cast<float>(DirectionRadiansFromVelocity(north, east));
    return direction >= fullCircle ? 0.0F : direction;
}

SecondsNanoseconds ToSecondsNanoseconds(double time) {
    constexpr double limit = 9223372036854775808.0;  // 2^63
    if (std::isnan(time)) {
        return {0, 0};
    }
    if (time >= limit) {
        return {std::numeric_limits<std::int64_t>::max(), 999'999'999};
    }
    if (time < -limit) {
        return {std::numeric_limits<std::int64_t>::min(), 0};
    }
    const double whole = std::floor(time);
    SecondsNanoseconds result{static_cast<std::int64_t>(whole),
                              static_cast<std::int32_t>(std::lround((time - whole) * 1e9))};
    if (result.nanoseconds == 1'000'000'000) {
        ++result.seconds;  // no overflow: numbers with a fraction are far below the limit
        result.nanoseconds = 0;
    }
    return result;
}

float NarrowToFloat(double value) {
    constexpr double largest = std::numeric_limits<float>::max();
    if (std::isnan(value)) {
        return std::numeric_limits<float>::quiet_NaN();
    }
    if (std::abs(value) > largest) {
        return std::copysign(std::numeric_limits<float>::infinity(), value > 0 ? 1.0F : -1.0F);
    }
    return static_cast<float>(value);
}

std::array<std::uint8_t, 4> OtwSFLT::AsTeskFloat() const {
    return {static_cast<std::uint8_t>(lowByte(words_[0])),
            static_cast<std::uint8_t>(highByte(words_[0])),
            static_cast<std::uint8_t>(lowByte(words_[1])),
            static_cast<std::uint8_t>(highByte(words_[1]))};
}
