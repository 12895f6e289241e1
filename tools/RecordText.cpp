#include "tools/RecordText.h"

#include <cstddef>
#include <ctime>
#include <utility>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ASPN/DeviceIds.h"
#include "ASPN/EventTypes.h"

namespace zephonctl {

namespace {

std::string eventKind(int type) {
    switch (type) {
        case EventTypes::DIAGNOSTIC:
            return "DIAGNOSTIC";
        case EventTypes::INFORMATION:
            return "INFORMATION";
        case EventTypes::FAILURE:
            return "FAILURE";
        case EventTypes::LINK_LOST:
            return "LINK_LOST";
        default:
            return "OTHER";
    }
}

}  // namespace

Sighting sightingOf(std::string topic, std::int64_t publishedAt,
                    aspn2_msgs::idl::CommandResponse const& record) {
    const bool isCommand =
        record.command_response_type() == aspn2_msgs::idl::COMMAND_RESPONSE_TYPE_COMMAND;
    return {publishedAt, std::move(topic), static_cast<std::uint32_t>(record.header().device_id()),
            fmt::format("{} {}", isCommand ? "command" : "response",
                        static_cast<std::uint32_t>(record.command_identifier())),
            record.command_response()};
}

Sighting sightingOf(std::string topic, std::int64_t publishedAt,
                    aspn2_msgs::idl::EventLog const& record) {
    return {publishedAt, std::move(topic), static_cast<std::uint32_t>(record.header().device_id()),
            eventKind(static_cast<int>(record.event_log_type())), record.eventlog()};
}

std::string lineOf(Sighting const& sighting) {
    return fmt::format("{} {:<8} {} {}: {}", timeText(sighting.publishedAt), sighting.topic,
                       serverNameOf(sighting.deviceId), sighting.kind, printable(sighting.text));
}

std::string jsonOf(Sighting const& sighting) {
    const nlohmann::ordered_json object{{"time", timeText(sighting.publishedAt)},
                                        {"topic", sighting.topic},
                                        {"source", serverNameOf(sighting.deviceId)},
                                        {"kind", sighting.kind},
                                        {"text", sighting.text}};
    return object.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

std::string serverNameOf(std::uint32_t deviceId) {
    const std::uint8_t server = ASPN2::serverIdOf(deviceId);
    const std::string name = ASPN2::ServerIds::to_string(server);
    return name == ASPN2::ServerIds::INVALID_name ? fmt::format("server {}", server) : name;
}

std::string timeText(std::int64_t nanoseconds) {
    constexpr std::int64_t second = 1000000000;
    constexpr std::int64_t millisecond = 1000000;
    const std::int64_t rest = nanoseconds % second;  // negative before 1970
    const std::int64_t part = rest < 0 ? rest + second : rest;
    const auto seconds = static_cast<std::time_t>(nanoseconds / second - (rest < 0 ? 1 : 0));
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(seconds), part / millisecond);
}

std::string printable(std::string_view text) {
    constexpr unsigned char firstPrinted = 0x20;
    constexpr unsigned char del = 0x7F;
    constexpr char c1Lead = '\xC2';  // of U+0080 to U+009F, which command a terminal too
    const auto isC1At = [text](std::size_t at) {
        return text[at] == c1Lead && at + 1 < text.size() &&
               (static_cast<unsigned char>(text[at + 1]) & 0xE0U) == 0x80U;
    };
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < firstPrinted || byte == del) {
            shown += fmt::format("\\x{:02X}", byte);
        } else if (isC1At(i)) {
            ++i;
            shown += fmt::format("\\xC2\\x{:02X}", static_cast<unsigned char>(text[i]));
        } else {
            shown += text[i];
        }
    }
    return shown;
}

}  // namespace zephonctl
