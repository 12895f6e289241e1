#include "bench/ScenarioPeers.h"

#include <algorithm>
#include <future>
#include <string_view>

#include "bench/Simulation.h"
#include "bench/StepFailure.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

constexpr auto streamEndTimeout = 5s;

/// The device id of the sibling server that writes to a queue: the GPS engine's, or the anti-jam
/// unit's.
std::int32_t senderOf(std::string_view queue) {
    constexpr std::int32_t system = 0x03000000;
    return system | (queue == "TREVO_MX" ? 39 << 16 : 47 << 16);
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
    if (topic == BitRecord::topic) {
        return Role::BitServer;
    }
    const bool ofAltNavUnit =
        topic == PositionVelocityRecord::topic ||
        (topic == GpsTimeRecord::topic && source != PntRecord::fusionNavigator);
    return ofAltNavUnit ? Role::AltNavUnit : Role::ClockAndNavigator;
}

/// True for those whose records make the pairs of a stream.
bool isOfStream(TopicPeer::Role role) {
    using Role = TopicPeer::Role;
    return role == Role::ClockAndNavigator || role == Role::All;
}

/// A record with nothing but its time of validity.
template <class Record>
Record taggedAt(std::int64_t instant) {
    Record record;
    record.header.setTag(instant);
    return record;
}

}  // namespace

std::unique_ptr<TopicPeer> ScenarioPeers::make(TopicPeer::Role role) {
    TopicPeer::Options options = bench_.peerOptions(role);
    options.keptPublications = 1;
    options.onClock = [this](const auto& publication) { books_.ledger().published(publication); };
    options.onNavigator = [this](const auto& publication) {
        books_.ledger().published(publication);
    };
    options.onEvent = [this](const EventRecord& event) { books_.see(event); };
    options.onMaintenance = [this](const MaintenanceRecord& fault) { books_.see(fault); };
    options.onCommand = [this](const CommandRecord& command) {
        books_.see(command, CommandRecord::topic);
    };
    options.onResponse = [this](const ResponseRecord& answer) {
        books_.see(answer, ResponseRecord::topic);
    };
    return std::make_unique<TopicPeer>(options);
}

void ScenarioPeers::start(const Scenario& scenario) {
    using Role = TopicPeer::Role;
    std::vector<Role> roles{Role::EventLogger};
    if (transport() == "TCP_Client") {
        // Such a server reaches one neighbour, which then is all of them.
        roles = {Role::All};
    } else {
        if (scenario.publishesSolutions()) {
            roles.push_back(Role::ClockAndNavigator);
        }
        if (scenario.publishesAltNavigation()) {
            roles.push_back(Role::AltNavUnit);
        }
        if (scenario.exchangesCommands()) {
            roles.push_back(Role::HumanInterface);
        }
        if (scenario.publishesBitReports()) {
            roles.push_back(Role::BitServer);
        }
    }
    for (const Role role : roles) {
        peers_.push_back({make(role), 0});
    }
    QueuePeer::Options options = bench_.queuePeerOptions();
    options.keptReads = 1;
    options.onRead = [this](const QueueRead& read) { books_.see(read); };
    queues_ = std::make_unique<QueuePeer>(options);
    for (const char* const queue : {"PNTD_MX", "DT_IN"}) {
        if (!queues_->startReading(queue)) {
            throw StepFailure(queues_->lastFailure());
        }
    }
}

void ScenarioPeers::connect(Clock::time_point deadline) {
    const bool tcp = transport() != "SHM" && transport() != "UDP";
    const auto left = std::chrono::duration_cast<TopicPeer::Duration>(deadline - Clock::now());
    const TopicPeer::Duration patience = tcp ? 8s : std::max(left, TopicPeer::Duration(1s));
    std::vector<std::future<bool>> found;  // all at once: each takes some seconds
    for (const Peer& peer : peers_) {
        found.push_back(std::async(std::launch::async, [&peer, patience] {
            return peer.peer->waitForReaders(1, patience);
        }));
    }
    for (std::size_t i = 0; i < peers_.size(); ++i) {
        bool known = found[i].get();
        for (int spare = tcp ? 9 : 0; !known && spare > 0; --spare) {
            books_.note("a peer was not discovered over TCP; it is started anew");
            const TopicPeer::Role role = peers_[i].peer->role();
            peers_[i] = {};
            peers_[i] = {make(role), 0};
            known = peers_[i].peer->waitForReaders(1, patience);
        }
        if (!known) {
            throw StepFailure("the server is not to be found on the topics: " +
                              peers_[i].peer->lastFailure());
        }
    }
}

template <class Record>
void ScenarioPeers::publishRecord(Record record, const std::string& fields) {
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

void ScenarioPeers::publish(const std::string& topic, const std::string& fields,
                            std::int64_t instant) {
    if (topic == UtcRecord::topic) {
        publishRecord(clockAt(instant), fields);
    } else if (topic == PntRecord::topic) {
        publishRecord(navigatorAt(instant), fields);
    } else if (topic == PositionVelocityRecord::topic) {
        publishRecord(positionAt(instant), fields);
    } else if (topic == GpsTimeRecord::topic) {
        constexpr std::int64_t oneSecond = 1'000'000'000;
        GpsTimeRecord given;
        const bool ofMark =
            fromText(fields, given) && given.header.source == PntRecord::fusionNavigator;
        publishRecord(gpsTimeAt(ofMark ? instant : instant + oneSecond), fields);
    } else if (topic == CommandRecord::topic) {
        publishRecord(taggedAt<CommandRecord>(instant), fields);
    } else if (topic == ResponseRecord::topic) {
        publishRecord(taggedAt<ResponseRecord>(instant), fields);
    } else if (topic == BitRecord::topic) {
        publishRecord(taggedAt<BitRecord>(instant), fields);
    } else {
        publishRecord(taggedAt<EventRecord>(instant), fields);
    }
}

void ScenarioPeers::startStream(const TopicPeer::Schedule& schedule) {
    for (Peer& peer : peers_) {
        if (!isOfStream(peer.peer->role())) {
            continue;
        }
        if (!peer.peer->run(schedule)) {
            throw StepFailure(peer.peer->lastFailure());
        }
        ++peer.runs;
    }
}

bool ScenarioPeers::streamIsOver() const {
    return std::all_of(peers_.begin(), peers_.end(), [](const Peer& peer) {
        return peer.runs == 0 || peer.peer->waitUntilDone(peer.runs, 0ms);
    });
}

void ScenarioPeers::stopStream() {
    for (const Peer& peer : peers_) {
        if (peer.runs > 0 &&
            (!peer.peer->stop() || !peer.peer->waitUntilDone(peer.runs, streamEndTimeout))) {
            throw StepFailure("a publisher does not stop: " + peer.peer->lastFailure());
        }
    }
}

void ScenarioPeers::inject(const std::string& queue, const UnitFrame& frame, std::int64_t instant) {
    constexpr std::int64_t nanosecondsOfSecond = 1'000'000'000;
    QueueRecord record;
    record.deviceId = senderOf(queue);
    record.sequence = injected_++;
    record.validity.seconds = instant / nanosecondsOfSecond;
    record.validity.nanoseconds = static_cast<std::int32_t>(instant % nanosecondsOfSecond);
    record.arrival = record.validity;
    record.data = frame.encode();
    inject(queue, record.encode());
}

void ScenarioPeers::inject(const std::string& queue, const std::vector<std::uint8_t>& bytes) {
    if (!queues_->write(queue, bytes)) {
        throw StepFailure(queues_->lastFailure());
    }
    books_.countQueueRecord(queue);
}

void ScenarioPeers::checkAlive() const {
    const auto check = [](const char* name, const ChildProcess& process) {
        if (const auto exit = process.wait(0ms)) {
            throw StepFailure(std::string(name) + " has ended: " + exit->text());
        }
    };
    for (const Peer& peer : peers_) {
        check("zephon-topic-peer", peer.peer->process());
    }
    check("zephon-queue-peer", queues_->process());
}

void ScenarioPeers::end() {
    queues_.reset();
    peers_.clear();
}

}  // namespace bench
