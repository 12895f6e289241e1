#include "bench/ScenarioRunner.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <future>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "bench/Simulation.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

constexpr const char* timeoutLine = "GSSIP PROTOCOL TIMEOUT";
constexpr const char* exitLine = "has exited. Signal: 15";

// Between two looks at what cannot be waited for: the end of a process, the books.
constexpr auto lookEvery = 5ms;

constexpr auto stopTimeout = 30s;
constexpr auto streamEndTimeout = 5s;

constexpr std::size_t longestNote = 240;

/// The text without what would move a terminal's cursor, cut where it gets tedious.
std::string printable(const std::string& text) {
    std::string result = text.substr(0, longestNote);
    std::replace_if(
        result.begin(), result.end(), [](char c) { return c < ' ' || c > '~'; }, '.');
    return text.size() > longestNote ? result + "..." : result;
}

std::string linkName(unsigned link) {
    return "link" + std::to_string(link);
}

std::string describe(const Observation& seen) {
    if (!seen.text.empty()) {
        return "\"" + printable(seen.text) + "\"";
    }
    constexpr std::size_t most = 8;
    std::string text = fmt::format("frame {} flags=0x{:04X}", seen.frame.id, seen.frame.flags);
    for (std::size_t i = 0; i < std::min(most, seen.frame.data.size()); ++i) {
        text += fmt::format(" 0x{:04X}", seen.frame.data[i]);
    }
    return text + (seen.frame.data.size() > most
                       ? fmt::format(" ... ({} words)", seen.frame.data.size())
                       : "");
}

/// The device id of the sibling server that writes to a queue: the GPS engine's, or the anti-jam
/// unit's.
std::int32_t senderOf(std::string_view queue) {
    constexpr std::int32_t system = 0x03000000;
    return system | (queue == "TREVO_MX" ? 39 << 16 : 47 << 16);
}

const char* typeName(std::int64_t eventType) {
    constexpr std::array<const char*, 6> names{"other",   "diagnostic", "information",
                                               "failure", "link lost",  "reserved"};
    return eventType >= 0 && eventType < static_cast<std::int64_t>(names.size())
               ? names[static_cast<std::size_t>(eventType)]
               : "unknown type";
}

/// Who publishes such a record.
TopicPeer::Role makerOf(std::string_view topic, std::int64_t source) {
    using Role = TopicPeer::Role;
    if (topic == EventRecord::topic) {
        return Role::EventLogger;
    }
    if (topic == CommandRecord::topic || topic == ResponseRecord::topic) {
        return Role::HumanInterface;
    }
    if (topic == PntRecord::topic || source == PntRecord::fusionNavigator) {
        return Role::FusionNavigator;
    }
    return topic == UtcRecord::topic ? Role::ClockDevice : Role::AltNavUnit;
}

/// True for those whose records make the pairs of a stream.
bool isOfStream(TopicPeer::Role role) {
    using Role = TopicPeer::Role;
    return role == Role::ClockDevice || role == Role::FusionNavigator || role == Role::All;
}

/// A record with nothing but its time of validity.
template <class Record>
Record taggedAt(std::int64_t instant) {
    Record record;
    record.header.setTag(instant);
    return record;
}

}  // namespace

class ScenarioRunner::StepFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

ScenarioRunner::ScenarioRunner(Scenario scenario, Options options)
    : scenario_(std::move(scenario)),
      note_(std::move(options.note)),
      streamDelay_(options.streamDelay),
      transport_(options.bench.settings.transport),
      begin_(Clock::now()),
      utcAhead_(std::chrono::system_clock::now().time_since_epoch() - begin_.time_since_epoch()),
      lastFigures_(begin_),
      zero_(begin_),
      due_(begin_),
      bench_(benchOptions(std::move(options.bench))) {}

ScenarioRunner::~ScenarioRunner() = default;

Bench::Options ScenarioRunner::benchOptions(Bench::Options options) {
    for (unsigned link = 1; link <= Bench::links; ++link) {
        auto& unit = options.units.at(link - 1);
        unit.keptFrames = 100;  // a run may last for hours; what is awaited is kept here
        unit.observer = [this, link](const LoggedFrame& frame) { see(link, frame); };
    }
    options.virtualUnits.keptFrames = 100;
    options.virtualUnits.observer = [this](unsigned number, const VirtualFrame& frame) {
        see(number, frame);
    };
    options.serverLine = [this](const std::string& line) {
        see(line);
        return false;
    };
    return options;
}

// What the bench sees. These run on the threads of units and processes.

void ScenarioRunner::see(unsigned link, const LoggedFrame& frame) {
    if (link == 1) {
        ledger_.received(frame);
    }
    seen_.add({linkName(link), frame.frame, ""});
}

void ScenarioRunner::see(unsigned unit, const VirtualFrame& frame) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        settings_.take(unit, frame);
    }
    seen_.add({"virtual" + std::to_string(unit), frame.frame, ""});
}

void ScenarioRunner::see(const std::string& line) {
    if (line.find(timeoutLine) != std::string::npos) {
        ++handshakeTimeouts_;
    }
    if (!line.empty()) {
        seen_.add(Observation{Scenario::serverLine, UnitFrame(), line});
    }
}

void ScenarioRunner::see(const EventRecord& event) {
    const std::string text = fmt::format("{}, source {}: {}", typeName(event.type),
                                         event.header.source, printable(event.text));
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++events_;
    }
    note("EventLog " + text);
    seen_.add(Observation{std::string(EventRecord::topic), UnitFrame(), event.text});
}

void ScenarioRunner::see(const MaintenanceRecord& fault) {
    const std::string text = fault.identity + " " + fault.description;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++faults_;
    }
    note(fmt::format("MaintenanceEvent criticality {}, source {}: {}", fault.criticality,
                     fault.header.source, printable(text)));
    seen_.add(Observation{std::string(MaintenanceRecord::topic), UnitFrame(), text});
}

void ScenarioRunner::see(const CommandFields& record, std::string_view topic) {
    note(fmt::format("{}, source {}: {}", topic, record.header.source, printable(record.text)));
    seen_.add(Observation{std::string(topic), UnitFrame(), record.text});
}

void ScenarioRunner::see(const QueueRead& read) {
    const auto records = decodeRecords(read.bytes);
    if (!records) {
        note(fmt::format("{}: {} bytes that are no record", read.queue, read.bytes.size()));
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queueRecords_[read.queue] += records->size();
    }
    for (const QueueRecord& record : *records) {
        std::string defect;
        auto frame = decodeFrame(record.data.data(), record.data.size(), &defect);
        if (frame) {
            seen_.add({read.queue, std::move(*frame), ""});
        } else {
            note(fmt::format("{}: a record without a frame: {}", read.queue, defect));
        }
    }
}

void ScenarioRunner::note(const std::string& line) const {
    if (note_) {
        note_(line);
    }
}

// The peers on the topics.

std::unique_ptr<TopicPeer> ScenarioRunner::makePeer(TopicPeer::Role role) {
    TopicPeer::Options options = bench_.peerOptions(role);
    options.keptPublications = 1;
    options.onClock = [this](const auto& publication) { ledger_.published(publication); };
    options.onNavigator = [this](const auto& publication) { ledger_.published(publication); };
    options.onEvent = [this](const EventRecord& event) { see(event); };
    options.onMaintenance = [this](const MaintenanceRecord& fault) { see(fault); };
    options.onCommand = [this](const CommandRecord& command) {
        see(command, CommandRecord::topic);
    };
    options.onResponse = [this](const ResponseRecord& answer) {
        see(answer, ResponseRecord::topic);
    };
    return std::make_unique<TopicPeer>(options);
}

void ScenarioRunner::startPeers() {
    using Role = TopicPeer::Role;
    std::vector<Role> roles{Role::EventLogger};
    if (transport_ == "TCP_Client") {
        // Such a server reaches one neighbour, which then is all of them.
        roles = {Role::All};
    } else {
        if (scenario_.publishesSolutions()) {
            roles.insert(roles.end(), {Role::ClockDevice, Role::FusionNavigator});
        }
        if (scenario_.publishesAltNavigation()) {
            roles.push_back(Role::AltNavUnit);
        }
        if (scenario_.exchangesCommands()) {
            roles.push_back(Role::HumanInterface);
        }
    }
    for (const Role role : roles) {
        peers_.push_back({makePeer(role), 0});
    }
    QueuePeer::Options options = bench_.queuePeerOptions();
    options.keptReads = 1;
    options.onRead = [this](const QueueRead& read) { see(read); };
    queues_ = std::make_unique<QueuePeer>(options);
    for (const char* const queue : {"PNTD_MX", "DT_IN"}) {
        if (!queues_->startReading(queue)) {
            throw StepFailure(queues_->lastFailure());
        }
    }
}

/// Waits for the server to know the peers, all at once: each takes some seconds. Fast RTPS 2.9.1
/// now and then never finishes the discovery over a TCP connection that stands; a new participant
/// is the remedy, so up to nine are tried, and each is told.
void ScenarioRunner::connectPeers(Clock::time_point deadline) {
    const bool tcp = transport_ != "SHM" && transport_ != "UDP";
    const auto left = std::chrono::duration_cast<TopicPeer::Duration>(deadline - Clock::now());
    const TopicPeer::Duration patience = tcp ? 8s : std::max(left, TopicPeer::Duration(1s));
    std::vector<std::future<bool>> found;
    for (const Peer& peer : peers_) {
        found.push_back(std::async(std::launch::async, [&peer, patience] {
            return peer.peer->waitForReaders(1, patience);
        }));
    }
    for (std::size_t i = 0; i < peers_.size(); ++i) {
        bool known = found[i].get();
        for (int spare = tcp ? 9 : 0; !known && spare > 0; --spare) {
            note("a peer was not discovered over TCP; it is started anew");
            const TopicPeer::Role role = peers_[i].peer->role();
            peers_[i] = {};
            peers_[i] = {makePeer(role), 0};
            known = peers_[i].peer->waitForReaders(1, patience);
        }
        if (!known) {
            throw StepFailure("the server is not to be found on the topics: " +
                              peers_[i].peer->lastFailure());
        }
    }
}

// The course of a run.

ScenarioRunner::Result ScenarioRunner::run() {
    const Step* present = nullptr;
    Result result = Result::Done;
    try {
        startPeers();
        for (const Step& step : scenario_.steps) {
            present = &step;
            waitUntilDue(step);
            note(fmt::format("line {}: {}", step.line, printable(step.text)));
            std::visit([this](const auto& known) { carryOut(known); }, step.action);
        }
        present = nullptr;
        leave();
    } catch (const StepFailure& reason) {
        result = Result::Failed;
        failure_ = reason.what();
    } catch (const std::out_of_range& reason) {
        result = Result::Failed;
        failure_ = reason.what();
    } catch (const Interruption&) {
        result = Result::Interrupted;
        try {
            present = nullptr;
            leave();
        } catch (const StepFailure& reason) {
            result = Result::Failed;
            failure_ = reason.what();
        }
    }
    if (result == Result::Failed) {
        failure_ = present == nullptr ? fmt::format("{}: at the end: {}", scenario_.name, failure_)
                                      : fmt::format("{}:{}: {}: {}", scenario_.name, present->line,
                                                    printable(present->text), failure_);
    }
    queues_.reset();
    peers_.clear();
    const auto rest = ledger_.finish();
    const std::lock_guard<std::mutex> lock(mutex_);
    recent_.insert(recent_.end(), rest.begin(), rest.end());
    return result;
}

/// Steps that follow without a time are due at the same instant, unless they had to wait.
void ScenarioRunner::waitUntilDue(const Step& step) {
    switch (step.start) {
        case Step::Start::Next:
            return;
        case Step::Start::At:
            due_ = zero_ + step.time;
            break;
        case Step::Start::After:
            due_ += step.time;
            break;
    }
    if (seen_.pause(due_) == Outcome::Interrupted) {
        throw Interruption();
    }
}

/// Ends what the scenario left running.
void ScenarioRunner::leave() {
    seen_.resume();
    carryOut(action::StopStream{});
    if (bench_.started() && bench_.server().running()) {
        carryOut(action::StopServer{});
    }
}

/// Looks again and again; false when the deadline passed.
bool ScenarioRunner::waitFor(const std::function<bool()>& condition, Clock::time_point deadline) {
    while (!condition()) {
        const auto now = Clock::now();
        if (now >= deadline) {
            return false;
        }
        if (seen_.pause(std::min(now + lookEvery, deadline)) == Outcome::Interrupted) {
            throw Interruption();
        }
    }
    due_ = Clock::now();
    return true;
}

ChildProcess& ScenarioRunner::server() {
    if (!bench_.started()) {
        throw StepFailure("the server was not started");
    }
    return bench_.server();
}

// The steps.

void ScenarioRunner::carryOut(const action::Configure& step) {
    bench_.configuration().set(step.container, step.key, step.value);
}

void ScenarioRunner::carryOut(const action::StartServer& /*step*/) {
    if (bench_.started() && bench_.server().running()) {
        throw StepFailure("the server runs already");
    }
    bench_.start();
}

void ScenarioRunner::carryOut(const action::StopServer& /*step*/) {
    server();
    const auto exit = bench_.stop(stopTimeout);
    if (!exit) {
        throw StepFailure("the server did not end after SIGTERM");
    }
    if (!exit->ok()) {
        throw StepFailure("the server left with " + exit->text());
    }
    if (server().countLines(exitLine) != 1) {
        throw StepFailure("the server left without its last line");
    }
    due_ = Clock::now();
}

void ScenarioRunner::carryOut(const action::Signal& step) {
    if (!server().signal(step.number)) {
        throw StepFailure("the server does not run");
    }
}

void ScenarioRunner::carryOut(const action::HangUp& step) {
    bench_.unit(step.link).hangUp();
}

void ScenarioRunner::carryOut(const action::Reconnect& step) {
    bench_.reconnect(step.link);
}

template <class Record>
void ScenarioRunner::publish(Record record, const std::string& fields) {
    if (!fromText(fields, record)) {
        throw StepFailure("cannot read the fields");
    }
    const TopicPeer::Role maker = makerOf(Record::topic, record.header.source);
    for (const Peer& peer : peers_) {
        if (peer.peer->role() == maker || peer.peer->role() == TopicPeer::Role::All) {
            if (!peer.peer->publish(record)) {
                throw StepFailure(peer.peer->lastFailure());
            }
            return;
        }
    }
    throw StepFailure("no peer publishes the topic");
}

void ScenarioRunner::carryOut(const action::Publish& step) {
    const auto instant = (due_.time_since_epoch() + utcAhead_).count();
    if (step.topic == UtcRecord::topic) {
        publish(clockAt(instant), step.fields);
    } else if (step.topic == PntRecord::topic) {
        publish(navigatorAt(instant), step.fields);
    } else if (step.topic == PositionVelocityRecord::topic) {
        publish(positionAt(instant), step.fields);
    } else if (step.topic == GpsTimeRecord::topic) {
        constexpr std::int64_t oneSecond = 1'000'000'000;
        GpsTimeRecord given;
        const bool ofMark =
            fromText(step.fields, given) && given.header.source == PntRecord::fusionNavigator;
        publish(gpsTimeAt(ofMark ? instant : instant + oneSecond), step.fields);
    } else if (step.topic == CommandRecord::topic) {
        publish(taggedAt<CommandRecord>(instant), step.fields);
    } else if (step.topic == ResponseRecord::topic) {
        publish(taggedAt<ResponseRecord>(instant), step.fields);
    } else {
        publish(taggedAt<EventRecord>(instant), step.fields);
    }
}

void ScenarioRunner::carryOut(const action::Stream& step) {
    std::int64_t count = 0;
    if (step.length) {
        const double seconds = std::chrono::duration<double>(*step.length).count();
        count = std::max<std::int64_t>(std::llround(seconds * step.rate), 1);
    }
    const auto schedule = TopicPeer::Schedule::fromNow(step.rate, count, streamDelay_);
    for (Peer& peer : peers_) {
        if (!isOfStream(peer.peer->role())) {
            continue;
        }
        if (!peer.peer->run(schedule)) {
            throw StepFailure(peer.peer->lastFailure());
        }
        ++peer.runs;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    rate_ = step.rate;
}

bool ScenarioRunner::streamIsOver() const {
    return std::all_of(peers_.begin(), peers_.end(), [](const Peer& peer) {
        return peer.runs == 0 || peer.peer->waitUntilDone(peer.runs, 0ms);
    });
}

void ScenarioRunner::carryOut(const action::StopStream& /*step*/) {
    for (const Peer& peer : peers_) {
        if (peer.runs > 0 &&
            (!peer.peer->stop() || !peer.peer->waitUntilDone(peer.runs, streamEndTimeout))) {
            throw StepFailure("a publisher does not stop: " + peer.peer->lastFailure());
        }
    }
}

void ScenarioRunner::carryOut(const action::WaitStream& /*step*/) {
    try {
        waitFor(
            [this] {
                if (bench_.started() && !bench_.server().running()) {
                    throw StepFailure("the server has ended");
                }
                return streamIsOver();
            },
            Clock::time_point::max());
    } catch (const Interruption&) {
        // Who ends an endless stream wants to see how it went.
        seen_.resume();
        streamCut_ = true;
        note("the stream is stopped");
        carryOut(action::StopStream{});
        due_ = Clock::now();
    }
}

void ScenarioRunner::carryOut(const action::Send& step) {
    bench_.unit(step.link).sendBytes(step.bytes);
}

void ScenarioRunner::carryOut(const action::Inject& step) {
    const auto* const frame = std::get_if<UnitFrame>(&step.content);
    bool written = false;
    if (frame != nullptr) {
        const auto utc = due_.time_since_epoch() + utcAhead_;
        const auto seconds = std::chrono::floor<std::chrono::seconds>(utc);
        QueueRecord record;
        record.deviceId = senderOf(step.queue);
        record.sequence = injected_++;
        record.validity.seconds = seconds.count();
        record.validity.nanoseconds = static_cast<std::int32_t>((utc - seconds).count());
        record.arrival = record.validity;
        record.data = frame->encode();
        written = queues_->write(step.queue, record);
    } else {
        written = queues_->write(step.queue, std::get<std::vector<std::uint8_t>>(step.content));
    }
    if (!written) {
        throw StepFailure(queues_->lastFailure());
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    ++queueRecords_[step.queue];
}

void ScenarioRunner::carryOut(const action::SetRegister& step) {
    const action::Register& set = step.content;
    bench_.fpga().write(set.interface, set.offset, set.width, set.value);
}

// What is expected.

void ScenarioRunner::carryOut(const action::Expect& step) {
    std::visit([this, &step](const auto& wanted) { expect(wanted, step); }, step.condition);
}

void ScenarioRunner::expect(const action::Running& /*wanted*/, const action::Expect& step) {
    const auto deadline = Clock::now() + step.within;
    ChildProcess& process = server();
    bool up = false;
    waitFor(
        [&] {
            up = bench_.waitUntilRunning(100ms);
            return up || !process.running();
        },
        deadline);
    if (!up) {
        const auto exit = process.wait(100ms);
        throw StepFailure(exit ? "the server has ended: " + exit->text()
                               : "the server does not tell that it runs");
    }
    connectPeers(deadline);
    zero_ = Clock::now();
    due_ = zero_;
}

void ScenarioRunner::expect(const action::Exit& wanted, const action::Expect& step) {
    ChildProcess& process = server();
    if (!waitFor([&process] { return process.wait(0ms).has_value(); },
                 Clock::now() + step.within)) {
        throw StepFailure("the server still runs");
    }
    const auto exit = process.wait(0ms);
    if (exit->status != wanted.status || exit->signal != wanted.signal) {
        throw StepFailure("it was " + exit->text());
    }
}

void ScenarioRunner::expect(const action::Solutions& /*wanted*/, const action::Expect& step) {
    const bool over = waitFor(
        [this] {
            settle();
            return streamIsOver() && ledger_.totals().waiting() == 0;
        },
        Clock::now() + step.within);
    if (!over && !streamIsOver()) {
        throw StepFailure("the stream is not over");
    }
    const auto rest = ledger_.finish();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        recent_.insert(recent_.end(), rest.begin(), rest.end());
    }
    const auto totals = ledger_.totals();
    if (totals.pairs == 0 && streamCut_) {
        throw Interruption();  // who ends it before the first pair has seen nothing fail
    }
    std::uint64_t damaged = bench_.virtualUnits().defects();
    for (unsigned link = 1; link <= Bench::links; ++link) {
        damaged += bench_.unit(link).statistics().line.checksumErrors();
    }
    if (!totals.allRight() || totals.pairs == 0 || damaged > 0) {
        throw StepFailure(fmt::format(
            "of {} pairs {} gave a right frame, {} a wrong one and {} none; {} frames belong to no "
            "pair, {} were damaged",
            totals.pairs, totals.right, totals.wrong, totals.missing, totals.unexplained, damaged));
    }
}

void ScenarioRunner::expect(const action::Register& wanted, const action::Expect& step) {
    const auto read = [this, &wanted] {
        return bench_.fpga().read(wanted.interface, wanted.offset, wanted.width);
    };
    if (!waitFor([&] { return read() == wanted.value; }, Clock::now() + step.within)) {
        throw StepFailure(fmt::format("it holds {} (0x{:X})", read(), read()));
    }
}

void ScenarioRunner::expect(const action::Frame& wanted, const action::Expect& step) {
    expectObservation(
        wanted.source,
        [&wanted](const Observation& seen) {
            const auto& data = seen.frame.data;
            return seen.frame.id == wanted.id &&
                   (!wanted.flags || seen.frame.flags == *wanted.flags) &&
                   data.size() >= wanted.words.size() &&
                   std::equal(wanted.words.begin(), wanted.words.end(), data.begin());
        },
        step);
}

void ScenarioRunner::expect(const action::Text& wanted, const action::Expect& step) {
    expectObservation(
        wanted.source,
        [&wanted](const Observation& seen) {
            return seen.text.find(wanted.text) != std::string::npos;
        },
        step);
}

void ScenarioRunner::expectObservation(const std::string& source,
                                       const ObservationLog::Predicate& wanted,
                                       const action::Expect& step) {
    switch (seen_.take(source, wanted, Clock::now() + step.within)) {
        case Outcome::Interrupted:
            throw Interruption();
        case Outcome::Seen:
            if (step.absent) {
                throw StepFailure("it came");
            }
            break;
        case Outcome::TimedOut:
            if (!step.absent) {
                constexpr std::size_t most = 5;
                std::string reason = "it did not come";
                const auto rest = seen_.rest(source, most);
                reason += rest.empty() ? "; nothing else did" : "; what came at last:";
                for (const Observation& other : rest) {
                    reason += "\n  " + describe(other);
                }
                throw StepFailure(reason);
            }
            break;
    }
    due_ = Clock::now();
}

// Figures.

void ScenarioRunner::settle() {
    const auto latencies = ledger_.settle(Clock::now());
    const std::lock_guard<std::mutex> lock(mutex_);
    recent_.insert(recent_.end(), latencies.begin(), latencies.end());
}

RunFigures ScenarioRunner::figures() {
    settle();
    RunFigures figures;
    figures.transport = transport_;
    figures.totals = ledger_.totals();
    figures.solution = ledger_.lastSolution();
    figures.handshakeTimeouts = handshakeTimeouts_;
    for (unsigned link = 1; link <= Bench::links; ++link) {
        figures.links.at(link - 1) = bench_.unit(link).statistics();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto now = Clock::now();
    all_.insert(all_.end(), recent_.begin(), recent_.end());
    figures.recent = LatencySummary::of(std::exchange(recent_, {}));
    figures.overall = LatencySummary::of(all_);
    figures.framesPerSecond =
        static_cast<double>(figures.totals.frames -
                            std::exchange(framesBefore_, figures.totals.frames)) /
        std::chrono::duration<double>(now - std::exchange(lastFigures_, now)).count();
    figures.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - begin_);
    figures.rate = rate_;
    figures.events = events_;
    figures.faults = faults_;
    figures.queueRecords = queueRecords_;
    figures.settings = settings_.lines();
    return figures;
}

}  // namespace bench
