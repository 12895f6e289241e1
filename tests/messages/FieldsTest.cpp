#include "gmock/gmock.h"
#include "messages/Fields.h"

namespace {

using testing::ElementsAre;

TEST(Fields, ABitFieldLeavesTheOtherBitsOfItsWordAlone) {
    fields::Frame<2> frame;
    frame.fill(0xEEEE);
    fields::BitField<1, 4, 4>::set(frame, 0x123);
    EXPECT_EQ(0xEE3E, frame[6]);
    EXPECT_EQ(0x3, (fields::BitField<1, 4, 4>::get(frame)));
    EXPECT_EQ(0xEEEE, frame[5]);
    EXPECT_EQ(0xEEEE, frame[7]);
}

TEST(Fields, AMachineFieldStandsInTheMachinesOwnOrder) {
    fields::Frame<4> frame;
    frame.fill(0xEEEE);
    fields::MachineField<1, float>::set(frame, 1.0F);  // 0x3F800000
    EXPECT_EQ(0xEEEE, frame[5]);
    EXPECT_EQ(0x0000, frame[6]);
    EXPECT_EQ(0x3F80, frame[7]);
    EXPECT_EQ(0xEEEE, frame[8]);
    EXPECT_EQ(1.0F, (fields::MachineField<1, float>::get(frame)));
}

TEST(Fields, BitsOfAByteLeaveTheOtherBitsOfItsWordAlone) {
    fields::Frame<2> frame;
    frame.fill(0xEEEE);
    fields::ByteBits<2, 1, 3>::set(frame, 0xFF);
    fields::ByteBits<3, 4, 4>::set(frame, 0);
    EXPECT_THAT(frame, ElementsAre(0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE, 0x0EEE, 0xEEEE));
    EXPECT_EQ(7, (fields::ByteBits<2, 1, 3>::get(frame)));
    EXPECT_EQ(0, (fields::ByteBits<3, 4, 4>::get(frame)));
}

TEST(Fields, AByteOfEvenNumberIsTheLowByteOfItsWord) {
    fields::Frame<2> frame;
    frame.fill(0xEEEE);
    fields::ByteField<0>::set(frame, 0x11);
    fields::ByteField<3>::set(frame, 0x122);
    EXPECT_EQ(0xEE11, frame[5]);
    EXPECT_EQ(0x22EE, frame[6]);
    EXPECT_EQ(0x22, fields::ByteField<3>::get(frame));
}

TEST(Fields, ANumberFieldStandsInItsFormat) {
    fields::Frame<5> frame;
    frame.fill(0xEEEE);
    fields::NumberField<0, OtwDECD>::set(frame, 1.0);
    EXPECT_EQ(0x4080, frame[5]);
    EXPECT_EQ(0, frame[6]);
    EXPECT_EQ(0, frame[7]);
    EXPECT_EQ(0, frame[8]);
    EXPECT_EQ(0xEEEE, frame[9]);
    EXPECT_EQ(1.0, (fields::NumberField<0, OtwDECD>::get(frame).AsDouble()));
}

struct Pair : fields::Record<1> {
    using First = fields::ByteField<0>;
    using Second = fields::ByteField<1>;
};

TEST(Fields, ARecordHasItsDataWordsAloneAndStartsAtZero) {
    Pair pair;
    static_assert(sizeof pair == 2);
    EXPECT_EQ(0, pair.data[0]);
    pair.set<Pair::First>(1);
    pair.set<Pair::Second>(2);
    EXPECT_EQ(0x0201, pair.data[0]);
    EXPECT_EQ(2, pair.get<Pair::Second>());
}

TEST(Fields, AGroupOfARepeatedOneIsReadAndWrittenByItsIndex) {
    using Pairs = fields::GroupField<1, Pair, 2, fields::WordField<0>>;
    static_assert(Pairs::end == 3);
    fields::Frame<4> frame;
    frame.fill(0xEEEE);
    Pair pair;
    pair.set<Pair::First>(1);
    pair.set<Pair::Second>(2);
    Pairs::set(frame, 1, pair);
    EXPECT_THAT(frame, ElementsAre(0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE, 0xEEEE, 0x0201,
                                   0xEEEE, 0xEEEE));
    EXPECT_EQ(1, Pairs::get(frame, 1).get<Pair::First>());
    EXPECT_EQ(0xEE, Pairs::get(frame, 0).get<Pair::First>());
}

TEST(Fields, ABitFieldDropsWhatIsTooWide) {
    fields::Frame<1> frame{};
    fields::BitField<0, 4, 4>::set(frame, 0xFFFF);
    EXPECT_EQ(0x00F0, frame[5]);
}

TEST(Fields, WordsAndBytesAreCopiedAsTheyStand) {
    fields::Record<4> record;
    record.data.fill(0xEEEE);
    record.set<fields::WordsField<1, 2>>({0x1234, 0x5678});
    EXPECT_THAT(record.data, ElementsAre(0xEEEE, 0x1234, 0x5678, 0xEEEE));
    record.set<fields::BytesField<4, 2>>({0x01, 0x02});
    EXPECT_THAT(record.data, ElementsAre(0xEEEE, 0x1234, 0x0201, 0xEEEE));
    EXPECT_THAT((record.get<fields::WordsField<1, 2>>()), ElementsAre(0x1234, 0x0201));
    EXPECT_THAT((record.get<fields::BytesField<2, 2>>()), ElementsAre(0x34, 0x12));
}

TEST(Fields, TextIsCutAtItsWidthAndPaddedWithBlanks) {
    fields::Record<4> record;
    record.data.fill(0xEEEE);
    record.set<fields::TextField<2, 4>>("ABCDEFG");
    EXPECT_THAT(record.data, ElementsAre(0xEEEE, 0x4241, 0x4443, 0xEEEE));
    EXPECT_EQ("ABCD", (record.get<fields::TextField<2, 4>>()));
    record.set<fields::TextField<2, 4>>("A");
    EXPECT_THAT(record.data, ElementsAre(0xEEEE, 0x2041, 0x2020, 0xEEEE));
}

TEST(Fields, SwappedTextHasTheBytesOfEachWordExchanged) {
    fields::Record<4> record;
    record.data.fill(0xEEEE);
    record.set<fields::SwappedTextField<2, 4>>("ABC");
    EXPECT_THAT(record.data, ElementsAre(0xEEEE, 0x4142, 0x4320, 0xEEEE));
    EXPECT_EQ("ABC ", (record.get<fields::SwappedTextField<2, 4>>()));
    record.data[2] = 0x4300;
    EXPECT_EQ("ABC", (record.get<fields::SwappedTextField<2, 4>>()));
}

}  // namespace
