#include <iostream>

#include "zephon/RecordSender.h"
#include "zephon/ZephonServer.h"

namespace idl = aspn2_msgs::idl;

namespace {

constexpr unsigned char clockDevice = 36;
constexpr unsigned char altNavigation = 38;
constexpr unsigned char fusionNavigator = 96;

}  // namespace

void ZephonServer::cbMxPnt(idl::MeridanePNT const& record) {
    if (isRunning() && senderOf(record.header()) == fusionNavigator) {
        handleMeridanePNTMessage(record);
    }
}

void ZephonServer::cbPosVel(idl::PositionVelocity const& record) {
    if (!isRunning()) {
        return;
    }
    if (config_.debug) {
        std::cout << std::string("Recvd PosVel\n") << std::flush;
    }
    if (senderOf(record.header()) == altNavigation) {
        handleAltNavPv(record);
    }
}

void ZephonServer::cbGpsTime(idl::GPSTime const& record) {
    if (!isRunning()) {
        return;
    }
    const unsigned char source = senderOf(record.header());
    if (source == altNavigation) {
        handleAltNavGpsTime(record);
    } else if (source == fusionNavigator) {
        handleGPSTimeMessageAtGpsTm(record);
    }
}

void ZephonServer::cbUtcTime(idl::UTCTime const& record) {
    if (!isRunning()) {
        return;
    }
    const unsigned char source = senderOf(record.header());
    if (source == clockDevice) {
        handleUTCTimeMessage(record);
    } else if (source == fusionNavigator) {
        handleUTCTimeMessageAtGpsTm(record);
    }
}

void ZephonServer::handleUTCTimeMessage(idl::UTCTime const& record) {
    {
        const platform::MutexLock lock(solutionMutex_);
        solution_.store(record);
    }
    checkIfReceivedBoth();
}

void ZephonServer::handleMeridanePNTMessage(idl::MeridanePNT const& record) {
    {
        const platform::MutexLock lock(solutionMutex_);
        solution_.store(record);
    }
    checkIfReceivedBoth();
}

void ZephonServer::checkIfReceivedBoth() {
    // Sent under the lock, so that outputs leave in the order of their joins.
    const platform::MutexLock lock(solutionMutex_);
    if (const auto output = solution_.takeOutput()) {
        sendToAllEmulators(output);
    }
}

void ZephonServer::handleAltNavPv(idl::PositionVelocity const& record) {
    {
        const platform::MutexLock lock(altNavMutex_);
        altNav_.store(record);
    }
    checkForAltNavPvt();
}

void ZephonServer::handleAltNavGpsTime(idl::GPSTime const& record) {
    {
        const platform::MutexLock lock(altNavMutex_);
        altNav_.store(record);
    }
    checkForAltNavPvt();
}

void ZephonServer::checkForAltNavPvt() {
    // Sent under the lock, so that outputs leave in the order of their joins.
    const platform::MutexLock lock(altNavMutex_);
    if (const auto output = altNav_.takeOutput()) {
        sendToAllEmulators(output);
    }
}
