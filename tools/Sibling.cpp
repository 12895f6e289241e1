#include "tools/Sibling.h"

#include <stdexcept>
#include <utility>

#include "face/Listeners.h"
#include "tools/SiblingConfiguration.h"

namespace zephonctl {

namespace {

using ReturnCode = FACE::RETURN_CODE_TYPE;

constexpr char const* commandTopic = "Command";

void expectDone(ReturnCode::Value code, std::string const& what) {
    if (code != ReturnCode::NO_ERROR) {
        throw std::runtime_error(what + " failed with code " +
                                 std::to_string(static_cast<int>(code)));
    }
}

}  // namespace

Sibling::Sibling(std::filesystem::path const& connections)
    : transport_(std::make_shared<FACE::TSS::MX_TSS>("zephonctl")) {
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    transport_->Set_Reference("Configuration", std::make_shared<SiblingConfiguration>(), 0, code);
    transport_->Initialize(connections.c_str(), code);
    expectDone(code, "joining the domain that " + connections.string() + " tells");
    commandResponse_.Set_Reference("MX_TSS", transport_, 0, code);
    eventLog_.Set_Reference("MX_TSS", transport_, 0, code);
}

long long Sibling::connection(std::string const& topic) {
    const auto known = connections_.find(topic);
    if (known != connections_.end()) {
        return known->second;
    }
    long long id = -1;
    int direction = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    transport_->Create_Connection(topic.c_str(), 0, id, direction, code);
    expectDone(code, "connecting the topic " + topic);
    return connections_[topic] = id;
}

template <class Record>
void Sibling::listenTo(Typed<Record>& typed, std::string const& topic, Handler<Record> handler) {
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    typed.Register_Callback(
        connection(topic),
        [handler = std::move(handler)](long long, long long, Record const& record,
                                       FACE::TSS::HEADER_TYPE const& header,
                                       FACE::Sequence<FACE::TSS::QoS_Element> const&,
                                       ReturnCode::Value&) { handler(record, header.timestamp); },
        code);
    expectDone(code, "listening to " + topic);
}

void Sibling::listen(std::string const& topic, Handler<CommandResponse> handler) {
    listenTo(commandResponse_, topic, std::move(handler));
}

void Sibling::listen(std::string const& topic, Handler<EventLog> handler) {
    listenTo(eventLog_, topic, std::move(handler));
}

void Sibling::speak() {
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    commandResponse_.Register_Sender(connection(commandTopic), code);
    expectDone(code, "preparing to publish commands");
}

bool Sibling::publish(CommandResponse const& command) {
    return commandResponse_.Publish(connection(commandTopic), command);
}

std::uint32_t Sibling::listeners() {
    auto const* const listener =
        transport_->connectionMap_mutex_at(FACE::TSS::MX_TSS::tableKey(connection(commandTopic)))
            .publisherListener();
    return listener == nullptr ? 0 : listener->matched();
}

std::uint32_t Sibling::writers(std::string const& topic) {
    auto const* const listener =
        transport_->connectionMap_mutex_at(FACE::TSS::MX_TSS::tableKey(connection(topic)))
            .subscriberListener();
    return listener == nullptr ? 0 : listener->matched();
}

}  // namespace zephonctl
