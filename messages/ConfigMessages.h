#pragma once

#include "messages/LayoutMessage.h"
#include "messages/WireNumbers.h"

/// Messages 27560 (to the unit) and 27561 (its answer): which virtual unit and port is the super
/// user, and what the receivers at the ports are capable of (ICD-GPS-153 framing).
///
///     byte  0          8         9   10             11            12     18
///         +----------+---------+---+--------------+-------------+------+
///         | GPS time | command | 0 | unit, port   | option,     | zero |
///         |          |         |   | bits 0-2,3-4 | its value   |      |
///         +----------+---------+---+--------------+-------------+------+

/// What a configuration message asks or tells.
enum class eConfigCmdCommand : std::uint8_t { request = 1, superUser = 2, option = 3 };

/// A virtual unit by its number, or none.
enum class eConfigCmdZephon : std::uint8_t { none, zephon1, zephon2, zephon3, zephon4 };

/// A serial port of a virtual unit by its number, or none.
enum class eConfigCmdCom : std::uint8_t { none, com1, com2, com3 };

struct ConfigCmdLayout {
    static constexpr std::uint16_t id = 27560;
    static constexpr std::uint16_t words = 9;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using GpsTime = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Command = fields::ByteField<8>;
    using Unit = fields::ByteBits<10, 0, 3>;
    using Port = fields::ByteBits<10, 3, 2>;
    using OutputConfig = fields::ByteField<11>;  // option in bits 3 to 7, its value below

    /// The one option: what the receiver at a port is capable of.
    static constexpr unsigned receiverCapabilities = 1;
    /// Its values.
    static constexpr unsigned capabilitiesCorvane = 0;
    static constexpr unsigned capabilitiesZephon = 1;
};

struct ConfigStatusLayout {
    static constexpr std::uint16_t id = 27561;
    static constexpr std::uint16_t words = ConfigCmdLayout::words;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using GpsTime = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Command = fields::ByteField<8>;
    using Unit = fields::ByteBits<10, 0, 3>;
    using Port = fields::ByteBits<10, 3, 2>;
    using OutputConfig = fields::ByteField<11>;

    /// Command of a status that tells the super user.
    static constexpr std::uint16_t superUserStatus = 1;
};

/// Message 27560. One thread fills it, then shares it read-only with the link.
class Config_Cmd_Msg : public LayoutMessage<ConfigCmdLayout> {
public:
    /// The server only sends this message: takes nothing and returns false.
    bool OkSetContent(const unsigned char* bytes, unsigned short length) override;

    void SetConfigCommand(eConfigCmdCommand command);
    /// Bits of a unit above the third and of a port above the second are dropped; the bits
    /// beside the two stay.
    void SetPortConfig(eConfigCmdZephon unit, eConfigCmdCom port);
    /// Unit and port, and an option with its value; what is beyond a byte is dropped.
    void SetOutputConfig(eConfigCmdZephon unit, eConfigCmdCom port, unsigned option,
                         unsigned value);
    /// Zeroes the data, time included.
    void clearAll() { clearContents(); }
};

/// Message 27561, in the shape of 27560.
class Config_Status_Msg : public LayoutMessage<ConfigStatusLayout> {
public:
    /// Takes the nine data words of a frame that has them, whatever follows; the header stays
    /// that of this object. A shorter frame changes nothing and returns false.
    bool OkSetContent(const unsigned char* bytes, unsigned short length) override;

    /// True for a status that tells the super user, by its unit and port.
    bool IsSuperUserConfigCommand() const;

    /// Zeroes the data, time included.
    void clearAll() { clearContents(); }
};
