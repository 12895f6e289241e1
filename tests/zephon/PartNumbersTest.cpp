#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "tests/messages/MessageBytes.h"
#include "tests/zephon/TimeMarkFrames.h"
#include "zephon/PartNumbers.h"

namespace {

PartNumbers after(std::vector<std::string> const& lines) {
    PartNumbers numbers;
    for (auto const& line : lines) {
        numbers.takeEngineLine(line);
    }
    return numbers;
}

/// Text as the message carries it: the bytes of each word exchanged.
Bytes swapped(std::string const& text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(text[i + 1]));
        bytes.push_back(static_cast<unsigned char>(text[i]));
    }
    return bytes;
}

TEST(PartNumbers, OfTheEngineStandInItsStartLines) {
    const PartNumbers numbers = after(engineLines);
    EXPECT_EQ("064-1111-001A", numbers.papBootXpn);
    EXPECT_EQ("064-2222-002B", numbers.pspBootXpn);
    EXPECT_EQ("064-3333-003C", numbers.fpgaXpn);
    EXPECT_EQ("064-4444-004DE", numbers.bslXpn);
    EXPECT_TRUE(numbers.versionComplete);
}

TEST(PartNumbers, AreCompleteInAnyOrderAndNotBeforeTheFourth) {
    for (std::size_t missing = 0; missing < engineLines.size(); ++missing) {
        auto lines = engineLines;
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(missing));
        PartNumbers numbers = after(lines);
        EXPECT_FALSE(numbers.versionComplete) << missing;
        EXPECT_EQ(nullptr, numbers.makeOutput(1.0)) << missing;
        numbers.takeEngineLine(engineLines[missing]);
        EXPECT_TRUE(numbers.versionComplete) << missing;
        EXPECT_NE(nullptr, numbers.makeOutput(1.0)) << missing;
    }
}

TEST(PartNumbers, AreCutAtSixteenCharacters) {
    EXPECT_EQ("0123456789ABCDEF", after({"GPS FPGA_XPN: 0123456789ABCDEFGH"}).fpgaXpn);
    EXPECT_EQ("0123456789ABCDEF", after({"GPS FPGA_XPN: 0123456789ABCDEF"}).fpgaXpn);
    EXPECT_EQ("0", after({"GPS FPGA_XPN: 0"}).fpgaXpn);
    EXPECT_EQ("  7 ", after({"GPS FPGA_XPN:   7 "}).fpgaXpn) << "as it stands behind the mark";
}

TEST(PartNumbers, AreTakenFromLinesThatBeginWithGpsOnly) {
    for (std::string const line :
         {"", "GPS", "GP", "gps FPGA_XPN: 1", " GPS FPGA_XPN: 1", "FPGA_XPN: 1", "GPS FPGA_XPN:1",
          "GPS FPGA_XPN 1", "GPS FPGA_xpn: 1", "GPS OTHER_XPN: 1", "GPS FPGA XPN: 1"}) {
        const PartNumbers numbers = after({line});
        EXPECT_EQ("", numbers.papBootXpn + numbers.pspBootXpn + numbers.fpgaXpn + numbers.bslXpn)
            << line;
    }
    EXPECT_EQ("1", after({"GPSFPGA_XPN: 1"}).fpgaXpn);
    EXPECT_EQ("1", after({"GPS XPN: 1 FPGA_XPN"}).fpgaXpn.substr(0, 1)) << "the key may follow";
}

TEST(PartNumbers, BelongToTheFirstKeyOfTheListThatALineHolds) {
    const PartNumbers numbers = after({"GPS BSL_XPN FPGA_XPN PSP_Boot_XPN PAP_Boot_XPN: 1",
                                       "GPS BSL_XPN FPGA_XPN PSP_Boot_XPN: 2",
                                       "GPS BSL_XPN FPGA_XPN: 3", "GPS BSL_XPN: 4"});
    EXPECT_EQ("1", numbers.papBootXpn);
    EXPECT_EQ("2", numbers.pspBootXpn);
    EXPECT_EQ("3", numbers.fpgaXpn);
    EXPECT_EQ("4", numbers.bslXpn);
}

TEST(PartNumbers, StandBehindTheFirstMarkOfALine) {
    EXPECT_EQ("1 BSL_XPN: 2", after({"GPS FPGA_XPN: 1 BSL_XPN: 2"}).fpgaXpn);
}

TEST(PartNumbers, AreIncompleteWithAnEmptyOne) {
    auto lines = engineLines;
    lines[1] = "GPS PSP_Boot_XPN: ";
    PartNumbers numbers = after(lines);
    EXPECT_FALSE(numbers.versionComplete);
    numbers.takeEngineLine("GPS FPGA_XPN: ");
    EXPECT_EQ("", numbers.fpgaXpn) << "an empty one replaces one that was there";
    numbers.takeEngineLine(engineLines[1]);
    EXPECT_FALSE(numbers.versionComplete);
    numbers.takeEngineLine(engineLines[2]);
    EXPECT_TRUE(numbers.versionComplete);
}

TEST(PartNumbers, ChangeNoMoreOnceTheyAreComplete) {
    PartNumbers numbers = after(engineLines);
    numbers.takeEngineLine("GPS FPGA_XPN: 9");
    numbers.takeEngineLine("GPS BSL_XPN: ");
    EXPECT_EQ("064-3333-003C", numbers.fpgaXpn);
    EXPECT_EQ("064-4444-004DE", numbers.bslXpn);
    EXPECT_TRUE(numbers.versionComplete);
}

PartNumbers afterAnswer(char const* text) {
    VersionStatus versions;
    versions.decodeResponse(text);
    PartNumbers numbers;
    numbers.takePntdVersions(versions);
    return numbers;
}

TEST(PartNumbers, OfThePntDeviceAreFilledUpWithBlanks) {
    EXPECT_FALSE(PartNumbers().knowsPntdVersions());
    const PartNumbers numbers = afterAnswer("PARTNUMBERS,SW1:1.2,FW1:3,HWSN1:SN 0123456789AB");
    EXPECT_TRUE(numbers.knowsPntdVersions());
    EXPECT_EQ("1.2             ", numbers.pntdSoftware);
    EXPECT_EQ("3               ", numbers.pntdFirmware);
    EXPECT_EQ("SN 0123456789AB ", numbers.pntdSerialNumber);
}

TEST(PartNumbers, OfThePntDeviceAreCutAtSixteenCharacters) {
    const std::string huge(100'000, 'X');
    const PartNumbers numbers = afterAnswer(("SW1:0123456789ABCDEFGH,FW1:" + huge).c_str());
    EXPECT_EQ("0123456789ABCDEF", numbers.pntdSoftware);
    EXPECT_EQ(std::string(16, 'X'), numbers.pntdFirmware);
}

TEST(PartNumbers, OfThePntDeviceAreBlankWhereTheAnswerLeavesThemOut) {
    const PartNumbers numbers = afterAnswer("PARTNUMBERS");
    EXPECT_TRUE(numbers.knowsPntdVersions());
    for (auto const& number :
         {numbers.pntdSoftware, numbers.pntdFirmware, numbers.pntdSerialNumber}) {
        EXPECT_EQ(std::string(16, ' '), number);
    }
}

TEST(PartNumbers, MayHoldAnyBytes) {
    std::string line("GPS FPGA_XPN: a\0b\xFF\x01", 19);
    EXPECT_EQ(std::string("a\0b\xFF\x01", 5), after({line}).fpgaXpn);
    line.assign(100'000, 'X');
    EXPECT_EQ("", after({"GPS" + line}).fpgaXpn);
    EXPECT_EQ(std::string(16, 'X'), after({"GPS FPGA_XPN: " + line}).fpgaXpn);
}

TEST(PartNumbers, StartWithWhatIsKnownOfASystemThatHasToldNothing) {
    const auto output = after(engineLines).makeOutput(1.0);
    ASSERT_NE(nullptr, output);
    EXPECT_EQ((Bytes{0xFF, 0x81, 0xCD, 0x3A, 0x70, 0x00, 0x00, 0x80, 0x00, 0x00}),
              headerOf(*output));
    Bytes expected = untouchedBut(224, {{0, {0x80, 0x40, 0, 0, 0, 0, 0, 0}},
                                        {8, swapped("ACQUIRING     ")},
                                        {22, swapped("              ")},
                                        {36, swapped("              ")},
                                        {50, swapped("00000         ")},
                                        {64, swapped("064-3333-003C   ")},
                                        {80, swapped("064-1111-001A   ")},
                                        {96, swapped("064-2222-002B   ")},
                                        {112, swapped("064-4444-004DE  ")},
                                        {128, swapped("                ")},
                                        {144, swapped("                ")},
                                        {160, swapped("                ")},
                                        {176, Bytes(48)}});
    EXPECT_EQ(expected, dataOf(*output));
}

TEST(PartNumbers, AreCutAtTheWidthOfTheirFields) {
    PartNumbers numbers = after(engineLines);
    numbers.systemBuildReported = "12345678901234567";
    numbers.vhdlPartNumber = "abcdefghijklmnopq";
    numbers.bspPartNumber = "ABCDEFGHIJKLMNOPQ";
    numbers.appPartNumber = "zyxwvutsrqponmlkj";
    numbers.pntdSoftware = "SW-5678901234567";
    numbers.pntdFirmware = "FW-5678901234567";
    numbers.pntdSerialNumber = "SN-5678901234567890";
    const Bytes data = dataOf(*numbers.makeOutput(583218.5));
    const auto part = [&data](std::ptrdiff_t offset, std::ptrdiff_t length) {
        return Bytes(data.begin() + offset, data.begin() + offset + length);
    };
    EXPECT_EQ((Bytes{0x0E, 0x4A, 0x28, 0x63, 0, 0, 0, 0}), part(0, 8));
    EXPECT_EQ(swapped("12345678901234"), part(8, 14));
    EXPECT_EQ(swapped("abcdefghijklmn"), part(22, 14));
    EXPECT_EQ(swapped("ABCDEFGHIJKLMN"), part(36, 14));
    EXPECT_EQ(swapped("zyxwvutsrqponm"), part(50, 14));
    EXPECT_EQ(swapped("SW-5678901234567"), part(128, 16));
    EXPECT_EQ(swapped("FW-5678901234567"), part(144, 16));
    EXPECT_EQ(swapped("SN-5678901234567"), part(160, 16));
}

}  // namespace
