#include "bench/UnitSettings.h"

#include <algorithm>
#include <stdexcept>

namespace bench {
namespace {

constexpr std::size_t keptDefects = 20;

/// Why a message cannot be read.
class Unreadable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void refuse(const std::string& what, unsigned value) {
    throw Unreadable(what + " " + std::to_string(value));
}

/// The data words of a frame. Each one that is read counts as known; the rest must be 0.
class Words {
public:
    Words(const UnitFrame& frame, std::size_t count) : words_(frame.data), known_(count) {
        if (words_.size() != count) {
            throw Unreadable(std::to_string(words_.size()) + " data words in place of " +
                             std::to_string(count));
        }
    }

    unsigned at(std::size_t place) {
        known_.at(place) = true;
        return words_.at(place);
    }

    void expectRestIsZero() const {
        for (std::size_t i = 0; i < words_.size(); ++i) {
            if (!known_[i] && words_[i] != 0) {
                refuse("data word " + std::to_string(i) + " is", words_[i]);
            }
        }
    }

private:
    const std::vector<std::uint16_t>& words_;
    std::vector<bool> known_;
};

template <class Value>
struct Code {
    unsigned code;
    Value value;
};

template <class Value, std::size_t count>
Value meaning(const std::array<Code<Value>, count>& codes, unsigned code, const std::string& what) {
    const auto* const found =
        std::find_if(codes.begin(), codes.end(),
                     [code](const Code<Value>& entry) { return entry.code == code; });
    if (found == codes.end()) {
        refuse(what, code);
    }
    return found->value;
}

constexpr std::array<Code<unsigned>, 13> bauds{{{0, 9600},
                                                {1, 300},
                                                {2, 600},
                                                {3, 1200},
                                                {4, 2400},
                                                {5, 4800},
                                                {6, 19200},
                                                {7, 76800},
                                                {10, 38400},
                                                {11, 115200},
                                                {12, 230400},
                                                {13, 460800},
                                                {14, 921600}}};
constexpr std::array<Code<const char*>, 3> parities{{{0, "None"}, {1, "Odd"}, {2, "Even"}}};
constexpr std::array<Code<const char*>, 2> protocols{{{0, "153D"}, {2, "NMEA"}}};
constexpr std::array<Code<const char*>, 4> pulses{
    {{0, "Off"}, {1, "1PPS UTC"}, {2, "1PPS T-Mark"}, {3, "10 PPS UTC"}}};
constexpr std::array<Code<const char*>, 14> sentenceNames{{{0, "none"},
                                                           {1, "DTM"},
                                                           {2, "GBS"},
                                                           {3, "GGA"},
                                                           {4, "GLL"},
                                                           {5, "GNS"},
                                                           {6, "GRS"},
                                                           {7, "GSA"},
                                                           {8, "GST"},
                                                           {9, "GSV"},
                                                           {10, "HDT"},
                                                           {11, "RMC"},
                                                           {12, "VTG"},
                                                           {13, "ZDA"}}};
constexpr std::array<Code<const char*>, 3> scenarios{{{2, "LNAV"}, {3, "MNAV"}, {4, "BOTH"}}};
constexpr std::array<Code<const char*>, 2> capabilityWords{{{8, "CORVANE"}, {9, "ZEPHON"}}};

unsigned portNumber(unsigned port) {
    if (port < 1 || port > 3) {
        refuse("port", port);
    }
    return port;
}

std::optional<PortLine> readLine(Words& words, bool meant, std::size_t first) {
    const unsigned protocol = words.at(first);
    const unsigned baud = words.at(first + 1);
    const unsigned parity = words.at(first + 2);
    if (!meant) {
        if (protocol != 0 || baud != 0 || parity != 0) {
            throw Unreadable("parameters that are not marked");
        }
        return std::nullopt;
    }
    return PortLine{meaning(bauds, baud, "rate code"), meaning(parities, parity, "parity"),
                    meaning(protocols, protocol, "protocol")};
}

UnitSetting readPortSetup(const UnitFrame& frame) {
    constexpr unsigned receive = 0x8000;
    constexpr unsigned transmit = 0x4000;
    constexpr unsigned pulse = 0x0200;
    constexpr unsigned redundant = 0x0080;
    constexpr std::size_t firstSentence = 37;
    constexpr std::size_t sentenceCount = 7;

    Words words(frame, 50);
    const unsigned mask = words.at(18);
    if ((mask & ~(receive | transmit | pulse | redundant)) != 0) {
        refuse("validity mask", mask);
    }
    PortSetup setup;
    setup.port = portNumber(words.at(20));
    setup.receive = readLine(words, (mask & receive) != 0, 21);
    setup.transmit = readLine(words, (mask & transmit) != 0, 24);
    for (std::size_t i = 0; i < sentenceCount; ++i) {
        setup.sentences.emplace_back(
            meaning(sentenceNames, words.at(firstSentence + i), "sentence"));
    }
    if ((mask & pulse) != 0) {
        setup.pulse = meaning(pulses, words.at(45), "pulse");
    }
    if ((mask & redundant) != 0) {
        const unsigned single = words.at(47);
        if (single > 1) {
            refuse("redundancy", single);
        }
        setup.redundant = single == 0;
    }
    words.expectRestIsZero();
    return setup;
}

/// A selection of one port: bit 0 is COM1.
unsigned selectedPort(unsigned select) {
    constexpr std::array<Code<unsigned>, 3> selects{{{1, 1}, {2, 2}, {4, 3}}};
    return meaning(selects, select, "port selection");
}

UnitSetting readMessageConnect(const UnitFrame& frame) {
    constexpr unsigned connect = 2;
    constexpr unsigned most = 40;

    Words words(frame, 85);
    if (words.at(0) != connect) {
        refuse("operation", words.at(0));
    }
    const unsigned select = words.at(2);
    if (words.at(3) != select) {
        throw Unreadable("two port selections that differ");
    }
    const unsigned count = words.at(4);
    if (count > most) {
        refuse("number of messages", count);
    }
    MessageConnect result{selectedPort(select), {}};
    for (std::size_t i = 0; i < count; ++i) {
        result.messages.push_back(static_cast<std::uint16_t>(words.at(5 + 2 * i)));
        if (words.at(6 + 2 * i) != select) {
            throw Unreadable("a message for another port");
        }
    }
    words.expectRestIsZero();
    return result;
}

UnitSetting readHotStart(const UnitFrame& frame) {
    constexpr unsigned hotStart = 0x2400;  // the first and the third of the four flags

    Words words(frame, 10);
    if (words.at(4) != hotStart) {
        refuse("transfer flags", words.at(4));
    }
    const HotStart result{portNumber(words.at(7)), meaning(scenarios, words.at(9), "scenario")};
    words.expectRestIsZero();
    return result;
}

UnitSetting readConfiguration(const UnitFrame& frame) {
    constexpr unsigned request = 1;
    constexpr unsigned superUser = 2;
    constexpr unsigned option = 3;

    Words words(frame, 9);
    const unsigned kind = words.at(4);
    const unsigned content = words.at(5);
    words.expectRestIsZero();
    const unsigned unit = content & 7U;
    const unsigned port = content >> 3U & 3U;
    const unsigned output = content >> 8U;
    if ((content & 0xE0U) != 0) {
        refuse("unit and port", content);
    }
    switch (kind) {
        case request:
            if (content != 0) {
                refuse("request with a content of", content);
            }
            return ConfigurationRequest{};
        case superUser:
            if (unit > VirtualUnits::count || output != 0) {
                refuse("super user", content);
            }
            return SuperUser{unit, port};
        case option:
            if (unit < 1 || unit > VirtualUnits::count) {
                refuse("virtual unit", unit);
            }
            return ReceiverCapabilities{unit, portNumber(port),
                                        meaning(capabilityWords, output, "capabilities")};
        default:
            refuse("command", kind);
    }
}

template <class Range, class ToText>
std::string joined(const Range& range, const ToText& text) {
    std::string result;
    for (const auto& entry : range) {
        result += (result.empty() ? "" : ",") + text(entry);
    }
    return result.empty() ? "none" : result;
}

std::string joined(const std::vector<std::uint16_t>& messages) {
    return joined(messages, [](std::uint16_t id) { return std::to_string(id); });
}

/// The sentences without the empty places behind the last.
std::string joined(std::vector<std::string> sentences) {
    while (!sentences.empty() && sentences.back() == "none") {
        sentences.pop_back();
    }
    return joined(sentences, [](const std::string& name) { return name; });
}

std::string portName(unsigned port) {
    return "COM" + std::to_string(port);
}

std::string portName(unsigned unit, unsigned port) {
    return "ZP" + std::to_string(unit) + portName(port);
}

std::string toText(const PortLine& line) {
    return std::to_string(line.baud) + " " + line.parity + " " + line.protocol;
}

std::string onOrOff(bool on) {
    return on ? "On" : "Off";
}

bool hasSentences(const std::vector<std::string>& sentences) {
    return std::any_of(sentences.begin(), sentences.end(),
                       [](const std::string& name) { return name != "none"; });
}

/// Parts of a line, commas between them.
class Parts {
public:
    void add(const std::string& name, const std::string& value) {
        text_ += (text_.empty() ? "" : ", ") + name + " " + value;
    }
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

struct TextOf {
    std::string operator()(const PortSetup& setup) const {
        Parts parts;
        if (setup.transmit) {
            parts.add("transmit", toText(*setup.transmit));
        }
        if (setup.receive) {
            parts.add("receive", toText(*setup.receive));
        }
        if (setup.pulse) {
            parts.add("pulse", *setup.pulse);
        }
        if (setup.redundant) {
            parts.add("redundant", onOrOff(*setup.redundant));
        }
        if (hasSentences(setup.sentences)) {
            parts.add("sentences", joined(setup.sentences));
        }
        return portName(setup.port) + " " + parts.text();
    }
    std::string operator()(const MessageConnect& connect) const {
        return portName(connect.port) + " messages " + joined(connect.messages);
    }
    std::string operator()(const HotStart& start) const {
        return portName(start.port) + " hot start " + start.type;
    }
    std::string operator()(const ConfigurationRequest& /*request*/) const { return "request"; }
    std::string operator()(const SuperUser& user) const {
        return "super user " + portName(user.unit, user.port);
    }
    std::string operator()(const ReceiverCapabilities& option) const {
        return portName(option.unit, option.port) + " capabilities " + option.capabilities;
    }
};

UnitSetting read(const UnitFrame& frame) {
    switch (frame.id) {
        case portSetupId:
            return readPortSetup(frame);
        case messageConnectId:
            return readMessageConnect(frame);
        case dataTransferId:
            return readHotStart(frame);
        case configurationId:
            return readConfiguration(frame);
        default:
            refuse("message", frame.id);
    }
}

/// True for a message that is a setting in the form, wrapped or not, in which it must come.
bool isSetting(const VirtualFrame& frame) {
    switch (frame.frame.id) {
        case portSetupId:
        case messageConnectId:
        case dataTransferId:
            return frame.wrapped;
        case configurationId:
            return !frame.wrapped;
        default:
            return false;
    }
}

}  // namespace

std::optional<UnitSetting> decodeSetting(const UnitFrame& frame, std::string* defect) {
    try {
        return read(frame);
    } catch (const Unreadable& reason) {
        if (defect != nullptr) {
            *defect = reason.what();
        }
        return std::nullopt;
    }
}

std::string toText(const UnitSetting& setting) {
    return std::visit(TextOf(), setting);
}

UnitSettings UnitSettings::of(const VirtualUnits& units) {
    UnitSettings result;
    for (unsigned unit = 1; unit <= VirtualUnits::count; ++unit) {
        for (const VirtualFrame& frame : units.frames(unit)) {
            result.take(unit, frame);
        }
    }
    return result;
}

void UnitSettings::take(unsigned unit, const VirtualFrame& frame) {
    if (!isSetting(frame)) {
        return;
    }
    std::string defect;
    const auto setting = decodeSetting(frame.frame, &defect);
    if (setting) {
        std::visit([this, unit](const auto& known) { apply(unit, known); }, *setting);
    } else if (defects_.size() < keptDefects) {
        defects_.push_back("virtual unit " + std::to_string(unit) + ", message " +
                           std::to_string(frame.frame.id) + ": " + defect);
    }
}

void UnitSettings::apply(unsigned unit, const PortSetup& setting) {
    Port& port = ports_[{unit, setting.port}];
    if (setting.transmit) {
        port.transmit = setting.transmit;
        // Sentences have no mark of their own. They are meant by a message for the transmit side
        // alone; one that sets up the whole port has zeroes in their places.
        if (setting.transmit->protocol != "NMEA") {
            port.sentences.reset();
        } else if (!setting.receive) {
            port.sentences = setting.sentences;
        }
    }
    if (setting.receive) {
        port.receive = setting.receive;
    }
    if (setting.pulse) {
        port.pulse = setting.pulse;
    }
    if (setting.redundant) {
        port.redundant = setting.redundant;
    }
}

void UnitSettings::apply(unsigned unit, const MessageConnect& setting) {
    ports_[{unit, setting.port}].messages = setting.messages;
}

void UnitSettings::apply(unsigned unit, const HotStart& setting) {
    ports_[{unit, setting.port}].hotStart = setting.type;
}

void UnitSettings::apply(unsigned /*unit*/, const ConfigurationRequest& /*setting*/) {}

void UnitSettings::apply(unsigned /*unit*/, const SuperUser& setting) {
    superUser_ = setting;
}

void UnitSettings::apply(unsigned unit, const ReceiverCapabilities& setting) {
    if (setting.unit == unit) {  // each unit hears what is for the others, too
        ports_[{setting.unit, setting.port}].capabilities = setting.capabilities;
    }
}

UnitSettings::Port UnitSettings::port(unsigned unit, unsigned number) const {
    const auto found = ports_.find({unit, number});
    return found == ports_.end() ? Port() : found->second;
}

std::vector<std::string> UnitSettings::lines() const {
    std::vector<std::string> result;
    for (const auto& [place, port] : ports_) {
        Parts parts;
        if (port.transmit) {
            parts.add("transmit", toText(*port.transmit));
        }
        if (port.receive) {
            parts.add("receive", toText(*port.receive));
        }
        if (port.pulse) {
            parts.add("pulse", *port.pulse);
        }
        if (port.redundant) {
            parts.add("redundant", onOrOff(*port.redundant));
        }
        if (port.sentences) {
            parts.add("sentences", joined(*port.sentences));
        }
        if (port.messages) {
            parts.add("messages", joined(*port.messages));
        }
        if (port.capabilities) {
            parts.add("capabilities", *port.capabilities);
        }
        if (port.hotStart) {
            parts.add("hot start", *port.hotStart);
        }
        result.push_back(portName(place.first, place.second) + " " + parts.text());
    }
    if (superUser_) {
        result.push_back(toText(UnitSetting(*superUser_)));
    }
    result.insert(result.end(), defects_.begin(), defects_.end());
    return result;
}

}  // namespace bench
