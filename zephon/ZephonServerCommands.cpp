#include <exception>
#include <iostream>
#include <stdexcept>

#include "ASPN/HealthReporter.h"
#include "ASPN/TimeTags.h"
#include "messages/TrevoCommands.h"
#include "zephon/RecordSender.h"
#include "zephon/ZephonServer.h"

using aspn2_msgs::idl::CommandResponse;

void ZephonServer::cbCmd(CommandResponse const& record) {
    if (!isRunning() ||
        record.command_response_type() != aspn2_msgs::idl::COMMAND_RESPONSE_TYPE_COMMAND) {
        return;
    }
    if (senderOf(record.header()) == ASPN2::ServerIds::HmiServer) {
        handleHmiCommandResponse(record);
        return;
    }
    try {
        dispatch(record);
    } catch (std::exception const& error) {
        std::cerr << __LINE__ << ' ' << error.what() << '\n';  // may be about memory
        throw;
    }
}

void ZephonServer::handleHmiCommandResponse(CommandResponse const& record) {
    dispatch(record);
}

void ZephonServer::dispatch(CommandResponse const& record) {
    if (auto const* const verb =
            findCommandVerb(senderOf(record.header()), record.command_response())) {
        sendAnswer(record, (this->*verb->handler)(Command(record)));
    }
}

void ZephonServer::sendAnswer(CommandResponse const& command, CommandAnswer const& answer) {
    CommandResponse response;
    switch (answer.kind) {
        case CommandAnswer::Kind::None:
            return;
        case CommandAnswer::Kind::Pass:
            response = cmdResponse_.makeResponse(command, true);
            break;
        case CommandAnswer::Kind::Ack:
        case CommandAnswer::Kind::Nack:
            response =
                cmdResponse_.makeResponseAck(command, answer.kind == CommandAnswer::Kind::Ack);
            break;
        case CommandAnswer::Kind::Text:
            if (answer.text.empty()) {
                return;
            }
            response = cmdResponse_.makeResponse(command, answer.text);
            break;
    }
    const std::string seconds = std::to_string(response.header().timestamp_valid().sec());
    if (config_.debug) {
        std::cout << name_ + "::cbCmd(): TOVsec = " + seconds + ", " + response.command_response() +
                         "\n"
                  << std::flush;
    }
    if (!sendRecord(topics_.response, response)) {
        HealthReporter::Instance().SendEvent(
            __FILE__, __LINE__, EventTypes::FAILURE,
            name_ + ": Could not publish Set TimeCode change Response for TOV = " + seconds + ", " +
                response.command_response());
    }
}

// ---- Handlers -----------------------------------------------------------------------------

CommandAnswer ZephonServer::selectLiveMode(Command const& /*command*/) {
    ASPN2::TimeCodeHelper::Instance().setLiveMode();
    return CommandAnswer::pass();
}

CommandAnswer ZephonServer::selectSimulationMode(Command const& /*command*/) {
    ASPN2::TimeCodeHelper::Instance().setSimMode();
    return CommandAnswer::pass();
}

CommandAnswer ZephonServer::answerPing(Command const& /*command*/) {
    return CommandAnswer::with(name_);
}

CommandAnswer ZephonServer::initSincgars(Command const& /*command*/) {
    if (config_.debug) {
        std::cout << "Starting SINCGARS\n" << std::flush;
    }
    sendSincgarsCommand(e5001_Command::SincgarsFirst);
    sendSincgarsCommand(e5001_Command::SincgarsSecond);
    const platform::MutexLock lock(sincgars_.mutex);
    sincgars_.start(clock_());
    return CommandAnswer::none();
}

template <typename Start>
CommandAnswer ZephonServer::answerHotStart(Start start) {
    constexpr char const* place = "cbCmd() InitHotStart";
    try {
        start();
        return CommandAnswer::ack(true);
    } catch (std::exception const& error) {
        reportException(place, error.what());
    } catch (...) {
        reportException(place, "unknown");
    }
    return CommandAnswer::nack();
}

CommandAnswer ZephonServer::initToldHotStart(Command const& command) {
    // Also one that is refused is kept: it gets the answer when the one that runs has ended.
    storedCommands_.keepHotStart(command.record);
    if (hotStart_.isRunning()) {
        return CommandAnswer::nack();
    }
    return answerHotStart([&] {
        auto const& fields = command.fields;
        if (fields.size() < 4) {
            throw std::invalid_argument("unit, port and type are needed");
        }
        initHotStart(static_cast<unsigned short>(std::stoi(fields[1])), fields[2], fields[3]);
        const platform::MutexLock lock(hotStart_.mutex);
        hotStart_.start(clock_());
    });
}

CommandAnswer ZephonServer::initSetHotStart(Command const& command) {
    if (hotStart_.isRunning()) {
        return CommandAnswer::nack();
    }
    storedCommands_.keepHotStart(command.record);
    return answerHotStart([&] {
        const platform::MutexLock lock(hotStart_.mutex);
        initHotStart(hotStartSettings_.unit, hotStartSettings_.port, hotStartSettings_.type);
        hotStart_.start(clock_());
    });
}

void ZephonServer::sendSincgarsCommand(e5001_Command command) {
    const auto message = std::make_shared<TrevoCommandMsg>();
    message->setSimpleModeCommand(command);
    for (const int unit : {1, 2}) {
        sendToEmulator(unit, message);
    }
}

// ---- Outgoing records ---------------------------------------------------------------------

void ZephonServer::sendCommandMessage(CommandResponse& record) {
    if (config_.debug) {
        std::cout << "Sending Command Message: " + record.command_response() + "\n" << std::flush;
    }
    sendCmdRspMessage(topics_.command, record);
}

void ZephonServer::sendResponseMessage(CommandResponse& record) {
    if (config_.debug) {
        std::cout << "Sending Response Message: " + record.command_response() + "\n" << std::flush;
    }
    sendCmdRspMessage(topics_.response, record);
}

bool ZephonServer::sendRecord(long long connection, CommandResponse& record) {
    if (commandResponseTs_ == nullptr) {
        return false;
    }
    ReturnCode::Value code = ReturnCode::NOT_AVAILABLE;
    long long transaction = 0;
    commandResponseTs_->Send_Message(connection, 0, transaction, record, code);
    return code == ReturnCode::NO_ERROR;
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
