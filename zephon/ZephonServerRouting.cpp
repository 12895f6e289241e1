#include <iostream>

#include "GpsSerialIo/GssipFrame.h"
#include "zephon/ZephonServer.h"

namespace {

constexpr unsigned char halvorServer = 47;
constexpr unsigned char pntDevice = 49;

}  // namespace

void ZephonServer::cbGssip(aspn2_msgs::idl::GSSIP const& record) const {
    std::vector<std::uint8_t> const& frame = record.data();
    if (!isRunning() || frame.size() < GSSIP_HEADER_BYTES) {
        return;
    }
    const unsigned char source = ASPN2::serverIdOf(record.header().device_id());
    if (!config_.debug || (source != pntDevice && source != halvorServer)) {
        return;
    }
    const unsigned int id = frame[2] | frame[3] << 8U;
    std::cout << "Recvd GSSIP: " + std::to_string(id) +
                     (source == pntDevice ? " from PNT-D\n" : " from HALVOR\n")
              << std::flush;
}

void ZephonServer::sendToAllEmulators(std::shared_ptr<GssipMessage> const& message) {
    links_.send(mainUnitLink, message);
}

void ZephonServer::sendToPntdBitPort(std::shared_ptr<GssipMessage> const& message) {
    links_.send(pntdBitLink, message);
}
