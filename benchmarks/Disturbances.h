#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "bench/QueuePeer.h"
#include "bench/TopicPeer.h"

namespace benchmarks {

/// Texts that a topic has brought, in order. Any thread may call.
class HeardTexts {
public:
    void note(std::string const& text);

    /// What comes from now on stands behind this mark.
    std::uint64_t mark() const;

    /// Waits until `count` texts behind the mark have this part.
    bool waitFor(std::uint64_t mark, std::string const& part, std::chrono::seconds timeout,
                 int count = 1) const;

private:
    static constexpr std::size_t kept_ = 4096;

    mutable std::mutex mutex_;  // guards the rest
    mutable std::condition_variable changed_;
    std::deque<std::string> texts_;
    std::uint64_t forgotten_ = 0;
};

/// What goes wrong around a server that runs on the bench, one thing after the other, and whether
/// the server tells of each as it must and carries on. One thread.
class Disturbances {
public:
    /// Starts peers of its own; they find the server within some seconds. Raises
    /// std::runtime_error when they do not.
    explicit Disturbances(bench::Bench& bench);

    /// How often one has been tried, and how often it was told in time.
    struct Count {
        char const* name;
        std::uint64_t tried = 0;
        std::uint64_t told = 0;
    };

    /// Makes the next one and waits until it is told. Answers its name.
    char const* next();

    std::vector<Count> const& counts() const { return counts_; }

private:
    using Disturbance = bool (Disturbances::*)();
    struct Row {
        char const* name;
        Disturbance make;
    };
    static std::vector<Row> const& rows();

    bool faultInBitReport();
    bool shortBitReport();
    bool stormOfBitReports();
    bool commandedBitWithFault();
    bool zeroize();
    bool damagedFrames();
    bool damagedRecords();
    bool stormOfStatus();
    bool changedPort();
    bool silentUnit();
    bool foreignCommands();
    bool readerThatPauses();

    bool command(std::string const& text, std::string const& answer);
    /// Waits until so many frames of this id have come out of a queue since the mark.
    bool waitForRecords(std::uint64_t mark, std::uint16_t id, int count) const;
    bool isAlive() { return command("BITSERVER_PING", "Zephon"); }

    bench::Bench& bench_;
    HeardTexts events_;
    HeardTexts answers_;
    HeardTexts records_;  // the ids of the frames that come out of the queues
    bench::TopicPeer eventLogger_;
    bench::TopicPeer commander_;
    bench::QueuePeer queues_;
    std::vector<Count> counts_;
    std::size_t next_ = 0;
    std::int64_t identifier_ = 0;
    bool fasterPort_ = false;
};

}  // namespace benchmarks
