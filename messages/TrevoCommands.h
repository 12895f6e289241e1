#pragma once

#include "messages/LayoutMessage.h"

/// Requests and commands of the GPS engine (ICD-GPS-153 framing).

/// Message 5000, the request of a data transfer.
///
///     word 4  high byte: bits 2, 4, 5 and 7, the four flags
///     word 7  low nibble: port
///     word 9  scenario
struct Trevo5000Layout {
    static constexpr std::uint16_t id = 5000;
    static constexpr std::uint16_t words = 10;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using FlagA = fields::ByteBits<9, 2, 1>;
    using FlagB = fields::ByteBits<9, 4, 1>;
    using FlagC = fields::ByteBits<9, 5, 1>;
    using FlagD = fields::ByteBits<9, 7, 1>;
    using Port = fields::BitField<7, 0, 4>;
    using Scenario = fields::WordField<9>;
};

enum class e5000_XferScenario : std::uint16_t { LNAV = 2, MNAV = 3, BOTH = 4 };
enum class e5000_DataPort : std::uint16_t { COM1 = 1, COM2 = 2, COM3 = 3 };

/// Message 5000. One thread fills it, then shares it read-only with the link.
class Trevo_5000_Msg : public LayoutMessage<Trevo5000Layout> {
public:
    /// Writes its own fields and leaves all other bits. Of a port the low four bits count.
    void setDataTransfer(bool a, bool b, bool c, bool d, e5000_XferScenario scenario,
                         e5000_DataPort port);

    /// Takes a frame of exactly 10 data words; any other length changes nothing.
    bool ok_set_5000_gpsip(const unsigned char* bytes, unsigned short length) {
        return OkSetContent(bytes, length);
    }
};

/// The spelling of this class in the server.
using TrevoMsg5000 = Trevo_5000_Msg;

/// Message 5001, a command.
///
///     word  0          4         5            6
///         +----------+---------+------------+-----------+
///         | GPS time | command | mist only: | mist only:|
///         |          |         | key 14371  | mode      |
///         +----------+---------+------------+-----------+
struct TrevoCommandLayout {
    static constexpr std::uint16_t id = 5001;
    static constexpr std::uint16_t words = 31;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using GpsTime = fields::Seconds<fields::NumberField<0, OtwDECD>>;  // of the week
    using Command = fields::WordField<4>;
    using MistKey = fields::WordField<5>;
    using MistMode = fields::WordField<6>;

    /// What stands before a mist mode, lest another message be taken for one.
    static constexpr std::uint16_t mistKey = 14371;
    /// A frame tells at least time and command.
    static constexpr int minWords = 5;
};

/// The commands that the server acts upon or sends; the engine knows others.
enum class e5001_Command : std::uint16_t {
    Zeroize = 7,
    CVZeroize = 8,
    SincgarsFirst = 21,  ///< the two that start SINCGARS, in this order
    SincgarsSecond = 22,
    SincgarsReset = 23,
    Mist = 64,
};

/// The modes are the engine's own: the server hands them on as numbers.
enum class e5001_Mist_Command : std::uint16_t {};

/// Message 5001. One thread fills it, then shares it read-only with the link.
class TrevoCommandMsg : public LayoutMessage<TrevoCommandLayout> {
public:
    /// Zeroes the data and sets the command.
    void setSimpleModeCommand(e5001_Command command);

    /// Zeroes the data and sets the mist command with its mode.
    void setMistMode(e5001_Mist_Command mode);

    e5001_Command getSimpleModeCommand() const;

    /// Takes a frame of 5 data words and more; words that a shorter one lacks stay as they were,
    /// but for its checksum. A longer one than 31 data words is cut, with an "Info" line on
    /// standard output. Returns false, changes nothing and prints a "Warning" line when there
    /// are less than 5.
    bool ok_set_5001_gpsip(const unsigned char* bytes, unsigned short length);
};
