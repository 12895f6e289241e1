#include <limits>
#include <vector>

#include "gmock/gmock.h"
#include "tests/zephon/ReceiverFrames.h"
#include "zephon/ReceiverStatusJoin.h"

namespace {

using bench::UnitFrame;
using Bytes = std::vector<unsigned char>;

Trevo_8504_Msg const noMark;

bool take5040(ReceiverStatusJoin& join, UnitFrame const& frame) {
    const Bytes bytes = frame.encode();
    return join.store5040(bytes.data(), static_cast<unsigned short>(bytes.size()));
}
bool take9391(ReceiverStatusJoin& join, UnitFrame const& frame) {
    const Bytes bytes = frame.encode();
    return join.store9391(bytes.data(), static_cast<unsigned short>(bytes.size()));
}

/// Whether a pair with these times makes a message.
bool matches(double time5040, float time9391) {
    ReceiverStatusJoin join;
    EXPECT_TRUE(take5040(join, make5040(time5040)));
    EXPECT_TRUE(take9391(join, make9391(time9391)));
    return join.takeOutput(noMark) != nullptr;
}

std::shared_ptr<CRM30000_Msg> outputOf(UnitFrame const& frame5040, UnitFrame const& frame9391,
                                       Trevo_8504_Msg const& mark = noMark) {
    ReceiverStatusJoin join;
    EXPECT_TRUE(take5040(join, frame5040));
    EXPECT_TRUE(take9391(join, frame9391));
    return join.takeOutput(mark);
}

Bytes bytesOf(CRM30000_Msg& message) {
    message.insert_checksum();
    auto const* const first = reinterpret_cast<unsigned char const*>(message.header);
    return {first, first + GssipFrameBytes(message.wordCount)};
}

TEST(ReceiverStatusJoin, FillsTheWholeFrameByteByByte) {
    auto frame5040 = emptyFrame(5040, 88);
    std::fill(frame5040.data.begin(), frame5040.data.end(), 0xEEEE);
    const auto put = [&frame5040](std::size_t word, std::vector<std::uint16_t> const& words) {
        std::copy(words.begin(), words.end(),
                  frame5040.data.begin() + static_cast<std::ptrdiff_t>(word));
    };
    put(0, {0x4080, 0, 0, 0});  // 1.0
    put(36, {0x0082, 0x0000});  // 2.0
    put(38, {0xEEE0});          // metres
    put(42, {0x2442});
    put(49, {0xFFF9});
    put(61, {0xFFFF});
    put(71, {0x1771, 0x2772, 0x3773, 0xFF9C, 0x5775});
    put(77, {0xFFF7});
    put(82, {0x0083, 0x0000});  // 4.0
    put(84, {0xEEE0});
    auto frame9391 = emptyFrame(9391, 84);
    std::fill(frame9391.data.begin(), frame9391.data.end(), 0xEEEE);
    frame9391.data[0] = 0x0000;  // 1.0
    frame9391.data[1] = 0x3F80;
    frame9391.data[2] = 0x0201;
    frame9391.data[3] = 0x0403;
    frame9391.data[12] = 0x1211;

    Trevo_8504_Msg mark;
    mark.data[48] = 0x00DF;
    mark.data[58] = 0x8000;
    const auto output = outputOf(frame5040, frame9391, mark);
    ASSERT_NE(nullptr, output);
    const Bytes expected = {
        0xFF, 0x81, 0x30, 0x75, 20,   0,    0x00, 0x90, 0xBD, 0x78,  // header
        0x00, 0x00, 0x80, 0x3F,                                      // 0: time of 9391
        0x01, 0x02, 0x03, 0x04,                                      // 4: its words 2 and 3
        0x11, 0x12, 0x00, 0x00,                                      // 8: its word 12
        0x00, 0x00, 0x00, 0x40,                                      // 12: 2 m
        0x00, 0x00, 0x80, 0x40,                                      // 16: 4 m
        0x42, 0x24,                                                  // 20: word 42 of 5040
        0x09, 0x00,                                                  // 22: low nibble of word 49
        0x01, 0x00,                                                  // 24: bit 0 of word 61
        0x71, 0x17, 0x72, 0x27, 0x73, 0x37,                          // 26: words 71 to 73
        0x9C, 0xFF,                                                  // 32: word 74
        0x75, 0x57,                                                  // 34: word 75
        0x07, 0x00,                                                  // 36: low nibble of word 77
        0x00, 0x00,                                                  // 38: mode, spare
        0x31, 0x36,                                                  // checksum
    };
    EXPECT_EQ(expected, bytesOf(*output));
}

TEST(ReceiverStatusJoin, MatchesTimesLessThanThreeTenthsOfASecondApart) {
    EXPECT_TRUE(matches(100, 100));
    EXPECT_TRUE(matches(100.2, 100));
    EXPECT_TRUE(matches(99.8, 100));
    EXPECT_TRUE(matches(100.299, 100));
    EXPECT_TRUE(matches(0.299999, 0));
    EXPECT_TRUE(matches(0.299999998, 0));
}

TEST(ReceiverStatusJoin, RefusesTimesThreeTenthsOfASecondApart) {
    EXPECT_FALSE(matches(0.3, 0));
    EXPECT_FALSE(matches(0, 0.3F));
    EXPECT_FALSE(matches(100.3, 100));
    EXPECT_FALSE(matches(99.7, 100));
    EXPECT_FALSE(matches(302400.3, 302400));
    EXPECT_FALSE(matches(101, 100));
    EXPECT_FALSE(matches(302500, 100));
}

TEST(ReceiverStatusJoin, MatchesAcrossTheEndOfTheWeek) {
    EXPECT_TRUE(matches(604799.9, 0.1F));
    EXPECT_TRUE(matches(0.1, 604799.9F));
    EXPECT_TRUE(matches(604800, 0));
    EXPECT_FALSE(matches(604799.75, 0.05F));
    EXPECT_FALSE(matches(0.05, 604799.75F));
}

TEST(ReceiverStatusJoin, BringsTheDifferenceIntoTheWeekOnce) {
    EXPECT_TRUE(matches(604800 + 5, 5));
    EXPECT_FALSE(matches(2.0 * 604800 + 5, 5));
    EXPECT_FALSE(matches(-2.0 * 604800 + 5, 5));
}

TEST(ReceiverStatusJoin, NeverMatchesATimeThatIsNoNumber) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    for (const float time : {std::numeric_limits<float>::quiet_NaN(), infinity, -infinity,
                             std::numeric_limits<float>::max()}) {
        EXPECT_FALSE(matches(0, time)) << time;
        EXPECT_FALSE(matches(604799.9, time)) << time;
    }
    EXPECT_FALSE(matches(1e38, 1)) << "the largest that the engine can write, or nearly";
}

TEST(ReceiverStatusJoin, WaitsForBothSides) {
    ReceiverStatusJoin join;
    EXPECT_EQ(nullptr, join.takeOutput(noMark));
    ASSERT_TRUE(take5040(join, make5040(0)));
    EXPECT_EQ(nullptr, join.takeOutput(noMark));

    ReceiverStatusJoin other;
    ASSERT_TRUE(take9391(other, make9391(0)));
    EXPECT_EQ(nullptr, other.takeOutput(noMark));
}

TEST(ReceiverStatusJoin, SpendsBothSidesOfAMatch) {
    ReceiverStatusJoin join;
    ASSERT_TRUE(take5040(join, make5040(100)));
    ASSERT_TRUE(take9391(join, make9391(100)));
    EXPECT_NE(nullptr, join.takeOutput(noMark));
    EXPECT_EQ(nullptr, join.takeOutput(noMark));
    ASSERT_TRUE(take5040(join, make5040(100)));
    EXPECT_EQ(nullptr, join.takeOutput(noMark));
    ASSERT_TRUE(take9391(join, make9391(100)));
    EXPECT_NE(nullptr, join.takeOutput(noMark));
}

TEST(ReceiverStatusJoin, LetsTheNextMessageOfEitherKindMatchAfterAMismatch) {
    ReceiverStatusJoin join;
    ASSERT_TRUE(take5040(join, make5040(100)));
    ASSERT_TRUE(take9391(join, make9391(101)));
    EXPECT_EQ(nullptr, join.takeOutput(noMark));
    ASSERT_TRUE(take5040(join, make5040(101)));
    EXPECT_NE(nullptr, join.takeOutput(noMark));

    ASSERT_TRUE(take9391(join, make9391(102)));
    ASSERT_TRUE(take5040(join, make5040(103)));
    EXPECT_EQ(nullptr, join.takeOutput(noMark));
    ASSERT_TRUE(take9391(join, make9391(103)));
    EXPECT_NE(nullptr, join.takeOutput(noMark));
}

TEST(ReceiverStatusJoin, BringsDistancesToMetres) {
    struct Case {
        std::uint16_t unit;
        float metres;  // of the value 2
    };
    for (Case const& c :
         {Case{0, 2.0F}, Case{1, 2.0F / 3.28084F}, Case{2, 2.0F / 1.0936133F},
          Case{3, 2.0F / 0.001F}, Case{4, 2.0F / 0.00062137120F}, Case{5, 2.0F / 0.00053995679F},
          Case{6, 2.0F}, Case{7, 2.0F}, Case{15, 2.0F}, Case{0xFFF3, 2.0F / 0.001F}}) {
        for (const std::size_t at : {36U, 82U}) {
            auto frame = make5040(0);
            frame.data[at] = 0x0082;  // 2.0
            frame.data[at + 2] = c.unit;
            const auto output = outputOf(frame, make9391(0));
            ASSERT_NE(nullptr, output);
            EXPECT_EQ(at == 36 ? c.metres : 0, output->record.distanceOf5040Word36) << c.unit;
            EXPECT_EQ(at == 82 ? c.metres : 0, output->record.distanceOf5040Word82) << c.unit;
        }
    }
}

TEST(ReceiverStatusJoin, GivesKnownDistancesToTheBit) {
    const auto bitsOf = [](std::uint16_t unit) {
        auto frame = make5040(0);
        frame.data[36] = 0x0082;
        frame.data[38] = unit;
        const auto output = outputOf(frame, make9391(0));
        return static_cast<unsigned>(output->data[6] | output->data[7] << 16U);
    };
    EXPECT_EQ(0x3F1C0EBFU, bitsOf(1));  // 0.6096
    EXPECT_EQ(0x44F9FFFFU, bitsOf(3));  // 1999.9999
    EXPECT_EQ(0x45678000U, bitsOf(5));  // 3704
}

TEST(ReceiverStatusJoin, HasModeThreeUnlessTheMarkClearsIt) {
    for (const auto& [status96, status117, mode] : {std::array<std::uint16_t, 3>{0x00, 0x00, 3},
                                                    {0x00, 0x80, 0},
                                                    {0x20, 0x80, 3},
                                                    {0x20, 0x00, 3},
                                                    {0xDF, 0x80, 0},
                                                    {0xDF, 0x7F, 3},
                                                    {0xFF, 0xFF, 3},
                                                    {0x01, 0xFF, 0}}) {
        Trevo_8504_Msg mark;
        mark.data[48] = status96;
        mark.data[58] = static_cast<std::uint16_t>(status117 << 8U);
        const auto output = outputOf(make5040(0), make9391(0), mark);
        ASSERT_NE(nullptr, output);
        EXPECT_EQ(mode, output->data[19]) << status96 << " " << status117;
    }
}

TEST(ReceiverStatusJoin, ReadsNoOtherBytesOfTheMark) {
    Trevo_8504_Msg mark;
    std::fill_n(mark.data, 200, 0xFFFF);
    mark.data[48] = 0xFFDF;  // of byte 96 only bit 5 is clear
    mark.data[58] = 0x80FF;
    EXPECT_EQ(0, outputOf(make5040(0), make9391(0), mark)->data[19]);
}

TEST(ReceiverStatusJoin, TakesFramesOfTheirOwnLengthOnly) {
    for (std::size_t length = 0; length < 260; ++length) {
        Bytes bytes(length, 0xEE);
        bytes.shrink_to_fit();
        const auto told = static_cast<unsigned short>(length);
        ReceiverStatusJoin join;
        EXPECT_EQ(length / 2 == 94, join.store5040(bytes.data(), told)) << length;
        EXPECT_EQ(length / 2 == 90, join.store9391(bytes.data(), told)) << length;
    }
}

TEST(ReceiverStatusJoin, KeepsWhatItHasWhenAFrameIsRefused) {
    ReceiverStatusJoin join;
    ASSERT_TRUE(take5040(join, make5040(100)));
    auto longer = make5040(200);
    longer.data.push_back(0);
    EXPECT_FALSE(take5040(join, longer));
    auto first = make9391(100);
    first.data[12] = 0x1211;
    ASSERT_TRUE(take9391(join, first));
    auto shorter = make9391(200);
    shorter.data.pop_back();
    EXPECT_FALSE(take9391(join, shorter));
    const auto output = join.takeOutput(noMark);
    ASSERT_NE(nullptr, output);
    EXPECT_EQ(100.0F, output->record.time);
    EXPECT_EQ(0x1211, output->record.from9391Word12);
}

TEST(ReceiverStatusJoin, DoesNotWaitForThePartnerOfARefusedFrame) {
    ReceiverStatusJoin join;
    auto shorter = make9391(0);
    shorter.data.pop_back();
    EXPECT_FALSE(take9391(join, shorter));
    ASSERT_TRUE(take5040(join, make5040(0)));
    EXPECT_EQ(nullptr, join.takeOutput(noMark));
}

TEST(ReceiverStatusJoin, TellsMissingAcksFromTheSixthInARowOn) {
    ReceiverStatusJoin join;
    EXPECT_FALSE(join.isNoAckDue(false));
    for (int miss = 1; miss <= 5; ++miss) {
        EXPECT_FALSE(join.isNoAckDue(true)) << miss;
    }
    for (int miss = 6; miss <= 70000; ++miss) {
        ASSERT_TRUE(join.isNoAckDue(true)) << miss;
    }
    EXPECT_FALSE(join.isNoAckDue(false));
    for (int miss = 1; miss <= 5; ++miss) {
        EXPECT_FALSE(join.isNoAckDue(true)) << miss;
    }
    EXPECT_TRUE(join.isNoAckDue(true));
}

}  // namespace
