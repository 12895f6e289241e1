#include <set>

#include <gtest/gtest.h>

#include "ASPN/DeviceIds.h"
#include "tools/CommandVocabulary.h"
#include "zephon/CommandVerbs.h"

namespace {

using namespace zephonctl;

constexpr unsigned char zephonctlId = 125;

TEST(CommandVocabulary, FindsAVerbForItsSenderOnly) {
    EXPECT_NE(nullptr, findVerb("BITSERVER_PING", Sender::Server));
    EXPECT_EQ(nullptr, findVerb("BITSERVER_PING", Sender::HumanInterface));
    EXPECT_NE(nullptr, findVerb("INIT_SINCGARS", Sender::HumanInterface));
    EXPECT_EQ(nullptr, findVerb("INIT_SINCGARS", Sender::Server));
}

TEST(CommandVocabulary, FindsAVerbByWhatStandsBeforeTheFirstComma) {
    EXPECT_EQ("QUERY_ZEPHON_COM", findVerb("QUERY_ZEPHON_COM,1,COM1", Sender::Server)->name);
    EXPECT_EQ(nullptr, findVerb("QUERY_ZEPHON_COMM", Sender::Server));
    EXPECT_EQ(nullptr, findVerb("", Sender::Server));
    EXPECT_EQ(nullptr, findVerb(",", Sender::Server));
}

TEST(CommandVocabulary, FindsTheVerbThatTheServerTakesATextFor) {
    for (char const* const text :
         {"NOW REQUEST_CBIT", "REQUEST_COMPONENT_CBIT,5", "REQUEST_CBIT,REQUEST_COMPONENT_CBIT",
          "BITSERVER_PING,REQUEST_CBIT", "SET_ZEPHON_COM,1,REQUEST_CBIT,COM1", "PNTD_SLIP,DEBUG",
          "QUERY_ZEPHON_HOT_START,1", "INIT_HOTSTART", "START_ZEROIZE"}) {
        auto const* const taken = findCommandVerb(zephonctlId, text);
        auto const* const verb = findVerb(text, Sender::Server);
        ASSERT_NE(nullptr, taken) << text;
        ASSERT_NE(nullptr, verb) << text;
        EXPECT_EQ(taken->verb, verb->name) << text;
    }
    EXPECT_EQ(nullptr, findVerb("NOW REQUEST_CBIT", Sender::HumanInterface));
}

TEST(CommandVocabulary, TakesZeroizeAndDestroyForDestructive) {
    for (char const* const text : {"START_ZEROIZE", "START_DESTROY", "REQUEST_ZEROIZE",
                                   "TREVO_CV_ZEROIZE", "TREVO_DESTROY,1"}) {
        EXPECT_TRUE(isDestructive(text)) << text;
    }
    for (auto const& verb : vocabulary()) {
        EXPECT_EQ(verb.name == "START_ZEROIZE" || verb.name == "START_DESTROY",
                  isDestructive(verb.name))
            << verb.name;
    }
}

std::set<std::string> serversVerbs(unsigned char sender) {
    std::set<std::string> verbs;
    for (auto const& row : commandVerbs(sender)) {
        verbs.insert(row.verb);
    }
    return verbs;
}

std::set<std::string> toolsVerbs(Sender sender) {
    std::set<std::string> verbs;
    for (auto const& verb : vocabulary()) {
        if (verb.sender == sender) {
            verbs.insert(verb.name);
        }
    }
    return verbs;
}

TEST(CommandVocabulary, IsTheServers) {
    EXPECT_EQ(serversVerbs(zephonctlId), toolsVerbs(Sender::Server));
    EXPECT_EQ(serversVerbs(ASPN2::ServerIds::HmiServer), toolsVerbs(Sender::HumanInterface));
}

Match matchOf(CommandVerb const& row) {
    switch (row.match) {
        case CommandVerb::Match::WholeText:
            return Match::WholeText;
        case CommandVerb::Match::Contains:
            return Match::Anywhere;
        case CommandVerb::Match::FirstField:
            break;
    }
    return Match::FirstField;
}

TEST(CommandVocabulary, TellsArgumentsOfTheVerbsThatTakeSome) {
    for (auto const& verb : vocabulary()) {
        const auto sender =
            verb.sender == Sender::Server ? zephonctlId : ASPN2::ServerIds::HmiServer;
        auto const* const row = findCommandVerb(sender, verb.name);
        ASSERT_NE(nullptr, row) << verb.name;
        EXPECT_EQ(matchOf(*row), verb.match) << verb.name;
        if (verb.match == Match::WholeText) {
            EXPECT_EQ("", verb.arguments) << verb.name;
        }
    }
}

TEST(CommandVocabulary, NamesEachVerbOnceForASender) {
    std::set<std::pair<std::string, Sender>> seen;
    for (auto const& verb : vocabulary()) {
        EXPECT_TRUE(seen.insert({verb.name, verb.sender}).second) << verb.name;
        EXPECT_FALSE(verb.summary.empty()) << verb.name;
        const auto comma = verb.arguments.find(',');  // optional arguments are in brackets with it
        EXPECT_TRUE(verb.arguments.empty() || comma == (verb.arguments.front() == '[' ? 1U : 0U))
            << verb.name;
    }
}

}  // namespace
