#include "bench/SolutionFrame.h"

#include <cmath>
#include <limits>

#include "bench/DataArea.h"

namespace bench {
namespace {

constexpr std::uint16_t defaultFlags = 0x0140;
constexpr unsigned assuranceShift = 2;

const std::vector<FieldPlace> places{{0, "GPS time of week"},
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
                                     {106, "jamming figures"}};

}  // namespace

std::optional<SolutionFrame> SolutionFrame::decode(const UnitFrame& frame) {
    if (frame.id != id || frame.data.size() * 2 != bytes) {
        return std::nullopt;
    }
    const DataArea area = dataArea(frame);
    SolutionFrame solution;
    solution.gpsTimeOfWeek = takeAt<double>(area, 0);
    solution.utcTimeOfDay = takeAt<double>(area, 8);
    for (std::size_t i = 0; i < 3; ++i) {
        solution.position[i] = takeAt<double>(area, 16 + 8 * i);
        solution.velocity[i] = takeAt<float>(area, 40 + 4 * i);
        solution.attitude[i] = takeAt<float>(area, 52 + 4 * i);
    }
    solution.gpsWeek = takeAt<std::uint16_t>(area, 96);
    solution.solutionFlags = takeAt<std::uint16_t>(area, 98);
    return solution;
}

SolutionFrame::Area expectedSolution(const UtcRecord& utc, const PntRecord& pnt) {
    SolutionFrame::Area area{};
    putAt(area, 0, static_cast<double>(utc.gpsTowSeconds) + utc.gpsTowNanoseconds * 1e-9);
    putAt(area, 8, static_cast<double>(utc.utcTodSeconds) + utc.utcTodNanoseconds * 1e-9);
    putAt(area, 16, pnt.positionX);
    putAt(area, 24, pnt.positionY);
    putAt(area, 32, pnt.positionZ);
    const bool known = std::isfinite(utc.timeVariance) && utc.timeVariance >= 0;
    const float timeError = known ? static_cast<float>(std::sqrt(utc.timeVariance))
                                  : std::numeric_limits<float>::infinity();
    std::size_t offset = 40;
    for (const double value :
         {pnt.velocityX, pnt.velocityY, pnt.velocityZ, pnt.pitch, pnt.roll, pnt.heading,
          pnt.horizontalPositionError, pnt.verticalPositionError, pnt.horizontalVelocityError,
          pnt.verticalVelocityError, static_cast<double>(timeError), pnt.pitchError, pnt.rollError,
          pnt.headingError}) {
        putAt(area, offset, static_cast<float>(value));
        offset += sizeof(float);
    }
    putAt(area, offset, static_cast<std::uint16_t>(utc.gpsWeek));
    putAt(area, offset + 2,
          static_cast<std::uint16_t>(defaultFlags |
                                     (static_cast<unsigned>(pnt.assurance & 3) << assuranceShift)));
    return area;
}

std::vector<std::string> solutionDefects(const UnitFrame& frame, const UtcRecord& utc,
                                         const PntRecord& pnt) {
    const SolutionFrame::Area expected = expectedSolution(utc, pnt);
    return frameDefects(frame, SolutionFrame::id, UnitFrame::linkReady,
                        {expected.begin(), expected.end()}, places);
}

}  // namespace bench
