#include <iostream>

#include "ASPN/CmdResponseStrings.h"
#include "ASPN/HealthReporter.h"
#include "PCSMaintReporter/PCSMaintReporter.h"
#include "messages/TrevoStatus.h"
#include "zephon/GssipRoutes.h"
#include "zephon/PntdBit.h"
#include "zephon/RecordSender.h"
#include "zephon/ZephonServer.h"

using aspn2_msgs::idl::BitReport;
using aspn2_msgs::idl::CommandResponse;
using aspn2_msgs::idl::GSSIP;

namespace {

// The instance in the device id of a BitReport tells why it was made.
constexpr unsigned reportOfItself = 0;
constexpr unsigned reportOfSystemCbit = 1;

// States of message 5044.
constexpr std::uint16_t statusFailuresFound = 19;
constexpr std::uint16_t statusNoFailures = 20;

// The PNT device in maintenance records.
constexpr char const* pntDevice = "PNT-D";
constexpr int pntDeviceLocation = 49;
constexpr auto pntDeviceComponent = static_cast<ASPN2::Maintenance::Component::eCmpo>(2);

void sendMaintenance(std::string const& description, PNTDBIT::ePntD_BitType type) {
    using namespace ASPN2::Maintenance;
    PCSMaintReporter::Instance().sendMaintenanceEvent(
        description, pntDevice, Criticality::UNIT_FAULT, Outcome::UNIT_FAULT, pntDeviceLocation,
        PNTDBIT::maintenanceCategory(type), LRU::UNIT_1, pntDeviceComponent, LRU::NONE,
        Component::NONE, LRU::NONE, Component::NONE, LRU::NONE, Component::NONE, 0);
}

}  // namespace

// ---- From the PNT device --------------------------------------------------------------------

void ZephonServer::handleZP_PntdStatus(GSSIP const& record) {
    using Status = PNTDBIT::PntdStatusMsg;
    const auto received = payloadOf<PntdStatusMsg>(record);
    if (!received) {
        return;
    }
    Status const& status = *received;
    switch (status.get<Status::Kind>()) {
        case Status::kindDataTransfer:
            tellBit(__LINE__, EventTypes::INFORMATION, PNTDBIT::describeDataTransfer(status));
            break;
        case Status::kindSanitize:
            takeSanitizeStatus(status.get<Status::SanitizePassed>() != 0);
            break;
        case Status::kindSlip:
            handleZP_SLIP_PntdStatus(status);
            break;
        default:
            break;
    }
}

void ZephonServer::handleZP_PntdBitStatus(GSSIP const& record) {
    using Status = PNTDBIT::PntdBitStatusMsg;
    const auto received = PNTDBIT::readBitStatus(record.data().data(), gssipFrameLength(record));
    if (!received) {
        tellBit(__LINE__, EventTypes::FAILURE,
                name_ + ": " + PNTDBIT::describeUndecodable("PntdBitStatusMsg", Status::id));
        return;
    }
    auto const& status = received->record;
    reportPntdBitRollup(
        status.get<Status::SystemFailed>() != 0, status.get<Status::PostFailed>() != 0,
        status.get<Status::BbitFailed>() != 0, status.get<Status::CbitFailed>() != 0);
    if (config_.debug) {
        std::cout << PNTDBIT::describeEntries(*received) << std::flush;
    }
    const bool faultFound = reportFaults(*received);
    if (const auto command = commandedBit_.takeAnswered()) {
        auto response = cmdResponse_.makeResponse(*command, !faultFound);
        sendResponseMessage(response);
    }
}

bool ZephonServer::reportFaults(PNTDBIT::Received<PNTDBIT::PntdBitStatusMsg> const& status) const {
    bool found = false;
    std::string description;  // its memory serves all of them
    for (std::size_t i = 0; i < status.groups; ++i) {
        const auto entry = PNTDBIT::PntdBitStatusMsg::Entries::get(status.record, i);
        if (entry.faultStatus() == PNTDBIT::ePntD_FaultType::none) {
            continue;
        }
        found = true;
        if (entry.bitType() == PNTDBIT::ePntD_BitType::bbit && suppressBbitFaults_) {
            continue;
        }
        faultLabels_.describe(entry, description);
        sendMaintenance(description, entry.bitType());
    }
    return found;
}

void ZephonServer::reportPntdBitRollup(bool sys, bool post, bool bbit, bool cbit) {
    const bool failure = bbit || cbit || (post && !commandedBit_.ignorePostSeverity());
    tellBit(__LINE__, failure ? EventTypes::FAILURE : EventTypes::INFORMATION,
            PNTDBIT::describeRollup(name_, sys, post, bbit, cbit));
}

void ZephonServer::handleZP_PntdFaultReport(GSSIP const& record) {
    using Report = PNTDBIT::PntdFaultReportMsg;
    constexpr char const* messageName = "PntdFaultReportMsg";
    const auto report = payloadOf<PntdFaultReportMsg>(record);
    if (!report) {
        refuseBit(__LINE__, PNTDBIT::describeUndecodable(messageName, Report::id));
    } else if (!PNTDBIT::isValid(*report)) {
        refuseBit(__LINE__, PNTDBIT::describeInvalid(messageName, Report::id));
    } else {
        tellBit(__LINE__, EventTypes::INFORMATION, name_ + ": " + PNTDBIT::describe(*report));
    }
}

void ZephonServer::handleZP_PntdLogReport(GSSIP const& record) {
    using Report = PNTDBIT::PntdLogReportMsg;
    constexpr char const* messageName = "PntdLogReportMsg";
    const auto report = payloadOf<PntdLogReportMsg>(record);
    if (!report) {
        refuseBit(__LINE__, PNTDBIT::describeUndecodable(messageName, Report::id));
    } else if (!PNTDBIT::isValid(*report)) {
        refuseBit(__LINE__, PNTDBIT::describeInvalid(messageName, Report::id));
    } else {
        tellBit(__LINE__, EventTypes::INFORMATION, name_ + ": " + PNTDBIT::describe(*report));
        if (config_.debug) {
            std::cout << name_ + ": " + PNTDBIT::describeOrigin(*report) + "\n" << std::flush;
        }
    }
}

void ZephonServer::handleZP_PntdFaultLabels(GSSIP const& record) {
    const auto received = PNTDBIT::readFaultLabels(record.data().data(), gssipFrameLength(record));
    if (!received) {
        refuseBit(__LINE__, PNTDBIT::describeUndecodable("PntdFaultLabelsMsg",
                                                         PNTDBIT::PntdFaultLabelsMsg::id));
        return;
    }
    const std::size_t count = faultLabels_.add(*received);
    if (config_.debug) {
        std::cout << name_ + ": " + PNTDBIT::describe(*received) +
                         "Total FaultLabel Count: " + std::to_string(count) + "\n"
                  << std::flush;
    }
}

// ---- From the computer ----------------------------------------------------------------------

void ZephonServer::cbBit(BitReport const& record) {
    const bool failed = !record.bit_rollup();
    bitFailed_ = failed;
    const double time = lastMarkTime();
    PNTDBIT::CorvaneStatusMsg state;
    state.set<PNTDBIT::CorvaneStatusMsg::Time>(time);
    state.set<PNTDBIT::CorvaneStatusMsg::Kind>(PNTDBIT::CorvaneStatusMsg::kindBitState);
    state.set<PNTDBIT::CorvaneStatusMsg::Failed>(failed ? 1 : 0);
    sendToPntdBitPort(PNTDBIT::makeMessage(state));
    switch (senderInstanceOf(record.header())) {
        case reportOfItself:
            requestBitStatus(time);
            break;
        case reportOfSystemCbit:
            sendSystemCbitResult(time, failed);
            suppressBbitFaults_ = false;
            break;
        default:
            break;
    }
}

double ZephonServer::lastMarkTime() {
    const platform::MutexLock lock(statusMutex_);
    return timeMark_.last8504().record.gpsTowSeconds;
}

void ZephonServer::requestBitStatus(double gpsTimeOfWeek) {
    PNTDBIT::PntDBitCmdMsg request;
    request.set<PNTDBIT::PntDBitCmdMsg::Time>(gpsTimeOfWeek);
    request.set<PNTDBIT::PntDBitCmdMsg::Command>(PNTDBIT::commandBitStatus);
    sendPntdCommand(request);
    if (config_.debug) {
        std::cout << "Request BitStatus command sent to PNT-D\n" << std::flush;
    }
}

void ZephonServer::sendSystemCbitResult(double gpsTimeOfWeek, bool failed) {
    static const std::string failuresFound = "Failures found see fail log   ";
    static const std::string noFailures = "No failures    detected       ";
    const auto message = std::make_shared<Trevo_5044_Msg>();
    message->set<Trevo5044Layout::Time>(gpsTimeOfWeek);
    message->set<Trevo5044Layout::StatusId>(failed ? statusFailuresFound : statusNoFailures);
    message->set<Trevo5044Layout::Text>(failed ? failuresFound : noFailures);
    sendToAllEmulators(message);
}

CommandAnswer ZephonServer::startComponentCbit(Command const& command) {
    constexpr std::uint16_t longestTimeOut = 300;  // s
    commandedBit_.start(command.record);
    PNTDBIT::PntDBitCmdMsg order;
    order.set<PNTDBIT::PntDBitCmdMsg::Command>(PNTDBIT::commandComponentCbit);
    if (system_.commandedBitTimeout <= longestTimeOut) {
        order.set<PNTDBIT::PntDBitCmdMsg::CbitTimeOut>(system_.commandedBitTimeout);
    }
    sendPntdCommand(order);
    return CommandAnswer::ack(true);
}

CommandAnswer ZephonServer::startSystemCbit(Command const& /*command*/) {
    suppressBbitFaults_ = true;
    return CommandAnswer::none();
}

void ZephonServer::takeEngineCbit(CommandResponse const& record) {
    std::string const& verb = Sys::CommandString::RequestComponentCBit;
    std::string const& text = record.command_response();
    if (text.find(verb + Sys::ResponseString::Pass) == std::string::npos &&
        text.find(verb + Sys::ResponseString::Fail) == std::string::npos) {
        return;
    }
    tellBit(__LINE__, EventTypes::INFORMATION, name_ + " TREVO CBIT Cmplt " + text);
    PNTDBIT::CorvaneStatusMsg ended;
    ended.set<PNTDBIT::CorvaneStatusMsg::Time>(lastMarkTime());
    ended.set<PNTDBIT::CorvaneStatusMsg::Kind>(PNTDBIT::CorvaneStatusMsg::kindComponentCbitEnded);
    sendToPntdBitPort(PNTDBIT::makeMessage(ended));
    commandedBit_.endEngine();
}

// ---- Reports --------------------------------------------------------------------------------

void ZephonServer::tellBit(int line, EventTypes::eEventType type, std::string const& text) const {
    HealthReporter::Instance().SendEvent(__FILE__, line, type, text);
    if (config_.debug) {
        std::cout << text + "\n" << std::flush;
    }
}

void ZephonServer::refuseBit(int line, std::string const& what) const {
    HealthReporter::Instance().SendEvent(__FILE__, line, EventTypes::FAILURE, name_ + ": " + what);
}
