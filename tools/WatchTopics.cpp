#include "tools/WatchTopics.h"

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <deque>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "platform/Mutex.h"
#include "tools/CommandOutcome.h"
#include "tools/RecordText.h"
#include "tools/Sibling.h"
#include "tools/SiblingConfiguration.h"

namespace zephonctl {

namespace {

/// Records between the transport's threads and the printing one. A terminal that stands still
/// must not hold up the transport, and with it the server: the oldest records go.
class Sightings {
public:
    void put(Sighting sighting) {
        const platform::MutexLock lock(mutex_);
        waiting_.push_back(std::move(sighting));
        if (waiting_.size() > most) {
            waiting_.pop_front();
            ++lost_;
        }
        came_.notifyOne();
    }

    /// All that wait, and how many were lost before them; waits a moment when there are none.
    std::pair<std::deque<Sighting>, std::size_t> take() {
        constexpr std::chrono::milliseconds moment{50};
        const platform::MutexLock lock(mutex_);
        if (waiting_.empty()) {
            came_.waitUntil(mutex_, platform::steadyDeadline(moment));
        }
        return {std::exchange(waiting_, {}), std::exchange(lost_, 0)};
    }

private:
    static constexpr std::size_t most = 10000;

    platform::Mutex mutex_;  // a leaf
    platform::Condition came_;
    std::deque<Sighting> waiting_ GUARDED_BY(mutex_);
    std::size_t lost_ GUARDED_BY(mutex_) = 0;
};

template <class Record>
void watch(Sibling& sibling, std::string const& topic, Sightings& sightings) {
    const Sibling::Handler<Record> handler = [&sightings, topic](Record const& record,
                                                                 std::int64_t publishedAt) {
        sightings.put(sightingOf(topic, publishedAt, record));
    };
    sibling.listen(topic, handler);
}

/// Taken by sigtimedwait alone, so blocked before the transport's threads exist.
sigset_t blockEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

bool hasCome(sigset_t const& signals) {
    constexpr timespec now{0, 0};
    return sigtimedwait(&signals, nullptr, &now) > 0;
}

}  // namespace

int watchTopics(WatchOptions const& options) {
    using Topics = WatchOptions::Topics;
    const sigset_t ending = blockEndingSignals();
    Sightings sightings;
    Sibling sibling(findTransportFiles(options.configuration).connections);
    if (options.topics != Topics::Responses) {
        watch<Sibling::EventLog>(sibling, "EventLog", sightings);
    }
    if (options.topics != Topics::Events) {
        watch<Sibling::CommandResponse>(sibling, "Response", sightings);
    }
    if (options.topics == Topics::All) {
        watch<Sibling::CommandResponse>(sibling, "Command", sightings);
    }
    fmt::print(stderr, "zephonctl: watching, Ctrl-C ends it\n");
    while (!hasCome(ending)) {
        const auto [records, lost] = sightings.take();
        if (lost > 0) {
            fmt::print(stderr, "zephonctl: {} records lost, they came faster than they were read\n",
                       lost);
        }
        for (auto const& record : records) {
            fmt::print("{}\n", options.json ? jsonOf(record) : lineOf(record));
        }
        std::fflush(stdout);
    }
    return ExitStatus::Done;
}

}  // namespace zephonctl
