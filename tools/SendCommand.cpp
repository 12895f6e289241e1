#include "tools/SendCommand.h"

#include <cstdio>
#include <deque>
#include <optional>
#include <random>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ASPN/CmdResponse.h"
#include "ASPN/CmdResponseStrings.h"
#include "platform/Mutex.h"
#include "tools/CommandOutcome.h"
#include "tools/RecordText.h"
#include "tools/Sibling.h"
#include "tools/SiblingConfiguration.h"

namespace zephonctl {

namespace {

using aspn2_msgs::idl::CommandResponse;
using Clock = std::chrono::steady_clock;

constexpr char const* responseTopic = "Response";

/// The answers to one command: filled by threads of the transport, read by the sender.
class Answers {
public:
    explicit Answers(CommandResponse const& command)
        : device_(command.header().device_id()), identifier_(command.command_identifier()) {}

    void take(CommandResponse const& record) {
        if (record.command_response_type() != aspn2_msgs::idl::COMMAND_RESPONSE_TYPE_RESPONSE ||
            record.commanded_device_id() != device_ || record.command_identifier() != identifier_) {
            return;
        }
        const platform::MutexLock lock(mutex_);
        records_.push_back(record);
        came_.notifyAll();
    }

    /// The next answer; nothing when none comes before `deadline`.
    std::optional<CommandResponse> next(Clock::time_point deadline) {
        const platform::MutexLock lock(mutex_);
        while (records_.empty()) {
            if (!came_.waitUntil(mutex_, deadline)) {
                break;
            }
        }
        if (records_.empty()) {
            return std::nullopt;
        }
        CommandResponse record = std::move(records_.front());
        records_.pop_front();
        return record;
    }

private:
    std::int32_t const device_;
    std::int32_t const identifier_;
    platform::Mutex mutex_;  // a leaf
    platform::Condition came_;
    std::deque<CommandResponse> records_ GUARDED_BY(mutex_);
};

/// A command of its own: two programs that run at once, or one after the other, must not take each
/// other's answers, so the identifier is drawn.
CommandResponse makeCommand(ASPN2::DeviceIdFactory const& ids, std::string const& text) {
    CommandResponse command = ASPN2::CmdResponse(ids).makeCommand(text);
    command.command_identifier(static_cast<std::int32_t>(std::random_device{}()));
    return command;
}

/// Pings until ZephonServer has answered: only then do both sides know each other's endpoints, and
/// the server runs. False when it did not in time.
bool findServer(Sibling& sibling, CommandResponse const& ping, Answers& pong,
                Clock::time_point deadline) {
    constexpr std::chrono::milliseconds look{10};
    constexpr std::chrono::milliseconds repeat{250};
    auto pingAt = Clock::now();
    while (Clock::now() < deadline) {
        if (sibling.listeners() > 0 && sibling.writers(responseTopic) > 0 &&
            Clock::now() >= pingAt) {
            sibling.publish(ping);
            pingAt = Clock::now() + repeat;
        }
        const auto answer = pong.next(Clock::now() + look);
        if (answer && answer->command_response() == ASPN2::ServerIds::ZephonServer_name) {
            return true;
        }
    }
    return false;
}

Sender senderKind(std::uint8_t server) {
    return server == ASPN2::ServerIds::HmiServer ? Sender::HumanInterface : Sender::Server;
}

/// Tells how it went, in the way that was asked for.
class Report {
public:
    explicit Report(SendOptions const& options) : options_(options) {}

    void answer(CommandResponse const& record, int status, std::chrono::microseconds after) const {
        if (!options_.json) {
            fmt::print("{}\n", printable(record.command_response()));
            std::fflush(stdout);
            return;
        }
        auto object = begin(status);
        object["answer"] = record.command_response();
        object["source"] = serverNameOf(static_cast<std::uint32_t>(record.header().device_id()));
        object["identifier"] = static_cast<std::uint32_t>(record.command_identifier());
        object["microseconds"] = after.count();
        print(object);
    }

    void failure(int status, std::string const& reason) const {
        fmt::print(stderr, "zephonctl: {}\n", reason);
        if (options_.json) {
            auto object = begin(status);
            object["answer"] = nullptr;
            object["reason"] = reason;
            print(object);
        }
    }

private:
    nlohmann::ordered_json begin(int status) const {
        return {{"command", options_.text}, {"status", status}};
    }
    static void print(nlohmann::ordered_json const& object) {
        fmt::print("{}\n", object.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace));
        std::fflush(stdout);
    }

    SendOptions const& options_;
};

}  // namespace

int sendCommand(SendOptions const& options) {
    const Report report(options);
    if (isDestructive(options.text) && !options.confirmed) {
        report.failure(ExitStatus::Unusable,
                       printable(verbOf(options.text)) +
                           " destroys what nobody brings back: not sent without --yes");
        return ExitStatus::Unusable;
    }
    const TransportFiles files = findTransportFiles(options.configuration);
    const auto idsOf = [&files](std::uint8_t server) {
        return ASPN2::DeviceIdFactory(files.system.c_str(), server);
    };
    // The human interface's vocabulary has no ping, so that comes from another server.
    const auto ping = makeCommand(idsOf(diagnosticServer), Sys::CommandString::BitServerPing);
    const auto command = makeCommand(idsOf(options.sender), options.text);
    Answers pong(ping);
    Answers answers(command);
    Sibling sibling(files.connections);  // last, so that it ends before what its thread uses
    sibling.listen(responseTopic, [&](CommandResponse const& record, std::int64_t) {
        pong.take(record);
        answers.take(record);
    });
    sibling.speak();

    // A listener that does not answer the ping gets the command all the same.
    const bool answersPings =
        findServer(sibling, ping, pong, platform::steadyDeadline(options.discovery));
    if (!answersPings && sibling.listeners() == 0) {
        report.failure(ExitStatus::Nobody,
                       std::string("nobody listens to commands in this domain") +
                           (isForTcpClient(files.connections)
                                ? "; the server is a TCP client with one neighbour, which "
                                  "zephonctl can be only where no other program is"
                                : ""));
        return ExitStatus::Nobody;
    }
    const auto sentAt = Clock::now();
    if (!sibling.publish(command)) {
        report.failure(ExitStatus::Unusable, "the transport did not take the command");
        return ExitStatus::Unusable;
    }
    int status = ExitStatus::Done;
    const auto deadline = platform::steadyDeadline(options.timeout);
    for (std::size_t count = 0; count < options.answers; ++count) {
        const auto answer = answers.next(deadline);
        if (!answer) {
            report.failure(ExitStatus::NoAnswer,
                           reasonForSilence(options.text, senderKind(options.sender)) +
                               (answersPings ? "" : "; nor did ZephonServer answer a ping"));
            return ExitStatus::NoAnswer;
        }
        const int one = statusOf(options.text, answer->command_response());
        report.answer(*answer, one,
                      std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - sentAt));
        status = status == ExitStatus::Done ? one : status;
    }
    return status;
}

}  // namespace zephonctl
