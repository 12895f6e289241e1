#pragma once

#include <cstdint>
#include <memory>

#include "ASPN/TimeTags.h"
#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/UTCTime.h"
#include "messages/OutputMessages.h"

/// The join of the clock's UTC time and the navigator's solution into message 15050.
///
/// Either input overwrites its own side; when both sides are there and tagged within 2 ms of
/// each other, one message is made and both sides are spent. A side that never finds its
/// partner just stays. Holds no lock and does no I/O: the server guards it with its solution
/// lock.
class FusedSolution {
public:
    /// What the unit's own receivers have reported; it rides along in every output.
    struct ReceiverStatus {
        std::uint32_t receiverStatus = 0;   ///< bit 0: engine heard, bit 1: anti-jam unit heard
        std::uint16_t receiverStatus2 = 0;  ///< bits 0 and 6 to 15 of message 8040's word 9
        std::uint8_t jfom = 0;              ///< jamming figures: low nibble L1, high nibble L2
        bool jfomFresh = false;             ///< the figures go into the next output only

        /// The engine's message 8040, of which two data words count.
        void takeEngineStatus(std::uint16_t word5, std::uint16_t word9);
        /// The anti-jam unit's message 2516: figures of merit, the low four bits of each.
        void takeJammingFigures(unsigned l1, unsigned l2);
    };

    void store(aspn2_msgs::idl::UTCTime const& record);
    void store(aspn2_msgs::idl::MeridanePNT const& record);
    /// The engine has gone to its rerad mode: bit 8 of the flags is clear for good.
    void takeReradMode();

    /// The output of a matching pair, or null when there is none. A match spends both sides.
    std::shared_ptr<OstrelPvtOutput> takeOutput();

    ReceiverStatus receiver;

    /// Solutions that have matched so far.
    std::uint32_t solutionCount() const { return solutionCount_; }

private:
    void fillReceiverStatus(OstrelPvtOutput& output);

    // In the order of the output: seconds, metres, metres per second, radians.
    double gpsTowSeconds_ = 0;
    double utcTodSeconds_ = 0;
    double ecefPosX_ = 0, ecefPosY_ = 0, ecefPosZ_ = 0;
    float ecefVelX_ = 0, ecefVelY_ = 0, ecefVelZ_ = 0;
    float pitch_ = 0, roll_ = 0, heading_ = 0;
    float horzPosError_ = 0, vertPosError_ = 0;
    float horzVelError_ = 0, vertVelError_ = 0;
    float timeError_ = 0;
    float pitchError_ = 0, rollError_ = 0, headingError_ = 0;
    std::uint16_t gpsWeek_ = 0;
    std::uint16_t solutionFlags_ = OstrelPvtLayout::defaultSolutionFlags;

    bool utcReceived_ = false;
    bool pntReceived_ = false;
    ASPN2::timestamp utcTimeTag_;
    ASPN2::timestamp pntTimeTag_;
    std::uint32_t solutionCount_ = 0;
};
