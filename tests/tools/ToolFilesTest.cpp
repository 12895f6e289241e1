// The manual pages and the completions that are installed beside the programs for users.

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bench/ChildProcess.h"
#include "gmock/gmock.h"
#include "tools/CommandVocabulary.h"

namespace {

using bench::ChildProcess;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

const std::string folder = ZEPHON_TOOLS_FOLDER;

std::string contentOf(std::string const& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> linesOf(std::string const& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// What a program writes; an exit status that is not 0 is a failure.
ChildProcess const& run(ChildProcess const& process) {
    const auto exit = process.wait(std::chrono::seconds(60));
    EXPECT_TRUE(exit && exit->ok()) << process.output();
    return process;
}

std::set<std::string> optionsIn(std::string const& text) {
    std::set<std::string> options;
    for (auto at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2)) {
        const auto end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz", at + 2);
        const std::string option = text.substr(at, end - at);
        if (option.size() > 2) {
            options.insert(option);
        }
    }
    return options;
}

/// A program and the ways to call it.
struct Tool {
    std::string name;
    std::vector<std::vector<std::string>> calls;

    std::string page() const { return folder + "/" + name + ".1"; }
};

std::string help(Tool const& tool) {
    std::string text;
    for (auto arguments : tool.calls) {
        arguments.emplace_back("--help");
        const ChildProcess program(bench::programFolder() / tool.name,
                                   {std::move(arguments), {}, {}});
        text += run(program).standardOutput();
    }
    return text;
}

Tool const zephonctlTool{"zephonctl", {{"send"}, {"verbs"}, {"watch"}}};
Tool const gssipDumpTool{"gssip-dump", {{}}};

class ManualPage : public testing::TestWithParam<Tool> {};

INSTANTIATE_TEST_SUITE_P(Tools, ManualPage, testing::Values(zephonctlTool, gssipDumpTool),
                         [](auto const& tool) {
                             std::string name = tool.param.name;
                             name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                             return name;
                         });

TEST_P(ManualPage, UsesKnownRequestsOnly) {
    const std::set<std::string> known{".TH", ".SH", ".PP", ".TP", ".B",  ".I", ".IR",
                                      ".BR", ".RB", ".RI", ".br", ".EX", ".EE"};
    const auto lines = linesOf(contentOf(GetParam().page()));
    ASSERT_FALSE(lines.empty());
    std::string title = GetParam().name;
    std::transform(title.begin(), title.end(), title.begin(), ::toupper);
    EXPECT_EQ(0U, lines.front().find(".TH " + title + " 1 "));
    for (auto const& line : lines) {
        EXPECT_FALSE(line.empty()) << "an empty line is no request";
        if (line.substr(0, 1) == ".") {
            EXPECT_EQ(1U, known.count(line.substr(0, line.find(' ')))) << line;
        }
        EXPECT_NE('\'', line.at(0)) << line;
    }
}

TEST_P(ManualPage, HasTheSectionsOfAManualPage) {
    std::vector<std::string> sections;
    for (auto const& line : linesOf(contentOf(GetParam().page()))) {
        if (line.substr(0, 4) == ".SH ") {
            sections.push_back(line.substr(4));
        }
    }
    EXPECT_THAT(sections, testing::ElementsAre("NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS",
                                               "EXIT STATUS", "ENVIRONMENT", "NOTES", "EXAMPLES"));
}

TEST_P(ManualPage, TellsTheOptionsThatTheProgramHas) {
    std::string text = contentOf(GetParam().page());
    text.erase(std::remove(text.begin(), text.end(), '\\'), text.end());
    EXPECT_EQ(optionsIn(help(GetParam())), optionsIn(text));
}

TEST_P(ManualPage, IsFormattedWithoutAWarning) {
    const ChildProcess formatter("/usr/bin/groff",
                                 {{"-man", "-ww", "-z", "-Tutf8", GetParam().page()}, {}, {}});
    EXPECT_THAT(run(formatter).standardError(), IsEmpty());
}

class Completion : public testing::Test {
protected:
    /// What bash would offer for the last of these words.
    static std::vector<std::string> completionsOf(std::vector<std::string> const& words,
                                                  Tool const& tool = zephonctlTool) {
        const std::string program = (bench::programFolder() / tool.name).string();
        std::string function = "_" + tool.name;
        std::replace(function.begin(), function.end(), '-', '_');
        std::string script =
            "set -u; source " + folder + "/" + tool.name + ".bash; COMP_WORDS=(" + program;
        for (auto const& word : words) {
            script += " '" + word + "'";
        }
        script += "); COMP_CWORD=" + std::to_string(words.size()) + "; " + function +
                  "; printf '%s\\n' \"${COMPREPLY[@]}\"";
        const ChildProcess bash("/bin/bash", {{"-c", script}, {}, {}});
        std::vector<std::string> offered = linesOf(run(bash).standardOutput());
        EXPECT_THAT(bash.standardError(), IsEmpty());
        if (offered == std::vector<std::string>{""}) {
            offered.clear();
        }
        return offered;
    }
};

TEST_F(Completion, OffersTheSubcommands) {
    EXPECT_THAT(completionsOf({""}), UnorderedElementsAre("send", "verbs", "watch", "--help"));
    EXPECT_THAT(completionsOf({"w"}), UnorderedElementsAre("watch"));
}

TEST_F(Completion, OffersTheVerbsOfTheServer) {
    std::set<std::string> verbs;
    for (auto const& verb : zephonctl::vocabulary()) {
        verbs.insert(verb.name);
    }
    EXPECT_THAT(completionsOf({"send", ""}), testing::UnorderedElementsAreArray(verbs));
    EXPECT_THAT(completionsOf({"send", "--json", "BITS"}), UnorderedElementsAre("BITSERVER_PING"));
}

TEST_F(Completion, OffersTheOptionsThatTheProgramHas) {
    std::vector<std::string> offered;
    for (char const* const subcommand : {"send", "verbs", "watch"}) {
        for (auto const& option : completionsOf({subcommand, "--"})) {
            offered.push_back(option);
        }
    }
    EXPECT_EQ(optionsIn(help(zephonctlTool)),
              std::set<std::string>(offered.begin(), offered.end()));
    offered = completionsOf({"--"}, gssipDumpTool);
    EXPECT_EQ(optionsIn(help(gssipDumpTool)),
              std::set<std::string>(offered.begin(), offered.end()));
}

TEST_F(Completion, OffersTopicsFilesAndSenders) {
    EXPECT_THAT(completionsOf({"watch", ""}), IsSupersetOf({"events", "responses", "all"}));
    EXPECT_THAT(completionsOf({"send", "--as", ""}), UnorderedElementsAre("hmi"));
    const std::string page = zephonctlTool.page();
    EXPECT_THAT(completionsOf({"send", "--config", page}), UnorderedElementsAre(page));
    EXPECT_THAT(completionsOf({page}, gssipDumpTool), UnorderedElementsAre(page));
    EXPECT_THAT(completionsOf({"--device", page}, gssipDumpTool), UnorderedElementsAre(page));
    EXPECT_THAT(completionsOf({"send", "--timeout", ""}), IsEmpty());
}

TEST_F(Completion, OffersValuesOfOptions) {
    EXPECT_THAT(completionsOf({"--color", ""}, gssipDumpTool),
                UnorderedElementsAre("auto", "always", "never"));
    EXPECT_THAT(completionsOf({"--parity", "o"}, gssipDumpTool), UnorderedElementsAre("odd"));
    EXPECT_THAT(completionsOf({"-b", "1"}, gssipDumpTool), UnorderedElementsAre("19200", "115200"));
}

}  // namespace
