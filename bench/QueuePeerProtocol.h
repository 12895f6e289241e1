#pragma once

#include <string_view>

namespace bench {

/// The line protocol between QueuePeer and the program zephon-queue-peer (PeerProgram.h tells what
/// requests and answers look like). Bytes are pairs of hexadecimal digits, blanks between them.
///
///     write QUEUE BYTES    puts the bytes into the queue with one write, without waiting
///     read QUEUE           begins to take what comes out of the queue
///     pause QUEUE          ends that
///
/// Beside the answers there are these lines:
namespace queueProtocol {

/// "ready": the queues are open.
constexpr std::string_view ready = "ready";
/// "took QUEUE AT BYTES": what one read gave; AT is the CLOCK_MONOTONIC instant, in nanoseconds,
/// taken right after it.
constexpr std::string_view took = "took ";

}  // namespace queueProtocol

}  // namespace bench
