#include <cmath>
#include <limits>

#include "gmock/gmock.h"
#include "messages/PntdMessages.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::Each;
using testing::ElementsAre;

Bytes text(char const* characters) {
    return {characters, characters + std::strlen(characters)};
}

template <typename Record>
Record untouchedRecord() {
    Record record;
    record.data.fill(0xEEEE);
    return record;
}

/// The time 1.0, which every record begins with.
Bytes const timeBytes = {0x80, 0x40, 0, 0, 0, 0, 0, 0};

// What all of them share.

template <typename Message>
class PntdMessage : public testing::Test {
public:
    using Payload = decltype(Message().payload());
};
using AllMessages =
    testing::Types<PntDBitCmdMsg, CorvaneStatusMsg, PntdStatusMsg, PntdFaultReportMsg,
                   PntdLogReportMsg, PntdBitStatusMsg, PntdFaultLabelsMsg, PntdIdMsg>;
TYPED_TEST_SUITE(PntdMessage, AllMessages);

TYPED_TEST(PntdMessage, StartsAsAFrameOfZeros) {
    using Record = typename TestFixture::Payload;
    TypeParam const message;
    EXPECT_EQ(0x81FF, message.header[0]);
    EXPECT_EQ(Record::id, message.header[1]);
    EXPECT_EQ(Record::words, message.header[2]);
    EXPECT_EQ(0x8000, message.header[3]);
    EXPECT_EQ(0, message.header[4]);
    EXPECT_THAT(dataOf(message), Each(0));
    EXPECT_EQ(dataOf(message).size(), sizeof(Record));
}

TYPED_TEST(PntdMessage, BeginsWithItsTime) {
    using Record = typename TestFixture::Payload;
    auto record = untouchedRecord<Record>();
    record.template set<typename Record::Time>(1.0);
    EXPECT_EQ(untouchedBut(sizeof(Record), {{0, timeBytes}}), dataOf(record));
    EXPECT_EQ(1.0, record.template get<typename Record::Time>().AsDouble());
}

TYPED_TEST(PntdMessage, HoldsNoTimeThatIsNoNumber) {
    using Record = typename TestFixture::Payload;
    Record record;
    for (double const time :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        record.template set<typename Record::Time>(time);
        EXPECT_TRUE(std::isfinite(record.template get<typename Record::Time>().AsDouble()));
    }
}

TYPED_TEST(PntdMessage, CarriesItsRecordWhole) {
    using Record = typename TestFixture::Payload;
    Record record;
    for (std::size_t i = 0; i < record.data.size(); ++i) {
        record.data[i] = static_cast<std::uint16_t>(0x0101 * i);
    }
    TypeParam message;
    message.setPayload(record);
    EXPECT_EQ(dataOf(record), dataOf(message));
    EXPECT_EQ(record.data, message.payload().data);
    EXPECT_EQ(Record::id, message.header[1]);
}

TYPED_TEST(PntdMessage, TakesAFrameOfItsOwnLengthOnly) {
    constexpr unsigned whole = 12 + sizeof(typename TestFixture::Payload);
    EXPECT_THAT(lengthsTakenAsContent<TypeParam>(whole + 40), ElementsAre(whole, whole + 1));
}

template <typename Message>
void expectTable(unsigned id, unsigned words) {
    EXPECT_EQ(id, Message().header[1]);
    EXPECT_EQ(words, Message().header[2]);
}

TEST(PntdMessages, HaveTheirIdentifiersAndWordCounts) {
    expectTable<PntDBitCmdMsg>(27530, 9);
    expectTable<CorvaneStatusMsg>(27531, 9);
    expectTable<PntdStatusMsg>(27532, 9);
    expectTable<PntdFaultReportMsg>(27533, 27);
    expectTable<PntdLogReportMsg>(27534, 54);
    expectTable<PntdBitStatusMsg>(27535, 200);
    expectTable<PntdFaultLabelsMsg>(27536, 92);
    expectTable<PntdIdMsg>(27558, 44);
}

TEST(PntdMessages, AskForAnAckWhenTheyGoToTheDevice) {
    EXPECT_EQ(0x9000, PNTDBIT::PntDBitCmdMsg::flagWord);
    EXPECT_EQ(0x9000, PNTDBIT::CorvaneStatusMsg::flagWord);
}

// The records, one by one.

using PNTDBIT::PntdBitEntry;
using PNTDBIT::PntdFaultLabel;

TEST(PntDBitCmdMsg, HasTheCommandInByteEight) {
    using Record = PNTDBIT::PntDBitCmdMsg;
    std::vector<std::pair<std::uint8_t, unsigned char>> const commands = {
        {PNTDBIT::commandComponentCbit, 1}, {PNTDBIT::commandBitStatus, 2},
        {PNTDBIT::commandZeroize, 3},       {PNTDBIT::commandStarted, 4},
        {PNTDBIT::commandIdentifiers, 6},   {PNTDBIT::commandSlip, 7}};
    for (auto const& [command, byte] : commands) {
        auto record = untouchedRecord<Record>();
        record.set<Record::Command>(command);
        EXPECT_EQ(untouchedBut(18, {{8, {byte}}}), dataOf(record));
    }
}

TEST(PntDBitCmdMsg, HasTheTimeOutOfTheCbitInBytesTenAndEleven) {
    using Record = PNTDBIT::PntDBitCmdMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::CbitTimeOut>(300);
    EXPECT_EQ(untouchedBut(18, {{10, {0x2C, 0x01}}}), dataOf(record));
}

TEST(PntDBitCmdMsg, TellsTheModeOfTheSlipChannelInBytesTenAndTwelve) {
    using Record = PNTDBIT::PntDBitCmdMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::SlipMode>(3);
    record.set<Record::SlipStart>(static_cast<std::uint16_t>(PNTDBIT::ePntd_ProgStart::normal));
    EXPECT_EQ(untouchedBut(18, {{10, {0xEB}}, {12, {0xEF}}}), dataOf(record));
    record.set<Record::SlipMode>(0);
    record.set<Record::SlipStart>(static_cast<std::uint16_t>(PNTDBIT::ePntd_ProgStart::debug));
    EXPECT_EQ(untouchedBut(18, {{10, {0xE8}}, {12, {0xEE}}}), dataOf(record));
}

TEST(CorvaneStatusMsg, HasKindAndFailedFlag) {
    using Record = PNTDBIT::CorvaneStatusMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::Kind>(Record::kindBitState);
    record.set<Record::Failed>(1);
    EXPECT_EQ(untouchedBut(18, {{8, {1}}, {10, {0xEF}}}), dataOf(record));
    record.set<Record::Kind>(Record::kindComponentCbitEnded);
    record.set<Record::Failed>(0);
    EXPECT_EQ(untouchedBut(18, {{8, {2}}}), dataOf(record));
}

template <typename Message, typename Record = decltype(Message().payload())>
Record recordOf(Bytes const& data) {
    Bytes const frame = frameOf(Record::id, data);
    Message message;
    EXPECT_TRUE(message.OkSetContent(frame.data(), static_cast<unsigned short>(frame.size())));
    return message.payload();
}

TEST(PntdStatusMsg, TellsUnitPortAndOutcomeOfADataTransfer) {
    using Record = PNTDBIT::PntdStatusMsg;
    auto const record =
        recordOf<PntdStatusMsg>({0x80, 0x40, 0, 0, 0, 0, 0, 0, 1, 0, 0xF4, 0xFE, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(1.0, record.get<Record::Time>().AsDouble());
    EXPECT_EQ(Record::kindDataTransfer, record.get<Record::Kind>());
    EXPECT_EQ(4, record.get<Record::TransferUnit>());  // 111 10 100
    EXPECT_EQ(2, record.get<Record::TransferPort>());
    EXPECT_EQ(Record::transferFailed, record.get<Record::TransferOutcome>());  // 111111 10
    EXPECT_EQ(0, record.get<Record::SanitizePassed>());
    EXPECT_EQ(0, record.get<Record::SlipOpen>());
}

TEST(PntdStatusMsg, HasItsFieldsAtTheirPlaces) {
    using Record = PNTDBIT::PntdStatusMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::Kind>(Record::kindDataTransfer);
    record.set<Record::TransferUnit>(1);
    record.set<Record::TransferPort>(2);
    record.set<Record::TransferOutcome>(Record::transferPassed);
    EXPECT_EQ(untouchedBut(18, {{8, {1}}, {10, {0xF1, 0xEF}}}), dataOf(record));
    record = untouchedRecord<Record>();
    record.set<Record::Kind>(Record::kindSanitize);
    record.set<Record::SanitizePassed>(1);
    EXPECT_EQ(untouchedBut(18, {{8, {2}}, {10, {0xEF}}}), dataOf(record));
    record = untouchedRecord<Record>();
    record.set<Record::Kind>(Record::kindSlip);
    record.set<Record::SlipOpen>(1);
    EXPECT_EQ(untouchedBut(18, {{8, {3}}, {10, {0xEF}}}), dataOf(record));
    EXPECT_EQ(1, Record::transferInProgress);
}

TEST(PntdFaultReportMsg, HasItsFieldsAtTheirPlaces) {
    using Record = PNTDBIT::PntdFaultReportMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::BitType>(1);
    record.set<Record::FaultStatus>(2);
    record.set<Record::PostFailed>(1);
    record.set<Record::BbitFailed>(0);
    record.set<Record::CbitFailed>(0);
    record.set<Record::TestId>(0x12);
    record.set<Record::Number>(5);
    record.set<Record::Category>("a1b2c3d4e5");
    record.set<Record::Location>("f1f2f3f4f5");
    record.set<Record::Outcome>("g1g2");
    record.set<Record::Relation>("h1h2h3h4h5h6h7h8");
    EXPECT_EQ(untouchedBut(54, {{8, {0x99, 0x12, 0xED}},  // 1 0 0 1 10 01
                                {12, text("1a2b3c4d5e")},
                                {22, text("1f2f3f4f5f")},
                                {32, text("1g2g  ")},
                                {38, text("1h2h3h4h5h6h7h8h")}}),
              dataOf(record));
    EXPECT_EQ(0x99, record.get<Record::Flags>());
}

TEST(PntdFaultReportMsg, CutsTextsWithoutATerminatorAtTheirWidth) {
    using Record = PNTDBIT::PntdFaultReportMsg;
    Bytes data(54, 'x');
    data[23] = 0;  // the first character of the location, its bytes being exchanged
    data[33] = 'y';
    auto const record = recordOf<PntdFaultReportMsg>(data);
    EXPECT_EQ(std::string(10, 'x'), record.get<Record::Category>());
    EXPECT_EQ("", record.get<Record::Location>());
    EXPECT_EQ("yxxxxx", record.get<Record::Outcome>());
    EXPECT_EQ(std::string(16, 'x'), record.get<Record::Relation>());
}

TEST(PntdFaultReportMsg, NumbersTheBuiltInTests) {
    using PNTDBIT::ePntD_BitType;
    EXPECT_EQ(1, static_cast<int>(ePntD_BitType::post));
    EXPECT_EQ(2, static_cast<int>(ePntD_BitType::bbit));
    EXPECT_EQ(3, static_cast<int>(ePntD_BitType::cbit));
}

TEST(PntdLogReportMsg, HasItsFieldsAtTheirPlaces) {
    using Record = PNTDBIT::PntdLogReportMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::LowNumber>(5);
    record.set<Record::HighNumber>(2);
    record.set<Record::Category>("a1b2c3d4e5");
    record.set<Record::Location>("f1f2f3f4f5");
    record.set<Record::Outcome>("g1g2g3");
    record.set<Record::Relation>("h1h2h3h4h5h6h7h8");
    record.set<Record::Description>("i1");
    EXPECT_EQ(untouchedBut(108, {{8, {0xF5}},  // 111 10 101
                                 {10, text("1a2b3c4d5e")},
                                 {20, text("1f2f3f4f5f")},
                                 {30, text("1g2g3g")},
                                 {36, text("1h2h3h4h5h6h7h8h")},
                                 {52, text("1i")},
                                 {54, Bytes(54, ' ')}}),
              dataOf(record));
    EXPECT_EQ(0xF5, record.get<Record::Flags>());
}

TEST(PntdLogReportMsg, CutsADescriptionWithoutATerminatorAtItsWidth) {
    auto const record = recordOf<PntdLogReportMsg>(Bytes(108, 'x'));
    EXPECT_EQ(std::string(56, 'x'), record.get<PNTDBIT::PntdLogReportMsg::Description>());
}

TEST(PntdBitStatusMsg, HasItsFieldsAtTheirPlaces) {
    using Record = PNTDBIT::PntdBitStatusMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::SystemFailed>(1);
    record.set<Record::PostFailed>(0);
    record.set<Record::BbitFailed>(0);
    record.set<Record::CbitFailed>(1);
    record.set<Record::EntryCount>(195);
    auto entry = untouchedRecord<PntdBitEntry>();
    entry.set<PntdBitEntry::BitType>(3);
    entry.set<PntdBitEntry::FaultStatus>(1);
    entry.set<PntdBitEntry::TestId>(0x12);
    Record::Entries::set(record, 0, entry);
    Record::Entries::set(record, 194, entry);
    EXPECT_EQ(untouchedBut(400, {{8, {0xE9, 195, 0xE7, 0x12}}, {398, {0xE7, 0x12}}}),
              dataOf(record));
    EXPECT_EQ(0x12, Record::Entries::get(record, 194).get<PntdBitEntry::TestId>());
}

TEST(PntdBitStatusMsg, NumbersTheFaultStatuses) {
    using PNTDBIT::ePntD_FaultType;
    EXPECT_EQ(0, static_cast<int>(ePntD_FaultType::none));
    EXPECT_EQ(1, static_cast<int>(ePntD_FaultType::intermittent));
    EXPECT_EQ(2, static_cast<int>(ePntD_FaultType::hard));
}

/// A whole message with so many entries told, the first of CBIT, test 1, the next of test 2.
Bytes bitStatusFrame(unsigned char told) {
    Bytes data(400, 0);
    data[8] = 0x0F;
    data[9] = told;
    for (std::size_t i = 0; i < 195; ++i) {
        data[10 + 2 * i] = 0x07;
        data[11 + 2 * i] = static_cast<unsigned char>(i + 1);
    }
    return frameOf(27535, data);
}

TEST(PntdBitStatusMsg, IsReadFrom22BytesOnUpToTheWholeRecord) {
    std::vector<unsigned> expected;
    for (unsigned length = 22; length <= 413; ++length) {
        expected.push_back(length);
    }
    EXPECT_EQ(expected, acceptedLengths(500, [](unsigned char const* bytes, unsigned short length) {
                  return PNTDBIT::readBitStatus(bytes, length).has_value();
              }));
}

TEST(PntdBitStatusMsg, HasNoMoreEntriesThanArrived) {
    Bytes const whole = bitStatusFrame(255);
    for (std::size_t length = 22; length <= 412; length += 2) {
        Block const block(whole, length);
        auto const received = PNTDBIT::readBitStatus(block.bytes(), block.length());
        ASSERT_TRUE(received) << length;
        EXPECT_EQ((length - 22) / 2, received->groups) << length;
        Bytes const data = dataOf(received->record);
        EXPECT_EQ(Bytes(whole.begin() + 10, whole.begin() + static_cast<int>(length) - 2),
                  Bytes(data.begin(), data.begin() + static_cast<int>(length) - 12));
        EXPECT_THAT(Bytes(data.begin() + static_cast<int>(length) - 12, data.end()), Each(0));
    }
}

TEST(PntdBitStatusMsg, HasNoMoreEntriesThanAreCounted) {
    for (std::size_t const told : {0U, 1U, 2U, 194U, 195U}) {
        Bytes const whole = bitStatusFrame(static_cast<unsigned char>(told));
        Block const block(whole, whole.size());
        auto const received = PNTDBIT::readBitStatus(block.bytes(), block.length());
        ASSERT_TRUE(received);
        EXPECT_EQ(told, received->groups);
    }
}

TEST(PntdBitStatusMsg, TellsSummaryAndEntries) {
    using Record = PNTDBIT::PntdBitStatusMsg;
    Bytes const whole = bitStatusFrame(2);
    auto const received = PNTDBIT::readBitStatus(whole.data(), 26);
    ASSERT_TRUE(received);
    EXPECT_EQ(1, received->record.get<Record::SystemFailed>());
    EXPECT_EQ(1, received->record.get<Record::PostFailed>());
    EXPECT_EQ(1, received->record.get<Record::BbitFailed>());
    EXPECT_EQ(1, received->record.get<Record::CbitFailed>());
    ASSERT_EQ(2U, received->groups);
    auto const second = Record::Entries::get(received->record, 1);
    EXPECT_EQ(3, second.get<PntdBitEntry::BitType>());
    EXPECT_EQ(1, second.get<PntdBitEntry::FaultStatus>());
    EXPECT_EQ(2, second.get<PntdBitEntry::TestId>());
}

TEST(PntdFaultLabelsMsg, HasItsFieldsAtTheirPlaces) {
    using Record = PNTDBIT::PntdFaultLabelsMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::LabelCount>(3);
    record.set<Record::MessageCount>(0xA);
    record.set<Record::MessageNumber>(2);
    auto label = untouchedRecord<PntdFaultLabel>();
    label.set<PntdFaultLabel::BitType>(1);
    label.set<PntdFaultLabel::TestId>(0x34);
    label.set<PntdFaultLabel::Descriptor>("a1");
    Record::Labels::set(record, 0, label);
    Record::Labels::set(record, 2, label);
    Bytes written = {0xED, 0x34, '1', 'a'};
    written.resize(58, ' ');
    EXPECT_EQ(untouchedBut(184, {{8, {3, 0x2A}}, {10, written}, {126, written}}), dataOf(record));
    EXPECT_EQ("a1" + std::string(54, ' '),
              Record::Labels::get(record, 2).get<PntdFaultLabel::Descriptor>());
}

Bytes labelsFrame(unsigned char told) {
    Bytes data(184, 'x');
    data[8] = told;
    return frameOf(27536, data);
}

TEST(PntdFaultLabelsMsg, IsReadFromItsCountUpToTheWholeRecord) {
    std::vector<unsigned> expected;
    for (unsigned length = 22; length <= 197; ++length) {
        expected.push_back(length);
    }
    EXPECT_EQ(expected, acceptedLengths(300, [](unsigned char const* bytes, unsigned short length) {
                  return PNTDBIT::readFaultLabels(bytes, length).has_value();
              }));
}

TEST(PntdFaultLabelsMsg, HasNoMoreLabelsThanArrivedWhole) {
    Bytes const whole = labelsFrame(255);
    for (std::size_t length = 22; length <= 196; ++length) {
        Block const block(whole, length);
        auto const received = PNTDBIT::readFaultLabels(block.bytes(), block.length());
        ASSERT_TRUE(received) << length;
        std::size_t const arrived = length < 80 ? 0 : length < 138 ? 1 : length < 196 ? 2 : 3;
        EXPECT_EQ(arrived, received->groups) << length;
    }
}

TEST(PntdFaultLabelsMsg, HasNoMoreLabelsThanAreCounted) {
    for (unsigned char told = 0; told <= 3; ++told) {
        Bytes const whole = labelsFrame(told);
        auto const received = PNTDBIT::readFaultLabels(whole.data(), 196);
        ASSERT_TRUE(received);
        EXPECT_EQ(told, received->groups);
    }
}

TEST(PntdFaultLabelsMsg, CutsADescriptorAtItsFirstNulOrAtItsWidth) {
    using Record = PNTDBIT::PntdFaultLabelsMsg;
    Bytes whole = labelsFrame(3);
    whole[10 + 68 + 2 + 3] = 0;  // character 2 of the second label
    auto const received = PNTDBIT::readFaultLabels(whole.data(), 196);
    ASSERT_TRUE(received);
    EXPECT_EQ(std::string(56, 'x'),
              Record::Labels::get(received->record, 0).get<PntdFaultLabel::Descriptor>());
    EXPECT_EQ("xx", Record::Labels::get(received->record, 1).get<PntdFaultLabel::Descriptor>());
}

TEST(PntdIdMsg, HasItsFieldsAtTheirPlaces) {
    using Record = PNTDBIT::PntdIdMsg;
    auto record = untouchedRecord<Record>();
    record.set<Record::PartNumber>("a1a2a3a4a5a6a7a8");
    record.set<Record::SerialNumber>("b1b2b3b4b5b6b7b8");
    record.set<Record::Software>("c1c2c3c4c5c6c7c8");
    record.set<Record::Firmware>("d1d2d3d4d5d6d7d8");
    record.set<Record::OsVersion>("e1e2");
    EXPECT_EQ(untouchedBut(88, {{8, text("1a2a3a4a5a6a7a8a")},
                                {24, text("1b2b3b4b5b6b7b8b")},
                                {40, text("1c2c3c4c5c6c7c8c")},
                                {56, text("1d2d3d4d5d6d7d8d")},
                                {72, text("1e2e            ")}}),
              dataOf(record));
}

TEST(PntdIdMsg, CutsItsTextsAtTheFirstNulOrAtTheirWidth) {
    using Record = PNTDBIT::PntdIdMsg;
    Bytes data(88, 'x');
    data[25] = 0;  // the first character of the serial number
    auto const record = recordOf<PntdIdMsg>(data);
    EXPECT_EQ(std::string(16, 'x'), record.get<Record::PartNumber>());
    EXPECT_EQ("", record.get<Record::SerialNumber>());
    EXPECT_EQ(std::string(16, 'x'), record.get<Record::OsVersion>());
}

}  // namespace
