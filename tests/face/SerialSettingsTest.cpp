#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "face/SerialSettings.h"

using FACE::IOSS::ApplyReadTimeout;
using FACE::IOSS::ApplySerialSettings;
using FACE::IOSS::GetSerialParameter;
using FACE::IOSS::IO_PARAMETER;
using FACE::IOSS::SerialSettings;
using FACE::IOSS::SetSerialParameter;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr tcflag_t softwareFlow = IXON | IXOFF | IXANY;

/// Settings that every port can have.
SerialSettings plain() {
    SerialSettings settings;
    settings.channel = 1;
    settings.baudRate = 115200;
    settings.dataBits = 8;
    settings.stopBits = 1;
    return settings;
}

/// What becomes of a terminal with all flags set, and of one with none.
template <typename Change>
std::pair<termios, termios> applied(Change change) {
    SerialSettings settings = plain();
    change(settings);
    termios set{};
    set.c_cflag = ~tcflag_t{0};
    set.c_iflag = ~tcflag_t{0};
    termios clear{};
    EXPECT_THAT(ApplySerialSettings(settings, set), IsEmpty());
    EXPECT_THAT(ApplySerialSettings(settings, clear), IsEmpty());
    return {set, clear};
}

struct ParityFlags {
    std::uint16_t parity;
    tcflag_t on;
    tcflag_t off;
};
class SerialParity : public testing::TestWithParam<ParityFlags> {};

}  // namespace

TEST(SerialSettings, SetTheSpeedOfBothDirectionsForEveryListedRate) {
    const std::vector<std::pair<std::int32_t, speed_t>> table{
        {50, B50},           {75, B75},           {110, B110},         {134, B134},
        {150, B150},         {200, B200},         {300, B300},         {600, B600},
        {1200, B1200},       {1800, B1800},       {2400, B2400},       {4800, B4800},
        {9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
        {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
        {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
        {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000},
        {3500000, B3500000}, {4000000, B4000000}};
    ASSERT_EQ(table.size(), 30u);
    for (const auto& [rate, constant] : table) {
        const auto [set, clear] = applied([rate = rate](SerialSettings& s) { s.baudRate = rate; });
        EXPECT_EQ(cfgetispeed(&clear), constant) << rate;
        EXPECT_EQ(cfgetospeed(&clear), constant) << rate;
        EXPECT_EQ(cfgetospeed(&set), constant) << rate;
    }
}

TEST(SerialSettings, RefuseAnUnlistedRateAndLeaveTheSpeed) {
    for (const std::int32_t rate : {12345, 0, -9600, std::numeric_limits<std::int32_t>::min()}) {
        termios terminal{};
        cfsetispeed(&terminal, B19200);
        cfsetospeed(&terminal, B19200);
        SerialSettings settings = plain();
        settings.baudRate = rate;
        EXPECT_THAT(ApplySerialSettings(settings, terminal),
                    ElementsAre("Invalid baud rate parameter " + std::to_string(rate)));
        EXPECT_EQ(cfgetispeed(&terminal), speed_t{B19200});
        EXPECT_EQ(cfgetospeed(&terminal), speed_t{B19200});
    }
}

TEST(SerialSettings, AlwaysEnableTheReceiverWithoutModemLines) {
    const auto [set, clear] = applied([](SerialSettings&) {});
    EXPECT_EQ(clear.c_cflag & (CREAD | CLOCAL), tcflag_t{CREAD | CLOCAL});
    EXPECT_EQ(set.c_cflag & (CREAD | CLOCAL), tcflag_t{CREAD | CLOCAL});
}

TEST_P(SerialParity, SetsAndClearsItsFlags) {
    const ParityFlags& row = GetParam();
    const auto [set, clear] = applied([&row](SerialSettings& s) { s.parity = row.parity; });
    constexpr tcflag_t all = PARENB | PARODD | CMSPAR;
    EXPECT_EQ(set.c_cflag & all, all & ~row.off);
    EXPECT_EQ(clear.c_cflag & all, row.on);
}

INSTANTIATE_TEST_SUITE_P(SerialSettings, SerialParity,
                         testing::Values(ParityFlags{0, 0, PARENB},
                                         ParityFlags{1, PARENB | PARODD, CMSPAR},
                                         ParityFlags{2, PARENB, PARODD | CMSPAR},
                                         ParityFlags{3, PARENB | PARODD | CMSPAR, 0},
                                         ParityFlags{4, PARENB | CMSPAR, PARODD}),
                         [](const auto& row) { return std::to_string(row.param.parity); });

TEST(SerialSettings, RefuseAnUnknownParity) {
    termios terminal{};
    SerialSettings settings = plain();
    settings.parity = 5;
    EXPECT_THAT(ApplySerialSettings(settings, terminal), ElementsAre("Invalid parity parameter 5"));
    EXPECT_EQ(terminal.c_cflag & (PARENB | PARODD | CMSPAR), tcflag_t{0});
}

TEST(SerialSettings, SetTheStopBits) {
    EXPECT_EQ(applied([](SerialSettings& s) { s.stopBits = 1; }).first.c_cflag & CSTOPB,
              tcflag_t{0});
    EXPECT_EQ(applied([](SerialSettings& s) { s.stopBits = 2; }).second.c_cflag & CSTOPB,
              tcflag_t{CSTOPB});
}

TEST(SerialSettings, RefuseAnotherNumberOfStopBits) {
    for (const std::int16_t bits : {std::int16_t{0}, std::int16_t{3}, std::int16_t{-1}}) {
        termios terminal{};
        SerialSettings settings = plain();
        settings.stopBits = bits;
        EXPECT_THAT(ApplySerialSettings(settings, terminal),
                    ElementsAre("Invalid stop bits parameter " + std::to_string(bits)));
    }
}

TEST(SerialSettings, SetTheDataBits) {
    const std::vector<std::pair<std::int16_t, tcflag_t>> table{{std::int16_t{5}, CS5},
                                                               {std::int16_t{6}, CS6},
                                                               {std::int16_t{7}, CS7},
                                                               {std::int16_t{8}, CS8}};
    for (const auto& [bits, size] : table) {
        const auto [set, clear] = applied([bits = bits](SerialSettings& s) { s.dataBits = bits; });
        EXPECT_EQ(set.c_cflag & CSIZE, size);
        EXPECT_EQ(clear.c_cflag & CSIZE, size);
    }
}

TEST(SerialSettings, RefuseAnotherNumberOfDataBitsAndLeaveFive) {
    for (const std::int16_t bits : {std::int16_t{4}, std::int16_t{9}, std::int16_t{-1}}) {
        termios terminal{};
        terminal.c_cflag = CS8;
        SerialSettings settings = plain();
        settings.dataBits = bits;
        EXPECT_THAT(ApplySerialSettings(settings, terminal),
                    ElementsAre("Invalid data bits parameter " + std::to_string(bits)));
        EXPECT_EQ(terminal.c_cflag & CSIZE, tcflag_t{CS5});
    }
}

TEST(SerialSettings, SetTheFlowControl) {
    const auto none = applied([](SerialSettings& s) { s.flowControl = 0; }).first;
    EXPECT_EQ(none.c_cflag & CRTSCTS, tcflag_t{0});
    EXPECT_EQ(none.c_iflag & softwareFlow, tcflag_t{0});

    const auto [set, clear] = applied([](SerialSettings& s) { s.flowControl = 1; });
    EXPECT_EQ(set.c_cflag & CRTSCTS, tcflag_t{0});
    EXPECT_EQ(clear.c_iflag & softwareFlow, softwareFlow);

    const auto [set2, clear2] = applied([](SerialSettings& s) { s.flowControl = 2; });
    EXPECT_EQ(clear2.c_cflag & CRTSCTS, tcflag_t{CRTSCTS});
    EXPECT_EQ(set2.c_iflag & softwareFlow, tcflag_t{0});
}

TEST(SerialSettings, RefuseAnUnknownFlowControl) {
    termios terminal{};
    SerialSettings settings = plain();
    settings.flowControl = 3;
    EXPECT_THAT(ApplySerialSettings(settings, terminal),
                ElementsAre("Invalid flow control parameter 3"));
}

TEST(SerialSettings, TellEverythingThatWasRefusedInOrder) {
    termios terminal{};
    SerialSettings settings;
    settings.baudRate = 1;
    settings.parity = 65535;
    settings.stopBits = -2;
    settings.dataBits = 9;
    settings.flowControl = 4;
    EXPECT_THAT(ApplySerialSettings(settings, terminal),
                ElementsAre("Invalid baud rate parameter 1", "Invalid parity parameter 65535",
                            "Invalid stop bits parameter -2", "Invalid data bits parameter 9",
                            "Invalid flow control parameter 4"));
}

TEST(SerialReadTimeout, IsRoundedUpToTenthsAndCutToTheDriversLongest) {
    struct Row {
        long long timeout;
        int time;
        int minimum;
    };
    for (const Row& row :
         {Row{0, 0, 0}, Row{1, 1, 0}, Row{100'000'000, 1, 0}, Row{100'000'001, 2, 0},
          Row{200'000'000, 2, 0}, Row{25'400'000'001, 255, 0}, Row{25'500'000'000, 255, 0},
          Row{25'500'000'001, 255, 0}, Row{std::numeric_limits<long long>::max(), 255, 0},
          Row{-1, 0, 1}, Row{-2, 0, 1}, Row{std::numeric_limits<long long>::min(), 0, 1}}) {
        termios terminal{};
        terminal.c_cc[VTIME] = 0xEE;
        terminal.c_cc[VMIN] = 0xEE;
        ApplyReadTimeout(row.timeout, terminal);
        EXPECT_EQ(terminal.c_cc[VTIME], row.time) << row.timeout;
        EXPECT_EQ(terminal.c_cc[VMIN], row.minimum) << row.timeout;
    }
}

namespace {

IO_PARAMETER parameter(std::uint16_t kind) {
    IO_PARAMETER result;
    result.kind = kind;
    return result;
}

}  // namespace

TEST(SerialParameter, GoesInAndComesOutWithTheAlternativeOfItsKind) {
    std::vector<IO_PARAMETER> parameters;
    for (std::uint16_t kind = 0; kind < 7; ++kind) {
        parameters.push_back(parameter(kind));
    }
    parameters[0].value.octet_value(255);
    parameters[1].value.short_value(-3);
    parameters[2].value.long_value(460800);
    parameters[3].value.short_value(7);
    parameters[4].value.short_value(2);
    parameters[5].value.ushort_value(65535);
    parameters[6].value.ushort_value(1);
    SerialSettings settings;
    for (const IO_PARAMETER& each : parameters) {
        EXPECT_TRUE(SetSerialParameter(each, settings)) << each.kind;
    }
    EXPECT_EQ(settings.channel, 255);
    EXPECT_EQ(settings.serialMode, -3);
    EXPECT_EQ(settings.baudRate, 460800);
    EXPECT_EQ(settings.dataBits, 7);
    EXPECT_EQ(settings.stopBits, 2);
    EXPECT_EQ(settings.parity, 65535);
    EXPECT_EQ(settings.flowControl, 1);

    for (const IO_PARAMETER& each : parameters) {
        IO_PARAMETER read = parameter(each.kind);
        read.value.longdouble_value();  // another tag than any kind's
        EXPECT_TRUE(GetSerialParameter(settings, read));
        EXPECT_EQ(read.value.descriminator(), each.value.descriminator()) << each.kind;
        SerialSettings again;
        EXPECT_TRUE(SetSerialParameter(read, again));
    }
}

TEST(SerialParameter, OfAnUnknownKindChangesNothing) {
    SerialSettings settings = plain();
    IO_PARAMETER unknown = parameter(7);
    unknown.value.long_value(5);
    EXPECT_FALSE(SetSerialParameter(unknown, settings));
    EXPECT_EQ(settings.baudRate, 115200);
    EXPECT_FALSE(GetSerialParameter(settings, unknown));
    std::int32_t value = 0;
    FACE::IOSS::IO_PARAMETER_VALUE_TYPE::RETURN_CODE code;
    unknown.value.long_value(value, code);
    EXPECT_EQ(value, 5);
}

TEST(SerialParameter, OfAnotherAlternativeChangesNothing) {
    for (std::uint16_t kind = 0; kind < 7; ++kind) {
        SerialSettings settings = plain();
        IO_PARAMETER wrong = parameter(kind);
        wrong.value.longlong_value(5);
        EXPECT_FALSE(SetSerialParameter(wrong, settings)) << kind;
    }
    SerialSettings settings = plain();
    IO_PARAMETER dataBits = parameter(3);
    dataBits.value.long_value(7);
    EXPECT_FALSE(SetSerialParameter(dataBits, settings));
    EXPECT_EQ(settings.dataBits, 8);
}
