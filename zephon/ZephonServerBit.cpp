#include <iostream>

#include "ASPN/HealthReporter.h"
#include "zephon/GssipRoutes.h"
#include "zephon/PntdBit.h"
#include "zephon/ZephonServer.h"

using aspn2_msgs::idl::GSSIP;

void ZephonServer::handleZP_PntdStatus(GSSIP const& record) {
    PntdStatusMsg message;
    if (!message.OkSetContent(record.data().data(), gssipFrameLength(record))) {
        return;
    }
    using Status = PNTDBIT::PntdStatusMsg;
    const Status status = message.payload();
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

void ZephonServer::tellBit(int line, EventTypes::eEventType type, std::string const& text) const {
    HealthReporter::Instance().SendEvent(__FILE__, line, type, text);
    if (config_.debug) {
        std::cout << text + "\n" << std::flush;
    }
}
