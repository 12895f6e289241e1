#include "bench/TopicPeer.h"

#include <iomanip>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/TopicPeerProtocol.h"

namespace bench {
namespace {

/// The side of the wire that a server with this transport talks to.
std::string otherSide(const std::string& serverTransport) {
    if (serverTransport == "TCP_Server") {
        return "TCP_Client";
    }
    return serverTransport == "TCP_Client" ? "TCP_Server" : serverTransport;
}

/// What the participant is called.
const char* nameOf(TopicPeer::Role role) {
    switch (role) {
        case TopicPeer::Role::ClockDevice:
            return "ClockDevice";
        case TopicPeer::Role::FusionNavigator:
            return "FusionNavigator";
        case TopicPeer::Role::Both:
        case TopicPeer::Role::ClockAndNavigator:
            return "ClockAndNavigator";
        case TopicPeer::Role::AltNavUnit:
            return "AltNavUnit";
        case TopicPeer::Role::EventLogger:
            return "EventLogger";
        case TopicPeer::Role::HumanInterface:
            return "HumanInterface";
        case TopicPeer::Role::BitServer:
            return "BitServer";
        case TopicPeer::Role::All:
            return "AllPeers";
    }
    return "";
}

/// What a role has to do with the topics.
struct Topics {
    std::vector<std::string_view> published;
    std::vector<std::string_view> scheduled;  ///< of these, what `run` publishes
    std::vector<std::string_view> watched;
};

Topics topicsOf(TopicPeer::Role role) {
    constexpr std::string_view utc = UtcRecord::topic;
    constexpr std::string_view pnt = PntRecord::topic;
    constexpr std::string_view gpsTime = GpsTimeRecord::topic;
    constexpr std::string_view position = PositionVelocityRecord::topic;
    constexpr std::string_view event = EventRecord::topic;
    constexpr std::string_view fault = MaintenanceRecord::topic;
    constexpr std::string_view command = CommandRecord::topic;
    constexpr std::string_view response = ResponseRecord::topic;
    constexpr std::string_view bit = BitRecord::topic;
    switch (role) {
        case TopicPeer::Role::ClockDevice:
            return {{utc}, {utc}, {}};
        case TopicPeer::Role::FusionNavigator:
            return {{pnt, utc, gpsTime}, {pnt}, {}};
        case TopicPeer::Role::Both:
            return {{utc, pnt}, {utc, pnt}, {}};
        case TopicPeer::Role::ClockAndNavigator:
            return {{utc, pnt, gpsTime}, {utc, pnt}, {}};
        case TopicPeer::Role::AltNavUnit:
            return {{position, gpsTime}, {position, gpsTime}, {}};
        case TopicPeer::Role::EventLogger:
            return {{event}, {}, {event, fault}};
        case TopicPeer::Role::HumanInterface:
            return {{command, response}, {}, {command, response}};
        case TopicPeer::Role::BitServer:
            return {{bit}, {}, {}};
        case TopicPeer::Role::All:
            return {{utc, pnt, gpsTime, position, event, command, response, bit},
                    {utc, pnt},
                    {event, fault, command, response}};
    }
    return {};
}

/// Hands the record that the fields tell to `handler`; false when they tell none.
template <class Record>
bool deliver(const std::string& fields, const std::function<void(const Record&)>& handler) {
    Record record;
    if (!fromText(fields, record)) {
        return false;
    }
    if (handler) {
        handler(record);
    }
    return true;
}

template <class Record>
std::string publishRequest(const Record& record) {
    return "publish " + std::string(Record::topic) + " " + toText(record);
}

/// True when the line begins with `prefix`; `rest` is then what follows it.
bool hasPrefix(const std::string& line, std::string_view prefix, std::istringstream& rest) {
    if (line.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    rest.str(line.substr(prefix.size()));
    return true;
}

std::int64_t nanoseconds(std::chrono::nanoseconds duration) {
    return duration.count();
}

template <class Record>
void keep(std::deque<Publication<Record>>& list, const Publication<Record>& publication,
          std::size_t most) {
    list.push_back(publication);
    if (list.size() > most) {
        list.pop_front();
    }
}

}  // namespace

TopicPeer::TopicPeer(Options options) : options_(std::move(options)) {
    ChildProcess::Options child;
    child.arguments = {"--domain",    std::to_string(options_.domain),
                       "--transport", otherSide(options_.serverTransport),
                       "--address",   options_.address,
                       "--port",      std::to_string(options_.port),
                       "--depth",     std::to_string(options_.historyDepth)};
    if (options_.bestEffort) {
        child.arguments.emplace_back("--best-effort");
    }
    const auto add = [&child](const char* option, std::string_view topic) {
        child.arguments.insert(child.arguments.end(), {option, std::string(topic)});
    };
    const Topics topics = topicsOf(options_.role);
    for (const std::string_view topic : topics.published) {
        add("--topic", topic);
    }
    for (const std::string_view topic : topics.watched) {
        add("--watch", topic);
    }
    add("--name", nameOf(options_.role));
    child.lineHandler = [this](const std::string& line) { return takeLine(line); };
    process_ = std::make_unique<PeerProcess>(options_.program, std::move(child));
}

/// Takes the reports of records, which are too many to be kept as lines.
bool TopicPeer::takeLine(const std::string& line) {
    std::istringstream words;
    return (hasPrefix(line, peerProtocol::published, words) && takePublication(words)) ||
           (hasPrefix(line, peerProtocol::received, words) && takeReception(words));
}

bool TopicPeer::takeReception(std::istream& words) const {
    std::string topic;
    std::string fields;
    std::getline(words >> topic, fields);
    return (topic == EventRecord::topic && deliver(fields, options_.onEvent)) ||
           (topic == MaintenanceRecord::topic && deliver(fields, options_.onMaintenance)) ||
           (topic == CommandRecord::topic && deliver(fields, options_.onCommand)) ||
           (topic == ResponseRecord::topic && deliver(fields, options_.onResponse));
}

bool TopicPeer::takePublication(std::istream& words) {
    std::string topic;
    std::int64_t at = 0;
    std::string fields;
    std::getline(words >> topic >> at, fields);
    const std::chrono::steady_clock::time_point when{std::chrono::nanoseconds(at)};
    if (topic == UtcRecord::topic) {
        Publication<UtcRecord> publication{{}, when};
        if (!fromText(fields, publication.record)) {
            return false;
        }
        if (options_.onClock) {
            options_.onClock(publication);
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        keep(clock_, publication, options_.keptPublications);
        return true;
    }
    if (topic != PntRecord::topic) {
        return true;  // nobody asks for the others
    }
    Publication<PntRecord> publication{{}, when};
    if (!fromText(fields, publication.record)) {
        return false;
    }
    if (options_.onNavigator) {
        options_.onNavigator(publication);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    keep(navigator_, publication, options_.keptPublications);
    return true;
}

bool TopicPeer::waitForReaders(int count, Duration timeout) {
    return process_->request(
        "match " + std::to_string(count) + " " + std::to_string(timeout.count()),
        timeout + PeerProcess::requestTimeout);
}

bool TopicPeer::waitForWriters(int count, Duration timeout) {
    return process_->request(
        "writers " + std::to_string(count) + " " + std::to_string(timeout.count()),
        timeout + PeerProcess::requestTimeout);
}

bool TopicPeer::publish(const UtcRecord& record) {
    return process_->request(publishRequest(record));
}

bool TopicPeer::publish(const PntRecord& record) {
    return process_->request(publishRequest(record));
}

bool TopicPeer::publish(const GpsTimeRecord& record) {
    return process_->request(publishRequest(record));
}

bool TopicPeer::publish(const PositionVelocityRecord& record) {
    return process_->request(publishRequest(record));
}

bool TopicPeer::publish(const EventRecord& record) {
    return process_->request(publishRequest(record));
}

bool TopicPeer::publish(const CommandRecord& record) {
    return process_->request(publishRequest(record));
}

bool TopicPeer::publish(const ResponseRecord& record) {
    return process_->request(publishRequest(record));
}

bool TopicPeer::publish(const BitRecord& record) {
    return process_->request(publishRequest(record));
}

TopicPeer::Schedule TopicPeer::Schedule::fromNow(double rate, std::int64_t count, Duration delay) {
    return {rate, count, std::chrono::steady_clock::now() + delay,
            nanoseconds(std::chrono::system_clock::now().time_since_epoch() + delay)};
}

bool TopicPeer::run(const Schedule& schedule) {
    std::ostringstream text;
    text << std::setprecision(17) << "run " << schedule.rate << ' ' << schedule.count << ' '
         << nanoseconds(schedule.start.time_since_epoch()) << ' ' << schedule.utcStart;
    for (const std::string_view topic : topicsOf(options_.role).scheduled) {
        text << ' ' << topic;
    }
    return process_->request(text.str());
}

bool TopicPeer::stop() {
    return process_->request("stop");
}

bool TopicPeer::waitUntilDone(std::size_t runs, Duration timeout) const {
    return process_->child().waitForLines(peerProtocol::done, runs, timeout);
}

std::deque<Publication<UtcRecord>> TopicPeer::clockPublications() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return clock_;
}

std::deque<Publication<PntRecord>> TopicPeer::navigatorPublications() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return navigator_;
}

}  // namespace bench
