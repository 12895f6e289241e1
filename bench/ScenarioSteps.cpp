#include "bench/ScenarioSteps.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <limits>
#include <utility>

#include "bench/ScenarioPntSteps.h"
#include "bench/TopicRecords.h"
#include "bench/VirtualUnits.h"

namespace bench::scenario {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds defaultPatience = std::chrono::seconds(30);
constexpr double slowestRate = 0.1;
constexpr double fastestRate = 1000;

constexpr std::array<std::string_view, 3> links{"link1", "link2", "link3"};
constexpr std::array<std::string_view, 3> queuesIn{"TREVO_MX", "HALVOR_MX", "DT_OUT"};
constexpr std::array<std::string_view, 2> queuesOut{"PNTD_MX", "DT_IN"};
constexpr std::array<std::string_view, 4> virtualUnits{"virtual1", "virtual2", "virtual3",
                                                       "virtual4"};
constexpr std::array<std::string_view, 5> textSources{EventRecord::topic, MaintenanceRecord::topic,
                                                      CommandRecord::topic, ResponseRecord::topic,
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

/// The number of a link or of a virtual unit.
unsigned lastDigit(const std::string& name) {
    return static_cast<unsigned>(name.back() - '0');
}

unsigned takeLink(Words& words) {
    const std::string& word = words.take("a link");
    if (!contains(links, word)) {
        refuse(inQuotes(word) + " is no link: link1, link2 or link3");
    }
    return lastDigit(word);
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

/// Data words up to the end of the line or one of the words `ends`; "3*0x12" stands for three of
/// them.
std::vector<std::uint16_t> takeDataWords(Words& words,
                                         const std::vector<std::string_view>& ends = {}) {
    std::vector<std::uint16_t> data;
    while (!words.empty() && !contains(ends, words.peek())) {
        const std::string& word = words.take("a word");
        const auto star = word.find('*');
        const std::size_t count =
            star == std::string::npos ? 1 : number16(word.substr(0, star), "count");
        const auto value =
            number16(star == std::string::npos ? word : word.substr(star + 1), "data word");
        if (data.size() + count > std::numeric_limits<std::uint16_t>::max()) {
            refuse("a frame has at most 65535 data words");
        }
        data.insert(data.end(), count, value);
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

UnitFrame takeStatus(Words& words) {
    const std::uint16_t id = number16(words.take("a status"), "status");
    return makeStatus(id, words.empty() ? "" : words.take("a text"));
}

/// "frame ...", "status ..." or "bytes ...".
std::variant<UnitFrame, std::vector<std::uint8_t>> takeContent(Words& words) {
    const std::string& kind = words.take("\"frame\", \"bytes\" or \"status\"");
    if (kind == "frame") {
        return takeFrame(words);
    }
    if (kind == "status") {
        return takeStatus(words);
    }
    if (kind != "bytes") {
        refuse(inQuotes(kind) + " is neither \"frame\" nor \"bytes\" nor \"status\"");
    }
    return takeBytes(words);
}

void checkFitsWrapper(std::size_t bytes) {
    constexpr std::size_t mostWords = std::numeric_limits<std::uint16_t>::max() - 1;
    if (bytes % 2 != 0 || bytes / 2 > mostWords) {
        refuse("a wrapper holds whole words, at most 65534");
    }
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
constexpr std::array<PublishedTopic, 8> publishedTopics{{
    {UtcRecord::topic, &canRead<UtcRecord>},
    {PntRecord::topic, &canRead<PntRecord>},
    {PositionVelocityRecord::topic, &canRead<PositionVelocityRecord>},
    {GpsTimeRecord::topic, &canRead<GpsTimeRecord>},
    {EventRecord::topic, &canRead<EventRecord>},
    {CommandRecord::topic, &canRead<CommandRecord>},
    {ResponseRecord::topic, &canRead<ResponseRecord>},
    {BitRecord::topic, &canRead<BitRecord>},
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
               "PositionVelocity, GPSTime, EventLog, Command, Response or BitReport");
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
    const std::string& source = words.take("a link or a virtual unit");
    auto content = takeContent(words);
    const auto* const frame = std::get_if<UnitFrame>(&content);
    if (contains(links, source)) {
        step.link = lastDigit(source);
        step.bytes = frame != nullptr ? frame->encode()
                                      : std::get<std::vector<std::uint8_t>>(std::move(content));
        return step;
    }
    if (!contains(virtualUnits, source)) {
        refuse(inQuotes(source) + " is neither link1, link2 or link3 nor virtual1 to virtual4");
    }
    const auto unit = static_cast<std::uint16_t>(lastDigit(source));
    step.link = 1;
    if (frame != nullptr) {
        checkFitsWrapper(frame->encode().size());
        step.bytes = wrap(fromVirtualUnit, unit, *frame).encode();
    } else {
        const auto& bytes = std::get<std::vector<std::uint8_t>>(content);
        checkFitsWrapper(bytes.size());
        step.bytes = wrapBytes(fromVirtualUnit, unit, bytes).encode();
    }
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
    if (!contains(links, what) && !contains(virtualUnits, what) && !contains(queuesOut, what)) {
        refuse("cannot expect " + inQuotes(what) +
               ": running, exit, solutions, register, a link, a virtual unit, PNTD_MX, DT_IN, "
               "EventLog, MaintenanceEvent, Command, Response or line");
    }
    words.expect("frame");
    action::Frame frame;
    frame.source = what;
    frame.id = number16(words.take("a message id"), "message id");
    frame.flags = takeFlags(words);
    frame.words = takeDataWords(words, {"within", "as"});
    return frame;
}

Step::Action expect(Words& words) {
    action::Expect step;
    const std::size_t first = words.taken();
    step.absent = words.takeIf("no");
    step.condition = takeCondition(words);
    step.wanted = words.takenSince(first);
    const bool stream = std::holds_alternative<action::Frame>(step.condition) ||
                        std::holds_alternative<action::Text>(step.condition);
    if (step.absent && !stream) {
        refuse("\"no\" stands before a frame, a record or a line only");
    }
    step.within = defaultPatience;
    if (words.takeIf("within")) {
        step.within = takeTime(words);
    } else if (step.absent) {
        refuse("\"no\" needs \"within\" and the time to wait");
    }
    if (words.takeIf("as")) {
        step.caption = words.take("a text");
    }
    return step;
}

Step::Action forget(Words& /*words*/) {
    return action::Forget{};
}

Step::Action chapter(Words& words) {
    return action::Chapter{words.take("a title")};
}

constexpr std::array<std::pair<std::string_view, Step::Action (*)(Words&)>, 16> verbs{{
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
    {"pntd", takePntDeviceStep},
    {"chapter", chapter},
    {"forget", forget},
    {"expect", expect},
}};

}  // namespace

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

}  // namespace bench::scenario
