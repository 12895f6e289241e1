#pragma once

#include <cstdint>

#include "bench/PseudoTerminal.h"
#include "benchmarks/LatencyComparison.h"
#include "benchmarks/QueueReader.h"

namespace benchmarks {

/// A program that turns frames on a line into records on a queue, with the two ends that measure
/// it, both in this thread.
class QueueSubject {
public:
    /// `line` and `queue` are not owned. `link` only names the frames.
    QueueSubject(std::uint16_t link, bench::PseudoTerminal& line, QueueReader& queue)
        : link_(link), line_(line), queue_(queue) {}

    /// Sends `count` frames, `rate` a second, and waits for their records. Each latency is from
    /// right before the write of the whole frame to right after the read that brought its record.
    /// Raises std::runtime_error for a record that is none and for a line that takes no bytes.
    LatencySamples measure(double rate, std::int64_t count);

private:
    void dropWaiting();

    std::uint16_t link_;
    bench::PseudoTerminal& line_;
    QueueReader& queue_;
    std::uint32_t nextNumber_ = 0;
};

}  // namespace benchmarks
