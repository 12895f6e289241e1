#include "benchmarks/RoadSubject.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <stdexcept>

#include "bench/SolutionFrame.h"

namespace benchmarks {
namespace {

using namespace std::chrono_literals;
using TimePoint = std::chrono::steady_clock::time_point;

// Time for the last frames of a block to arrive, and beyond a block's own time for it to end.
constexpr std::chrono::milliseconds arrivalTimeout = 2s;
constexpr std::chrono::milliseconds endTimeout = 20s;

}  // namespace

LatencySamples RoadSubject::measure(double rate, std::int64_t count) {
    auto const before = line_.statistics().framesById[bench::SolutionFrame::id];
    auto const schedule = bench::TopicPeer::Schedule::fromNow(rate, count);
    auto const duration = std::chrono::milliseconds(
        static_cast<std::int64_t>(1000.0 * static_cast<double>(count) / rate));
    if (!peer_.run(schedule) || !peer_.waitUntilDone(++runs_, duration + endTimeout)) {
        throw std::runtime_error("the peer of " + name_ + " fails: " + peer_.lastFailure() +
                                 peer_.process().output());
    }
    // What is still missing after the wait counts as lost below.
    line_.waitForFrames(bench::SolutionFrame::id, before + static_cast<std::uint64_t>(count),
                        arrivalTimeout);

    // The time of week stands in both records of a pair and in its frame, computed alike.
    std::map<double, TimePoint> published;
    auto const note = [&published, &schedule](double timeOfWeek, auto const& publication) {
        if (publication.at >= schedule.start) {
            TimePoint& last = published[timeOfWeek];
            last = std::max(last, publication.at);
        }
    };
    for (auto const& publication : peer_.clockPublications()) {
        note(static_cast<double>(publication.record.gpsTowSeconds) +
                 publication.record.gpsTowNanoseconds * 1e-9,
             publication);
    }
    for (auto const& publication : peer_.navigatorPublications()) {
        note(publication.record.gpsTime, publication);
    }

    LatencySamples samples;
    for (auto const& entry : line_.frames(bench::SolutionFrame::id)) {
        auto const solution = bench::SolutionFrame::decode(entry.frame);
        auto const found = solution ? published.find(solution->gpsTimeOfWeek) : published.end();
        if (found != published.end()) {
            samples.microseconds.push_back(
                std::chrono::duration<double, std::micro>(entry.lastByte - found->second).count());
            published.erase(found);
        }
    }
    samples.lost = published.size();
    return samples;
}

}  // namespace benchmarks
