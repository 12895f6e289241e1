#pragma once

#include <string_view>

namespace bench {

/// The line protocol between TopicPeer and the program zephon-topic-peer.
///
/// Requests, one a line, on the program's standard input: a number, a verb, its words.
///
///     match COUNT MILLISECONDS      waits until each topic has COUNT readers that know of it
///     writers COUNT MILLISECONDS    waits until each topic that is read has COUNT writers
///     publish TOPIC FIELD=VALUE...  publishes one record
///     run RATE COUNT START UTC TOPIC...
///                                   publishes COUNT records (0: without end) on each of these
///                                   topics, RATE a second, from the CLOCK_MONOTONIC instant START
///                                   on, which is simulated as the instant UTC (nanoseconds both);
///                                   GPSTime as it belongs to the PositionVelocity, a second later
///     stop                          ends a run
///
/// Answers: "answer <number> ok" or "answer <number> failed <why>". The end of the standard input
/// ends the program. Beside the answers there are these lines:
namespace peerProtocol {

/// "ready": the endpoints exist.
constexpr std::string_view ready = "ready";
/// "published TOPIC AT FIELD=VALUE...": AT is the CLOCK_MONOTONIC instant, in nanoseconds, taken
/// right before the record was handed to the transport.
constexpr std::string_view published = "published ";
/// "received TOPIC FIELD=VALUE...": a record of a topic that the program watches has come.
constexpr std::string_view received = "received ";
/// "done": a run has published all of its records, or was stopped.
constexpr std::string_view done = "done";

}  // namespace peerProtocol

}  // namespace bench
