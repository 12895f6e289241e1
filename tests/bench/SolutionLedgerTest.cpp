#include <gtest/gtest.h>

#include "bench/Simulation.h"
#include "bench/SolutionLedger.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using Clock = SolutionLedger::Clock;

constexpr std::int64_t second = 1'000'000'000;

class SolutionLedgerTest : public testing::Test {
protected:
    static std::int64_t instant(int index) { return (1726400000 + index) * second; }

    void publishClock(int index) {
        ledger.published(Publication<UtcRecord>{clockAt(instant(index)), base});
    }
    void publishNavigator(int index) {
        ledger.published(Publication<PntRecord>{navigatorAt(instant(index)), base + 1ms});
    }
    void publish(int index) {
        publishClock(index);
        publishNavigator(index);
    }
    static UnitFrame frame(int index) {
        const auto area = expectedSolution(clockAt(instant(index)), navigatorAt(instant(index)));
        UnitFrame result{SolutionFrame::id, 0x8000, {}};
        for (std::size_t i = 0; i < area.size(); i += 2) {
            result.data.push_back(static_cast<std::uint16_t>(area[i] | (area[i + 1] << 8)));
        }
        return result;
    }
    void receive(const UnitFrame& what) { ledger.received({what, what.encode(), base + 3ms}); }

    SolutionLedger ledger;
    const Clock::time_point base{1000s};
};

TEST_F(SolutionLedgerTest, JudgesAPairAndItsFrame) {
    publish(1);
    EXPECT_EQ(ledger.totals().waiting(), 1U);
    receive(frame(1));
    EXPECT_EQ(ledger.settle(base), SolutionLedger::Latencies{2ms});
    const auto totals = ledger.totals();
    EXPECT_EQ(totals.records, 2U);
    EXPECT_EQ(totals.pairs, 1U);
    EXPECT_EQ(totals.frames, 1U);
    EXPECT_EQ(totals.right, 1U);
    EXPECT_EQ(totals.waiting(), 0U);
    EXPECT_TRUE(totals.allRight());
    ASSERT_TRUE(ledger.lastSolution());
    EXPECT_EQ(ledger.lastSolution()->gpsWeek, 2332);
}

TEST_F(SolutionLedgerTest, TimeOfAnotherSourceIsNoSideOfAPair) {
    UtcRecord ofNavigator = clockAt(instant(1));
    ofNavigator.header.source = PntRecord::fusionNavigator;
    ledger.published(Publication<UtcRecord>{ofNavigator, base});
    publishNavigator(1);
    EXPECT_EQ(ledger.totals().records, 1U);
    EXPECT_EQ(ledger.totals().pairs, 0U);
    publishClock(1);
    EXPECT_EQ(ledger.totals().pairs, 1U);
}

TEST_F(SolutionLedgerTest, FrameMayComeBeforeTheReportOfItsPair) {
    receive(frame(1));
    publishClock(1);
    EXPECT_TRUE(ledger.settle(base + 1s).empty());
    publishNavigator(1);
    EXPECT_EQ(ledger.settle(base + 1s).size(), 1U);
    EXPECT_TRUE(ledger.totals().allRight());
}

TEST_F(SolutionLedgerTest, FindsAWrongByte) {
    publish(1);
    UnitFrame broken = frame(1);
    broken.data[20] ^= 1;
    receive(broken);
    EXPECT_EQ(ledger.settle(base).size(), 1U);
    EXPECT_EQ(ledger.totals().wrong, 1U);
    EXPECT_FALSE(ledger.totals().allRight());
    ASSERT_EQ(ledger.defects().size(), 1U);
    EXPECT_NE(ledger.defects()[0].find("velocity x"), std::string::npos);
}

TEST_F(SolutionLedgerTest, CountsAPairThatWasPassedOver) {
    publish(1);
    publish(2);
    receive(frame(2));
    ledger.settle(base);
    EXPECT_EQ(ledger.totals().missing, 1U);
    EXPECT_EQ(ledger.totals().right, 1U);
    EXPECT_FALSE(ledger.totals().allRight());
}

TEST_F(SolutionLedgerTest, CountsAPairWithoutAFrameAtTheEnd) {
    publish(1);
    ledger.settle(base + 60s);
    EXPECT_EQ(ledger.totals().missing, 0U);
    ledger.finish();
    EXPECT_EQ(ledger.totals().missing, 1U);
    EXPECT_FALSE(ledger.totals().allRight());
}

TEST_F(SolutionLedgerTest, FrameWithoutAPairIsGivenUpAndDoesNotHoldTheNext) {
    receive(frame(7));
    publish(1);
    receive(frame(1));
    EXPECT_TRUE(ledger.settle(base + 1s).empty());
    EXPECT_EQ(ledger.settle(base + 6s).size(), 1U);
    EXPECT_EQ(ledger.totals().unexplained, 1U);
    EXPECT_EQ(ledger.totals().right, 1U);
    EXPECT_FALSE(ledger.totals().allRight());
}

TEST_F(SolutionLedgerTest, SecondFrameForOnePairIsUnexplained) {
    publish(1);
    receive(frame(1));
    receive(frame(1));
    ledger.settle(base);
    ledger.finish();
    EXPECT_EQ(ledger.totals().right, 1U);
    EXPECT_EQ(ledger.totals().unexplained, 1U);
    EXPECT_FALSE(ledger.totals().allRight());
}

TEST_F(SolutionLedgerTest, SingleRecordsMakeNoPair) {
    publishClock(1);
    publishNavigator(2);
    ledger.finish();
    EXPECT_EQ(ledger.totals().records, 2U);
    EXPECT_EQ(ledger.totals().pairs, 0U);
    EXPECT_TRUE(ledger.totals().allRight());
}

TEST_F(SolutionLedgerTest, OtherMessagesAreNotItsBusiness) {
    receive(UnitFrame{27560, 0x9000, {1}});
    ledger.finish();
    EXPECT_EQ(ledger.totals().frames, 0U);
    EXPECT_TRUE(ledger.totals().allRight());
}

}  // namespace
}  // namespace bench
