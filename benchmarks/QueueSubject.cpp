#include "benchmarks/QueueSubject.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <poll.h>
#include <stdexcept>
#include <vector>

#include "bench/QueueRecord.h"
#include "benchmarks/NumberedFrame.h"

namespace benchmarks {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto firstAfter = 10ms;
constexpr auto arrivalTimeout = 2s;  // for the last frames of a block

/// Waits for one of the descriptors, at most until `end`.
template <std::size_t Count>
void waitUntil(Clock::time_point end, std::array<pollfd, Count>& events) {
    auto const left = std::max<Clock::duration>(end - Clock::now(), 0ns);
    auto const ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
    timespec const timeout{ns / 1'000'000'000, ns % 1'000'000'000};
    ::ppoll(events.data(), events.size(), &timeout, nullptr);
}

}  // namespace

/// What the program itself sends on the line, which it must be able to get rid of.
void QueueSubject::dropWaiting() {
    std::array<std::uint8_t, 4096> scrap{};
    while (line_.read(scrap.data(), scrap.size()) > 0) {
    }
}

LatencySamples QueueSubject::measure(double rate, std::int64_t count) {
    dropWaiting();
    while (queue_.read() > 0) {  // what came too late for an earlier block
    }
    auto const period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / rate));
    auto const start = Clock::now() + firstAfter;
    auto const end = start + count * period + arrivalTimeout;
    std::uint32_t const first = nextNumber_;
    std::vector<Clock::time_point> sent;
    sent.reserve(static_cast<std::size_t>(count));
    LatencySamples samples;
    auto bytes = NumberedFrame{link_, nextNumber_}.frame().encode();
    std::array<pollfd, 2> events{pollfd{queue_.descriptor(), POLLIN, 0},
                                 pollfd{line_.descriptor(), POLLIN, 0}};

    while (samples.microseconds.size() < static_cast<std::size_t>(count) && Clock::now() < end) {
        bool const sending = sent.size() < static_cast<std::size_t>(count);
        auto const due = sending ? start + static_cast<std::int64_t>(sent.size()) * period : end;
        waitUntil(due, events);
        if (events[0].revents != 0 && queue_.read() > 0) {
            auto const now = Clock::now();
            auto const records = bench::decodeRecords(queue_.bytes());
            if (!records) {
                throw std::runtime_error("the queue gives what is no record");
            }
            for (bench::QueueRecord const& record : *records) {
                auto const frame = NumberedFrame::read(record.data);
                if (!frame || frame->link != link_ || frame->number - first >= sent.size()) {
                    throw std::runtime_error("the queue gives a frame that was not sent");
                }
                samples.microseconds.push_back(
                    std::chrono::duration<double, std::micro>(now - sent[frame->number - first])
                        .count());
            }
        }
        if (events[1].revents != 0) {
            dropWaiting();
        }
        if (sending && Clock::now() >= due) {
            sent.push_back(Clock::now());
            if (line_.write(bytes.data(), bytes.size()) != bytes.size()) {
                throw std::runtime_error("the line takes no bytes");
            }
            bytes = NumberedFrame{link_, ++nextNumber_}.frame().encode();
        }
    }
    samples.lost = sent.size() - samples.microseconds.size();
    return samples;
}

}  // namespace benchmarks
