#pragma once

#include <string>
#include <vector>

#include "messages/LayoutMessage.h"

/// The serial port configuration of the GPS engine (ICD-GPS-153 framing).

/// Message 5331.
///
///     word 18  validity mask: bit 15 receive, 14 transmit, 9 pulse, 7 redundant ports
///     word 20  port               37-43  NMEA sentences
///     21-23  receive  protocol, baud, parity     45  pulse
///     24-26  transmit protocol, baud, parity     47  ports are not redundant
struct TrevocomPortSetupLayout {
    static constexpr std::uint16_t id = 5331;
    static constexpr std::uint16_t words = 50;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using RedundantValid = fields::BitField<18, 7, 1>;
    using PulseValid = fields::BitField<18, 9, 1>;
    using TransmitValid = fields::BitField<18, 14, 1>;
    using ReceiveValid = fields::BitField<18, 15, 1>;
    using Port = fields::WordField<20>;
    using RecProtocol = fields::WordField<21>;
    using RecBaud = fields::WordField<22>;
    using RecParity = fields::WordField<23>;
    using TransProtocol = fields::WordField<24>;
    using TransBaud = fields::WordField<25>;
    using TransParity = fields::WordField<26>;
    using NmeaSentences = fields::WordsField<37, 7>;
    using Pulse = fields::WordField<45>;
    using NotRedundant = fields::WordField<47>;
};

// The wire codes of the message. A value outside its enumeration is as good as any that the
// message does not know.
enum class e5331_Port : std::uint16_t { Port0 = 0, COM1 = 1, COM2 = 2, COM3 = 3, Port15 = 15 };
enum class e5331_SerialParity : std::uint16_t { None = 0, Odd = 1, Even = 2 };
enum class e5331_SerialProtocol : std::uint16_t { ICD153D = 0, NMEA = 2 };
enum class e5331_Pulse : std::uint16_t { Off = 0, OnePpsUtc = 1, OnePpsTMark = 2, TenPpsUtc = 3 };
/// In bit/s. Codes 8 and 9 are unused, and the codes do not follow the order of speed.
enum class e5331_SerialBaud : std::uint16_t {
    Baud9600 = 0,
    Baud300 = 1,
    Baud600 = 2,
    Baud1200 = 3,
    Baud2400 = 4,
    Baud4800 = 5,
    Baud19200 = 6,
    Baud76800 = 7,
    Baud38400 = 10,
    Baud115200 = 11,
    Baud230400 = 12,
    Baud460800 = 13,
    Baud921600 = 14,
};

/// Message 5331. One thread fills it, then shares it read-only with the link.
class TrevocomPortSetup : public LayoutMessage<TrevocomPortSetupLayout> {
public:
    /// Codes, parities and protocols that the message does not know are stored as 0.
    void setRecParams(e5331_SerialBaud baud, e5331_SerialParity parity,
                      e5331_SerialProtocol protocol);
    void setTransParams(e5331_SerialBaud baud, e5331_SerialParity parity,
                        e5331_SerialProtocol protocol);
    /// Both directions alike, with protocol 0.
    void setBaud(e5331_SerialBaud baud, e5331_SerialParity parity);
    /// A pulse that the message does not know leaves the value as it was.
    void setPulse(e5331_Pulse pulse);
    /// A port that the message does not know leaves the value as it was.
    void setPort(e5331_Port port);
    void setRedundantComPorts(bool redundant);
    /// Stores the codes of the first seven names; a shorter list leaves the other places as they
    /// were. A name without a code raises std::out_of_range, and nothing is stored.
    void setNMEASentenceID(const std::vector<std::string>& names);

    /// The code of an NMEA sentence, such as "GGA" or "GPGGA", and of "none", in this exact case.
    /// Any other name raises std::out_of_range.
    static std::uint16_t nmeaSentenceCode(const std::string& name);
};

/// The spelling of this class outside the link driver.
using TrevoComPortSetup = TrevocomPortSetup;

/// Message 5331's code of a rate in bit/s. 9600 and every rate without a code give 0.
e5331_SerialBaud toSerialBaudCode(int baud);
