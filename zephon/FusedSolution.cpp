#include "zephon/FusedSolution.h"

#include <chrono>
#include <cmath>
#include <limits>

#include "messages/WireNumbers.h"

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds matchWindow = 2ms;  // a pair lies closer together than this

// Bits of the flags that the store decides: solution assurance (2, 3) and bits 6, 7, 8. The
// others keep the message's default.
constexpr std::uint16_t storedFlagBits = 0x01CC;
constexpr std::uint16_t assuranceBits = 0x000C;

float timeErrorOf(double variance) {
    if (!std::isfinite(variance) || variance < 0) {
        return std::numeric_limits<float>::infinity();
    }
    return NarrowToFloat(std::sqrt(variance));
}

}  // namespace

void FusedSolution::store(aspn2_msgs::idl::UTCTime const& record) {
    utcTimeTag_ = ASPN2::validityOf(record.header());
    gpsWeek_ = static_cast<std::uint16_t>(record.gps_week());
    utcTodSeconds_ = record.utc_tod_sec() + record.utc_tod_nsec() * 1e-9;
    gpsTowSeconds_ = record.gps_tow_sec() + record.gps_tow_nsec() * 1e-9;
    timeError_ = timeErrorOf(record.covariance()[0][0]);
    utcReceived_ = true;
}

void FusedSolution::store(aspn2_msgs::idl::MeridanePNT const& record) {
    pntTimeTag_ = ASPN2::validityOf(record.header());
    ecefPosX_ = record.ECEF_Pos_X();
    ecefPosY_ = record.ECEF_Pos_Y();
    ecefPosZ_ = record.ECEF_Pos_Z();
    ecefVelX_ = NarrowToFloat(record.ECEF_Vel_X());
    ecefVelY_ = NarrowToFloat(record.ECEF_Vel_Y());
    ecefVelZ_ = NarrowToFloat(record.ECEF_Vel_Z());
    roll_ = NarrowToFloat(record.Roll());
    pitch_ = NarrowToFloat(record.Pitch());
    heading_ = NarrowToFloat(record.Heading());
    horzVelError_ = NarrowToFloat(record.Horz_Vel_Error());
    vertVelError_ = NarrowToFloat(record.Vert_VelError());
    vertPosError_ = NarrowToFloat(record.Vert_PosError());
    horzPosError_ = NarrowToFloat(record.Horz_PosError());
    headingError_ = NarrowToFloat(record.Heading_Error());
    pitchError_ = NarrowToFloat(record.Pitch_Error());
    rollError_ = NarrowToFloat(record.Roll_Error());
    const auto assurance = static_cast<std::uint32_t>(record.MX_PNT_Solution_Assurance());
    solutionFlags_ = static_cast<std::uint16_t>((solutionFlags_ & ~assuranceBits) |
                                                ((assurance << 2U) & assuranceBits));
    pntReceived_ = true;
}

std::shared_ptr<OstrelPvtOutput> FusedSolution::takeOutput() {
    const auto apart = ASPN2::nanosecondsBetween(utcTimeTag_, pntTimeTag_);
    if (!utcReceived_ || !pntReceived_ || apart <= -matchWindow || apart >= matchWindow) {
        return nullptr;
    }
    ++solutionCount_;
    auto output = std::make_shared<OstrelPvtOutput>();
    using L = OstrelPvtLayout;
    output->set<L::GpsTowSeconds>(gpsTowSeconds_);
    output->set<L::UtcTodSeconds>(utcTodSeconds_);
    output->set<L::EcefPosX>(ecefPosX_);
    output->set<L::EcefPosY>(ecefPosY_);
    output->set<L::EcefPosZ>(ecefPosZ_);
    output->set<L::EcefVelX>(ecefVelX_);
    output->set<L::EcefVelY>(ecefVelY_);
    output->set<L::EcefVelZ>(ecefVelZ_);
    output->set<L::Pitch>(pitch_);
    output->set<L::Roll>(roll_);
    output->set<L::Heading>(heading_);
    output->set<L::HorzPosError>(horzPosError_);
    output->set<L::VertPosError>(vertPosError_);
    output->set<L::HorzVelError>(horzVelError_);
    output->set<L::VertVelError>(vertVelError_);
    output->set<L::TimeError>(timeError_);
    output->set<L::PitchError>(pitchError_);
    output->set<L::RollError>(rollError_);
    output->set<L::HeadingError>(headingError_);
    output->set<L::GpsWeek>(gpsWeek_);
    output->set<L::SolutionFlags>(static_cast<std::uint16_t>(
        (L::defaultSolutionFlags & ~storedFlagBits) | (solutionFlags_ & storedFlagBits)));
    fillReceiverStatus(*output);
    utcReceived_ = false;
    pntReceived_ = false;
    return output;
}

void FusedSolution::fillReceiverStatus(OstrelPvtOutput& output) {
    using L = OstrelPvtLayout;
    output.set<L::ReceiverSeen>(static_cast<std::uint16_t>(receiver.receiverStatus & 1U));
    output.set<L::ReceiverStatus>(
        static_cast<std::uint16_t>((receiver.receiverStatus >> 16U) & 0x3FFDU));
    output.set<L::ReceiverStatus2>(static_cast<std::uint16_t>(receiver.receiverStatus2 & 0xFFC1U));
    if (receiver.jfomFresh) {
        output.set<L::AntiJamValid>(
            static_cast<std::uint16_t>((receiver.receiverStatus >> 1U) & 1U));
        output.set<L::JammingFigures>(receiver.jfom);
        receiver.jfomFresh = false;
    }
}
