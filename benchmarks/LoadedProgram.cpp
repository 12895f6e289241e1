#include "benchmarks/LoadedProgram.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "bench/QueueRecord.h"
#include "benchmarks/NumberedFrame.h"
#include "benchmarks/Programs.h"

namespace benchmarks {
namespace {

using namespace std::chrono_literals;
using Clock = PacedSource::Clock;

constexpr auto firstAfter = 10ms;
constexpr auto arrivalTimeout = 3s;  // for what is under way when the sending ends
constexpr auto endCheckPeriod = 5ms;
constexpr std::chrono::milliseconds programTimeout = 20s;

// The siblings that feed the server, by their device ids, and what the server copies of theirs.
constexpr unsigned trevoQueue = 0;
constexpr std::int32_t trevoDevice = 0x03000000 | 39 << 16;
constexpr std::uint16_t engineId = 8080;
constexpr unsigned dataTransferQueue = 2;
constexpr std::int32_t halvorDevice = 0x03000000 | 47 << 16;
constexpr std::uint16_t dataTransferId = 5120;

/// The processor time of all threads that a process has had.
double processorSecondsOf(pid_t process) {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("a program under load has ended");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Adds a frame, given as such or as its bytes.
template <typename Frame>
void addTo(FrameLedger& ledger, Frame const& frame) {
    if (auto const numbered = NumberedFrame::read(frame)) {
        ledger.add(*numbered);
    } else {
        ledger.addForeign();
    }
}

/// Where PATH has a program. Raises std::runtime_error when it has not.
std::filesystem::path findProgram(std::string const& name) {
    char const* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        auto program = std::filesystem::path(folder) / name;
        if (::access(program.c_str(), X_OK) == 0) {
            return program;
        }
    }
    throw std::runtime_error(name + " is not installed: scripts/install-dependencies brings it");
}

}  // namespace

void LoadResult::add(LoadResult const& other) {
    towardsQueues += other.towardsQueues;
    onQueues += other.onQueues;
    towardsLines += other.towardsLines;
    onLines += other.onLines;
    defects += other.defects;
    seconds += other.seconds;
    processorSeconds += other.processorSeconds;
}

LoadedProgram::LoadedProgram(std::size_t piece) {
    for (std::uint16_t link = 1; link <= links; ++link) {
        bench::PseudoTerminal& line = lines_.at(link - 1U);
        sources_.emplace_back(link, piece, [&line](std::uint8_t const* bytes, std::size_t size) {
            return line.write(bytes, size);
        });
        lineParsers_.emplace_back([this, link](bench::UnitFrame const& frame,
                                               auto const& /*bytes*/) { takeFrame(link, frame); });
    }
}

void LoadedProgram::takeFrame(unsigned /*link*/, bench::UnitFrame const& frame) {
    addTo(onLines_, frame);
}

LoadResult LoadedProgram::run(double seconds) {
    LoadResult before;
    for (unsigned link = 0; link < links; ++link) {
        before.towardsQueues += sources_[link].framesSent();
    }
    before.onQueues = onQueues_.arrived();
    before.towardsLines = outgoingFrames();
    before.onLines = onLines_.arrived();
    before.defects = defects();
    before.processorSeconds = processorSeconds();

    auto const start = Clock::now() + firstAfter;
    auto const frames =
        static_cast<std::uint32_t>(seconds * lineBytesPerSecond / NumberedFrame::lineBytes);
    for (unsigned link = 0; link < links; ++link) {
        sources_[link].begin(start, lineBytesPerSecond, frames);
    }
    beginOutgoing(start, seconds);
    auto const deadline = start + std::chrono::milliseconds(std::lround(seconds * 1000)) +
                          std::chrono::milliseconds(arrivalTimeout);
    pass(deadline);

    LoadResult result;
    result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    result.processorSeconds = processorSeconds() - before.processorSeconds;
    for (unsigned link = 0; link < links; ++link) {
        result.towardsQueues += sources_[link].framesSent();
    }
    result.towardsQueues -= before.towardsQueues;
    result.onQueues = onQueues_.arrived() - before.onQueues;
    result.towardsLines = outgoingFrames() - before.towardsLines;
    result.onLines = onLines_.arrived() - before.onLines;
    result.defects = defects() - before.defects;
    return result;
}

/// Sends and takes what comes, until all that was sent has arrived.
void LoadedProgram::pass(Clock::time_point deadline) {
    std::vector<pollfd> events;
    for (bench::PseudoTerminal const& line : lines_) {
        events.push_back({line.descriptor(), POLLIN, 0});
    }
    for (QueueReader const& queue : queues_) {
        events.push_back({queue.descriptor(), POLLIN, 0});
    }
    auto nextCheck = Clock::time_point::min();
    while (Clock::now() < deadline) {
        auto due = Clock::time_point::max();
        for (PacedSource& source : sources_) {
            source.send(Clock::now());
            due = std::min(due, source.due());
        }
        bool const sending = due != Clock::time_point::max();
        if (!sending && Clock::now() >= nextCheck) {
            if (outgoingIsSent() && allArrived()) {
                return;
            }
            nextCheck = Clock::now() + endCheckPeriod;
        }
        auto const left =
            std::max<Clock::duration>((sending ? due : nextCheck) - Clock::now(), 0ns);
        timespec const timeout{0, std::min<long>(left.count(), 999'999'999)};
        ::ppoll(events.data(), events.size(), &timeout, nullptr);
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (events[i].revents == 0) {
                continue;
            }
            if (i < links) {
                takeFromLine(i);
            } else if (queues_[i - links].read() > 0) {
                takeFromQueue(i - links);
            }
        }
    }
}

void LoadedProgram::takeFromLine(std::size_t index) {
    std::array<std::uint8_t, 4096> bytes{};
    std::size_t const size = lines_.at(index).read(bytes.data(), bytes.size());
    lineParsers_[index].feed(bytes.data(), size);
}

bool LoadedProgram::allArrived() const {
    std::uint64_t sent = 0;
    for (unsigned link = 0; link < links; ++link) {
        sent += sources_[link].framesSent();
    }
    return onQueues_.arrived() >= sent && onLines_.arrived() >= outgoingFrames();
}

double LoadedProgram::processorSeconds() const {
    double sum = 0;
    for (pid_t const process : processes()) {
        sum += processorSecondsOf(process);
    }
    return sum;
}

Clock::duration LoadedProgram::longestDelay() const {
    Clock::duration longest{0};
    for (PacedSource const& source : sources_) {
        longest = std::max(longest, source.longestDelay());
    }
    return longest;
}

std::uint64_t LoadedProgram::defects() const {
    std::uint64_t sum = onQueues_.defects() + onLines_.defects();
    for (PacedSource const& source : sources_) {
        sum += source.refused();
    }
    for (bench::UnitParser const& parser : lineParsers_) {
        sum += parser.counters().skippedBytes;
    }
    return sum;
}

void LoadedProgram::connectLines(bench::Bench& bench) const {
    for (unsigned link = 1; link <= links; ++link) {
        bench.devices().linkSerial(bench.settings().channels.at(link - 1), slavePath(link));
    }
}

void LoadedProgram::readQueues(bench::Bench& bench) {
    for (unsigned const queue : {queueOfLink(1), queueOfLink(2)}) {
        queues_.emplace_back(bench.devices().queuePath(queue));
    }
}

void LoadedProgram::takeRecords(std::size_t index) {
    auto const records = bench::decodeRecords(queues_[index].bytes());
    if (!records) {
        onQueues_.addForeign();
        return;
    }
    for (bench::QueueRecord const& record : *records) {
        addTo(onQueues_, record.data);
    }
}

void LoadedProgram::beginFeeds(Clock::time_point start, double seconds) {
    for (std::size_t i = links; i < sources_.size(); ++i) {
        sources_[i].begin(start, feedRate_ * NumberedFrame::lineBytes,
                          static_cast<std::uint32_t>(feedRate_ * seconds));
    }
}

std::uint64_t LoadedProgram::framesOfFeeds() const {
    std::uint64_t sum = 0;
    for (std::size_t i = links; i < sources_.size(); ++i) {
        sum += sources_[i].framesSent();
    }
    return sum;
}

LoadedLinks::LoadedLinks(std::size_t piece) : LoadedProgram(piece) {
    bench_ = startSubject(bench::programFolder() / "link_load_subject", roadSettings(),
                          [this](bench::Bench& prepared) { connectLines(prepared); });
    readQueues(*bench_);
}

std::uint64_t LoadedLinks::finish() {
    bench_->server().closeInput();
    auto const exit = bench_->server().wait(programTimeout);
    auto const line = bench_->server().waitForLine("errors ", 0ms);
    if (!exit || !exit->ok() || !line) {
        throw std::runtime_error("the links do not end well\n" + bench_->server().output());
    }
    return std::stoull(line->substr(line->find(' ')));
}

void LoadedLinks::beginOutgoing(Clock::time_point /*start*/, double seconds) {
    ++runs_;
    if (!bench_->server().writeLine("feed " + std::to_string(seconds))) {
        throw std::runtime_error("the links have ended\n" + bench_->server().output());
    }
}

bool LoadedLinks::outgoingIsSent() {
    std::string const answer = "fed " + std::to_string(runs_) + ":";
    auto const line = bench_->server().waitForLine(answer, 0ms);
    if (!line) {
        return false;
    }
    std::istringstream counts(line->substr(answer.size()));
    outgoing_ = 0;
    for (std::uint64_t count = 0; counts >> count;) {
        outgoing_ += count;
    }
    return true;
}

std::vector<pid_t> LoadedLinks::processes() const {
    return {bench_->server().pid()};
}

LoadedServer::LoadedServer() : LoadedProgram(NumberedFrame::lineBytes) {
    bench_ = startServer(bench::programFolder() / "ZephonServer", roadSettings(),
                         [this](bench::Bench& prepared) { connectLines(prepared); });
    readQueues(*bench_);
    sources().reserve(links + 2);
    addFeed(1, trevoQueue, trevoDevice, engineId);
    addFeed(2, dataTransferQueue, halvorDevice, dataTransferId);
}

void LoadedServer::addFeed(std::uint16_t link, unsigned queue, std::int32_t device,
                           std::uint16_t id) {
    std::string const path = bench_->devices().queuePath(queue).string();
    feeds_.emplace_back(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!feeds_.back().valid()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    sources().emplace_back(
        link, NumberedFrame::lineBytes,
        [end = feeds_.back().get(), device, id](std::uint8_t const* bytes, std::size_t size) {
            auto frame = bench::decodeFrame(bytes, size);
            if (!frame) {
                throw std::logic_error("a feed does not send whole frames");
            }
            frame->id = id;
            bench::QueueRecord record;
            record.deviceId = device;
            record.data = frame->encode();
            auto const encoded = record.encode();
            bool const taken = ::write(end, encoded.data(), encoded.size()) ==
                               static_cast<ssize_t>(encoded.size());
            return taken ? size : 0;
        });
}

/// Besides the copies of what was fed there is what the server says of its own accord. The unit
/// answers both as the server expects it.
void LoadedServer::takeFrame(unsigned link, bench::UnitFrame const& frame) {
    bool const isFed = frame.id == engineId || frame.id == dataTransferId;
    if (isFed) {
        bench::UnitFrame fed = frame;
        fed.id = NumberedFrame::id;
        fed.flags = bench::UnitFrame::linkReady;
        LoadedProgram::takeFrame(link, fed);
    }
    if (frame.isHandshake() || !frame.has(bench::UnitFrame::ackRequest)) {
        return;
    }
    auto answer = bench::UnitFrame::makeAck(frame.id).encode();
    if (!isFed) {
        auto const response = bench::UnitFrame::makeResponse(frame.id).encode();
        answer.insert(answer.end(), response.begin(), response.end());
    }
    if (line(link).write(answer.data(), answer.size()) != answer.size()) {
        throw std::runtime_error("a line has no room for the answer to the server");
    }
}

std::vector<pid_t> LoadedServer::processes() const {
    return {bench_->server().pid()};
}

LoadedRelays::LoadedRelays(std::size_t piece, bench::DeviceRoot& devices) : LoadedProgram(piece) {
    auto const socat = findProgram("socat");
    sources().reserve(std::size_t{2} * links);
    for (std::uint16_t link = 1; link <= links; ++link) {
        unsigned const queue = bench::Bench::queues + 2U * link;
        unsigned const feed = queue + 1;
        devices.makeQueue(queue);
        devices.makeQueue(feed);
        queues().emplace_back(devices.queuePath(queue));
        queueParsers_.emplace_back([this](bench::UnitFrame const& frame, auto const& /*bytes*/) {
            addTo(onQueues(), frame);
        });
        std::string const feedPath = devices.queuePath(feed).string();
        feeds_.emplace_back(::open(feedPath.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        if (!feeds_.back().valid()) {
            throw std::system_error(errno, std::generic_category(), feedPath);
        }
        int const feedEnd = feeds_.back().get();
        sources().emplace_back(link, NumberedFrame::lineBytes,
                               [feedEnd](std::uint8_t const* bytes, std::size_t size) {
                                   ssize_t const taken = ::write(feedEnd, bytes, size);
                                   return taken > 0 ? static_cast<std::size_t>(taken) : 0;
                               });
        bench::ChildProcess::Options options;
        options.arguments = {
            "OPEN:" + slavePath(link) + ",rawer,noctty",
            "OPEN:" + feedPath + ",rdonly!!OPEN:" + devices.queuePath(queue).string() + ",wronly"};
        relays_.push_back(std::make_unique<bench::ChildProcess>(socat, std::move(options)));
    }
}

void LoadedRelays::takeFromQueue(std::size_t index) {
    // Relayed bytes are the frames themselves.
    queueParsers_[index].feed(queues()[index].bytes().data(), queues()[index].bytes().size());
}

std::vector<pid_t> LoadedRelays::processes() const {
    std::vector<pid_t> all;
    for (auto const& relay : relays_) {
        all.push_back(relay->pid());
    }
    return all;
}

}  // namespace benchmarks
