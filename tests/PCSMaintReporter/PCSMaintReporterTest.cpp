#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ASPN/FaultHysteresis.h"
#include "ASPN/TimeTags.h"
#include "PCSMaintReporter/PCSMaintReporter.h"
#include "tests/GpsSerialIo/OutputCapture.h"
#include "tests/face/FailingAllocation.h"
#include "tests/face/ParticipantsApart.h"
#include "tests/face/TypedTransport.h"

using namespace std::chrono_literals;
using namespace ASPN2::Maintenance;
using Record = PCSMaintReporter::Record;
using testing::EndsWith;
using testing::MatchesRegex;

namespace {

constexpr std::int64_t int64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t int64Max = std::numeric_limits<std::int64_t>::max();

void send(PCSMaintReporter& reporter, std::string const& description) {
    reporter.sendMaintenanceEvent(description, "PNT-D", Criticality::UNIT_FAULT,
                                  Outcome::UNIT_FAULT, 49, Category::CBIT, LRU::UNIT_1,
                                  static_cast<Component::eCmpo>(2), LRU::NONE, Component::NONE,
                                  LRU::NONE, Component::NONE, LRU::NONE, Component::NONE, 0);
}

void sendLong(PCSMaintReporter& reporter, std::string const& description,
              char const* prefix = nullptr) {
    reporter.sendLongDescriptionMultiMaintenanceEvent(
        description, "PNT-D", Criticality::UNIT_FAULT, Outcome::UNIT_FAULT, 49, Category::CBIT,
        LRU::UNIT_1, static_cast<Component::eCmpo>(2), LRU::NONE, Component::NONE, LRU::NONE,
        Component::NONE, LRU::NONE, Component::NONE, 0, prefix);
}

/// A reporter's transport, and a log in another participant that reads its records.
class PCSMaintReporterTest : public testing::Test {
protected:
    PCSMaintReporterTest() {
        text_.set("BackFillHistory", "true").set("HistoryDepth", "1000");
        text_.connections = {
            {"MaintenanceEvent", TransportText::topic("aspn2_msgs::idl::MaintenanceEvent",
                                                      "MaintenanceEventPubSubType")}};
        log_ = std::make_unique<Transport>(text_, "Log");
        server_ = std::make_unique<Transport>(text_, "Server");
        EXPECT_EQ(log_->initialize(), Code::NO_ERROR);
        EXPECT_EQ(server_->initialize(), Code::NO_ERROR);
        EXPECT_EQ(Typed<Record>(log_->tss).registerCallback(log_->connect("MaintenanceEvent"),
                                                            into(mailbox_)),
                  Code::NO_ERROR);
        connection_ = server_->connect("MaintenanceEvent");
        typed_ = std::make_shared<PCSMaintReporter::TypedTS>();
        Code::Value rc = Code::TIMED_OUT;
        typed_->Set_Reference("transport", server_->tss, 0, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
    }

    void init() { reporter_.InitMaintReporter("Zephon", factory_, typed_, connection_); }

    Record next() {
        std::optional<Received<Record>> received = mailbox_.take();
        EXPECT_TRUE(received.has_value()) << "no record came";
        return received ? received->record : Record();
    }

    /// What InitMaintReporter raises.
    std::string raised(std::shared_ptr<PCSMaintReporter::TypedTS> const& typed,
                       long long connection) {
        try {
            reporter_.InitMaintReporter("Zephon", factory_, typed, connection);
        } catch (std::runtime_error const& error) {
            return error.what();
        }
        return "nothing";
    }

    bench::DomainLock domain_;
    TransportText text_{domain_};
    Mailbox<Received<Record>> mailbox_;  // outlives the transport, whose callbacks fill it
    std::unique_ptr<Transport> log_;
    std::unique_ptr<Transport> server_;
    long long connection_ = -1;
    std::shared_ptr<PCSMaintReporter::TypedTS> typed_;
    ASPN2::DeviceIdFactory const factory_{ASPN2::SystemIds::ILMAR, 49};
    PCSMaintReporter reporter_;
};

TEST(PCSMaintReporter, IsOneForTheProcess) {
    EXPECT_EQ(&PCSMaintReporter::Instance(), &PCSMaintReporter::Instance());
}

TEST(PCSMaintReporter, TellsThatItIsNotInitialised) {
    OutputCapture output;
    PCSMaintReporter reporter;
    send(reporter, "lost");
    EXPECT_THAT(output.text(),
                MatchesRegex("!!!!!! PCSMaintReporter \\([0-9]+\\) publishMaintenanceEvent: "
                             "PCSMaintReporter not initialized! Cannat send MaintenanceEvent.\n"));
    reporter.DoneMaintReporter();
}

TEST(PCSMaintReporter, TellsOfEachPieceOfALongDescriptionThoughItIsNotInitialised) {
    OutputCapture output;
    PCSMaintReporter reporter;
    sendLong(reporter, std::string(49, 'a') + "rest");
    std::string const lost =
        "!!!!!! PCSMaintReporter \\([0-9]+\\) publishMaintenanceEvent: "
        "PCSMaintReporter not initialized! Cannat send MaintenanceEvent.\n";
    std::string const sending =
        "PCSMaintReporter \\([0-9]+\\) sendLongDescriptionMultiMaintenanceEvent: "
        "Sending maintenance event: ";
    EXPECT_THAT(output.text(),
                MatchesRegex(sending + "Evt_1:a+\n" + lost + sending + "Evt_2:rest\n" + lost));
}

TEST(PCSMaintReporter, NeedsNoMemoryToTellThatItIsNotInitialised) {
    OutputCapture output;
    PCSMaintReporter reporter;
    {
        FailingAllocation const noMemory;
        EXPECT_NO_THROW(send(reporter, "lost"));
    }
    EXPECT_THAT(output.text(), EndsWith("Cannat send MaintenanceEvent.\n"));
}

// ---- Time

TEST(PCSMaintReporter, TimeRunsOnFromTheGivenTime) {
    PCSMaintReporter reporter;
    auto const start = std::chrono::steady_clock::now();
    reporter.SetTimeOffset(1000s);
    std::chrono::nanoseconds const time = reporter.GetTime();
    auto const passed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(time, 1000s);
    EXPECT_LE(time, 1000s + passed);
    EXPECT_GE(reporter.GetTime(), time);
}

TEST(PCSMaintReporter, TimeIsGivenInSecondsAndNanosecondsToo) {
    PCSMaintReporter reporter;
    auto const start = std::chrono::steady_clock::now();
    reporter.SetAspnTimeOffset(1'400'000'000, 999'999'999);
    std::chrono::nanoseconds const time = reporter.GetTime();
    auto const passed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(time, 1'400'000'000s + 999'999'999ns);
    EXPECT_LE(time, 1'400'000'000s + 999'999'999ns + passed);
}

TEST(PCSMaintReporter, TimeIsTheSteadyClocksUntilThen) {
    PCSMaintReporter reporter;
    auto const before = std::chrono::steady_clock::now().time_since_epoch();
    std::chrono::nanoseconds const time = reporter.GetTime();
    EXPECT_GE(time, before);
    EXPECT_LE(time, std::chrono::steady_clock::now().time_since_epoch());
}

TEST(PCSMaintReporter, StandsTimesOfAnySize) {
    PCSMaintReporter reporter;
    reporter.SetTimeOffset(std::chrono::nanoseconds(int64Min));
    EXPECT_LT(reporter.GetTime(), 0s);
    reporter.SetTimeOffset(std::chrono::nanoseconds(int64Max));
    reporter.GetTime();
    reporter.SetAspnTimeOffset(int64Max, int64Max);
    reporter.GetTime();
    reporter.SetAspnTimeOffset(int64Min, int64Min);
    reporter.GetTime();
    reporter.SetAspnTimeOffset(-5, 0);
    EXPECT_GE(reporter.GetTime(), -5s);
}

// ---- What is published

TEST_F(PCSMaintReporterTest, PublishesARecordWithSenderNumberAndTimes) {
    init();
    reporter_.SetTimeOffset(5000s);
    send(reporter_, "POST Tst: 5 Hard");
    send(reporter_, "second");
    std::chrono::nanoseconds const after = reporter_.GetTime();
    Record const first = next();
    EXPECT_EQ(static_cast<std::uint32_t>(first.header().device_id()), factory_.makeDeviceId(59, 0));
    EXPECT_EQ(first.header().seq_num(), 0);
    std::chrono::nanoseconds const arrival = ASPN2::getNSec_fromToA(first.header());
    EXPECT_GE(arrival, 5000s);
    EXPECT_LE(arrival, after);
    EXPECT_EQ(first.header().timestamp_valid(), first.header().timestamp_arrival());
    EXPECT_EQ(first.header().timestamp_valid().time_code(), 100);
    EXPECT_STREQ(first.description().data(), "POST Tst: 5 Hard");
    EXPECT_STREQ(first.identity().data(), "PNT-D");
    EXPECT_EQ(first.category_id(), 5);
    EXPECT_EQ(first.fault_sources()[0].component_id(), 2);
    EXPECT_EQ(next().header().seq_num(), 1);
}

TEST_F(PCSMaintReporterTest, PublishesALongDescriptionInARunAndTellsSo) {
    init();
    OutputCapture output;
    sendLong(reporter_, std::string(49, 'a') + "rest");
    EXPECT_EQ(next().description().data(), "Evt_1:" + std::string(49, 'a'));
    EXPECT_STREQ(next().description().data(), "Evt_2:rest");
    EXPECT_THAT(
        output.text(),
        MatchesRegex("PCSMaintReporter \\([0-9]+\\) sendLongDescriptionMultiMaintenanceEvent: "
                     "Sending maintenance event: Evt_1:a+\n"
                     "PCSMaintReporter \\([0-9]+\\) sendLongDescriptionMultiMaintenanceEvent: "
                     "Sending maintenance event: Evt_2:rest\n"));
}

TEST_F(PCSMaintReporterTest, PublishesALongDescriptionUnderItsPrefix) {
    init();
    sendLong(reporter_, "text", "Log");
    EXPECT_STREQ(next().description().data(), "Log:text");
}

TEST_F(PCSMaintReporterTest, SaysNothingOnStandardOutputWhenItPublishesOne) {
    init();
    OutputCapture output;
    send(reporter_, "text");
    EXPECT_EQ(output.text(), "");
}

// ---- Initialisation and end

TEST_F(PCSMaintReporterTest, RefusesASecondInitialisation) {
    init();
    EXPECT_EQ(raised(typed_, connection_),
              "InitMaintReporter(Zephon) called on an already initialized PCSMaintReporter.");
    send(reporter_, "still working");
    EXPECT_STREQ(next().description().data(), "still working");
}

TEST_F(PCSMaintReporterTest, RefusesToWorkWithoutATransport) {
    EXPECT_EQ(raised(nullptr, connection_),
              "InitMaintReporter(Zephon) called with an empty eventLogTypedTS.");
}

TEST_F(PCSMaintReporterTest, RefusesAConnectionThatCannotSend) {
    OutputCapture output;
    std::string const text = raised(typed_, 77);
    EXPECT_THAT(text, testing::HasSubstr("PCSMaintReporter.cpp["));
    EXPECT_THAT(text,
                EndsWith("]:INVALID_PARAM InitMaintReporter(Zephon) unable to register sender."));
    EXPECT_EQ(output.text(), text + '\n');
}

TEST_F(PCSMaintReporterTest, TakesAConnectionThatIsAPublisherAlreadyAndMayStartLater) {
    raised(nullptr, connection_);
    raised(typed_, -1);
    Code::Value rc = Code::TIMED_OUT;
    typed_->Register_Sender(connection_, rc);
    ASSERT_EQ(rc, Code::NO_ERROR);
    init();
    send(reporter_, "working");
    EXPECT_STREQ(next().description().data(), "working");
}

TEST_F(PCSMaintReporterTest, SetsTheRecordOfFaultsUp) {
    init();
    auto type = EventTypes::FAILURE;
    EXPECT_EQ(FaultHysteresis::Instance().Check(type, "a/b.cpp", 1, "text"), "b.cpp[1]:text");
}

TEST_F(PCSMaintReporterTest, GivesUpTheTransportAtTheEndAndCountsAnewAfterwards) {
    init();
    send(reporter_, "first");
    EXPECT_GT(typed_.use_count(), 1);
    reporter_.DoneMaintReporter();
    EXPECT_EQ(typed_.use_count(), 1);
    {
        OutputCapture output;
        send(reporter_, "lost");
        EXPECT_EQ(output.count("not initialized!"), 1U);
    }
    init();
    send(reporter_, "second");
    EXPECT_STREQ(next().description().data(), "first");
    Record const record = next();
    EXPECT_STREQ(record.description().data(), "second");
    EXPECT_EQ(record.header().seq_num(), 0);
}

// ---- Failures

TEST_F(PCSMaintReporterTest, TellsThatItCouldNotPublish) {
    init();
    ASSERT_EQ(server_->unregisterSender(connection_), Code::NO_ERROR);
    OutputCapture output;
    send(reporter_, "lost");
    EXPECT_EQ(output.text(), "!!!!!! Zephon MaintReporter could not publish event\n");
}

TEST_F(PCSMaintReporterTest, LetsNoExceptionOutAndTellsIt) {
    init();
    testing::internal::CaptureStderr();
    {
        FailingAllocation const noMemory;
        send(reporter_, "x");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "std::bad_alloc\n");
    send(reporter_, "back");
    std::string description = next().description().data();
    if (description == "x") {  // the library had it in its history already
        description = next().description().data();
    }
    EXPECT_EQ(description, "back");
}

// ---- Threads

TEST_F(PCSMaintReporterTest, ManyThreadsGetNumbersOfTheirOwn) {
    constexpr int threadCount = 4;
    constexpr int recordsEach = 50;
    init();
    std::vector<std::thread> threads;
    for (int index = 0; index < threadCount; ++index) {
        threads.emplace_back([this, index] {
            for (int record = 0; record < recordsEach; ++record) {
                send(reporter_, "x");
                reporter_.SetTimeOffset(std::chrono::seconds(index));
            }
        });
    }
    std::set<std::int64_t> numbers;
    for (int record = 0; record < threadCount * recordsEach; ++record) {
        numbers.insert(next().header().seq_num());
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(threadCount * recordsEach));
    EXPECT_EQ(*numbers.begin(), 0);
    EXPECT_EQ(*numbers.rbegin(), threadCount * recordsEach - 1);
}

TEST_F(PCSMaintReporterTest, SendingGoesOnBesideInitAndDone) {
    OutputCapture output;
    std::atomic<bool> enough{false};
    std::thread sender([&] {
        while (!enough) {
            send(reporter_, "x");
        }
    });
    for (int round = 0; round < 20; ++round) {
        init();
        next();
        reporter_.DoneMaintReporter();
    }
    enough = true;
    sender.join();
}

}  // namespace
