// The program zephonctl beside the real server, and beside peers that listen in its place.

#include <algorithm>
#include <csignal>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "gmock/gmock.h"
#include "tests/system/CommandReader.h"
#include "tests/system/EventReader.h"
#include "tests/tools/Zephonctl.h"

namespace {

using bench::CommandRecord;
using bench::TopicPeer;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

class ZephonctlProgram : public testing::Test {
protected:
    void start() {
        bench.start();
        ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    }
    /// The bench's configuration without a server that has read it.
    void writeConfiguration() { bench.configuration().write(bench.folder().path()); }

    /// Runs to the end and expects this exit status.
    std::string expectStatus(int status, Arguments const& arguments) {
        Zephonctl program(bench, arguments);
        EXPECT_EQ(status, program.status()) << program.process().output() << bench.report();
        errors = program.errors();
        return program.output();
    }

    bench::Bench bench;
    std::string errors;  ///< of the last program
};

/// A sibling that hears commands and answers none of them by itself.
struct Listener {
    explicit Listener(bench::Bench const& bench) : commands(bench) {}

    /// Publishes an answer to the last command with this text.
    void answer(std::string const& command, std::string const& text) {
        const auto heard = commands.waitFor(command);
        ASSERT_TRUE(heard) << commands.report();
        bench::ResponseRecord response;
        response.header.source = 49;
        response.type = CommandRecord::response;
        response.commandedDeviceId = heard->header.deviceId;
        response.identifier = heard->identifier;
        response.text = text;
        ASSERT_TRUE(commands.peer().publish(response));
    }

    CommandReader commands;
};

TEST_F(ZephonctlProgram, PrintsThePingsAnswerAndEndsWithZero) {
    start();
    EXPECT_EQ("ZephonServer\n", expectStatus(0, {"send", "BITSERVER_PING"}));
    EXPECT_THAT(errors, IsEmpty());
}

TEST_F(ZephonctlProgram, EndsWithZeroForAPass) {
    start();
    EXPECT_EQ("SYSTEM_MODE_SELECT_LIVE_PASS\n",
              expectStatus(0, {"send", "SYSTEM_MODE_SELECT_LIVE"}));
}

TEST_F(ZephonctlProgram, TwoAtOnceEachGetTheirOwnAnswer) {
    start();
    Zephonctl one(bench, {"send", "SYSTEM_MODE_SELECT_LIVE"});
    Zephonctl other(bench, {"send", "BITSERVER_PING"});
    EXPECT_EQ(0, one.status()) << one.errors();
    EXPECT_EQ(0, other.status()) << other.errors();
    EXPECT_EQ("SYSTEM_MODE_SELECT_LIVE_PASS\n", one.output());
    EXPECT_EQ("ZephonServer\n", other.output());
}

TEST_F(ZephonctlProgram, TakesTheConnectionsFileInPlaceOfTheServersOwn) {
    start();
    const auto connections = bench.folder().path() / "connections.xml";
    EXPECT_EQ("ZephonServer\n",
              expectStatus(0, {"send", "--config", connections.string(), "BITSERVER_PING"}));
}

TEST_F(ZephonctlProgram, EndsWithTwoAndSaysWhyWhenAVerbIsUnknown) {
    start();
    EXPECT_THAT(expectStatus(2, {"send", "--timeout", "0.3", "NO_SUCH_VERB,1"}), IsEmpty());
    EXPECT_THAT(errors, HasSubstr("\"NO_SUCH_VERB\" is no verb of ZephonServer"));
}

TEST_F(ZephonctlProgram, EndsWithTwoForTheVerbThatIsNeverAnswered) {
    start();
    expectStatus(2, {"send", "--as", "hmi", "--timeout", "0.3", "INIT_SINCGARS"});
    EXPECT_THAT(errors, HasSubstr("INIT_SINCGARS is never answered"));
    EXPECT_TRUE(bench.virtualUnits().waitForFrames(2, 5001, 1, std::chrono::seconds(20)))
        << bench.report();
}

TEST_F(ZephonctlProgram, SendsHostileTextsAsTheyAre) {
    start();
    const std::string huge(100000, 'X');
    for (std::string const& text :
         {std::string(), huge, huge + ",1,COM1", std::string("\xC3\xA9\xFF\x80,\x01\x1B[31m"),
          std::string("\x7F\xC2\x9B"), std::string(",,,,"),
          std::string("SET_ZEPHON_COM,") + huge}) {
        const bool answered = text.substr(0, 3) == "SET";
        const std::string output = expectStatus(
            answered ? 1 : 2, {"send", "--timeout", answered ? "30" : "0.5", "--json", "--", text});
        EXPECT_TRUE(json::accept(output)) << output.substr(0, 200);
        EXPECT_TRUE(std::all_of(output.begin(), output.end(), [](char character) {
            return character == '\n' || (character >= ' ' && character <= '~');
        })) << output.substr(0, 200);
        EXPECT_EQ(std::string::npos, errors.find('\x1B'));
    }
    EXPECT_EQ("ZephonServer\n", expectStatus(0, {"send", "BITSERVER_PING"}));
}

TEST_F(ZephonctlProgram, TellsAnAnswerAsJson) {
    start();
    const auto answer = json::parse(expectStatus(0, {"send", "--json", "BITSERVER_PING"}));
    EXPECT_EQ("BITSERVER_PING", answer.at("command"));
    EXPECT_EQ("ZephonServer", answer.at("answer"));
    EXPECT_EQ("ZephonServer", answer.at("source"));
    EXPECT_EQ(0, answer.at("status"));
    EXPECT_TRUE(answer.at("identifier").is_number_unsigned());
    EXPECT_GT(answer.at("microseconds"), 0);
}

TEST_F(ZephonctlProgram, TellsSilenceAsJson) {
    start();
    const auto answer =
        json::parse(expectStatus(2, {"send", "--json", "--timeout", "0.2", "NO_VERB"}));
    EXPECT_EQ(2, answer.at("status"));
    EXPECT_TRUE(answer.at("answer").is_null());
    EXPECT_THAT(answer.at("reason").get<std::string>(), HasSubstr("NO_VERB"));
}

TEST_F(ZephonctlProgram, EndsWithThreeWhenNobodyListens) {
    writeConfiguration();
    EXPECT_THAT(expectStatus(3, {"send", "--discovery", "1", "BITSERVER_PING"}), IsEmpty());
    EXPECT_THAT(errors, HasSubstr("nobody listens"));
}

TEST_F(ZephonctlProgram, FindsAServerThatStartsWhileItLooks) {
    writeConfiguration();
    Zephonctl program(bench, {"send", "--discovery", "60", "BITSERVER_PING"});
    start();
    EXPECT_EQ(0, program.status()) << program.errors() << bench.report();
    EXPECT_EQ("ZephonServer\n", program.output());
}

TEST_F(ZephonctlProgram, EndsWithTwoWhenWhoListensDoesNotAnswer) {
    writeConfiguration();
    const Listener listener(bench);
    expectStatus(2, {"send", "--discovery", "10", "--timeout", "0.3", "QUERY_ZEPHON_COM,1,COM1"});
    EXPECT_THAT(errors, HasSubstr("nor did ZephonServer answer a ping"));
    EXPECT_TRUE(listener.commands.waitFor("QUERY_ZEPHON_COM,1,COM1")) << listener.commands.report();
}

struct Answered {
    char const* text;
    int status;
};

class ZephonctlAnswer : public ZephonctlProgram, public testing::WithParamInterface<Answered> {};

TEST_P(ZephonctlAnswer, DecidesTheExitStatus) {
    writeConfiguration();
    Listener listener(bench);
    Zephonctl program(bench, {"send", "--discovery", "60", "DO_IT,1"});
    listener.answer("BITSERVER_PING", "ZephonServer");
    listener.answer("DO_IT,1", GetParam().text);
    EXPECT_EQ(GetParam().status, program.status()) << program.errors();
    EXPECT_EQ(GetParam().text + std::string("\n"), program.output());
}

INSTANTIATE_TEST_SUITE_P(Texts, ZephonctlAnswer,
                         testing::Values(Answered{"DO_IT_PASS", 0}, Answered{"DO_IT_ACK", 0},
                                         Answered{"CURRENT_IT,1", 0}, Answered{"DO_IT_FAIL", 1},
                                         Answered{"DO_IT_NACK", 1}));

TEST_F(ZephonctlProgram, WaitsForLaterAnswersOnRequestAndTellsTheWorst) {
    writeConfiguration();
    Listener listener(bench);
    Zephonctl program(bench, {"send", "--discovery", "60", "--answers", "2", "DO_IT"});
    listener.answer("BITSERVER_PING", "ZephonServer");
    listener.answer("DO_IT", "DO_IT_FAIL");
    listener.answer("DO_IT", "CURRENT_IT");
    EXPECT_EQ(1, program.status()) << program.errors();
    EXPECT_EQ("DO_IT_FAIL\nCURRENT_IT\n", program.output());
}

TEST_F(ZephonctlProgram, ShowsAnAnswersControlCharactersWithoutObeyingThem) {
    writeConfiguration();
    Listener listener(bench);
    Zephonctl program(bench, {"send", "--discovery", "60", "DO_IT"});
    listener.answer("BITSERVER_PING", "ZephonServer");
    listener.answer("DO_IT", "A\x1B[31m\x7F_ACK");
    EXPECT_EQ(0, program.status()) << program.errors();
    EXPECT_EQ("A\\x1B[31m\\x7F_ACK\n", program.output());
}

struct Sender {
    char const* as;
    int source;
};

class ZephonctlSender : public ZephonctlProgram, public testing::WithParamInterface<Sender> {};

TEST_P(ZephonctlSender, IsWhomItIsTold) {
    writeConfiguration();
    Listener listener(bench);
    Zephonctl program(bench, {"send", "--as", GetParam().as, "--discovery", "60", "X"});
    listener.answer("BITSERVER_PING", "ZephonServer");
    listener.answer("X", "X_ACK");
    EXPECT_EQ(0, program.status()) << program.errors();
    const auto heard = listener.commands.waitFor("X");
    ASSERT_TRUE(heard) << listener.commands.report();
    EXPECT_EQ(GetParam().source, heard->header.source);
    EXPECT_EQ(CommandRecord::command, heard->type);
}

INSTANTIATE_TEST_SUITE_P(Servers, ZephonctlSender,
                         testing::Values(Sender{"hmi", 48}, Sender{"53", 53}, Sender{"255", 255}));

TEST_F(ZephonctlProgram, SendsADestructiveVerbWithYesOnly) {
    writeConfiguration();
    Listener listener(bench);
    for (char const* const verb : {"START_ZEROIZE", "START_DESTROY", "TREVO_CV_ZEROIZE,1"}) {
        EXPECT_THAT(expectStatus(4, {"send", verb}), IsEmpty());
        EXPECT_THAT(errors, HasSubstr("--yes"));
    }
    EXPECT_THAT(listener.commands.all(), IsEmpty());
    Zephonctl program(bench, {"send", "--yes", "--discovery", "60", "START_DESTROY"});
    listener.answer("BITSERVER_PING", "ZephonServer");
    listener.answer("START_DESTROY", "START_DESTROY_ACK");
    EXPECT_EQ(0, program.status()) << program.errors();
}

TEST_F(ZephonctlProgram, EndsWithFourForWhatItCannotUse) {
    writeConfiguration();
    const std::string stored = (bench.folder().path() / "stored-settings.xml").string();
    for (Arguments const& arguments : {
             Arguments{},
             {"frobnicate"},
             {"send"},
             {"send", "--as", "256", "X"},
             {"send", "--as", "-1", "X"},
             {"send", "--as", "me", "X"},
             {"send", "--timeout", "-1", "X"},
             {"send", "--timeout", "soon", "X"},
             {"send", "--answers", "0", "X"},
             {"send", "--config", "/nonexistent.xml", "X"},
             {"send", "--config", stored, "X"},
             {"watch", "nothing"},
             {"watch", "--config", "/nonexistent.xml"},
         }) {
        EXPECT_THAT(expectStatus(4, arguments), IsEmpty());
        EXPECT_THAT(errors, testing::Not(IsEmpty())) << testing::PrintToString(arguments);
    }
}

TEST_F(ZephonctlProgram, EndsWithFourWhenTheTransportIsUnknown) {
    bench.configuration().set("FastRtps", "UseTransport", "PIGEON");
    writeConfiguration();
    EXPECT_THAT(expectStatus(4, {"send", "BITSERVER_PING"}), IsEmpty());
    EXPECT_THAT(errors, HasSubstr("joining the domain"));
}

TEST_F(ZephonctlProgram, ListsTheVerbsWithTheirArguments) {
    EXPECT_THAT(expectStatus(0, {"verbs"}),
                testing::AllOf(HasSubstr("QUERY_ZEPHON_COM,UNIT,PORT\n"),
                               HasSubstr("PNTD_SLIP[,DEBUG]\n")));
    EXPECT_THAT(expectStatus(0, {"verbs", "--names"}), StartsWith("BITSERVER_PING\n"));
    const auto list = json::parse(expectStatus(0, {"verbs", "--json"}));
    ASSERT_GT(list.size(), 5U);
    EXPECT_EQ("BITSERVER_PING", list.at(0).at("verb"));
    EXPECT_EQ(false, list.at(0).at("destructive"));
}

TEST_F(ZephonctlProgram, ShowsItsHelpOnStandardOutput) {
    EXPECT_THAT(expectStatus(0, {"--help"}), HasSubstr("Exit status"));
    EXPECT_THAT(expectStatus(0, {"send", "--help"}), HasSubstr("--discovery"));
}

TEST_F(ZephonctlProgram, WatchesEventsUntilItIsInterrupted) {
    writeConfiguration();
    EventReader peers(bench);
    Zephonctl watch(bench, {"watch", "events"});
    ASSERT_TRUE(peers.peer().waitForReaders(1)) << watch.errors();
    bench::EventRecord event;
    event.header.source = 47;
    event.type = 3;
    event.text = "the sky \x1B falls";
    ASSERT_TRUE(peers.peer().publish(event));
    const auto line = watch.process().waitForLine("falls", std::chrono::seconds(20));
    ASSERT_TRUE(line) << watch.errors();
    EXPECT_THAT(*line, testing::MatchesRegex(
                           "20[0-9-]+T[0-9:]+\\.[0-9]+Z EventLog HalvorServer FAILURE: the sky "
                           "\\\\x1B falls"));
    ASSERT_TRUE(watch.process().signal(SIGINT));
    EXPECT_EQ(0, watch.status());
}

TEST_F(ZephonctlProgram, WatchesAllTopicsOfTheServerAsJson) {
    start();
    CommandReader sibling(bench);
    Zephonctl watch(bench, {"watch", "--json"});
    ASSERT_TRUE(sibling.peer().waitForReaders(2)) << watch.errors();
    CommandRecord ping;
    ping.header.source = 53;
    ping.identifier = 4711;
    ping.text = "BITSERVER_PING";
    ASSERT_TRUE(sibling.peer().publish(ping));
    for (char const* const part :
         {"\"command 4711\",\"text\":\"BITSERVER_PING\"",
          "\"response 4711\",\"text\":\"ZephonServer\"", "//aspn://CORVANE/ZephonServer"}) {
        EXPECT_TRUE(watch.process().waitForLine(part, std::chrono::seconds(20)))
            << part << watch.process().output();
    }
    ASSERT_TRUE(watch.process().signal(SIGTERM));
    EXPECT_EQ(0, watch.status());
    std::istringstream lines(watch.output());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(json::parse(line).at("time").is_string()) << line;
    }
}

}  // namespace
