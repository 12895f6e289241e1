#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "ASPN/CmdResponse.h"
#include "ASPN/CmdResponseStrings.h"
#include "ASPN/TimeTags.h"
#include "tests/ASPN/FpgaFile.h"

using ASPN2::arrivalOf;
using ASPN2::CmdResponse;
using ASPN2::DeviceIdFactory;
using ASPN2::validityOf;
using aspn2_msgs::idl::CommandResponse;

namespace {

// The counters are as wide as the fields that they fill.
static_assert(sizeof(CommandResponse().header().seq_num()) == sizeof(std::uint64_t));
static_assert(sizeof(CommandResponse().command_identifier()) == sizeof(std::uint32_t));
static_assert(!std::is_polymorphic_v<CmdResponse>);

constexpr std::int32_t senderId = 0x01310200;  // topic 2, instance 0

CmdResponse makeSender() {
    return CmdResponse(DeviceIdFactory(1, 49));
}

CommandResponse commandFrom(std::uint32_t device, std::int32_t identifier,
                            const std::string& text) {
    CommandResponse command;
    command.header().device_id(static_cast<std::int32_t>(device));
    command.header().seq_num(77);
    command.commanded_device_id(5);
    command.command_identifier(identifier);
    command.command_response(text);
    return command;
}

void expectTime(const ASPN2::timestamp& stamp, std::int64_t sec, std::int32_t nsec) {
    EXPECT_EQ(stamp.sec, sec);
    EXPECT_EQ(stamp.nsec, nsec);
    EXPECT_EQ(stamp.time_code, 100);
}

}  // namespace

TEST(CmdResponse, MakesACommandFromTheDevicesTopic2) {
    CmdResponse sender = makeSender();
    const CommandResponse command = sender.makeCommand("QUERY_VERSIONING");
    EXPECT_EQ(command.header().device_id(), senderId);
    EXPECT_EQ(command.header().seq_num(), 0);
    EXPECT_EQ(command.commanded_device_id(), 0);
    EXPECT_EQ(command.command_identifier(), 0);
    EXPECT_EQ(command.command_response_type(), 0u);
    EXPECT_EQ(command.command_response(), "QUERY_VERSIONING");
}

TEST(CmdResponse, HasDeviceIdZeroUntilItIsTold) {
    CmdResponse sender;
    EXPECT_EQ(sender.makeCommand("A").header().device_id(), 0);
    sender.reset(DeviceIdFactory("OSTREL", 49));
    EXPECT_EQ(sender.makeCommand("A").header().device_id(), senderId);
}

TEST(CmdResponse, KeepsTheUpperHalfOfTheDeviceIdsRange) {
    CmdResponse sender(DeviceIdFactory(255, 49));
    EXPECT_EQ(static_cast<std::uint32_t>(sender.makeCommand("A").header().device_id()),
              0xFF310200u);
}

TEST(CmdResponse, NumbersRecordsAndCommandsOneByOne) {
    CmdResponse sender = makeSender();
    for (int count = 0; count < 3; ++count) {
        const CommandResponse command = sender.makeCommand("A");
        EXPECT_EQ(command.header().seq_num(), count);
        EXPECT_EQ(command.command_identifier(), count);
    }
}

TEST(CmdResponse, KeepsTheNumberingOverAReset) {
    CmdResponse sender = makeSender();
    sender.makeCommand("A");
    sender.makeCommand("B");
    sender.reset(DeviceIdFactory(2, 49));
    const CommandResponse command = sender.makeCommand("C");
    EXPECT_EQ(command.header().device_id(), 0x02310200);
    EXPECT_EQ(command.header().seq_num(), 2);
    EXPECT_EQ(command.command_identifier(), 2);
}

TEST(CmdResponse, StampsBothTimesWithTickZeroWithoutAnFpga) {
    CmdResponse sender = makeSender();
    for (const CommandResponse& record : {sender.makeCommand("A"), sender.makeResponse({}, "B")}) {
        expectTime(validityOf(record.header()), 0, -8);
        expectTime(arrivalOf(record.header()), 0, -8);
    }
}

TEST(CmdResponse, StampsBothTimesWithTheFpgasSystemCount) {
    const Fpga fpga(3 * 58'982'400ULL);
    CmdResponse sender = makeSender();
    for (const CommandResponse& record :
         {sender.makeCommand("A"), sender.makeResponse({}, "B"), sender.makeResponse({}, true),
          sender.makeResponseAck({}, true)}) {
        expectTime(validityOf(record.header()), 2, 999'999'992);
        expectTime(arrivalOf(record.header()), 2, 999'999'992);
    }
}

TEST(CmdResponse, TakesTheTimeOfArrivalThatItIsGiven) {
    const Fpga fpga(3 * 58'982'400ULL);
    CmdResponse sender = makeSender();
    const CommandResponse command = sender.makeCommand(58'982'400ULL, "A,1");
    expectTime(validityOf(command.header()), 2, 999'999'992);
    expectTime(arrivalOf(command.header()), 0, 999'999'992);
    EXPECT_EQ(command.header().device_id(), senderId);
    EXPECT_EQ(command.header().seq_num(), 0);
    EXPECT_EQ(command.command_identifier(), 0);
    EXPECT_EQ(command.command_response_type(), 0u);
    EXPECT_EQ(command.command_response(), "A,1");
    EXPECT_EQ(sender.makeCommand("B").header().seq_num(), 1) << "one number for each command";
}

TEST(CmdResponse, AnswersTheSenderWithItsIdentifier) {
    CmdResponse sender = makeSender();
    const CommandResponse response =
        sender.makeResponse(commandFrom(0xFE350200, -12, "A,1,2"), std::string("WORDS, OF, OURS"));
    EXPECT_EQ(response.header().device_id(), senderId);
    EXPECT_EQ(response.header().seq_num(), 0);
    EXPECT_EQ(static_cast<std::uint32_t>(response.commanded_device_id()), 0xFE350200u);
    EXPECT_EQ(response.command_identifier(), -12);
    EXPECT_EQ(response.command_response_type(), 1u);
    EXPECT_EQ(response.command_response(), "WORDS, OF, OURS");
}

TEST(CmdResponse, LeavesTheCommandIdentifierAloneWhenItAnswers) {
    CmdResponse sender = makeSender();
    sender.makeCommand("A");
    const CommandResponse command = commandFrom(9, 400, "B");
    EXPECT_EQ(sender.makeResponse(command, "TEXT").command_identifier(), 400);
    EXPECT_EQ(sender.makeResponse(command, true).command_identifier(), 400);
    EXPECT_EQ(sender.makeResponseAck(command, true).command_identifier(), 400);
    const CommandResponse next = sender.makeCommand("C");
    EXPECT_EQ(next.command_identifier(), 1);
    EXPECT_EQ(next.header().seq_num(), 4) << "answers have numbers too";
}

TEST(CmdResponse, AnswersATextInQuotesAsAText) {
    CmdResponse sender = makeSender();
    const CommandResponse response = sender.makeResponse(commandFrom(9, 1, "A"), "CBIT_RESPONSE");
    EXPECT_EQ(response.command_response(), "CBIT_RESPONSE");
}

TEST(CmdResponse, AnswersPassAndFailWithTheVerbAlone) {
    CmdResponse sender = makeSender();
    const CommandResponse command = commandFrom(9, 3, "A,1,2");
    const CommandResponse pass = sender.makeResponse(command, true);
    EXPECT_EQ(pass.command_response(), "A_PASS");
    EXPECT_EQ(pass.command_response_type(), 1u);
    EXPECT_EQ(pass.commanded_device_id(), 9);
    EXPECT_EQ(sender.makeResponse(command, false).command_response(), "A_FAIL");
    EXPECT_EQ(sender.makeResponse(commandFrom(9, 3, Sys_CommandString_InitHotStart), true)
                  .command_response(),
              "INIT_HOTSTART_PASS");
}

TEST(CmdResponse, AnswersAckAndNackWithTheVerbAlone) {
    CmdResponse sender = makeSender();
    const CommandResponse command =
        commandFrom(9, 3, Sys_CommandString_RequestZeroize + ",argument");
    const CommandResponse ack = sender.makeResponseAck(command, true);
    EXPECT_EQ(ack.command_response(), "REQUEST_ZEROIZE_ACK");
    EXPECT_EQ(ack.command_response_type(), 1u);
    EXPECT_EQ(ack.command_identifier(), 3);
    EXPECT_EQ(sender.makeResponseAck(command, false).command_response(), "REQUEST_ZEROIZE_NACK");
}

TEST(CmdResponse, AnswersAnEmptyVerbWithTheEndingAlone) {
    CmdResponse sender = makeSender();
    for (const char* text : {"", ",", ",A,B", ",,"}) {
        const CommandResponse command = commandFrom(9, 3, text);
        EXPECT_EQ(sender.makeResponse(command, true).command_response(), "_PASS") << text;
        EXPECT_EQ(sender.makeResponseAck(command, false).command_response(), "_NACK") << text;
    }
}

TEST(CmdResponse, CarriesAnyTextWhole) {
    CmdResponse sender = makeSender();
    const std::string text = std::string(100'000, 'x') + '\0' + "\n, and more";
    EXPECT_EQ(sender.makeCommand(text).command_response(), text);
    EXPECT_EQ(sender.makeResponse(commandFrom(9, 3, text), true).command_response(),
              text.substr(0, text.find(',')) + "_PASS");
}

TEST(CmdResponse, ReplacesTheTopicByteAlone) {
    CommandResponse record = commandFrom(0x01020304, 3, "A");
    CmdResponse::setTopicId(record, 255);
    EXPECT_EQ(record.header().device_id(), 0x010203FF);
    CmdResponse::setTopicId(record, 0);
    EXPECT_EQ(record.header().device_id(), 0x01020300);

    record = commandFrom(0xFFFFFFFF, 3, "A");
    CmdResponse::setTopicId(record, 0x42);
    EXPECT_EQ(static_cast<std::uint32_t>(record.header().device_id()), 0xFFFFFF42u);
    EXPECT_EQ(record.command_identifier(), 3);
    EXPECT_EQ(record.header().seq_num(), 77);
}

TEST(CmdResponse, NumbersTheCommandsOfManyThreadsWithoutGapOrDouble) {
    constexpr std::size_t threadCount = 4;
    constexpr std::size_t each = 2'000;
    CmdResponse sender = makeSender();
    std::array<std::vector<CommandResponse>, threadCount> made;
    std::vector<std::thread> threads;
    for (auto& records : made) {
        threads.emplace_back([&sender, &records] {
            for (std::size_t count = 0; count < each; ++count) {
                records.push_back(sender.makeCommand("A"));
                records.push_back(sender.makeResponse(records.back(), true));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::vector<int> numbers(2 * threadCount * each);
    std::vector<int> identifiers(threadCount * each);
    for (const auto& records : made) {
        ASSERT_EQ(records.size(), 2 * each);
        for (const CommandResponse& record : records) {
            ++numbers.at(static_cast<std::size_t>(record.header().seq_num()));
            if (record.command_response_type() == 0) {
                ++identifiers.at(static_cast<std::size_t>(record.command_identifier()));
            }
        }
    }
    EXPECT_EQ(numbers, std::vector<int>(numbers.size(), 1));
    EXPECT_EQ(identifiers, std::vector<int>(identifiers.size(), 1));
}
