#include <set>
#include <string>

#include "gmock/gmock.h"
#include "zephon/CommandVerbs.h"
#include "zephon/ZephonServer.h"

namespace {

using aspn2_msgs::idl::CommandResponse;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned char humanInterface = 48;
constexpr unsigned char controller = 53;

Command makeCommand(CommandResponse& record, std::string const& text) {
    record.command_response(text);
    return Command(record);
}

// What only its whole text names.
const std::set<std::string> wholeTexts{"SYSTEM_MODE_SELECT_LIVE", "SYSTEM_MODE_SELECT_SIMULATION",
                                       "BITSERVER_PING",          "START_ZEROIZE",
                                       "START_DESTROY",           "REQUEST_PARTNUMBERS"};

TEST(CommandVerbs, AVerbOfTheWholeTextTakesNothingBesideIt) {
    for (auto const& verb : wholeTexts) {
        ASSERT_NE(nullptr, findCommandVerb(controller, verb)) << verb;
        EXPECT_EQ(verb, findCommandVerb(controller, verb)->verb);
        for (std::string const& text :
             {verb + ",1", verb + ",", verb + " ", " " + verb, "," + verb, verb + verb,
              verb + std::string(1, '\0'), verb.substr(1), verb.substr(0, verb.size() - 1)}) {
            EXPECT_EQ(nullptr, findCommandVerb(controller, text)) << text;
        }
    }
}

TEST(CommandVerbs, TheHumanInterfaceHasAVocabularyOfItsOwn) {
    for (auto const& verb : wholeTexts) {
        EXPECT_EQ(nullptr, findCommandVerb(humanInterface, verb)) << verb;
    }
    for (const std::string verb : {"INIT_SINCGARS", "INIT_HOTSTART"}) {
        ASSERT_NE(nullptr, findCommandVerb(humanInterface, verb)) << verb;
        EXPECT_EQ(verb, findCommandVerb(humanInterface, verb)->verb);
        EXPECT_EQ(nullptr, findCommandVerb(humanInterface, verb + ",1,COM1,BOTH")) << verb;
    }
    EXPECT_EQ(nullptr, findCommandVerb(humanInterface, "QUERY_ZEPHON_COM,1,COM1"));
    EXPECT_TRUE(findCommandVerb(humanInterface, "INIT_HOTSTART")->handler !=
                findCommandVerb(controller, "INIT_HOTSTART")->handler);
}

TEST(CommandVerbs, AVerbWithArgumentsIsTheFirstField) {
    for (const std::string verb :
         {"SET_ZEPHON_COM", "SET_ZEPHON_HOT_START", "SET_ZEPHON_SUPER_USER", "SET_ZP_OUTPUT_CONFIG",
          "SET_ZEPHON_MESSAGE_OUTPUT", "QUERY_ZEPHON_HOT_START", "QUERY_ZEPHON_SUPER_USER",
          "QUERY_ZP_OUTPUT_CONFIG", "QUERY_ZEPHON_MESSAGE_OUTPUT", "QUERY_ZEPHON_COM",
          "INIT_HOTSTART", "PNTD_SLIP"}) {
        for (std::string const& text :
             {verb, verb + ",", verb + ",1", verb + ",1,COM1", verb + std::string(100000, ',')}) {
            CommandVerb const* const found = findCommandVerb(controller, text);
            ASSERT_NE(nullptr, found) << text.substr(0, 50);
            EXPECT_EQ(verb, found->verb);
        }
        for (std::string const& text : {verb + " ,1", " " + verb + ",1", "," + verb, "X" + verb,
                                        verb + "S,1", verb.substr(0, verb.size() - 1) + ",1"}) {
            EXPECT_EQ(nullptr, findCommandVerb(controller, text)) << text;
        }
    }
}

TEST(CommandVerbs, ABuiltInTestIsAskedForAnywhereInTheText) {
    for (const std::string verb : {"REQUEST_COMPONENT_CBIT", "REQUEST_CBIT"}) {
        for (std::string const& text :
             {verb, verb + ",1", "XX_" + verb + "_YY", "SET_ZEPHON_COM,1," + verb,
              std::string(100000, ',') + verb}) {
            CommandVerb const* const found = findCommandVerb(controller, text);
            ASSERT_NE(nullptr, found) << text.substr(0, 50);
            EXPECT_EQ(verb, found->verb);
            EXPECT_EQ(nullptr, findCommandVerb(humanInterface, text));
        }
        EXPECT_EQ(nullptr, findCommandVerb(controller, verb.substr(1)));
        EXPECT_EQ(nullptr, findCommandVerb(controller, verb.substr(0, verb.size() - 1)));
    }
    EXPECT_STREQ("REQUEST_COMPONENT_CBIT",
                 findCommandVerb(controller, "REQUEST_CBIT,REQUEST_COMPONENT_CBIT")->verb);
}

TEST(CommandVerbs, AllOtherSendersShareOne) {
    for (unsigned sender = 0; sender < 256; ++sender) {
        const auto server = static_cast<unsigned char>(sender);
        EXPECT_EQ(server != humanInterface, findCommandVerb(server, "BITSERVER_PING") != nullptr)
            << sender;
        EXPECT_EQ(server == humanInterface, findCommandVerb(server, "INIT_SINCGARS") != nullptr)
            << sender;
    }
}

TEST(CommandVerbs, ALetterOfTheOtherCaseIsAnotherLetter) {
    EXPECT_EQ(nullptr, findCommandVerb(controller, "bitserver_ping"));
    EXPECT_EQ(nullptr, findCommandVerb(controller, "BITSERVER_PINg"));
}

TEST(CommandVerbs, TextsThatAreNoneHaveNoVerb) {
    for (const std::string text : {"", ",", ",,,", "A", "NO_SUCH_VERB,1,COM1", "\xFF\xFE,1"}) {
        EXPECT_EQ(nullptr, findCommandVerb(controller, text)) << text;
        EXPECT_EQ(nullptr, findCommandVerb(humanInterface, text)) << text;
    }
    for (const char filler : {'A', ',', '\0', '\xFF'}) {
        EXPECT_EQ(nullptr, findCommandVerb(controller, std::string(100000, filler)));
    }
}

TEST(CommandVerbs, FieldsStandBetweenCommas) {
    CommandResponse record;
    EXPECT_THAT(makeCommand(record, "").fields, IsEmpty());
    EXPECT_THAT(makeCommand(record, "A").fields, ElementsAre("A"));
    EXPECT_THAT(makeCommand(record, "A,1,,X Y").fields, ElementsAre("A", "1", "", "X Y"));
}

TEST(CommandVerbs, ThePortsKeyIsMadeOfTheUnitAndThePort) {
    CommandResponse record;
    EXPECT_EQ("ZP1COM2", makeCommand(record, "V,1,COM2").key);
    EXPECT_EQ("ZP4COM3", makeCommand(record, "V,4,COM3,9600,None").key);
    EXPECT_EQ("ZPx", makeCommand(record, "V,,x").key);
}

TEST(CommandVerbs, WithoutAThirdFieldTheKeyIsEmpty) {
    CommandResponse record;
    for (const std::string text : {"", "V", "V,1", "V,1,"}) {
        EXPECT_EQ("", makeCommand(record, text).key) << text;
    }
}

TEST(CommandVerbs, AHugeTextKeepsAllItsFields) {
    CommandResponse record;
    EXPECT_EQ(100000U, makeCommand(record, std::string(100000, ',')).fields.size());
    EXPECT_EQ(1U, makeCommand(record, std::string(100000, 'V')).fields.size());
}

}  // namespace
