#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace bench {

/// The records that the simulated computer publishes and reads, in plain form, and their text form:
/// the peer programs take and print them as `field=value` words, floating values in hexadecimal, so
/// that nothing is lost on the way. In a text, blanks, '%' and what is not printable ASCII stand as
/// '%' and two hexadecimal digits.

/// When a record is valid, and who made it: what its header carries.
struct RecordHeader {
    std::int64_t sequence = 0;
    std::int64_t tagSeconds = 0;      ///< time of validity, seconds
    std::int64_t tagNanoseconds = 0;  ///< and nanoseconds
    std::int64_t source = 0;          ///< bits 16 to 23 of the device id

    // The rest is told of records that were read, and ignored in those that are published.
    std::int64_t deviceId = 0;  ///< whole
    std::int64_t arrivalSeconds = 0;
    std::int64_t arrivalNanoseconds = 0;
    std::int64_t timeCode = 0;  ///< of the time of validity

    /// Time of validity in nanoseconds.
    std::int64_t tag() const { return tagSeconds * 1'000'000'000 + tagNanoseconds; }
    void setTag(std::int64_t nanoseconds) {
        tagSeconds = nanoseconds / 1'000'000'000;
        tagNanoseconds = nanoseconds % 1'000'000'000;
    }
};

/// The record UTCTime: what the clock device tells, and the fusion navigator too.
struct UtcRecord {
    static constexpr std::int64_t clockDevice = 36;
    static constexpr std::string_view topic = "UTCTime";

    RecordHeader header{0, 0, 0, clockDevice};
    std::int64_t gpsTowSeconds = 0;
    double gpsTowNanoseconds = 0;
    std::int64_t gpsWeek = 0;
    std::int64_t utcTodSeconds = 0;
    double utcTodNanoseconds = 0;
    double timeVariance = 0;  ///< first element of the covariance, s^2
};

/// What the fusion navigator tells: the record MeridanePNT. ECEF metres and metres per second.
struct PntRecord {
    static constexpr std::int64_t fusionNavigator = 96;
    static constexpr std::string_view topic = "MeridanePNT";

    RecordHeader header{0, 0, 0, fusionNavigator};
    double positionX = 0;
    double positionY = 0;
    double positionZ = 0;
    double velocityX = 0;
    double velocityY = 0;
    double velocityZ = 0;
    double roll = 0;
    double pitch = 0;
    double heading = 0;
    double horizontalPositionError = 0;
    double verticalPositionError = 0;
    double horizontalVelocityError = 0;
    double verticalVelocityError = 0;
    double rollError = 0;
    double pitchError = 0;
    double headingError = 0;
    std::int64_t gpsWeek = 0;
    double gpsTime = 0;
    double utcTime = 0;
    double timeError = 0;
    std::int64_t assurance = 0;
};

/// The record GPSTime: what the alternate navigation device tells of the second after a position,
/// and the fusion navigator of a time mark.
struct GpsTimeRecord {
    static constexpr std::int64_t altNavigation = 38;
    static constexpr std::string_view topic = "GPSTime";

    RecordHeader header{0, 0, 0, altNavigation};
    std::int64_t gpsTowSeconds = 0;
    double gpsTowNanoseconds = 0;
    std::int64_t gpsWeek = 0;
    double timeVariance = 0;  ///< first element of the covariance, s^2
};

/// What the alternate navigation device tells: the record PositionVelocity. Radians, metres and
/// metres per second; of the covariance what the unit is told.
struct PositionVelocityRecord {
    static constexpr std::string_view topic = "PositionVelocity";

    RecordHeader header{0, 0, 0, GpsTimeRecord::altNavigation};
    double latitude = 0;
    double longitude = 0;
    double altitude = 0;
    double velocityNorth = 0;
    double velocityEast = 0;
    double velocityDown = 0;
    double latitudeVariance = 0;
    double longitudeVariance = 0;
    double latitudeLongitudeCovariance = 0;
    double altitudeVariance = 0;
    double velocityNorthVariance = 0;
    double velocityEastVariance = 0;
    double velocityNorthEastCovariance = 0;
    double velocityDownVariance = 0;
};

/// A line of the event log: the record EventLog.
struct EventRecord {
    static constexpr std::string_view topic = "EventLog";
    static constexpr std::int64_t gpsEngine = 39;
    static constexpr std::int64_t information = 2;

    RecordHeader header{0, 0, 0, gpsEngine};
    std::int64_t type = information;  ///< 0 to 5
    std::string text;
};

/// A fault for the maintenance log: the record MaintenanceEvent, without its fault sources.
struct MaintenanceRecord {
    static constexpr std::string_view topic = "MaintenanceEvent";

    RecordHeader header;
    std::int64_t criticality = 0;
    std::int64_t category = 0;
    std::int64_t location = 0;
    std::int64_t outcome = 0;
    std::int64_t repeatSeconds = 0;
    std::string identity;
    std::string description;
};

/// The health of the computer: what of the record BitReport the server looks at.
struct BitRecord {
    static constexpr std::string_view topic = "BitReport";
    static constexpr std::int64_t statusWanted = 0;  ///< kinds: ask the unit for its status too
    static constexpr std::int64_t resultOfTest = 1;  ///< of a commanded test, for the unit's eyes
    static constexpr std::int64_t healthOnly = 2;

    static constexpr std::int64_t systemController = 53;

    RecordHeader header{0, 0, 0, systemController};
    std::int64_t kind = statusWanted;  ///< low byte of the device id
    std::int64_t passed = 1;           ///< "bit_rollup": 0 when something has failed
};

/// A command between servers, or the answer to one: the record CommandResponse, which travels on
/// two topics.
struct CommandFields {
    static constexpr std::int64_t humanInterface = 48;
    static constexpr std::int64_t command = 0;
    static constexpr std::int64_t response = 1;

    RecordHeader header{0, 0, 0, humanInterface};
    std::int64_t commandedDeviceId = 0;  ///< whole; whose command an answer belongs to
    std::int64_t identifier = 0;         ///< of the command, the same in its answer
    std::int64_t type = command;         ///< 0 command, 1 response
    std::string text;
};

/// A record of the topic Command.
struct CommandRecord : CommandFields {
    static constexpr std::string_view topic = "Command";
};

/// A record of the topic Response.
struct ResponseRecord : CommandFields {
    static constexpr std::string_view topic = "Response";

    ResponseRecord() { type = response; }
};

std::string toText(const UtcRecord& record);
std::string toText(const PntRecord& record);
std::string toText(const GpsTimeRecord& record);
std::string toText(const PositionVelocityRecord& record);
std::string toText(const EventRecord& record);
std::string toText(const MaintenanceRecord& record);
std::string toText(const CommandFields& record);
std::string toText(const BitRecord& record);

/// Sets the fields that the text names; the others stay. False when a word is no `field=value` of
/// the record or a value is no number.
bool fromText(std::string_view text, UtcRecord& record);
bool fromText(std::string_view text, PntRecord& record);
bool fromText(std::string_view text, GpsTimeRecord& record);
bool fromText(std::string_view text, PositionVelocityRecord& record);
bool fromText(std::string_view text, EventRecord& record);
bool fromText(std::string_view text, MaintenanceRecord& record);
bool fromText(std::string_view text, CommandFields& record);
bool fromText(std::string_view text, BitRecord& record);

/// A text as it stands behind `field=`.
std::string encodeText(std::string_view text);

}  // namespace bench
