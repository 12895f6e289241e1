#include "ASPN/CmdResponse.h"

#include "ASPN/CmdResponseStrings.h"
#include "ASPN/TimeTags.h"
#include "platform/FpgaFace.h"

namespace ASPN2 {

namespace idl = aspn2_msgs::idl;

namespace {

std::uint32_t deviceIdOf(const DeviceIdFactory& ids) {
    return ids.makeDeviceId(TopicIds::Commands, 0);
}

// What stands before the first comma, all of it without one.
std::string verbOf(const idl::CommandResponse& command) {
    const std::string& text = command.command_response();
    return text.substr(0, text.find(','));
}

}  // namespace

CmdResponse::CmdResponse(const DeviceIdFactory& ids) : deviceId_(deviceIdOf(ids)) {}

void CmdResponse::reset(const DeviceIdFactory& ids) {
    deviceId_ = deviceIdOf(ids);
}

idl::CommandResponse CmdResponse::makeRecord(const std::string& text) {
    idl::CommandResponse record;
    record.header().device_id(static_cast<std::int32_t>(deviceId_));
    record.header().seq_num(
        static_cast<std::int64_t>(sequenceNumber_.fetch_add(1, std::memory_order_relaxed)));
    setToVandToA_fromFpgaTicks(FpgaFace::fpga_get_SystemCount(), record.header());
    record.command_response(text);
    return record;
}

idl::CommandResponse CmdResponse::makeCommand(const std::string& text) {
    idl::CommandResponse command = makeRecord(text);
    command.commanded_device_id(0);
    command.command_identifier(
        static_cast<std::int32_t>(commandIdentifier_.fetch_add(1, std::memory_order_relaxed)));
    command.command_response_type(idl::COMMAND_RESPONSE_TYPE_COMMAND);
    return command;
}

idl::CommandResponse CmdResponse::makeCommand(unsigned long long ticks, const std::string& text) {
    idl::CommandResponse command = makeCommand(text);
    setToA_fromFpgaTicks(ticks, command.header());
    return command;
}

idl::CommandResponse CmdResponse::makeResponse(const idl::CommandResponse& command,
                                               const std::string& text) {
    idl::CommandResponse response = makeRecord(text);
    response.commanded_device_id(command.header().device_id());
    response.command_identifier(command.command_identifier());
    response.command_response_type(idl::COMMAND_RESPONSE_TYPE_RESPONSE);
    return response;
}

idl::CommandResponse CmdResponse::makeResponse(const idl::CommandResponse& command,
                                               const char* text) {
    return makeResponse(command, std::string(text));
}

idl::CommandResponse CmdResponse::makeResponse(const idl::CommandResponse& command, bool pass) {
    return makeResponse(
        command, verbOf(command) + (pass ? Sys::ResponseString::Pass : Sys::ResponseString::Fail));
}

idl::CommandResponse CmdResponse::makeResponseAck(const idl::CommandResponse& command, bool ack) {
    return makeResponse(
        command, verbOf(command) + (ack ? Sys::ResponseString::Ack : Sys::ResponseString::Nack));
}

void CmdResponse::setTopicId(idl::CommandResponse& record, unsigned char topic) {
    constexpr std::uint32_t upperBytes = 0xFFFFFF00U;
    const auto id = static_cast<std::uint32_t>(record.header().device_id());
    record.header().device_id(static_cast<std::int32_t>((id & upperBytes) | topic));
}

}  // namespace ASPN2
