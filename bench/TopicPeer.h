#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <string>

#include "bench/PeerProcess.h"
#include "bench/TopicRecords.h"

namespace bench {

/// A record as it was published. `at` is taken right before it was handed to the transport
/// (CLOCK_MONOTONIC, comparable between processes of one machine).
template <class Record>
struct Publication {
    Record record;
    std::chrono::steady_clock::time_point at;
};

/// A neighbour of the server on the topics, in a process of its own: the clock device, the fusion
/// navigator, the alternate navigation device, the event logger, the human interface, the BIT
/// server, or several in one. The navigator can tell UTCTime and GPSTime beside its solution. The
/// event logger reads EventLog and MaintenanceEvent, what was kept for late readers too, and can
/// publish lines of its own, which it does not hear; the human interface does the same with Command
/// and Response. The BIT server tells the computer's health. All operations may be called from any
/// thread.
class TopicPeer {
public:
    using Duration = std::chrono::milliseconds;
    enum class Role {
        ClockDevice,
        FusionNavigator,
        Both,  ///< clock device and fusion navigator, solutions only
        /// The same with all that the navigator tells. From one process the records of an instant
        /// leave before those of the next, however busy the machine is.
        ClockAndNavigator,
        AltNavUnit,
        EventLogger,
        HumanInterface,
        BitServer,
        All
    };

    struct Options {
        Role role = Role::Both;
        unsigned domain = 0;
        /// "UseTransport" as the server has it. The peer takes the other side of TCP; a server
        /// that is the TCP client reaches one peer only.
        std::string serverTransport = "SHM";
        std::string address = "127.0.0.1";
        unsigned port = 5100;
        int historyDepth = 20;
        bool bestEffort = false;
        std::filesystem::path program = programFolder() / "zephon-topic-peer";
        std::size_t keptPublications = 20000;
        /// Called on the draining thread for each publication. Must not call back.
        std::function<void(const Publication<UtcRecord>&)> onClock;
        std::function<void(const Publication<PntRecord>&)> onNavigator;
        /// Called on the draining thread for each record that came. Must not call back.
        std::function<void(const EventRecord&)> onEvent;
        std::function<void(const MaintenanceRecord&)> onMaintenance;
        std::function<void(const CommandRecord&)> onCommand;
        std::function<void(const ResponseRecord&)> onResponse;
    };

    /// Starts the process. Raises std::system_error when it cannot run.
    explicit TopicPeer(Options options);

    TopicPeer(const TopicPeer&) = delete;
    TopicPeer& operator=(const TopicPeer&) = delete;

    /// Waits until `count` readers of each topic know of this peer and miss nothing from now on.
    /// Best-effort readers acknowledge nothing: of them only this side's knowledge is awaited.
    bool waitForReaders(int count = 1, Duration timeout = std::chrono::seconds(20));

    /// Waits until each topic that this peer reads has `count` writers.
    bool waitForWriters(int count = 1, Duration timeout = std::chrono::seconds(20));

    /// Publishes one record; its sequence number is the peer's own. False when the peer could not.
    bool publish(const UtcRecord& record);
    bool publish(const PntRecord& record);
    bool publish(const GpsTimeRecord& record);
    bool publish(const PositionVelocityRecord& record);
    bool publish(const EventRecord& record);
    bool publish(const CommandRecord& record);
    bool publish(const ResponseRecord& record);
    bool publish(const BitRecord& record);

    /// A row of records: `count` (0 for no end) instants, `rate` a second. The clock device
    /// publishes UTCTime, the navigator MeridanePNT, the alternate navigation device a pair that
    /// belongs together. Peers that are given the same schedule publish records with the same time
    /// tags.
    struct Schedule {
        double rate = 10;
        std::int64_t count = 0;
        std::chrono::steady_clock::time_point start;  ///< publication of the first
        std::int64_t utcStart = 0;  ///< the instant that it is simulated for, Unix time in ns

        /// Starts `delay` from now, and simulates the present.
        static Schedule fromNow(double rate, std::int64_t count,
                                Duration delay = std::chrono::milliseconds(100));
    };
    bool run(const Schedule& schedule);
    bool stop();

    /// Waits for the end of `runs` schedules, counted from the start of the process.
    bool waitUntilDone(std::size_t runs, Duration timeout) const;

    /// Publications so far; the oldest leave beyond the limit.
    std::deque<Publication<UtcRecord>> clockPublications() const;
    std::deque<Publication<PntRecord>> navigatorPublications() const;

    /// Why the last request failed; empty when it did not.
    std::string lastFailure() const { return process_->lastFailure(); }

    ChildProcess& process() { return process_->child(); }
    Role role() const { return options_.role; }

private:
    bool takeLine(const std::string& line);
    bool takePublication(std::istream& words);
    bool takeReception(std::istream& words) const;

    const Options options_;
    mutable std::mutex mutex_;  // guards the two below; a leaf
    std::deque<Publication<UtcRecord>> clock_;
    std::deque<Publication<PntRecord>> navigator_;

    std::unique_ptr<PeerProcess> process_;  // last: its thread uses the rest
};

}  // namespace bench
