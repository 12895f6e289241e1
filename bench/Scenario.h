#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "bench/PntDevice.h"
#include "bench/UnitFrame.h"

namespace bench {

/// A situation told as a row of timed steps, one a line. `scenarioGrammar` is the whole language;
/// README.md explains it with examples.
extern const char* const scenarioGrammar;

/// What a step does, in plain form. Names are those of the file.
namespace action {

struct Configure {
    std::string container;
    std::string key;
    std::string value;
};
struct StartServer {};
struct StopServer {};
struct Signal {
    int number = 0;
};
struct HangUp {
    unsigned link = 0;
};
struct Reconnect {
    unsigned link = 0;
};
/// One record, simulated for the instant at which the step is due.
struct Publish {
    std::string topic;
    std::string fields;  ///< what differs, in the text form of TopicRecords.h; can be read
};
/// Pairs of UTCTime and MeridanePNT, in the background.
struct Stream {
    double rate = 0;                                  ///< pairs a second
    std::optional<std::chrono::milliseconds> length;  ///< none: until it is stopped
};
struct StopStream {};
struct WaitStream {};
struct Send {
    unsigned link = 0;
    std::vector<std::uint8_t> bytes;
};
/// A record with this frame, or any bytes in the place of a record.
struct Inject {
    std::string queue;
    std::variant<UnitFrame, std::vector<std::uint8_t>> content;
};
/// A register of the FPGA and a value.
struct Register {
    std::string interface;
    std::uint32_t offset = 0;
    unsigned width = 0;  ///< bits: 8, 16, 32 or 64
    std::uint64_t value = 0;
};
struct SetRegister {
    Register content;
};
/// Something that the PNT device is set to, or sends.
struct UsePntDevice {
    std::function<void(PntDevice&)> use;
};
/// What follows, up to the next one, is a part of the run.
struct Chapter {
    std::string title;
};

/// What came so far satisfies no expectation any more.
struct Forget {};

/// The server says that it runs, and the peers have found it.
struct Running {};
struct Exit {
    int status = 0;
    int signal = 0;  ///< 0: the server left by itself, with `status`
};
/// Each published pair has given one right frame, and no frame on a link was damaged.
struct Solutions {};
/// A frame on a link or for a virtual unit, or a record of one on a queue. Data words beyond the
/// given ones are free.
struct Frame {
    std::string source;
    std::uint16_t id = 0;
    std::optional<std::uint16_t> flags;
    std::vector<std::uint16_t> words;
};
/// A record of a topic, or a line of the server's, that holds a text.
struct Text {
    std::string source;
    std::string text;
};

struct Expect {
    using Condition = std::variant<Running, Exit, Solutions, Register, Frame, Text>;
    Condition condition;
    bool absent = false;  ///< it must not come; for Frame and Text
    std::chrono::milliseconds within{0};
    std::string wanted;   ///< the condition as it stands in the file
    std::string caption;  ///< what it is called in the table of the chapters; empty: no row there
};

}  // namespace action

struct Step {
    enum class Start { Next, At, After };
    using Action =
        std::variant<action::Configure, action::StartServer, action::StopServer, action::Signal,
                     action::HangUp, action::Reconnect, action::Publish, action::Stream,
                     action::StopStream, action::WaitStream, action::Send, action::Inject,
                     action::SetRegister, action::UsePntDevice, action::Chapter, action::Forget,
                     action::Expect>;

    std::size_t line = 0;
    std::string text;  ///< the line without comment, variables filled in
    Start start = Start::Next;
    std::chrono::milliseconds time{0};  ///< for At and After
    Action action;
};

/// Why a scenario cannot be read: "NAME:LINE: reason".
class ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Scenario {
    using Variables = std::map<std::string, std::string>;

    static constexpr const char* serverLine = "line";  ///< source of Text: the server's output

    std::string name;
    std::vector<Step> steps;

    /// Reads a text; `given` replaces the values that it gives to its variables. Any bytes are
    /// safe. Raises ScenarioError.
    static Scenario parse(std::string_view text, const std::string& name,
                          const Variables& given = {});

    /// The same for a file of at most a megabyte.
    static Scenario load(const std::filesystem::path& file, const Variables& given = {});

    /// True when a step publishes what the clock device or the fusion navigator do.
    bool publishesSolutions() const;
    /// The same of the alternate navigation device.
    bool publishesAltNavigation() const;
    /// The same of the BIT server.
    bool publishesBitReports() const;

    /// True when a step publishes or expects a command or an answer.
    bool exchangesCommands() const;
};

}  // namespace bench
