#include <iostream>

#include "zephon/ZephonServer.h"

using ASPN2::ServerIds;

void ZephonServer::cbEventLog(aspn2_msgs::idl::EventLog const& record) {
    if (!isRunning()) {
        return;
    }
    if (config_.debug) {
        std::cout << "Recvd EventLog: " + record.eventlog() + "\n" << std::flush;
    }
    if (ASPN2::serverIdOf(static_cast<std::uint32_t>(record.header().device_id())) ==
        ServerIds::Trevo) {
        handleTrevoEventLog(record);
    }
}
