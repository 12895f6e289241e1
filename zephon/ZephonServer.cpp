#include "zephon/ZephonServer.h"

#include <iostream>

#include "ASPN/HealthReporter.h"
#include "messages/PntdMessages.h"

namespace {

constexpr unsigned char zephonServerId = 49;

}  // namespace

ZephonServer::ZephonServer(Clock clock)
    : serverId_(zephonServerId),
      name_(ASPN2::ServerIds::to_string(zephonServerId)),
      clock_(std::move(clock)) {}

ZephonServer::~ZephonServer() {
    stopThreads();
    // Callbacks answer through the services that go below.
    endTopicCallbacks();
    cancelTimers();
    // The reporters outlive the object, but not with its services. Links next and the queues
    // after them: they end their threads. Then the services from the top down, the transport last.
    endReporters();
    links_.destroy();
    gssipQueue_.reset();
    commandResponseTs_.reset();
    eventLogTs_.reset();
    gpsTimeTs_.reset();
    meridanePntTs_.reset();
    positionVelocityTs_.reset();
    utcTimeTs_.reset();
    bitReportTs_.reset();
    maintenanceEventTs_.reset();
    transport_.reset();
}

void ZephonServer::Initialize(ReturnCode::Value& code) {
    code = ReturnCode::NO_ACTION;
}

void ZephonServer::Finalize(ReturnCode::Value& code) {
    code = ReturnCode::NO_ACTION;
}

void ZephonServer::Query_State(ReportedState::Value& state, ReturnCode::Value& code) {
    state = state_;
    code = ReturnCode::NO_ERROR;
}

void ZephonServer::Request_State_Transition(RequestedState::Value request,
                                            ReturnCode::Value& code) {
    if (!isRunning() && request == RequestedState::START) {
        startServer();
        code = ReturnCode::NO_ERROR;
    } else if (isRunning() && request == RequestedState::STOP) {
        stopServer();
        code = ReturnCode::NO_ERROR;
    } else {
        code = ReturnCode::NOT_AVAILABLE;
    }
}

void ZephonServer::startServer() {
    for (unsigned short number = 1; number <= LinkTable::count; ++number) {
        if (GpsIo* const link = links_.at(number)) {
            link->start();
        }
    }
    PNTDBIT::PntDBitCmdMsg started;
    started.set<PNTDBIT::PntDBitCmdMsg::Command>(PNTDBIT::commandStarted);
    sendPntdCommand(started);
    buildAndSendConfigCmd(static_cast<unsigned short>(superUser_.unit),
                          static_cast<unsigned short>(superUser_.port));
    startThreads();
    const std::string text = name_ + " started successfully.";
    HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::INFORMATION, text);
    std::cout << text + "\n" << std::flush;
    state_ = ReportedState::RUNNING;
    requestPntdIds();
}

void ZephonServer::cancelTimers() {
    zeroize_.cancel();
    slip_.cancel();
}

void ZephonServer::stopServer() {
    for (unsigned short number = 1; number <= LinkTable::count; ++number) {
        if (GpsIo* const link = links_.at(number)) {
            link->stop();
        }
    }
    stopThreads();
    const std::string text = name_ + " stopped successfully.";
    HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::INFORMATION, text);
    std::cout << text + "\n" << std::flush;
    state_ = ReportedState::STOPPED;
}
