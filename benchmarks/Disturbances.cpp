#include "benchmarks/Disturbances.h"

#include <algorithm>
#include <stdexcept>

#include "bench/UnitFrame.h"
#include "bench/VirtualUnits.h"

namespace benchmarks {
namespace {

using namespace std::chrono_literals;
using bench::UnitFrame;
using Records = std::vector<bench::QueueRecord>;

constexpr auto tellTimeout = 10s;
constexpr std::int64_t systemController = 53;
constexpr std::int64_t gpsEngine = 39;

constexpr std::uint16_t wrappedForUnit = 27552;
constexpr std::uint16_t wrappedByUnit = 27553;
constexpr std::uint16_t portSetup = 5331;
constexpr std::uint16_t bitStatus = 27535;
constexpr std::uint16_t zeroizePassed = 17;
constexpr std::uint16_t noMatter = 30;

constexpr int stormLength = 50;

/// Message 27535 with one hard fault of the CBIT, test 7.
UnitFrame bitReport() {
    return {bitStatus,
            UnitFrame::linkReady,
            {0, 0, 0, 0, /* CBIT failed, one entry */ 0x0108, /* CBIT, hard; test */ 0x070B}};
}

bench::TopicPeer::Options loggerOptions(bench::Bench const& bench, HeardTexts& events) {
    auto options = bench.peerOptions(bench::TopicPeer::Role::EventLogger);
    options.onEvent = [&events](auto const& record) { events.note(record.text); };
    return options;
}

bench::TopicPeer::Options commanderOptions(bench::Bench const& bench, HeardTexts& answers) {
    auto options = bench.peerOptions(bench::TopicPeer::Role::HumanInterface);
    options.onResponse = [&answers](auto const& record) { answers.note(record.text); };
    return options;
}

bench::QueuePeer::Options queueOptions(bench::Bench const& bench, HeardTexts& ids) {
    auto options = bench.queuePeerOptions();
    options.keptReads = 100;  // the ids are all that is asked for
    options.onRead = [&ids](bench::QueueRead const& read) {
        for (auto const& record : bench::decodeRecords(read.bytes).value_or(Records())) {
            if (auto const frame = bench::decodeFrame(record.data.data(), record.data.size())) {
                ids.note(std::to_string(frame->id));
            }
        }
    };
    return options;
}

}  // namespace

// ---- HeardTexts ---------------------------------------------------------------------------

void HeardTexts::note(std::string const& text) {
    std::lock_guard<std::mutex> const lock(mutex_);
    texts_.push_back(text);
    if (texts_.size() > kept_) {
        texts_.pop_front();
        ++forgotten_;
    }
    changed_.notify_all();
}

std::uint64_t HeardTexts::mark() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return forgotten_ + texts_.size();
}

bool HeardTexts::waitFor(std::uint64_t mark, std::string const& part, std::chrono::seconds timeout,
                         int count) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
        auto const first = mark > forgotten_ ? static_cast<std::ptrdiff_t>(mark - forgotten_) : 0;
        return count <= std::count_if(texts_.begin() + first, texts_.end(), [&](auto const& text) {
                   return text.find(part) != std::string::npos;
               });
    });
}

// ---- Disturbances -------------------------------------------------------------------------

std::vector<Disturbances::Row> const& Disturbances::rows() {
    static std::vector<Row> const list = {
        {"fault in a BIT report", &Disturbances::faultInBitReport},
        {"damaged frames", &Disturbances::damagedFrames},
        {"zeroize", &Disturbances::zeroize},
        {"short BIT report", &Disturbances::shortBitReport},
        {"changed port", &Disturbances::changedPort},
        {"damaged records", &Disturbances::damagedRecords},
        {"commanded BIT with a fault", &Disturbances::commandedBitWithFault},
        {"storm of status messages", &Disturbances::stormOfStatus},
        {"silent unit", &Disturbances::silentUnit},
        {"storm of BIT reports", &Disturbances::stormOfBitReports},
        {"foreign commands", &Disturbances::foreignCommands},
        {"queue reader that pauses", &Disturbances::readerThatPauses},
    };
    return list;
}

Disturbances::Disturbances(bench::Bench& bench)
    : bench_(bench),
      eventLogger_(loggerOptions(bench, events_)),
      commander_(commanderOptions(bench, answers_)),
      queues_(queueOptions(bench, records_)) {
    for (Row const& row : rows()) {
        counts_.push_back({row.name});
    }
    for (auto* const peer : {&eventLogger_, &commander_}) {
        if (!peer->waitForReaders() || !peer->waitForWriters()) {
            throw std::runtime_error("a peer does not find the server: " + peer->lastFailure());
        }
    }
    for (char const* const queue : {"PNTD_MX", "DT_IN"}) {
        if (!queues_.startReading(queue)) {
            throw std::runtime_error(std::string("nobody can read ") + queue);
        }
    }
}

char const* Disturbances::next() {
    Row const& row = rows()[next_];
    Count& count = counts_[next_];
    ++count.tried;
    count.told += (this->*row.make)() ? 1 : 0;
    next_ = (next_ + 1) % rows().size();
    return row.name;
}

bool Disturbances::command(std::string const& text, std::string const& answer) {
    bench::CommandRecord record;
    record.header.source = systemController;
    record.identifier = ++identifier_;
    record.text = text;
    auto const mark = answers_.mark();
    return commander_.publish(record) && answers_.waitFor(mark, answer, tellTimeout);
}

bool Disturbances::waitForRecords(std::uint64_t mark, std::uint16_t id, int count) const {
    return records_.waitFor(mark, std::to_string(id), tellTimeout, count);
}

bool Disturbances::faultInBitReport() {
    auto const mark = events_.mark();
    bench_.unit(3).send(bitReport());
    return events_.waitFor(mark, "CBIT:Fail", tellTimeout);
}

bool Disturbances::shortBitReport() {
    auto const mark = events_.mark();
    bench_.unit(3).send({bitStatus, UnitFrame::linkReady, {0, 0, 0, 0}});
    return events_.waitFor(mark, "Error decoding a PntdBitStatusMsg (27535)", tellTimeout);
}

bool Disturbances::stormOfBitReports() {
    auto const mark = records_.mark();
    for (int i = 0; i < stormLength; ++i) {
        bench_.unit(3).send(bitReport());
    }
    return waitForRecords(mark, bitStatus, stormLength) && isAlive();
}

bool Disturbances::commandedBitWithFault() {
    if (!command("REQUEST_COMPONENT_CBIT", "REQUEST_COMPONENT_CBIT_ACK")) {
        return false;
    }
    auto const eventMark = events_.mark();
    bench::ResponseRecord engine;
    engine.header.source = gpsEngine;
    engine.text = "REQUEST_COMPONENT_CBIT_PASS";
    if (!commander_.publish(engine) ||
        !events_.waitFor(eventMark, "TREVO CBIT Cmplt", tellTimeout)) {
        return false;
    }
    auto const answerMark = answers_.mark();
    bench_.unit(3).send(bitReport());
    return answers_.waitFor(answerMark, "REQUEST_COMPONENT_CBIT_FAIL", tellTimeout);
}

bool Disturbances::zeroize() {
    auto const mark = answers_.mark();
    if (!command("START_ZEROIZE", "START_ZEROIZE_ACK")) {
        return false;
    }
    bench_.virtualUnits().send(2, bench::makeStatus(zeroizePassed, "ZEROIZED"));
    return answers_.waitFor(mark, "COMPONENT_ZEROIZE_PASS", tellTimeout);
}

bool Disturbances::damagedFrames() {
    for (unsigned link = 1; link <= bench::Bench::links; ++link) {
        auto const start = std::chrono::steady_clock::now();
        auto damaged =
            UnitFrame{portSetup, UnitFrame::linkReady | UnitFrame::ackRequest, {1, 2, 3}}.encode();
        damaged.back() ^= 0xFFU;
        bench_.unit(link).sendBytes(damaged);
        bench_.unit(link).send({portSetup, UnitFrame::linkReady | UnitFrame::ackRequest, {4}});
        if (!bench_.unit(link).waitForFrames(1, tellTimeout, [start](auto const& logged) {
                return logged.lastByte >= start && logged.frame.id == portSetup &&
                       logged.frame.has(UnitFrame::ack);
            })) {
            return false;
        }
    }
    return true;
}

bool Disturbances::damagedRecords() {
    auto const mark = events_.mark();
    if (!queues_.write("TREVO_MX", bench::QueuePeer::Bytes(60, 0xA5))) {
        return false;
    }
    return events_.waitFor(mark, "A memory exception occurred", tellTimeout) && isAlive();
}

bool Disturbances::stormOfStatus() {
    // Without a wish for an ACK: more than 32 of these at once are more than a link's write queue
    // takes, and what it does not take is lost, solutions too.
    auto status = bench::makeStatus(noMatter, "STORM");
    status.flags = UnitFrame::linkReady;
    auto const mark = records_.mark();
    for (int i = 0; i < stormLength; ++i) {
        bench_.virtualUnits().send(1 + static_cast<unsigned>(i) % bench::VirtualUnits::count,
                                   status);
    }
    return waitForRecords(mark, wrappedByUnit, stormLength) && isAlive();
}

bool Disturbances::changedPort() {
    std::string const baud = fasterPort_ ? "115200" : "38400";
    fasterPort_ = !fasterPort_;
    return command("SET_ZEPHON_COM,1,COM1," + baud + ",None,1PPS UTC,19200,Odd,Off,GPS", baud);
}

bool Disturbances::silentUnit() {
    // It does not answer: the server says it again. Solutions wait meanwhile, for 0.2 s; twice that
    // would be more of them than the link's write queue then takes.
    auto const start = std::chrono::steady_clock::now();
    std::vector<std::uint8_t> first;
    auto const isAgain = [&](bench::LoggedFrame const& logged) {
        return logged.lastByte >= start && logged.frame.id == wrappedForUnit &&
               (first.empty() || logged.frame.encode() == first);
    };
    auto& unit = bench_.unit(1);
    unit.setReaction(wrappedForUnit, {bench::Policy::Silence, 0ms, 1});
    if (!changedPort() || !unit.waitForFrames(1, tellTimeout, isAgain)) {
        return false;
    }
    auto const said = unit.frames(wrappedForUnit);
    first = std::find_if(said.begin(), said.end(), isAgain)->frame.encode();
    return unit.waitForFrames(2, tellTimeout, isAgain);
}

bool Disturbances::foreignCommands() {
    bench::CommandRecord record;
    record.header.source = systemController;
    for (std::string const& text :
         {std::string(5000, 'A'), std::string(2000, ','), std::string()}) {
        record.text = text;
        if (!commander_.publish(record)) {
            return false;
        }
    }
    return isAlive();
}

bool Disturbances::readerThatPauses() {
    constexpr int frames = 200;
    auto const mark = records_.mark();
    bool const paused = queues_.stopReading("PNTD_MX");
    for (int i = 0; i < frames; ++i) {
        bench_.unit(3).send({portSetup, UnitFrame::linkReady, {4}});
    }
    return paused && bench_.unit(3).waitUntilSent(tellTimeout) && isAlive() &&
           queues_.startReading("PNTD_MX") && waitForRecords(mark, portSetup, frames);
}

}  // namespace benchmarks
