#include <algorithm>

#include <gtest/gtest.h>

#include "bench/ChapterTable.h"
#include "bench/DemoDisplay.h"
#include "bench/Scenario.h"

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

Scenario day() {
    return Scenario::parse(
        "start server\n"
        "expect running\n"
        "chapter Morning\n"
        "expect line up\n"
        "expect line ready as \"it is ready\"\n"
        "chapter Noon\n"
        "expect link1 frame 5 as \"a frame\"\n"
        "stop server\n"
        "chapter Night\n"
        "expect exit 0\n",
        "day");
}

const action::Expect& expectation(const Scenario& scenario, std::size_t step) {
    return std::get<action::Expect>(scenario.steps.at(step).action);
}

TEST(ChapterTable, AChapterCountsItsExpectationsAndShowsThoseWithACaption) {
    const Scenario scenario = day();
    ChapterBook book(scenario);
    const ChapterBook::Clock::time_point begin{};
    book.met(expectation(scenario, 1), "before the first chapter");
    book.begin(begin);
    book.met(expectation(scenario, 3), "\"up\"");
    book.met(expectation(scenario, 4), "\"ready\"");
    book.begin(begin + 1500ms);
    book.met(expectation(scenario, 6), "frame 5");
    book.begin(begin + 2s);
    book.met(expectation(scenario, 9), "exit 0");
    book.end(begin + 5s, false);
    EXPECT_EQ(
        chapterTable(book.results()),
        "  what                                      expected                                  "
        "seen                                      ok\n"
        "\nMorning: as expected, 2 of 2 expectations in 1.5 s\n"
        "  it is ready                               line ready                                "
        "\"ready\"                                   yes\n"
        "\nNoon: as expected, 1 of 1 expectations in 0.5 s\n"
        "  a frame                                   link1 frame 5                             "
        "frame 5                                   yes\n"
        "\nNight: as expected, 1 of 1 expectations in 3.0 s\n"
        "\n3 of 3 chapters and 4 of 4 expectations were as expected.\n");
}

TEST(ChapterTable, AFailedStepIsShownAndWhatFollowsWasNotReached) {
    const Scenario scenario = day();
    ChapterBook book(scenario);
    book.begin({});
    book.failed(scenario.steps.at(3), "it did not come; what came at last:\n  \"down\"");
    book.end(ChapterBook::Clock::time_point{1s}, false);
    const std::string table = chapterTable(book.results());
    EXPECT_NE(table.find("Morning: FAILED, 0 of 2 expectations in 1.0 s\n"
                         "  line 4                                    line up "),
              std::string::npos)
        << table;
    EXPECT_NE(table.find(" it did not come; what came at last:       NO\n"), std::string::npos)
        << table;
    EXPECT_NE(table.find("Noon: not reached, 0 of 1 "), std::string::npos) << table;
    EXPECT_NE(table.find("0 of 3 chapters and 0 of 4 expectations were"), std::string::npos)
        << table;
}

TEST(ChapterTable, AFailedActionStandsWithItsText) {
    const Scenario scenario = day();
    ChapterBook book(scenario);
    book.begin({});
    book.begin({});
    book.failed(scenario.steps.at(7), "it left badly");
    EXPECT_EQ(book.results().at(1).checks.at(0).what, "stop server");
    EXPECT_EQ(book.results().at(1).checks.at(0).seen, "it left badly");
    EXPECT_FALSE(book.results().at(1).checks.at(0).ok);
}

TEST(ChapterTable, AFailureAtTheEndStandsInTheLastChapter) {
    ChapterBook book(day());
    book.begin({});
    book.failedAtEnd("it left badly\nand so on");
    book.end({}, true);
    EXPECT_EQ(book.results().at(0).state, ChapterResult::State::Failed);
    const CheckResult& check = book.results().at(0).checks.at(0);
    EXPECT_EQ(check.what, "at the end");
    EXPECT_EQ(check.seen, "it left badly");
    EXPECT_FALSE(check.ok);
}

TEST(ChapterTable, AnInterruptedChapterWasCutShort) {
    ChapterBook book(day());
    book.begin({});
    book.end({}, true);
    EXPECT_NE(chapterTable(book.results()).find("Morning: cut short, 0 of 2 "), std::string::npos);
}

TEST(ChapterTable, LongTextsAreCutAndStrangeOnesMadePlain) {
    std::vector<ChapterResult> results(1);
    results[0].checks.push_back({std::string(50, 'w'), std::string(50, 'e'), "a\033[31m", true});
    const std::string table = chapterTable(results);
    EXPECT_NE(
        table.find("  " + std::string(37, 'w') + "...  " + std::string(37, 'e') + "...  a.[31m  "),
        std::string::npos)
        << table;
}

TEST(ChapterTable, AScenarioWithoutChaptersHasNone) {
    ChapterBook book(Scenario::parse("start server\nexpect running\n", "plain"));
    book.met({}, "");
    book.failed({}, "");
    book.failedAtEnd("");
    book.end({}, false);
    EXPECT_EQ(chapterTable(book.results()), "");
}

}  // namespace
}  // namespace bench
