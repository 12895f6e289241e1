#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "bench/PeerProcess.h"
#include "bench/QueueRecord.h"

namespace bench {

/// What one read of a queue gave, and when: right after it (CLOCK_MONOTONIC, comparable between
/// processes of one machine). One read may give several records.
struct QueueRead {
    std::string queue;
    std::vector<std::uint8_t> bytes;
    std::chrono::steady_clock::time_point at;
};

/// The sibling servers at the far side of the queue devices, in a process of its own: it writes
/// records, or whatever else, and reads what the server writes. All operations may be called from
/// any thread.
class QueuePeer {
public:
    using Duration = std::chrono::milliseconds;
    using Bytes = std::vector<std::uint8_t>;

    struct Options {
        std::map<std::string, std::filesystem::path> queues;  ///< by name
        std::filesystem::path program = programFolder() / "zephon-queue-peer";
        std::size_t keptReads = 50000;  ///< of each queue; the oldest leave beyond the limit
        /// Called on the draining thread for each read. Must not call back.
        std::function<void(const QueueRead&)> onRead;
    };

    /// Starts the process, and waits until it has opened the queues. Raises std::system_error when
    /// it cannot run, std::runtime_error when it cannot open one.
    explicit QueuePeer(Options options);
    QueuePeer(const QueuePeer&) = delete;
    QueuePeer& operator=(const QueuePeer&) = delete;

    /// Puts bytes into a queue with one write, without waiting; false when it did not take all.
    bool write(const std::string& queue, const Bytes& bytes);
    bool write(const std::string& queue, const QueueRecord& record);

    /// Begins to take what comes out of a queue, and ends it: then nobody reads there. What comes
    /// meanwhile waits in the queue, as far as there is room.
    bool startReading(const std::string& queue);
    bool stopReading(const std::string& queue);

    /// Reads of one queue so far.
    std::deque<QueueRead> reads(const std::string& queue) const;

    /// The records of these reads; nothing when something else came too.
    std::optional<std::vector<QueueRecord>> records(const std::string& queue) const;

    /// Waits until that many records have come out of a queue; false when the time is up, or at
    /// once when something else has come.
    bool waitForRecords(const std::string& queue, std::size_t count, Duration timeout) const;

    /// Why the last request failed; empty when it did not.
    std::string lastFailure() const { return process_->lastFailure(); }

    ChildProcess& process() { return process_->child(); }

private:
    struct Books {
        std::deque<QueueRead> reads;
        std::size_t records = 0;  // of all reads
        bool foreign = false;     // something else has come
    };

    bool takeLine(const std::string& line);

    const Options options_;
    mutable std::mutex mutex_;  // guards the books; a leaf
    mutable std::condition_variable changed_;
    std::map<std::string, Books> books_;  // by queue

    std::unique_ptr<PeerProcess> process_;  // last: its thread uses the rest
};

}  // namespace bench
