#include "bench/TopicMessages.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace bench {

namespace idl = aspn2_msgs::idl;

namespace {

idl::header makeHeader(const RecordHeader& plain) {
    idl::header header;
    header.seq_num(plain.sequence);
    header.timestamp_valid().sec(plain.tagSeconds);
    header.timestamp_valid().nsec(static_cast<std::int32_t>(plain.tagNanoseconds));
    header.timestamp_arrival(header.timestamp_valid());
    header.device_id(static_cast<std::int32_t>(plain.source << 16));
    return header;
}

RecordHeader plainHeader(const idl::header& header) {
    const idl::timestamp& valid = header.timestamp_valid();
    const idl::timestamp& arrival = header.timestamp_arrival();
    return {header.seq_num(),   valid.sec(),   valid.nsec(),   (header.device_id() >> 16) & 0xFF,
            header.device_id(), arrival.sec(), arrival.nsec(), valid.time_code()};
}

/// The characters before the first NUL, or all.
template <std::size_t N>
std::string textOf(const std::array<char, N>& characters) {
    return {characters.begin(), std::find(characters.begin(), characters.end(), '\0')};
}

}  // namespace

idl::UTCTime makeMessage(const UtcRecord& plain) {
    idl::UTCTime message;
    message.header(makeHeader(plain.header));
    message.gps_tow_sec(static_cast<std::int32_t>(plain.gpsTowSeconds));
    message.gps_tow_nsec(plain.gpsTowNanoseconds);
    message.gps_week(static_cast<std::int32_t>(plain.gpsWeek));
    message.utc_tod_sec(static_cast<std::int32_t>(plain.utcTodSeconds));
    message.utc_tod_nsec(plain.utcTodNanoseconds);
    message.covariance()[0][0] = plain.timeVariance;
    return message;
}

idl::MeridanePNT makeMessage(const PntRecord& plain) {
    idl::MeridanePNT message;
    message.header(makeHeader(plain.header));
    message.GPS_Time(plain.gpsTime);
    message.UTC_Time(plain.utcTime);
    message.ECEF_Pos_X(plain.positionX);
    message.ECEF_Pos_Y(plain.positionY);
    message.ECEF_Pos_Z(plain.positionZ);
    message.ECEF_Vel_X(plain.velocityX);
    message.ECEF_Vel_Y(plain.velocityY);
    message.ECEF_Vel_Z(plain.velocityZ);
    message.Roll(plain.roll);
    message.Pitch(plain.pitch);
    message.Heading(plain.heading);
    message.Horz_PosError(plain.horizontalPositionError);
    message.Vert_PosError(plain.verticalPositionError);
    message.Horz_Vel_Error(plain.horizontalVelocityError);
    message.Vert_VelError(plain.verticalVelocityError);
    message.Time_Error(plain.timeError);
    message.Roll_Error(plain.rollError);
    message.Pitch_Error(plain.pitchError);
    message.Heading_Error(plain.headingError);
    message.GPS_Week(plain.gpsWeek);
    message.MX_PNT_Solution_Assurance(
        static_cast<idl::MX_PNT_Solution_Assurance_enum>(plain.assurance));
    return message;
}

idl::GPSTime makeMessage(const GpsTimeRecord& plain) {
    idl::GPSTime message;
    message.header(makeHeader(plain.header));
    message.gps_tow_sec(static_cast<std::int32_t>(plain.gpsTowSeconds));
    message.gps_tow_nsec(plain.gpsTowNanoseconds);
    message.gps_week(static_cast<std::int32_t>(plain.gpsWeek));
    message.covariance()[0][0] = plain.timeVariance;
    return message;
}

idl::PositionVelocity makeMessage(const PositionVelocityRecord& plain) {
    idl::PositionVelocity message;
    message.header(makeHeader(plain.header));
    message.position().latitude(plain.latitude);
    message.position().longitude(plain.longitude);
    message.position().altitude(plain.altitude);
    message.velocity() = {plain.velocityNorth, plain.velocityEast, plain.velocityDown};
    auto& covariance = message.covariance();
    covariance[0][0] = plain.latitudeVariance;
    covariance[1][1] = plain.longitudeVariance;
    covariance[0][1] = covariance[1][0] = plain.latitudeLongitudeCovariance;
    covariance[2][2] = plain.altitudeVariance;
    covariance[3][3] = plain.velocityNorthVariance;
    covariance[4][4] = plain.velocityEastVariance;
    covariance[3][4] = covariance[4][3] = plain.velocityNorthEastCovariance;
    covariance[5][5] = plain.velocityDownVariance;
    return message;
}

idl::EventLog makeMessage(const EventRecord& plain) {
    idl::EventLog message;
    message.header(makeHeader(plain.header));
    message.event_log_type(static_cast<idl::event_log_type_enum>(plain.type));
    message.eventlog(plain.text);
    return message;
}

idl::CommandResponse makeMessage(const CommandFields& plain) {
    idl::CommandResponse message;
    message.header(makeHeader(plain.header));
    message.commanded_device_id(static_cast<std::int32_t>(plain.commandedDeviceId));
    message.command_identifier(static_cast<std::int32_t>(plain.identifier));
    message.command_response_type(static_cast<idl::command_response_type_enum>(plain.type));
    message.command_response(plain.text);
    return message;
}

idl::BitReport makeMessage(const BitRecord& plain) {
    idl::BitReport message;
    message.header(makeHeader(plain.header));
    const auto device = static_cast<std::uint32_t>(message.header().device_id());
    message.header().device_id(
        static_cast<std::int32_t>(device | static_cast<std::uint32_t>(plain.kind & 0xFF)));
    message.bit_rollup(plain.passed != 0);
    return message;
}

EventRecord plainRecord(const idl::EventLog& message) {
    return {plainHeader(message.header()), message.event_log_type(), message.eventlog()};
}

MaintenanceRecord plainRecord(const idl::MaintenanceEvent& message) {
    return {plainHeader(message.header()), message.criticality_id(),
            message.category_id(),         message.location_id(),
            message.outcome_id(),          message.repeat_in_seconds(),
            textOf(message.identity()),    textOf(message.description())};
}

CommandFields plainRecord(const idl::CommandResponse& message) {
    return {plainHeader(message.header()), message.commanded_device_id(),
            message.command_identifier(), message.command_response_type(),
            message.command_response()};
}

std::string recordType(std::string_view topic) {
    const bool command = topic == CommandRecord::topic || topic == ResponseRecord::topic;
    return "aspn2_msgs::idl::" + std::string(command ? "CommandResponse" : topic);
}

}  // namespace bench
