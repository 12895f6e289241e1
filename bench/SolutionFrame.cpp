#include "bench/SolutionFrame.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace bench {
namespace {

constexpr std::uint16_t defaultFlags = 0x0140;
constexpr unsigned assuranceShift = 2;

template <class T>
T take(const SolutionFrame::Area& area, std::size_t offset) {
    T value;
    std::memcpy(&value, area.data() + offset, sizeof value);
    return value;
}

template <class T>
void put(SolutionFrame::Area& area, std::size_t offset, T value) {
    std::memcpy(area.data() + offset, &value, sizeof value);
}

SolutionFrame::Area dataArea(const UnitFrame& frame) {
    SolutionFrame::Area area{};
    for (std::size_t i = 0; i < area.size() && i / 2 < frame.data.size(); ++i) {
        area[i] = static_cast<std::uint8_t>(frame.data[i / 2] >> (i % 2 == 0 ? 0 : 8));
    }
    return area;
}

/// The name of the field that a byte of the data area belongs to.
std::string fieldAt(std::size_t offset) {
    struct Place {
        std::size_t begin;
        const char* name;
    };
    constexpr std::array<Place, 25> places{{{0, "GPS time of week"},
                                            {8, "UTC time of day"},
                                            {16, "position x"},
                                            {24, "position y"},
                                            {32, "position z"},
                                            {40, "velocity x"},
                                            {44, "velocity y"},
                                            {48, "velocity z"},
                                            {52, "pitch"},
                                            {56, "roll"},
                                            {60, "heading"},
                                            {64, "horizontal position error"},
                                            {68, "vertical position error"},
                                            {72, "horizontal velocity error"},
                                            {76, "vertical velocity error"},
                                            {80, "time error"},
                                            {84, "pitch error"},
                                            {88, "roll error"},
                                            {92, "heading error"},
                                            {96, "GPS week"},
                                            {98, "solution flags"},
                                            {100, "status bits"},
                                            {102, "receiver word 5"},
                                            {104, "receiver word 9"},
                                            {106, "jamming figures"}}};
    const char* name = "";
    for (const Place& place : places) {
        name = place.begin <= offset ? place.name : name;
    }
    return name;
}

}  // namespace

std::optional<SolutionFrame> SolutionFrame::decode(const UnitFrame& frame) {
    if (frame.id != id || frame.data.size() * 2 != bytes) {
        return std::nullopt;
    }
    const Area area = dataArea(frame);
    SolutionFrame solution;
    solution.gpsTimeOfWeek = take<double>(area, 0);
    solution.utcTimeOfDay = take<double>(area, 8);
    for (std::size_t i = 0; i < 3; ++i) {
        solution.position[i] = take<double>(area, 16 + 8 * i);
        solution.velocity[i] = take<float>(area, 40 + 4 * i);
        solution.attitude[i] = take<float>(area, 52 + 4 * i);
    }
    solution.gpsWeek = take<std::uint16_t>(area, 96);
    solution.solutionFlags = take<std::uint16_t>(area, 98);
    return solution;
}

SolutionFrame::Area expectedSolution(const UtcRecord& utc, const PntRecord& pnt) {
    SolutionFrame::Area area{};
    put(area, 0, static_cast<double>(utc.gpsTowSeconds) + utc.gpsTowNanoseconds * 1e-9);
    put(area, 8, static_cast<double>(utc.utcTodSeconds) + utc.utcTodNanoseconds * 1e-9);
    put(area, 16, pnt.positionX);
    put(area, 24, pnt.positionY);
    put(area, 32, pnt.positionZ);
    const bool known = std::isfinite(utc.timeVariance) && utc.timeVariance >= 0;
    const float timeError = known ? static_cast<float>(std::sqrt(utc.timeVariance))
                                  : std::numeric_limits<float>::infinity();
    std::size_t offset = 40;
    for (const double value :
         {pnt.velocityX, pnt.velocityY, pnt.velocityZ, pnt.pitch, pnt.roll, pnt.heading,
          pnt.horizontalPositionError, pnt.verticalPositionError, pnt.horizontalVelocityError,
          pnt.verticalVelocityError, static_cast<double>(timeError), pnt.pitchError, pnt.rollError,
          pnt.headingError}) {
        put(area, offset, static_cast<float>(value));
        offset += sizeof(float);
    }
    put(area, offset, static_cast<std::uint16_t>(utc.gpsWeek));
    put(area, offset + 2,
        static_cast<std::uint16_t>(defaultFlags |
                                   (static_cast<unsigned>(pnt.assurance & 3) << assuranceShift)));
    return area;
}

std::vector<std::string> solutionDefects(const UnitFrame& frame, const UtcRecord& utc,
                                         const PntRecord& pnt) {
    std::vector<std::string> defects;
    if (frame.id != SolutionFrame::id) {
        defects.push_back("message id is " + std::to_string(frame.id));
    }
    if (frame.flags != UnitFrame::linkReady) {
        defects.push_back("flag word is " + std::to_string(frame.flags));
    }
    if (frame.data.size() * 2 != SolutionFrame::bytes) {
        defects.push_back("data words: " + std::to_string(frame.data.size()));
    }
    const SolutionFrame::Area expected = expectedSolution(utc, pnt);
    const SolutionFrame::Area found = dataArea(frame);
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (found[i] != expected[i]) {
            defects.push_back("byte " + std::to_string(i) + " (" + fieldAt(i) + ") is " +
                              hexadecimal({found[i]}) + ", not " + hexadecimal({expected[i]}));
        }
    }
    return defects;
}

}  // namespace bench
