#include <array>
#include <fcntl.h>
#include <poll.h>

#include <gtest/gtest.h>

#include "bench/UnitModel.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto deadline = 10s;

/// The computer's side of the line: what the server would open.
class Port {
public:
    explicit Port(const std::string& device)
        : descriptor_(::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {}

    bool isOpen() const { return descriptor_.valid(); }

    void write(const std::vector<std::uint8_t>& bytes) {
        EXPECT_EQ(::write(descriptor_.get(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// How much the line takes before it is full.
    std::size_t fill() {
        const std::vector<std::uint8_t> piece(1024, 0);
        std::size_t total = 0;
        for (ssize_t n = 0; (n = ::write(descriptor_.get(), piece.data(), piece.size())) > 0;) {
            total += static_cast<std::size_t>(n);
        }
        return total;
    }

    /// Reads until `size` bytes are there; fewer when the time is up or the line has hung up.
    std::vector<std::uint8_t> read(std::size_t size) {
        std::vector<std::uint8_t> result;
        const auto end = Clock::now() + deadline;
        while (result.size() < size && Clock::now() < end) {
            pollfd event{descriptor_.get(), POLLIN, 0};
            ::poll(&event, 1, 100);
            std::array<std::uint8_t, 256> buffer{};
            const ssize_t n = ::read(descriptor_.get(), buffer.data(), buffer.size());
            if (n > 0) {
                result.insert(result.end(), buffer.begin(), buffer.begin() + n);
            } else if ((event.revents & POLLHUP) != 0) {
                break;
            }
        }
        return result;
    }

    /// True when nothing more comes in a while.
    bool quiet() {
        pollfd event{descriptor_.get(), POLLIN, 0};
        return ::poll(&event, 1, 50) == 0;
    }

    bool waitForHangUp() {
        pollfd event{descriptor_.get(), 0, 0};
        return ::poll(&event, 1, 10000) == 1 && (event.revents & POLLHUP) != 0;
    }

private:
    FileDescriptor descriptor_;
};

std::vector<std::uint8_t> joined(const std::vector<UnitFrame>& frames) {
    std::vector<std::uint8_t> result;
    for (const UnitFrame& frame : frames) {
        const auto bytes = frame.encode();
        result.insert(result.end(), bytes.begin(), bytes.end());
    }
    return result;
}

class UnitModelTest : public testing::Test {
protected:
    /// Sends one frame and checks all that the unit answers.
    void expectAnswers(std::uint16_t id, std::uint16_t flags,
                       const std::vector<UnitFrame>& answers) {
        port.write(UnitFrame{id, flags, {1}}.encode());
        const auto expected = joined(answers);
        EXPECT_EQ(hexadecimal(port.read(expected.size())), hexadecimal(expected));
        EXPECT_TRUE(unit.waitForFrames(++sent, deadline));
        EXPECT_TRUE(port.quiet());
    }

    UnitModel unit;
    Port port{unit.devicePath()};
    std::size_t sent = 0;
};

const UnitFrame ack = UnitFrame::makeAck(5331);
const UnitFrame nak = UnitFrame::makeNak(5331);
const UnitFrame response = UnitFrame::makeResponse(5331);
const UnitFrame reject = UnitFrame::makeReject(5331);

TEST_F(UnitModelTest, AcknowledgesWhenAskedAndRespondsUnlessExempt) {
    expectAnswers(5331, 0x9000, {ack, response});
    expectAnswers(5331, 0x8000, {response});
    expectAnswers(27552, 0x9000, {UnitFrame::makeAck(27552)});
    expectAnswers(15050, 0x8000, {});
}

TEST_F(UnitModelTest, DoesNotAnswerTheHandshakeFramesOfTheComputer) {
    port.write(UnitFrame::makeAck(5331).encode());
    port.write(UnitFrame::makeResponse(5331).encode());
    EXPECT_TRUE(unit.waitForFrames(2, deadline));
    EXPECT_TRUE(port.quiet());
}

TEST_F(UnitModelTest, FollowsThePolicyOfTheMessage) {
    unit.setReaction(5331, {Policy::AckOnly});
    expectAnswers(5331, 0x9000, {ack});
    expectAnswers(5331, 0x8000, {});
    unit.setReaction(5331, {Policy::AckThenResponse});
    expectAnswers(5331, 0x8000, {ack, response});
    unit.setReaction(5331, {Policy::ResponseThenAck});
    expectAnswers(5331, 0x9000, {response, ack});
    unit.setReaction(5331, {Policy::ResponseOnly});
    expectAnswers(5331, 0x9000, {response});
    unit.setReaction(5331, {Policy::Nak});
    expectAnswers(5331, 0x9000, {nak});
    expectAnswers(5331, 0x9000, {nak});
    unit.setReaction(5331, {Policy::Reject});
    expectAnswers(5331, 0x9000, {ack, reject});
    unit.setReaction(5331, {Policy::Silence});
    expectAnswers(5331, 0x9000, {});
    expectAnswers(5332, 0x9000, {UnitFrame::makeAck(5332), UnitFrame::makeResponse(5332)});
}

TEST_F(UnitModelTest, ReturnsToTheDefaultAfterTheCount) {
    unit.setReaction(5331, {Policy::Nak, 0ms, 1});
    expectAnswers(5331, 0x9000, {nak});
    expectAnswers(5331, 0x9000, {ack, response});
}

TEST_F(UnitModelTest, AnswersLate) {
    unit.setReaction(5331, {Policy::Standard, 150ms});
    const auto begin = Clock::now();
    expectAnswers(5331, 0x9000, {ack, response});
    EXPECT_GE(Clock::now() - begin, 150ms);
}

TEST_F(UnitModelTest, SpoilsTheChecksumOfItsAnswers) {
    unit.setReaction(5331, {Policy::DamagedBytes});
    port.write(UnitFrame{5331, 0x9000, {1}}.encode());
    const auto bytes = port.read(20);
    ASSERT_EQ(bytes.size(), 20U);
    for (const std::size_t begin : {0U, 10U}) {
        std::string defect;
        EXPECT_FALSE(decodeFrame(bytes.data() + begin, 10, &defect));
        EXPECT_EQ(defect, "header checksum is wrong");
    }
}

TEST_F(UnitModelTest, LogsFramesWithTheTimeOfTheirLastByte) {
    const UnitFrame frame{15050, 0x8000, {1, 2, 3}};
    const auto bytes = frame.encode();
    port.write({bytes.begin(), bytes.end() - 1});
    const auto before = Clock::now();
    port.write({bytes.back()});
    ASSERT_TRUE(unit.waitForFrames(15050, 1, deadline));
    const auto logged = unit.frames(15050);
    ASSERT_EQ(logged.size(), 1U);
    EXPECT_EQ(logged[0].bytes, bytes);
    EXPECT_EQ(logged[0].frame.data, frame.data);
    EXPECT_GE(logged[0].lastByte, before);
    EXPECT_LE(logged[0].lastByte, Clock::now());
    EXPECT_TRUE(unit.frames(1).empty());
}

TEST_F(UnitModelTest, CountsFramesByIdBytesAndErrors) {
    auto broken = UnitFrame{7, 0x8000, {1}}.encode();
    broken.back() ^= 1;
    port.write(broken);
    port.write(UnitFrame{8, 0x8400, {}}.encode());
    port.write(UnitFrame{8, 0x8400, {}}.encode());
    ASSERT_TRUE(unit.waitForFrames(2, deadline));
    const auto statistics = unit.statistics();
    EXPECT_EQ(statistics.line.bytes, broken.size() + 20);
    EXPECT_EQ(statistics.line.checksumErrors(), 1U);
    EXPECT_EQ(statistics.line.frames, 2U);
    EXPECT_EQ(statistics.framesById, (std::map<std::uint16_t, std::uint64_t>{{8, 2}}));
    EXPECT_NE(unit.describe().find("2 frames in 34 bytes, 1 checksum errors"), std::string::npos);
}

TEST_F(UnitModelTest, SendsFramesAndAnyBytes) {
    unit.send(reject);
    unit.sendBytes({0xFF, 0xFF, 0x00});
    auto expected = reject.encode();
    expected.insert(expected.end(), {0xFF, 0xFF, 0x00});
    EXPECT_EQ(port.read(expected.size()), expected);
    EXPECT_TRUE(unit.waitUntilSent(deadline));
    EXPECT_EQ(unit.statistics().sentBytes, expected.size());
}

TEST_F(UnitModelTest, SendsMoreThanTheLineHoldsWithoutBlocking) {
    const std::vector<std::uint8_t> flood(300000, 0xA5);
    unit.sendBytes(flood);
    EXPECT_FALSE(unit.waitUntilSent(50ms));
    EXPECT_EQ(port.read(flood.size()).size(), flood.size());
    EXPECT_TRUE(unit.waitUntilSent(deadline));
}

TEST_F(UnitModelTest, LeavesBytesInTheLineWhileItDoesNotRead) {
    unit.stopReading();
    const std::size_t held = port.fill();
    EXPECT_GT(held, 0U);
    EXPECT_FALSE(unit.waitForFrames(1, 50ms));
    unit.resumeReading();
    const auto end = Clock::now() + deadline;
    while (unit.statistics().line.bytes < held && Clock::now() < end) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(unit.statistics().line.bytes, held);
}

TEST_F(UnitModelTest, HangsUpAndComesBackOnAnotherDevice) {
    unit.hangUp();
    EXPECT_TRUE(port.waitForHangUp());
    unit.send(ack);  // lost, as on a line without a cable
    unit.reconnect();
    Port fresh(unit.devicePath());
    ASSERT_TRUE(fresh.isOpen());
    fresh.write(UnitFrame{5331, 0x9000, {1}}.encode());
    EXPECT_EQ(fresh.read(20), joined({ack, response}));
    EXPECT_TRUE(fresh.quiet());
}

TEST_F(UnitModelTest, StaysAliveWhileNobodyHasTheDeviceOpen) {
    { Port other(unit.devicePath()); }
    expectAnswers(5331, 0x8000, {response});
}

TEST(UnitModel, KeepsALimitedLogAndShowsFramesToTheObserver) {
    std::atomic<int> observed{0};
    UnitModel::Options options;
    options.keptFrames = 3;
    options.observer = [&](const LoggedFrame&) { ++observed; };
    UnitModel unit(options);
    Port port(unit.devicePath());
    for (std::uint16_t id = 1; id <= 5; ++id) {
        port.write(UnitFrame{id, 0x8800, {}}.encode());
    }
    ASSERT_TRUE(unit.waitForFrames(5, 1, deadline));
    const auto kept = unit.frames();
    ASSERT_EQ(kept.size(), 3U);
    EXPECT_EQ(kept.front().frame.id, 3);
    EXPECT_EQ(observed, 5);
}

TEST(UnitModel, WhatTheObserverSendsLaterGoesBehindTheAnswers) {
    std::atomic<UnitModel*> model{nullptr};
    const UnitFrame frame{5044, 0x8000, {1, 2}};
    UnitModel::Options options;
    options.observer = [&](const LoggedFrame&) { model.load()->sendLater(frame, 0ms); };
    UnitModel unit(options);
    model = &unit;
    Port port(unit.devicePath());
    port.write(UnitFrame{27552, UnitFrame::linkReady | UnitFrame::ackRequest, {1}}.encode());
    auto expected = UnitFrame::makeAck(27552).encode();
    const auto behind = frame.encode();
    expected.insert(expected.end(), behind.begin(), behind.end());
    EXPECT_EQ(port.read(expected.size()), expected);
}

TEST(UnitModel, SendsLaterWhenTheTimeHasCome) {
    UnitModel unit;
    Port port(unit.devicePath());
    const auto begin = Clock::now();
    unit.sendLater({5044, 0x8000, {1, 2}}, 1s);
    unit.send({5044, 0x8000, {3}});
    auto expected = UnitFrame{5044, 0x8000, {3}}.encode();
    const auto behind = UnitFrame{5044, 0x8000, {1, 2}}.encode();
    expected.insert(expected.end(), behind.begin(), behind.end());
    EXPECT_EQ(port.read(expected.size()), expected);
    EXPECT_GE(Clock::now() - begin, 1s);
    EXPECT_TRUE(unit.waitUntilSent(deadline));
}

TEST(UnitModel, WaitsNoLongerThanToldForFramesThatDoNotCome) {
    UnitModel unit;
    const auto begin = Clock::now();
    EXPECT_FALSE(unit.waitForFrames(1, 100ms));
    EXPECT_GE(Clock::now() - begin, 100ms);
    EXPECT_LT(Clock::now() - begin, 5s);
}

}  // namespace
}  // namespace bench
