#include <thread>

#include <gtest/gtest.h>

#include "bench/ObservationLog.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using Clock = ObservationLog::Clock;
using Outcome = ObservationLog::Outcome;

constexpr auto patience = 20s;

Observation line(const std::string& text) {
    return {"line", UnitFrame(), text};
}

ObservationLog::Predicate holds(const std::string& text) {
    return [text](const Observation& seen) { return seen.text.find(text) != std::string::npos; };
}

TEST(ObservationLog, EachObservationSatisfiesOnce) {
    ObservationLog log;
    log.add(line("one"));
    log.add(line("two"));
    EXPECT_EQ(log.take("line", holds("two"), Clock::now()), Outcome::Seen);
    EXPECT_EQ(log.take("line", holds("two"), Clock::now()), Outcome::TimedOut);
    EXPECT_EQ(log.take("line", holds("one"), Clock::now()), Outcome::Seen);
}

TEST(ObservationLog, KeepsSourcesApart) {
    ObservationLog log;
    log.add(line("one"));
    EXPECT_EQ(log.take("EventLog", holds("one"), Clock::now()), Outcome::TimedOut);
    EXPECT_TRUE(log.rest("EventLog", 5).empty());
    EXPECT_EQ(log.rest("line", 5).size(), 1U);
}

TEST(ObservationLog, WaitsForWhatComesLater) {
    ObservationLog log;
    std::thread later([&log] {
        log.add(line("other"));
        log.add(line("wanted"));
    });
    EXPECT_EQ(log.take("line", holds("wanted"), Clock::now() + patience), Outcome::Seen);
    later.join();
}

TEST(ObservationLog, InterruptEndsWaitsUntilItResumes) {
    ObservationLog log;
    std::thread later([&log] { log.interrupt(); });
    EXPECT_EQ(log.take("line", holds("x"), Clock::now() + patience), Outcome::Interrupted);
    later.join();
    EXPECT_EQ(log.pause(Clock::now() + patience), Outcome::Interrupted);
    log.resume();
    EXPECT_EQ(log.pause(Clock::now()), Outcome::TimedOut);
    EXPECT_EQ(log.take("line", holds("x"), Clock::now()), Outcome::TimedOut);
}

TEST(ObservationLog, ForgetsTheOldestOfASource) {
    ObservationLog log(2);
    log.add(line("one"));
    log.add(line("two"));
    log.add(line("three"));
    const auto rest = log.rest("line", 5);
    ASSERT_EQ(rest.size(), 2U);
    EXPECT_EQ(rest[0].text, "two");
    EXPECT_EQ(log.rest("line", 1)[0].text, "three");
    EXPECT_EQ(log.dropped("line"), 1U);
    EXPECT_EQ(log.dropped("EventLog"), 0U);
}

TEST(ObservationLog, ForgetsAllWhenTold) {
    ObservationLog log(1);
    log.add(line("none"));
    log.add(line("one"));
    log.forget();
    EXPECT_EQ(log.dropped("line"), 0U);
    EXPECT_EQ(log.take("line", holds("one"), Clock::now()), Outcome::TimedOut);
    log.add(line("one"));
    EXPECT_EQ(log.take("line", holds("one"), Clock::now()), Outcome::Seen);
}

}  // namespace
}  // namespace bench
