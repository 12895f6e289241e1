#include <chrono>
#include <exception>
#include <iostream>
#include <string>
#include <sys/utsname.h>
#include <thread>

#include "ASPN/CmdResponseStrings.h"
#include "ASPN/HealthReporter.h"
#include "messages/PntdMessages.h"
#include "platform/FpgaFace.h"
#include "zephon/BuildInfo.h"
#include "zephon/GssipRoutes.h"
#include "zephon/RecordSender.h"
#include "zephon/VersionInfo.h"
#include "zephon/ZephonServer.h"

using ASPN2::ServerIds;
using aspn2_msgs::idl::CommandResponse;
using aspn2_msgs::idl::EventLog;
using aspn2_msgs::idl::GSSIP;

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr char const* partNumbersWord = "PARTNUMBERS";

constexpr seconds firstRequestAfter{1};
constexpr seconds requestsEvery{10};
constexpr milliseconds requestRound{100};  // also how long a STOP waits, at most

// Of answers that belong to no topic of their own.
constexpr unsigned char noTopic = 0;

void tell(std::string const& line) {
    std::cout << line + "\n" << std::flush;
}

}  // namespace

// ---- What is installed --------------------------------------------------------------------

bool ZephonServer::loadVersionInfo() {
    const platform::MutexLock lock(versionMutex_);
    systemBuild_.expect(serverConfigurations_);
    VersionInfo info;
    if (!info.load(config_.versionSource)) {
        return false;
    }
    HealthReporter::Instance().SendConfigEvent(
        info.describe(FACE::ToStdString(system_.configuration)));
    systemBuild_.install(info.appBuild, info.appTimestamp);

    const std::string stamp = FpgaFace::getFirmwareBuildStamp();
    if (info.isOfFpga(stamp)) {
        partNumbers_.vhdlPartNumber = info.vhdlPartNumber;
    } else if (config_.debug) {
        tell("ZephonServer: FPGA Buildstamp " + stamp + " doesn't match version identifier " +
             info.vhdlTimestamp);
    }
    utsname kernel{};
    uname(&kernel);  // a failure leaves texts that match nothing
    if (info.isOfKernel(kernel.release, kernel.version)) {
        partNumbers_.bspPartNumber = info.bspPartNumber;
    } else if (config_.debug) {
        tell(std::string("bsp_ver: sys:") + kernel.sysname + " rel:" + kernel.release +
             " ver:" + kernel.version);
    }
    partNumbers_.appPartNumber = info.applicationPartNumber(BuildInfo::value);
    return true;
}

void ZephonServer::handleEventVersioning(EventLog const& record) {
    const auto sender = senderOf(record.header());
    const platform::MutexLock lock(versionMutex_);
    if (systemBuild_.takeLine(sender, static_cast<int>(record.event_log_type()),
                              record.eventlog())) {
        partNumbers_.systemBuildReported = systemBuild_.name();
    }
}

// ---- Numbers of the PNT device, from the alternate navigation unit ------------------------

void ZephonServer::requestPartNumbersThread() {
    constexpr char const* place = "requestPartNumbersThread()";
    constexpr char const* noText = "<unknown>";
    try {
        auto due = clock_() + firstRequestAfter;
        while (!knowsPntdVersions()) {
            std::this_thread::sleep_for(requestRound);
            if (stopThreads_) {
                return;
            }
            const auto now = clock_();
            if (now >= due) {
                requestPartNumbers();
                due = now + requestsEvery;
            }
        }
    } catch (std::exception const& error) {
        const std::string what = error.what();
        reportException(place, what.empty() ? noText : what);
    } catch (...) {
        reportException(place, noText);
    }
}

bool ZephonServer::knowsPntdVersions() {
    const platform::MutexLock lock(versionMutex_);
    return partNumbers_.knowsPntdVersions();
}

void ZephonServer::requestPartNumbers() {
    auto command = cmdResponse_.makeCommand(Sys::CommandString::RequestPartNumbers);
    if (config_.debug) {
        tell("Sending Command Message: " + command.command_response());
    }
    if (!sendRecord(topics_.command, command)) {
        HealthReporter::Instance().SendEvent(
            __FILE__, __LINE__, EventTypes::FAILURE,
            name_ + ": Could not publish Command for TOV = " +
                std::to_string(command.header().timestamp_valid().sec()));
    }
}

void ZephonServer::cbRsp(CommandResponse const& record) {
    if (!isRunning()) {
        return;
    }
    std::string const& text = record.command_response();
    const auto sender = senderOf(record.header());
    if (sender == ServerIds::AltNavUnit && text.rfind(partNumbersWord, 0) == 0) {
        takePntdVersions(text);
    } else if (sender == ServerIds::Trevo) {
        takeEngineCbit(record);
    }
}

void ZephonServer::takePntdVersions(std::string const& text) {
    VersionStatus versions;
    versions.decodeResponse(text.c_str());
    const platform::MutexLock lock(versionMutex_);
    partNumbers_.takePntdVersions(versions);
}

// ---- Identifiers of the PNT device, from itself -------------------------------------------

void ZephonServer::requestPntdIds() {
    PNTDBIT::PntDBitCmdMsg request;
    request.set<PNTDBIT::PntDBitCmdMsg::Time>(lastMarkTime());
    request.set<PNTDBIT::PntDBitCmdMsg::Command>(PNTDBIT::commandIdentifiers);
    sendPntdCommand(request);
}

void ZephonServer::handleZP_PntdIds(GSSIP const& record) {
    using Ids = PNTDBIT::PntdIdMsg;
    const auto received = payloadOf<PntdIdMsg>(record);
    if (!received) {
        return;
    }
    Ids const& ids = *received;
    const platform::MutexLock lock(versionMutex_);
    pntdIds_.setHardware1Version(ids.get<Ids::PartNumber>());
    pntdIds_.setSerialNumber1(ids.get<Ids::SerialNumber>());
    pntdIds_.setSoftware1Version(ids.get<Ids::Software>());
    pntdIds_.setFirmware1Version(ids.get<Ids::Firmware>());
    pntdIds_.setOs1Version(ids.get<Ids::OsVersion>());
}

CommandAnswer ZephonServer::answerPartNumbers(Command const& command) {
    sendPartNumbers(command.record);
    return CommandAnswer::none();
}

void ZephonServer::sendPartNumbers(CommandResponse const& command) {
    std::string numbers;
    {
        const platform::MutexLock lock(versionMutex_);
        if (pntdIds_.isSoftware1Set()) {
            numbers = pntdIds_.createMessage();
        }
    }
    if (numbers.empty()) {
        requestPntdIds();
        return;
    }
    auto response = cmdResponse_.makeResponse(command, numbers);
    ASPN2::CmdResponse::setTopicId(response, noTopic);
    sendResponseMessage(response);
}
