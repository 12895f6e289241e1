#include "bench/Scenario.h"

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <utility>

#include "bench/ScenarioSteps.h"
#include "bench/TopicRecords.h"

namespace bench {

const char* const scenarioGrammar = R"(A scenario is a row of steps, one a line:

  [at TIME | after TIME] STEP    at: on the scenario's clock, which "expect running" sets to zero;
                                 after: when the step before is done; without: right after it

  configure CONTAINER KEY VALUE  an entry of the server's configuration, for the next start
  start server                   stop server: SIGTERM, and it must leave in order
  signal NAME                    to the server, such as SIGKILL
  publish TOPIC [FIELD=VALUE..]  UTCTime, MeridanePNT, PositionVelocity, GPSTime, EventLog,
                                 Command, Response or BitReport, simulated for this instant;
                                 GPSTime, unless source=96, for the second after, as it belongs to
                                 the PositionVelocity
  stream RATE [for TIME]         pairs of UTCTime and MeridanePNT a second, in the background;
                                 without "for", or for 0s, until it is stopped
  stop stream                    wait stream: until its time is over, or Ctrl-C
  send LINK CONTENT              from the unit: link1, link2 or link3
  send VIRTUAL CONTENT           from its virtual1 to virtual4, in a wrapper on link1
  inject QUEUE CONTENT           into TREVO_MX, HALVOR_MX or DT_OUT
  hangup LINK                    reconnect LINK
  set INTERFACE OFFSET BITS VALUE  a register of the FPGA, 8, 16, 32 or 64 bits wide
  pntd DEVICE                    how the PNT device on link3 stands and answers, or what it sends
  expect [no] WHAT [within TIME] [as TEXT]
                                 fails the run when it does not come (30s) or, with "no", comes;
                                 a TEXT gives it a row in its chapter of the table
  forget                         what came so far satisfies no expectation any more
  chapter TEXT                   a part of the run, with an expectation at least; the result ends
                                 with a table of them
  variable NAME VALUE            what ${NAME} stands for; --set NAME=VALUE replaces it

  CONTENT  frame ID [flags=F] [WORD..]  or  bytes HEX..  or  status ID [TEXT] (message 5044)
  WHAT     running | exit STATUS|SIGNAL | solutions | register INTERFACE OFFSET BITS VALUE
           LINK|VIRTUAL|QUEUE frame ID [flags=F] [WORD..]   (queues PNTD_MX and DT_IN)
           EventLog TEXT | MaintenanceEvent TEXT | Command TEXT | Response TEXT
           line TEXT   (all hold the text)
  DEVICE   on | off                         whether it answers; at first it does not
           fault TYPE TEST HOW | well       a failed test (TYPE post, bbit, cbit; HOW intermittent,
                                            hard), or none any more
           label TYPE TEST TEXT             what a test is called; told when the server starts
           ids HARDWARE SERIAL SOFTWARE FIRMWARE OS
           zeroize pass|fail|silent         how it answers one; slip open|closed|silent
           send status|labels|ids           unasked, as it stands
           send log TEXT                    a log report
           send report TYPE TEST TEXT       a fault report of a failed test, TEXT its category
           send sanitize pass|fail          send slip open|closed
           send transfer UNIT PORT running|failed|passed
  TIME     such as 500ms, 2.5s, 1min
  "..." holds blanks and, as \" and \\, quotes and backslashes; # begins a comment
)";

namespace {

using scenario::inQuotes;
using scenario::refuse;
using scenario::Words;

constexpr std::size_t longestFile = 1'000'000;

/// Reads a text line by line.
class Reader {
public:
    explicit Reader(const Scenario::Variables& given) : given_(given), variables_(given) {}

    void takeLine(std::string_view line, std::size_t lineNumber) {
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        for (const char c : line) {
            if ((static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7F') {
                refuse("the line holds a control character");
            }
        }
        std::vector<std::string> all = scenario::split(line, variables_);
        if (all.empty()) {
            return;
        }
        Step step;
        step.line = lineNumber;
        step.text = scenario::join(all);
        Words words(std::move(all));
        if (words.takeIf("variable")) {
            takeVariable(words);
            return;
        }
        if (words.takeIf("at")) {
            step.start = Step::Start::At;
            step.time = scenario::takeTime(words);
        } else if (words.takeIf("after")) {
            step.start = Step::Start::After;
            step.time = scenario::takeTime(words);
        }
        step.action = scenario::takeAction(words);
        steps_.push_back(std::move(step));
    }

    /// A variable that is given but not in the file; empty when there is none.
    std::string unknownVariable() const {
        for (const auto& [name, value] : given_) {
            if (!scenario::contains(defined_, name)) {
                return name;
            }
        }
        return {};
    }

    std::vector<Step> takeSteps() { return std::move(steps_); }

private:
    void takeVariable(Words& words) {
        const std::string name = words.take("a name");
        if (!scenario::isName(name)) {
            refuse(inQuotes(name) + " is no name: letters, digits and _");
        }
        const std::string value = words.take("a value");
        words.end();
        if (scenario::contains(defined_, name)) {
            refuse("variable " + inQuotes(name) + " has a value already");
        }
        defined_.push_back(name);
        variables_.emplace(name, value);  // a given value stays
    }

    const Scenario::Variables& given_;
    Scenario::Variables variables_;
    std::vector<std::string> defined_;
    std::vector<Step> steps_;
};

ScenarioError errorAt(const std::string& name, std::size_t line, const std::string& reason) {
    return ScenarioError(name + ":" + std::to_string(line) + ": " + reason);
}

/// Refuses what the table of chapters cannot show: a chapter that expects nothing, and a caption
/// before the first one.
void checkChapters(const Scenario& scenario) {
    bool begun = false;
    const Step* idle = nullptr;  // the present chapter, until it expects something
    const auto checkIdle = [&scenario, &idle] {
        if (idle != nullptr) {
            throw errorAt(scenario.name, idle->line, "the chapter expects nothing");
        }
    };
    for (const Step& step : scenario.steps) {
        if (std::holds_alternative<action::Chapter>(step.action)) {
            checkIdle();
            begun = true;
            idle = &step;
        } else if (const auto* const expected = std::get_if<action::Expect>(&step.action)) {
            if (!begun && !expected->caption.empty()) {
                throw errorAt(scenario.name, step.line, "\"as\" needs a chapter before it");
            }
            idle = nullptr;
        }
    }
    checkIdle();
}

}  // namespace

Scenario Scenario::parse(std::string_view text, const std::string& name, const Variables& given) {
    if (text.size() > longestFile) {
        throw ScenarioError(name + ": is longer than " + std::to_string(longestFile) + " bytes");
    }
    Reader reader(given);
    std::size_t lineNumber = 0;
    while (!text.empty()) {
        ++lineNumber;
        const std::size_t end = std::min(text.find('\n'), text.size());
        try {
            reader.takeLine(text.substr(0, end), lineNumber);
        } catch (const scenario::LineError& error) {
            throw errorAt(name, lineNumber, error.what());
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    const std::string unknown = reader.unknownVariable();
    if (!unknown.empty()) {
        throw ScenarioError(name + ": has no variable " + inQuotes(unknown));
    }
    Scenario scenario{name, reader.takeSteps()};
    if (scenario.steps.empty()) {
        throw ScenarioError(name + ": has no steps");
    }
    checkChapters(scenario);
    return scenario;
}

Scenario Scenario::load(const std::filesystem::path& file, const Variables& given) {
    std::ifstream stream(file, std::ios::binary);
    std::string text(longestFile + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (stream.bad() || (text.empty() && !stream.eof())) {
        throw ScenarioError(file.string() + ": cannot be read");
    }
    return parse(text, file.filename().string(), given);
}

static bool publishes(const Step& step, std::initializer_list<std::string_view> topics) {
    const auto* const record = std::get_if<action::Publish>(&step.action);
    return record != nullptr &&
           std::find(topics.begin(), topics.end(), record->topic) != topics.end();
}

bool Scenario::publishesSolutions() const {
    return std::any_of(steps.begin(), steps.end(), [](const Step& step) {
        return std::holds_alternative<action::Stream>(step.action) ||
               publishes(step, {UtcRecord::topic, PntRecord::topic, GpsTimeRecord::topic});
    });
}

bool Scenario::exchangesCommands() const {
    return std::any_of(steps.begin(), steps.end(), [](const Step& step) {
        const auto* const wanted = std::get_if<action::Expect>(&step.action);
        const auto* const text =
            wanted != nullptr ? std::get_if<action::Text>(&wanted->condition) : nullptr;
        return publishes(step, {CommandRecord::topic, ResponseRecord::topic}) ||
               (text != nullptr &&
                (text->source == CommandRecord::topic || text->source == ResponseRecord::topic));
    });
}

bool Scenario::publishesAltNavigation() const {
    return std::any_of(steps.begin(), steps.end(), [](const Step& step) {
        return publishes(step, {PositionVelocityRecord::topic, GpsTimeRecord::topic});
    });
}

bool Scenario::publishesBitReports() const {
    return std::any_of(steps.begin(), steps.end(),
                       [](const Step& step) { return publishes(step, {BitRecord::topic}); });
}

}  // namespace bench
