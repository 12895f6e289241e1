#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <limits>
#include <random>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "messages/WireNumbers.h"

using testing::Each;
using testing::ElementsAre;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double pi = 3.141592653589793;  // 0x400921FB54442D18
constexpr float piF = 3.1415927F;         // 0x40490FDB
constexpr double twoPi = 6.283185307179586;

// The functions under test behind one shape: value in, words out. Words begin as 0xEEEE, and
// one more of them than the format has must stay so.

template <std::size_t N, typename Value>
std::array<std::uint16_t, N> encoded(void (*convert)(const Value*, std::uint16_t*), Value value) {
    std::array<std::uint16_t, N + 1> words;
    words.fill(0xEEEE);
    convert(&value, words.data());
    EXPECT_EQ(words[N], 0xEEEE) << "a word behind the number was written";
    std::array<std::uint16_t, N> result;
    std::copy_n(words.begin(), N, result.begin());
    return result;
}
auto pdpDouble(double value) {
    return encoded<4, double>(cnvpcd, value);
}
auto pdpFloat(float value) {
    return encoded<2, float>(cnvpcs, value);
}
auto teskExtended(double value) {
    return encoded<3, double>(CnvPcD2TeskE, value);
}
auto teskFloat(float value) {
    return encoded<2, float>(CnvPcF2TeskF, value);
}

template <std::size_t N, typename Value>
Value decoded(Value (*convert)(const std::uint16_t*), std::array<std::uint16_t, N> words) {
    return convert(words.data());
}
double fromPdpDouble(std::array<std::uint16_t, 4> w) {
    return decoded(CnvPdpD2PcD, w);
}
float fromPdpFloat(std::array<std::uint16_t, 2> w) {
    return decoded(CnvPdpF2PcF, w);
}
double fromTeskExtended(std::array<std::uint16_t, 3> w) {
    return decoded(CnvTeskD2PcD, w);
}
float fromTeskFloat(std::array<std::uint16_t, 2> w) {
    return decoded(CnvTeskF2PcF, w);
}
double fromTDouble(std::array<std::uint16_t, 4> w) {
    return decoded(cnvte, w);
}
float fromTSingle(std::array<std::uint16_t, 2> w) {
    return decoded(cnvts, w);
}

double doubleOf(std::uint64_t bits) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}
float floatOf(std::uint32_t bits) {
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// An IEEE number of the given parts.
double doubleOf(std::uint64_t sign, std::uint64_t exponent, std::uint64_t fraction) {
    return doubleOf(sign << 63 | exponent << 52 | fraction);
}
float floatOf(std::uint32_t sign, std::uint32_t exponent, std::uint32_t fraction) {
    return floatOf(sign << 31 | exponent << 23 | fraction);
}

constexpr std::uint64_t fraction52 = 0xFFFFFFFFFFFFF;
constexpr std::uint32_t fraction23 = 0x7FFFFF;

}  // namespace

// ---- PDP double

TEST(PdpDouble, OfOneHasExponent129) {
    EXPECT_THAT(pdpDouble(1.0), ElementsAre(0x4080, 0, 0, 0));
    EXPECT_EQ(fromPdpDouble({0x4080, 0, 0, 0}), 1.0);
}

TEST(PdpDouble, OfPiHasItsFractionMostSignificantFirst) {
    EXPECT_THAT(pdpDouble(pi), ElementsAre(0x4149, 0x0FDA, 0xA221, 0x68C0));
    EXPECT_EQ(fromPdpDouble({0x4149, 0x0FDA, 0xA221, 0x68C0}), pi);
}

TEST(PdpDouble, CarriesTheSign) {
    EXPECT_THAT(pdpDouble(-0.5), ElementsAre(0xC000, 0, 0, 0));
    EXPECT_EQ(fromPdpDouble({0xC000, 0, 0, 0}), -0.5);
}

TEST(PdpDouble, OfZeroIsZeroAndLosesTheSign) {
    EXPECT_THAT(pdpDouble(0.0), Each(0));
    EXPECT_THAT(pdpDouble(-0.0), Each(0));
    EXPECT_EQ(fromPdpDouble({0, 0, 0, 0}), 0.0);
    EXPECT_FALSE(std::signbit(fromPdpDouble({0, 0, 0, 0})));
}

TEST(PdpDouble, OfTooLargeAValueIsTheLargestWithTheSign) {
    const auto positive = ElementsAre(0x7FFF, 0xFFFF, 0xFFFF, 0xFFFF);
    EXPECT_THAT(pdpDouble(1e300), positive);
    EXPECT_THAT(pdpDouble(infinity), positive);
    EXPECT_THAT(pdpDouble(std::copysign(notANumber, 1.0)), positive);
    EXPECT_THAT(pdpDouble(doubleOf(0, 1150, 0)), positive);
    EXPECT_THAT(pdpDouble(-1e300), Each(0xFFFF));
    EXPECT_THAT(pdpDouble(-infinity), Each(0xFFFF));
    EXPECT_THAT(pdpDouble(std::copysign(notANumber, -1.0)), Each(0xFFFF));
}

TEST(PdpDouble, ReachesUpToTheIeeeExponent1149) {
    EXPECT_THAT(pdpDouble(doubleOf(0, 1149, fraction52)),
                ElementsAre(0x7FFF, 0xFFFF, 0xFFFF, 0xFFF8));
    EXPECT_THAT(pdpDouble(doubleOf(1, 1149, 0)), ElementsAre(0xFF80, 0, 0, 0));
}

TEST(PdpDouble, ReachesDownToTheIeeeExponent895) {
    EXPECT_THAT(pdpDouble(doubleOf(0, 895, 0)), ElementsAre(0x0080, 0, 0, 0));
    EXPECT_THAT(pdpDouble(doubleOf(1, 895, 1)), ElementsAre(0x8080, 0, 0, 0x0008));
    EXPECT_THAT(pdpDouble(doubleOf(0, 894, fraction52)), Each(0));
    EXPECT_THAT(pdpDouble(doubleOf(1, 894, fraction52)), Each(0));
    EXPECT_THAT(pdpDouble(std::numeric_limits<double>::denorm_min()), Each(0));
}

TEST(PdpDouble, DropsTheLowThreeBitsWithoutRounding) {
    EXPECT_EQ(fromPdpDouble({0x4080, 0, 0, 7}), 1.0);
    EXPECT_EQ(fromPdpDouble({0x4080, 0, 0, 8}), 1.0 + std::ldexp(1.0, -52));
    EXPECT_EQ(fromPdpDouble({0x4080, 0, 0, 15}), 1.0 + std::ldexp(1.0, -52));
}

TEST(PdpDouble, OfExponentZeroIsANumberUnlessAllIsZero) {
    EXPECT_EQ(fromPdpDouble({0, 0, 0, 1}), doubleOf(0, 894, 0));
    EXPECT_EQ(fromPdpDouble({0x8000, 0, 0, 0}), doubleOf(1, 894, 0));
    EXPECT_EQ(fromPdpDouble({0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}), doubleOf(1, 1149, fraction52));
}

TEST(PdpDouble, GivesEveryValueInItsRangeBackExactly) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 100000; ++i) {
        const double value = doubleOf(random() & 1, 895 + random() % 255, random() & fraction52);
        ASSERT_EQ(fromPdpDouble(pdpDouble(value)), value);
    }
}

// ---- PDP float

TEST(PdpFloat, OfOneHasExponent129) {
    EXPECT_THAT(pdpFloat(1.0F), ElementsAre(0x4080, 0));
    EXPECT_EQ(fromPdpFloat({0x4080, 0}), 1.0F);
}

TEST(PdpFloat, OfPiHasItsFractionMostSignificantFirst) {
    EXPECT_THAT(pdpFloat(-piF), ElementsAre(0xC149, 0x0FDB));
    EXPECT_EQ(fromPdpFloat({0xC149, 0x0FDB}), -piF);
}

TEST(PdpFloat, OfExponentBelowThreeIsZeroWhateverTheFraction) {
    EXPECT_EQ(fromPdpFloat({0x0100, 0}), 0.0F);
    EXPECT_EQ(fromPdpFloat({0x017F, 0xFFFF}), 0.0F);
    EXPECT_EQ(fromPdpFloat({0x817F, 0xFFFF}), 0.0F);
    EXPECT_EQ(fromPdpFloat({0, 0}), 0.0F);
    EXPECT_EQ(fromPdpFloat({0x0180, 0}), floatOf(0, 1, 0)) << "3 is the lowest that counts";
}

TEST(PdpFloat, OfIeeeExponentZeroOrOneIsZero) {
    EXPECT_THAT(pdpFloat(0.0F), Each(0));
    EXPECT_THAT(pdpFloat(-0.0F), Each(0));
    EXPECT_THAT(pdpFloat(floatOf(1, 0, fraction23)), Each(0));
    EXPECT_THAT(pdpFloat(floatOf(1, 1, fraction23)), Each(0));
    EXPECT_THAT(pdpFloat(floatOf(1, 2, 1)), ElementsAre(0x8200, 1));
}

TEST(PdpFloat, OfIeeeExponent254Or255IsTheLargestWithTheSign) {
    EXPECT_THAT(pdpFloat(floatOf(0, 254, 0)), ElementsAre(0x7FFF, 0xFFFF));
    EXPECT_THAT(pdpFloat(floatOf(1, 254, 0)), ElementsAre(0xFFFF, 0xFFFF));
    EXPECT_THAT(pdpFloat(std::numeric_limits<float>::infinity()), ElementsAre(0x7FFF, 0xFFFF));
    EXPECT_THAT(pdpFloat(floatOf(1, 255, 1)), ElementsAre(0xFFFF, 0xFFFF));
    EXPECT_THAT(pdpFloat(floatOf(0, 253, fraction23)), ElementsAre(0x7FFF, 0xFFFF));
    EXPECT_THAT(pdpFloat(floatOf(0, 253, 0)), ElementsAre(0x7F80, 0));
}

TEST(PdpFloat, GivesEveryValueInItsRangeBackExactly) {
    std::mt19937 random(2);
    for (int i = 0; i < 100000; ++i) {
        const float value = floatOf(static_cast<std::uint32_t>(random() & 1),
                                    static_cast<std::uint32_t>(2 + random() % 252),
                                    static_cast<std::uint32_t>(random() & fraction23));
        ASSERT_EQ(fromPdpFloat(pdpFloat(value)), value);
    }
}

// ---- Tesk extended

TEST(TeskExtended, OfPiHasExponentFirstAndFractionLowestByteFirst) {
    // bytes 82 21 A2 DA 0F 49
    EXPECT_THAT(teskExtended(pi), ElementsAre(0x2182, 0xDAA2, 0x490F));
    // the same fraction cut to 39 bits: 49 0F DA A2 21
    EXPECT_EQ(fromTeskExtended({0x2182, 0xDAA2, 0x490F}), doubleOf(0, 1024, 0x921FB54442000));
}

TEST(TeskExtended, OfMinusOneHasItsSignInTheLastByte) {
    EXPECT_THAT(teskExtended(-1.0), ElementsAre(0x0081, 0x0000, 0x8000));
    EXPECT_EQ(fromTeskExtended({0x0081, 0x0000, 0x8000}), -1.0);
}

TEST(TeskExtended, CutsTheFractionWithoutRounding) {
    const double onlyBelow = doubleOf(0, 1023, 0x1FFF);  // all thirteen bits that do not fit
    EXPECT_THAT(teskExtended(onlyBelow), ElementsAre(0x0081, 0, 0));
    EXPECT_EQ(fromTeskExtended(teskExtended(doubleOf(1, 1000, fraction52))),
              doubleOf(1, 1000, fraction52 & ~std::uint64_t{0x1FFF}));
}

TEST(TeskExtended, IsZeroOrTheLargestOutsideItsRange) {
    EXPECT_THAT(teskExtended(0.0), Each(0));
    EXPECT_THAT(teskExtended(-1e-300), Each(0));
    EXPECT_THAT(teskExtended(1e300), ElementsAre(0xFFFF, 0xFFFF, 0x7FFF));
    EXPECT_THAT(teskExtended(-infinity), Each(0xFFFF));
    EXPECT_EQ(fromTeskExtended({0, 0, 0}), 0.0);
}

TEST(TeskExtended, GivesEveryValueOf39FractionBitsBackExactly) {
    std::mt19937_64 random(3);
    for (int i = 0; i < 100000; ++i) {
        const double value = doubleOf(random() & 1, 895 + random() % 255,
                                      random() & fraction52 & ~std::uint64_t{0x1FFF});
        ASSERT_EQ(fromTeskExtended(teskExtended(value)), value);
    }
}

// ---- Tesk float

TEST(TeskFloat, OfPiHasExponentFirstAndFractionLowestByteFirst) {
    // bytes 82 DB 0F 49
    EXPECT_THAT(teskFloat(piF), ElementsAre(0xDB82, 0x490F));
    EXPECT_EQ(fromTeskFloat({0xDB82, 0x490F}), piF);
}

TEST(TeskFloat, OfMinusOneHasItsSignInTheLastByte) {
    EXPECT_THAT(teskFloat(-1.0F), ElementsAre(0x0081, 0x8000));
    EXPECT_EQ(fromTeskFloat({0x0081, 0x8000}), -1.0F);
}

TEST(TeskFloat, IsZeroOrTheLargestOutsideItsRange) {
    EXPECT_THAT(teskFloat(-0.0F), Each(0));
    EXPECT_THAT(teskFloat(std::numeric_limits<float>::infinity()), ElementsAre(0xFFFF, 0x7FFF));
    EXPECT_THAT(teskFloat(std::numeric_limits<float>::lowest()), Each(0xFFFF));
    EXPECT_EQ(fromTeskFloat({0xFF02, 0xFFFF}), 0.0F) << "an exponent below 3";
}

TEST(TeskFloat, GivesEveryValueInItsRangeBackExactly) {
    std::mt19937 random(4);
    for (int i = 0; i < 100000; ++i) {
        const float value = floatOf(static_cast<std::uint32_t>(random() & 1),
                                    static_cast<std::uint32_t>(2 + random() % 252),
                                    static_cast<std::uint32_t>(random() & fraction23));
        ASSERT_EQ(fromTeskFloat(teskFloat(value)), value);
    }
}

// ---- T single

TEST(TSingle, OfExponentByte0x80IsZeroWhateverTheMantissa) {
    EXPECT_EQ(fromTSingle({0, 0x8000}), 0.0F);
    EXPECT_EQ(fromTSingle({0xFFFF, 0x80FF}), 0.0F);
    EXPECT_FALSE(std::signbit(fromTSingle({0xFFFF, 0x80FF})));
}

TEST(TSingle, TakesTheMantissaBelowTheSignAsFraction) {
    EXPECT_EQ(fromTSingle({0, 0x0000}), 1.0F);
    EXPECT_EQ(fromTSingle({0, 0x0040}), 1.5F);
    EXPECT_EQ(fromTSingle({0, 0x0140}), 3.0F);
    EXPECT_EQ(fromTSingle({1, 0x0000}), 1.0F + std::ldexp(1.0F, -23));
    EXPECT_EQ(fromTSingle({0x3456, 0x0012}), floatOf(0, 127, 0x123456));
}

TEST(TSingle, NegatesANegativeMantissa) {
    EXPECT_EQ(fromTSingle({0, 0x00C0}), -1.5F);
    EXPECT_EQ(fromTSingle({0xFFFF, 0x00FF}), -(1.0F + std::ldexp(1.0F, -23)));
}

TEST(TSingle, OfTheMostNegativeMantissaHasFractionZero) {
    EXPECT_EQ(fromTSingle({0, 0x0080}), -1.0F);
    EXPECT_EQ(fromTSingle({0, 0x0180}), -2.0F);
}

TEST(TSingle, AddsTheExponentModulo256) {
    EXPECT_EQ(fromTSingle({0, 0xFF40}), 0.75F);
    EXPECT_EQ(fromTSingle({0, 0x7F40}), floatOf(0, 254, 0x400000));
    EXPECT_EQ(fromTSingle({0, 0x8240}), floatOf(0, 1, 0x400000));
    EXPECT_EQ(fromTSingle({0, 0x8140}), floatOf(0, 0, 0x400000));
}

// ---- T double

TEST(TDouble, OfExponentByte0x80IsZeroWhateverTheMantissa) {
    EXPECT_EQ(fromTDouble({0, 0, 0, 0x8000}), 0.0);
    EXPECT_EQ(fromTDouble({0xFFFF, 0xFFFF, 0xFFFF, 0x80FF}), 0.0);
    EXPECT_FALSE(std::signbit(fromTDouble({0xFFFF, 0xFFFF, 0xFFFF, 0x80FF})));
}

TEST(TDouble, GathersTheMantissaFromThreeWords) {
    EXPECT_EQ(fromTDouble({0, 0, 0, 0}), 1.0);
    EXPECT_EQ(fromTDouble({0, 0, 0, 0x0040}), 1.5);
    EXPECT_EQ(fromTDouble({1, 0, 0, 0}), 1.0 + std::ldexp(1.0, -31));
    EXPECT_EQ(fromTDouble({0x5678, 0x0034, 0, 0x0012}),
              1.0 + std::ldexp(static_cast<double>(0x12345678), -31));
}

TEST(TDouble, IgnoresTheUnusedWordAndByte) {
    EXPECT_EQ(fromTDouble({0x5678, 0xFF34, 0xEEEE, 0x0012}),
              1.0 + std::ldexp(static_cast<double>(0x12345678), -31));
}

TEST(TDouble, NegatesANegativeMantissa) {
    EXPECT_EQ(fromTDouble({0, 0, 0, 0x00C0}), -1.5);
    EXPECT_EQ(fromTDouble({0xFFFF, 0x00FF, 0, 0x00FF}), -(1.0 + std::ldexp(1.0, -31)));
}

TEST(TDouble, OfTheMostNegativeMantissaHasFractionZero) {
    EXPECT_EQ(fromTDouble({0, 0, 0, 0x0080}), -1.0);
    EXPECT_EQ(fromTDouble({0, 0, 0, 0x0380}), -8.0);
}

TEST(TDouble, TakesTheExponentByteAsSigned) {
    EXPECT_EQ(fromTDouble({0, 0, 0, 0xFF40}), 0.75) << "the IEEE exponent is 1022";
    EXPECT_EQ(fromTDouble({0, 0, 0, 0x7F40}), doubleOf(0, 1150, 0x8000000000000));
    EXPECT_EQ(fromTDouble({0, 0, 0, 0x8140}), doubleOf(0, 896, 0x8000000000000));
}

TEST(TFormats, StoreIntoTheSecondArgumentToo) {
    const std::array<std::uint16_t, 4> words{0, 0, 0, 0x0140};
    double value = -1;
    cnvten(words.data(), &value);
    EXPECT_EQ(value, 3.0);
    float single = -1;
    const std::array<std::uint16_t, 2> singleWords{0, 0x0140};
    cnvtsn(singleWords.data(), &single);
    EXPECT_EQ(single, 3.0F);
}

TEST(TFormats, StoreZeroForAZeroValue) {
    const std::array<std::uint16_t, 4> words{7, 0x80FF, 7, 0x8012};
    double value = -1;
    cnvten(words.data(), &value);
    EXPECT_EQ(value, 0.0);
    float single = -1;
    cnvtsn(words.data(), &single);
    EXPECT_EQ(single, 0.0F);
}

// ---- records

TEST(WireNumberRecords, AreExactlyAsLargeAsTheirFormats) {
    EXPECT_EQ(sizeof(OtwDECD), 8u);
    EXPECT_EQ(sizeof(OtwDECS), 4u);
    EXPECT_EQ(sizeof(OtwEFLT), 6u);
    EXPECT_EQ(sizeof(OtwSFLT), 4u);
    struct Payload {
        std::uint16_t before;
        OtwDECD decd;
        OtwEFLT eflt;
        OtwDECS decs;
        OtwSFLT sflt;
    };
    EXPECT_EQ(sizeof(Payload), 2u + 8 + 6 + 4 + 4) << "no padding between them";
}

TEST(WireNumberRecords, BeginAsZero) {
    EXPECT_EQ(OtwDECD().AsDouble(), 0.0);
    EXPECT_EQ(OtwDECS().AsFloat(), 0.0F);
    EXPECT_EQ(OtwEFLT().AsDouble(), 0.0);
    EXPECT_EQ(OtwSFLT().AsFloat(), 0.0F);
    EXPECT_THAT(OtwDECD().words(), Each(0));
    EXPECT_THAT(OtwSFLT().AsTeskFloat(), Each(0));
}

TEST(WireNumberRecords, AreMadeFromAndAssignedFromTheHostsNumber) {
    OtwDECD decd(pi);
    EXPECT_EQ(decd.AsDouble(), pi);
    EXPECT_THAT(decd.words(), ElementsAre(0x4149, 0x0FDA, 0xA221, 0x68C0));
    decd = 1.0;
    EXPECT_EQ(decd.AsDouble(), 1.0);

    OtwDECS decs(piF);
    EXPECT_THAT(decs.words(), ElementsAre(0x4149, 0x0FDB));
    EXPECT_EQ(decs.AsFloat(), piF);
    decs = -1.0F;
    EXPECT_EQ(decs.AsFloat(), -1.0F);

    OtwEFLT eflt(-1.0);
    EXPECT_THAT(eflt.words(), ElementsAre(0x0081, 0x0000, 0x8000));
    EXPECT_EQ(eflt.AsDouble(), -1.0);
    eflt = 0.5;
    EXPECT_EQ(eflt.AsDouble(), 0.5);

    OtwSFLT sflt(piF);
    EXPECT_THAT(sflt.words(), ElementsAre(0xDB82, 0x490F));
    EXPECT_EQ(sflt.AsFloat(), piF);
    sflt = 2.0F;
    EXPECT_EQ(sflt.AsFloat(), 2.0F);
}

TEST(WireNumberRecords, OtwDecdKeepsRawWordsUnchanged) {
    const std::array<std::uint16_t, 4> raw{0x8001, 0x0002, 0x0003, 0x0007};
    EXPECT_EQ(OtwDECD(raw).words(), raw);
}

TEST(WireNumberRecords, OtwSfltGivesItsBytesInTheOrderOfTheWire) {
    EXPECT_THAT(OtwSFLT(piF).AsTeskFloat(), ElementsAre(0x82, 0xDB, 0x0F, 0x49));
}

// ---- helpers

TEST(WireHelpers, U16swapSwapsInPlaceAndReturnsTheResult) {
    std::uint16_t word = 0x12AB;
    EXPECT_EQ(u16swap(&word), 0xAB12);
    EXPECT_EQ(word, 0xAB12);
}

TEST(WireHelpers, LswapSwapsTheHalves) {
    std::uint32_t value = 0x12345678;
    lswap(&value);
    EXPECT_EQ(value, 0x56781234u);
}

TEST(WireHelpers, Msw16Lsw16SwapExchangesThePairsOfBytes) {
    std::array<std::uint8_t, 5> bytes{1, 2, 3, 4, 0xEE};
    MSW16_LSW16_swap(bytes.data());
    EXPECT_THAT(bytes, ElementsAre(3, 4, 1, 2, 0xEE));
}

TEST(WireHelpers, ByteSwapSwapsTheBytesOfEachWord) {
    std::array<std::uint16_t, 3> words{0x1234, 0xABCD, 0xEEEF};
    ByteSwap(words.data(), 2);
    EXPECT_THAT(words, ElementsAre(0x3412, 0xCDAB, 0xEEEF));
    ByteSwap(words.data(), 0);
    EXPECT_THAT(words, ElementsAre(0x3412, 0xCDAB, 0xEEEF));
}

TEST(WireHelpers, FlushZeroLeavesGoodMemoryFilledWith0x55) {
    std::vector<std::uint8_t> memory(66, 0xEE);
    EXPECT_EQ(flushZero(memory.data() + 1, 64), 0);
    EXPECT_EQ(memory.front(), 0xEE);
    EXPECT_EQ(memory.back(), 0xEE);
    EXPECT_THAT(std::vector<std::uint8_t>(memory.begin() + 1, memory.end() - 1), Each(0x55));
}

TEST(WireHelpers, FlushZeroOfNothingSucceedsAtOnce) {
    std::uint8_t byte = 0xEE;
    EXPECT_EQ(flushZero(&byte, 0), 0);
    EXPECT_EQ(flushZero(nullptr, 0), 0);
    EXPECT_EQ(byte, 0xEE);
}

TEST(WireHelpers, FlushZeroFindsMemoryThatDoesNotKeepItsContent) {
    // Another process spoils the memory all the time.
    constexpr std::size_t length = 1 << 20;
    void* const shared =
        mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    const pid_t spoiler = fork();
    ASSERT_NE(spoiler, -1);
    if (spoiler == 0) {
        alarm(60);  // never outlives the test
        volatile std::uint8_t* const bytes = static_cast<std::uint8_t*>(shared);
        for (std::size_t i = 0;; i = (i + 4096) % length) {
            bytes[i] = 0x00;
        }
    }
    int result = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (result == 0 && std::chrono::steady_clock::now() < deadline) {
        result = flushZero(static_cast<std::uint8_t*>(shared), length);
    }
    EXPECT_EQ(result, 1);
    kill(spoiler, SIGKILL);
    waitpid(spoiler, nullptr, 0);
    munmap(shared, length);
}

TEST(WireHelpers, FromNbcdReadsFourDigits) {
    EXPECT_EQ(FromNBCD(0x1234), 1234u);
    EXPECT_EQ(FromNBCD(0x9999), 9999u);
    EXPECT_EQ(FromNBCD(0x0007), 7u);
    EXPECT_EQ(FromNBCD(0), 0u);
}

TEST(WireHelpers, FromNbcdCountsALowNibbleAboveNineAsZero) {
    EXPECT_EQ(FromNBCD(0x1A34), 1034u);
    EXPECT_EQ(FromNBCD(0x12F4), 1204u);
    EXPECT_EQ(FromNBCD(0x123B), 1230u);
}

TEST(WireHelpers, FromNbcdLeavesOutTheTopNibbleFrom40960On) {
    EXPECT_EQ(FromNBCD(0x9FFF), 9000u);
    EXPECT_EQ(FromNBCD(40960), 0u);
    EXPECT_EQ(FromNBCD(0xA123), 123u);
    EXPECT_EQ(FromNBCD(0xFFFF), 0u);
}

TEST(WireHelpers, ToNbcdPutsEachDigitIntoANibble) {
    EXPECT_EQ(ToNBCD(1234), 0x1234u);
    EXPECT_EQ(ToNBCD(1), 1u);
    EXPECT_EQ(ToNBCD(9999), 0x9999u);
    EXPECT_EQ(ToNBCD(1000), 0x1000u);
}

TEST(WireHelpers, ToNbcdReturnsAnythingElseAsItStands) {
    EXPECT_EQ(ToNBCD(0), 0u);
    EXPECT_EQ(ToNBCD(10000), 10000u);
    EXPECT_EQ(ToNBCD(0x123456789ABCDEF0u), 0x123456789ABCDEF0u);
}

TEST(WireHelpers, NbcdGivesEveryNumberBack) {
    for (std::uint64_t number = 0; number <= 9999; ++number) {
        ASSERT_EQ(FromNBCD(ToNBCD(number)), number);
    }
}

TEST(DirectionRadiansFromVelocity, TurnsFromNorthOverEast) {
    EXPECT_DOUBLE_EQ(DirectionRadiansFromVelocity(1, 0), 0);
    EXPECT_DOUBLE_EQ(DirectionRadiansFromVelocity(0, 1), pi / 2);
    EXPECT_DOUBLE_EQ(DirectionRadiansFromVelocity(-1, 0), pi);
    EXPECT_DOUBLE_EQ(DirectionRadiansFromVelocity(0, -1), 3 * pi / 2);
    EXPECT_DOUBLE_EQ(DirectionRadiansFromVelocity(3, 3), pi / 4);
    EXPECT_FLOAT_EQ(DirectionRadiansFromVelocityF(1, -1), 7 * piF / 4);
}

TEST(DirectionRadiansFromVelocity, StaysBelowTheFullCircle) {
    EXPECT_EQ(DirectionRadiansFromVelocity(1, -1e-300), 0);
    EXPECT_EQ(DirectionRadiansFromVelocityF(1, -1e-30F), 0);
    EXPECT_LT(DirectionRadiansFromVelocity(1, -1e-15), twoPi);
    EXPECT_GT(DirectionRadiansFromVelocity(1, -1e-15), 6);
    for (int degree = -180; degree <= 180; ++degree) {
        const double angle = degree * pi / 180;
        const double direction = DirectionRadiansFromVelocity(std::cos(angle), std::sin(angle));
        EXPECT_GE(direction, 0);
        EXPECT_LT(direction, twoPi);
    }
}

TEST(DirectionRadiansFromVelocity, IsZeroWithoutVelocityAndNeverMinusZero) {
    EXPECT_EQ(DirectionRadiansFromVelocity(0, 0), 0);
    EXPECT_FALSE(std::signbit(DirectionRadiansFromVelocity(1, -0.0)));
    EXPECT_FALSE(std::signbit(DirectionRadiansFromVelocityF(0.0F, -0.0F)));
}

TEST(DirectionRadiansFromVelocity, PassesNanOn) {
    EXPECT_TRUE(std::isnan(DirectionRadiansFromVelocity(notANumber, 1)));
    EXPECT_TRUE(std::isnan(DirectionRadiansFromVelocityF(1, std::nanf(""))));
}

namespace {
void expectTime(double time, std::int64_t seconds, std::int32_t nanoseconds) {
    const SecondsNanoseconds result = ToSecondsNanoseconds(time);
    EXPECT_EQ(result.seconds, seconds) << time;
    EXPECT_EQ(result.nanoseconds, nanoseconds) << time;
}
}  // namespace

TEST(ToSecondsNanoseconds, SplitsATime) {
    expectTime(0, 0, 0);
    expectTime(12.5, 12, 500'000'000);
    expectTime(604799.25, 604799, 250'000'000);
    expectTime(1e-9, 0, 1);
}

TEST(ToSecondsNanoseconds, RoundsToTheNearestNanosecondAndCarries) {
    expectTime(1.4e-9, 0, 1);
    expectTime(1.6e-9, 0, 2);
    expectTime(std::nextafter(7.0, 0.0), 7, 0);
}

TEST(ToSecondsNanoseconds, KeepsTheNanosecondsPositiveBeforeZero) {
    expectTime(-0.25, -1, 750'000'000);
    expectTime(-3, -3, 0);
    expectTime(-1e-12, 0, 0);
}

TEST(ToSecondsNanoseconds, StaysInTheRangeOf64Bits) {
    expectTime(notANumber, 0, 0);
    expectTime(infinity, std::numeric_limits<std::int64_t>::max(), 999'999'999);
    expectTime(1e300, std::numeric_limits<std::int64_t>::max(), 999'999'999);
    expectTime(-infinity, std::numeric_limits<std::int64_t>::min(), 0);
    expectTime(-9223372036854775808.0, std::numeric_limits<std::int64_t>::min(), 0);
}

TEST(NarrowToFloat, GivesTheNearestFloat) {
    EXPECT_EQ(1.5F, NarrowToFloat(1.5));
    EXPECT_EQ(0.1F, NarrowToFloat(0.1));
    EXPECT_EQ(0.0F, NarrowToFloat(1e-300));
    EXPECT_TRUE(std::signbit(NarrowToFloat(-0.0)));
    EXPECT_EQ(-std::numeric_limits<float>::max(),
              NarrowToFloat(-double{std::numeric_limits<float>::max()}));
}

TEST(NarrowToFloat, GivesAnInfinityBeyondTheLargestFloat) {
    constexpr float infinite = std::numeric_limits<float>::infinity();
    EXPECT_EQ(infinite, NarrowToFloat(1e300));
    EXPECT_EQ(-infinite, NarrowToFloat(-1e300));
    EXPECT_EQ(infinite, NarrowToFloat(infinity));
    EXPECT_EQ(-infinite, NarrowToFloat(-infinity));
    EXPECT_TRUE(std::isnan(NarrowToFloat(notANumber)));
}
