// Each example of docs/commands.md, in order, with the real server.

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "tests/tools/Zephonctl.h"
#include "tools/CommandVocabulary.h"

namespace {

struct Example {
    std::string command;   ///< what stands behind "$ "
    std::string expected;  ///< the lines below it
};

struct Page {
    std::vector<Example> examples;
    std::set<std::string> headings;  ///< of the third level
};

Page readPage() {
    std::ifstream file(ZEPHON_COMMANDS_PAGE);
    Page page;
    bool inside = false;
    for (std::string line; std::getline(file, line);) {
        if (line.substr(0, 3) == "```") {
            inside = line == "```console";
        } else if (inside && line.substr(0, 2) == "$ ") {
            page.examples.push_back({line.substr(2), {}});
        } else if (inside) {
            page.examples.back().expected += line + "\n";
        } else if (line.substr(0, 4) == "### ") {
            page.headings.insert(line.substr(4));
        }
    }
    return page;
}

TEST(CommandsPage, TellsEachVerbAndNoOther) {
    std::set<std::string> verbs;
    for (auto const& verb : zephonctl::vocabulary()) {
        verbs.insert(verb.name);
    }
    EXPECT_EQ(verbs, readPage().headings);
}

TEST(CommandsPage, HasAnExampleForEachVerb) {
    const Page page = readPage();
    for (auto const& verb : zephonctl::vocabulary()) {
        EXPECT_THAT(page.examples, testing::Contains(testing::Field(
                                       &Example::command, testing::HasSubstr(verb.name))));
    }
}

TEST(CommandsPage, ShowsWhatTheServerAnswers) {
    // The PNT device obeys each command at once: it is sanitized, its side of SLIP is open.
    bench::Bench bench;
    bench.pntDevice().change([](bench::PntDevice::State& state) { state.answering = true; });
    bench.start();
    ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    bench.pntDevice().sendIds();  // asked for them at the start, it may have been too early
    for (auto const& example : readPage().examples) {
        const bench::ChildProcess shell(
            "/bin/bash",
            {{"-c", "PATH=" + bench::programFolder().string() + ":$PATH; " + example.command},
             {{"ZEPHONCTL_CONFIG", configurationOf(bench).string()}},
             {}});
        ASSERT_TRUE(shell.wait(std::chrono::seconds(60))) << example.command;
        EXPECT_EQ(example.expected, shell.standardOutput())
            << example.command << "\n"
            << shell.standardError() << bench.report();
    }
    const auto exit = bench.stop();
    EXPECT_TRUE(exit && exit->ok()) << bench.report();
}

}  // namespace
