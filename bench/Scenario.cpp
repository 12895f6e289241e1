#include "bench/Scenario.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <csignal>
#include <fstream>
#include <iterator>
#include <limits>
#include <utility>

#include "bench/TopicRecords.h"

namespace bench {

const char* const scenarioGrammar = R"(A scenario is a row of steps, one a line:

  [at TIME | after TIME] STEP    at: on the scenario's clock, which "expect running" sets to zero;
                                 after: when the step before is done; without: right after it

  configure CONTAINER KEY VALUE  an entry of the server's configuration, for the next start
  start server                   stop server: SIGTERM, and it must leave in order
  signal NAME                    to the server, such as SIGKILL
  publish TOPIC [FIELD=VALUE..]  UTCTime, MeridanePNT, PositionVelocity, GPSTime or EventLog,
                                 simulated for this instant; GPSTime, unless source=96, for the
                                 second after, as it belongs to the PositionVelocity
  stream RATE [for TIME]         pairs of UTCTime and MeridanePNT a second, in the background;
                                 without "for", or for 0s, until it is stopped
  stop stream                    wait stream: until its time is over, or Ctrl-C
  send LINK CONTENT              from the unit: link1, link2 or link3
  inject QUEUE CONTENT           into TREVO_MX, HALVOR_MX or DT_OUT
  hangup LINK                    reconnect LINK
  set INTERFACE OFFSET BITS VALUE  a register of the FPGA, 8, 16, 32 or 64 bits wide
  expect [no] WHAT [within TIME] fails the run when it does not come (10s) or, with "no", comes
  variable NAME VALUE            what ${NAME} stands for; --set NAME=VALUE replaces it

  CONTENT  frame ID [flags=F] [WORD..]  or  bytes HEX..
  WHAT     running | exit STATUS|SIGNAL | solutions | register INTERFACE OFFSET BITS VALUE
           LINK|QUEUE frame ID [flags=F] [WORD..]   (queues PNTD_MX and DT_IN)
           EventLog TEXT | MaintenanceEvent TEXT | line TEXT   (holds the text)
  TIME     such as 500ms, 2.5s, 1min
  "..." holds blanks and, as \" and \\, quotes and backslashes; # begins a comment
)";

namespace {

using std::chrono::milliseconds;

constexpr std::size_t longestFile = 1'000'000;
constexpr std::size_t longestWord = 65'536;
constexpr milliseconds longestTime = std::chrono::hours(24 * 30);
constexpr milliseconds defaultPatience = std::chrono::seconds(10);
constexpr double slowestRate = 0.1;
constexpr double fastestRate = 1000;

constexpr std::array<std::string_view, 3> links{"link1", "link2", "link3"};
constexpr std::array<std::string_view, 3> queuesIn{"TREVO_MX", "HALVOR_MX", "DT_OUT"};
constexpr std::array<std::string_view, 2> queuesOut{"PNTD_MX", "DT_IN"};
constexpr std::array<std::string_view, 3> textSources{EventRecord::topic, MaintenanceRecord::topic,
                                                      Scenario::serverLine};

constexpr std::array<std::pair<std::string_view, int>, 9> signalNames{{
    {"SIGABRT", SIGABRT},
    {"SIGCONT", SIGCONT},
    {"SIGHUP", SIGHUP},
    {"SIGINT", SIGINT},
    {"SIGKILL", SIGKILL},
    {"SIGQUIT", SIGQUIT},
    {"SIGSEGV", SIGSEGV},
    {"SIGSTOP", SIGSTOP},
    {"SIGTERM", SIGTERM},
}};

/// Why a line cannot be read; the line's number is put before it further up.
class LineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void refuse(const std::string& reason) {
    throw LineError(reason);
}

/// A word as it may stand in a message: in quotes and not too long.
std::string inQuotes(std::string_view word) {
    constexpr std::size_t most = 60;
    return word.size() <= most ? "\"" + std::string(word) + "\""
                               : "\"" + std::string(word.substr(0, most)) + "...\"";
}

template <class Range>
bool contains(const Range& range, std::string_view word) {
    return std::find(range.begin(), range.end(), word) != range.end();
}

bool isName(std::string_view word) {
    const auto letter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    };
    return !word.empty() && letter(word.front()) &&
           std::all_of(word.begin(), word.end(),
                       [letter](char c) { return letter(c) || (c >= '0' && c <= '9'); });
}

/// Splits a line into words; comments go, quotes are taken off, variables are filled in.
std::vector<std::string> split(std::string_view line, const Scenario::Variables& variables) {
    std::vector<std::string> words;
    bool within = false;  // a word has begun
    bool quotes = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (!quotes && (c == ' ' || c == '\t')) {
            within = false;
            continue;
        }
        if (!quotes && c == '#') {
            break;
        }
        if (!within) {
            within = true;
            words.emplace_back();
        }
        std::string& word = words.back();
        if (c == '"') {
            quotes = !quotes;
        } else if (quotes && c == '\\') {
            ++i;
            if (i == line.size() || (line[i] != '"' && line[i] != '\\')) {
                refuse("a backslash stands before \" or \\ only");
            }
            word += line[i];
        } else if (c == '$' && i + 1 < line.size() && line[i + 1] == '{') {
            const std::size_t end = line.find('}', i);
            if (end == std::string_view::npos) {
                refuse("\"${\" without \"}\"");
            }
            const std::string name(line.substr(i + 2, end - i - 2));
            const auto found = variables.find(name);
            if (found == variables.end()) {
                refuse("variable " + inQuotes(name) + " has no value");
            }
            word += found->second;
            i = end;
        } else {
            word += c;
        }
        if (word.size() > longestWord) {
            refuse("a word is too long");
        }
    }
    if (quotes) {
        refuse("a quote is not closed");
    }
    return words;
}

/// The words of a line, taken from the front.
class Words {
public:
    explicit Words(std::vector<std::string> words) : words_(std::move(words)) {}

    bool empty() const { return next_ == words_.size(); }
    const std::string& peek() const { return words_.at(next_); }

    /// The next word; `what` names it when it is missing.
    const std::string& take(const std::string& what) {
        if (empty()) {
            refuse(what + " is missing");
        }
        return words_[next_++];
    }

    /// Takes the next word when it is this one.
    bool takeIf(std::string_view word) {
        const bool same = !empty() && peek() == word;
        next_ += same ? 1 : 0;
        return same;
    }

    void expect(std::string_view word) {
        if (take(inQuotes(word)) != word) {
            refuse("expected " + inQuotes(word) + " in place of " + inQuotes(words_[next_ - 1]));
        }
    }

    void end() const {
        if (!empty()) {
            refuse("unexpected " + inQuotes(peek()));
        }
    }

private:
    std::vector<std::string> words_;
    std::size_t next_ = 0;
};

/// A whole number, decimal or hexadecimal with 0x, not above `most`.
std::uint64_t number(const std::string& word, const std::string& what, std::uint64_t most) {
    const bool hex = word.rfind("0x", 0) == 0 || word.rfind("0X", 0) == 0;
    const char* const first = word.data() + (hex ? 2 : 0);
    const char* const last = word.data() + word.size();
    std::uint64_t value = 0;
    const auto result = std::from_chars(first, last, value, hex ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != last || value > most) {
        refuse(inQuotes(word) + " is no " + what + ": a number from 0 to " + std::to_string(most));
    }
    return value;
}

std::uint16_t number16(const std::string& word, const std::string& what) {
    return static_cast<std::uint16_t>(
        number(word, what, std::numeric_limits<std::uint16_t>::max()));
}

/// A decimal fraction at the front of the word; `rest` is what follows it.
std::optional<double> fraction(const std::string& word, std::string_view& rest) {
    if (word.empty() || word.front() < '0' || word.front() > '9') {
        return std::nullopt;
    }
    double value = 0;
    const char* const last = word.data() + word.size();
    const auto result = std::from_chars(word.data(), last, value, std::chars_format::fixed);
    rest = std::string_view(result.ptr, static_cast<std::size_t>(last - result.ptr));
    return result.ec == std::errc() ? std::optional<double>(value) : std::nullopt;
}

milliseconds takeTime(Words& words) {
    const std::string& word = words.take("a time");
    std::string_view unit;
    const auto value = fraction(word, unit);
    const double factor = unit == "ms" ? 1 : unit == "s" ? 1000 : unit == "min" ? 60000 : 0;
    if (!value || factor == 0) {
        refuse(inQuotes(word) + " is no time: a number and ms, s or min, such as 2.5s");
    }
    const double time = *value * factor;
    if (time > static_cast<double>(longestTime.count())) {
        refuse(inQuotes(word) + " is more than 30 days");
    }
    return milliseconds(std::llround(time));
}

unsigned takeLink(Words& words) {
    const std::string& word = words.take("a link");
    if (!contains(links, word)) {
        refuse(inQuotes(word) + " is no link: link1, link2 or link3");
    }
    return static_cast<unsigned>(word.back() - '0');
}

int signalNumber(const std::string& word) {
    for (const auto& [name, value] : signalNames) {
        if (name == word) {
            return value;
        }
    }
    return 0;
}

/// Takes "flags=F" when it comes next.
std::optional<std::uint16_t> takeFlags(Words& words) {
    constexpr std::string_view key = "flags=";
    if (words.empty() || words.peek().rfind(key, 0) != 0) {
        return std::nullopt;
    }
    return number16(words.take("flags").substr(key.size()), "flag word");
}

/// Data words up to the end of the line or the word `end`.
std::vector<std::uint16_t> takeDataWords(Words& words, std::string_view end = {}) {
    std::vector<std::uint16_t> data;
    while (!words.empty() && (end.empty() || words.peek() != end)) {
        if (data.size() == std::numeric_limits<std::uint16_t>::max()) {
            refuse("a frame has at most 65535 data words");
        }
        data.push_back(number16(words.take("a word"), "data word"));
    }
    return data;
}

UnitFrame takeFrame(Words& words) {
    UnitFrame frame;
    frame.id = number16(words.take("a message id"), "message id");
    frame.flags = takeFlags(words).value_or(UnitFrame::linkReady);
    frame.data = takeDataWords(words);
    return frame;
}

std::vector<std::uint8_t> takeBytes(Words& words) {
    std::vector<std::uint8_t> bytes;
    do {
        const std::string& word = words.take("a byte");
        for (std::size_t i = 0; i < word.size(); i += 2) {
            unsigned value = 0;
            const char* const first = word.data() + i;
            const char* const last = word.data() + std::min(i + 2, word.size());
            const auto result = std::from_chars(first, last, value, 16);
            if (result.ec != std::errc() || result.ptr != first + 2) {
                refuse(inQuotes(word) + " is no row of bytes: pairs of hexadecimal digits");
            }
            bytes.push_back(static_cast<std::uint8_t>(value));
        }
    } while (!words.empty());
    return bytes;
}

/// "frame ..." or "bytes ...".
std::variant<UnitFrame, std::vector<std::uint8_t>> takeContent(Words& words) {
    const std::string& kind = words.take("\"frame\" or \"bytes\"");
    if (kind == "frame") {
        return takeFrame(words);
    }
    if (kind != "bytes") {
        refuse(inQuotes(kind) + " is neither \"frame\" nor \"bytes\"");
    }
    return takeBytes(words);
}

Step::Action configure(Words& words) {
    action::Configure step;
    step.container = words.take("a container");
    step.key = words.take("a key");
    step.value = words.take("a value");
    return step;
}

Step::Action start(Words& words) {
    words.expect("server");
    return action::StartServer{};
}

Step::Action stop(Words& words) {
    const std::string& what = words.take("\"server\" or \"stream\"");
    if (what == "stream") {
        return action::StopStream{};
    }
    if (what != "server") {
        refuse(inQuotes(what) + " is neither \"server\" nor \"stream\"");
    }
    return action::StopServer{};
}

Step::Action wait(Words& words) {
    words.expect("stream");
    return action::WaitStream{};
}

Step::Action signal(Words& words) {
    const std::string& name = words.take("a signal");
    const int value = signalNumber(name);
    if (value == 0) {
        refuse(inQuotes(name) + " is no signal that is known here");
    }
    return action::Signal{value};
}

Step::Action hangUp(Words& words) {
    return action::HangUp{takeLink(words)};
}

Step::Action reconnect(Words& words) {
    return action::Reconnect{takeLink(words)};
}

template <class Record>
bool canRead(const std::string& fields) {
    Record record;
    return fromText(fields, record);
}

struct PublishedTopic {
    std::string_view name;
    bool (*canRead)(const std::string& fields);
};
constexpr std::array<PublishedTopic, 5> publishedTopics{{
    {UtcRecord::topic, &canRead<UtcRecord>},
    {PntRecord::topic, &canRead<PntRecord>},
    {PositionVelocityRecord::topic, &canRead<PositionVelocityRecord>},
    {GpsTimeRecord::topic, &canRead<GpsTimeRecord>},
    {EventRecord::topic, &canRead<EventRecord>},
}};

Step::Action publish(Words& words) {
    action::Publish step;
    step.topic = words.take("a topic");
    const auto* const topic =
        std::find_if(publishedTopics.begin(), publishedTopics.end(),
                     [&step](const auto& entry) { return entry.name == step.topic; });
    if (topic == publishedTopics.end()) {
        refuse(inQuotes(step.topic) +
               " is no topic to publish: UTCTime, MeridanePNT, "
               "PositionVelocity, GPSTime or EventLog");
    }
    while (!words.empty()) {
        const std::string& word = words.take("a field");
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos) {
            refuse(inQuotes(word) + " is no FIELD=VALUE");
        }
        const std::string field =
            word.substr(0, equals + 1) + encodeText(std::string_view(word).substr(equals + 1));
        // A blank in the name would make two fields of it.
        if (encodeText(word.substr(0, equals)) != word.substr(0, equals) ||
            !topic->canRead(field)) {
            refuse(inQuotes(word) + " is no field of " + step.topic +
                   ", or its value is no number");
        }
        step.fields += (step.fields.empty() ? "" : " ") + field;
    }
    return step;
}

Step::Action stream(Words& words) {
    action::Stream step;
    const std::string& word = words.take("a rate");
    std::string_view rest;
    const auto rate = fraction(word, rest);
    if (!rate || !rest.empty() || *rate < slowestRate || *rate > fastestRate) {
        refuse(inQuotes(word) + " is no rate: 0.1 to 1000 pairs a second");
    }
    step.rate = *rate;
    if (words.takeIf("for")) {
        const milliseconds length = takeTime(words);
        if (length > milliseconds(0)) {
            step.length = length;
        }
    }
    return step;
}

Step::Action send(Words& words) {
    action::Send step;
    step.link = takeLink(words);
    auto content = takeContent(words);
    const auto* const frame = std::get_if<UnitFrame>(&content);
    step.bytes = frame != nullptr ? frame->encode()
                                  : std::get<std::vector<std::uint8_t>>(std::move(content));
    return step;
}

Step::Action inject(Words& words) {
    action::Inject step;
    step.queue = words.take("a queue");
    if (!contains(queuesIn, step.queue)) {
        refuse(inQuotes(step.queue) + " is no queue to inject into: TREVO_MX, HALVOR_MX or DT_OUT");
    }
    step.content = takeContent(words);
    return step;
}

action::Register takeRegister(Words& words) {
    action::Register result;
    result.interface = words.take("an interface");
    result.offset = static_cast<std::uint32_t>(
        number(words.take("an offset"), "offset", std::numeric_limits<std::uint32_t>::max()));
    const std::string& width = words.take("a width");
    constexpr std::array<std::string_view, 4> widths{"8", "16", "32", "64"};
    if (!contains(widths, width)) {
        refuse(inQuotes(width) + " is no width: 8, 16, 32 or 64 bits");
    }
    result.width = static_cast<unsigned>(number(width, "width", 64));
    result.value = number(words.take("a value"), "value of " + width + " bits",
                          std::numeric_limits<std::uint64_t>::max() >> (64 - result.width));
    return result;
}

Step::Action setRegister(Words& words) {
    return action::SetRegister{takeRegister(words)};
}

action::Exit takeExit(Words& words) {
    const std::string& word = words.take("an exit status or a signal");
    const int value = signalNumber(word);
    if (value != 0) {
        return {0, value};
    }
    return {static_cast<int>(number(word, "exit status", 255)), 0};
}

action::Expect::Condition takeCondition(Words& words) {
    const std::string& what = words.take("what to expect");
    if (what == "running") {
        return action::Running{};
    }
    if (what == "exit") {
        return takeExit(words);
    }
    if (what == "solutions") {
        return action::Solutions{};
    }
    if (what == "register") {
        return takeRegister(words);
    }
    if (contains(textSources, what)) {
        const std::string& text = words.take("a text");
        if (text.empty()) {
            refuse("an empty text is in every line");
        }
        return action::Text{what, text};
    }
    if (!contains(links, what) && !contains(queuesOut, what)) {
        refuse("cannot expect " + inQuotes(what) +
               ": running, exit, solutions, register, a link, PNTD_MX, DT_IN, EventLog, "
               "MaintenanceEvent "
               "or line");
    }
    words.expect("frame");
    action::Frame frame;
    frame.source = what;
    frame.id = number16(words.take("a message id"), "message id");
    frame.flags = takeFlags(words);
    frame.words = takeDataWords(words, "within");
    return frame;
}

Step::Action expect(Words& words) {
    action::Expect step;
    step.absent = words.takeIf("no");
    step.condition = takeCondition(words);
    const bool stream = std::holds_alternative<action::Frame>(step.condition) ||
                        std::holds_alternative<action::Text>(step.condition);
    if (step.absent && !stream) {
        refuse("\"no\" stands before a frame, a record or a line only");
    }
    step.within = std::holds_alternative<action::Running>(step.condition) ? std::chrono::seconds(30)
                                                                          : defaultPatience;
    if (words.takeIf("within")) {
        step.within = takeTime(words);
    } else if (step.absent) {
        refuse("\"no\" needs \"within\" and the time to wait");
    }
    return step;
}

constexpr std::array<std::pair<std::string_view, Step::Action (*)(Words&)>, 13> verbs{{
    {"configure", configure},
    {"start", start},
    {"stop", stop},
    {"signal", signal},
    {"publish", publish},
    {"stream", stream},
    {"wait", wait},
    {"send", send},
    {"inject", inject},
    {"hangup", hangUp},
    {"reconnect", reconnect},
    {"set", setRegister},
    {"expect", expect},
}};

Step::Action takeAction(Words& words) {
    const std::string& verb = words.take("a step");
    for (const auto& [name, read] : verbs) {
        if (name == verb) {
            Step::Action result = read(words);
            words.end();
            return result;
        }
    }
    refuse("unknown step " + inQuotes(verb));
}

std::string join(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += text.empty() ? "" : " ";
        text += word.find(' ') == std::string::npos ? word : "\"" + word + "\"";
    }
    return text;
}

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
        std::vector<std::string> all = split(line, variables_);
        if (all.empty()) {
            return;
        }
        Step step;
        step.line = lineNumber;
        step.text = join(all);
        Words words(std::move(all));
        if (words.takeIf("variable")) {
            takeVariable(words);
            return;
        }
        if (words.takeIf("at")) {
            step.start = Step::Start::At;
            step.time = takeTime(words);
        } else if (words.takeIf("after")) {
            step.start = Step::Start::After;
            step.time = takeTime(words);
        }
        step.action = takeAction(words);
        steps_.push_back(std::move(step));
    }

    /// A variable that is given but not in the file; empty when there is none.
    std::string unknownVariable() const {
        for (const auto& [name, value] : given_) {
            if (!contains(defined_, name)) {
                return name;
            }
        }
        return {};
    }

    std::vector<Step> takeSteps() { return std::move(steps_); }

private:
    void takeVariable(Words& words) {
        const std::string name = words.take("a name");
        if (!isName(name)) {
            refuse(inQuotes(name) + " is no name: letters, digits and _");
        }
        const std::string value = words.take("a value");
        words.end();
        if (contains(defined_, name)) {
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
        } catch (const LineError& error) {
            throw ScenarioError(name + ":" + std::to_string(lineNumber) + ": " + error.what());
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

bool Scenario::publishesAltNavigation() const {
    return std::any_of(steps.begin(), steps.end(), [](const Step& step) {
        return publishes(step, {PositionVelocityRecord::topic, GpsTimeRecord::topic});
    });
}

}  // namespace bench
