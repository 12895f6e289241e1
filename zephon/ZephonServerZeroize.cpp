#include <chrono>
#include <iostream>

#include "ASPN/CmdResponseStrings.h"
#include "ASPN/HealthReporter.h"
#include "messages/PntdMessages.h"
#include "zephon/ZephonServer.h"

using aspn2_msgs::idl::CommandResponse;

namespace PNTDBIT {
namespace {

constexpr char const* sanitizePass = "PNTD SANITIZE:Pass";
constexpr char const* sanitizeFail = "PNTD SANITIZE:Fail";

}  // namespace
}  // namespace PNTDBIT

namespace {

// States of message 5044 that end a zeroize.
constexpr unsigned short zeroizePassed = 17;
constexpr unsigned short zeroizeFailed = 18;

}  // namespace

CommandAnswer ZephonServer::startZeroize(Command const& command) {
    zeroize_.start(
        command.record, std::chrono::seconds(config_.zeroizeTimeout),
        [&](bool accepted) {
            auto response = cmdResponse_.makeResponseAck(command.record, accepted);
            sendResponseMessage(response);
        },
        [this] {
            PNTDBIT::PntDBitCmdMsg order;
            order.set<PNTDBIT::PntDBitCmdMsg::Command>(PNTDBIT::commandZeroize);
            sendPntdCommand(order);
            if (config_.debug) {
                std::cout << "Zeroize command sent to PNT-D\n" << std::flush;
            }
        });
    return CommandAnswer::none();  // it has been given
}

void ZephonServer::generateSendZeroizeMessage(CommandResponse const& command, bool pass) {
    std::string const& verb = command.command_response() == Sys::CommandString::StartSystemZeroize
                                  ? Sys::ResponseString::ComponentZeroize
                                  : Sys::ResponseString::ComponentDestroy;
    auto response = cmdResponse_.makeResponse(
        command, verb + (pass ? Sys::ResponseString::Pass : Sys::ResponseString::Fail));
    if (!sendRecord(topics_.response, response)) {
        HealthReporter::Instance().SendEvent(
            __FILE__, __LINE__, EventTypes::FAILURE,
            name_ + ": Could not publish CommandResponse for " + command.command_response() +
                " = " + std::to_string(response.header().timestamp_valid().sec()) + ", " +
                response.command_response());
    }
}

void ZephonServer::collectPossibleZeroizeResponses(int /*unit*/, unsigned short id) {
    if (id == zeroizePassed || id == zeroizeFailed) {
        zeroize_.takeUnitStatus(id == zeroizePassed);
    }
}

void ZephonServer::takeSanitizeStatus(bool passed) {
    zeroize_.takeSanitizeStatus(passed);
    reportSanitizeFail(!passed);
}

void ZephonServer::reportSanitizeFail(bool failed) const {
    const std::string text =
        name_ + ": Sanitize: " + (failed ? PNTDBIT::sanitizeFail : PNTDBIT::sanitizePass);
    HealthReporter::Instance().SendEvent(
        __FILE__, __LINE__, failed ? EventTypes::FAILURE : EventTypes::INFORMATION, text);
    if (config_.debug) {
        std::cout << text + "\n" << std::flush;
    }
}
