// zephon-topic-peer: one participant of its own that publishes what the clock device, the fusion
// navigator, the alternate navigation device and the BIT server publish, and reads and writes the
// event log, commands and their answers. Requests come on standard input (TopicPeerProtocol.h).

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fastrtps/Domain.h>

#include "bench/PeerProgram.h"
#include "bench/TopicEndpoints.h"
#include "bench/TopicParticipant.h"
#include "bench/TopicPeerProtocol.h"
#include "bench/TopicSchedule.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;
using peerProgram::say;

struct Options {
    TopicOptions meeting;
    std::vector<std::string> topics;   ///< to publish
    std::vector<std::string> watched;  ///< to read
};

using Writers = std::vector<std::unique_ptr<TopicWriter>>;
using Readers = std::vector<std::unique_ptr<TopicReader>>;

std::string waitForWriters(const Readers& watches, int count, Clock::time_point deadline) {
    for (const auto& watch : watches) {
        std::string failure = watch->waitForWriters(count, deadline);
        if (!failure.empty()) {
            return failure;
        }
    }
    return {};
}

/// Carries out one request; the text is empty or tells why it failed.
std::string handle(std::istream& words, const Writers& topics, const Readers& watches,
                   TopicSchedule& schedule) {
    std::string verb;
    words >> verb;
    const auto find = [&topics](std::string_view name) {
        const auto found = std::find_if(topics.begin(), topics.end(),
                                        [&](const auto& topic) { return topic->name() == name; });
        return found == topics.end() ? nullptr : found->get();
    };
    if (verb == "match" || verb == "writers") {
        int count = 0;
        std::int64_t milliseconds = 0;
        words >> count >> milliseconds;
        const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
        if (verb == "writers") {
            return waitForWriters(watches, count, deadline);
        }
        for (const auto& topic : topics) {
            if (!words || !topic->waitForReaders(count, deadline)) {
                return topic->name() + " is known to " + std::to_string(topic->matched()) +
                       " readers";
            }
        }
        return {};
    }
    if (verb == "publish") {
        std::string name;
        std::string fields;
        std::getline(words >> name, fields);
        TopicWriter* const topic = find(name);
        return topic == nullptr ? "no topic " + name : topic->publishText(fields);
    }
    if (verb == "run") {
        double rate = 0;
        std::int64_t count = 0;
        std::int64_t begin = 0;
        std::int64_t utc = 0;
        words >> rate >> count >> begin >> utc;
        if (!words || !(rate > 0)) {
            return "run needs rate, count, start and time";
        }
        std::vector<TopicWriter*> scheduled;
        for (std::string name; words >> name;) {
            TopicWriter* const topic = find(name);
            if (topic == nullptr) {
                return "no topic " + name;
            }
            scheduled.push_back(topic);
        }
        schedule.start(rate, count, Clock::time_point(std::chrono::nanoseconds(begin)),
                       [scheduled, utc](std::int64_t offset) {
                           for (TopicWriter* const topic : scheduled) {
                               if (!topic->publishAt(utc + offset)) {
                                   std::cerr << "cannot publish " << topic->name() << std::endl;
                               }
                           }
                       });
        return {};
    }
    if (verb == "stop") {
        schedule.stop();
        return {};
    }
    return "unknown verb " + verb;
}

int run(const Options& options) {
    keepLibraryOffStandardOutput();
    eprosima::fastrtps::Participant* participant = createParticipant(options.meeting);
    if (participant == nullptr) {
        std::cerr << "cannot create a participant" << std::endl;
        return 1;
    }
    {
        Readers watches;
        for (const std::string& name : options.watched) {
            watches.push_back(std::make_unique<TopicReader>(participant, options.meeting, name));
        }
        Writers topics;
        for (const std::string& name : options.topics) {
            topics.push_back(std::make_unique<TopicWriter>(participant, options.meeting, name));
        }
        TopicSchedule schedule;
        say(std::string(peerProtocol::ready));
        peerProgram::serve(
            [&](std::istream& words) { return handle(words, topics, watches, schedule); });
        schedule.stop();
        // Writers and readers go with the participant, their listeners after it.
        eprosima::fastrtps::Domain::removeParticipant(participant);
    }
    return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    bench::Options options;
    CLI::App app("One peer of the simulated computer; commands on standard input");
    app.add_option("--name", options.meeting.name, "Name of the participant");
    app.add_option("--domain", options.meeting.domain, "DDS domain");
    app.add_option("--transport", options.meeting.transport, "Transport of this side")
        ->check(CLI::IsMember({"SHM", "UDP", "TCP_Client", "TCP_Server"}));
    app.add_option("--address", options.meeting.address, "TCP address of the server side");
    app.add_option("--port", options.meeting.port, "TCP port of the server side");
    app.add_option("--depth", options.meeting.historyDepth, "History depth");
    app.add_flag("--best-effort", options.meeting.bestEffort, "Publish without acknowledgement");
    app.add_option("--topic", options.topics, "Topic to publish; may be given several times")
        ->check(CLI::IsMember({"UTCTime", "MeridanePNT", "GPSTime", "PositionVelocity", "EventLog",
                               "Command", "Response", "BitReport"}));
    app.add_option("--watch", options.watched, "Topic to read; may be given several times")
        ->check(CLI::IsMember({"EventLog", "MaintenanceEvent", "Command", "Response"}));
    CLI11_PARSE(app, argc, argv);
    try {
        return bench::run(options);
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << std::endl;
        return 1;
    }
}
