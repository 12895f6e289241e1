#pragma once

#include "messages/LayoutMessage.h"

/// Messages that the server composes for the unit (ICD-GPS-153 framing).

/// Message 15050, the fused navigation solution. Floats and doubles stand in the machine's
/// own order (IEEE 754, little-endian).
///
///     word  0     4     8    12    16    20   22   24   26   28   30   32   34
///         +-----+-----+-----+-----+-----+----+----+----+----+----+----+----+----+
///         | TOW | TOD | ECEF X, Y, Z    | VX | VY | VZ |ptch|roll|hdg |hPos|vPos|
///         +-----+-----+-----+-----+-----+----+----+----+----+----+----+----+----+
///     word 36   38   40   42   44   46   48     49      50    51    52    53
///         +----+----+----+----+----+----+------+-------+-----+-----+-----+------+
///         |hVel|vVel|time|ptch|roll|hdg | week | flags | rcv | st1 | st2 | jfom |
///         +----+----+----+----+----+----+------+-------+-----+-----+-----+------+
///
/// Seconds, metres, metres per second, radians; errors in the units of what they qualify.
struct OstrelPvtLayout {
    static constexpr std::uint16_t id = 15050;
    static constexpr std::uint16_t words = 54;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using GpsTowSeconds = fields::MachineField<0, double>;
    using UtcTodSeconds = fields::MachineField<4, double>;
    using EcefPosX = fields::MachineField<8, double>;
    using EcefPosY = fields::MachineField<12, double>;
    using EcefPosZ = fields::MachineField<16, double>;
    using EcefVelX = fields::MachineField<20, float>;
    using EcefVelY = fields::MachineField<22, float>;
    using EcefVelZ = fields::MachineField<24, float>;
    using Pitch = fields::MachineField<26, float>;
    using Roll = fields::MachineField<28, float>;
    using Heading = fields::MachineField<30, float>;
    using HorzPosError = fields::MachineField<32, float>;
    using VertPosError = fields::MachineField<34, float>;
    using HorzVelError = fields::MachineField<36, float>;
    using VertVelError = fields::MachineField<38, float>;
    using TimeError = fields::MachineField<40, float>;
    using PitchError = fields::MachineField<42, float>;
    using RollError = fields::MachineField<44, float>;
    using HeadingError = fields::MachineField<46, float>;
    using GpsWeek = fields::WordField<48>;
    using SolutionFlags = fields::WordField<49>;
    using ReceiverSeen = fields::BitField<50, 0, 1>;
    using AntiJamValid = fields::BitField<50, 1, 1>;
    using ReceiverStatus = fields::WordField<51>;   // from data word 5 of message 8040
    using ReceiverStatus2 = fields::WordField<52>;  // from data word 9 of message 8040
    using JammingFigures = fields::WordField<53>;   // low nibble L1, high nibble L2

    /// The two bits of the flags that a message carries whoever fills it.
    static constexpr std::uint16_t defaultSolutionFlags = 0x0140;
};

/// Message 15050. One thread fills it, then shares it read-only with the link.
class OstrelPvtOutput : public LayoutMessage<OstrelPvtLayout> {
public:
    OstrelPvtOutput() { clearAll(); }

    /// Zeroes the data and restores the default flags.
    void clearAll() {
        clearContents();
        set<OstrelPvtLayout::SolutionFlags>(OstrelPvtLayout::defaultSolutionFlags);
    }
};
