#pragma once

#include <cstdint>
#include <string>
#include <termios.h>
#include <vector>

#include "face/IoServices.h"

namespace FACE::IOSS {

/// How a serial port is to be set up. Plain values, checked only where they are applied.
struct SerialSettings {
    std::uint8_t channel = 0;       ///< number behind the device's name
    std::int16_t serialMode = 0;    ///< kept and reported, applied to nothing
    std::int32_t baudRate = 0;      ///< bits per second
    std::int16_t dataBits = 0;      ///< 5 to 8
    std::int16_t stopBits = 0;      ///< 1 or 2
    std::uint16_t parity = 0;       ///< 0 none, 1 odd, 2 even, 3 mark, 4 space
    std::uint16_t flowControl = 0;  ///< 0 none, 1 software (XON/XOFF), 2 hardware (RTS/CTS)
};

/// Puts speed, parity, stop bits, data bits and flow control into `terminal`, and enables the
/// receiver without regard to the modem lines. Returns what was refused, such as
/// "Invalid parity parameter 7", in this order; empty when all fits. A refused setting leaves its
/// part of `terminal` alone, but for the data bits, which become 5.
std::vector<std::string> ApplySerialSettings(SerialSettings const& settings, termios& terminal);

/// Lets the driver end a read after `timeout` nanoseconds: 0 at once, below 0 never, otherwise
/// rounded up to tenths of a second and cut to 25.5 s.
void ApplyReadTimeout(long long timeout, termios& terminal);

/// Fills the value of `parameter` from the setting that its kind names. Returns false, with
/// nothing changed, for an unknown kind.
bool GetSerialParameter(SerialSettings const& settings, IO_PARAMETER& parameter);

/// Stores the value of `parameter` in the setting that its kind names. Returns false, with
/// nothing changed, for an unknown kind or another alternative than the kind's.
bool SetSerialParameter(IO_PARAMETER const& parameter, SerialSettings& settings);

}  // namespace FACE::IOSS
