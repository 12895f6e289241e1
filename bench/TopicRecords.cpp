#include "bench/TopicRecords.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <type_traits>
#include <variant>

namespace bench {
namespace {

/// A field's name and where it lies: in the record, as an integer or a `Value`, or in its header.
template <class Record, class Value>
struct Field {
    const char* name;
    std::variant<std::int64_t RecordHeader::*, std::int64_t Record::*, Value Record::*> member;
};

constexpr std::array<Field<UtcRecord, double>, 10> utcFields{{
    {"seq", &RecordHeader::sequence},
    {"tag_sec", &RecordHeader::tagSeconds},
    {"tag_nsec", &RecordHeader::tagNanoseconds},
    {"source", &RecordHeader::source},
    {"gps_tow_sec", &UtcRecord::gpsTowSeconds},
    {"gps_tow_nsec", &UtcRecord::gpsTowNanoseconds},
    {"gps_week", &UtcRecord::gpsWeek},
    {"utc_tod_sec", &UtcRecord::utcTodSeconds},
    {"utc_tod_nsec", &UtcRecord::utcTodNanoseconds},
    {"variance", &UtcRecord::timeVariance},
}};

constexpr std::array<Field<PntRecord, double>, 25> pntFields{{
    {"seq", &RecordHeader::sequence},
    {"tag_sec", &RecordHeader::tagSeconds},
    {"tag_nsec", &RecordHeader::tagNanoseconds},
    {"source", &RecordHeader::source},
    {"x", &PntRecord::positionX},
    {"y", &PntRecord::positionY},
    {"z", &PntRecord::positionZ},
    {"vx", &PntRecord::velocityX},
    {"vy", &PntRecord::velocityY},
    {"vz", &PntRecord::velocityZ},
    {"roll", &PntRecord::roll},
    {"pitch", &PntRecord::pitch},
    {"heading", &PntRecord::heading},
    {"horz_pos_error", &PntRecord::horizontalPositionError},
    {"vert_pos_error", &PntRecord::verticalPositionError},
    {"horz_vel_error", &PntRecord::horizontalVelocityError},
    {"vert_vel_error", &PntRecord::verticalVelocityError},
    {"roll_error", &PntRecord::rollError},
    {"pitch_error", &PntRecord::pitchError},
    {"heading_error", &PntRecord::headingError},
    {"gps_week", &PntRecord::gpsWeek},
    {"gps_time", &PntRecord::gpsTime},
    {"utc_time", &PntRecord::utcTime},
    {"time_error", &PntRecord::timeError},
    {"assurance", &PntRecord::assurance},
}};

constexpr std::array<Field<GpsTimeRecord, double>, 8> gpsTimeFields{{
    {"seq", &RecordHeader::sequence},
    {"tag_sec", &RecordHeader::tagSeconds},
    {"tag_nsec", &RecordHeader::tagNanoseconds},
    {"source", &RecordHeader::source},
    {"gps_tow_sec", &GpsTimeRecord::gpsTowSeconds},
    {"gps_tow_nsec", &GpsTimeRecord::gpsTowNanoseconds},
    {"gps_week", &GpsTimeRecord::gpsWeek},
    {"variance", &GpsTimeRecord::timeVariance},
}};

constexpr std::array<Field<PositionVelocityRecord, double>, 18> positionVelocityFields{{
    {"seq", &RecordHeader::sequence},
    {"tag_sec", &RecordHeader::tagSeconds},
    {"tag_nsec", &RecordHeader::tagNanoseconds},
    {"source", &RecordHeader::source},
    {"lat", &PositionVelocityRecord::latitude},
    {"lon", &PositionVelocityRecord::longitude},
    {"alt", &PositionVelocityRecord::altitude},
    {"vn", &PositionVelocityRecord::velocityNorth},
    {"ve", &PositionVelocityRecord::velocityEast},
    {"vd", &PositionVelocityRecord::velocityDown},
    {"lat_variance", &PositionVelocityRecord::latitudeVariance},
    {"lon_variance", &PositionVelocityRecord::longitudeVariance},
    {"lat_lon_covariance", &PositionVelocityRecord::latitudeLongitudeCovariance},
    {"alt_variance", &PositionVelocityRecord::altitudeVariance},
    {"vn_variance", &PositionVelocityRecord::velocityNorthVariance},
    {"ve_variance", &PositionVelocityRecord::velocityEastVariance},
    {"vn_ve_covariance", &PositionVelocityRecord::velocityNorthEastCovariance},
    {"vd_variance", &PositionVelocityRecord::velocityDownVariance},
}};

constexpr std::array<Field<EventRecord, std::string>, 10> eventFields{{
    {"seq", &RecordHeader::sequence},
    {"tag_sec", &RecordHeader::tagSeconds},
    {"tag_nsec", &RecordHeader::tagNanoseconds},
    {"source", &RecordHeader::source},
    {"device", &RecordHeader::deviceId},
    {"arrival_sec", &RecordHeader::arrivalSeconds},
    {"arrival_nsec", &RecordHeader::arrivalNanoseconds},
    {"time_code", &RecordHeader::timeCode},
    {"type", &EventRecord::type},
    {"text", &EventRecord::text},
}};

constexpr std::array<Field<MaintenanceRecord, std::string>, 15> maintenanceFields{{
    {"seq", &RecordHeader::sequence},
    {"tag_sec", &RecordHeader::tagSeconds},
    {"tag_nsec", &RecordHeader::tagNanoseconds},
    {"source", &RecordHeader::source},
    {"device", &RecordHeader::deviceId},
    {"arrival_sec", &RecordHeader::arrivalSeconds},
    {"arrival_nsec", &RecordHeader::arrivalNanoseconds},
    {"time_code", &RecordHeader::timeCode},
    {"criticality", &MaintenanceRecord::criticality},
    {"category", &MaintenanceRecord::category},
    {"location", &MaintenanceRecord::location},
    {"outcome", &MaintenanceRecord::outcome},
    {"repeat", &MaintenanceRecord::repeatSeconds},
    {"identity", &MaintenanceRecord::identity},
    {"description", &MaintenanceRecord::description},
}};

constexpr std::array<Field<CommandFields, std::string>, 12> commandFields{{
    {"seq", &RecordHeader::sequence},
    {"tag_sec", &RecordHeader::tagSeconds},
    {"tag_nsec", &RecordHeader::tagNanoseconds},
    {"source", &RecordHeader::source},
    {"device", &RecordHeader::deviceId},
    {"arrival_sec", &RecordHeader::arrivalSeconds},
    {"arrival_nsec", &RecordHeader::arrivalNanoseconds},
    {"time_code", &RecordHeader::timeCode},
    {"commanded", &CommandFields::commandedDeviceId},
    {"identifier", &CommandFields::identifier},
    {"type", &CommandFields::type},
    {"text", &CommandFields::text},
}};

constexpr std::array<Field<BitRecord, double>, 6> bitFields{{
    {"seq", &RecordHeader::sequence},
    {"tag_sec", &RecordHeader::tagSeconds},
    {"tag_nsec", &RecordHeader::tagNanoseconds},
    {"source", &RecordHeader::source},
    {"kind", &BitRecord::kind},
    {"passed", &BitRecord::passed},
}};

template <class Record>
auto& at(Record& record, std::int64_t RecordHeader::*member) {
    return record.header.*member;
}
template <class Record, class Value>
auto& at(Record& record, Value std::remove_const_t<Record>::*member) {
    return record.*member;
}

std::string format(std::int64_t value) {
    return std::to_string(value);
}

std::string format(double value) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%a", value);
    return text.data();
}

std::string format(const std::string& value) {
    return encodeText(value);
}

bool parse(const std::string& text, std::string& value) {
    value.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            value += text[i];
            continue;
        }
        unsigned code = 0;
        const char* const first = text.data() + std::min(i + 1, text.size());
        const char* const last = text.data() + std::min(i + 3, text.size());
        const auto result = std::from_chars(first, last, code, 16);
        if (result.ec != std::errc() || result.ptr != first + 2) {
            return false;
        }
        value += static_cast<char>(code);
        i += 2;
    }
    return true;
}

bool parse(const std::string& text, std::int64_t& value) {
    char* end = nullptr;
    errno = 0;
    value = std::strtoll(text.c_str(), &end, 10);
    return errno == 0 && !text.empty() && *end == '\0';
}

bool parse(const std::string& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

template <class Record, class Value, std::size_t N>
std::string write(const Record& record, const std::array<Field<Record, Value>, N>& fields) {
    std::string text;
    for (const auto& field : fields) {
        text += (text.empty() ? "" : " ") + std::string(field.name) + "=";
        text += std::visit([&](auto member) { return format(at(record, member)); }, field.member);
    }
    return text;
}

template <class Record, class Value, std::size_t N>
bool read(std::string_view text, Record& record,
          const std::array<Field<Record, Value>, N>& fields) {
    std::istringstream words{std::string(text)};
    std::string word;
    while (words >> word) {
        const std::size_t equals = word.find('=');
        bool known = false;
        for (const auto& field : fields) {
            if (equals != std::string::npos && word.compare(0, equals, field.name) == 0) {
                known = std::visit(
                    [&](auto member) { return parse(word.substr(equals + 1), at(record, member)); },
                    field.member);
            }
        }
        if (!known) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string encodeText(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code > ' ' && code < 0x7F && c != '%') {
            result += c;
        } else {
            result += {'%', digits[code >> 4], digits[code & 15]};
        }
    }
    return result;
}

std::string toText(const UtcRecord& record) {
    return write(record, utcFields);
}
std::string toText(const PntRecord& record) {
    return write(record, pntFields);
}
std::string toText(const GpsTimeRecord& record) {
    return write(record, gpsTimeFields);
}
std::string toText(const PositionVelocityRecord& record) {
    return write(record, positionVelocityFields);
}
std::string toText(const EventRecord& record) {
    return write(record, eventFields);
}
std::string toText(const MaintenanceRecord& record) {
    return write(record, maintenanceFields);
}
std::string toText(const CommandFields& record) {
    return write(record, commandFields);
}
std::string toText(const BitRecord& record) {
    return write(record, bitFields);
}
bool fromText(std::string_view text, UtcRecord& record) {
    return read(text, record, utcFields);
}
bool fromText(std::string_view text, PntRecord& record) {
    return read(text, record, pntFields);
}
bool fromText(std::string_view text, GpsTimeRecord& record) {
    return read(text, record, gpsTimeFields);
}
bool fromText(std::string_view text, PositionVelocityRecord& record) {
    return read(text, record, positionVelocityFields);
}
bool fromText(std::string_view text, EventRecord& record) {
    return read(text, record, eventFields);
}
bool fromText(std::string_view text, MaintenanceRecord& record) {
    return read(text, record, maintenanceFields);
}
bool fromText(std::string_view text, CommandFields& record) {
    return read(text, record, commandFields);
}
bool fromText(std::string_view text, BitRecord& record) {
    return read(text, record, bitFields);
}

}  // namespace bench
