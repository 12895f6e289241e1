#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "bench/QueuePeer.h"
#include "bench/RunBooks.h"
#include "bench/Scenario.h"
#include "bench/TopicPeer.h"

namespace bench {

/// The neighbours of the server that a scenario needs, on topics and queues, in processes of their
/// own. What they see goes to the books. One thread makes the object, uses it and outlives it,
/// since it starts the processes. All operations raise StepFailure.
class ScenarioPeers {
public:
    using Clock = std::chrono::steady_clock;

    ScenarioPeers(const Bench& bench, RunBooks& books) : bench_(bench), books_(books) {}

    void start(const Scenario& scenario);

    /// Waits for the server to know the peers. Fast RTPS 2.9.1 now and then never finishes the
    /// discovery over a TCP connection that stands; a new participant is the remedy, so up to nine
    /// are tried, and each is told.
    void connect(Clock::time_point deadline);

    /// One record of a topic, simulated for the instant (UTC, nanoseconds) but for the fields.
    void publish(const std::string& topic, const std::string& fields, std::int64_t instant);

    /// Pairs of UTCTime and MeridanePNT.
    void startStream(const TopicPeer::Schedule& schedule);
    void stopStream();
    bool streamIsOver() const;

    /// A record for one of the server's queues with this frame, valid at the instant, or any bytes.
    void inject(const std::string& queue, const UnitFrame& frame, std::int64_t instant);
    void inject(const std::string& queue, const std::vector<std::uint8_t>& bytes);

    /// Raises when a process has ended before end(): nobody publishes or listens in its place.
    void checkAlive() const;

    /// Ends the processes.
    void end();

private:
    struct Peer {
        std::unique_ptr<TopicPeer> peer;
        std::size_t runs = 0;  ///< schedules that it was given
    };

    std::unique_ptr<TopicPeer> make(TopicPeer::Role role);
    template <class Record>
    void publishRecord(Record record, const std::string& fields);
    const std::string& transport() const { return bench_.settings().transport; }

    const Bench& bench_;
    RunBooks& books_;
    std::vector<Peer> peers_;
    std::unique_ptr<QueuePeer> queues_;
    std::int64_t injected_ = 0;
};

}  // namespace bench
