#include <iostream>
#include <sstream>

#include "ASPN/CmdResponseStrings.h"
#include "ASPN/HealthReporter.h"
#include "messages/PntdMessages.h"
#include "messages/PntdWrapper.h"
#include "messages/TrevoCommands.h"
#include "messages/TrevoStatus.h"
#include "zephon/GssipRoutes.h"
#include "zephon/RecordSender.h"
#include "zephon/ZephonServer.h"

using aspn2_msgs::idl::GSSIP;

namespace {

// States of message 5044 that are told on the event log.
constexpr std::uint16_t firstToldStatus = 17;
constexpr std::uint16_t lastToldStatus = 18;

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
    GssipSource const* const source = findGssipSource(senderOf(record.header()));
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

void ZephonServer::handleZP_Block5044(GSSIP const& record) {
    Trevo_5044_Msg message;
    if (!message.ok_set_5044_gpsip(record.data().data(), gssipFrameLength(record))) {
        return;
    }
    message.unpack_5044();
    if (config_.debug) {
        std::cout << "Unpacked 5044 " + std::to_string(message.record.statusId) +
                         "\nUnpacked 5044 word count " + std::to_string(message.header[2]) + "\n"
                  << std::flush;
    }
    const unsigned emulator = senderInstanceOf(record.header());
    tellStatus(" Em#" + std::to_string(emulator), message.record);
    collectPossibleZeroizeResponses(static_cast<int>(emulator), message.record.statusId);
}

void ZephonServer::handleZP_Block27553(GSSIP const& record) {
    PNTD_Wrap_Msg wrapper;
    if (!wrapper.OkSetContent(record.data().data(), gssipFrameLength(record))) {
        return;
    }
    const auto inner = wrapper.innerFrame();
    if (inner.msgId == Trevo5044Layout::id) {
        Trevo_5044_Msg message;
        if (message.ok_set_5044_gpsip(inner.bytes, inner.length)) {
            message.unpack_5044();
            const auto unit = wrapper.virtualZephonNumber();
            tellStatus(" vZephon#" + std::to_string(unit), message.record);
            collectPossibleZeroizeResponses(unit, message.record.statusId);
        }
    } else if (inner.msgId == TrevoCommandLayout::id) {
        TrevoCommandMsg message;
        if (message.ok_set_5001_gpsip(inner.bytes, inner.length)) {
            passOnCommand(message);
        }
    }
}

void ZephonServer::passOnCommand(TrevoCommandMsg const& message) {
    char const* told = nullptr;
    std::string const* text = nullptr;
    switch (message.getSimpleModeCommand()) {
        case e5001_Command::Zeroize:
            told = "Sending Emergency Zeroize\n";
            text = &Sys::CommandString::TrevoZeroize;
            break;
        case e5001_Command::CVZeroize:
            told = "Sending CV Zeroize\n";
            text = &Sys::CommandString::TrevoCVZeroize;
            break;
        default:
            return;
    }
    if (config_.debug) {
        std::cout << told << std::flush;
    }
    auto command = cmdResponse_.makeCommand(*text);
    sendCommandMessage(command);
}

void ZephonServer::tellStatus(std::string const& unit, Trevo5044Record const& status) const {
    if (status.statusId < firstToldStatus || status.statusId > lastToldStatus) {
        return;
    }
    HealthReporter::Instance().SendEvent(
        __FILE__, __LINE__, EventTypes::INFORMATION,
        name_ + unit + " 5044,ID:," + std::to_string(status.statusId) + "," + status.text);
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

void ZephonServer::sendPntdCommand(PNTDBIT::PntDBitCmdMsg const& command) {
    sendToPntdBitPort(PNTDBIT::makeMessage(command));
}
