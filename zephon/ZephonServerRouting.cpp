#include "zephon/ZephonServer.h"

namespace {

constexpr unsigned short mainUnitLink = 1;
constexpr unsigned short pntdBitLink = 3;

}  // namespace

void ZephonServer::sendToAllEmulators(std::shared_ptr<GssipMessage> const& message) {
    links_.send(mainUnitLink, message);
}

void ZephonServer::sendToPntdBitPort(std::shared_ptr<GssipMessage> const& message) {
    links_.send(pntdBitLink, message);
}
