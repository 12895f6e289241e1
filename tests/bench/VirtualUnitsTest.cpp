#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

#include "bench/Bench.h"
#include "bench/VirtualUnits.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;
using testing::HasSubstr;

constexpr auto deadline = 10s;
constexpr std::uint16_t asking = UnitFrame::linkReady | UnitFrame::ackRequest;

LoggedFrame arrived(const UnitFrame& frame) {
    return {frame, frame.encode(), std::chrono::steady_clock::now()};
}

TEST(VirtualUnitFrames, AWrapperHoldsTheNumberAndTheWholeFrame) {
    // Id 5001, two data words, flag word 0x9000.
    const UnitFrame wrapper = wrap(fromVirtualUnit, 3, {5001, 0x9000, {0x0102, 0xFFFE}});
    EXPECT_EQ(wrapper.id, 27553);
    EXPECT_EQ(wrapper.flags, 0x9000);
    EXPECT_EQ(wrapper.data, (Words{3, 0x81FF, 0x1389, 2, 0x9000, 0xDA76, 0x0102, 0xFFFE, 0xFF00}));
    EXPECT_EQ(wrap(toVirtualUnit, 1, {5000, 0x8000, {}}).flags, 0x8000);
    EXPECT_EQ(wrap(toVirtualUnit, 1, {5000, 0x8000, {}}).data.size(), 6U);
}

TEST(VirtualUnitFrames, AWrapperOfBytesHoldsWholeWords) {
    EXPECT_EQ(wrapBytes(27553, 65535, {1, 2, 3, 4}).data, (Words{65535, 0x0201, 0x0403}));
    EXPECT_EQ(wrapBytes(27553, 0, {}).data, Words{0});
    EXPECT_THROW(wrapBytes(27553, 1, {1, 2, 3}), std::invalid_argument);
}

TEST(VirtualUnitFrames, AWrapperGivesBackTheBytesThatItHolds) {
    EXPECT_EQ(innerBytes(wrapBytes(27552, 65535, {1, 2, 3, 0xFE})), (Bytes{1, 2, 3, 0xFE}));
    EXPECT_EQ(innerBytes(wrapBytes(27552, 1, {})), Bytes());
    EXPECT_EQ(innerBytes({27552, 0x8000, {}}), Bytes());
}

TEST(VirtualUnitFrames, AStatusHasItsTextPairSwappedAndFilledUp) {
    const UnitFrame frame = makeStatus(17, "ABC");
    EXPECT_EQ(frame.id, 5044);
    EXPECT_EQ(frame.flags, 0x9000);
    ASSERT_EQ(frame.data.size(), 21U);
    EXPECT_EQ(frame.data[4], 17);
    EXPECT_EQ(frame.data[5], 0x4142);
    EXPECT_EQ(frame.data[6], 0x4300);
    EXPECT_EQ(frame.data[20], 0);
    EXPECT_EQ(makeStatus(1, std::string(40, 'x')).data.size(), 21U);
}

/// Virtual units without a line: what they say is kept.
class VirtualUnitsTest : public testing::Test {
protected:
    struct Said {
        UnitFrame frame;
        VirtualUnits::Duration delay;
    };

    void take(const UnitFrame& frame) { units.take(arrived(frame)); }
    std::string defect() {
        const auto texts = units.defectTexts();
        return texts.empty() ? "" : texts.back();
    }

    std::vector<Said> said;
    VirtualUnits units{{[this](const UnitFrame& frame) {
                            said.push_back({frame, -1ms});
                        },
                        [this](const UnitFrame& frame, VirtualUnits::Duration delay) {
                            said.push_back({frame, delay});
                        }}};
};

TEST_F(VirtualUnitsTest, AWrappedMessageComesToItsUnitOnly) {
    const UnitFrame inner{5331, 0x9000, {1, 2, 3}};
    take(wrap(toVirtualUnit, 2, inner));
    for (const unsigned unit : {1U, 3U, 4U}) {
        EXPECT_TRUE(units.frames(unit).empty()) << unit;
    }
    const auto frames = units.frames(2);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_TRUE(frames[0].wrapped);
    EXPECT_EQ(frames[0].bytes, inner.encode());
    EXPECT_EQ(frames[0].frame.id, 5331);
    EXPECT_EQ(frames[0].frame.flags, 0x9000);
    EXPECT_EQ(frames[0].frame.data, inner.data);
    EXPECT_EQ(units.defects(), 0U);
}

TEST_F(VirtualUnitsTest, MessagesWithoutDataAndOfTheGreatestLengthAreTaken) {
    take(wrap(toVirtualUnit, 1, {5331, 0x8000, {}}));
    take(wrap(toVirtualUnit, 4, {5331, 0x8000, Words(234, 0xABCD)}));
    EXPECT_EQ(units.frames(1).size(), 1U);
    EXPECT_EQ(units.frames(4).at(0).frame.data, Words(234, 0xABCD));
    EXPECT_EQ(units.defects(), 0U);
}

TEST_F(VirtualUnitsTest, AMessageWithoutAWrapperIsSeenByAllFour) {
    take({15050, 0x9000, {7}});
    for (unsigned unit = 1; unit <= VirtualUnits::count; ++unit) {
        ASSERT_EQ(units.frames(unit, 15050).size(), 1U) << unit;
        EXPECT_FALSE(units.frames(unit)[0].wrapped);
    }
}

TEST_F(VirtualUnitsTest, AcksAndResponsesAreNotForThem) {
    take(UnitFrame::makeAck(27553));
    take(UnitFrame::makeNak(27553));
    take(UnitFrame::makeResponse(27552));
    EXPECT_TRUE(units.frames(1).empty());
    EXPECT_EQ(units.defects(), 0U);
}

TEST_F(VirtualUnitsTest, ANumberThatIsNoUnitsIsADefect) {
    for (const std::uint16_t number : Words{0, 5, 65535}) {
        take(wrap(toVirtualUnit, number, {5331, 0x8000, {1}}));
        EXPECT_EQ(defect(), "a wrapper for virtual unit " + std::to_string(number));
    }
    take({toVirtualUnit, 0x8000, {}});
    EXPECT_EQ(defect(), "a wrapper without a unit number");
    EXPECT_EQ(units.defects(), 4U);
    EXPECT_TRUE(units.frames(1).empty());
}

TEST_F(VirtualUnitsTest, EachDamageOfTheInnerFrameIsADefect) {
    const UnitFrame good = wrap(toVirtualUnit, 1, {5331, 0x9000, {1, 2, 3}});
    const auto expectDefect = [&](UnitFrame damaged, const std::string& text) {
        take(damaged);
        EXPECT_THAT(defect(), HasSubstr("the frame for virtual unit 1: " + text));
    };
    for (std::size_t word = 1; word < good.data.size(); ++word) {
        UnitFrame damaged = good;
        damaged.data[word] ^= 0x0101U;
        expectDefect(damaged, word == 1   ? "does not begin with FF 81"
                              : word <= 5 ? "header checksum is wrong"
                                          : "data checksum is wrong");
    }
    UnitFrame damaged = good;
    damaged.data[3] = 4;  // more words than there are, with a header checksum that fits
    damaged.data[5] = static_cast<std::uint16_t>(damaged.data[5] - 1);
    expectDefect(damaged, "length does not fit the word count");
    damaged = good;
    damaged.data.push_back(0);
    expectDefect(damaged, "length does not fit the word count");
    damaged = good;
    damaged.data.resize(5);
    expectDefect(damaged, "shorter than a header");
    EXPECT_EQ(units.defects(), good.data.size() - 1 + 3);
    EXPECT_TRUE(units.frames(1).empty());
    EXPECT_TRUE(said.empty());
    EXPECT_THAT(units.describe(), HasSubstr("damaged wrappers\n  the frame for virtual unit 1"));
}

TEST_F(VirtualUnitsTest, ACommandThatAsksForAnAckGetsAStatus) {
    take(wrap(toVirtualUnit, 3, {5001, asking, Words(31)}));
    ASSERT_EQ(said.size(), 1U);
    EXPECT_EQ(said[0].frame.encode(), wrap(27553, 3, makeStatus(16, "COMMAND TAKEN")).encode());
    EXPECT_EQ(said[0].delay, 0ms);
    take(wrap(toVirtualUnit, 3, {5001, UnitFrame::linkReady, Words(31)}));
    take(wrap(toVirtualUnit, 3, {5331, asking, Words(31)}));
    EXPECT_EQ(said.size(), 1U);
}

TEST_F(VirtualUnitsTest, AReactionHoldsForItsUnitAndItsMessageAndAsOftenAsItTells) {
    VirtualReaction reaction;
    reaction.answers = {makeStatus(17, "DONE"), {5001, asking, Words(5)}};
    reaction.delay = 20ms;
    reaction.count = 2;
    units.setReaction(2, 5331, reaction);
    take(wrap(toVirtualUnit, 1, {5331, 0x8000, {1}}));
    take(wrap(toVirtualUnit, 2, {5330, 0x8000, {1}}));
    EXPECT_TRUE(said.empty());
    for (int i = 0; i < 3; ++i) {
        take(wrap(toVirtualUnit, 2, {5331, 0x8000, {1}}));
    }
    ASSERT_EQ(said.size(), 4U);
    EXPECT_EQ(said[0].frame.encode(), wrap(27553, 2, reaction.answers[0]).encode());
    EXPECT_EQ(said[1].frame.encode(), wrap(27553, 2, reaction.answers[1]).encode());
    EXPECT_EQ(said[3].delay, 20ms);
    units.setReaction(1, 5001, {});
    take(wrap(toVirtualUnit, 1, {5001, asking, Words(31)}));
    EXPECT_EQ(said.size(), 4U) << "silence was asked for";
}

TEST_F(VirtualUnitsTest, EachSendsFramesAndAnyBytes) {
    units.send(4, {5001, asking, {1, 2}});
    units.sendBytes(1, {0xFF, 0x81});
    ASSERT_EQ(said.size(), 2U);
    EXPECT_EQ(said[0].frame.encode(), wrap(27553, 4, {5001, asking, {1, 2}}).encode());
    EXPECT_EQ(said[1].frame.encode(), wrapBytes(27553, 1, {0xFF, 0x81}).encode());
}

TEST_F(VirtualUnitsTest, ThereAreFour) {
    for (const unsigned unit : {0U, 5U}) {
        EXPECT_THROW(units.send(unit, {5001, 0, {}}), std::out_of_range);
        EXPECT_THROW(units.sendBytes(unit, {}), std::out_of_range);
        EXPECT_THROW(units.setReaction(unit, 5001, {}), std::out_of_range);
        EXPECT_THROW(units.frames(unit), std::out_of_range);
        EXPECT_THROW(units.waitForFrames(unit, 5001, 1, 0ms), std::out_of_range);
    }
}

TEST_F(VirtualUnitsTest, AWaitEndsWithTheMessageOrItsDeadline) {
    EXPECT_FALSE(units.waitForFrames(1, 5331, 1, 10ms));
    EXPECT_FALSE(units.waitForDefects(1, 10ms));
    std::thread later([this] {
        take(wrap(toVirtualUnit, 1, {5331, 0x8000, {1}}));
        take(wrap(toVirtualUnit, 1, {5331, 0x8000, {2}}));
        take(wrap(toVirtualUnit, 9, {5331, 0x8000, {2}}));
    });
    EXPECT_TRUE(units.waitForFrames(1, 5331, 2, deadline));
    EXPECT_TRUE(units.waitForFrames(
        1, 1, deadline, [](const VirtualFrame& seen) { return seen.frame.data == Words{2}; }));
    EXPECT_TRUE(units.waitForDefects(1, deadline));
    later.join();
}

TEST(VirtualUnitsLog, KeepsTheYoungestMessages) {
    VirtualUnits::Options options;
    options.keptFrames = 2;
    std::vector<unsigned> observed;
    options.observer = [&](unsigned unit, const VirtualFrame&) { observed.push_back(unit); };
    VirtualUnits units({[](const UnitFrame&) {}, [](const UnitFrame&, VirtualUnits::Duration) {}},
                       options);
    for (const std::uint16_t number : Words{1, 2, 3}) {
        units.take(arrived(wrap(toVirtualUnit, 2, {5331, 0x8000, {number}})));
    }
    const auto frames = units.frames(2);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].frame.data, Words{2});
    EXPECT_EQ(frames[1].frame.data, Words{3});
    EXPECT_EQ(observed, (std::vector<unsigned>{2, 2, 2}));
}

}  // namespace
}  // namespace bench
