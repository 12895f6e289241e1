#include <gmock/gmock.h>

#include "bench/Bench.h"
#include "bench/PntDevice.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Words = std::vector<std::uint16_t>;

/// The data of a message behind the four words of its time, which are 0.
Words behindTime(const UnitFrame& frame) {
    EXPECT_EQ(frame.flags, 0x8000);
    EXPECT_GE(frame.data.size(), 4U);
    EXPECT_THAT(Words(frame.data.begin(), frame.data.begin() + 4), ElementsAre(0, 0, 0, 0));
    return {frame.data.begin() + 4, frame.data.end()};
}

TEST(PntMessages, AStatusHasItsKindInByte8) {
    EXPECT_EQ(pnt::makeSanitizeStatus(true).id, 27532);
    EXPECT_THAT(behindTime(pnt::makeSanitizeStatus(true)), ElementsAre(2, 1, 0, 0, 0));
    EXPECT_THAT(behindTime(pnt::makeSanitizeStatus(false)), ElementsAre(2, 0, 0, 0, 0));
    EXPECT_THAT(behindTime(pnt::makeSlipStatus(true)), ElementsAre(3, 1, 0, 0, 0));
    EXPECT_THAT(behindTime(pnt::makeSlipStatus(false)), ElementsAre(3, 0, 0, 0, 0));
    // Unit 3 in bits 0 to 2 of byte 10, port 2 in bits 3 and 4, the outcome in byte 11.
    EXPECT_THAT(behindTime(pnt::makeTransferStatus(3, 2, 3)), ElementsAre(1, 0x0313, 0, 0, 0));
}

TEST(PntMessages, ABitStatusHasTwoBytesForEachEntryAndASummary) {
    EXPECT_EQ(pnt::makeBitStatus({}).id, 27535);
    EXPECT_THAT(behindTime(pnt::makeBitStatus({})), ElementsAre(0));
    EXPECT_THAT(behindTime(pnt::makeBitStatus({{pnt::post, 7, 0}, {pnt::cbit, 200, 2}})),
                ElementsAre(0x0209, 0x0701, 0xC80B));
    EXPECT_THAT(behindTime(pnt::makeBitStatus({{pnt::post, 1, 1}, {pnt::bbit, 2, 3}})),
                ElementsAre(0x0207, 0x0105, 0x020E));
    // A fault of no known kind of test is one of the system.
    EXPECT_THAT(behindTime(pnt::makeBitStatus({{0, 5, 2}})), ElementsAre(0x0101, 0x0508));
}

TEST(PntMessages, ReportsHaveTheirTextsPairSwapped) {
    const Words fault =
        behindTime(pnt::makeFaultReport({0x15, 9, 7, "ABCDEFGHIJ", "K", "LMNOPQ", "R"}));
    ASSERT_EQ(fault.size(), 23U);  // 27 words in all
    EXPECT_EQ(fault[0], 0x0915);
    EXPECT_EQ(fault[1], 7);
    EXPECT_EQ(fault[2], 0x4142);
    EXPECT_EQ(fault[6], 0x494A);
    EXPECT_EQ(fault[7], 0x4B00);
    EXPECT_EQ(fault[12], 0x4C4D);
    EXPECT_EQ(fault[14], 0x5051);
    EXPECT_EQ(fault[15], 0x5200);
    EXPECT_EQ(pnt::makeFaultReport({}).id, 27533);

    const Words log = behindTime(pnt::makeLogReport({0x12, "A", "B", "C", "D", "EF"}));
    ASSERT_EQ(log.size(), 50U);  // 54 words in all
    EXPECT_EQ(log[0], 0x0012);
    EXPECT_EQ(log[1], 0x4100);
    EXPECT_EQ(log[6], 0x4200);
    EXPECT_EQ(log[11], 0x4300);
    EXPECT_EQ(log[14], 0x4400);
    EXPECT_EQ(log[22], 0x4546);
    EXPECT_EQ(pnt::makeLogReport({}).id, 27534);
}

TEST(PntMessages, ThreeLabelsFitAMessage) {
    const std::vector<UnitFrame> frames =
        pnt::makeFaultLabels({{1, 1, "A"}, {2, 2, "BC"}, {3, 3, std::string(56, 'D')}, {1, 4, ""}});
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].id, 27536);
    const Words first = behindTime(frames[0]);
    ASSERT_EQ(first.size(), 88U);
    EXPECT_EQ(first[0], 0x1203) << "message 1 of 2 with 3 labels";
    EXPECT_EQ(first[1], 0x0101);
    EXPECT_EQ(first[2], 0x4100);
    EXPECT_EQ(first[30], 0x0202);
    EXPECT_EQ(first[31], 0x4243);
    EXPECT_EQ(first[59], 0x0303);
    EXPECT_EQ(first[87], 0x4444);
    const Words second = behindTime(frames[1]);
    ASSERT_EQ(second.size(), 30U);
    EXPECT_EQ(second[0], 0x2201);
    EXPECT_EQ(second[1], 0x0401);
    ASSERT_EQ(pnt::makeFaultLabels({}).size(), 1U);
    EXPECT_THAT(behindTime(pnt::makeFaultLabels({}).front()), ElementsAre(0x1100));
}

TEST(PntMessages, IdsAreFiveTextsOf16) {
    const UnitFrame frame = pnt::makeIds({"HW", "SN", "SW", "FW", "OS-0123456789ABC"});
    EXPECT_EQ(frame.id, 27558);
    const Words words = behindTime(frame);
    ASSERT_EQ(words.size(), 40U);  // 44 words in all
    EXPECT_EQ(words[0], 0x4857);
    EXPECT_EQ(words[1], 0);
    EXPECT_EQ(words[8], 0x534E);
    EXPECT_EQ(words[16], 0x5357);
    EXPECT_EQ(words[24], 0x4657);
    EXPECT_EQ(words[32], 0x4F53);
    EXPECT_EQ(words[39], 0x4243);
}

TEST(PntMessages, BytesOfTheDataAreFoundAndThereAreNoneBeyondIt) {
    const UnitFrame frame{27530, 0x9000, {0x0201, 0x0403}};
    EXPECT_EQ(pnt::dataByte(frame, 0), 1);
    EXPECT_EQ(pnt::dataByte(frame, 3), 4);
    EXPECT_EQ(pnt::dataByte(frame, 4), 0);
}

/// A device without a line: what it says is kept.
class PntDeviceTest : public testing::Test {
protected:
    /// The ids of what it says to a command of this kind.
    std::vector<std::uint16_t> answersTo(unsigned kind) {
        said.clear();
        const UnitFrame command{
            27530, 0x9000, {0, 0, 0, 0, static_cast<std::uint16_t>(kind), 0, 0, 0, 0}};
        device.take({command, command.encode(), std::chrono::steady_clock::now()});
        std::vector<std::uint16_t> ids;
        for (const UnitFrame& frame : said) {
            ids.push_back(frame.id);
        }
        return ids;
    }

    void set(const std::function<void(PntDevice::State&)>& edit) { device.change(edit); }

    std::vector<UnitFrame> said;
    PntDevice::Duration delay{0};
    PntDevice device{[this](const UnitFrame& frame, PntDevice::Duration before) {
        said.push_back(frame);
        delay = before;
    }};
};

TEST_F(PntDeviceTest, AtFirstItIsSilent) {
    for (unsigned kind = 0; kind <= 8; ++kind) {
        EXPECT_THAT(answersTo(kind), IsEmpty()) << kind;
    }
}

TEST_F(PntDeviceTest, AnswersEachCommandWithItsMessage) {
    set([](PntDevice::State& state) {
        state.answering = true;
        state.delay = 30ms;
        state.labels = {{1, 1, "Clock"}};
        state.entries = {{1, 1, 2}};
    });
    EXPECT_THAT(answersTo(1), IsEmpty()) << "the outcome waits until it is asked for";
    EXPECT_THAT(answersTo(2), ElementsAre(27535));
    EXPECT_EQ(said.front().data, pnt::makeBitStatus({{1, 1, 2}}).data);
    EXPECT_EQ(delay, 30ms);
    EXPECT_THAT(answersTo(3), ElementsAre(27532));
    EXPECT_EQ(said.front().data, pnt::makeSanitizeStatus(true).data);
    EXPECT_THAT(answersTo(4), ElementsAre(27536)) << "the start: what the tests are called";
    EXPECT_THAT(answersTo(5), IsEmpty());
    EXPECT_THAT(answersTo(6), ElementsAre(27558));
    EXPECT_THAT(answersTo(7), ElementsAre(27532));
    EXPECT_EQ(said.front().data, pnt::makeSlipStatus(true).data);
    EXPECT_THAT(answersTo(0x107), ElementsAre(27532)) << "the kind is one byte";
}

TEST_F(PntDeviceTest, ZeroizeAndSlipCanFailOrGoUnanswered) {
    set([](PntDevice::State& state) {
        state.answering = true;
        state.zeroize = PntDevice::Answer::Fail;
        state.slip = PntDevice::Answer::Fail;
    });
    EXPECT_THAT(answersTo(3), ElementsAre(27532));
    EXPECT_EQ(said.front().data, pnt::makeSanitizeStatus(false).data);
    EXPECT_THAT(answersTo(7), ElementsAre(27532));
    EXPECT_EQ(said.front().data, pnt::makeSlipStatus(false).data);
    set([](PntDevice::State& state) {
        state.zeroize = PntDevice::Answer::Silent;
        state.slip = PntDevice::Answer::Silent;
    });
    EXPECT_THAT(answersTo(3), IsEmpty());
    EXPECT_THAT(answersTo(4), IsEmpty()) << "no test has a name";
    EXPECT_THAT(answersTo(7), IsEmpty());
}

TEST_F(PntDeviceTest, OtherMessagesAndHandshakesAreNoCommands) {
    set([](PntDevice::State& state) { state.answering = true; });
    for (const UnitFrame& frame : {UnitFrame{27531, 0x9000, {0, 0, 0, 0, 2, 0, 0, 0, 0}},
                                   UnitFrame::makeAck(27530), UnitFrame{27530, 0x9000, {2}}}) {
        device.take({frame, frame.encode(), std::chrono::steady_clock::now()});
    }
    EXPECT_THAT(said, IsEmpty());
}

TEST_F(PntDeviceTest, SpeaksUnaskedWhenTold) {
    set([](PntDevice::State& state) { state.labels.resize(4); });
    device.sendBitStatus();
    device.sendFaultLabels();
    device.sendIds();
    ASSERT_EQ(said.size(), 4U);
    EXPECT_EQ(said[0].id, 27535);
    EXPECT_EQ(said[1].id, 27536);
    EXPECT_EQ(said[2].id, 27536);
    EXPECT_EQ(said[3].id, 27558);
}

TEST(PntDeviceOnTheBench, StandsAtTheThirdLink) {
    Bench bench;
    bench.pntDevice().change([](PntDevice::State& state) { state.answering = true; });
    const std::uint64_t before = bench.unit(3).statistics().sentBytes;
    bench.pntDevice().sendIds();
    ASSERT_TRUE(bench.unit(3).waitUntilSent(10s));
    EXPECT_EQ(bench.unit(3).statistics().sentBytes, before + pnt::makeIds({}).encode().size());
    EXPECT_EQ(bench.unit(1).statistics().sentBytes, 0U);
}

}  // namespace
}  // namespace bench
