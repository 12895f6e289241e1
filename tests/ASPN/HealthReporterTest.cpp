#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ASPN/FaultHysteresis.h"
#include "ASPN/HealthReporter.h"
#include "aspn2_msgs/EventLog.h"
#include "tests/ASPN/FpgaFile.h"
#include "tests/ASPN/SetClock.h"
#include "tests/GpsSerialIo/OutputCapture.h"
#include "tests/face/ParticipantsApart.h"
#include "tests/face/TypedTransport.h"

using namespace std::chrono_literals;
using aspn2_msgs::idl::EventLog;
using testing::EndsWith;

namespace {

/// The process's record of faults as it starts, a reporter's transport, and the log in another
/// participant that reads its events.
class HealthReporterTest : public testing::Test {
protected:
    HealthReporterTest() {
        EXPECT_TRUE(FaultHysteresis::Instance().OkInitFaultHysteresis(0, 0, 0));
        text_.set("BackFillHistory", "true").set("HistoryDepth", "100");
        log_ = std::make_unique<Transport>(text_, "Log");
        server_ = std::make_unique<Transport>(text_, "Server");
        EXPECT_EQ(log_->initialize(), Code::NO_ERROR);
        EXPECT_EQ(server_->initialize(), Code::NO_ERROR);
        EXPECT_EQ(
            Typed<EventLog>(log_->tss).registerCallback(log_->connect("Events"), into(mailbox_)),
            Code::NO_ERROR);
        connection_ = server_->connect("Events");
        typed_ = std::make_shared<HealthReporter::EventLogTypedTS>();
        Code::Value rc = Code::TIMED_OUT;
        typed_->Set_Reference("transport", server_->tss, 0, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
    }

    void init() { reporter_.InitHealthReporter("Zephon", factory_, typed_, connection_); }

    void send(int type, std::string const& text, int line = 12) {
        reporter_.SendEvent("ASPN/Some.cpp", line, static_cast<EventTypes::eEventType>(type), text);
    }

    /// The next published record; a default one, and a failure, when none comes.
    EventLog next() {
        std::optional<Received<EventLog>> received = mailbox_.take();
        EXPECT_TRUE(received.has_value()) << "no record came";
        return received ? received->record : EventLog();
    }

    /// The same as "type text".
    std::string nextLine() {
        EventLog const record = next();
        return std::to_string(static_cast<int>(record.event_log_type())) + ' ' + record.eventlog();
    }

    /// What InitHealthReporter raises.
    std::string raised(std::shared_ptr<HealthReporter::EventLogTypedTS> const& typed,
                       long long connection) {
        try {
            reporter_.InitHealthReporter("Zephon", factory_, typed, connection);
        } catch (std::runtime_error const& error) {
            return error.what();
        }
        return "nothing";
    }

    bench::DomainLock domain_;
    TransportText text_{domain_};
    Mailbox<Received<EventLog>> mailbox_;  // outlives the transport, whose callbacks fill it
    std::unique_ptr<Transport> log_;
    std::unique_ptr<Transport> server_;
    long long connection_ = -1;
    std::shared_ptr<HealthReporter::EventLogTypedTS> typed_;
    ASPN2::DeviceIdFactory const factory_{ASPN2::SystemIds::OSTREL, 49};
    SetClock clock_;
    std::function<void()> atTheClock_ = [] {};  // set it before a thread asks for the time
    HealthReporter reporter_{[this] {
        atTheClock_();
        return clock_();
    }};
};

TEST(HealthReporter, IsOneForTheProcess) {
    EXPECT_EQ(&HealthReporter::Instance(), &HealthReporter::Instance());
}

TEST(HealthReporter, HearsOfSourcesByTheirPathsInTheProject) {
    EXPECT_STREQ(__FILE__, "tests/ASPN/HealthReporterTest.cpp");
}

TEST(HealthReporter, DoneDoesNothingWhenNeverInitialised) {
    HealthReporter reporter;
    reporter.DoneHealthReporter();
    HealthReporter::Instance().DoneHealthReporter();
}

TEST(HealthReporter, TakesLinesWithoutEverBeingInitialised) {
    HealthReporter reporter;
    for (int line = 0; line < 20; ++line) {
        reporter.SendEvent(nullptr, line, EventTypes::FAILURE, "text");
    }
    EXPECT_EQ(reporter.SendConfigEvent("a"), 1U);
    EXPECT_EQ(reporter.SendConfigEvent("b"), 2U);
    EXPECT_EQ(reporter.ReplaceConfigEvent("b2", 2), 2U);
    EXPECT_EQ(reporter.ReplaceConfigEvent("c", 77), 3U);
}

// ---- What is published

TEST_F(HealthReporterTest, PublishesALineWithSenderNumberAndTimes) {
    init();
    send(2, "started");
    send(1, "note");
    EventLog const first = next();
    EXPECT_EQ(static_cast<std::uint32_t>(first.header().device_id()), factory_.makeDeviceId(59, 0));
    EXPECT_EQ(first.header().seq_num(), 0);
    // Without registers the count is 0, which is 8 ns before the clock's start.
    EXPECT_EQ(first.header().timestamp_valid().sec(), 0);
    EXPECT_EQ(first.header().timestamp_valid().nsec(), -8);
    EXPECT_EQ(first.header().timestamp_valid().time_code(), 100);
    EXPECT_EQ(first.header().timestamp_arrival(), first.header().timestamp_valid());
    EXPECT_EQ(first.event_log_type(), aspn2_msgs::idl::EVENT_LOG_TYPE_INFORMATION);
    EXPECT_EQ(first.eventlog(), "started");
    EventLog const second = next();
    EXPECT_EQ(second.header().seq_num(), 1);
    EXPECT_EQ(second.eventlog(), "note");
}

TEST_F(HealthReporterTest, StampsLinesWithTheCountOfTheFpga) {
    Fpga const fpga(3 * 58982400ULL);
    init();
    send(1, "line");
    EventLog const record = next();
    EXPECT_EQ(record.header().timestamp_valid().sec(), 2);
    EXPECT_EQ(record.header().timestamp_valid().nsec(), 999999992);
    EXPECT_EQ(record.header().timestamp_arrival(), record.header().timestamp_valid());
}

TEST_F(HealthReporterTest, PublishesTypesThatItDoesNotKnowAsZero) {
    init();
    for (int type : {7, 6, -1, std::numeric_limits<int>::max()}) {
        send(type, "x");
        EXPECT_EQ(nextLine(), "0 x") << type;
    }
    for (int type : {0, 1, 2}) {
        send(type, "x");
        EXPECT_EQ(nextLine(), std::to_string(type) + " x");
    }
}

TEST_F(HealthReporterTest, PutsThePlaceOfTheCallBeforeFailures) {
    init();
    for (int type : {3, 4, 5}) {
        send(type, "broken", 345);
        EXPECT_EQ(nextLine(), std::to_string(type) + " Some.cpp[345]:broken");
    }
    reporter_.SendEvent(nullptr, 1, EventTypes::FAILURE, "nowhere");
    EXPECT_EQ(nextLine(), "3 [1]:nowhere");
}

TEST_F(HealthReporterTest, CarriesLongAndEmptyLinesWhole) {
    init();
    std::string const line(1000, 'x');
    send(1, line);
    send(1, "");
    EXPECT_EQ(nextLine(), "1 " + line);
    EXPECT_EQ(nextLine(), "1 ");
}

TEST_F(HealthReporterTest, PublishesLinesThatWereSentBefore) {
    send(2, "early");
    send(3, "early failure");
    reporter_.SendConfigEvent("config");
    init();
    EXPECT_EQ(nextLine(), "2 early");
    EXPECT_EQ(nextLine(), "3 early failure") << "nothing checks lines before the initialisation";
    EXPECT_EQ(nextLine(), "2 config");
}

TEST_F(HealthReporterTest, ElevenLinesWithoutAConsumerKeepTen) {
    for (int line = 1; line <= 11; ++line) {
        send(1, std::to_string(line));
    }
    init();
    for (int line = 1; line <= 10; ++line) {
        EXPECT_EQ(nextLine(), "1 " + std::to_string(line));
    }
    send(1, "after");
    EXPECT_EQ(nextLine(), "1 after");
}

TEST_F(HealthReporterTest, PublishesTenLinesInASecondAtMost) {
    init();
    send(1, "first");
    next();
    auto const start = std::chrono::steady_clock::now();
    for (int line = 0; line < 5; ++line) {
        send(1, "x");
    }
    for (int line = 0; line < 5; ++line) {
        next();
    }
    // A record's time of arrival is not exact; four pauses between five records are.
    EXPECT_GE(std::chrono::steady_clock::now() - start, 400ms);
}

TEST_F(HealthReporterTest, PublishesAConfigLineAtOnceAndAgainAfterFiveMinutes) {
    init();
    EXPECT_EQ(reporter_.SendConfigEvent("config"), 1U);
    EXPECT_EQ(nextLine(), "2 config");
    clock_.advance(300s - 1ns);
    send(1, "between");
    EXPECT_EQ(nextLine(), "1 between") << "the config line is not due yet";
    clock_.advance(1ns);
    EXPECT_EQ(nextLine(), "2 config");
    clock_.advance(300s);
    EXPECT_EQ(nextLine(), "2 config");
}

TEST_F(HealthReporterTest, ReplacesAConfigLine) {
    init();
    unsigned const id = reporter_.SendConfigEvent("old");
    EXPECT_EQ(reporter_.ReplaceConfigEvent("new", id), id);
    EXPECT_EQ(nextLine(), "2 old");
    EXPECT_EQ(nextLine(), "2 new");
    clock_.advance(300s);
    EXPECT_EQ(nextLine(), "2 new");
    send(1, "after");
    EXPECT_EQ(nextLine(), "1 after") << "the old line comes no more";
}

// ---- Initialisation

TEST_F(HealthReporterTest, RefusesASecondInitialisation) {
    init();
    EXPECT_EQ(raised(typed_, connection_),
              "InitHealthReporter(Zephon) called on an already initialized HealthReporter.");
    send(1, "still working");
    EXPECT_EQ(nextLine(), "1 still working");
}

TEST_F(HealthReporterTest, RefusesToWorkWithoutATransport) {
    EXPECT_EQ(raised(nullptr, connection_),
              "InitHealthReporter(Zephon) called with an empty eventLogTypedTS.");
}

TEST_F(HealthReporterTest, RefusesAConnectionThatCannotSend) {
    OutputCapture output;
    std::string const text = raised(typed_, 77);
    EXPECT_THAT(text, testing::HasSubstr("HealthReporter.cpp["));
    EXPECT_THAT(text,
                EndsWith("]:INVALID_PARAM InitHealthReporter(Zephon) unable to register sender."));
    EXPECT_EQ(output.text(), text + '\n');
}

TEST_F(HealthReporterTest, MayBeInitialisedAfterARefusal) {
    raised(nullptr, connection_);
    raised(typed_, -1);
    init();
    send(1, "working");
    EXPECT_EQ(nextLine(), "1 working");
}

TEST_F(HealthReporterTest, TakesAConnectionThatIsAPublisherAlready) {
    Code::Value rc = Code::TIMED_OUT;
    typed_->Register_Sender(connection_, rc);
    ASSERT_EQ(rc, Code::NO_ERROR);
    init();
    send(1, "working");
    EXPECT_EQ(nextLine(), "1 working");
}

// ---- The end

TEST_F(HealthReporterTest, EndsInShortTimeWithAnEmptyQueue) {
    init();
    send(1, "line");
    next();
    auto shortest = std::chrono::steady_clock::duration::max();
    // A machine that is held up takes longer, but not every time.
    for (int attempt = 0; attempt < 10 && shortest > 700ms; ++attempt) {
        auto const start = std::chrono::steady_clock::now();
        reporter_.DoneHealthReporter();
        shortest = std::min(shortest, std::chrono::steady_clock::now() - start);
        init();
    }
    reporter_.DoneHealthReporter();
    EXPECT_LE(shortest, 700ms);
    reporter_.DoneHealthReporter();
}

TEST_F(HealthReporterTest, PublishesWhatWaitsAtTheEndAndNothingLater) {
    for (int line = 0; line < 4; ++line) {
        send(1, std::to_string(line));
    }
    init();
    reporter_.DoneHealthReporter();
    send(1, "late");
    for (int line = 0; line < 4; ++line) {
        EXPECT_EQ(nextLine(), "1 " + std::to_string(line));
    }
    // The next start brings the line that came late, and nothing before it.
    init();
    EventLog const record = next();
    EXPECT_EQ(record.eventlog(), "late");
    EXPECT_EQ(record.header().seq_num(), 4);
}

TEST_F(HealthReporterTest, EndsThoughLinesKeepComing) {
    init();
    std::atomic<bool> enough{false};
    std::thread sender([&] {
        while (!enough) {
            send(1, "again");
            std::this_thread::yield();
        }
    });
    next();
    reporter_.DoneHealthReporter();
    enough = true;
    sender.join();
}

TEST_F(HealthReporterTest, GivesUpTheTransportAtTheEnd) {
    init();
    EXPECT_GT(typed_.use_count(), 1);
    reporter_.DoneHealthReporter();
    EXPECT_EQ(typed_.use_count(), 1);
}

TEST_F(HealthReporterTest, EndsWithTheObject) {
    HealthReporter reporter;
    reporter.InitHealthReporter("Zephon", factory_, typed_, connection_);
    reporter.SendEvent("f", 1, EventTypes::DIAGNOSTIC, "last words");
}

// ---- Failures

TEST_F(HealthReporterTest, TellsWhatItCouldNotPublish) {
    OutputCapture output;
    init();
    ASSERT_EQ(server_->unregisterSender(connection_), Code::NO_ERROR);
    send(1, "lost");
    send(3, "lost too");
    EXPECT_TRUE(
        output.waitFor("!!!!!! Zephon HealthReporter could not publish event type/info = "
                       "1/lost\n"));
    EXPECT_TRUE(
        output.waitFor("!!!!!! Zephon HealthReporter could not publish event type/info = "
                       "3/Some.cpp[12]:lost too\n"));
    // It goes on when the connection can send again.
    Code::Value rc = Code::TIMED_OUT;
    typed_->Register_Sender(connection_, rc);
    ASSERT_EQ(rc, Code::NO_ERROR);
    send(1, "back");
    EXPECT_EQ(nextLine(), "1 back");
}

TEST_F(HealthReporterTest, SaysNothingOnStandardOutputWhenItPublishes) {
    OutputCapture output;
    init();
    send(3, "failure");
    next();
    reporter_.DoneHealthReporter();
    EXPECT_EQ(output.text(), "");
}

TEST_F(HealthReporterTest, SurvivesAnException) {
    OutputCapture output;
    std::atomic<bool> raise{false};
    atTheClock_ = [&] {
        if (raise.exchange(false)) {
            throw std::runtime_error("the clock is broken");
        }
    };
    reporter_.SendConfigEvent("config");  // so that the thread asks for the time
    init();
    EXPECT_EQ(nextLine(), "2 config");
    raise = true;
    EXPECT_TRUE(
        output.waitFor("!!!!!! Zephon HealthReporter caught exception: the clock is broken\n"));
    send(1, "still working");
    EXPECT_EQ(nextLine(), "1 still working");
    reporter_.DoneHealthReporter();
}

TEST_F(HealthReporterTest, SurvivesAnUnknownException) {
    OutputCapture output;
    std::atomic<bool> raise{false};
    atTheClock_ = [&] {
        if (raise.exchange(false)) {
            throw 5;
        }
    };
    reporter_.SendConfigEvent("config");
    init();
    EXPECT_EQ(nextLine(), "2 config");
    raise = true;
    EXPECT_TRUE(output.waitFor("!!!!!! Zephon HealthReporter caught UNKNOWN exception\n"));
    send(1, "still working");
    EXPECT_EQ(nextLine(), "1 still working");
    reporter_.DoneHealthReporter();
}

TEST_F(HealthReporterTest, EndsAlsoWhileEveryTryFails) {
    OutputCapture output;
    std::atomic<bool> broken{false};
    atTheClock_ = [&] {
        if (broken) {
            throw std::runtime_error("the clock is broken");
        }
    };
    reporter_.SendConfigEvent("config");
    init();
    EXPECT_EQ(nextLine(), "2 config");
    auto const start = std::chrono::steady_clock::now();
    broken = true;
    ASSERT_TRUE(output.waitFor("the clock is broken\n"));
    reporter_.DoneHealthReporter();
    // Ten tries in a second at most.
    auto const tenths = (std::chrono::steady_clock::now() - start) / 100ms;
    EXPECT_LE(output.count("the clock is broken"), static_cast<std::size_t>(tenths) + 2)
        << output.text();
}

// ---- Threads

TEST_F(HealthReporterTest, SendingNeverWaitsForTheTransport) {
    // A subscriber of the same participant is called back by the publishing thread.
    std::promise<void> entered;
    std::promise<void> mayLeave;
    bool first = true;
    Typed<EventLog> own(server_->tss);
    ASSERT_EQ(own.registerCallback(connection_,
                                   [&](auto&&...) {
                                       send(1, "from the callback");
                                       if (std::exchange(first, false)) {
                                           entered.set_value();
                                           mayLeave.get_future().wait();
                                       }
                                   }),
              Code::NO_ERROR);
    init();
    ASSERT_TRUE(server_->subscriberHas(connection_, 1));
    send(1, "held up");
    entered.get_future().wait();
    for (int line = 0; line < 100; ++line) {
        send(1, "more");
    }
    reporter_.SendConfigEvent("config");
    mayLeave.set_value();
    EXPECT_EQ(nextLine(), "1 held up");
    EXPECT_EQ(nextLine(), "1 from the callback");
    for (int line = 0; line < 9; ++line) {
        EXPECT_EQ(nextLine(), "1 more");
    }
    EXPECT_EQ(nextLine(), "2 config");
    ASSERT_EQ(server_->unregisterCallback(connection_), Code::NO_ERROR);
}

TEST_F(HealthReporterTest, TakesLinesFromManyThreadsThroughInitAndDone) {
    std::atomic<bool> enough{false};
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([this, index, &enough] {
            unsigned const id = reporter_.SendConfigEvent("config");
            while (!enough) {
                send(index + 1, "line");
                reporter_.ReplaceConfigEvent("config", id);
                std::this_thread::sleep_for(20ms);
            }
        });
    }
    for (int round = 0; round < 2; ++round) {
        init();
        next();
        next();
        reporter_.DoneHealthReporter();
    }
    enough = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
