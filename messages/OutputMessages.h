#pragma once

#include <string>

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

    using GpsTowSeconds = fields::Seconds<fields::MachineField<0, double>>;
    using UtcTodSeconds = fields::Seconds<fields::MachineField<4, double>>;
    using EcefPosX = fields::Metres<fields::MachineField<8, double>>;
    using EcefPosY = fields::Metres<fields::MachineField<12, double>>;
    using EcefPosZ = fields::Metres<fields::MachineField<16, double>>;
    using EcefVelX = fields::MetresPerSecond<fields::MachineField<20, float>>;
    using EcefVelY = fields::MetresPerSecond<fields::MachineField<22, float>>;
    using EcefVelZ = fields::MetresPerSecond<fields::MachineField<24, float>>;
    using Pitch = fields::Radians<fields::MachineField<26, float>>;
    using Roll = fields::Radians<fields::MachineField<28, float>>;
    using Heading = fields::Radians<fields::MachineField<30, float>>;
    using HorzPosError = fields::Metres<fields::MachineField<32, float>>;
    using VertPosError = fields::Metres<fields::MachineField<34, float>>;
    using HorzVelError = fields::MetresPerSecond<fields::MachineField<36, float>>;
    using VertVelError = fields::MetresPerSecond<fields::MachineField<38, float>>;
    using TimeError = fields::Seconds<fields::MachineField<40, float>>;
    using PitchError = fields::Radians<fields::MachineField<42, float>>;
    using RollError = fields::Radians<fields::MachineField<44, float>>;
    using HeadingError = fields::Radians<fields::MachineField<46, float>>;
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

/// Message 15052, the alternate navigation solution. Floats and doubles as in message 15050.
///
///     word  0     1    2      6     10    14    16  20  24  28     30  32  34    36  38  40  42
///         +-----+----+------+-----+-----+-----+------------------+-------------+---------------+
///         |flags|year| time | lat | lon | alt | position variance| velocity    | its variance  |
///         |     |    |      |     |     |     | N   E   NE  U    | E   N   U   | E   N   NE  U |
///         +-----+----+------+-----+-----+-----+------------------+-------------+---------------+
struct AltNavPvtLayout {
    static constexpr std::uint16_t id = 15052;
    static constexpr std::uint16_t words = 44;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using SolutionValid = fields::BitField<0, 0, 2>;  // both bits always set
    using VelocityValid = fields::BitField<0, 2, 1>;
    using Year = fields::WordField<1>;
    using TimeOfYear = fields::Seconds<fields::MachineField<2, double>>;  // of the year, GPS
    using Latitude = fields::Radians<fields::MachineField<6, double>>;
    using Longitude = fields::Radians<fields::MachineField<10, double>>;
    using Altitude = fields::Metres<fields::MachineField<14, float>>;
    using LatitudeVariance = fields::MachineField<16, double>;
    using LongitudeVariance = fields::MachineField<20, double>;
    using LatitudeLongitudeCovariance = fields::MachineField<24, double>;
    using AltitudeVariance = fields::SquareMetres<fields::MachineField<28, float>>;
    using EastVelocity = fields::MetresPerSecond<fields::MachineField<30, float>>;
    using NorthVelocity = fields::MetresPerSecond<fields::MachineField<32, float>>;
    using UpVelocity = fields::MetresPerSecond<fields::MachineField<34, float>>;
    using EastVelocityVariance =
        fields::SquareMetresPerSecondSquared<fields::MachineField<36, float>>;
    using NorthVelocityVariance =
        fields::SquareMetresPerSecondSquared<fields::MachineField<38, float>>;
    using NorthEastVelocityCovariance =
        fields::SquareMetresPerSecondSquared<fields::MachineField<40, float>>;
    using UpVelocityVariance =
        fields::SquareMetresPerSecondSquared<fields::MachineField<42, float>>;

    /// SolutionValid of every message that is sent.
    static constexpr std::uint16_t solutionIsValid = 3;
};

/// Message 15052. One thread fills it, then shares it read-only with the link.
class AltNavPVTOutput : public LayoutMessage<AltNavPvtLayout> {
public:
    /// Zeroes the data.
    void clearAll() { clearContents(); }
};

/// Message 15053, the part numbers of the system. Text travels with the two bytes of each word
/// exchanged, with blanks behind.
///
///     byte  0          8       22     36    50            64   80     96     112  128    176   224
///         +----------+-------+------+-----+-------------+----+------+------+----+------+------+
///         | GPS time | build | VHDL | BSP | application | engine XPN: FPGA,     | PNT  | zero |
///         | of week  |       |      |     |             | PAP, PSP boot, BSL    | dev. |      |
///         +----------+-------+------+-----+-------------+-----------------------+------+------+
struct MxPartNumLayout {
    static constexpr std::uint16_t id = 15053;
    static constexpr std::uint16_t words = 112;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using GpsTime = fields::Seconds<fields::NumberField<0, OtwDECD>>;  // of the week
    using SystemBuild = fields::SwappedTextField<8, 14>;
    using VhdlPartNumber = fields::SwappedTextField<22, 14>;
    using BspPartNumber = fields::SwappedTextField<36, 14>;
    using ApplicationPartNumber = fields::SwappedTextField<50, 14>;
    using FpgaXpn = fields::SwappedTextField<64, 16>;
    using PapBootXpn = fields::SwappedTextField<80, 16>;
    using PspBootXpn = fields::SwappedTextField<96, 16>;
    using BslXpn = fields::SwappedTextField<112, 16>;
    using PntdSoftware = fields::SwappedTextField<128, 16>;
    using PntdFirmware = fields::SwappedTextField<144, 16>;
    using PntdSerialNumber = fields::SwappedTextField<160, 16>;
};

/// Message 15053. One thread fills it, then shares it read-only with the link.
class MxPartNumOutput : public LayoutMessage<MxPartNumLayout> {
public:
    /// Zeroes the data.
    void clearAll() { clearContents(); }

    /// Fills `length` bytes with text as the fields of this message hold it: cut at `length`,
    /// with blanks behind a shorter one, then the bytes of each word exchanged. Null is no text.
    static void setPartNumber(char* field, const char* text, unsigned int length);
    static void setPartNumber(char* field, const std::string& text, unsigned int length);
};
