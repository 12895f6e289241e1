#include <chrono>
#include <iostream>

#include "messages/PntdMessages.h"
#include "platform/ShellCommand.h"
#include "zephon/SlipInterface.h"
#include "zephon/ZephonServer.h"

using aspn2_msgs::idl::CommandResponse;
using PNTDBIT::ePntd_ProgStart;

namespace {

constexpr std::chrono::seconds slipTimeout{10};

}  // namespace

CommandAnswer ZephonServer::openSlip(Command const& command) {
    auto const& fields = command.fields;
    const bool debug = fields.size() > 1 && fields[1] == "DEBUG";
    createSLIPChannel(command.record, debug ? ePntd_ProgStart::debug : ePntd_ProgStart::normal);
    return CommandAnswer::none();  // given when both sides are settled
}

void ZephonServer::createSLIPChannel(CommandResponse const& command, ePntd_ProgStart start) {
    slip_.begin(command, slipTimeout);
    requestSLIP(start);
    slip_.settleComputerSide(openSlipInterface(
        start,
        // Nobody waits for the answer longer, and a stop of the server must not either.
        [](std::string const& line) { return runShellCommand(line, slipTimeout); },
        [this](char const* what) {
            if (config_.debug) {
                std::cerr << name_ + " : " + what + "\n";
            }
        }));
}

void ZephonServer::requestSLIP(ePntd_ProgStart start) {
    using Request = PNTDBIT::PntDBitCmdMsg;
    constexpr std::uint8_t normalMode = 3;
    const bool normal = start == ePntd_ProgStart::normal;
    Request request;
    request.set<Request::Command>(PNTDBIT::commandSlip);
    request.set<Request::SlipMode>(normal ? normalMode : 0);
    request.set<Request::SlipStart>(normal ? 1 : 0);
    sendPntdCommand(request);
    if (config_.debug) {
        std::cout << "Request SLIP channel sent to PNT-D\n" << std::flush;
    }
}

void ZephonServer::handleZP_SLIP_PntdStatus(PNTDBIT::PntdStatusMsg const& status) {
    slip_.settleDeviceSide(status.get<PNTDBIT::PntdStatusMsg::SlipOpen>() != 0);
}

void ZephonServer::sendSLIPResponse(CommandResponse const& command, bool pass) {
    auto response = cmdResponse_.makeResponse(command, pass);
    sendResponseMessage(response);
}
