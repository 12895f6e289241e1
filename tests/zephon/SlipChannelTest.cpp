// Both sides of the SLIP channel and the answer about them, without topics and links.

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "bench/Patience.h"
#include "gmock/gmock.h"
#include "tests/platform/NoNewThreads.h"
#include "zephon/SlipChannel.h"
#include "zephon/SlipInterface.h"

namespace {

using namespace std::chrono_literals;
using PNTDBIT::ePntd_ProgStart;
using testing::ElementsAre;
using testing::IsEmpty;

class SlipAnswers : public testing::Test {
protected:
    void begin(std::int32_t identifier, std::chrono::nanoseconds limit = 1h) {
        SlipChannel::Record command;
        command.command_identifier(identifier);
        slip.begin(command, limit);
    }
    std::vector<std::string> answers() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return answers_;
    }
    bool waitForAnswers(std::size_t number) const {
        return bench::holdsInTime([&] { return answers().size() >= number; });
    }

    SlipChannel slip{[this](auto const& command, bool passed) {
        const std::lock_guard<std::mutex> lock(mutex_);
        answers_.push_back(std::to_string(command.command_identifier()) +
                           (passed ? " pass" : " fail"));
    }};

private:
    mutable std::mutex mutex_;  // a leaf
    std::vector<std::string> answers_;
};

TEST_F(SlipAnswers, PassWhenTheDeviceOpensAfterTheComputer) {
    begin(1);
    slip.settleComputerSide(true);
    EXPECT_THAT(answers(), IsEmpty());
    slip.settleDeviceSide(true);
    EXPECT_THAT(answers(), ElementsAre("1 pass"));
}

TEST_F(SlipAnswers, AreKeptBackWhileTheComputersSideIsPending) {
    begin(1);
    slip.settleDeviceSide(true);
    EXPECT_THAT(answers(), IsEmpty());
    slip.settleComputerSide(true);
    EXPECT_THAT(answers(), ElementsAre("1 pass"));
}

TEST_F(SlipAnswers, FailForEachOtherPairOfSettledSides) {
    for (int pair = 0; pair < 3; ++pair) {
        begin(pair);
        slip.settleComputerSide(pair == 1);
        slip.settleDeviceSide(pair == 2);
    }
    for (int pair = 3; pair < 6; ++pair) {
        begin(pair);
        slip.settleDeviceSide(pair == 5);
        slip.settleComputerSide(pair == 4);
    }
    EXPECT_THAT(answers(), ElementsAre("0 fail", "1 fail", "2 fail", "3 fail", "4 fail", "5 fail"));
}

TEST_F(SlipAnswers, FailAtTheEndOfTheTimeWhicheverSideIsPending) {
    begin(1, 0s);
    ASSERT_TRUE(waitForAnswers(1));
    begin(2, 100ms);
    slip.settleComputerSide(true);
    ASSERT_TRUE(waitForAnswers(2));
    begin(3, 100ms);
    slip.settleDeviceSide(true);
    ASSERT_TRUE(waitForAnswers(3));
    EXPECT_THAT(answers(), ElementsAre("1 fail", "2 fail", "3 fail"));
}

TEST_F(SlipAnswers, AreGivenOnceAndWhatComesLaterIsKeptOnly) {
    begin(1, 0s);
    ASSERT_TRUE(waitForAnswers(1));
    slip.settleDeviceSide(true);
    slip.settleComputerSide(true);
    slip.settleDeviceSide(false);
    slip.settleDeviceSide(true);
    EXPECT_THAT(answers(), ElementsAre("1 fail"));
}

TEST_F(SlipAnswers, AreNotGivenWithoutACommand) {
    slip.settleDeviceSide(true);
    slip.settleDeviceSide(false);
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(SlipAnswers, BeginWithBothSidesPendingAgain) {
    begin(1);
    slip.settleComputerSide(true);
    slip.settleDeviceSide(true);
    begin(2);
    slip.settleDeviceSide(true);
    EXPECT_THAT(answers(), ElementsAre("1 pass"));
    slip.settleComputerSide(true);
    EXPECT_THAT(answers(), ElementsAre("1 pass", "2 pass"));
}

TEST_F(SlipAnswers, AreOwedToACommandThatAnotherReplaces) {
    begin(1);
    slip.settleComputerSide(true);
    begin(2);
    EXPECT_THAT(answers(), ElementsAre("1 fail"));
    slip.settleComputerSide(true);
    slip.settleDeviceSide(true);
    EXPECT_THAT(answers(), ElementsAre("1 fail", "2 pass"));
}

TEST_F(SlipAnswers, AreNotGivenOnceTheTimeIsCancelled) {
    begin(1, 50ms);
    slip.cancel();
    const auto before = answers();  // empty, but on a machine that stood still
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(before, answers());
}

TEST_F(SlipAnswers, AreNotGivenAfterACancelWhenBothSidesGetSettled) {
    begin(1);
    slip.settleDeviceSide(true);
    slip.cancel();
    slip.settleComputerSide(true);
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(SlipAnswers, AreGivenAtOnceWithoutAThreadForTheTime) {
    {
        const NoNewThreads none;
        EXPECT_THROW(begin(1), std::system_error);
    }
    EXPECT_THAT(answers(), ElementsAre("1 fail"));
    begin(2);
    slip.settleComputerSide(true);
    slip.settleDeviceSide(true);
    EXPECT_THAT(answers(), ElementsAre("1 fail", "2 pass"));
}

TEST_F(SlipAnswers, AreOneForEachCommandWhenAllComesAtOnce) {
    constexpr int rounds = 3000;
    std::atomic<bool> ended{false};
    std::thread device([&] {
        for (bool open = false; !ended; open = !open) {
            slip.settleDeviceSide(open);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < rounds; ++i) {
        begin(i, std::chrono::microseconds(i % 150));
        slip.settleComputerSide(i % 3 != 0);
    }
    ended = true;
    device.join();
    slip.settleDeviceSide(true);
    const auto all = answers();
    ASSERT_EQ(static_cast<std::size_t>(rounds), all.size());
    for (int i = 0; i < rounds; ++i) {
        auto const& answer = all[static_cast<std::size_t>(i)];
        EXPECT_EQ(0U, answer.find(std::to_string(i) + " ")) << answer;
        EXPECT_TRUE(i % 3 != 0 || answer == std::to_string(i) + " fail") << answer;
    }
}

class SlipShell : public testing::Test {
protected:
    /// Runs with these results; the rest are 0.
    bool open(ePntd_ProgStart start, std::vector<int> results = {}) {
        lines.clear();
        told.clear();
        results.resize(2);
        return openSlipInterface(
            start,
            [&](std::string const& line) {
                lines.push_back(line);
                return results.at(lines.size() - 1);
            },
            [&](std::string const& what) { told.push_back(what); });
    }

    std::vector<std::string> lines;
    std::vector<std::string> told;
};

constexpr char const* addressLine =
    "ifconfig sl0 192.168.200.1 pointopoint 192.168.200.2 mtu 65534 up \n";

TEST_F(SlipShell, AttachesInTheBackgroundAndThenGivesTheAddresses) {
    EXPECT_TRUE(open(ePntd_ProgStart::normal));
    EXPECT_THAT(lines, ElementsAre("slattach -s 921600 -p slip -L /dev/ttyS5 & \n", addressLine));
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(SlipShell, IsSlowerInTheDebugStart) {
    EXPECT_TRUE(open(ePntd_ProgStart::debug));
    EXPECT_THAT(lines, ElementsAre("slattach -s 115200 -p slip -L /dev/ttyS5 & \n", addressLine));
}

TEST_F(SlipShell, GivesNoAddressesWhenItCannotAttach) {
    for (const int result : {-1, 1, 127 << 8}) {
        EXPECT_FALSE(open(ePntd_ProgStart::normal, {result}));
        EXPECT_EQ(1U, lines.size());
        EXPECT_THAT(told, ElementsAre("an error occurred when opening SLIP."));
    }
}

TEST_F(SlipShell, FailsWithTheAddresses) {
    EXPECT_FALSE(open(ePntd_ProgStart::normal, {0, 1 << 8}));
    EXPECT_THAT(told, ElementsAre("an error occurred when ifconfig SLIP."));
}

}  // namespace
