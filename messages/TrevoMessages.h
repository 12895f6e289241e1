#pragma once

#include "messages/LayoutMessage.h"

/// Messages to and from the GPS engine (ICD-GPS-153 framing).

/// A frame without data, of any identifier: acknowledgements, and the pause token that a
/// link's own write thread understands (flag word 0).
struct TrevoHeaderOnlyLayout {
    static constexpr std::uint16_t id = 0;
    static constexpr std::uint16_t words = 0;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;
};

class TrevoHeaderOnlyMsg : public LayoutMessage<TrevoHeaderOnlyLayout> {
public:
    TrevoHeaderOnlyMsg() = default;
    TrevoHeaderOnlyMsg(unsigned short id, unsigned short flagWord);

    /// Rewrites all five header words; word count and header checksum become 0.
    void setMsgIdAndFlag(unsigned short id, unsigned short flagWord);
};

/// Message 5331, the serial port configuration of the engine.
///
///     word 18  validity mask      21-23  receive  protocol, baud, parity
///     word 20  port               24-26  transmit protocol, baud, parity
struct TrevoComPortSetupLayout {
    static constexpr std::uint16_t id = 5331;
    static constexpr std::uint16_t words = 50;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using TransmitValid = fields::BitField<18, 14, 1>;
    using ReceiveValid = fields::BitField<18, 15, 1>;
    using Port = fields::WordField<20>;
    using RecProtocol = fields::WordField<21>;
    using RecBaud = fields::WordField<22>;
    using RecParity = fields::WordField<23>;
    using TransProtocol = fields::WordField<24>;
    using TransBaud = fields::WordField<25>;
    using TransParity = fields::WordField<26>;
};

class TrevoComPortSetup : public LayoutMessage<TrevoComPortSetupLayout> {
public:
    /// `baud` is a code of `toSerialBaudCode`. Codes, parities and protocols that the message
    /// does not know are stored as 0.
    void setRecParams(unsigned short baud, unsigned short parity, unsigned short protocol);
    void setTransParams(unsigned short baud, unsigned short parity, unsigned short protocol);
    /// Both directions alike, with protocol 0.
    void setBaud(unsigned short baud, unsigned short parity);
    /// Ports 0 to 3 and 15; any other leaves the port as it was.
    void setPort(unsigned short port);
};

/// The spelling of this class in the link driver.
using TrevocomPortSetup = TrevoComPortSetup;

/// Message 5331's code of a rate in bit/s. 9600 and every rate without a code give 0.
unsigned short toSerialBaudCode(int baud);
