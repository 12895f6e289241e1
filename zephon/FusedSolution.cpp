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
constexpr std::uint16_t noReradBit = 0x0100;

// Bits of message 8040 that go into the output.
constexpr std::uint16_t engineStatusBits = 0x3FFD;   // of data word 5
constexpr std::uint16_t engineStatus2Bits = 0xFFC1;  // of data word 9

// Bits of the receiver status: who was heard, and where the engine's data word 5 stands.
constexpr std::uint32_t engineHeard = 0x1;
constexpr std::uint32_t antiJamHeard = 0x2;
constexpr unsigned engineStatusShift = 16;

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

void FusedSolution::takeReradMode() {
    solutionFlags_ &= static_cast<std::uint16_t>(~noReradBit);
}

void FusedSolution::ReceiverStatus::takeEngineStatus(std::uint16_t word5, std::uint16_t word9) {
    constexpr std::uint32_t replaced = std::uint32_t{engineStatusBits} << engineStatusShift;
    const std::uint32_t engine = std::uint32_t{word5} << engineStatusShift;
    receiverStatus = (receiverStatus & ~replaced) | (engine & replaced) | engineHeard;
    receiverStatus2 = static_cast<std::uint16_t>((receiverStatus2 & ~engineStatus2Bits) |
                                                 (word9 & engineStatus2Bits));
}

void FusedSolution::ReceiverStatus::takeJammingFigures(unsigned l1, unsigned l2) {
    jfom = static_cast<std::uint8_t>((l1 & 0xFU) | (l2 & 0xFU) << 4U);
    jfomFresh = true;
    receiverStatus |= antiJamHeard;
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
    const std::uint32_t status = receiver.receiverStatus;
    output.set<L::ReceiverSeen>((status & engineHeard) != 0 ? 1 : 0);
    output.set<L::ReceiverStatus>(
        static_cast<std::uint16_t>((status >> engineStatusShift) & engineStatusBits));
    output.set<L::ReceiverStatus2>(
        static_cast<std::uint16_t>(receiver.receiverStatus2 & engineStatus2Bits));
    if (receiver.jfomFresh) {
        output.set<L::AntiJamValid>((status & antiJamHeard) != 0 ? 1 : 0);
        output.set<L::JammingFigures>(receiver.jfom);
        receiver.jfomFresh = false;
    }
}
