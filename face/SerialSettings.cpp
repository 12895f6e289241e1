#include "face/SerialSettings.h"

#include <algorithm>
#include <array>

namespace FACE::IOSS {

namespace {

struct Speed {
    std::int32_t baudRate;
    speed_t constant;
};

constexpr std::array<Speed, 30> speeds{{
    {50, B50},           {75, B75},           {110, B110},         {134, B134},
    {150, B150},         {200, B200},         {300, B300},         {600, B600},
    {1200, B1200},       {1800, B1800},       {2400, B2400},       {4800, B4800},
    {9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
    {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
    {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000},
    {3500000, B3500000}, {4000000, B4000000},
}};

/// Sets the bits `on` and clears the bits `off`.
void change(tcflag_t& flags, tcflag_t on, tcflag_t off) {
    flags = (flags & ~off) | on;
}

bool applySpeed(std::int32_t baudRate, termios& terminal) {
    auto const* const speed =
        std::find_if(speeds.begin(), speeds.end(),
                     [baudRate](Speed const& row) { return row.baudRate == baudRate; });
    if (speed == speeds.end()) {
        return false;
    }
    ::cfsetispeed(&terminal, speed->constant);
    ::cfsetospeed(&terminal, speed->constant);
    return true;
}

bool applyParity(std::uint16_t parity, termios& terminal) {
    tcflag_t& flags = terminal.c_cflag;
    switch (parity) {
        case 0:
            change(flags, 0, PARENB);
            return true;
        case 1:
            change(flags, PARENB | PARODD, CMSPAR);
            return true;
        case 2:
            change(flags, PARENB, PARODD | CMSPAR);
            return true;
        case 3:
            change(flags, PARENB | PARODD | CMSPAR, 0);
            return true;
        case 4:
            change(flags, PARENB | CMSPAR, PARODD);
            return true;
        default:
            return false;
    }
}

bool applyStopBits(std::int16_t stopBits, termios& terminal) {
    switch (stopBits) {
        case 1:
            change(terminal.c_cflag, 0, CSTOPB);
            return true;
        case 2:
            change(terminal.c_cflag, CSTOPB, 0);
            return true;
        default:
            return false;
    }
}

bool applyDataBits(std::int16_t dataBits, termios& terminal) {
    constexpr std::array<tcflag_t, 4> sizes{CS5, CS6, CS7, CS8};
    change(terminal.c_cflag, 0, CSIZE);
    if (dataBits < 5 || dataBits > 8) {
        return false;
    }
    change(terminal.c_cflag, sizes[static_cast<std::size_t>(dataBits - 5)], 0);
    return true;
}

bool applyFlowControl(std::uint16_t flowControl, termios& terminal) {
    constexpr tcflag_t software = IXON | IXOFF | IXANY;
    switch (flowControl) {
        case 0:
            change(terminal.c_cflag, 0, CRTSCTS);
            change(terminal.c_iflag, 0, software);
            return true;
        case 1:
            change(terminal.c_cflag, 0, CRTSCTS);
            change(terminal.c_iflag, software, 0);
            return true;
        case 2:
            change(terminal.c_cflag, CRTSCTS, 0);
            change(terminal.c_iflag, 0, software);
            return true;
        default:
            return false;
    }
}

}  // namespace

std::vector<std::string> ApplySerialSettings(SerialSettings const& settings, termios& terminal) {
    std::vector<std::string> refused;
    auto const check = [&refused](bool applied, char const* name, int value) {
        if (!applied) {
            refused.push_back(std::string("Invalid ") + name + " parameter " +
                              std::to_string(value));
        }
    };
    change(terminal.c_cflag, CREAD | CLOCAL, 0);
    check(applySpeed(settings.baudRate, terminal), "baud rate", settings.baudRate);
    check(applyParity(settings.parity, terminal), "parity", settings.parity);
    check(applyStopBits(settings.stopBits, terminal), "stop bits", settings.stopBits);
    check(applyDataBits(settings.dataBits, terminal), "data bits", settings.dataBits);
    check(applyFlowControl(settings.flowControl, terminal), "flow control", settings.flowControl);
    return refused;
}

void ApplyReadTimeout(long long timeout, termios& terminal) {
    constexpr long long tenth = 100'000'000;
    constexpr long long longest = 255 * tenth;  // the driver counts tenths of a second in 8 bits
    if (timeout < 0) {
        terminal.c_cc[VTIME] = 0;
        terminal.c_cc[VMIN] = 1;
        return;
    }
    timeout = std::min(timeout, longest);
    terminal.c_cc[VTIME] = static_cast<cc_t>((timeout + tenth - 1) / tenth);
    terminal.c_cc[VMIN] = 0;
}

bool GetSerialParameter(SerialSettings const& settings, IO_PARAMETER& parameter) {
    using KIND = Serial::IO_PARAMETER_KIND;
    switch (parameter.kind) {
        case KIND::CHANNEL:
            parameter.value.octet_value(settings.channel);
            return true;
        case KIND::SERIAL_MODE:
            parameter.value.short_value(settings.serialMode);
            return true;
        case KIND::BAUD_RATE:
            parameter.value.long_value(settings.baudRate);
            return true;
        case KIND::DATA_BITS:
            parameter.value.short_value(settings.dataBits);
            return true;
        case KIND::STOP_BITS:
            parameter.value.short_value(settings.stopBits);
            return true;
        case KIND::PARITY:
            parameter.value.ushort_value(settings.parity);
            return true;
        case KIND::FLOW_CONTROL:
            parameter.value.ushort_value(settings.flowControl);
            return true;
        default:
            return false;
    }
}

bool SetSerialParameter(IO_PARAMETER const& parameter, SerialSettings& settings) {
    using KIND = Serial::IO_PARAMETER_KIND;
    using VALUE = IO_PARAMETER_VALUE_TYPE;
    VALUE::RETURN_CODE code = VALUE::TAG_MISMATCH;  // stays so for an unknown kind
    switch (parameter.kind) {
        case KIND::CHANNEL:
            parameter.value.octet_value(settings.channel, code);
            break;
        case KIND::SERIAL_MODE:
            parameter.value.short_value(settings.serialMode, code);
            break;
        case KIND::BAUD_RATE:
            parameter.value.long_value(settings.baudRate, code);
            break;
        case KIND::DATA_BITS:
            parameter.value.short_value(settings.dataBits, code);
            break;
        case KIND::STOP_BITS:
            parameter.value.short_value(settings.stopBits, code);
            break;
        case KIND::PARITY:
            parameter.value.ushort_value(settings.parity, code);
            break;
        case KIND::FLOW_CONTROL:
            parameter.value.ushort_value(settings.flowControl, code);
            break;
        default:
            break;
    }
    return code == VALUE::NO_ERROR;
}

}  // namespace FACE::IOSS
