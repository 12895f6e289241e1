#include <iostream>

#include "zephon/ZephonServer.h"

void ZephonServer::cbEventLog(aspn2_msgs::idl::EventLog const& record) {
    if (isRunning() && config_.debug) {
        std::cout << "Recvd EventLog: " + record.eventlog() + "\n" << std::flush;
    }
}
