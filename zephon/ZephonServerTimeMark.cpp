#include <iostream>
#include <string>

#include "ASPN/HealthReporter.h"
#include "zephon/ZephonServer.h"

namespace idl = aspn2_msgs::idl;

namespace {

/// Says what became of a time mark; `line` is the place in this file.
void tellHoldover(int line, std::string const& text) {
    HealthReporter::Instance().SendEvent(__FILE__, line, EventTypes::DIAGNOSTIC, text);
    std::cout << text + ": " + std::to_string(line) + ", " + __FILE__ + "\n" << std::flush;
}

}  // namespace

void ZephonServer::handleTV_Block8504(idl::GSSIP const& record) {
    double gpsTimeOfWeek = 0;
    {
        const platform::MutexLock lock(statusMutex_);
        if (!timeMark_.store(record, bitFailed_)) {
            return;
        }
        gpsTimeOfWeek = timeMark_.last8504().record.gpsTowSeconds;
    }
    checkIf8504_UTCTime_GPSTime();
    buildAndSendMXPN(gpsTimeOfWeek);
}

void ZephonServer::handleGPSTimeMessageAtGpsTm(idl::GPSTime const& record) {
    {
        const platform::MutexLock lock(statusMutex_);
        timeMark_.store(record);
    }
    checkIf8504_UTCTime_GPSTime();
}

void ZephonServer::handleUTCTimeMessageAtGpsTm(idl::UTCTime const& record) {
    {
        const platform::MutexLock lock(statusMutex_);
        timeMark_.store(record);
    }
    checkIf8504_UTCTime_GPSTime();
}

void ZephonServer::checkIf8504_UTCTime_GPSTime() {
    // Of inputs that race, the last one finds all sides here, and the others nothing.
    const platform::MutexLock lock(statusMutex_);
    doHoldover(config_.mergeFusedTime);
}

void ZephonServer::doHoldover(bool merge) {
    const auto message = timeMark_.takeOutput(merge, bitFailed_);
    if (message == nullptr) {
        return;
    }
    if (config_.logHoldover && merge) {
        tellHoldover(__LINE__, "receivedFusionGPSTimeAtTM");
        tellHoldover(__LINE__, "receivedFusionUTCTimeAtTM");
    } else if (config_.logHoldover) {
        tellHoldover(__LINE__, "PassThrough 8504 as-is");
    }
    // Sent under the lock, so that marks leave in the order of their joins.
    sendToAllEmulators(message);
}

void ZephonServer::handleTrevoEventLog(idl::EventLog const& record) {
    const platform::MutexLock lock(versionMutex_);
    partNumbers_.takeEngineLine(record.eventlog());
}

void ZephonServer::buildAndSendMXPN(double gpsTimeOfWeek) {
    const platform::MutexLock lock(versionMutex_);
    if (const auto message = partNumbers_.makeOutput(gpsTimeOfWeek)) {
        sendToAllEmulators(message);
    }
}
