#pragma once

#include <cstdint>

/// Where the FPGA's registers lie: byte offsets in the region of each interface. Registers are 32
/// bits wide unless said otherwise.
namespace FpgaRegisters {

/// Identification and counts.
namespace Processor {
inline constexpr char const* name = "Processor_Interface";
inline constexpr std::uint32_t firmwareName0 = 0x00;  ///< four characters, highest byte first
inline constexpr std::uint32_t firmwareName1 = 0x04;
inline constexpr std::uint32_t buildDate = 0x08;  ///< BCD YYYYMMDD
inline constexpr std::uint32_t buildTime = 0x0C;  ///< BCD HHMM in bits 15-0
inline constexpr std::uint32_t xpn0 = 0x10;       ///< four characters each
inline constexpr std::uint32_t xpn1 = 0x14;
inline constexpr std::uint32_t xpn2 = 0x18;
inline constexpr std::uint32_t revision = 0x1C;  ///< four characters
inline constexpr std::uint32_t uarts = 0x20;     ///< how many there are
inline constexpr std::uint32_t ptfes = 0x24;
inline constexpr std::uint32_t pulses = 0x28;
inline constexpr std::uint32_t periphs = 0x2C;
inline constexpr std::uint32_t clockRate = 0x30;  ///< Hz
}  // namespace Processor

/// The system count and the stamps taken from it, in ticks of the clock.
namespace TimeStamp {
inline constexpr char const* name = "TimeStamp_Interface";
inline constexpr std::uint32_t systemCount = 128;  ///< 64 bits
// An index comes from outside, so these reckon beyond 32 bits.
constexpr std::uint64_t pulseStamp(std::uint32_t pulse) {  ///< 64 bits
    return (std::uint64_t{pulse} + 32) * 8;
}
constexpr std::uint64_t uartDelay(std::uint32_t uart) {
    return (std::uint64_t{uart} + 48) * 8;
}
constexpr std::uint64_t uartStamp(std::uint32_t uart) {  ///< 64 bits
    return (std::uint64_t{uart} + 64) * 8;
}
}  // namespace TimeStamp

/// One region for each frequency engine, its number behind the name.
namespace Ptfe {
inline constexpr char const* name = "Ptfe_Interface";
inline constexpr std::uint32_t divider = 0;  ///< less 1
inline constexpr std::uint32_t firmwareId = 8;
inline constexpr std::uint32_t measuredFrequency = 16;
inline constexpr std::uint32_t status = 24;      ///< writing its bits back clears them
inline constexpr std::uint32_t dfNcoRate = 32;   ///< 64 bits
inline constexpr std::uint32_t dtNcoPhase = 48;  ///< 64 bits
inline constexpr std::uint32_t dtCycles = 56;
inline constexpr std::uint32_t enable = 64;
inline constexpr std::uint32_t softReset = 128;
inline constexpr std::uint32_t rate0 = 144;
inline constexpr std::uint32_t rate1 = 152;
inline constexpr std::uint32_t defaultNcoRate = 200;  ///< 64 bits
inline constexpr std::uint32_t gain = 288;
}  // namespace Ptfe

/// One region for each pulse generator, its number behind the name.
namespace PulseGen {
inline constexpr char const* name = "PulseGen_Interface";
inline constexpr std::uint32_t internalPhase = 4;
inline constexpr std::uint32_t externalPhase = 8;
}  // namespace PulseGen

/// Regions of control registers, one behind the other.
namespace Control {
inline constexpr char const* peripheralName = "Peripheral_Interface";
inline constexpr char const* ppsSlaveName = "PpsSlave_Interface";
inline constexpr char const* ptpClockName = "PtpClock_Interface";
inline constexpr std::uint32_t bytes = 4;  ///< of one register
constexpr std::uint64_t at(std::uint32_t index) {
    return std::uint64_t{index} * bytes;
}
}  // namespace Control

}  // namespace FpgaRegisters
