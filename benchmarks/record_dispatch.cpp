// What routing costs a record of the queues: from the entry of ZephonServer::cbGssip until a copy
// of the engine's output waits in the queue of link 1. Aim: below 2 microseconds at the median, one
// allocation for a message. The server runs in this process, and its link empties the queue
// meanwhile.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/Bench.h"
#include "benchmarks/AllocationCount.h"
#include "benchmarks/LocalServer.h"

namespace benchmarks {
namespace {

using Clock = std::chrono::steady_clock;
using aspn2_msgs::idl::GSSIP;

constexpr std::uint16_t copiedId = 8080;
constexpr std::uint16_t batches = 20;
constexpr std::uint16_t batchRecords = 400;  // fit the queue of a link

GSSIP makeRecord(std::vector<std::uint16_t> const& data) {
    GSSIP record;
    record.header().device_id(0x03270000);
    record.data(bench::UnitFrame{copiedId, bench::UnitFrame::linkReady, data}.encode());
    record.num_bytes(static_cast<std::int32_t>(record.data().size()));
    return record;
}

/// Allocations for a record where there is no link: the message alone.
double countAllocations(std::size_t words) {
    auto const server = std::make_unique<ZephonServer>();
    start(*server);
    GSSIP const record = makeRecord(std::vector<std::uint16_t>(words));
    std::uint64_t const before = allocationCount();
    for (unsigned i = 0; i < batchRecords; ++i) {
        server->cbGssip(record);
    }
    return static_cast<double>(allocationCount() - before) / batchRecords;
}

/// Times of single calls in nanoseconds, sorted; the reading of the clock is included.
std::vector<double> measure(ZephonServer& server, bench::UnitModel const& unit, std::size_t words) {
    std::vector<double> times;
    for (std::uint16_t batch = 0; batch < batches; ++batch) {
        std::vector<std::uint16_t> data(words, batch);
        std::vector<GSSIP> records;
        for (std::uint16_t number = 0; number < batchRecords; ++number) {
            data.back() = number;
            records.push_back(makeRecord(data));
        }
        for (GSSIP const& record : records) {
            auto const before = Clock::now();
            server.cbGssip(record);
            times.push_back(
                std::chrono::duration<double, std::nano>(Clock::now() - before).count());
        }
        if (!unit.waitForFrames(1, std::chrono::seconds(60),
                                [&](auto const& logged) { return logged.frame.data == data; })) {
            throw std::runtime_error("the link does not empty its queue");
        }
    }
    std::sort(times.begin(), times.end());
    return times;
}

void run() {
    for (std::size_t const words : {2U, 40U, 240U}) {
        std::printf("%3zu words: %.2f allocations for a message\n", words, countAllocations(words));
    }
    bench::Bench::Options options;
    options.settings.baud = 921600;
    bench::Bench bench(options);
    auto const server = std::make_unique<ZephonServer>();
    connect(*server, bench);
    start(*server);
    for (std::size_t const words : {2U, 40U}) {
        auto const times = measure(*server, bench.unit(1), words);
        std::printf("%3zu words: p50 %.0f ns, p99 %.0f ns of %zu records\n", words,
                    times[times.size() / 2], times[times.size() * 99 / 100], times.size());
    }
}

}  // namespace
}  // namespace benchmarks

int main() {
    try {
        benchmarks::run();
        return EXIT_SUCCESS;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "record_dispatch: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
