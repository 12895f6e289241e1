#include "bench/TopicRecords.h"

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <variant>

namespace bench {
namespace {

/// A field's name and where it lies: in the record or in its header.
template <class Record>
struct Field {
    const char* name;
    std::variant<std::int64_t RecordHeader::*, std::int64_t Record::*, double Record::*> member;
};

constexpr std::array<Field<UtcRecord>, 10> utcFields{{
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

constexpr std::array<Field<PntRecord>, 25> pntFields{{
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

template <class Record>
std::int64_t& at(Record& record, std::int64_t RecordHeader::*member) {
    return record.header.*member;
}
template <class Record>
std::int64_t& at(Record& record, std::int64_t Record::*member) {
    return record.*member;
}
template <class Record>
double& at(Record& record, double Record::*member) {
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

template <class Record, std::size_t N>
std::string write(Record record, const std::array<Field<Record>, N>& fields) {
    std::string text;
    for (const auto& field : fields) {
        text += (text.empty() ? "" : " ") + std::string(field.name) + "=";
        text += std::visit([&](auto member) { return format(at(record, member)); }, field.member);
    }
    return text;
}

template <class Record, std::size_t N>
bool read(std::string_view text, Record& record, const std::array<Field<Record>, N>& fields) {
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

std::string toText(const UtcRecord& record) {
    return write(record, utcFields);
}
std::string toText(const PntRecord& record) {
    return write(record, pntFields);
}
bool fromText(std::string_view text, UtcRecord& record) {
    return read(text, record, utcFields);
}
bool fromText(std::string_view text, PntRecord& record) {
    return read(text, record, pntFields);
}

}  // namespace bench
