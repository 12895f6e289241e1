// The real program gssip-dump on files, pipes, a pseudo-terminal and the bytes of queues.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench/ChildProcess.h"
#include "bench/FileDescriptor.h"
#include "bench/PseudoTerminal.h"
#include "bench/QueueRecord.h"
#include "bench/TemporaryFolder.h"
#include "bench/UnitFrame.h"
#include "gmock/gmock.h"
#include "messages/DeclaredLayouts.h"
#include "messages/KnownMessages.h"

namespace {

using bench::ChildProcess;
using bench::QueueRecord;
using bench::UnitFrame;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

constexpr std::chrono::seconds deadline(60);

std::string programPath() {
    return (bench::programFolder() / "gssip-dump").string();
}

Bytes operator+(Bytes first, Bytes const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes bytesOf(std::uint16_t id, std::vector<std::uint16_t> data = {},
              std::uint16_t flags = UnitFrame::linkReady) {
    return UnitFrame{id, flags, std::move(data)}.encode();
}

Lines linesOf(std::string const& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// How the program ended and what it printed.
struct Result {
    int status = -1;  ///< -1 when it did not end by itself
    std::string output;
    std::string errors;

    Lines lines() const { return linesOf(output); }
    std::vector<json> objects() const {
        std::vector<json> objects;
        for (auto const& line : lines()) {
            objects.push_back(json::parse(line));
        }
        return objects;
    }
};

Result resultOf(ChildProcess const& process) {
    const auto exit = process.wait(deadline);
    return {exit && exit->signal == 0 ? exit->status : -1, process.standardOutput(),
            process.standardError()};
}

/// Waits until it is so.
template <typename Condition>
bool becomes(Condition const& condition) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Whether a process has blocked a signal.
bool holdsBack(pid_t process, int signal) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    const std::string name = "SigBlk:";
    for (std::string line; std::getline(status, line);) {
        if (line.substr(0, name.size()) == name) {
            const auto blocked = std::stoull(line.substr(name.size()), nullptr, 16);
            return (blocked >> static_cast<unsigned>(signal - 1) & 1U) != 0;
        }
    }
    return false;
}

class GssipDump : public testing::Test {
protected:
    std::string write(Bytes const& bytes, std::string const& name = "capture") const {
        std::string path = folder_.path() / name;
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<char const*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return path;
    }

    Result dump(Bytes const& bytes, Lines arguments = {}) const {
        arguments.push_back(write(bytes));
        return run(std::move(arguments));
    }

    static Result run(Lines arguments) {
        const ChildProcess process(programPath(), {std::move(arguments), {}, {}});
        return resultOf(process);
    }

    /// A line of the shell, with the program as $DUMP.
    static Result shell(std::string const& line) {
        const ChildProcess process("/bin/bash", {{"-c", line}, {{"DUMP", programPath()}}, {}});
        return resultOf(process);
    }

    bench::TemporaryFolder folder_;
};

// Every message.

/// A frame with letters in all of its data, so that every field has a value that shows its place.
Bytes patternOf(KnownMessage const& message) {
    std::size_t words = 2;
    for (auto const& layout : declaredLayouts()) {
        if (layout.name == message.layout) {
            words = layout.words;
        }
    }
    if (message.layout == "PntdWrapLayout") {
        UnitFrame const inner{5000, UnitFrame::linkReady, std::vector<std::uint16_t>(10, 0x4241)};
        Bytes const bytes = inner.encode();
        std::vector<std::uint16_t> data{3};
        for (std::size_t i = 0; i < bytes.size(); i += 2) {
            data.push_back(static_cast<std::uint16_t>(bytes[i] | bytes[i + 1] << 8U));
        }
        return bytesOf(static_cast<std::uint16_t>(message.id), data);
    }
    std::vector<std::uint16_t> data;
    for (std::size_t i = 0; i < words; ++i) {
        const auto low = static_cast<std::uint16_t>('A' + 2 * i % 26);
        data.push_back(static_cast<std::uint16_t>((low + 1) << 8U | low));
    }
    return bytesOf(static_cast<std::uint16_t>(message.id), data);
}

TEST_F(GssipDump, ShowsEveryKnownMessageAsTheGoldenFileHasIt) {
    Bytes capture;
    for (auto const& message : knownMessages) {
        capture = capture + patternOf(message);
    }
    const Result result = dump(capture, {"--json"});
    EXPECT_EQ(0, result.status) << result.errors;
    std::ifstream golden(ZEPHON_GOLDEN_FILE);
    const std::string expected{std::istreambuf_iterator<char>(golden), {}};
    Lines shown;
    for (auto const& line : result.lines()) {
        auto object = nlohmann::ordered_json::parse(line);
        object.erase("offset");  // so that a new message changes no line but its own
        shown.push_back(object.dump());
    }
    EXPECT_EQ(linesOf(expected), shown);
}

TEST_F(GssipDump, HasAGoldenLineWithEveryFieldOfEveryDeclaredMessage) {
    std::ifstream golden(ZEPHON_GOLDEN_FILE);
    std::map<unsigned, json> shown;
    for (std::string line; std::getline(golden, line);) {
        const json object = json::parse(line);
        shown[object["id"]] = object.value("fields", json::object());
    }
    for (auto const& layout : declaredLayouts()) {
        if (!layout.head) {
            continue;
        }
        for (auto const& field : layout.fields) {
            EXPECT_TRUE(shown[layout.head->id].contains(field.name))
                << layout.name << "::" << field.name;
        }
    }
}

// Lines.

TEST_F(GssipDump, PrintsALineForEachFrame) {
    const Bytes capture = bytesOf(8040, std::vector<std::uint16_t>(25), 0x9000) +
                          bytesOf(4711, {1}, 0x8000) + bytesOf(5001, {1, 2, 3, 4, 5}, 0);
    const Result result = dump(capture);
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.errors, IsEmpty());
    EXPECT_THAT(
        result.lines(),
        ElementsAre("       0  8040 state of the receiver, from the engine; 25 words; link ready, "
                    "ACK request",
                    "      62  4711 unknown message; 1 word; link ready",
                    "      76  5001 command, to and from the engine; 5 words; no flags"));
}

TEST_F(GssipDump, NamesTheFramesOfTheHandshake) {
    const Bytes capture = UnitFrame::makeAck(5001).encode() + UnitFrame::makeNak(5001).encode() +
                          UnitFrame::makeResponse(27560).encode() +
                          UnitFrame::makeReject(4711).encode() + bytesOf(5000, {}, 0x9000);
    EXPECT_THAT(
        dump(capture).lines(),
        ElementsAre("       0  5001 ACK of command; 0 words; link ready, ACK",
                    "      10  5001 NAK of command; 0 words; link ready, NAK",
                    "      20  27560 response of configuration command; 0 words; link ready, "
                    "response",
                    "      30  4711 reject of unknown message; 0 words; link ready, response, "
                    "reject",
                    "      40  5000 request of a data transfer, to the engine; 0 words; link "
                    "ready, ACK request"));
}

TEST_F(GssipDump, ShowsTheFrameWithinAWrapper) {
    for (auto const& message : knownMessages) {
        if (message.id == 27553) {
            EXPECT_THAT(
                dump(patternOf(message), {"--verbose"}).lines(),
                testing::IsSupersetOf(
                    {"       0  27553 frame to and from one virtual unit, from the unit; 17 "
                     "words; link ready; unit 3: 5000 request of a data transfer, to the "
                     "engine; 10 words; link ready",
                     "          VirtualUnit = 3", "          Scenario = 16961"}));
        }
    }
}

TEST_F(GssipDump, TellsWhatIsWrongWithinAWrapper) {
    // No room for a header; a header alone that tells data; a bad checksum of the header.
    const Bytes capture =
        bytesOf(27553, {1, 0x81FF}) + bytesOf(27553, {1, 0x81FF, 5000, 10, 0x8000, 0xE66F}) +
        bytesOf(27553, {1, 0x81FF, 5000, 0, 0x8000, 1}) + bytesOf(27553, {1, 0, 0, 0, 0, 0});
    const Result result = dump(capture);
    EXPECT_EQ(1, result.status);
    const Lines lines = result.lines();
    ASSERT_EQ(4U, lines.size());
    EXPECT_THAT(lines[0], HasSubstr("; no frame within"));
    EXPECT_THAT(lines[1], HasSubstr("5000 request of a data transfer"));
    EXPECT_THAT(lines[1], HasSubstr("; cut short"));
    EXPECT_THAT(lines[2], HasSubstr("; bad header checksum"));
    EXPECT_THAT(lines[3], HasSubstr("; no delimiter"));
}

// What is no frame.

TEST_F(GssipDump, TellsSkippedBytesWithTheirOffsetAndNumber) {
    const Result result = dump(Bytes{1, 2, 0xFF, 3} + bytesOf(5000) + Bytes{7} + bytesOf(5001));
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.lines(),
                ElementsAre("       0  skipped 4 bytes", HasSubstr("       4  5000 "),
                            "      14  skipped 1 byte", HasSubstr("      15  5001 ")));
}

TEST_F(GssipDump, TellsBadChecksumsAndFindsTheFrameBehind) {
    Bytes badHeader = bytesOf(5000);
    badHeader[8] = static_cast<std::uint8_t>(badHeader[8] + 1);
    Bytes badData = bytesOf(5044, std::vector<std::uint16_t>(21));
    badData[20] = 1;
    const Result result = dump(badHeader + badData + bytesOf(5001));
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(
        result.lines(),
        ElementsAre("       0  bad header checksum: 5000 request of a data transfer, 0 words",
                    "      10  bad data checksum: 5044 status with text, 21 words",
                    "       0  skipped 64 bytes", HasSubstr("      64  5001 ")));
}

TEST_F(GssipDump, FindsAFrameWithinADamagedOne) {
    Bytes damaged = bytesOf(5044, std::vector<std::uint16_t>(21, 0x1111));
    const Bytes inner = bytesOf(5001);
    std::copy(inner.begin(), inner.end(), damaged.begin() + 20);
    EXPECT_THAT(dump(damaged).lines(),
                ElementsAre(HasSubstr("       0  bad data checksum"), "       0  skipped 20 bytes",
                            HasSubstr("      20  5001 "), "      30  skipped 24 bytes"));
}

TEST_F(GssipDump, TellsAnEndThatIsCutShort) {
    const Bytes frame = bytesOf(8040, std::vector<std::uint16_t>(25));
    const Bytes whole = bytesOf(5001);
    const Result inData = dump(whole + Bytes(frame.begin(), frame.end() - 1));
    EXPECT_EQ(1, inData.status);
    EXPECT_THAT(inData.lines(), ElementsAre(HasSubstr("5001"),
                                            "      10  cut short: the input ends after 61 of 62 "
                                            "bytes",
                                            "      10  skipped 61 bytes"));
    const Result inHeader = dump(Bytes(frame.begin(), frame.begin() + 9));
    EXPECT_THAT(inHeader.lines(), ElementsAre("       0  cut short: the input ends after 9 bytes",
                                              "       0  skipped 9 bytes"));
    EXPECT_THAT(dump({0xFF}).lines(), ElementsAre("       0  skipped 1 byte"));
}

TEST_F(GssipDump, FindsAtTheEndTheFramesThatAFalseStartHeldBack) {
    // A good header that tells more words than the input has.
    const std::vector<std::uint16_t> header{0x81FF, 5040, 60000, 0x8000};
    std::uint16_t sum = 0;
    Bytes start;
    for (std::uint16_t word : header) {
        sum = static_cast<std::uint16_t>(sum + word);
        start.insert(start.end(), {static_cast<std::uint8_t>(word & 0xFFU),
                                   static_cast<std::uint8_t>(word >> 8U)});
    }
    sum = static_cast<std::uint16_t>(-sum);
    start.insert(start.end(),
                 {static_cast<std::uint8_t>(sum & 0xFFU), static_cast<std::uint8_t>(sum >> 8U)});
    EXPECT_THAT(dump(start + bytesOf(5001) + bytesOf(5000)).lines(),
                ElementsAre("       0  cut short: the input ends after 30 of 120012 bytes",
                            "       0  skipped 10 bytes", HasSubstr("      10  5001"),
                            HasSubstr("      20  5000")));
}

// Fields.

TEST_F(GssipDump, PrintsFieldsWithUnitsWhenVerbose) {
    std::vector<std::uint16_t> data(20);
    data[0] = 0x0000;
    data[1] = 0x4148;  // 12.5 as a float
    data[6] = 0x0000;
    data[7] = 0xBF80;  // -1
    data[8] = 0xFFFF;
    data[9] = 0x7FFF;  // not a number
    data[10] = 77;
    const Result text = dump(bytesOf(30000, data), {"-v"});
    EXPECT_THAT(text.lines(),
                testing::IsSupersetOf(
                    {"          Time = 12.5 s", "          DistanceOf5040Word36 = -1 m",
                     "          DistanceOf5040Word82 = nan m", "          From5040Word42 = 77"}));
    const json object = dump(bytesOf(30000, data), {"--json"}).objects().at(0);
    EXPECT_EQ(12.5, object["fields"]["Time"]);
    EXPECT_EQ("s", object["units"]["Time"]);
    EXPECT_TRUE(object["fields"]["DistanceOf5040Word82"].is_null());
    EXPECT_FALSE(object["units"].contains("From5040Word42"));
}

TEST_F(GssipDump, GivesAFloatItsFewestDigits) {
    std::vector<std::uint16_t> data(20);
    data[0] = 0xCCCD;
    data[1] = 0x3DCC;  // 0.1
    EXPECT_THAT(dump(bytesOf(30000, data), {"--json"}).output, HasSubstr("\"Time\":0.1,"));
}

TEST_F(GssipDump, CutsTextAtItsFieldAndShowsNoControlCharacter) {
    std::vector<std::uint16_t> data(21, 0x4141);
    data[5] = 0x1B07;  // ESC and BEL
    data[6] = 0x9BFF;
    data[7] = 0x0A41;
    data[8] = 0x7FC2;  // DEL, and U+009B in two bytes
    data[9] = 0x9B41;
    const Result result = dump(bytesOf(5044, data), {"--verbose"});
    EXPECT_THAT(
        result.output,
        HasSubstr("Text = \"\\x1b\\x07\\x9b\\xff\\nA\\x7f\\x9bAAAAAAAAAAAAAAAAAAAAAAA\"\n"));
    EXPECT_EQ(32U, std::string("\x1b\x07\x9b\xff\nA\x7f\xc2\x9b"
                               "AAAAAAAAAAAAAAAAAAAAAAA")
                       .size());
    const Result asJson = dump(bytesOf(5044, data), {"--json"});
    EXPECT_THAT(asJson.output, HasSubstr("\\nA\\u007f\\u009bAAA"));
    EXPECT_EQ(1U, asJson.objects().size());
    for (const char character : result.output + asJson.output) {
        EXPECT_TRUE(character == '\n' || (character >= ' ' && character <= '~'));
    }
}

TEST_F(GssipDump, ShowsOnlyTheEntriesThatArrived) {
    std::vector<std::uint16_t> data(5);
    data[4] = 200 << 8U;  // entries
    data.push_back(0x0705);
    data.push_back(0x0802);
    const Bytes frame = bytesOf(27535, data);
    EXPECT_THAT(dump(frame, {"--verbose"}).lines(),
                testing::IsSupersetOf(
                    {"          EntryCount = 200", "          Entries = 2 of 200 that are counted",
                     "          Entries[0] = BitType 1, FaultStatus 1, TestId 7",
                     "          Entries[1] = BitType 2, FaultStatus 0, TestId 8"}));
    EXPECT_EQ(2U, dump(frame, {"--json"}).objects().at(0)["fields"]["Entries"].size());

    std::vector<std::uint16_t> labels(5 + 29 + 28);  // the second label is not whole
    labels[4] = 3;
    EXPECT_THAT(dump(bytesOf(27536, labels), {"--verbose"}).output,
                HasSubstr("Labels = 1 of 3 that are counted\n"));

    std::vector<std::uint16_t> connects(85);
    connects[4] = 0xFFFF;  // more than the message has places for
    EXPECT_THAT(dump(bytesOf(30001, connects), {"--verbose"}).output,
                HasSubstr("Entries = 40 of 65535 that are counted\n"));
}

TEST_F(GssipDump, ShowsTheFieldsOfAShortFrameThatArrived) {
    const json object = dump(bytesOf(8040, {0, 0, 0, 0, 0, 9}), {"--json"}).objects().at(0);
    EXPECT_EQ(9, object["fields"]["ReceiverStatus"]);
    EXPECT_FALSE(object["fields"].contains("ReceiverStatus2"));
    EXPECT_FALSE(object["fields"].contains("Words4"));
}

TEST_F(GssipDump, ShowsTheWordsThatNoDeclarationKnows) {
    EXPECT_THAT(dump(bytesOf(4711, {0x1234, 0xABCD}), {"--verbose"}).lines(),
                testing::Contains("          Words0 = 1234 ABCD"));
    std::vector<std::uint16_t> data(10);
    data.push_back(0x77);
    EXPECT_THAT(dump(bytesOf(5000, data), {"--verbose"}).lines(),
                testing::Contains("          Words10 = 0077"));
    EXPECT_EQ(0x77, dump(bytesOf(5000, data), {"--json"}).objects().at(0)["data"]["words"][0]);
}

// Where bytes come from, and where they go.

TEST_F(GssipDump, ReadsAPipeInWhateverPieces) {
    const std::string path = write(Bytes{9} + bytesOf(5001) + bytesOf(8040, {1, 2, 3}));
    const std::string expected = run({path}).output;
    EXPECT_EQ(3U, linesOf(expected).size());
    EXPECT_EQ(expected, shell("\"$DUMP\" < " + path).output);
    EXPECT_EQ(expected, shell("cat " + path + " | \"$DUMP\" -").output);
    EXPECT_EQ(expected, shell("dd status=none bs=1 if=" + path + " | \"$DUMP\"").output);
    EXPECT_EQ("", shell("\"$DUMP\" < /dev/null").output);
    EXPECT_EQ(0, shell("\"$DUMP\" < /dev/null").status);
}

TEST_F(GssipDump, EndsBySignalWhenAnotherReaderTookWhatCame) {
    const std::string path = folder_.path() / "queue";
    ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
    const bench::FileDescriptor pipe(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    std::list<ChildProcess> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back(programPath(), ChildProcess::Options{{path}, {}, {}});
    }
    const auto shown = [&readers] {
        return std::accumulate(readers.begin(), readers.end(), std::size_t{0},
                               [](std::size_t sum, ChildProcess const& reader) {
                                   return sum + reader.countLines("5001");
                               });
    };
    ASSERT_TRUE(becomes([&readers] {
        return std::all_of(readers.begin(), readers.end(), [](ChildProcess const& reader) {
            return holdsBack(reader.pid(), SIGTERM);
        });
    }));
    // Each frame wakes all that wait, and one of them gets it.
    const Bytes frame = bytesOf(5001);
    for (std::size_t sent = 1; sent <= 20; ++sent) {
        ASSERT_EQ(static_cast<ssize_t>(frame.size()),
                  ::write(pipe.get(), frame.data(), frame.size()));
        ASSERT_TRUE(becomes([&] { return shown() == sent; })) << sent;
    }
    for (auto& reader : readers) {
        EXPECT_TRUE(reader.signal(SIGTERM));
        EXPECT_EQ(0, resultOf(reader).status);
    }
}

TEST_F(GssipDump, EndsQuietlyWhenNobodyReadsItsOutput) {
    Bytes capture;
    for (int i = 0; i < 5000; ++i) {
        capture = std::move(capture) + bytesOf(5001, {1, 2, 3, 4, 5});
    }
    const Result result = shell("set -o pipefail; \"$DUMP\" -v " + write(capture) + " | head -1");
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(1U, result.lines().size());
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST_F(GssipDump, TellsThatItsOutputFails) {
    const Result result = shell("\"$DUMP\" " + write(bytesOf(5001)) + " > /dev/full");
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("gssip-dump: standard output: No space left on device\n", result.errors);
}

TEST_F(GssipDump, TellsWhatCannotBeRead) {
    const std::string missing = folder_.path() / "missing";
    Result result = run({missing});
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("gssip-dump: " + missing + ": No such file or directory\n", result.errors);
    result = run({folder_.path().string()});
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("gssip-dump: " + folder_.path().string() + ": Is a directory\n", result.errors);
    result = run({"--device", write({})});
    EXPECT_EQ(2, result.status);
    EXPECT_THAT(result.errors, HasSubstr("is no serial device\n"));
    result = shell("timeout 20 \"$DUMP\" <&-");
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("gssip-dump: standard input: Bad file descriptor\n", result.errors);
}

TEST_F(GssipDump, RefusesArgumentsThatDoNotFit) {
    const std::string path = write({});
    for (Lines const& arguments :
         {Lines{"--baud", "9600", path}, Lines{"--parity", "odd", path},
          Lines{"--device", path, path}, Lines{"--device", path, "--queue"}, Lines{"--device", ""},
          Lines{"--device="}, Lines{"--device", "", "--baud", "9600"},
          Lines{"--color", "sometimes", path}, Lines{"--wrong"}, Lines{path, path},
          Lines{"--device", path, "--parity", "mark"}}) {
        const Result result = run(arguments);
        EXPECT_EQ(2, result.status) << testing::PrintToString(arguments);
        EXPECT_THAT(result.errors, Not(IsEmpty()));
        EXPECT_THAT(result.output, IsEmpty());
    }
}

class GssipDumpOnALine : public GssipDump {
protected:
    void send(Bytes const& bytes) {
        EXPECT_EQ(bytes.size(), line_.write(bytes.data(), bytes.size()));
    }

    bench::PseudoTerminal line_;
};

TEST_F(GssipDumpOnALine, ShowsFramesAsTheyComeUntilItIsInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        ChildProcess process(
            programPath(),
            {{"--device", line_.slavePath(), "--baud", "38400", "--parity", "none"}, {}, {}});
        for (std::uint16_t id : {std::uint16_t{5000}, std::uint16_t{5001}}) {
            send(bytesOf(id, {0x0A0D, 0x1311, 0x0304}));  // what a terminal would act upon
            EXPECT_TRUE(process.waitForLine(std::to_string(id), deadline));
        }
        EXPECT_TRUE(process.signal(signal));
        const Result result = resultOf(process);
        EXPECT_EQ(0, result.status);
        EXPECT_EQ(2U, result.lines().size());
        EXPECT_THAT(result.errors, IsEmpty());
    }
}

TEST_F(GssipDumpOnALine, PutsTheSettingsOfTheLineBackAtTheEnd) {
    // The far end of a pseudo-terminal has the settings of the near one.
    termios before{};
    ASSERT_EQ(0, ::tcgetattr(line_.descriptor(), &before));
    before.c_lflag |= ICANON | ISIG;
    before.c_iflag |= IXON;
    before.c_cc[VMIN] = 4;
    ::cfsetispeed(&before, B9600);
    ::cfsetospeed(&before, B9600);
    ASSERT_EQ(0, ::tcsetattr(line_.descriptor(), TCSANOW, &before));
    ASSERT_EQ(0, ::tcgetattr(line_.descriptor(), &before));

    ChildProcess process(programPath(),
                         {{"--device", line_.slavePath(), "--baud", "38400"}, {}, {}});
    termios meanwhile{};
    ASSERT_TRUE(becomes([&] {
        return ::tcgetattr(line_.descriptor(), &meanwhile) == 0 &&
               ::cfgetispeed(&meanwhile) == B38400;
    }));
    EXPECT_TRUE(process.signal(SIGINT));
    EXPECT_EQ(0, resultOf(process).status);

    termios after{};
    ASSERT_EQ(0, ::tcgetattr(line_.descriptor(), &after));
    EXPECT_EQ(before.c_iflag, after.c_iflag);
    EXPECT_EQ(before.c_oflag, after.c_oflag);
    EXPECT_EQ(before.c_cflag, after.c_cflag);
    EXPECT_EQ(before.c_lflag, after.c_lflag);
    EXPECT_EQ(before.c_cc[VMIN], after.c_cc[VMIN]);
    EXPECT_EQ(B9600, ::cfgetispeed(&after));
}

TEST_F(GssipDumpOnALine, TellsAtTheEndWhatWasCutShortByIt) {
    ChildProcess process(programPath(), {{"--device", line_.slavePath()}, {}, {}});
    send(bytesOf(5001));
    EXPECT_TRUE(process.waitForLine("5001", deadline));
    send({0xFF, 0x81, 0x89});
    line_.hangUp();
    const Result result = resultOf(process);
    EXPECT_GE(result.status, 0) << "a hang-up is an end like others";
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST_F(GssipDumpOnALine, RefusesARateThatThereIsNot) {
    const Result result = run({"--device", line_.slavePath(), "--baud", "12345"});
    EXPECT_EQ(2, result.status);
    EXPECT_THAT(result.errors, HasSubstr("Invalid baud rate parameter 12345"));
}

TEST_F(GssipDumpOnALine, UsesColoursOnATerminalOnly) {
    const std::string path = write(Bytes{1} + bytesOf(5001));
    const std::string escape = "\x1b[";
    EXPECT_THAT(run({path}).output, Not(HasSubstr(escape)));
    EXPECT_THAT(run({path, "--color=always"}).output, HasSubstr(escape));
    EXPECT_THAT(run({path, "--color=always", "--json"}).output, Not(HasSubstr(escape)));
    const auto onTerminal = [this](std::string const& command) {
        EXPECT_EQ(1, shell(command + " > " + line_.slavePath()).status);
        std::string text;
        std::uint8_t bytes[1024];
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (text.find("5001") == std::string::npos || text.back() != '\n') {
            EXPECT_LT(std::chrono::steady_clock::now(), end);
            text.append(bytes, bytes + line_.read(bytes, sizeof bytes));
            if (text.empty()) {
                text = " ";
            }
        }
        return text;
    };
    EXPECT_THAT(onTerminal("NO_COLOR= \"$DUMP\" " + path), HasSubstr(escape));
    EXPECT_THAT(onTerminal("NO_COLOR=1 \"$DUMP\" " + path), Not(HasSubstr(escape)));
    EXPECT_THAT(onTerminal("NO_COLOR= \"$DUMP\" --color never " + path), Not(HasSubstr(escape)));
    EXPECT_THAT(onTerminal("NO_COLOR=1 \"$DUMP\" --color always " + path), HasSubstr(escape));
}

// Queues.

QueueRecord recordOf(Bytes data, std::int64_t sequence = 7) {
    QueueRecord record;
    record.sequence = sequence;
    record.arrival = {100, 5, 2};
    record.validity = {99, 6, 1};
    record.deviceId = 0x00250000 | 46 << 8;
    record.data = std::move(data);
    return record;
}

TEST_F(GssipDump, ShowsTheRecordsOfAQueue) {
    const Bytes capture =
        recordOf(bytesOf(5001, {1, 2, 3, 4, 5})).encode() + recordOf(bytesOf(5000), 8).encode();
    const Result result = dump(capture, {"--queue"});
    EXPECT_EQ(0, result.status);
    ASSERT_EQ(2U, result.lines().size());
    EXPECT_THAT(result.lines()[0],
                testing::MatchesRegex("       0  [A-Za-z0-9 ]+: 5001 command, .*"));
    EXPECT_THAT(result.lines()[1], testing::StartsWith("      78  "));
    const auto objects = dump(capture, {"--queue", "--json"}).objects();
    EXPECT_EQ(8, objects[1]["record"]["sequence"]);
    EXPECT_EQ(100, objects[0]["record"]["arrival"]["seconds"]);
    EXPECT_EQ(6, objects[0]["record"]["validity"]["nanoseconds"]);
    EXPECT_EQ(0x00252E00, objects[0]["record"]["device"]);
    const Lines verbose = dump(capture, {"--queue", "--verbose"}).lines();
    EXPECT_THAT(verbose, testing::IsSupersetOf({"          SequenceNumber = 7",
                                                "          DeviceId = 0x00252E00",
                                                "          Arrival = 100 s 5 ns, time code 2",
                                                "          Validity = 99 s 6 ns, time code 1"}));
    const std::string path = write(capture);
    EXPECT_EQ(result.output, shell("dd status=none bs=7 if=" + path + " | \"$DUMP\" -q").output);
}

TEST_F(GssipDump, TellsWhatIsWrongWithARecord) {
    Bytes badChecksum = bytesOf(5001, {1, 2, 3, 4, 5});
    badChecksum.back() ^= 1U;
    const Bytes whole = bytesOf(5001, {1, 2, 3, 4, 5});
    const Bytes capture = recordOf(badChecksum).encode() + recordOf({1, 2, 3}).encode() +
                          recordOf(Bytes(whole.begin(), whole.end() - 3)).encode() +
                          recordOf(whole + Bytes{0, 0}).encode();
    const Result result = dump(capture, {"--queue"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.lines(),
                ElementsAre(HasSubstr("; bad data checksum"), HasSubstr("no whole header"),
                            HasSubstr("; cut short"), HasSubstr("; bytes behind its end")));
}

TEST_F(GssipDump, FindsTheNextRecordBehindBytesThatAreNone) {
    QueueRecord lying = recordOf(bytesOf(5000));
    lying.told = 11;
    const Bytes record = recordOf(bytesOf(5001)).encode();
    const Bytes capture =
        record + lying.encode() + record + Bytes(record.begin(), record.begin() + 60);
    EXPECT_THAT(dump(capture, {"--queue"}).lines(),
                ElementsAre(HasSubstr("       0  "), "      66  no record",
                            "      66  skipped 66 bytes", HasSubstr("     132  "),
                            "     198  cut short: the input ends after 60 of 66 bytes",
                            "     198  skipped 60 bytes"));
}

// Hostile bytes.

/// Good traffic with bits changed, pieces cut out and pieces put in.
Bytes damaged(Bytes bytes, std::mt19937& random) {
    const auto below = [&random](std::size_t end) { return random() % end; };
    for (int i = 0; i < 40; ++i) {
        const auto at = static_cast<std::ptrdiff_t>(below(bytes.size() - 64));
        const auto length = static_cast<std::ptrdiff_t>(below(32));
        switch (below(4)) {
            case 0:
                bytes.erase(bytes.begin() + at, bytes.begin() + at + length);
                break;
            case 1:
                bytes.insert(bytes.begin() + at, static_cast<std::size_t>(length), 0xFF);
                break;
            default:
                bytes[static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(random());
        }
    }
    return bytes;
}

TEST_F(GssipDump, AccountsForEveryByteOfHostileInput) {
    std::mt19937 random(20);  // NOLINT: the same bytes in every run
    Bytes traffic;
    Bytes records;
    for (auto const& message : knownMessages) {
        const Bytes frame = patternOf(message);
        traffic = traffic + frame;
        Bytes changed = frame;
        changed[random() % changed.size()] ^= 0x55U;
        records = records + recordOf(changed).encode();
    }
    Bytes noise(20000);
    for (int round = 0; round < 4; ++round) {
        std::generate(noise.begin(), noise.end(), [&random] {
            return static_cast<std::uint8_t>(random() % 3 == 0 ? 0xFF - random() % 2 * 0x7E
                                                               : random());
        });
        for (bool const queue : {false, true}) {
            for (Bytes const& bytes : {noise, damaged(queue ? records : traffic, random)}) {
                Lines arguments{"--json"};
                if (queue) {
                    arguments.emplace_back("--queue");
                }
                const Result result = dump(bytes, arguments);
                EXPECT_TRUE(result.status == 0 || result.status == 1) << result.errors;
                std::size_t end = 0;
                for (auto const& object : result.objects()) {
                    if (object["kind"] == "frame" || object["kind"] == "skipped") {
                        EXPECT_EQ(end, object["offset"]);
                        end += object["bytes"].get<std::size_t>();
                    }
                }
                EXPECT_EQ(bytes.size(), end);
                arguments.front() = "--verbose";
                EXPECT_EQ(result.status, dump(bytes, arguments).status);
            }
        }
    }
}

}  // namespace
