#include <stdexcept>

#include "ASPN/HealthReporter.h"
#include "aspn2_msgs/EventLog.h"
#include "gmock/gmock.h"
#include "tests/GpsSerialIo/GpsIoFixture.h"
#include "tests/face/ParticipantsApart.h"
#include "tests/face/TypedTransport.h"

namespace gps_io_test {
namespace {

using aspn2_msgs::idl::EventLog;
using testing::MatchesRegex;

/// What the link tells the event log. One process a test: there is one reporter in a process.
class GpsIoEvents : public GpsIoFixture {
protected:
    GpsIoEvents() {
        EXPECT_EQ(transport.initialize(), Code::NO_ERROR);
        const long long connection = transport.connect("Events");
        auto const typed = std::make_shared<HealthReporter::EventLogTypedTS>();
        Code::Value rc = Code::TIMED_OUT;
        typed->Set_Reference("transport", transport.tss, 0, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        typed->Register_Callback(connection, into(mailbox), rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        HealthReporter::Instance().InitHealthReporter("Zephon", deviceIds, typed, connection);
    }
    void TearDown() override {
        GpsIoFixture::TearDown();
        HealthReporter::Instance().DoneHealthReporter();
    }

    /// The next event as "type text".
    std::string nextEvent() {
        auto const received = mailbox.take();
        EXPECT_TRUE(received.has_value()) << "no event came";
        return received ? std::to_string(static_cast<int>(received->record.event_log_type())) +
                              " " + received->record.eventlog()
                        : "";
    }

    void expectFault(std::string const& text) {
        EXPECT_THAT(nextEvent(), MatchesRegex("3 GpsIo.cpp.[0-9]+.:Link one: " + text));
        EXPECT_EQ(output.count(".cpp["), 0U) << "places stay off standard output";
    }

    /// One bad checksum of the unit's, which is told in any case.
    void makeFault() {
        Bytes bad = makeFrame(6001).encode();
        bad.back() ^= 1;
        unit.sendBytes(bad);
    }

    bench::DomainLock domain;
    Transport transport{TransportText(domain)};
    Mailbox<Received<EventLog>> mailbox;
};

TEST_F(GpsIoEvents, TellsTheFirstTimeOutAsInformationAndTheSecondAsAFault) {
    run({hasty});
    unit.setReaction(handshaked, {Policy::Silence});
    EXPECT_FALSE(exchange());
    EXPECT_EQ(nextEvent(),
              "2 Link one: protocolThreadFunction() GSSIP PROTOCOL TIMEOUT (1st) Zephon1 (5001) "
              "(0)");
    expectFault(
        R"(protocolThreadFunction\(\) GSSIP PROTOCOL TIMEOUT \(2nd\) Zephon1 \(5001\) \(1\))");
}

TEST_F(GpsIoEvents, KeepsTimeOutsFromTheLogWithTheirReportDisabled) {
    configure({hasty});
    link->disableReportProtocolTimeout();
    link->start();
    unit.setReaction(handshaked, {Policy::Silence});
    EXPECT_FALSE(exchange());
    EXPECT_EQ(output.count("GSSIP PROTOCOL TIMEOUT"), 2U) << output.text();
    makeFault();
    expectFault(R"(readThreadFunction\(\) GSSIP RX CHECKSUM ERROR \(1\))");
}

TEST_F(GpsIoEvents, TellsABadChecksumOfEitherSide) {
    run({slow});
    makeFault();
    expectFault(R"(readThreadFunction\(\) GSSIP RX CHECKSUM ERROR \(1\))");
    unit.setReaction(handshaked, {Policy::Nak, 0ms, 1});
    EXPECT_TRUE(exchange());
    expectFault(R"(protocolThreadFunction\(\) GSSIP TX CHECKSUM ERROR \(5001\) \(1\))");
}

TEST_F(GpsIoEvents, TellsARejectedMessage) {
    run({slow});
    unit.setReaction(handshaked, {Policy::Reject});
    EXPECT_FALSE(exchange());
    expectFault(R"(protocolThreadFunction\(\) GSSIP MSG REJECTED \(5001\) \(1\))");
}

TEST_F(GpsIoEvents, TellsAWriteThatTheLineDoesNotTake) {
    run({});
    unit.hangUp();
    ASSERT_TRUE(queue(makeMessage(unanswered, 2, 0x8000)));
    expectFault(R"(WriteBytes\(\) GSSIP WRITE ERROR \(1\), msgid = 15050, wdcnt = 2, )"
                R"(flagWord = 0x8000)");
}

TEST_F(GpsIoEvents, TellsWhatACallbackThrows) {
    run({});
    ASSERT_TRUE(link->protocolQueue().emplace_back(
        1, makeMessage(handshaked),
        [](auto const&, bool) { throw std::runtime_error("nobody listens"); },
        aspn2_msgs::idl::CommandResponse()));
    expectFault(R"(protocolThreadFunction\(\) EXCEPTION: nobody listens)");
}

TEST_F(GpsIoEvents, TellsWhatTheQueuesCallbackThrows) {
    construct({});
    long long connection = -1;
    auto rc = Code::NO_ACTION;
    // Opening a queue by its name once more gives it another callback.
    gssipQueue->Connect_IOWrite(
        ioDevicesFile().c_str(), "PNTD_MX", connection,
        [](auto const&) { throw std::runtime_error("no echo"); }, rc);
    ASSERT_EQ(rc, Code::NO_ERROR);
    configureLink();
    link->start();
    unit.send(makeFrame(6001));
    expectFault(R"(readThreadFunction\(\) EXCEPTION: no echo)");
    unit.send(makeFrame(6002));
    expectFault(R"(readThreadFunction\(\) EXCEPTION: no echo)");
}

}  // namespace
}  // namespace gps_io_test
