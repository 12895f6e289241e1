// The settings file through the life of the server: what comes back, and what a bad file does.

#include <csignal>
#include <map>

#include <tinyxml2.h>

#include "tests/system/SettingsFixture.h"

namespace {

using testing::HasSubstr;

bool isWhole(std::string const& text) {
    tinyxml2::XMLDocument document;
    return document.Parse(text.c_str(), text.size()) == tinyxml2::XML_SUCCESS &&
           document.FirstChildElement("MX_Configurations") != nullptr;
}

class SettingsFile : public SettingsFixture {
protected:
    static constexpr const char* values = ",115200,Odd,10 PPS UTC,300,Even,Off,GPS";

    Texts sentOfStart() {
        const auto sent = takeSent();
        EXPECT_EQ(38U, sent.size()) << bench.report();
        return sent;
    }

    /// Keeps the server from saving, as a medium that takes nothing does: a draft of the new file
    /// can't be made where a folder stands.
    void blockSaves() { std::filesystem::create_directory(settingsFile().string() + ".new.part"); }
};

TEST_F(SettingsFile, AllSettingsComeBackAfterARestart) {
    startServer();
    sentOfStart();
    const std::map<std::string, std::string> commands{
        {"SET_ZEPHON_COM,1,COM1,115200,Odd,10 PPS UTC,300,Even,Off,GPS",
         "CURRENT_ZEPHON_COM,1,COM1,115200,Odd,10 PPS UTC,300,Even,Off,GPS"},
        {"SET_ZEPHON_MESSAGE_OUTPUT,1,COM1,NMEA,RMC,ZDA",
         "CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM1,NMEA,RMC,ZDA"},
        {"SET_ZEPHON_MESSAGE_OUTPUT,4,COM3,153D,8504,5040",
         "CURRENT_ZEPHON_MESSAGE_OUTPUT,4,COM3,153D,8504,5040"},
        {"SET_ZP_OUTPUT_CONFIG,2,COM2,ZEPHON", "CURRENT_ZP_OUTPUT_CONFIG,2,COM2,ZEPHON"},
        {"SET_ZEPHON_SUPER_USER,3,COM2", "SET_ZEPHON_SUPER_USER_ACK"}};
    for (auto const& [command, answer] : commands) {
        EXPECT_EQ(answer, answerTo(command));
    }
    takeSent();
    restart();
    const auto sent = sentOfStart();
    ASSERT_EQ(38U, sent.size());
    EXPECT_EQ((Texts{"ZP1 COM1 transmit 115200 Odd NMEA, receive 300 Even 153D, pulse 10 PPS UTC, "
                     "redundant Off",
                     "ZP1 COM1 transmit 115200 Odd NMEA, sentences RMC,ZDA",
                     "ZP1COM1 capabilities CORVANE"}),
              Texts(sent.begin(), sent.begin() + 3));
    EXPECT_EQ("ZP2COM2 capabilities ZEPHON", sent.at(14));
    EXPECT_EQ((Texts{"ZP4 COM3 transmit 19200 None 153D, receive 19200 None 153D, pulse Off",
                     "ZP4 COM3 messages 8504,5040", "ZP4COM3 capabilities CORVANE",
                     "super user ZP3COM2", "request"}),
              Texts(sent.begin() + 33, sent.end()));
    EXPECT_EQ("CURRENT_ZEPHON_COM,1,COM1,115200,Odd,10 PPS UTC,300,Even,Off,GPS",
              answerTo("QUERY_ZEPHON_COM,1,COM1"));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,4,COM3,153D,8504,5040",
              answerTo("QUERY_ZEPHON_MESSAGE_OUTPUT,4,COM3"));
    EXPECT_EQ("CURRENT_ZP_OUTPUT_CONFIG,2,COM2,ZEPHON", answerTo("QUERY_ZP_OUTPUT_CONFIG,2,COM2"));
}

TEST_F(SettingsFile, AKillWhileSettingsAreSavedLosesNothing) {
    const std::vector<std::string> first{"115200", "Odd", "10 PPS UTC", "300",
                                         "Even",   "Off", "GPS"};
    const std::vector<std::string> second{"9600", "None", "Off", "76800", "Odd", "On", "Meridane"};
    const auto commandOf = [](std::vector<std::string> const& row) {
        std::string text = "SET_ZEPHON_COM,2,COM1";
        for (auto const& value : row) {
            text += "," + value;
        }
        return text;
    };
    ASSERT_NO_FATAL_FAILURE(startServer());
    const std::string other = answerTo("QUERY_ZEPHON_COM,4,COM3");
    ASSERT_EQ("CURRENT_ZEPHON_COM", other.substr(0, 18));
    ASSERT_NE("no answer", answerTo(commandOf(first)));

    constexpr int rounds = 20;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::int64_t awaited = 0;
        for (int i = 0; i < 8; ++i) {
            const auto command = publish(commandOf(i % 2 == 0 ? second : first));
            awaited = i <= round % 7 ? command : awaited;
        }
        ASSERT_TRUE(waitForAnswer(awaited)) << bench.report();
        ASSERT_TRUE(bench.server().signal(SIGKILL));
        ASSERT_TRUE(bench.server().wait(patience));

        const std::string text = settingsText();
        std::ifstream sibling(settingsFile().string() + ".new");
        const std::string siblingText{std::istreambuf_iterator<char>(sibling), {}};
        EXPECT_TRUE(isWhole(text) || isWhole(siblingText)) << text << "\n---\n" << siblingText;

        ASSERT_NO_FATAL_FAILURE(startAgain());
        const std::string answer = answerTo("QUERY_ZEPHON_COM,2,COM1") + ",";
        const std::string begin = "CURRENT_ZEPHON_COM,2,COM1,";
        ASSERT_EQ(begin, answer.substr(0, begin.size()));
        std::size_t place = begin.size();
        for (std::size_t i = 0; i < first.size(); ++i) {
            const auto end = answer.find(',', place);
            ASSERT_NE(std::string::npos, end) << answer;
            EXPECT_THAT(answer.substr(place, end - place),
                        testing::AnyOf(first.at(i), second.at(i)))
                << answer;
            place = end + 1;
        }
        EXPECT_EQ(other, answerTo("QUERY_ZEPHON_COM,4,COM3"));
        EXPECT_TRUE(isWhole(settingsText())) << "the file was not put in order";
    }
    takeSent();
    EXPECT_EQ(Texts(), bench::UnitSettings::of(bench.virtualUnits()).defects());
}

TEST_F(SettingsFile, ATornFileIsReplacedByTheSiblingThatIsWhole) {
    startServer();
    answerTo("SET_ZEPHON_COM,1,COM1" + std::string(values));
    ASSERT_NO_FATAL_FAILURE(stop());
    const std::string whole = settingsText();
    std::ofstream(settingsFile().string() + ".new") << whole;
    std::ofstream(settingsFile()) << whole.substr(0, whole.size() / 2);
    startAgain();
    EXPECT_EQ("CURRENT_ZEPHON_COM,1,COM1" + std::string(values),
              answerTo("QUERY_ZEPHON_COM,1,COM1"));
    EXPECT_TRUE(whole == settingsText()) << settingsText();
    EXPECT_TRUE(bench.server().waitForLine("settings taken from", patience)) << bench.report();
}

TEST_F(SettingsFile, WithoutAReadableFileTheServerDoesNotConnect) {
    for (const char* const text : {"", "<MX_Configurations><Zephon_Port>", "nonsense"}) {
        bench.configuration().replace(File::StoredSettings, text);
        bench.start();
        const auto exit = bench.server().wait(patience);
        ASSERT_TRUE(exit) << bench.report();
        EXPECT_FALSE(exit->ok()) << text;
        EXPECT_THAT(bench.server().output(), HasSubstr("Framework_Connect() failed"));
    }
}

TEST_F(SettingsFile, WithoutTheFileTheServerDoesNotConnect) {
    bench.configuration().omit(File::StoredSettings);
    bench.start();
    const auto exit = bench.server().wait(patience);
    ASSERT_TRUE(exit) << bench.report();
    EXPECT_FALSE(exit->ok());
    EXPECT_THAT(bench.server().output(), HasSubstr("Framework_Connect() failed"));
}

TEST_F(SettingsFile, AFileThatIsLostLaterIsToldAndNothingIsSent) {
    startServer();
    sentOfStart();
    const EventReader events(bench);
    std::filesystem::remove(settingsFile());
    EXPECT_EQ("CURRENT_ZEPHON_COM,0,,0,,,0,,,",
              answerTo("SET_ZEPHON_COM,1,COM1" + std::string(values)));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,0,,,",
              answerTo("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1,153D,5040"));
    EXPECT_EQ("SET_ZEPHON_SUPER_USER_NACK", answerTo("SET_ZEPHON_SUPER_USER,1,COM1"));
    EXPECT_EQ("CURRENT_ZP_OUTPUT_CONFIG,0,,", answerTo("SET_ZP_OUTPUT_CONFIG,1,COM1,ZEPHON"));
    EXPECT_EQ(Texts(), takeSent());
    for (std::string const text :
         {"ZephonServer: setZephonCom() EXCEPTION: ",
          "ZephonServer: setZephonMsgConnects() EXCEPTION: ",
          "ZephonServer: setZephonSuperUser() invalid_argument EXCEPTION: "}) {
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << text << events.report();
        EXPECT_EQ(3, event->type);
    }
    EXPECT_FALSE(std::filesystem::exists(settingsFile()));
}

TEST_F(SettingsFile, APortThatCannotBeSavedIsToldAndSentAllTheSame) {
    startServer();
    sentOfStart();
    const EventReader events(bench);
    const std::string before = settingsText();
    blockSaves();
    EXPECT_EQ("CURRENT_ZEPHON_COM,1,COM1,19200,None,1PPS UTC,19200,None,Off,Meridane",
              answerTo("SET_ZEPHON_COM,1,COM1" + std::string(values)));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,1,COM2,153D,none",
              answerTo("SET_ZEPHON_MESSAGE_OUTPUT,1,COM2,153D,8504"));
    EXPECT_EQ((Texts{"ZP1 COM1 transmit 115200 Odd 153D, receive 300 Even 153D, pulse 10 PPS UTC, "
                     "redundant Off",
                     "ZP1 COM2 transmit 19200 None 153D", "ZP1 COM2 messages 8504"}),
              takeSent());
    for (std::string const text : {"ZephonServer: writeComParams() invalid_argument EXCEPTION: ",
                                   "ZephonServer: setZPConfig() Failed."}) {
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << text << events.report();
        EXPECT_EQ(3, event->type);
    }
    EXPECT_TRUE(before == settingsText()) << settingsText();
}

TEST_F(SettingsFile, ASuperUserThatCannotBeSavedIsRefusedAndNotSent) {
    startServer();
    sentOfStart();
    const EventReader events(bench);
    const std::string before = settingsText();
    blockSaves();
    EXPECT_EQ("SET_ZEPHON_SUPER_USER_NACK", answerTo("SET_ZEPHON_SUPER_USER,2,COM3"));
    EXPECT_EQ(Texts(), takeSent());
    EXPECT_TRUE(events.waitFor("ZephonServer: setZephonSuperUser() invalid_argument EXCEPTION: "))
        << events.report();
    EXPECT_TRUE(before == settingsText()) << settingsText();
}

TEST_F(SettingsFile, AHotStartThatCannotBeSavedIsToldAndUsed) {
    startServer();
    sentOfStart();
    const EventReader events(bench);
    blockSaves();
    EXPECT_EQ("CURRENT_ZEPHON_HOT_START,1,COM1,BOTH", answerTo("SET_ZEPHON_HOT_START,2,COM3,LNAV"));
    EXPECT_TRUE(events.waitFor("ZephonServer: writeComParams() invalid_argument EXCEPTION: "))
        << events.report();
    EXPECT_EQ("INIT_HOTSTART_ACK", answerTo("INIT_HOTSTART", humanInterface));
    EXPECT_EQ((Texts{"ZP2 COM3 hot start LNAV"}), takeSent());
}

TEST_F(SettingsFile, HotStartValuesOutOfRangeAreRepairedAndTold) {
    bench.configuration().set("ZP_Hot_Start", "zephonNumber", "0");
    bench.configuration().set("ZP_Hot_Start", "comPort", "COM0");
    bench.configuration().set("ZP_Hot_Start", "HSType", "lnav");
    startServer();
    sentOfStart();
    const EventReader events(bench);
    for (std::string const text :
         {"Invalid ZP number (0) read from configuration file, defaulting to ZP 1",
          "Invalid ZP COM port (COM0) read from configuration file, defaulting to COM1",
          "Invalid HS type (lnav) read from configuration file, defaulting to BOTH"}) {
        const auto event = events.waitFor("ZephonServer: " + text);
        ASSERT_TRUE(event) << text << events.report();
        EXPECT_EQ(3, event->type);
    }
    EXPECT_EQ("CURRENT_ZEPHON_HOT_START,0,COM0,lnav", answerTo("QUERY_ZEPHON_HOT_START"));
    EXPECT_EQ("INIT_HOTSTART_ACK", answerTo("INIT_HOTSTART", humanInterface));
    EXPECT_EQ((Texts{"ZP1 COM1 hot start BOTH"}), takeSent());
}

}  // namespace
