#include <iostream>

#include "zephon/ZephonServer.h"

namespace idl = aspn2_msgs::idl;

namespace {

constexpr unsigned char clockDevice = 36;
constexpr unsigned char fusionNavigator = 96;

}  // namespace

void ZephonServer::cbMxPnt(idl::MeridanePNT const& record) {
    if (isRunning() && ASPN2::serverIdOf(static_cast<std::uint32_t>(record.header().device_id())) ==
                           fusionNavigator) {
        handleMeridanePNTMessage(record);
    }
}

void ZephonServer::cbPosVel(idl::PositionVelocity const& /*record*/) {
    if (isRunning() && config_.debug) {
        std::cout << std::string("Recvd PosVel\n") << std::flush;
    }
}

void ZephonServer::cbUtcTime(idl::UTCTime const& record) {
    if (isRunning() &&
        ASPN2::serverIdOf(static_cast<std::uint32_t>(record.header().device_id())) == clockDevice) {
        handleUTCTimeMessage(record);
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
