#include <map>

#include <gmock/gmock.h>

#include "bench/UnitSettings.h"

namespace bench {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Words = std::map<std::size_t, std::uint16_t>;

/// A frame with zeroes but for these data words.
UnitFrame makeFrame(std::uint16_t id, std::size_t count, const Words& words) {
    UnitFrame frame{id, 0x9000, std::vector<std::uint16_t>(count)};
    for (const auto& [place, word] : words) {
        frame.data.at(place) = word;
    }
    return frame;
}
UnitFrame portSetup(const Words& words) {
    return makeFrame(5331, 50, words);
}
UnitFrame messages(const Words& words) {
    return makeFrame(30001, 85, words);
}
UnitFrame hotStart(const Words& words) {
    return makeFrame(5000, 10, words);
}
UnitFrame configuration(std::uint16_t kind, std::uint16_t content) {
    return makeFrame(27560, 9, {{4, kind}, {5, content}});
}

std::string textOf(const UnitFrame& frame) {
    std::string defect = "no defect told";
    const auto setting = decodeSetting(frame, &defect);
    return setting ? toText(*setting) : "! " + defect;
}

TEST(UnitSetting, APortSetupSaysAllOfAPort) {
    // COM1: transmit 115200 odd NMEA, receive 9600 even, 10 PPS, not redundant.
    EXPECT_EQ(textOf(portSetup({{18, 0xC280},
                                {20, 1},
                                {22, 0},
                                {23, 2},
                                {24, 2},
                                {25, 11},
                                {26, 1},
                                {45, 3},
                                {47, 1}})),
              "COM1 transmit 115200 Odd NMEA, receive 9600 Even 153D, pulse 10 PPS UTC, redundant "
              "Off");
    EXPECT_EQ(textOf(portSetup({{18, 0x0080}, {20, 1}})), "COM1 redundant On");
    EXPECT_EQ(textOf(portSetup({{18, 0x0200}, {20, 2}, {45, 2}})), "COM2 pulse 1PPS T-Mark");
}

TEST(UnitSetting, EachRateHasItsCode) {
    const std::map<std::uint16_t, unsigned> rates{
        {0, 9600},  {1, 300},    {2, 600},     {3, 1200},    {4, 2400},    {5, 4800},   {6, 19200},
        {7, 76800}, {10, 38400}, {11, 115200}, {12, 230400}, {13, 460800}, {14, 921600}};
    for (const auto& [code, rate] : rates) {
        EXPECT_EQ(textOf(portSetup({{18, 0x8000}, {20, 3}, {22, code}})),
                  "COM3 receive " + std::to_string(rate) + " None 153D");
    }
    for (const std::uint16_t code : std::vector<std::uint16_t>{8, 9, 15, 65535}) {
        EXPECT_EQ(textOf(portSetup({{18, 0x8000}, {20, 3}, {22, code}})),
                  "! rate code " + std::to_string(code));
    }
}

TEST(UnitSetting, SentencesAreNamedUpToTheLast) {
    EXPECT_EQ(textOf(portSetup({{18, 0x4000}, {20, 3}, {24, 2}, {25, 6}, {37, 3}, {39, 13}})),
              "COM3 transmit 19200 None NMEA, sentences GGA,none,ZDA");
    const auto setting = decodeSetting(portSetup({{18, 0x4000}, {20, 3}, {24, 2}, {43, 1}}));
    ASSERT_TRUE(setting);
    EXPECT_THAT(std::get<PortSetup>(*setting).sentences,
                ElementsAre("none", "none", "none", "none", "none", "none", "DTM"));
    EXPECT_EQ(textOf(portSetup({{18, 0x4000}, {20, 3}, {24, 2}, {37, 14}})), "! sentence 14");
}

TEST(UnitSetting, APortSetupIsReadToTheLastBit) {
    EXPECT_EQ(textOf(makeFrame(5331, 49, {{18, 0x0080}, {20, 1}})),
              "! 49 data words in place of 50");
    EXPECT_EQ(textOf(portSetup({{18, 0x0081}, {20, 1}})), "! validity mask 129");
    EXPECT_EQ(textOf(portSetup({{18, 0x0080}, {20, 0}})), "! port 0");
    EXPECT_EQ(textOf(portSetup({{18, 0x0080}, {20, 15}})), "! port 15");
    EXPECT_EQ(textOf(portSetup({{18, 0x4000}, {20, 1}, {24, 1}})), "! protocol 1");
    EXPECT_EQ(textOf(portSetup({{18, 0x4000}, {20, 1}, {26, 3}})), "! parity 3");
    EXPECT_EQ(textOf(portSetup({{18, 0x0200}, {20, 1}, {45, 4}})), "! pulse 4");
    EXPECT_EQ(textOf(portSetup({{18, 0x0080}, {20, 1}, {47, 2}})), "! redundancy 2");
    EXPECT_EQ(textOf(portSetup({{18, 0x4000}, {20, 1}, {22, 6}})),
              "! parameters that are not marked");
    EXPECT_EQ(textOf(portSetup({{18, 0x4000}, {20, 1}, {45, 1}})), "! data word 45 is 1");
    EXPECT_EQ(textOf(portSetup({{18, 0x4000}, {20, 1}, {0, 7}})), "! data word 0 is 7");
}

TEST(UnitSetting, AMessageConnectNamesItsMessages) {
    EXPECT_EQ(
        textOf(messages({{0, 2}, {2, 1}, {3, 1}, {4, 2}, {5, 5040}, {6, 1}, {7, 65535}, {8, 1}})),
        "COM1 messages 5040,65535");
    EXPECT_EQ(textOf(messages({{0, 2}, {2, 2}, {3, 2}})), "COM2 messages none");
    EXPECT_EQ(textOf(messages({{0, 2}, {2, 4}, {3, 4}, {4, 1}, {6, 4}})), "COM3 messages 0");
}

TEST(UnitSetting, AMessageConnectIsReadToTheLastBit) {
    EXPECT_EQ(textOf(messages({{0, 1}, {2, 1}, {3, 1}})), "! operation 1");
    EXPECT_EQ(textOf(messages({{0, 2}, {1, 3}, {2, 1}, {3, 1}})), "! data word 1 is 3");
    EXPECT_EQ(textOf(messages({{0, 2}, {2, 3}, {3, 3}})), "! port selection 3");
    EXPECT_EQ(textOf(messages({{0, 2}, {2, 0x8001}, {3, 0x8001}})), "! port selection 32769");
    EXPECT_EQ(textOf(messages({{0, 2}, {2, 1}, {3, 2}})), "! two port selections that differ");
    EXPECT_EQ(textOf(messages({{0, 2}, {2, 1}, {3, 1}, {4, 41}})), "! number of messages 41");
    EXPECT_EQ(textOf(messages({{0, 2}, {2, 1}, {3, 1}, {4, 1}, {5, 9}, {6, 2}})),
              "! a message for another port");
    EXPECT_EQ(textOf(messages({{0, 2}, {2, 1}, {3, 1}, {5, 9}, {6, 1}})), "! data word 5 is 9");
}

TEST(UnitSetting, FortyMessagesAreTheMost) {
    Words words{{0, 2}, {2, 4}, {3, 4}, {4, 40}};
    for (std::uint16_t i = 0; i < 40; ++i) {
        words[5 + 2 * i] = i;
        words[6 + 2 * i] = 4;
    }
    const auto setting = decodeSetting(messages(words));
    ASSERT_TRUE(setting);
    EXPECT_EQ(std::get<MessageConnect>(*setting).messages.size(), 40U);
    EXPECT_EQ(std::get<MessageConnect>(*setting).messages.back(), 39U);
}

TEST(UnitSetting, AHotStartTellsPortAndType) {
    EXPECT_EQ(textOf(hotStart({{4, 0x2400}, {7, 2}, {9, 2}})), "COM2 hot start LNAV");
    EXPECT_EQ(textOf(hotStart({{4, 0x2400}, {7, 1}, {9, 3}})), "COM1 hot start MNAV");
    EXPECT_EQ(textOf(hotStart({{4, 0x2400}, {7, 3}, {9, 4}})), "COM3 hot start BOTH");
    EXPECT_EQ(textOf(hotStart({{4, 0x3400}, {7, 3}, {9, 4}})), "! transfer flags 13312");
    EXPECT_EQ(textOf(hotStart({{4, 0x2400}, {7, 4}, {9, 4}})), "! port 4");
    EXPECT_EQ(textOf(hotStart({{4, 0x2400}, {7, 3}, {9, 1}})), "! scenario 1");
    EXPECT_EQ(textOf(hotStart({{4, 0x2400}, {7, 3}, {9, 4}, {8, 1}})), "! data word 8 is 1");
}

TEST(UnitSetting, AConfigurationCommandIsOneOfThree) {
    EXPECT_EQ(textOf(configuration(1, 0)), "request");
    EXPECT_EQ(textOf(configuration(2, 0x0012)), "super user ZP2COM2");
    EXPECT_EQ(textOf(configuration(2, 0x0008)), "super user ZP0COM1");
    EXPECT_EQ(textOf(configuration(3, 0x081C)), "ZP4COM3 capabilities CORVANE");
    EXPECT_EQ(textOf(configuration(3, 0x0909)), "ZP1COM1 capabilities ZEPHON");
    EXPECT_EQ(textOf(configuration(0, 0)), "! command 0");
    EXPECT_EQ(textOf(configuration(4, 0)), "! command 4");
    EXPECT_EQ(textOf(configuration(1, 1)), "! request with a content of 1");
    EXPECT_EQ(textOf(configuration(2, 0x000D)), "! super user 13");
    EXPECT_EQ(textOf(configuration(2, 0x0112)), "! super user 274");
    EXPECT_EQ(textOf(configuration(2, 0x0032)), "! unit and port 50");
    EXPECT_EQ(textOf(configuration(3, 0x0808)), "! virtual unit 0");
    EXPECT_EQ(textOf(configuration(3, 0x0801)), "! port 0");
    EXPECT_EQ(textOf(configuration(3, 0x0A09)), "! capabilities 10");
}

TEST(UnitSetting, AnotherMessageIsNone) {
    EXPECT_EQ(textOf({5001, 0x9000, {}}), "! message 5001");
    EXPECT_FALSE(decodeSetting({5001, 0x9000, {}}));
}

class UnitSettingsTest : public testing::Test {
protected:
    void take(unsigned unit, const UnitFrame& frame, bool wrapped = true) {
        settings.take(unit, VirtualFrame{{frame, frame.encode(), {}}, wrapped});
    }
    void takeForAll(const UnitFrame& frame) {
        for (unsigned unit = 1; unit <= VirtualUnits::count; ++unit) {
            take(unit, frame, false);
        }
    }

    UnitSettings settings;
};

TEST_F(UnitSettingsTest, NothingIsToldAtFirst) {
    EXPECT_TRUE(settings.empty());
    EXPECT_THAT(settings.lines(), IsEmpty());
    EXPECT_FALSE(settings.port(1, 1).transmit);
}

TEST_F(UnitSettingsTest, TheLastMessageOfAPortCounts) {
    take(2, portSetup({{18, 0xC280}, {20, 1}, {22, 6}, {25, 6}, {45, 1}, {47, 1}}));
    take(2, portSetup({{18, 0x4000}, {20, 1}, {24, 0}, {25, 11}}));
    take(2, messages({{0, 2}, {2, 1}, {3, 1}, {4, 1}, {5, 5040}, {6, 1}}));
    take(2, messages({{0, 2}, {2, 1}, {3, 1}, {4, 1}, {5, 5044}, {6, 1}}));
    takeForAll(configuration(3, 0x080A));
    takeForAll(configuration(3, 0x090A));
    takeForAll(configuration(2, 0x000A));
    take(2, hotStart({{4, 0x2400}, {7, 1}, {9, 4}}));
    EXPECT_THAT(settings.lines(),
                ElementsAre("ZP2COM1 transmit 115200 None 153D, receive 19200 None 153D, pulse "
                            "1PPS UTC, redundant Off, messages 5044, capabilities ZEPHON, hot "
                            "start BOTH",
                            "super user ZP2COM1"));
    EXPECT_THAT(settings.defects(), IsEmpty());
}

TEST_F(UnitSettingsTest, SentencesHoldUntilThePortSpeaksAnotherProtocol) {
    take(1, portSetup({{18, 0x4000}, {20, 3}, {24, 2}, {37, 3}}));
    EXPECT_EQ(settings.port(1, 3).sentences.value_or(std::vector<std::string>()).at(0), "GGA");
    take(1, portSetup({{18, 0xC200}, {20, 3}, {24, 2}}));
    EXPECT_EQ(settings.port(1, 3).sentences.value_or(std::vector<std::string>()).at(0), "GGA");
    take(1, portSetup({{18, 0x4000}, {20, 3}, {24, 2}}));
    EXPECT_THAT(settings.lines(), ElementsAre("ZP1COM3 transmit 9600 None NMEA, receive 9600 None "
                                              "153D, pulse Off, sentences none"));
    take(1, portSetup({{18, 0x4000}, {20, 3}}));
    EXPECT_FALSE(settings.port(1, 3).sentences);
}

TEST_F(UnitSettingsTest, UnitsAndPortsAreKeptApart) {
    take(1, portSetup({{18, 0x0080}, {20, 1}}));
    take(4, portSetup({{18, 0x0200}, {20, 3}, {45, 3}}));
    takeForAll(configuration(3, 0x0913));
    EXPECT_THAT(settings.lines(), ElementsAre("ZP1COM1 redundant On", "ZP3COM2 capabilities ZEPHON",
                                              "ZP4COM3 pulse 10 PPS UTC"));
}

TEST_F(UnitSettingsTest, AMessageInTheWrongFormIsNoSetting) {
    take(1, portSetup({{18, 0x0080}, {20, 1}}), false);
    take(1, messages({{0, 2}, {2, 1}, {3, 1}}), false);
    take(1, hotStart({{4, 0x2400}, {7, 1}, {9, 4}}), false);
    take(1, configuration(2, 0x000A), true);
    take(1, {5001, 0x9000, {}});
    EXPECT_TRUE(settings.empty());
}

TEST_F(UnitSettingsTest, WhatCannotBeReadIsTold) {
    take(3, portSetup({{18, 0x0080}, {20, 9}}));
    EXPECT_FALSE(settings.empty());
    EXPECT_THAT(settings.lines(), ElementsAre("virtual unit 3, message 5331: port 9"));
    for (int i = 0; i < 100; ++i) {
        take(3, messages({}));
    }
    EXPECT_EQ(settings.defects().size(), 20U);
}

TEST_F(UnitSettingsTest, TheLogsOfAllUnitsAreRead) {
    VirtualUnits units({[](const UnitFrame&) {}, [](const UnitFrame&, VirtualUnits::Duration) {}});
    const auto arrive = [&units](const UnitFrame& frame) {
        units.take({frame, frame.encode(), std::chrono::steady_clock::now()});
    };
    arrive(wrap(toVirtualUnit, 3, portSetup({{18, 0x0080}, {20, 1}})));
    arrive(wrap(toVirtualUnit, 1, messages({{0, 2}, {2, 2}, {3, 2}})));
    arrive(configuration(3, 0x0913));
    EXPECT_THAT(UnitSettings::of(units).lines(),
                ElementsAre("ZP1COM2 messages none", "ZP3COM1 redundant On",
                            "ZP3COM2 capabilities ZEPHON"));
}

}  // namespace
}  // namespace bench
