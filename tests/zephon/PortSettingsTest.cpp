// What commands say of ports: which fields are good, what is stored, answered and sent.

#include <cstdint>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "platform/StringUtils.h"
#include "zephon/PortSettings.h"

namespace {

using Words = std::vector<std::uint16_t>;

/// Texts that stand in no table.
Fields const strangeTexts = {"",
                             " ",
                             "0",
                             "1",
                             "-1",
                             "COM",
                             "COM0",
                             "COM4",
                             "COM11",
                             "com1",
                             " COM1",
                             "COM1 ",
                             "none",
                             "NONE",
                             "odd",
                             "ON",
                             "1PPS",
                             "1PPS  UTC",
                             "10PPS UTC",
                             "153d",
                             "153",
                             "nmea",
                             "gps",
                             "\xC3\xA9",
                             "\xFF\xFE",
                             std::string("COM1\0", 5),
                             std::string("On\0", 3),
                             std::string(100'000, 'A'),
                             std::string(100'000, '9')};

Fields split(std::string const& text) {
    return StringUtils::split(text, ',');
}

/// The text of the std::invalid_argument that the call raises.
template <typename Call>
std::string errorOf(Call call) {
    try {
        call();
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    ADD_FAILURE() << "nothing raised";
    return {};
}

/// The data words of a message, checked against those given by their place; all others are 0.
void expectWords(GssipMessage const& message, std::size_t count,
                 std::map<std::size_t, std::uint16_t> const& expected) {
    Words words(count);
    for (auto const& [place, word] : expected) {
        words.at(place) = word;
    }
    ASSERT_EQ(count, message.wordCount);
    EXPECT_EQ(words, Words(message.data, message.data + count));
}

// ---- The tables ---------------------------------------------------------------------------

TEST(PortSettings, PortsOf5331) {
    EXPECT_EQ(1, static_cast<int>(to_e5331_Port("COM1")));
    EXPECT_EQ(2, static_cast<int>(to_e5331_Port("COM2")));
    EXPECT_EQ(3, static_cast<int>(to_e5331_Port("COM3")));
    for (auto const& text : strangeTexts) {
        EXPECT_EQ("Invalid Serial Port : " + std::string(text.c_str()),
                  errorOf([&] { to_e5331_Port(text); }));
    }
}

TEST(PortSettings, ParitiesOf5331) {
    EXPECT_EQ(0, static_cast<int>(to_e5331_SerialParity("None")));
    EXPECT_EQ(1, static_cast<int>(to_e5331_SerialParity("Odd")));
    EXPECT_EQ(2, static_cast<int>(to_e5331_SerialParity("Even")));
    for (auto const& text : strangeTexts) {
        EXPECT_EQ("Invalid Serial Parity : " + std::string(text.c_str()),
                  errorOf([&] { to_e5331_SerialParity(text); }));
    }
}

TEST(PortSettings, PulsesOf5331) {
    EXPECT_EQ(0, static_cast<int>(to_e5331_Pulse("Off")));
    EXPECT_EQ(1, static_cast<int>(to_e5331_Pulse("1PPS UTC")));
    EXPECT_EQ(2, static_cast<int>(to_e5331_Pulse("1PPS T-Mark")));
    EXPECT_EQ(3, static_cast<int>(to_e5331_Pulse("10 PPS UTC")));
    for (auto const& text : strangeTexts) {
        EXPECT_EQ("Invalid Pulse : " + std::string(text.c_str()),
                  errorOf([&] { to_e5331_Pulse(text); }));
    }
}

TEST(PortSettings, ProtocolsOf5331) {
    EXPECT_EQ(0, static_cast<int>(to_e5331_SerialProtocol("153D")));
    EXPECT_EQ(2, static_cast<int>(to_e5331_SerialProtocol("NMEA")));
    for (auto const& text : strangeTexts) {
        EXPECT_EQ("Invalid Serial Protocol : " + std::string(text.c_str()),
                  errorOf([&] { to_e5331_SerialProtocol(text); }));
    }
}

std::vector<std::pair<long, int>> const rates = {
    {300, 1},    {600, 2},   {1200, 3},    {2400, 4},    {4800, 5},    {9600, 0},   {19200, 6},
    {38400, 10}, {76800, 7}, {115200, 11}, {230400, 12}, {460800, 13}, {921600, 14}};

TEST(PortSettings, RatesOf5331) {
    for (auto const& [rate, code] : rates) {
        EXPECT_EQ(code, static_cast<int>(to_e5331_SerialBaud(rate)));
    }
    for (const long rate :
         {0L, 1L, 110L, 9599L, 9601L, 14400L, 57600L, 921601L, -1L, -9600L, 2147483647L,
          -2147483648L, std::numeric_limits<long>::max(), std::numeric_limits<long>::min()}) {
        EXPECT_EQ("Invalid Serial Baud Rate : " + std::to_string(rate),
                  errorOf([&] { to_e5331_SerialBaud(rate); }));
    }
}

TEST(PortSettings, ARateThatOnlyItsLowBitsMakeGoodIsRefused) {
    if constexpr (sizeof(long) > 4) {
        constexpr long rate = (1L << 32) + 19200;
        EXPECT_EQ("Invalid Serial Baud Rate : 4294986496",
                  errorOf([] { to_e5331_SerialBaud(rate); }));
    }
}

TEST(PortSettings, PortsOf30001AreBitsAndUnknownOnesTheFirst) {
    EXPECT_EQ(1, to_e30001ComSelect("COM1"));
    EXPECT_EQ(2, to_e30001ComSelect("COM2"));
    EXPECT_EQ(4, to_e30001ComSelect("COM3"));
    for (auto const& text : strangeTexts) {
        EXPECT_EQ(1, to_e30001ComSelect(text));
    }
}

TEST(PortSettings, PortsOf5000AreNumbersAndUnknownOnesTheFirst) {
    EXPECT_EQ(1, static_cast<int>(to_e5000_port("COM1")));
    EXPECT_EQ(2, static_cast<int>(to_e5000_port("COM2")));
    EXPECT_EQ(3, static_cast<int>(to_e5000_port("COM3")));
    for (auto const& text : strangeTexts) {
        EXPECT_EQ(1, static_cast<int>(to_e5000_port(text)));
    }
}

TEST(PortSettings, OfTheScenariosOf5000BothIsTakenInAnyCaseAndUnknownOnesAreTheFirst) {
    for (auto const& [text, code] : std::vector<std::pair<std::string, int>>{{"LNAV", 2},
                                                                             {"lnav", 2},
                                                                             {"MNAV", 3},
                                                                             {"mNaV", 2},
                                                                             {"mnav", 2},
                                                                             {"BOTH", 4},
                                                                             {"both", 4},
                                                                             {"Both", 4},
                                                                             {"BOTH ", 2},
                                                                             {" MNAV", 2},
                                                                             {"MNA", 2},
                                                                             {"MNAVBOTH", 2}}) {
        EXPECT_EQ(code, static_cast<int>(to_e5000_scenario(text))) << text;
    }
    for (auto const& text : strangeTexts) {
        EXPECT_EQ(2, static_cast<int>(to_e5000_scenario(text)));
    }
}

// ---- Which fields are good ----------------------------------------------------------------

Fields const goodPort = {"SET_ZEPHON_COM", "1",    "COM1", "9600", "None", "Off",
                         "9600",           "None", "Off",  "GPS"};

Fields with(Fields fields, std::size_t place, std::string const& text) {
    fields.at(place) = text;
    return fields;
}

TEST(ComFields, EveryTextOfTheTablesIsGoodInItsPlace) {
    const std::map<std::size_t, Fields> good = {
        {1, {"1", "2", "3", "4"}},    {2, {"COM1", "COM2", "COM3"}},
        {4, {"None", "Odd", "Even"}}, {5, {"Off", "1PPS UTC", "1PPS T-Mark", "10 PPS UTC"}},
        {7, {"None", "Odd", "Even"}}, {8, {"On", "Off"}},
        {9, {"GPS", "Meridane"}},
    };
    for (auto const& [place, texts] : good) {
        for (auto const& text : texts) {
            const auto check = checkComFields(with(goodPort, place, text));
            EXPECT_TRUE(check.valid) << place << text;
            EXPECT_EQ("", check.error);
        }
    }
    for (auto const& rate : rates) {
        EXPECT_TRUE(checkComFields(with(goodPort, 3, std::to_string(rate.first))).valid);
        EXPECT_TRUE(checkComFields(with(goodPort, 6, std::to_string(rate.first))).valid);
    }
}

TEST(ComFields, EveryOtherTextIsRefusedInEachPlace) {
    for (std::size_t place = 1; place < goodPort.size(); ++place) {
        for (auto const& text : strangeTexts) {
            if (place == 1 && text == "1") {
                continue;
            }
            EXPECT_FALSE(checkComFields(with(goodPort, place, text)).valid)
                << place << text.substr(0, 20);
        }
    }
}

TEST(ComFields, UnitsBeyondOneToFourAreRefused) {
    for (std::string const unit : {"0", "5", "9", "01", "+1", "1 ", " 1", "1x", "12", "-1"}) {
        const auto check = checkComFields(with(goodPort, 1, unit));
        EXPECT_FALSE(check.valid) << unit;
        EXPECT_EQ("", check.error);
    }
}

TEST(ComFields, ARateOf14400IsRefusedWithItsText) {
    for (const std::size_t place : {3U, 6U}) {
        const auto check = checkComFields(with(goodPort, place, "14400"));
        EXPECT_FALSE(check.valid);
        EXPECT_EQ("Invalid Serial Baud Rate : 14400", check.error);
    }
}

TEST(ComFields, ARateIsTheNumberThatTheTextBeginsWith) {
    for (std::string const text : {"9600 bit/s", " 9600", "+9600", "09600"}) {
        EXPECT_TRUE(checkComFields(with(goodPort, 3, text)).valid) << text;
        EXPECT_EQ(9600, toStoredPort(with(goodPort, 3, text)).transBaud);
    }
    for (std::string const text : {"", "x9600", "-9600", "0x2580", "99999999999999999999",
                                   "-99999999999999999999", "4294976896"}) {
        EXPECT_FALSE(checkComFields(with(goodPort, 3, text)).valid) << text;
    }
}

TEST(ComFields, FewerThanTenAreRefusedAndMoreAreNotLookedAt) {
    for (std::size_t size = 0; size < goodPort.size(); ++size) {
        EXPECT_FALSE(checkComFields({goodPort.begin(), goodPort.begin() + size}).valid);
    }
    Fields more = goodPort;
    more.resize(100'000, "surplus");
    EXPECT_TRUE(checkComFields(more).valid);
}

TEST(MessageOutFields, IdentifiersReachTo65535) {
    for (std::string const id : {"0", "1", "5040", "65535", "none", "007", "+5"}) {
        const auto check = checkMessageOutFields({"SET", "1", "COM1", "153D", id});
        EXPECT_TRUE(check.valid) << id;
        EXPECT_EQ("", check.error);
    }
    for (std::string const id :
         {"65536", "-1", "-65536", "", " ", "x", "None", "NONE", "GGA", "99999999999999999999",
          "-99999999999999999999", "4294967296", "18446744073709551616", "\xFF", "0x", "x10"}) {
        const auto check = checkMessageOutFields({"SET", "1", "COM1", "153D", id});
        EXPECT_EQ(id == "0x", check.valid) << id;  // begins with the number 0
        EXPECT_EQ(check.valid ? "" : "Invalid", check.error) << id;
    }
}

TEST(MessageOutFields, EachOfManyIsLookedAt) {
    Fields fields = {"SET", "4", "COM3", "153D"};
    fields.resize(50'000, "5040");
    EXPECT_TRUE(checkMessageOutFields(fields).valid);
    fields.back() = "65536";
    EXPECT_FALSE(checkMessageOutFields(fields).valid);
    fields.back() = "none";
    EXPECT_TRUE(checkMessageOutFields(fields).valid);
}

TEST(MessageOutFields, SentencesAreThoseOfTheTable) {
    for (std::string const sentence :
         {"DTM", "GBS", "GGA", "GLL", "GNS", "GRS", "GSA", "GST", "GSV", "HDT", "RMC", "VTG", "ZDA",
          "GPGGA", "GPZDA", "none"}) {
        EXPECT_TRUE(checkMessageOutFields({"SET", "1", "COM1", "NMEA", sentence}).valid);
    }
    for (auto const& sentence : {"gga", "GGA ", "GNGGA", "XYZ", "5040", "", "None"}) {
        const auto check = checkMessageOutFields({"SET", "1", "COM1", "NMEA", "GGA", sentence});
        EXPECT_FALSE(check.valid) << sentence;
        EXPECT_NE("", check.error) << sentence;
    }
}

TEST(MessageOutFields, FewerThanFiveAndOtherUnitsPortsAndModesAreRefused) {
    const Fields good = {"SET", "1", "COM1", "153D", "none"};
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_FALSE(checkMessageOutFields({good.begin(), good.begin() + size}).valid);
    }
    for (auto const& text : strangeTexts) {
        EXPECT_EQ(text == "1", checkMessageOutFields(with(good, 1, text)).valid);
        EXPECT_FALSE(checkMessageOutFields(with(good, 2, text)).valid);
        EXPECT_FALSE(checkMessageOutFields(with(good, 3, text)).valid);
    }
    EXPECT_EQ("Invalid Serial Port : COM4", checkMessageOutFields(with(good, 2, "COM4")).error);
    EXPECT_EQ("Invalid Serial Protocol : x", checkMessageOutFields(with(good, 3, "x")).error);
    EXPECT_FALSE(checkMessageOutFields(with(good, 1, "5")).valid);
}

// ---- What is stored and answered ----------------------------------------------------------

TEST(PortRows, ARowBecomesTheStoredValuesAndTheAnswer) {
    auto port = toStoredPort(
        split("SET_ZEPHON_COM,3,COM2,115200,Odd,1PPS T-Mark,300,Even,On,Meridane,surplus"));
    EXPECT_EQ(115200, port.transBaud);
    EXPECT_EQ("Odd", port.transParity);
    EXPECT_EQ("1PPS T-Mark", port.ppsOut);
    EXPECT_EQ(300, port.recBaud);
    EXPECT_EQ("Even", port.recParity);
    EXPECT_EQ("On", port.com2Redundant);
    EXPECT_EQ("Meridane", port.solutionSource);
    port.zephonNumber = 3;
    port.comPort = "COM2";
    EXPECT_EQ("CURRENT_ZEPHON_COM,3,COM2,115200,Odd,1PPS T-Mark,300,Even,On,Meridane",
              composeComRsp(port));
    EXPECT_EQ("CURRENT_ZEPHON_COM,0,,0,,,0,,,", composeComRsp({}));
}

TEST(PortRows, MessagesAreStoredWithCommasOrAsNone) {
    EXPECT_EQ("5040,none,5044",
              toStoredMessages(split("SET,1,COM1,153D,5040,none,5044")).messageConnects);
    EXPECT_EQ("none", toStoredMessages(split("SET,1,COM1,153D,none")).messageConnects);
    EXPECT_EQ("none", toStoredMessages(split("SET,1,COM1,NMEA")).messageConnects);
    EXPECT_EQ("none", toStoredMessages({"SET", "1", "COM1", "NMEA", ""}).messageConnects);
    EXPECT_EQ(
        "GGA,GLL,GSA,GSV,RMC,VTG,ZDA,HDT",
        toStoredMessages(split("SET,1,COM1,NMEA,GGA,GLL,GSA,GSV,RMC,VTG,ZDA,HDT")).messageConnects);
    EXPECT_EQ("NMEA", toStoredMessages(split("SET,1,COM1,NMEA,GGA")).mode);
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,4,COM3,NMEA,GGA,ZDA",
              composeMessageRsp({4, "COM3", "NMEA", "GGA,ZDA"}));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,0,,,", composeMessageRsp({}));
}

TEST(PortRows, OnlyWholeRowsOfTheirVerbsCount) {
    const std::string values = ",1,COM1,9600,None,Off,9600,None,Off";
    EXPECT_TRUE(isPortRow(split("SET_ZEPHON_COM" + values + ",GPS")));
    EXPECT_TRUE(isPortRow(split("CURRENT_ZEPHON_COM" + values + ",GPS")));
    EXPECT_FALSE(isPortRow(split("CURRENT_ZEPHON_COM" + values + ",")));
    EXPECT_FALSE(isPortRow(split("QUERY_ZEPHON_COM" + values + ",GPS")));
    EXPECT_FALSE(isPortRow({}));
    for (std::string const mode : {"153D", "NMEA"}) {
        EXPECT_TRUE(isMessageRow(split("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1," + mode + ",none")));
        EXPECT_TRUE(isMessageRow(split("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM1," + mode)));
        EXPECT_FALSE(isMessageRow(split("QUERY_ZEPHON_MESSAGE_OUTPUT,1,COM1," + mode)));
    }
    EXPECT_FALSE(isMessageRow(split("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1,nmea,none")));
    EXPECT_FALSE(isMessageRow(split("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1")));
    EXPECT_FALSE(isMessageRow({}));
}

TEST(PortRows, OnlyThisSpellingMakesCom2Redundant) {
    const std::string values = "CURRENT_ZEPHON_COM,1,COM1,9600,None,Off,9600,None,";
    EXPECT_TRUE(hasRedundantCom2(split(values + "On,GPS")));
    for (std::string const word : {"Off", "on", "ON", "On ", ""}) {
        EXPECT_FALSE(hasRedundantCom2(split(values + word + ",GPS")));
    }
    EXPECT_FALSE(hasRedundantCom2({}));
}

// ---- What is sent -------------------------------------------------------------------------

Fields const output153D = split("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM1,153D,none");
Fields const outputNmea = split("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM1,NMEA,GGA");

TEST(PortSetup, ARowOfCom1SetsBothDirectionsPulseAndRedundancy) {
    const auto message = makePortSetup(
        split("SET_ZEPHON_COM,1,COM1,115200,Odd,1PPS UTC,38400,Even,Off,GPS"), output153D);
    EXPECT_EQ(5331, message->msgId);
    EXPECT_EQ(0x9000, message->header[3]);
    expectWords(*message, 50,
                {{18, 0xC280}, {20, 1}, {22, 10}, {23, 2}, {25, 11}, {26, 1}, {45, 1}, {47, 1}});
}

TEST(PortSetup, ARedundantCom2IsTheAbsenceOfAFlag) {
    const auto message = makePortSetup(
        split("CURRENT_ZEPHON_COM,1,COM1,300,None,10 PPS UTC,600,None,On,GPS"), outputNmea);
    expectWords(*message, 50, {{18, 0xC280}, {20, 1}, {22, 2}, {24, 2}, {25, 1}, {45, 3}});
}

TEST(PortSetup, TheOtherPortsSayNothingOfRedundancy) {
    for (const std::uint16_t port : Words{2, 3}) {
        const auto message = makePortSetup(split("SET_ZEPHON_COM,4,COM" + std::to_string(port) +
                                                 ",9600,None,Off,921600,Odd,On,Meridane"),
                                           output153D);
        expectWords(*message, 50, {{18, 0xC200}, {20, port}, {22, 14}, {23, 1}});
    }
}

TEST(PortSetup, ValuesWithoutACodeAreRaised) {
    const std::string row = "CURRENT_ZEPHON_COM,1,COM1,9600,None,Off,9600,None,Off,GPS";
    EXPECT_EQ("Invalid Serial Port : COM9",
              errorOf([&] { makePortSetup(with(split(row), 2, "COM9"), output153D); }));
    EXPECT_EQ("Invalid Serial Baud Rate : 0",
              errorOf([&] { makePortSetup(with(split(row), 3, "0"), output153D); }));
    EXPECT_EQ("Invalid Serial Parity : ",
              errorOf([&] { makePortSetup(with(split(row), 4, ""), output153D); }));
    EXPECT_EQ("Invalid Pulse : x",
              errorOf([&] { makePortSetup(with(split(row), 5, "x"), output153D); }));
    EXPECT_EQ("Invalid Serial Baud Rate : ",
              errorOf([&] { makePortSetup(with(split(row), 6, ""), output153D); }));
    EXPECT_EQ("Invalid Serial Protocol : ", errorOf([&] { makePortSetup(split(row), {}); }));
    EXPECT_EQ("Invalid Serial Port : ", errorOf([&] { makePortSetup({}, {}); }));
}

Fields const storedPort = split("CURRENT_ZEPHON_COM,2,COM3,38400,Even,Off,300,Odd,Off,GPS");

TEST(OutputSetup, SentencesFillTheListAndTheRestIsNone) {
    const auto message =
        makeOutputSetup(split("SET_ZEPHON_MESSAGE_OUTPUT,2,COM3,NMEA,GGA,none,GPZDA"), storedPort);
    expectWords(*message, 50,
                {{18, 0x4000}, {20, 3}, {24, 2}, {25, 10}, {26, 2}, {37, 3}, {39, 13}});
}

TEST(OutputSetup, SevenSentencesHaveAPlaceAndTheEighthHasNone) {
    const auto message =
        makeOutputSetup(split("SET_ZEPHON_MESSAGE_OUTPUT,2,COM3,NMEA,DTM,GBS,GGA,GLL,GNS,GRS,GSA,"
                              "GST,GSV"),
                        storedPort);
    expectWords(*message, 50,
                {{18, 0x4000},
                 {20, 3},
                 {24, 2},
                 {25, 10},
                 {26, 2},
                 {37, 1},
                 {38, 2},
                 {39, 3},
                 {40, 4},
                 {41, 5},
                 {42, 6},
                 {43, 7}});
}

TEST(OutputSetup, AnEmptyListTellsSevenTimesNone) {
    const auto message =
        makeOutputSetup(split("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM3,NMEA,"), storedPort);
    expectWords(*message, 50, {{18, 0x4000}, {20, 3}, {24, 2}, {25, 10}, {26, 2}});
}

TEST(OutputSetup, Mode153DSetsTheLineOnly) {
    const auto message =
        makeOutputSetup(split("SET_ZEPHON_MESSAGE_OUTPUT,2,COM3,153D,5040"), storedPort);
    expectWords(*message, 50, {{18, 0x4000}, {20, 3}, {25, 10}, {26, 2}});
}

TEST(OutputSetup, ASentenceWithoutACodeAndALineThatIsNotStoredAreRaised) {
    EXPECT_THROW(
        makeOutputSetup(split("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM3,NMEA,ABC"), storedPort),
        std::out_of_range);
    EXPECT_EQ("Invalid Serial Baud Rate : ", errorOf([&] { makeOutputSetup(outputNmea, {}); }));
}

TEST(MessageConnects, EachMessageIsAnEntryWithItsPort) {
    const auto message =
        makeMessageConnects(split("SET_ZEPHON_MESSAGE_OUTPUT,1,COM3,153D,5040,65535,0"));
    EXPECT_EQ(30001, message->msgId);
    EXPECT_EQ(0x9000, message->header[3]);
    expectWords(*message, 85,
                {{0, 2}, {2, 4}, {3, 4}, {4, 3}, {5, 5040}, {6, 4}, {7, 65535}, {8, 4}, {10, 4}});
}

TEST(MessageConnects, NoneIsTheEmptyListAndIsPassedOverBesideNumbers) {
    for (std::string const list : {"none", "none,5040", "", "none,none"}) {
        const auto message =
            makeMessageConnects(split("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM2,153D," + list));
        expectWords(*message, 85, {{0, 2}, {2, 2}, {3, 2}});
    }
    const auto message = makeMessageConnects(split("SET,1,COM1,153D,5040,none,5044"));
    expectWords(*message, 85,
                {{0, 2}, {2, 1}, {3, 1}, {4, 2}, {5, 5040}, {6, 1}, {7, 5044}, {8, 1}});
}

TEST(MessageConnects, FortyEntriesHaveAPlace) {
    Fields row = {"SET", "1", "COM1", "153D"};
    row.resize(4 + 41, "7");
    std::map<std::size_t, std::uint16_t> expected = {{0, 2}, {2, 1}, {3, 1}, {4, 40}};
    for (std::size_t entry = 0; entry < 40; ++entry) {
        expected[5 + 2 * entry] = 7;
        expected[6 + 2 * entry] = 1;
    }
    expectWords(*makeMessageConnects(row), 85, expected);
}

TEST(MessageConnects, AShortRowSendsTheEmptyListAndAStrangeIdentifierIsRaised) {
    expectWords(*makeMessageConnects({}), 85, {{0, 2}, {2, 1}, {3, 1}});
    for (std::string const id : {"65536", "-1", "x", ""}) {
        EXPECT_THROW(makeMessageConnects({"CURRENT", "1", "COM1", "153D", "5040", id}),
                     std::out_of_range)
            << id;
    }
}

}  // namespace
