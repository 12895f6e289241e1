#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/EventLog.h"
#include "face/MX_TSS.h"
#include "face/MX_TypedTS.h"

namespace zephonctl {

/// A server of the computer that commands others and listens to them, over the connections of
/// ZephonServer's own configuration. One thread uses it; what it hears comes on threads of the
/// transport, until the destructor has returned. Operations raise std::runtime_error.
class Sibling {
public:
    using CommandResponse = aspn2_msgs::idl::CommandResponse;
    using EventLog = aspn2_msgs::idl::EventLog;
    /// Takes a record and when it was published, nanoseconds since 1970.
    template <class Record>
    using Handler = std::function<void(Record const&, std::int64_t publishedAt)>;

    /// Joins the domain that the connections file tells.
    explicit Sibling(std::filesystem::path const& connections);

    void listen(std::string const& topic, Handler<CommandResponse> handler);
    void listen(std::string const& topic, Handler<EventLog> handler);

    /// Makes ready to publish commands.
    void speak();
    /// False when the transport did not take it.
    bool publish(CommandResponse const& command);

    /// How many readers of commands are known at the moment; after speak().
    std::uint32_t listeners();
    /// How many writers of a topic are known at the moment; after listen().
    std::uint32_t writers(std::string const& topic);

private:
    template <class Record>
    using Typed = FACE::TSS::Details::MX_TypedTS<Record>;

    long long connection(std::string const& topic);
    template <class Record>
    void listenTo(Typed<Record>& typed, std::string const& topic, Handler<Record> handler);

    std::map<std::string, long long> connections_;
    std::shared_ptr<FACE::TSS::MX_TSS> transport_;
    Typed<CommandResponse> commandResponse_;
    Typed<EventLog> eventLog_;
};

}  // namespace zephonctl
