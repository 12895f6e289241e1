#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/zephon/ReceiverFrames.h"

/// Time marks on their way, and the part numbers that follow them.

/// Message 8504 with its GPS time of week and no more.
inline bench::UnitFrame makeMark(double gpsTow, std::uint16_t flags = statusFlags) {
    auto frame = emptyFrame(8504, 200, flags);
    const auto words = engineDouble(gpsTow);
    std::copy(words.begin(), words.end(), frame.data.begin());
    return frame;
}

/// Such a mark with fused time of 2026 November 21, known to 1.4 us.
inline bench::UnitFrame makeMergedMark(double gpsTow, double utcTod) {
    auto frame = makeMark(gpsTow);
    const auto time = engineDouble(utcTod);
    std::copy(time.begin(), time.end(), frame.data.begin() + 4);
    frame.data[42] = 0x36BD;  // the root of 2e-12
    frame.data[43] = 0xD002;
    frame.data[44] = 0x2026;
    frame.data[45] = 0x1121;
    frame.data[46] = 325;
    frame.data[48] = 0x0500;  // own time, figure 5
    return frame;
}
constexpr double fusedVariance = 2e-12;
constexpr int fusedWeek = 2445;

/// The engine's start lines.
inline std::vector<std::string> const engineLines{
    "GPS PAP_Boot_XPN: 064-1111-001A", "GPS PSP_Boot_XPN: 064-2222-002B",
    "GPS FPGA_XPN: 064-3333-003C", "GPS BSL_XPN: 064-4444-004DE"};

/// What message 15053 tells beside the engine's numbers; unless changed, what the example
/// configuration gives on the bench before any other has told something.
struct ToldNumbers {
    std::string systemBuild = "ACQUIRING";
    std::string vhdl = "074-8125-002";
    std::string bsp;
    std::string application = "074-8125-600";
    std::string pntdSoftware;
    std::string pntdFirmware;
    std::string pntdSerialNumber;
};

/// Message 15053 of a system that knows these and the engine's part numbers.
inline bench::UnitFrame makePartNumbers(double gpsTow, ToldNumbers const& told = {}) {
    auto frame = emptyFrame(15053, 112, bench::UnitFrame::linkReady);
    const auto words = engineDouble(gpsTow);
    std::copy(words.begin(), words.end(), frame.data.begin());
    std::string text;
    const auto add = [&text](std::string field, std::size_t width) {
        field.resize(width, ' ');
        text += field;
    };
    for (auto const& field : {told.systemBuild, told.vhdl, told.bsp, told.application}) {
        add(field, 14);
    }
    text += "064-3333-003C   064-1111-001A   064-2222-002B   064-4444-004DE  ";
    for (auto const& field : {told.pntdSoftware, told.pntdFirmware, told.pntdSerialNumber}) {
        add(field, 16);
    }
    for (std::size_t i = 0; i < text.size(); i += 2) {
        frame.data[4 + i / 2] = static_cast<std::uint16_t>(
            static_cast<unsigned char>(text[i]) << 8U | static_cast<unsigned char>(text[i + 1]));
    }
    return frame;
}
