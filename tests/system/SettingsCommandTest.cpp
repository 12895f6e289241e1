// Commands that set and query: the answer, the settings file, and what the unit gets.

#include <tinyxml2.h>

#include "bench/Patience.h"
#include "tests/system/SettingsFixture.h"

namespace {

class SettingsCommand : public SettingsFixture {
protected:
    /// Starts, and passes over what the start sends.
    void startQuietly() {
        ASSERT_NO_FATAL_FAILURE(startServer());
        takeSent();
    }

    /// A value of the settings file; "nothing" when there is none.
    std::string stored(std::string const& container, std::string const& key) {
        tinyxml2::XMLDocument document;
        if (document.LoadFile(settingsFile().c_str()) != tinyxml2::XML_SUCCESS) {
            return "no file";
        }
        for (auto const* entry = document.RootElement()->FirstChildElement(); entry != nullptr;
             entry = entry->NextSiblingElement()) {
            if (entry->FirstChildElement("Name")->GetText() != container) {
                continue;
            }
            auto const* const value =
                entry->FirstChildElement("Parameters")->FirstChildElement(key.c_str());
            return value != nullptr && value->GetText() != nullptr ? value->GetText() : "nothing";
        }
        return "nothing";
    }

    /// Expects this answer, and that neither the file nor the unit change.
    void expectNoChange(std::string const& command, std::string const& answer) {
        const std::string before = settingsText();
        EXPECT_EQ(answer, answerTo(command)) << command;
        EXPECT_TRUE(before == settingsText()) << command;
        EXPECT_EQ(Texts(), takeSent()) << command;
    }
};

const std::string port1 = "CURRENT_ZEPHON_COM,1,COM1,19200,None,1PPS UTC,19200,None,Off,Meridane";
const std::string setPort = "SET_ZEPHON_COM,1,COM1,115200,Odd,10 PPS UTC,300,Even,Off,GPS";

TEST_F(SettingsCommand, APortIsSetInTheFileAndInTheUnitAndAnswered) {
    startQuietly();
    EXPECT_EQ(port1, answerTo("QUERY_ZEPHON_COM,1,COM1"));
    EXPECT_EQ("CURRENT_ZEPHON_COM,1,COM1,115200,Odd,10 PPS UTC,300,Even,Off,GPS",
              answerTo(setPort));
    EXPECT_EQ((Texts{"ZP1 COM1 transmit 115200 Odd 153D, receive 300 Even 153D, pulse 10 PPS UTC, "
                     "redundant Off"}),
              takeSent());
    EXPECT_EQ("115200", stored("ZP1COM1", "transBaud"));
    EXPECT_EQ("Odd", stored("ZP1COM1", "transParity"));
    EXPECT_EQ("10 PPS UTC", stored("ZP1COM1", "ppsOut"));
    EXPECT_EQ("300", stored("ZP1COM1", "recBaud"));
    EXPECT_EQ("Even", stored("ZP1COM1", "recParity"));
    EXPECT_EQ("Off", stored("ZP1COM1", "COM2_Redundant"));
    EXPECT_EQ("GPS", stored("ZP1COM1", "solutionSource"));
    EXPECT_EQ("19200", stored("ZP1COM2", "transBaud"));
    EXPECT_EQ("19200", stored("ZP2COM1", "transBaud"));
}

TEST_F(SettingsCommand, APortOfAnyVirtualUnitTakesTheProtocolThatIsStored) {
    startQuietly();
    EXPECT_EQ("CURRENT_ZEPHON_COM,4,COM3,921600,Even,1PPS T-Mark,600,Odd,Off,Meridane",
              answerTo("SET_ZEPHON_COM,4,COM3,921600,Even,1PPS T-Mark,600,Odd,Off,Meridane"));
    EXPECT_EQ(
        (Texts{"ZP4 COM3 transmit 921600 Even NMEA, receive 600 Odd 153D, pulse 1PPS T-Mark"}),
        takeSent());
}

TEST_F(SettingsCommand, MessagesOfAPortAreConnected) {
    startQuietly();
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM2,153D,8504,0,65535",
              answerTo("SET_ZEPHON_MESSAGE_OUTPUT,2,COM2,153D,8504,0,65535"));
    EXPECT_EQ((Texts{"ZP2 COM2 transmit 19200 None 153D", "ZP2 COM2 messages 8504,0,65535"}),
              takeSent());
    EXPECT_EQ("8504,0,65535", stored("ZP2COM2", "messageConnects"));
    EXPECT_EQ("153D", stored("ZP2COM2", "mode"));
}

TEST_F(SettingsCommand, NoneIsTheEmptyListOfMessages) {
    startQuietly();
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM1,153D,none",
              answerTo("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1,153D,none"));
    EXPECT_EQ((Texts{"ZP1 COM1 transmit 19200 None 153D", "ZP1 COM1 messages none"}), takeSent());
    EXPECT_EQ("none", stored("ZP1COM1", "messageConnects"));
}

TEST_F(SettingsCommand, NoneBesideNumbersIsStoredAndNotSent) {
    startQuietly();
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM1,153D,5040,none,5044",
              answerTo("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1,153D,5040,none,5044"));
    EXPECT_EQ((Texts{"ZP1 COM1 transmit 19200 None 153D", "ZP1 COM1 messages 5040,5044"}),
              takeSent());
    EXPECT_EQ("5040,none,5044", stored("ZP1COM1", "messageConnects"));
}

TEST_F(SettingsCommand, OfMoreThanSevenSentencesAllAreStoredAndSevenSent) {
    startQuietly();
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM1,NMEA,GGA,RMC",
              answerTo("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1,NMEA,GGA,RMC"));
    EXPECT_EQ((Texts{"ZP1 COM1 transmit 19200 None NMEA, sentences GGA,RMC"}), takeSent());
    const std::string nine = "DTM,GBS,GGA,GLL,GNS,GRS,GSA,GST,GSV";
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM1,NMEA," + nine,
              answerTo("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1,NMEA," + nine));
    EXPECT_EQ((Texts{"ZP1 COM1 transmit 19200 None NMEA, sentences DTM,GBS,GGA,GLL,GNS,GRS,GSA"}),
              takeSent());
    EXPECT_EQ(nine, stored("ZP1COM1", "messageConnects"));
    EXPECT_EQ("NMEA", stored("ZP1COM1", "mode"));
}

TEST_F(SettingsCommand, Com2OfARedundantCom1ChangesTheFileOnly) {
    bench.configuration().set("ZP1COM1", "COM2_Redundant", "On");
    startQuietly();
    EXPECT_EQ("CURRENT_ZEPHON_COM,1,COM2,600,None,Off,600,None,Off,GPS",
              answerTo("SET_ZEPHON_COM,1,COM2,600,None,Off,600,None,Off,GPS"));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM2,153D,5040",
              answerTo("SET_ZEPHON_MESSAGE_OUTPUT,1,COM2,153D,5040"));
    EXPECT_EQ(Texts(), takeSent());
    EXPECT_EQ("600", stored("ZP1COM2", "transBaud"));
    EXPECT_EQ("5040", stored("ZP1COM2", "messageConnects"));
}

TEST_F(SettingsCommand, RedundantInOtherLettersKeepsCom2ToBeSet) {
    bench.configuration().set("ZP1COM1", "COM2_Redundant", "on");
    startQuietly();
    answerTo("SET_ZEPHON_COM,1,COM2,600,None,Off,600,None,Off,GPS");
    EXPECT_EQ((Texts{"ZP1 COM2 transmit 600 None 153D, receive 600 None 153D, pulse Off"}),
              takeSent());
}

TEST_F(SettingsCommand, ARedundantCom1IsTold) {
    startQuietly();
    answerTo("SET_ZEPHON_COM,3,COM1,600,None,Off,600,None,On,GPS");
    EXPECT_EQ((Texts{"ZP3 COM1 transmit 600 None 153D, receive 600 None 153D, pulse Off, redundant "
                     "On"}),
              takeSent());
}

TEST_F(SettingsCommand, ABadPortIsRefusedAndChangesNothing) {
    startQuietly();
    const std::string rest = ",COM1,115200,Odd,10 PPS UTC,300,Even,Off,GPS";
    for (std::string const unit : {"0", "5", "", "-1", "10", "1x", " 1", "9999999999"}) {
        expectNoChange("SET_ZEPHON_COM," + unit + rest, "SET_ZEPHON_COM_NACK");
    }
    const std::vector<std::string> good{"SET_ZEPHON_COM", "1",   "COM1", "115200", "Odd",
                                        "10 PPS UTC",     "300", "Even", "Off",    "GPS"};
    const std::vector<std::pair<std::size_t, std::string>> bad{
        {2, "COM4"},    {2, "com1"}, {2, ""},    {3, "14400"}, {3, "none"},
        {3, "-300"},    {3, ""},     {4, "odd"}, {4, "Mark"},  {5, "1PPS"},
        {5, "off"},     {6, "0"},    {6, "x"},   {7, ""},      {7, "Space"},
        {8, "on"},      {8, "Yes"},  {9, "gps"}, {9, ""},      {3, std::string(5000, '9')},
        {4, "\xC3\xB6"}};
    for (auto const& [place, value] : bad) {
        auto fields = good;
        fields.at(place) = value;
        std::string text;
        for (auto const& field : fields) {
            text += (text.empty() ? "" : ",") + field;
        }
        expectNoChange(text, "SET_ZEPHON_COM_NACK");
    }
    expectNoChange("SET_ZEPHON_COM", "SET_ZEPHON_COM_NACK");
    expectNoChange("SET_ZEPHON_COM,1,COM1,115200,Odd,10 PPS UTC,300,Even,Off",
                   "SET_ZEPHON_COM_NACK");
}

TEST_F(SettingsCommand, BadMessagesAreRefusedAndChangeNothing) {
    startQuietly();
    for (std::string const fields :
         {"", ",1,COM1,153D", ",5,COM1,153D,5040", ",0,COM1,153D,5040", ",1,COM9,153D,5040",
          ",1,COM1,RTCM,5040", ",1,COM1,153D,65536", ",1,COM1,153D,-1", ",1,COM1,153D,x",
          ",1,COM1,153D,5040,,5044", ",1,COM1,153D,99999999999999999999", ",1,COM1,NMEA,XYZ",
          ",1,COM1,NMEA,gga", ",1,COM1,NMEA,GGA,,RMC", ",1,COM1,NMEA,5040"}) {
        expectNoChange("SET_ZEPHON_MESSAGE_OUTPUT" + fields, "SET_ZEPHON_MESSAGE_OUTPUT_NACK");
    }
}

TEST_F(SettingsCommand, WhatIsNoVerbIsNotAnswered) {
    startQuietly();
    for (std::string const text :
         {"", ",", "SET_ZEPHON", "set_zephon_com,1,COM1", "SET_ZEPHON_COM ,1,COM1",
          "SET_ZEPHON_VOLUME,1,COM1", "CURRENT_ZEPHON_COM,1,COM1,300,None,Off,300,None,Off,GPS"}) {
        expectNoChange(text, "no answer");
    }
    expectNoChange(std::string(100000, 'A'), "no answer");
}

TEST_F(SettingsCommand, TheHumanInterfaceSetsNothing) {
    startQuietly();
    const std::string before = settingsText();
    EXPECT_EQ("no answer", answerTo(setPort, humanInterface));
    EXPECT_EQ("no answer", answerTo("SET_ZEPHON_SUPER_USER,1,COM1", humanInterface));
    EXPECT_TRUE(before == settingsText());
    EXPECT_EQ(Texts(), takeSent());
}

TEST_F(SettingsCommand, AQueryOfAPortThatIsNoneIsAnsweredWithoutValues) {
    startQuietly();
    expectNoChange("QUERY_ZEPHON_COM,5,COM1", "CURRENT_ZEPHON_COM,0,,0,,,0,,,");
    expectNoChange("QUERY_ZEPHON_COM", "CURRENT_ZEPHON_COM,0,,0,,,0,,,");
    expectNoChange("QUERY_ZEPHON_MESSAGE_OUTPUT,1,COM4", "CURRENT_ZEPHON_MESSAGE_OUTPUT,0,,,");
    expectNoChange("QUERY_ZP_OUTPUT_CONFIG,x,y", "CURRENT_ZP_OUTPUT_CONFIG,0,,");
}

TEST_F(SettingsCommand, ReceiverCapabilitiesAreSet) {
    startQuietly();
    EXPECT_EQ("CURRENT_ZP_OUTPUT_CONFIG,3,COM2,CORVANE", answerTo("QUERY_ZP_OUTPUT_CONFIG,3,COM2"));
    EXPECT_EQ("CURRENT_ZP_OUTPUT_CONFIG,3,COM2,ZEPHON",
              answerTo("SET_ZP_OUTPUT_CONFIG,3,COM2,ZEPHON"));
    EXPECT_EQ((Texts{"ZP3COM2 capabilities ZEPHON"}), takeSent());
    EXPECT_EQ("ZEPHON", stored("ZP3COM2", "receiverCapabilities"));
}

TEST_F(SettingsCommand, BadCapabilitiesAreAnsweredWithTheCurrentAndChangeNothing) {
    startQuietly();
    const std::string current = "CURRENT_ZP_OUTPUT_CONFIG,3,COM2,CORVANE";
    for (std::string const word : {"zephon", "", "BOTH", "ZEPHON "}) {
        expectNoChange("SET_ZP_OUTPUT_CONFIG,3,COM2," + word, current);
    }
    expectNoChange("SET_ZP_OUTPUT_CONFIG,3,COM2", current);
    expectNoChange("SET_ZP_OUTPUT_CONFIG,5,COM2,ZEPHON", "CURRENT_ZP_OUTPUT_CONFIG,0,,");
    expectNoChange("SET_ZP_OUTPUT_CONFIG,3,COM4,ZEPHON", "CURRENT_ZP_OUTPUT_CONFIG,0,,");
}

TEST_F(SettingsCommand, AHotStartThatIsSetIsStoredApartAndUsedByTheHumanInterface) {
    startQuietly();
    const std::string current = "CURRENT_ZEPHON_HOT_START,1,COM1,BOTH";
    EXPECT_EQ(current, answerTo("SET_ZEPHON_HOT_START,2,COM3,LNAV"));
    EXPECT_EQ(current, answerTo("QUERY_ZEPHON_HOT_START"));
    EXPECT_EQ(Texts(), takeSent());
    EXPECT_EQ("2", stored("Hot_Start", "zephonNumber"));
    EXPECT_EQ("COM3", stored("Hot_Start", "comPort"));
    EXPECT_EQ("LNAV", stored("Hot_Start", "HSType"));
    EXPECT_EQ("1", stored("ZP_Hot_Start", "zephonNumber"));
    EXPECT_EQ("BOTH", stored("ZP_Hot_Start", "HSType"));

    EXPECT_EQ("INIT_HOTSTART_ACK", answerTo("INIT_HOTSTART", humanInterface));
    EXPECT_EQ((Texts{"ZP2 COM3 hot start LNAV"}), takeSent());
    EXPECT_EQ("INIT_HOTSTART_NACK", answerTo("INIT_HOTSTART", humanInterface));
    EXPECT_EQ("INIT_HOTSTART_NACK", answerTo("INIT_HOTSTART,1,COM1,BOTH"));
    EXPECT_EQ(Texts(), takeSent());
}

TEST_F(SettingsCommand, AHotStartOfAnotherServerNamesItsPort) {
    startQuietly();
    EXPECT_EQ("INIT_HOTSTART_ACK", answerTo("INIT_HOTSTART,4,COM2,MNAV"));
    EXPECT_EQ((Texts{"ZP4 COM2 hot start MNAV"}), takeSent());
}

TEST_F(SettingsCommand, AHotStartWithMissingOrBadFieldsIsRefusedAndTold) {
    startQuietly();
    expectNoChange("INIT_HOTSTART,1", "INIT_HOTSTART_NACK");
    expectNoChange("INIT_HOTSTART", "INIT_HOTSTART_NACK");
    expectNoChange("INIT_HOTSTART,one,COM1,BOTH", "INIT_HOTSTART_NACK");
    const EventReader events(bench);
    const std::string begin = "ZephonServer: cbCmd() InitHotStart EXCEPTION: ";
    const auto event = events.waitFor(begin);
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    EXPECT_TRUE(bench::holdsInTime([&] { return events.count(begin) == 3; })) << events.report();
    EXPECT_EQ("INIT_HOTSTART_ACK", answerTo("INIT_HOTSTART,1,COM1,BOTH"));
}

/// Message 27561: the super user as the unit has it.
bench::UnitFrame makeStatus(std::uint16_t unitAndPort, std::uint16_t kind = 1) {
    return {27561, bench::UnitFrame::linkReady, {0, 0, 0, 0, kind, unitAndPort, 0, 0, 0}};
}

TEST_F(SettingsCommand, TheSuperUserIsSetAndReportedWhenTheUnitHasTakenIt) {
    startQuietly();
    const auto command = publish("SET_ZEPHON_SUPER_USER,3,COM2");
    const auto ack = waitForAnswer(command);
    ASSERT_TRUE(ack) << bench.report();
    EXPECT_EQ("SET_ZEPHON_SUPER_USER_ACK", ack->text);
    EXPECT_EQ((Texts{"super user ZP3COM2", "request"}), takeSent());
    EXPECT_EQ("3", stored("ZP_Super_User", "zephonNumber"));
    EXPECT_EQ("COM2", stored("ZP_Super_User", "comPort"));

    bench.unit(1).send(makeStatus(3 | 2 << 3));
    const auto current = answers->waitFor("CURRENT_ZEPHON_SUPER_USER,3,COM2");
    ASSERT_TRUE(current) << answers->report() << bench.report();
    EXPECT_EQ(command, current->identifier);
    const EventReader events(bench);
    const auto event = events.waitFor(
        "ZephonServer: Configuration Status Received: CURRENT_ZEPHON_SUPER_USER,3,COM2");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(2, event->type);
}

TEST_F(SettingsCommand, TheSuperUserIsQueriedFromTheUnit) {
    startQuietly();
    const auto command = publish("QUERY_ZEPHON_SUPER_USER");
    const auto ack = waitForAnswer(command);
    ASSERT_TRUE(ack) << bench.report();
    EXPECT_EQ("QUERY_ZEPHON_SUPER_USER_ACK", ack->text);
    EXPECT_EQ((Texts{"request"}), takeSent());
    bench.unit(1).send(makeStatus(5 | 1 << 3));  // there is no such unit
    const auto current = answers->waitFor("CURRENT_ZEPHON_SUPER_USER,NONE,COM1");
    ASSERT_TRUE(current) << answers->report() << bench.report();
    EXPECT_EQ(command, current->identifier);
}

TEST_F(SettingsCommand, NoSuperUserIsSetByItsWord) {
    bench.configuration().set("ZP_Super_User", "zephonNumber", "2");
    startQuietly();
    EXPECT_EQ("SET_ZEPHON_SUPER_USER_ACK", answerTo("SET_ZEPHON_SUPER_USER,NONE,COM1"));
    EXPECT_EQ((Texts{"super user ZP0COM1", "request"}), takeSent());
    EXPECT_EQ("0", stored("ZP_Super_User", "zephonNumber"));
}

TEST_F(SettingsCommand, ASuperUsersPortThatIsNoneIsStoredAndSentAsNone) {
    startQuietly();
    EXPECT_EQ("SET_ZEPHON_SUPER_USER_ACK", answerTo("SET_ZEPHON_SUPER_USER,2,COM7"));
    EXPECT_EQ((Texts{"super user ZP2COM0", "request"}), takeSent());
    EXPECT_EQ("COM7", stored("ZP_Super_User", "comPort"));
}

TEST_F(SettingsCommand, ASuperUserThatIsNoNumberOrHasNoPortIsRefusedAndTold) {
    startQuietly();
    expectNoChange("SET_ZEPHON_SUPER_USER,two,COM1", "SET_ZEPHON_SUPER_USER_NACK");
    expectNoChange("SET_ZEPHON_SUPER_USER,2", "SET_ZEPHON_SUPER_USER_NACK");
    expectNoChange("SET_ZEPHON_SUPER_USER", "SET_ZEPHON_SUPER_USER_NACK");
    const EventReader events(bench);
    const std::string begin = "ZephonServer: setZephonSuperUser() invalid_argument EXCEPTION: ";
    EXPECT_TRUE(bench::holdsInTime([&] { return events.count(begin) == 3; })) << events.report();
}

}  // namespace
