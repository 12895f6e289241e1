#include <cmath>
#include <limits>

#include "gmock/gmock.h"
#include "messages/AntiJamMessages.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::Each;
using testing::ElementsAre;

std::vector<std::uint16_t> headOf(const GssipMessage& message) {
    return {message.header, message.header + 5};
}

// ---- 2516

TEST(AjasStatus, KnowsItsIdentifierBeforeItsHeaderDoes) {
    const AjasStatus message;
    EXPECT_THAT(headOf(message), ElementsAre(0x81FF, 0, 0, 0x9000, 0));
    EXPECT_EQ(2516, message.msgId);
    EXPECT_EQ(32U, message.wordCount);
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(AjasStatus, TakesIdentifierAndWordCountFromTheFrame) {
    AjasStatus message;
    const Bytes frame = frameOf(2516, Bytes(64, 0x5A));
    EXPECT_TRUE(message.OkSetContent(frame.data(), 76));
    EXPECT_EQ(2516, message.header[1]);
    EXPECT_EQ(32, message.header[2]);
}

TEST(AjasStatus, HasTheFiguresInTheHighNibbleOfByte32AndTheLowOneOfByte33) {
    AjasStatus message;
    fillUntouched(message);
    message.data[16] = 0xA55B;
    EXPECT_EQ(5U, message.getJFOM_L1());
    EXPECT_EQ(5U, message.getJFOM_L2());
    message.data[16] = 0xF72F;
    EXPECT_EQ(2U, message.getJFOM_L1());
    EXPECT_EQ(7U, message.getJFOM_L2());
}

/// The data of an anti-jam unit that passes all on.
Bytes passthrough() {
    Bytes data = untouchedBut(64, {{0, {0x00, 0x41}}});
    std::fill(data.begin() + 2, data.begin() + 12, 0x41);
    std::fill(data.begin() + 14, data.begin() + 26, 0x11);
    return data;
}

TEST(AjasStatus, IsInPassthroughModeWhateverBytes12And13Tell) {
    AjasStatus message;
    Bytes data = passthrough();
    setData(message, data);
    EXPECT_TRUE(message.isInPassthroughMode());
    data[12] = 0x00;
    data[13] = 0xFF;
    setData(message, data);
    EXPECT_TRUE(message.isInPassthroughMode());
}

TEST(AjasStatus, LeavesPassthroughModeWithAnyByteOfTheModeAndNoOther) {
    for (std::size_t i = 0; i < 64; ++i) {
        AjasStatus message;
        Bytes data = passthrough();
        data[i] = 0x77;
        setData(message, data);
        const bool isOfTheMode = i < 12 || (i >= 14 && i < 26);
        EXPECT_EQ(!isOfTheMode, message.isInPassthroughMode()) << i;
    }
}

TEST(AjasStatus, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(lengthsTakenAsContent<AjasStatus>(120), ElementsAre(76, 77));
}

// ---- 15054

TEST(DigarPN, KnowsItsIdentifierBeforeItsHeaderDoes) {
    const DigarPN message;
    EXPECT_THAT(headOf(message), ElementsAre(0x81FF, 0, 0, 0x9000, 0));
    EXPECT_EQ(15054, message.msgId);
    EXPECT_EQ(90U, message.wordCount);
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(DigarPN, HasTenTextsOfTwelveCharacters) {
    DigarPN message;
    Bytes data(4, 0xEE);
    for (const std::string text :
         {"AJ-Boot-0001", "AJ-FPGA-0002", "AJ-SW---0003", "AJ-SW2--0004", "AJ-SW3--0005",
          "AJ-SW4--0006", "PC-Boot-0007", "PC-FPGA-0008", "PC-SW---0009", "Ant-Tab-0010"}) {
        data.insert(data.end(), text.begin(), text.end());
    }
    data.resize(180, 0xEE);
    setData(message, data);
    EXPECT_EQ("AJ-Boot-0001", message.get_XPN_AJ_Boot());
    EXPECT_EQ("AJ-FPGA-0002", message.get_XPN_AJ_FPGA());
    EXPECT_EQ("AJ-SW---0003", message.get_XPN_AJ_SW());
    EXPECT_EQ("AJ-SW2--0004", message.get_XPN_AJ_SW2());
    EXPECT_EQ("AJ-SW3--0005", message.get_XPN_AJ_SW3());
    EXPECT_EQ("AJ-SW4--0006", message.get_XPN_AJ_SW4());
    EXPECT_EQ("PC-Boot-0007", message.get_XPN_PC_Boot());
    EXPECT_EQ("PC-FPGA-0008", message.get_XPN_PC_FPGA());
    EXPECT_EQ("PC-SW---0009", message.get_XPN_PC_SW());
    EXPECT_EQ("Ant-Tab-0010", message.get_Ant_Table());
}

TEST(DigarPN, CutsATextAtItsFirstNul) {
    DigarPN message;
    fillUntouched(message);
    message.data[2] = 0x4241;
    message.data[3] = 0x0043;
    EXPECT_EQ("ABC", message.get_XPN_AJ_Boot());
    message.data[56] = 0x4100;
    EXPECT_EQ("", message.get_Ant_Table());
}

TEST(DigarPN, TakesTheFrameOfMessage2518AndBecomesMessage15054) {
    DigarPN message;
    const Bytes frame = frameOf(2518, Bytes(180, 0x5A));
    ASSERT_TRUE(message.OkSetContent(frame.data(), 192));
    EXPECT_EQ(2518, message.header[1]);
    message.setUnitIdentifier();
    EXPECT_EQ(15054, message.header[1]);
    EXPECT_EQ(15054, message.msgId);
    EXPECT_THAT(dataOf(message), Each(0x5A));
}

TEST(DigarPN, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(lengthsTakenAsContent<DigarPN>(230), ElementsAre(192, 193));
}

// ---- 15051

TEST(ThreatData, StartsAsAZeroedFrameWithoutAnAckRequest) {
    const ThreatData message;
    EXPECT_THAT(headOf(message), ElementsAre(0x81FF, 15051, 100, 0x8000, 0));
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(ThreatData, HasItsTimeInTheFirstFourWordsLowWordFirst) {
    ThreatData message;
    fillUntouched(message);
    message.setGpsTime(1.5);  // 0x3FF8000000000000
    Bytes expected = untouchedBut(200, {{0, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}}});
    EXPECT_EQ(expected, dataOf(message));
    EXPECT_EQ(1.5, message.gpsTime());
}

TEST(ThreatData, BringsATimeIntoTheWeek) {
    const std::vector<std::pair<double, double>> times = {
        {-1.0, 604799.0},       {604800.5, 0.5},       {604800.0, 604800.0}, {0.0, 0.0},
        {1209600.0, 604800.0},  {1209600.5, 0.5},      {-604800.0, 0.0},     {-604800.5, 604799.5},
        {-1209601.0, 604799.0}, {604799.75, 604799.75}};
    for (const auto& [given, stored] : times) {
        ThreatData message;
        message.setGpsTime(given);
        EXPECT_EQ(stored, message.gpsTime()) << given;
    }
}

TEST(ThreatData, BringsHugeTimesIntoTheWeekAtOnce) {
    for (const double time :
         {1e300, -1e300, std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest(),
          -std::numeric_limits<double>::denorm_min()}) {
        ThreatData message;
        message.setGpsTime(time);
        EXPECT_GE(message.gpsTime(), 0.0);
        EXPECT_LE(message.gpsTime(), 604800.0);
    }
}

TEST(ThreatData, KeepsATimeThatIsNotFinite) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    ThreatData message;
    message.setGpsTime(infinity);
    EXPECT_EQ(infinity, message.gpsTime());
    message.setGpsTime(-infinity);
    EXPECT_EQ(-infinity, message.gpsTime());
    message.setGpsTime(std::nan(""));
    EXPECT_TRUE(std::isnan(message.gpsTime()));
}

TEST(ThreatData, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(lengthsTakenAsContent<ThreatData>(250), ElementsAre(212, 213));
}

}  // namespace
