#include <iostream>
#include <sstream>

#include "ASPN/HealthReporter.h"
#include "messages/PntdWrapper.h"
#include "zephon/GssipRoutes.h"
#include "zephon/ZephonServer.h"

using aspn2_msgs::idl::GSSIP;

namespace {

constexpr int virtualUnits = 4;

constexpr std::uint16_t dataTransferStart = 5103;
constexpr std::uint16_t dataTransferEnd = 5104;

void tellRecord(std::uint16_t id, GssipSource const& source) {
    std::cout << "Recvd GSSIP: " + std::to_string(id) + " from " + source.name + "\n" << std::flush;
}

void tellDataTransfer(GssipMessage const& message) {
    std::ostringstream text;
    text << "ZP: Queuing DT message (" << message.msgId << ") " << message.wordCount
         << " words, flagword: " << std::hex << message.header[3] << "\n";
    if (message.msgId == dataTransferStart) {
        text << "ZP: DT Out starting\n";
    } else if (message.msgId == dataTransferEnd) {
        text << "ZP: DT Out ending\n";
    }
    std::cout << text.str() << std::flush;
}

}  // namespace

void ZephonServer::cbGssip(GSSIP const& record) {
    if (!isRunning()) {
        return;
    }
    GssipSource const* const source =
        findGssipSource(ASPN2::serverIdOf(static_cast<std::uint32_t>(record.header().device_id())));
    if (source == nullptr || gssipFrameLength(record) == 0) {
        return;
    }
    const std::uint16_t id = gssipMessageId(record);
    if (config_.debug && source->told == GssipSource::Told::OnArrival) {
        tellRecord(id, *source);
    }
    GssipRoute const* const route = source->find(id);
    if (route == nullptr) {
        return;
    }
    if (route->handler != nullptr) {
        (this->*route->handler)(record);
    }
    if (route->copied) {
        copyToAllEmulators(record);
    }
    if (config_.debug && source->told == GssipSource::Told::AfterTheHandler) {
        tellRecord(id, *source);
    }
}

void ZephonServer::copyToAllEmulators(GSSIP const& record) {
    if (const auto copy = makeGssipCopy(record)) {
        setCopyFlagWord(*copy);
        sendToAllEmulators(copy);
    }
}

void ZephonServer::cbDtOut(GSSIP const& record) {
    if (!isRunning()) {
        return;
    }
    const auto message = makeGssipCopy(record);
    if (message == nullptr || !isDataTransferId(message->msgId)) {
        return;
    }
    if (config_.debug) {
        tellDataTransfer(*message);
    }
    setCopyFlagWord(*message);
    links_.send(dataTransferLink, message);
}

void ZephonServer::handleZP_Block5001(GSSIP const& /*record*/) {
    // A command from the unit acts only when it names its virtual unit, that is in a wrapper.
}

void ZephonServer::sendToAllEmulators(std::shared_ptr<GssipMessage> const& message) {
    links_.send(mainUnitLink, message);
}

void ZephonServer::sendToEmulator(int unit, std::shared_ptr<GssipMessage> const& message) {
    if (unit < 1 || unit > virtualUnits) {
        return;
    }
    message->insert_checksum();  // the link finishes the wrapper's checksums only
    auto const wrapper = std::make_shared<PNTD_Wrap_Msg>();
    wrapper->SetVirtualZephonNumber(unit);
    if (wrapper->WrapMessage(message)) {
        links_.send(mainUnitLink, wrapper);
        return;
    }
    const std::string text = name_ + ": Unable to wrap an input message (" +
                             std::to_string(message->msgId) +
                             ") to the PNT-D, likely the message is too large";
    HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::FAILURE, text);
    if (config_.debug) {
        std::cout << text + "\n" << std::flush;
    }
}

void ZephonServer::sendToPntdBitPort(std::shared_ptr<GssipMessage> const& message) {
    links_.send(pntdBitLink, message);
}
