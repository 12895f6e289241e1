#include <algorithm>

#include <gtest/gtest.h>

#include "bench/DemoDisplay.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

RunFigures someFigures() {
    RunFigures result;
    result.transport = "SHM";
    result.rate = 10;
    result.elapsed = 12s;
    result.totals.records = 240;
    result.totals.pairs = 120;
    result.totals.frames = 119;
    result.totals.right = 117;
    result.totals.wrong = 2;
    result.totals.missing = 1;
    result.framesPerSecond = 9.9;
    result.links[0].framesById = {{15050, 119}, {27560, 3}};
    result.links[1].line.headerErrors = 1;
    result.links[2].line.dataErrors = 2;
    result.handshakeTimeouts = 4;
    result.events = 5;
    result.faults = 2;
    result.queueRecords = {{"DT_IN", 3}, {"PNTD_MX", 12}};
    return result;
}

TEST(LatencySummary, GivesTheRankedValues) {
    SolutionLedger::Latencies latencies;
    for (int i = 200; i >= 1; --i) {
        latencies.emplace_back(std::chrono::microseconds(i));
    }
    const auto summary = LatencySummary::of(latencies);
    EXPECT_EQ(summary.count, 200U);
    EXPECT_EQ(summary.p50, 100);
    EXPECT_EQ(summary.p99, 198);
    EXPECT_EQ(summary.max, 200);
}

TEST(LatencySummary, TakesOneValueAndNone) {
    const auto one = LatencySummary::of({7us});
    EXPECT_EQ(one.p50, 7);
    EXPECT_EQ(one.p99, 7);
    EXPECT_EQ(one.max, 7);
    EXPECT_EQ(LatencySummary::of({}).count, 0U);
}

TEST(DemoDisplay, LineTellsTheFigures) {
    EXPECT_EQ(liveLine(someFigures()),
              "   12 s  117 of 120 pairs right  9.9/s  no frame  3 checksum errors  4 time-outs  "
              "7 events  queues DT_IN 3, PNTD_MX 12  2 WRONG  1 MISSING");
}

TEST(DemoDisplay, LineIsSilentOnEventsQueuesAndWrongSolutionsThatThereAreNot) {
    RunFigures figures = someFigures();
    figures.totals.wrong = 0;
    figures.totals.missing = 0;
    figures.events = 0;
    figures.faults = 0;
    figures.queueRecords.clear();
    figures.recent = LatencySummary::of({432us, 1313us});
    EXPECT_EQ(liveLine(figures),
              "   12 s  117 of 120 pairs right  9.9/s  p50   432  p99  1313  max  1313 us  "
              "3 checksum errors  4 time-outs");
}

TEST(DemoDisplay, BlockTellsTheFiguresInAFixedNumberOfLines) {
    RunFigures figures = someFigures();
    const std::string before = liveBlock(figures);
    EXPECT_NE(before.find("117 right byte for byte, 2 wrong, 1 missing"), std::string::npos);
    EXPECT_NE(before.find("3 checksum errors, 4 handshake time-outs"), std::string::npos);
    EXPECT_NE(before.find("queues      DT_IN 3, PNTD_MX 12\n"), std::string::npos);
    EXPECT_NE(before.find("5 on EventLog, 2 on MaintenanceEvent"), std::string::npos);
    EXPECT_NE(before.find("link 1: 119 x 15050 fused solution, 3 x 27560"), std::string::npos);
    EXPECT_NE(before.find("link 2: none"), std::string::npos);
    figures.solution = SolutionFrame{};
    figures.solution->position = {6378137.0, 0, 0};
    figures.solution->gpsWeek = 2332;
    const std::string after = liveBlock(figures);
    EXPECT_NE(after.find("GPS week 2332"), std::string::npos);
    EXPECT_NE(after.find("0.00000 N, 0.00000 E, 0 m"), std::string::npos) << after;
    EXPECT_EQ(std::count(before.begin(), before.end(), '\n'),
              std::count(after.begin(), after.end(), '\n'));
}

}  // namespace
}  // namespace bench
