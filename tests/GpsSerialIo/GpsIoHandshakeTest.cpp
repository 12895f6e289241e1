#include "tests/GpsSerialIo/GpsIoFixture.h"

namespace gps_io_test {
namespace {

/// One message at a time, from its first transmission to what its callback hears.
class GpsIoHandshake : public GpsIoFixture {
protected:
    void react(Policy policy, std::uint16_t id = handshaked) {
        bench::Reaction reaction;
        reaction.policy = policy;
        unit.setReaction(id, reaction);
    }

    /// Sends one message, answers its first transmission with `first` (empty: not at all), and
    /// lets the unit take the second by a policy.
    bool exchangeInTwo(std::optional<UnitFrame> const& first, Policy second) {
        react(Policy::Silence);
        EXPECT_TRUE(queue(makeMessage(handshaked), "in two"));
        EXPECT_TRUE(unit.waitForFrames(handshaked, 1, patience));
        react(second);
        if (first) {
            unit.send(*first);
        }
        EXPECT_TRUE(outcomes.waitFor(1));
        auto const heard = outcomes.all();
        return !heard.empty() && heard.front().success;
    }

    void expectCounts(unsigned int timeouts, unsigned int naks, unsigned int rejects) const {
        GpsIo::Counters const counters = link->counters();
        EXPECT_EQ(counters.protocolTimeouts, timeouts);
        EXPECT_EQ(counters.txChecksumErrors, naks);
        EXPECT_EQ(counters.rejectedCount, rejects);
        EXPECT_EQ(counters.writeErrors, 0U);
    }

    UnitFrame const nak = UnitFrame::makeNak(handshaked);
    std::string const firstTimeout =
        protocolLine("GSSIP PROTOCOL TIMEOUT (1st) Zephon1 (5001) (0)");
    std::string const secondTimeout =
        protocolLine("GSSIP PROTOCOL TIMEOUT (2nd) Zephon1 (5001) (1)");
    std::string const nakked = protocolLine("GSSIP TX CHECKSUM ERROR (5001) (1)");
    std::string const nakkedAgain = protocolLine("GSSIP TX CHECKSUM ERROR (5001) (2)");
    std::string const rejected = protocolLine("GSSIP MSG REJECTED (5001) (1)");
};

TEST_F(GpsIoHandshake, SendsTheFrameWithChecksumsByteForByte) {
    run({});
    ASSERT_TRUE(exchange());
    Bytes const expected{0xFF, 0x81, 0x89, 0x13, 0x02, 0x00, 0x00, 0x90,
                         0x76, 0xDA, 0x00, 0x11, 0x01, 0x11, 0xFF, 0xDD};
    EXPECT_EQ(bench::hexadecimal(unit.frames(handshaked).at(0).bytes),
              bench::hexadecimal(expected));
}

TEST_F(GpsIoHandshake, SucceedsOnceAckAndResponseHaveComeAndHandsOnTheRecord) {
    run({});
    for (Policy const policy : {Policy::AckThenResponse, Policy::ResponseThenAck}) {
        react(policy);
        EXPECT_TRUE(exchange());
    }
    ASSERT_TRUE(queue(makeMessage(handshaked), "ZP1COM2,text of the command"));
    ASSERT_TRUE(outcomes.waitFor(3));
    EXPECT_EQ(outcomes.all()[2].text, "ZP1COM2,text of the command");
    EXPECT_TRUE(outcomes.all()[2].success);
    auto const again = output.count("PROTOCOL TIMEOUT (1st)");  // of answers that were late
    EXPECT_EQ(transmissions(handshaked), 3U + again);
    expectCounts(0, 0, 0);
    EXPECT_EQ(output.count("GSSIP"), again) << output.text();
}

TEST_F(GpsIoHandshake, WaitsForNoMoreThanTheMessageAsksFor) {
    run({});
    react(Policy::ResponseOnly);
    ASSERT_TRUE(queue(makeMessage(handshaked, 2, 0x8000), "no ACK"));
    react(Policy::AckOnly, unanswered);
    ASSERT_TRUE(queue(makeMessage(unanswered, 2, 0x9000), "no response"));
    react(Policy::Silence, marker);
    ASSERT_TRUE(queue(makeMessage(marker, 2, 0x8000), "nothing"));
    ASSERT_TRUE(queue(makeMessage(marker, 2, 0x8000), "nothing"));
    ASSERT_TRUE(outcomes.waitFor(4));
    for (auto const& outcome : outcomes.all()) {
        EXPECT_TRUE(outcome.success) << outcome.text;
    }
    ASSERT_TRUE(unit.waitForFrames(marker, 2, patience));
    auto const again = output.count("PROTOCOL TIMEOUT (1st)");  // of answers that were late
    EXPECT_EQ(unit.frames().size(), 4U + again) << unit.describe();
    EXPECT_EQ(output.count("GSSIP"), again) << output.text();
}

TEST_F(GpsIoHandshake, SendsAgainAfterATimeOutAndSucceeds) {
    run({});
    EXPECT_TRUE(exchangeInTwo(std::nullopt, Policy::Standard));
    EXPECT_EQ(transmissions(handshaked), 2U);
    EXPECT_EQ(output.count(firstTimeout), 1U) << output.text();
    EXPECT_EQ(output.count("(2nd)"), 0U) << output.text();
    expectCounts(0, 0, 0);
}

TEST_F(GpsIoHandshake, GivesUpAfterTheSecondTimeOutAndCountsIt) {
    run({hasty});
    react(Policy::Silence);
    EXPECT_FALSE(exchange());
    EXPECT_EQ(output.count(firstTimeout), 1U) << output.text();
    EXPECT_EQ(output.count(secondTimeout), 1U) << output.text();
    expectCounts(1, 0, 0);

    EXPECT_FALSE(exchange());
    EXPECT_EQ(output.count(protocolLine("GSSIP PROTOCOL TIMEOUT (1st) Zephon1 (5001) (1)")), 1U);
    EXPECT_EQ(output.count(protocolLine("GSSIP PROTOCOL TIMEOUT (2nd) Zephon1 (5001) (2)")), 1U);
    EXPECT_EQ(output.count("PROTOCOL TIMEOUT"), 4U) << output.text();
    expectCounts(2, 0, 0);
    EXPECT_EQ(transmissions(handshaked), 4U);
}

TEST_F(GpsIoHandshake, EndsAtTheFirstTimeOutUncountedWithRetransmitDisabled) {
    configure({hasty});
    link->disableRetransmit();
    link->start();
    react(Policy::Silence);
    EXPECT_FALSE(exchange());
    EXPECT_EQ(transmissions(handshaked), 1U);
    EXPECT_EQ(output.count(firstTimeout), 1U) << output.text();
    EXPECT_EQ(output.count("GSSIP"), 1U) << output.text();
    expectCounts(0, 0, 0);
}

TEST_F(GpsIoHandshake, TakesTheNextMessageAfterAFailedOne) {
    run({});
    react(Policy::Reject);
    ASSERT_TRUE(queue(makeMessage(handshaked), "refused"));
    ASSERT_TRUE(queue(makeMessage(5002), "taken"));
    ASSERT_TRUE(outcomes.waitFor(2));
    auto const heard = outcomes.all();
    EXPECT_EQ(heard[0].text, "refused");
    EXPECT_FALSE(heard[0].success);
    EXPECT_EQ(heard[1].text, "taken");
    EXPECT_TRUE(heard[1].success);
}

TEST_F(GpsIoHandshake, SendsAgainAfterANakAndSucceeds) {
    run({slow});
    EXPECT_TRUE(exchangeInTwo(nak, Policy::Standard));
    EXPECT_EQ(transmissions(handshaked), 2U);
    EXPECT_EQ(output.count(nakked), 1U) << output.text();
    EXPECT_EQ(output.count("GSSIP"), 1U) << output.text();
    expectCounts(0, 1, 0);
}

TEST_F(GpsIoHandshake, SendsAgainAfterANakEvenWithRetransmitDisabled) {
    configure({slow});
    link->disableRetransmit();
    link->start();
    EXPECT_TRUE(exchangeInTwo(nak, Policy::Standard));
    EXPECT_EQ(transmissions(handshaked), 2U);
    expectCounts(0, 1, 0);
}

TEST_F(GpsIoHandshake, ReportsASecondNakAndDoesNotSendAThirdTime) {
    run({});
    react(Policy::Nak);
    EXPECT_FALSE(exchange());
    EXPECT_EQ(transmissions(handshaked), 2U);
    EXPECT_EQ(output.count(nakked), 1U) << output.text();
    EXPECT_EQ(output.count(nakkedAgain), 1U) << output.text();
    EXPECT_EQ(output.count("GSSIP"), 2U) << output.text();
    expectCounts(0, 2, 0);
}

TEST_F(GpsIoHandshake, FailsSilentlyWhenTheRetransmissionAfterANakTimesOut) {
    run({slow});
    EXPECT_FALSE(exchangeInTwo(nak, Policy::Silence));
    EXPECT_EQ(transmissions(handshaked), 2U);
    EXPECT_EQ(output.count(nakked), 1U) << output.text();
    EXPECT_EQ(output.count("GSSIP"), 1U) << output.text();
    expectCounts(0, 1, 0);
}

TEST_F(GpsIoHandshake, ReportsTheRejectThatFollowsANak) {
    run({slow});
    EXPECT_FALSE(exchangeInTwo(nak, Policy::Reject));
    EXPECT_EQ(transmissions(handshaked), 2U);
    EXPECT_EQ(output.count(nakked), 1U) << output.text();
    EXPECT_EQ(output.count(rejected), 1U) << output.text();
    expectCounts(0, 1, 1);
}

TEST_F(GpsIoHandshake, ReportsANakOfTheRetransmissionAndDoesNotSendAgain) {
    run({});
    EXPECT_FALSE(exchangeInTwo(std::nullopt, Policy::Nak));
    EXPECT_EQ(transmissions(handshaked), 2U);
    EXPECT_EQ(output.count(firstTimeout), 1U) << output.text();
    EXPECT_EQ(output.count(nakked), 1U) << output.text();
    EXPECT_EQ(output.count("GSSIP"), 2U) << output.text();
    expectCounts(0, 1, 0);
}

TEST_F(GpsIoHandshake, ReportsARejectAndDoesNotSendAgain) {
    run({});
    react(Policy::Reject);
    EXPECT_FALSE(exchange());
    EXPECT_EQ(transmissions(handshaked), 1U);
    EXPECT_EQ(output.count(rejected), 1U) << output.text();
    EXPECT_EQ(output.count("GSSIP"), 1U) << output.text();
    expectCounts(0, 0, 1);

    react(Policy::Standard);
    EXPECT_TRUE(exchange()) << "a reject does not stick";
}

TEST_F(GpsIoHandshake, ReportsTheRejectOfARetransmission) {
    run({});
    EXPECT_FALSE(exchangeInTwo(std::nullopt, Policy::Reject));
    EXPECT_EQ(transmissions(handshaked), 2U);
    EXPECT_EQ(output.count(firstTimeout), 1U) << output.text();
    EXPECT_EQ(output.count(rejected), 1U) << output.text();
    expectCounts(0, 0, 1);
}

TEST_F(GpsIoHandshake, CountsALateAckForTheRetransmissionOfTheSameIdentifier) {
    run({});
    bench::Reaction late;
    late.policy = Policy::AckThenResponse;
    late.delay = 1000ms;  // the time-out is 800 ms
    late.count = 1;
    unit.setReaction(handshaked, late);
    ASSERT_TRUE(queue(makeMessage(handshaked), ""));
    ASSERT_TRUE(unit.waitForFrames(handshaked, 1, patience));
    react(Policy::Silence);
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_TRUE(outcomes.all()[0].success);
    EXPECT_EQ(transmissions(handshaked), 2U);
    EXPECT_EQ(output.count(firstTimeout), 1U) << output.text();
}

/// Each of these frames would make a success of the exchange if it counted; the reject that comes
/// afterwards shows that it did not.
TEST_F(GpsIoHandshake, IsNotAdvancedByFramesWithDataNorByOtherIdentifiers) {
    run({slow});
    std::vector<UnitFrame> const idle{
        {handshaked, 0x8A00, {0}},                       // ACK and response, with data
        {static_cast<std::uint16_t>(5002), 0x8A00, {}},  // another identifier
        {handshaked, 0x8000, {}},                        // neither ACK, NAK nor response
    };
    react(Policy::Silence);
    ASSERT_TRUE(queue(makeMessage(handshaked), ""));
    ASSERT_TRUE(unit.waitForFrames(handshaked, 1, patience));
    for (UnitFrame const& frame : idle) {
        unit.send(frame);
    }
    unit.send(UnitFrame::makeAck(handshaked));
    unit.send(UnitFrame::makeReject(handshaked));
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_FALSE(outcomes.all()[0].success);
    EXPECT_EQ(link->counters().rxCount, idle.size() + 2) << "all arrived as frames";
    EXPECT_EQ(output.count(rejected), 1U) << output.text();
    EXPECT_EQ(output.count("GSSIP"), 1U) << output.text();
}

TEST_F(GpsIoHandshake, TimesOutWhenTheAnswersArriveDamaged) {
    run({hasty});
    react(Policy::DamagedBytes);
    EXPECT_FALSE(exchange());
    EXPECT_EQ(output.count(firstTimeout), 1U) << output.text();
    EXPECT_EQ(output.count(secondTimeout), 1U) << output.text();
    EXPECT_TRUE(bench::holdsInTime([this] { return link->counters().rxChecksumErrors >= 4; }))
        << "two answers to each transmission";
    EXPECT_EQ(link->counters().rxCount, 0U);
}

TEST_F(GpsIoHandshake, TellsWhoQueuedNothingThatItFailed) {
    run({});
    ASSERT_TRUE(queue(nullptr, "nothing"));
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_TRUE(exchange());
    auto const heard = outcomes.all();
    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard[0].text, "nothing");
    EXPECT_FALSE(heard[0].success);
    EXPECT_EQ(output.count("GSSIP"), 0U) << output.text();
}

TEST_F(GpsIoHandshake, DoesNotOutrunTheLine) {
    run({9600});
    auto const begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(queue(makeMessage(unanswered, 100, 0x8000)));
    }
    ASSERT_TRUE(unit.waitForFrames(unanswered, 3, patience));
    auto const frames = unit.frames(unanswered);
    EXPECT_GE(frames[2].lastByte - begin, 450ms) << "100 words take 231 ms";
}

TEST_F(GpsIoHandshake, SendsLevelOneBeforeLevelZeroAndEachLevelInOrder) {
    configure({});
    ASSERT_TRUE(queue(makeMessage(unanswered, 1, 0x8000), 0U));
    ASSERT_TRUE(queue(makeMessage(unanswered, 2, 0x8000), 0U));
    ASSERT_TRUE(queue(makeMessage(unanswered, 3, 0x8000), 1U));
    ASSERT_TRUE(queue(makeMessage(unanswered, 4, 0x8000), 1U));
    link->start();
    ASSERT_TRUE(unit.waitForFrames(4, patience));
    std::vector<std::size_t> words;
    for (auto const& entry : unit.frames()) {
        words.push_back(entry.frame.data.size());
    }
    EXPECT_EQ(words, (std::vector<std::size_t>{3, 4, 1, 2}));
}

}  // namespace
}  // namespace gps_io_test
