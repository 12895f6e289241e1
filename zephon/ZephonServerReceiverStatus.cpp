#include <iostream>

#include "ASPN/HealthReporter.h"
#include "messages/AntiJamMessages.h"
#include "messages/TrevoStatus.h"
#include "platform/StringUtils.h"
#include "zephon/GssipRoutes.h"
#include "zephon/RecordSender.h"
#include "zephon/ZephonServer.h"

using ASPN2::ServerIds;
using aspn2_msgs::idl::CommandResponse;
using aspn2_msgs::idl::EventLog;
using aspn2_msgs::idl::GSSIP;

namespace {

/// The frame of a record as a message that the link finishes; null when it can be none. A link
/// does not write a frame that counts other data words than it has, but would wait for its ACK.
template <typename Message>
std::shared_ptr<Message> makeUnitMessage(GSSIP const& record) {
    auto message = makeMessageOf<Message>(record);
    return message != nullptr && message->header[2] == message->wordCount ? message : nullptr;
}

}  // namespace

void ZephonServer::cbEventLog(EventLog const& record) {
    if (!isRunning()) {
        return;
    }
    if (config_.debug) {
        std::cout << "Recvd EventLog: " + record.eventlog() + "\n" << std::flush;
    }
    handleEventVersioning(record);
    if (senderOf(record.header()) == ServerIds::Trevo) {
        handleBlockEventLog(record);
        handleTrevoEventLog(record);
    }
}

void ZephonServer::handleBlockEventLog(EventLog const& record) {
    if (StringUtils::containsIgnoringCase(record.eventlog(), "Rerad mode ENABLED")) {
        const platform::MutexLock lock(solutionMutex_);
        solution_.takeReradMode();
    }
}

void ZephonServer::handleTV_Block5040(GSSIP const& record) {
    {
        const platform::MutexLock lock(statusMutex_);
        if (!statusJoin_.store5040(record.data().data(), gssipFrameLength(record))) {
            return;
        }
    }
    checkIfReceived5040_9391();
}

void ZephonServer::handleTV_Block9391(GSSIP const& record) {
    const unsigned short length = gssipFrameLength(record);
    {
        const platform::MutexLock lock(statusMutex_);
        // Until a time mark has told the engine's state, the message is not worth keeping.
        if (timeMark_.last8504().get<Trevo8504Layout::EngineState>() == 0) {
            return;
        }
        if (!statusJoin_.store9391(record.data().data(), length)) {
            const std::string expected = std::to_string(Trevo9391Layout::words);
            HealthReporter::Instance().SendEvent(
                __FILE__, __LINE__, EventTypes::INFORMATION,
                "Wrong 9391 wdcnt:" + std::to_string(GssipDataWords(length)) +
                    " expected:" + expected + " unpacked:" + expected);
            return;
        }
    }
    checkIfReceived5040_9391();
}

void ZephonServer::checkIfReceived5040_9391() {
    // Sent under the lock, so that messages leave in the order of their joins.
    const platform::MutexLock lock(statusMutex_);
    const auto message = statusJoin_.takeOutput(timeMark_.last8504());
    if (message == nullptr) {
        return;
    }
    if (statusJoin_.isNoAckDue(crmAckPending_.exchange(true))) {
        HealthReporter::Instance().SendEvent(
            __FILE__, __LINE__, EventTypes::LINK_LOST,
            "//plexa://Corvane/" + name_ + ": ZEPHON COMM ERROR No Ack/");
    }
    links_.send(
        mainUnitLink, message,
        [this](CommandResponse const& response, bool ok) { crm30000AckCallback(response, ok); },
        CommandResponse());
}

void ZephonServer::crm30000AckCallback(CommandResponse const& /*record*/, bool ok) {
    if (ok) {
        crmAckPending_ = false;
    }
}

void ZephonServer::handleTV_Block8040(GSSIP const& record) {
    Trevo_8040_Msg message;
    if (!message.ok_set_8040_gpsip(record.data().data(), gssipFrameLength(record))) {
        return;
    }
    const auto word5 = message.get<Trevo8040Layout::ReceiverStatus>();
    const auto word9 = message.get<Trevo8040Layout::ReceiverStatus2>();
    const platform::MutexLock lock(solutionMutex_);
    solution_.receiver.takeEngineStatus(word5, word9);
}

void ZephonServer::handleAJ_Block2516(GSSIP const& record) {
    AjasStatus message;
    if (!message.OkSetContent(record.data().data(), gssipFrameLength(record))) {
        return;
    }
    const platform::MutexLock lock(solutionMutex_);
    solution_.receiver.takeJammingFigures(message.getJFOM_L1(), message.getJFOM_L2());
}

template <typename Message>
void ZephonServer::handOn(GSSIP const& record) {
    if (const auto message = makeUnitMessage<Message>(record)) {
        setCopyFlagWord(*message);
        sendToAllEmulators(message);
    }
}

void ZephonServer::handleTV_Block5044(GSSIP const& record) {
    handOn<Trevo_5044_Msg>(record);
}

void ZephonServer::handleAJ_BlockThreatData(GSSIP const& record) {
    handOn<ThreatData>(record);
}

void ZephonServer::handleAJ_BlockDigarPN(GSSIP const& record) {
    if (const auto message = makeUnitMessage<DigarPN>(record)) {
        message->setUnitIdentifier();
        setCopyFlagWord(*message);
        message->setHeaderChecksum();  // the identifier changes also when the flag word does not
        sendToAllEmulators(message);
    }
}
