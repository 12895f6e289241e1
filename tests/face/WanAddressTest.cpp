#include <array>
#include <cstdint>

#include <gtest/gtest.h>

#include "face/WanAddress.h"

namespace {

using FACE::TSS::wanAddressOf;
using Address = std::array<std::uint8_t, 4>;

TEST(WanAddress, IsFourNumbers) {
    EXPECT_EQ((Address{10, 20, 30, 40}), wanAddressOf("10.20.30.40"));
    EXPECT_EQ((Address{255, 255, 255, 255}), wanAddressOf("255.255.255.255"));
}

TEST(WanAddress, TakesAnyCharacterBetweenThem) {
    EXPECT_EQ((Address{1, 2, 3, 4}), wanAddressOf("1,2 : 3/4"));
}

TEST(WanAddress, EndsWithZerosWhereTheTextDoes) {
    EXPECT_EQ((Address{0, 0, 0, 0}), wanAddressOf(""));
    EXPECT_EQ((Address{10, 20, 0, 0}), wanAddressOf("10.20"));
    EXPECT_EQ((Address{10, 0, 0, 0}), wanAddressOf("10.host.30.40"));
}

TEST(WanAddress, KeepsTheLowBitsOfALargerNumber) {
    EXPECT_EQ((Address{44, 1, 2, 3}), wanAddressOf("300.1.2.3"));
}

}  // namespace
