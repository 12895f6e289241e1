#include <string>
#include <thread>
#include <vector>

#include "gmock/gmock.h"
#include "zephon/CommandedBit.h"
#include "zephon/FaultLabels.h"
#include "zephon/PntdBit.h"

namespace {

using namespace PNTDBIT;
using aspn2_msgs::idl::CommandResponse;
using Labels = Received<PNTDBIT::PntdFaultLabelsMsg>;

PNTDBIT::PntdFaultReportMsg makeFaultReport(unsigned flags) {
    using Report = PNTDBIT::PntdFaultReportMsg;
    Report report;
    report.set<Report::Flags>(static_cast<std::uint16_t>(flags));
    report.set<Report::TestId>(200);
    report.set<Report::Number>(5);
    report.set<Report::Category>("CAT");
    report.set<Report::Location>("LOCATION99");
    report.set<Report::Outcome>("FAILED");
    report.set<Report::Relation>("RELATED TO POWER");
    return report;
}

PntdBitEntry makeEntry(unsigned type, unsigned status, unsigned testId) {
    PntdBitEntry entry;
    entry.set<PntdBitEntry::BitType>(static_cast<std::uint16_t>(type));
    entry.set<PntdBitEntry::FaultStatus>(static_cast<std::uint16_t>(status));
    entry.set<PntdBitEntry::TestId>(static_cast<std::uint16_t>(testId));
    return entry;
}

Labels makeLabels(std::vector<std::string> const& descriptors, unsigned type = 3,
                  unsigned testId = 7) {
    using Message = PNTDBIT::PntdFaultLabelsMsg;
    Labels labels;
    labels.record.set<Message::LabelCount>(static_cast<std::uint16_t>(descriptors.size()));
    labels.groups = descriptors.size();
    for (std::size_t i = 0; i < descriptors.size(); ++i) {
        PntdFaultLabel label;
        label.set<PntdFaultLabel::BitType>(static_cast<std::uint16_t>(type));
        label.set<PntdFaultLabel::TestId>(static_cast<std::uint16_t>(testId));
        // Its unused places are NUL.
        const std::string text = descriptors[i] + std::string(56 - descriptors[i].size(), '\0');
        label.set<PntdFaultLabel::Descriptor>(text);
        Message::Labels::set(labels.record, i, label);
    }
    return labels;
}

std::string described(FaultLabels const& labels, PntdBitEntry const& entry) {
    std::string text = "what stood there before";
    labels.describe(entry, text);
    return text;
}

// ---- Texts

TEST(PntdBit, TheFourResultsStandInTheirOrder) {
    EXPECT_EQ("Zephon: PNTD BIT= SYS:Pass POST:Pass BBIT:Pass CBIT:Pass",
              describeRollup("Zephon", false, false, false, false));
    EXPECT_EQ("Zephon: PNTD BIT= SYS:Fail POST:Pass BBIT:Pass CBIT:Pass",
              describeRollup("Zephon", true, false, false, false));
    EXPECT_EQ("Zephon: PNTD BIT= SYS:Pass POST:Fail BBIT:Pass CBIT:Pass",
              describeRollup("Zephon", false, true, false, false));
    EXPECT_EQ("Zephon: PNTD BIT= SYS:Pass POST:Pass BBIT:Fail CBIT:Pass",
              describeRollup("Zephon", false, false, true, false));
    EXPECT_EQ("Zephon: PNTD BIT= SYS:Pass POST:Pass BBIT:Pass CBIT:Fail",
              describeRollup("Zephon", false, false, false, true));
}

TEST(PntdBit, EachKindOfTestHasItsMaintenanceCategory) {
    EXPECT_EQ(0, maintenanceCategory(ePntD_BitType::none));
    EXPECT_EQ(3, maintenanceCategory(ePntD_BitType::post));
    EXPECT_EQ(7, maintenanceCategory(ePntD_BitType::bbit));
    EXPECT_EQ(5, maintenanceCategory(ePntD_BitType::cbit));
}

TEST(PntdBit, EntriesAreListedWithTypeTestAndStatus) {
    using Message = PNTDBIT::PntdBitStatusMsg;
    Received<Message> status;
    status.groups = 4;
    for (unsigned i = 0; i < 4; ++i) {
        Message::Entries::set(status.record, i, makeEntry(i, i, 252 + i));
    }
    EXPECT_EQ(
        "BitType:  TestId: 252 Fault Status: NoFlt\n"
        "BitType: POST TestId: 253 Fault Status: Intrm\n"
        "BitType: BBIT TestId: 254 Fault Status: Hard\n"
        "BitType: CBIT TestId: 255 Fault Status: \n",
        describeEntries(status));
}

TEST(PntdBit, ADataTransferHasFourOutcomes) {
    using Status = PNTDBIT::PntdStatusMsg;
    const std::vector<std::string> outcomes{"NA", "In Progress", "Failed", "Passed"};
    for (unsigned outcome = 0; outcome < 4; ++outcome) {
        Status status;
        status.set<Status::TransferUnit>(7);
        status.set<Status::TransferPort>(3);
        status.set<Status::TransferOutcome>(static_cast<std::uint16_t>(outcome));
        EXPECT_EQ("Data Transfer Status ZP:7 COM3 " + outcomes[outcome],
                  describeDataTransfer(status));
    }
}

TEST(PntdBit, AReportWithContradictingFlagsIsInvalid) {
    for (unsigned flags = 0; flags < 256; ++flags) {
        const bool invalid = (flags & 0x0CU) == 0x0C || (flags & 0x1FU) == 17 ||
                             (flags & 0x2FU) == 34 || (flags & 0x4FU) == 67;
        EXPECT_EQ(!invalid, isValid(makeFaultReport(flags))) << flags;
    }
    for (const unsigned flags : {0x11U, 0x22U, 0x43U}) {
        EXPECT_FALSE(isValid(makeFaultReport(flags))) << flags;
    }
    EXPECT_TRUE(isValid(makeFaultReport(0x15)));
}

TEST(PntdBit, AReportIsToldWithItsWordsOneBlankApart) {
    const std::string rest =
        " for test 200 5 category CAT        location LOCATION99 outcome FAILED relation "
        "RELATED TO POWER";
    EXPECT_EQ("PNTD BIT= PNTD:Fail POST:Fail BBIT:Pass CBIT:Pass" + rest,
              describe(makeFaultReport(0x15)));
    EXPECT_EQ("PNTD BIT= PNTD:Pass POST:Pass BBIT:Fail CBIT:Fail" + rest,
              describe(makeFaultReport(0xE8)));
}

TEST(PntdBit, ALogReportIsInvalidWithBothBitsOfAPair) {
    using Report = PNTDBIT::PntdLogReportMsg;
    for (unsigned flags = 0; flags < 256; ++flags) {
        Report report;
        report.set<Report::Flags>(static_cast<std::uint16_t>(flags));
        const bool invalid = (flags & 0x06U) == 0x06 || (flags & 0x18U) == 0x18;
        EXPECT_EQ(!invalid, isValid(report)) << flags;
    }
}

TEST(PntdBit, ALogReportIsToldByItsDescriptionAndItsOriginApart) {
    using Report = PNTDBIT::PntdLogReportMsg;
    Report report;
    report.set<Report::Flags>(0x15);
    report.set<Report::Category>("CATEGORY99");
    report.set<Report::Location>("LOCATION99");
    report.set<Report::Outcome>("FAILED");
    report.set<Report::Relation>("RELATED TO POWER");
    report.set<Report::Description>(std::string(56, 'd'));
    EXPECT_EQ("PNTD RPT: " + std::string(56, 'd'), describe(report));
    EXPECT_EQ(
        "PNTD BIT= 2 5 category CATEGORY99 location LOCATION99 outcome FAILED relation RELATED TO "
        "POWER description " +
            std::string(56, 'd'),
        describeOrigin(report));
}

TEST(PntdBit, LabelsAreListedUnderWhatTheMessageCounts) {
    auto labels = makeLabels({"FIRST", "SECOND"}, 2, 9);
    using Message = PNTDBIT::PntdFaultLabelsMsg;
    labels.record.set<Message::LabelCount>(200);
    labels.record.set<Message::MessageCount>(15);
    labels.record.set<Message::MessageNumber>(14);
    EXPECT_EQ(
        "PNTD BIT= labels in this message= 200 message 14 of 15\n"
        " BIT Type 2 TestId 9 Descriptor= FIRST\n"
        " BIT Type 2 TestId 9 Descriptor= SECOND\n",
        describe(labels));
}

// ---- Labels

TEST(FaultLabels, AFaultIsDescribedByTypeTestStatusAndLabel) {
    FaultLabels labels;
    labels.add(makeLabels({"OSCILLATOR"}));
    EXPECT_EQ("CBIT Tst: 7 Hard: OSCILLATOR", described(labels, makeEntry(3, 2, 7)));
    EXPECT_EQ("CBIT Tst: 7 Intrm: OSCILLATOR", described(labels, makeEntry(3, 1, 7)));
}

TEST(FaultLabels, AFaultWithoutALabelHasNoTail) {
    FaultLabels labels;
    EXPECT_EQ("POST Tst: 0 Hard", described(labels, makeEntry(1, 2, 0)));
    labels.add(makeLabels({"OSCILLATOR"}));
    for (auto const& entry : {makeEntry(3, 2, 6), makeEntry(3, 2, 8), makeEntry(2, 2, 7)}) {
        EXPECT_EQ(std::string::npos, described(labels, entry).find(": OSC"));
    }
    EXPECT_EQ("BBIT Tst: 255 Hard", described(labels, makeEntry(2, 2, 255)));
}

TEST(FaultLabels, AStatusOfThreeHasNoName) {
    FaultLabels labels;
    EXPECT_EQ("CBIT Tst: 7 ", described(labels, makeEntry(3, 3, 7)));
    labels.add(makeLabels({"OSCILLATOR"}));
    EXPECT_EQ("CBIT Tst: 7 : OSCILLATOR", described(labels, makeEntry(3, 3, 7)));
}

TEST(FaultLabels, ATestOfNoKindHasNoNameInFront) {
    FaultLabels labels;
    labels.add(makeLabels({"ODD ONE"}, 0));
    EXPECT_EQ(" Tst: 7 Hard: ODD ONE", described(labels, makeEntry(0, 2, 7)));
}

TEST(FaultLabels, OfTwoLabelsTheOneThatSortsFirstIsTaken) {
    FaultLabels labels;
    labels.add(makeLabels({"ZETA", "BETA"}));
    EXPECT_EQ("CBIT Tst: 7 Hard: BETA", described(labels, makeEntry(3, 2, 7)));
    labels.add(makeLabels({"ALPHA", ""}));
    EXPECT_EQ("CBIT Tst: 7 Hard: ", described(labels, makeEntry(3, 2, 7)));
}

TEST(FaultLabels, ARepeatChangesNothing) {
    FaultLabels labels;
    EXPECT_EQ(2U, labels.add(makeLabels({"A", "B"})));
    EXPECT_EQ(2U, labels.add(makeLabels({"A", "B"})));
    EXPECT_EQ(2U, labels.add(makeLabels({"A", "A", "A"})));
    EXPECT_EQ(3U, labels.add(makeLabels({"A"}, 2)));
    EXPECT_EQ(4U, labels.add(makeLabels({"A"}, 3, 8)));
}

TEST(FaultLabels, ADescriptorEndsAtItsFirstNulAndKeepsItsBlanks) {
    FaultLabels labels;
    labels.add(makeLabels({std::string("LEFT  \0RIGHT", 12)}));
    EXPECT_EQ("CBIT Tst: 7 Hard: LEFT  ", described(labels, makeEntry(3, 2, 7)));
    labels.add(makeLabels({std::string(56, 'F')}, 2));
    EXPECT_EQ("BBIT Tst: 7 Hard: " + std::string(56, 'F'), described(labels, makeEntry(2, 2, 7)));
}

TEST(FaultLabels, BeyondTheLimitLabelsAreIgnored) {
    FaultLabels labels;
    for (unsigned i = 0; i + 1 < FaultLabels::capacity; ++i) {
        ASSERT_EQ(i + 1U, labels.add(makeLabels({std::to_string(i)}, i % 4, i / 16)));
    }
    EXPECT_EQ(4096U, labels.add(makeLabels({"LAST", "SURPLUS", "SURPLUS TOO"}, 2, 0)));
    EXPECT_EQ(4096U, labels.add(makeLabels({"!"}, 3, 255)));
    EXPECT_EQ("CBIT Tst: 255 Hard: 4083", described(labels, makeEntry(3, 2, 255)));
    EXPECT_EQ("BBIT Tst: 0 Hard: 10", described(labels, makeEntry(2, 2, 0)));
}

TEST(FaultLabels, ThreadsMayAddAndDescribeAtOnce) {
    FaultLabels labels;
    std::vector<std::thread> threads;
    for (unsigned type = 0; type < 4; ++type) {
        threads.emplace_back([&labels, type] {
            for (unsigned i = 0; i < 512; ++i) {
                const std::string name = std::to_string(i);
                labels.add(makeLabels({name}, type, i % 256));
                EXPECT_NE("", described(labels, makeEntry((type + 1) % 4, 2, i % 256)));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(2048U, labels.add(makeLabels({})));
}

// ---- The commanded test

CommandResponse commandOf(std::uint32_t identifier) {
    CommandResponse record;
    record.command_identifier(static_cast<std::int32_t>(identifier));
    return record;
}

TEST(CommandedBit, IsAnsweredOnceWhenBothHaveEnded) {
    CommandedBit bit;
    EXPECT_FALSE(bit.takeAnswered());
    bit.start(commandOf(1));
    EXPECT_FALSE(bit.takeAnswered());
    bit.endEngine();
    const auto answered = bit.takeAnswered();
    ASSERT_TRUE(answered);
    EXPECT_EQ(1, answered->command_identifier());
    EXPECT_FALSE(bit.takeAnswered());
    bit.endEngine();
    EXPECT_FALSE(bit.takeAnswered());
}

TEST(CommandedBit, AnEndFromBeforeTheCommandDoesNotCount) {
    CommandedBit bit;
    bit.endEngine();
    bit.start(commandOf(1));
    EXPECT_FALSE(bit.takeAnswered());
}

TEST(CommandedBit, ALaterCommandTakesThePlaceOfTheOneThatWaits) {
    CommandedBit bit;
    bit.start(commandOf(1));
    bit.endEngine();
    bit.start(commandOf(2));
    EXPECT_FALSE(bit.takeAnswered());
    bit.endEngine();
    const auto answered = bit.takeAnswered();
    ASSERT_TRUE(answered);
    EXPECT_EQ(2, answered->command_identifier());
}

TEST(CommandedBit, ThePostLosesItsSeverityForGood) {
    CommandedBit bit;
    bit.endEngine();
    EXPECT_FALSE(bit.ignorePostSeverity());
    bit.start(commandOf(1));
    EXPECT_TRUE(bit.ignorePostSeverity());
    bit.endEngine();
    EXPECT_TRUE(bit.takeAnswered());
    EXPECT_TRUE(bit.ignorePostSeverity());
}

}  // namespace
