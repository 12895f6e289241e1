// What HealthReporter::SendEvent costs its caller. Aim: less than 5 microseconds at the median, on
// an open and on a full queue, whatever the type. Nothing publishes here: the transport is never
// on the caller's road.

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "ASPN/EventQueue.h"
#include "ASPN/FaultHysteresis.h"
#include "ASPN/HealthReporter.h"

namespace {

const std::string text =
    "ZephonServer: Error decoding a PntdBitStatusMsg (27535) off the GSSIP topic.";

EventTypes::eEventType typeOf(const benchmark::State& state) {
    return static_cast<EventTypes::eEventType>(state.range(0));
}

/// Reports the median and the 99th percentile of single calls, in nanoseconds, the reading of the
/// clock included.
class CallTimes {
public:
    CallTimes() { times_.reserve(1 << 20); }

    template <class Call>
    void measure(Call call) {
        const auto start = std::chrono::steady_clock::now();
        call();
        times_.push_back(
            std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
                .count());
    }

    void report(benchmark::State& state) {
        state.counters["p50_ns"] = {percentile(0.5), benchmark::Counter::kAvgThreads};
        state.counters["p99_ns"] = {percentile(0.99), benchmark::Counter::kAvgThreads};
    }

private:
    double percentile(double part) {
        const auto at = times_.begin() +
                        static_cast<std::ptrdiff_t>(part * static_cast<double>(times_.size() - 1));
        std::nth_element(times_.begin(), at, times_.end());
        return *at;
    }

    std::vector<double> times_;
};

/// The process's reporter as a running server has it when its ten lines wait.
void fillTheReporter() {
    FaultHysteresis::Instance().OkInitFaultHysteresis(180, 16, 2000);
    for (int line = 0; line < 10; ++line) {
        HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::DIAGNOSTIC, text);
    }
}

void fullQueue(benchmark::State& state) {
    CallTimes times;
    for ([[maybe_unused]] auto _ : state) {
        times.measure(
            [&] { HealthReporter::Instance().SendEvent(__FILE__, __LINE__, typeOf(state), text); });
    }
    times.report(state);
}

/// A fresh reporter for each ten lines, so that every one is kept.
void openQueue(benchmark::State& state) {
    CallTimes times;
    std::optional<HealthReporter> reporter(std::in_place);
    int room = 10;
    for ([[maybe_unused]] auto _ : state) {
        if (room-- == 0) {
            state.PauseTiming();
            reporter.emplace();
            room = 9;
            state.ResumeTiming();
        }
        times.measure([&] { reporter->SendEvent(__FILE__, __LINE__, typeOf(state), text); });
    }
    times.report(state);
}

void bothTypesAndThreads(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("type")
        ->Arg(EventTypes::INFORMATION)
        ->Arg(EventTypes::FAILURE)
        ->Threads(1)
        ->Threads(2)
        ->UseRealTime();
}
BENCHMARK(fullQueue)->Apply(bothTypesAndThreads);
BENCHMARK(openQueue)->Apply(bothTypesAndThreads);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    fillTheReporter();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
