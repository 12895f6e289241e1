#include <exception>
#include <iostream>

#include "ASPN/HealthReporter.h"
#include "zephon/ZephonServer.h"

using aspn2_msgs::idl::CommandResponse;

void ZephonServer::sendCommandMessage(CommandResponse& record) {
    if (config_.debug) {
        std::cout << "Sending Command Message: " + record.command_response() + "\n" << std::flush;
    }
    sendCmdRspMessage(topics_.command, record);
}

void ZephonServer::sendCmdRspMessage(long long connection, CommandResponse& record) {
    bool published = false;
    try {
        published =
            commandResponseTs_ != nullptr && commandResponseTs_->Publish(connection, record);
    } catch (std::exception const& error) {
        std::cerr << std::string(error.what()) + "\n";
    }
    if (!published) {
        HealthReporter::Instance().SendEvent(
            __FILE__, __LINE__, EventTypes::FAILURE,
            name_ + ": Could not publish CommandResponse for TOV = " +
                std::to_string(record.header().timestamp_valid().sec()) + ", " +
                record.command_response());
    }
}
