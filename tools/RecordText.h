#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/EventLog.h"

/// Records of the topics as lines for a terminal or for a script. Pure; any thread may call.
namespace zephonctl {

/// A record as `zephonctl watch` shows it.
struct Sighting {
    std::int64_t publishedAt = 0;  ///< nanoseconds since 1970, by the writer's clock
    std::string topic;
    std::uint32_t deviceId = 0;  ///< of who sent it
    std::string kind;            ///< "command 7", "response 7", "FAILURE", ...
    std::string text;
};

Sighting sightingOf(std::string topic, std::int64_t publishedAt,
                    aspn2_msgs::idl::CommandResponse const& record);
Sighting sightingOf(std::string topic, std::int64_t publishedAt,
                    aspn2_msgs::idl::EventLog const& record);

/// Time, topic, source, kind and text, without a line's end.
std::string lineOf(Sighting const& sighting);

/// The same as one JSON object, in ASCII; bytes that are no UTF-8 become U+FFFD.
std::string jsonOf(Sighting const& sighting);

/// The name of the server that a device id tells, or "server <id>" for one that has none.
std::string serverNameOf(std::uint32_t deviceId);

/// ISO 8601, UTC, milliseconds: "2024-09-18T13:48:46.250Z".
std::string timeText(std::int64_t nanoseconds);

/// The text with its control characters, those of two bytes in UTF-8 too, as \xNN: what came over a
/// topic must not command the terminal.
std::string printable(std::string_view text);

}  // namespace zephonctl
