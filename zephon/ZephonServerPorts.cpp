#include <exception>
#include <iostream>
#include <stdexcept>

#include "ASPN/HealthReporter.h"
#include "platform/StringUtils.h"
#include "zephon/ZephonServer.h"

namespace {

constexpr int portsOfUnit = 3;

/// Text of an exception behind its line of the source.
void tellError(int line, std::string const& text) {
    std::cerr << std::to_string(line) + " " + text + "\n";
}

bool isOn(std::string const& text) {
    constexpr std::size_t size = 2;
    return text.size() == size && StringUtils::containsIgnoringCase(text, "On");
}

}  // namespace

CommandAnswer ZephonServer::answerSetCom(Command const& command) {
    if (!zephonComParametersAreValid(command.fields)) {
        return CommandAnswer::nack();
    }
    const platform::MutexLock lock(settingsMutex_);
    setZephonCom(command.fields, command.key);
    return CommandAnswer::with(getComRsp(command.key));
}

CommandAnswer ZephonServer::answerSetMessageOutput(Command const& command) {
    if (!zephonMessageOutParametersAreValid(command.fields)) {
        return CommandAnswer::nack();
    }
    const platform::MutexLock lock(settingsMutex_);
    setZephonMsgConnects(command.fields, command.key);
    return CommandAnswer::with(getMessageRsp(command.key));
}

CommandAnswer ZephonServer::answerQueryCom(Command const& command) {
    const platform::MutexLock lock(settingsMutex_);
    return CommandAnswer::with(getComRsp(command.key));
}

CommandAnswer ZephonServer::answerQueryMessageOutput(Command const& command) {
    const platform::MutexLock lock(settingsMutex_);
    return CommandAnswer::with(getMessageRsp(command.key));
}

bool ZephonServer::zephonComParametersAreValid(Fields const& fields) const {
    const auto check = checkComFields(fields);
    if (config_.debug && !check.error.empty()) {
        tellError(__LINE__, check.error);
    }
    return check.valid;
}

bool ZephonServer::zephonMessageOutParametersAreValid(Fields const& fields) const {
    const auto check = checkMessageOutFields(fields);
    if (config_.debug && !check.error.empty()) {
        tellError(__LINE__, check.error);
    }
    return check.valid;
}

void ZephonServer::setZephonCom(Fields const& fields, std::string const& key) {
    try {
        writeComParams(fields, key);
        buildAndSend5331(fields);
    } catch (std::exception const& error) {
        const std::string text = name_ + ": setZephonCom() EXCEPTION: " + error.what();
        HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::FAILURE, text);
        if (config_.debug) {
            std::cout << text + "\n" << std::flush;
        }
    }
}

void ZephonServer::writeComParams(Fields const& fields, std::string const& key) const {
    const auto result = settings_.writePort(key, toStoredPort(fields));
    if (result == StoreResult::NotOpened) {
        throw std::runtime_error("Unable to open " + key);
    }
    if (result == StoreResult::NotWritten) {
        HealthReporter::Instance().SendEvent(
            __FILE__, __LINE__, EventTypes::FAILURE,
            name_ + ": writeComParams() invalid_argument EXCEPTION: Unable to write " + key);
    }
}

void ZephonServer::setZephonMsgConnects(Fields const& fields, std::string const& key) {
    try {
        writeZephonMsgConnects(fields, key);
        buildAndSend5331(fields);
        if (to_e5331_SerialProtocol(fields[3]) == e5331_SerialProtocol::ICD153D) {
            buildAndSend30001(fields);
        }
    } catch (std::exception const& error) {
        HealthReporter::Instance().SendEvent(
            __FILE__, __LINE__, EventTypes::FAILURE,
            name_ + ": setZephonMsgConnects() EXCEPTION: " + error.what());
    }
}

void ZephonServer::writeZephonMsgConnects(Fields const& fields, std::string const& key) const {
    const auto result = settings_.writeMessages(key, toStoredMessages(fields));
    if (result == StoreResult::NotOpened) {
        throw std::runtime_error("Unable to open " + key);
    }
    if (result == StoreResult::NotWritten) {
        HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::FAILURE,
                                             name_ + ": setZPConfig() Failed.");
    }
}

std::string ZephonServer::getComRsp(std::string const& key) const {
    const auto port = settings_.readPort(key).value_or(StoredPort());
    if (config_.debug) {
        std::cout << "ZP_PORT\nZPNum: " + std::to_string(port.zephonNumber) +
                         "\nZPCOM: " + port.comPort +
                         "\ntransBaud: " + std::to_string(port.transBaud) +
                         "\ntransParity: " + port.transParity + "\nppsOut: " + port.ppsOut +
                         "\nrecBaud: " + std::to_string(port.recBaud) +
                         "\nrecPar: " + port.recParity + "\ncom2Red: " + port.com2Redundant +
                         "\nsolutionSource: " + port.solutionSource + "\n"
                  << std::flush;
    }
    return composeComRsp(port);
}

std::string ZephonServer::getMessageRsp(std::string const& key) const {
    const auto messages = settings_.readMessages(key).value_or(StoredMessages());
    if (config_.debug) {
        std::cout << "ZP_MESSAGE_OUTPUT\nZPNum: " + std::to_string(messages.zephonNumber) +
                         "\nZPCOM: " + messages.comPort + "\nmode: " + messages.mode +
                         "\nmessageConnects: " + messages.messageConnects + "\n"
                  << std::flush;
    }
    return composeMessageRsp(messages);
}

Fields ZephonServer::portRow(std::string const& unit, std::string const& port) const {
    return StringUtils::split(getComRsp(portKey(unit, port)), ',');
}

Fields ZephonServer::optionRow(std::string const& unit, std::string const& port) const {
    return StringUtils::split(getZephonOutputConfig(portKey(unit, port)), ',');
}

Fields ZephonServer::messageRow(std::string const& unit, std::string const& port) const {
    return StringUtils::split(getMessageRsp(portKey(unit, port)), ',');
}

bool ZephonServer::isLeftToCom1(Fields const& row) const {
    return row.size() > 2 && row[2] == "COM2" && hasRedundantCom2(portRow(row[1], "COM1"));
}

void ZephonServer::buildAndSend5331(Fields const& row) {
    if (isLeftToCom1(row)) {
        return;
    }
    std::shared_ptr<TrevoComPortSetup> message;
    if (isPortRow(row)) {
        message = makePortSetup(row, messageRow(row[1], row[2]));
    } else if (isMessageRow(row)) {
        message = makeOutputSetup(row, portRow(row[1], row[2]));
    } else {
        return;
    }
    sendToEmulator(std::stoi(row[1]), message);
}

void ZephonServer::buildAndSend30001(Fields const& row) {
    if (!isLeftToCom1(row)) {
        sendToEmulator(std::stoi(row[1]), makeMessageConnects(row));
    }
}

bool ZephonServer::configureComPortInfo() {
    const platform::MutexLock lock(settingsMutex_);
    try {
        for (int unit = 1; unit <= virtualUnits; ++unit) {
            configureComPortsOf(std::to_string(unit));
        }
    } catch (std::exception const& error) {
        tellError(__LINE__, error.what());
    }
    return true;
}

void ZephonServer::configureComPortsOf(std::string const& unit) {
    for (int port = 1; port <= portsOfUnit; ++port) {
        const std::string name = "COM" + std::to_string(port);
        const Fields line = portRow(unit, name);
        to_e5331_Port(line[2]);  // raises without the container: no port is named
        buildAndSend5331(line);
        const Fields output = messageRow(unit, name);
        if (isMessageRow(output)) {
            if (to_e5331_SerialProtocol(output[3]) == e5331_SerialProtocol::NMEA) {
                buildAndSend5331(output);
            } else {
                buildAndSend30001(output);
            }
        }
        buildAndSendOptionCmd(optionRow(unit, name));
        if (port == 1 && line.size() > 8 && isOn(line[8])) {
            ++port;  // COM2 repeats COM1
        }
    }
}
