#pragma once

#include <string>

#include "messages/LayoutMessage.h"

/// Messages of the anti-jam unit (ICD-GPS-153 framing).

/// Message 2516, the state of the anti-jam unit.
///
///     byte  0      2 .. 11   12   14 .. 25   26 .. 31   32          33
///         +------+---------+----+----------+----------+-----------+----------+
///         | mode | mode    |    | mode     |          | L1 figure | L2 figure|
///         |      |         |    |          |          | bits 4-7  | bits 0-3 |
///         +------+---------+----+----------+----------+-----------+----------+
struct AjasStatusLayout {
    static constexpr std::uint16_t id = 2516;
    static constexpr std::uint16_t words = 32;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Mode0 = fields::WordField<0>;
    using Mode2 = fields::BytesField<2, 10>;
    using Mode14 = fields::BytesField<14, 12>;
    using JammingFigureL1 = fields::ByteBits<32, 4, 4>;
    using JammingFigureL2 = fields::ByteBits<33, 0, 4>;
};

/// Message 2516, read only: until a frame comes its header tells neither identifier nor words,
/// so that it is never written.
class AjasStatus : public LayoutMessage<AjasStatusLayout> {
public:
    AjasStatus();

    /// Jamming figures of merit, 0 to 15.
    unsigned getJFOM_L1() const { return get<AjasStatusLayout::JammingFigureL1>(); }
    unsigned getJFOM_L2() const { return get<AjasStatusLayout::JammingFigureL2>(); }

    /// All channels are passed on as they come.
    bool isInPassthroughMode() const;
};

/// Message 15054, the part numbers of the anti-jam unit, which itself sends them as message 2518.
struct DigarPnLayout {
    static constexpr std::uint16_t id = 15054;
    static constexpr std::uint16_t words = 90;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using XpnAjBoot = fields::TextField<4, 12>;
    using XpnAjFpga = fields::TextField<16, 12>;
    using XpnAjSw = fields::TextField<28, 12>;
    using XpnAjSw2 = fields::TextField<40, 12>;
    using XpnAjSw3 = fields::TextField<52, 12>;
    using XpnAjSw4 = fields::TextField<64, 12>;
    using XpnPcBoot = fields::TextField<76, 12>;
    using XpnPcFpga = fields::TextField<88, 12>;
    using XpnPcSw = fields::TextField<100, 12>;
    using AntTable = fields::TextField<112, 12>;
};

/// Message 15054. Until a frame comes its header tells neither identifier nor words, so that it
/// is not written. One thread fills it, then shares it read-only with the link.
class DigarPN : public LayoutMessage<DigarPnLayout> {
public:
    DigarPN();

    /// Gives the frame that came the identifier by which the unit knows it.
    void setUnitIdentifier();

    // Each up to its first NUL, at most 12 characters.
    std::string get_XPN_AJ_Boot() const { return get<DigarPnLayout::XpnAjBoot>(); }
    std::string get_XPN_AJ_FPGA() const { return get<DigarPnLayout::XpnAjFpga>(); }
    std::string get_XPN_AJ_SW() const { return get<DigarPnLayout::XpnAjSw>(); }
    std::string get_XPN_AJ_SW2() const { return get<DigarPnLayout::XpnAjSw2>(); }
    std::string get_XPN_AJ_SW3() const { return get<DigarPnLayout::XpnAjSw3>(); }
    std::string get_XPN_AJ_SW4() const { return get<DigarPnLayout::XpnAjSw4>(); }
    std::string get_XPN_PC_Boot() const { return get<DigarPnLayout::XpnPcBoot>(); }
    std::string get_XPN_PC_FPGA() const { return get<DigarPnLayout::XpnPcFpga>(); }
    std::string get_XPN_PC_SW() const { return get<DigarPnLayout::XpnPcSw>(); }
    std::string get_Ant_Table() const { return get<DigarPnLayout::AntTable>(); }
};

/// Message 15051, threats that the anti-jam unit sees. Only its time is known here.
///
///     word  0                           4 .. 99
///         +---------------------------+---------+
///         | GPS time, IEEE 754 double | threats |
///         +---------------------------+---------+
struct ThreatDataLayout {
    static constexpr std::uint16_t id = 15051;
    static constexpr std::uint16_t words = 100;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using GpsTime = fields::Seconds<fields::MachineField<0, double>>;
};

/// Message 15051. One thread fills it, then shares it read-only with the link.
class ThreatData : public LayoutMessage<ThreatDataLayout> {
public:
    /// Seconds of the week.
    double gpsTime() const { return get<ThreatDataLayout::GpsTime>(); }

    /// Brings a time below 0 or above 604800 s into the week by whole weeks; 604800 itself stays,
    /// and so does what is not finite.
    void setGpsTime(double time);
};
