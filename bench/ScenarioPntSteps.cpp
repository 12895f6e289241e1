#include "bench/ScenarioPntSteps.h"

#include <array>
#include <utility>

#include "bench/PntMessages.h"

namespace bench::scenario {
namespace {

using Use = std::function<void(PntDevice&)>;
using State = PntDevice::State;
using Answer = PntDevice::Answer;

Use changing(std::function<void(State&)> edit) {
    return [edit = std::move(edit)](PntDevice& device) { device.change(edit); };
}

Use sending(UnitFrame frame) {
    return [frame = std::move(frame)](PntDevice& device) { device.send(frame); };
}

template <class Value>
using Choice = std::pair<std::string_view, Value>;

/// The value of the next word, which is one of the choices.
template <class Value, std::size_t N>
Value takeChoice(Words& words, const std::string& what,
                 const std::array<Choice<Value>, N>& choices) {
    const std::string& word = words.take(what);
    std::string known;
    for (const auto& [name, value] : choices) {
        if (name == word) {
            return value;
        }
        known += (known.empty() ? "" : ", ") + std::string(name);
    }
    refuse(inQuotes(word) + " is no " + what + ": " + known);
}

unsigned takeType(Words& words) {
    constexpr std::array<Choice<unsigned>, 4> types{
        {{"other", 0U}, {"post", pnt::post}, {"bbit", pnt::bbit}, {"cbit", pnt::cbit}}};
    return takeChoice(words, "kind of test", types);
}

unsigned takeByte(Words& words, const std::string& what) {
    return static_cast<unsigned>(number(words.take("a " + what), what, 255));
}

/// A text that fits a field of the device's messages.
std::string takeText(Words& words, const std::string& what, std::size_t most) {
    const std::string& text = words.take(what);
    if (text.size() > most) {
        refuse(what + " has more than " + std::to_string(most) + " characters");
    }
    return text;
}

bool takePass(Words& words) {
    constexpr std::array<Choice<bool>, 2> outcomes{{{"pass", true}, {"fail", false}}};
    return takeChoice(words, "outcome", outcomes);
}

bool takeOpen(Words& words) {
    constexpr std::array<Choice<bool>, 2> sides{{{"open", true}, {"closed", false}}};
    return takeChoice(words, "side", sides);
}

Use turnOn(Words& /*words*/) {
    return changing([](State& state) { state.answering = true; });
}

Use turnOff(Words& /*words*/) {
    return changing([](State& state) { state.answering = false; });
}

Use fault(Words& words) {
    constexpr std::array<Choice<unsigned>, 3> kinds{
        {{"intermittent", 1U}, {"hard", 2U}, {"other", 3U}}};
    pnt::Entry entry;
    entry.type = takeType(words);
    entry.test = takeByte(words, "test");
    entry.fault = takeChoice(words, "kind of fault", kinds);
    return changing([entry](State& state) { state.entries.push_back(entry); });
}

Use well(Words& /*words*/) {
    return changing([](State& state) { state.entries.clear(); });
}

Use label(Words& words) {
    pnt::Label label;
    label.type = takeType(words);
    label.test = takeByte(words, "test");
    label.text = takeText(words, "a label", 56);
    return changing([label](State& state) { state.labels.push_back(label); });
}

Use ids(Words& words) {
    constexpr std::size_t most = 16;
    pnt::Ids ids;
    ids.hardware = takeText(words, "a hardware number", most);
    ids.serial = takeText(words, "a serial number", most);
    ids.software = takeText(words, "a software version", most);
    ids.firmware = takeText(words, "a firmware version", most);
    ids.os = takeText(words, "a version of the OS", most);
    return changing([ids](State& state) { state.ids = ids; });
}

Use zeroize(Words& words) {
    constexpr std::array<Choice<Answer>, 3> answers{
        {{"pass", Answer::Pass}, {"fail", Answer::Fail}, {"silent", Answer::Silent}}};
    const Answer answer = takeChoice(words, "answer", answers);
    return changing([answer](State& state) { state.zeroize = answer; });
}

Use slip(Words& words) {
    constexpr std::array<Choice<Answer>, 3> answers{
        {{"open", Answer::Pass}, {"closed", Answer::Fail}, {"silent", Answer::Silent}}};
    const Answer answer = takeChoice(words, "answer", answers);
    return changing([answer](State& state) { state.slip = answer; });
}

Use sendStatus(Words& /*words*/) {
    return [](PntDevice& device) { device.sendBitStatus(); };
}

Use sendLabels(Words& /*words*/) {
    return [](PntDevice& device) { device.sendFaultLabels(); };
}

Use sendIds(Words& /*words*/) {
    return [](PntDevice& device) { device.sendIds(); };
}

Use sendLog(Words& words) {
    pnt::LogReport report{0, "LOG", "PNTD", "NONE", "NONE", ""};
    report.text = takeText(words, "a text", 56);
    return sending(pnt::makeLogReport(report));
}

/// The report of a failed test, which is a fault of the device.
Use sendReport(Words& words) {
    constexpr unsigned faultOfDevice = 1U << 2U;
    constexpr unsigned postFailed = 1U << 4U;
    pnt::FaultReport report{0, 0, 0, "", "PNTD", "FAIL", "NONE"};
    const unsigned type = takeType(words);
    report.flags = type | faultOfDevice | (type == 0 ? 0U : postFailed << (type - 1));
    report.test = takeByte(words, "test");
    report.category = takeText(words, "a category", 10);
    return sending(pnt::makeFaultReport(report));
}

Use sendSanitize(Words& words) {
    return sending(pnt::makeSanitizeStatus(takePass(words)));
}

Use sendSlip(Words& words) {
    return sending(pnt::makeSlipStatus(takeOpen(words)));
}

Use sendTransfer(Words& words) {
    constexpr std::array<Choice<unsigned>, 3> outcomes{
        {{"running", 1U}, {"failed", 2U}, {"passed", 3U}}};
    const auto unit = static_cast<unsigned>(number(words.take("a unit"), "unit", 7));
    const auto port = static_cast<unsigned>(number(words.take("a port"), "port", 3));
    return sending(pnt::makeTransferStatus(unit, port, takeChoice(words, "outcome", outcomes)));
}

using Read = Use (*)(Words&);

Use send(Words& words) {
    constexpr std::array<Choice<Read>, 8> contents{{
        {"status", sendStatus},
        {"labels", sendLabels},
        {"ids", sendIds},
        {"log", sendLog},
        {"report", sendReport},
        {"sanitize", sendSanitize},
        {"slip", sendSlip},
        {"transfer", sendTransfer},
    }};
    return takeChoice(words, "message", contents)(words);
}

constexpr std::array<Choice<Read>, 9> verbs{{
    {"on", turnOn},
    {"off", turnOff},
    {"fault", fault},
    {"well", well},
    {"label", label},
    {"ids", ids},
    {"zeroize", zeroize},
    {"slip", slip},
    {"send", send},
}};

}  // namespace

Step::Action takePntDeviceStep(Words& words) {
    return action::UsePntDevice{takeChoice(words, "use of the PNT device", verbs)(words)};
}

}  // namespace bench::scenario
