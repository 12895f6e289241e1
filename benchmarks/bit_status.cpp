// What the longest BIT status of the PNT device costs, with a full set of fault labels: message
// 27535 with 195 faulted tests, each with three labels among 4,096, from the frame to the texts of
// its maintenance events. Aim: below 1 ms, no allocation. Beside it the allocations of the server's
// own way around: the join of 5040 and 9391, a status without a fault, a BitReport.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ASPN/HealthReporter.h"
#include "aspn2_msgs/BitReport.h"
#include "bench/UnitFrame.h"
#include "benchmarks/AllocationCount.h"
#include "benchmarks/LocalServer.h"
#include "zephon/FaultLabels.h"
#include "zephon/PntdBit.h"
#include "zephon/ReceiverStatusJoin.h"

namespace benchmarks {
namespace {

using Clock = std::chrono::steady_clock;
using aspn2_msgs::idl::GSSIP;

constexpr unsigned entries = 195;
constexpr unsigned labelsOfAnEntry = 3;
constexpr unsigned rounds = 2000;
constexpr char const* rollup = "ZephonServer: PNTD BIT= SYS:Pass POST:Pass BBIT:Pass CBIT:Pass";

std::uint16_t word(unsigned type, unsigned status, unsigned testId) {
    return static_cast<std::uint16_t>(type | status << 2U | testId << 8U);
}

void add(FaultLabels& labels, unsigned type, unsigned testId, unsigned number) {
    using Message = PNTDBIT::PntdFaultLabelsMsg;
    PNTDBIT::PntdFaultLabel label;
    label.data[0] = word(type, 0, testId);
    label.set<PNTDBIT::PntdFaultLabel::Descriptor>("DESCRIPTOR OF A TEST, AS LONG AS IT MAY BE " +
                                                   std::to_string(number));
    PNTDBIT::Received<Message> received;
    received.groups = 1;
    Message::Labels::set(received.record, 0, label);
    labels.add(received);
}

/// Three for each entry of the status, the rest for tests of the fourth kind.
void fill(FaultLabels& labels) {
    for (unsigned number = 0; number < FaultLabels::capacity; ++number) {
        const unsigned testId = number / labelsOfAnEntry;
        if (testId < entries) {
            add(labels, testId % 3, testId, number);
        } else {
            add(labels, 3, number % 256, number);
        }
    }
}

std::vector<std::uint8_t> makeStatus(unsigned status) {
    std::vector<std::uint16_t> data{0, 0, 0, 0, entries << 8U};
    for (unsigned testId = 0; testId < entries; ++testId) {
        data.push_back(word(testId % 3, status, testId));
    }
    return bench::UnitFrame{27535, bench::UnitFrame::linkReady, data}.encode();
}

/// All of a status; the number of characters, so that nothing of it is left out.
std::size_t describe(std::vector<std::uint8_t> const& frame, FaultLabels const& labels,
                     std::string& text) {
    const auto status =
        PNTDBIT::readBitStatus(frame.data(), static_cast<unsigned short>(frame.size()));
    std::size_t characters = 0;
    for (std::size_t i = 0; status && i < status->groups; ++i) {
        labels.describe(PNTDBIT::PntdBitStatusMsg::Entries::get(status->record, i), text);
        characters += text.size();
    }
    return characters;
}

void measureLookUp() {
    FaultLabels labels;
    fill(labels);
    const auto frame = makeStatus(2);
    std::string text;
    const std::size_t characters = describe(frame, labels, text);
    if (characters < entries * std::string("DESCRIPTOR OF A TEST, AS LONG AS IT MAY BE ").size()) {
        throw std::runtime_error("an entry has found no label");
    }
    std::vector<double> times;
    times.reserve(rounds);
    const std::uint64_t before = allocationCount();
    for (unsigned round = 0; round < rounds; ++round) {
        const auto start = Clock::now();
        const bool same = describe(frame, labels, text) == characters;
        const auto end = Clock::now();
        if (!same) {
            throw std::runtime_error("one look-up is not as the other");
        }
        times.push_back(std::chrono::duration<double, std::micro>(end - start).count());
    }
    const std::uint64_t taken = allocationCount() - before;
    std::sort(times.begin(), times.end());
    std::printf("27535 with %u faults among %zu labels: p50 %.1f us, p99 %.1f us, aim 1000 %s\n",
                entries, FaultLabels::capacity, times[rounds / 2], times[rounds * 99 / 100],
                times[rounds / 2] < 1000 ? "met" : "missed");
    std::printf("  allocations for it: %.4f\n", static_cast<double>(taken) / rounds);
}

/// Allocations for one call, the first, which may fill what is kept, left out.
template <typename Call>
double count(Call call) {
    call();
    const std::uint64_t before = allocationCount();
    for (unsigned round = 0; round < rounds; ++round) {
        call();
    }
    return static_cast<double>(allocationCount() - before) / rounds;
}

void countJoin() {
    const auto frame5040 = bench::UnitFrame{5040, 0x9000, std::vector<std::uint16_t>(88)}.encode();
    const auto frame9391 = bench::UnitFrame{9391, 0x9000, std::vector<std::uint16_t>(84)}.encode();
    const Trevo_8504_Msg mark;
    ReceiverStatusJoin join;
    const auto length = [](auto const& frame) { return static_cast<unsigned short>(frame.size()); };
    const double pair = count([&] {
        if (!join.store5040(frame5040.data(), length(frame5040)) ||
            !join.store9391(frame9391.data(), length(frame9391)) ||
            join.takeOutput(mark) == nullptr) {
            throw std::runtime_error("the pair does not match");
        }
    });
    std::printf("allocations for a pair of 5040 and 9391: %.4f, the message is one\n", pair);
}

/// Without a link and a transport: the server alone, the messages that it makes, and the events,
/// which find a full queue.
void countServer() {
    const auto server = std::make_unique<ZephonServer>();
    start(*server);
    GSSIP record;
    record.header().device_id(0x03310000);
    record.data(makeStatus(0));
    record.num_bytes(static_cast<std::int32_t>(record.data().size()));
    const std::string text = rollup;
    const auto sendEvent = [](std::string const& event) {
        HealthReporter::Instance().SendEvent("bit_status.cpp", 1, EventTypes::INFORMATION, event);
    };
    const double status = count([&] { server->cbGssip(record); });
    const double event = count([&] { sendEvent(text); });
    std::printf("allocations for a 27535 without a fault: %.4f, of these its event sent: %.4f\n",
                status, event);
    aspn2_msgs::idl::BitReport report;
    report.header().device_id(2);
    std::printf("allocations for a BitReport: %.4f, its message is one\n",
                count([&] { server->cbBit(report); }));
    report.header().device_id(1);
    std::printf("allocations for the report of a system CBIT: %.4f, its messages are two\n",
                count([&] { server->cbBit(report); }));
}

}  // namespace
}  // namespace benchmarks

int main() {
    try {
        benchmarks::measureLookUp();
        benchmarks::countJoin();
        benchmarks::countServer();
        return EXIT_SUCCESS;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "bit_status: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
