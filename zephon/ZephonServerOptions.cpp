#include <exception>
#include <iostream>
#include <stdexcept>

#include "ASPN/HealthReporter.h"
#include "zephon/GssipRoutes.h"
#include "zephon/OptionSettings.h"
#include "zephon/ZephonServer.h"

namespace {

constexpr char const* superUserContainer = "ZP_Super_User";
constexpr char const* hotStartContainer = "ZP_Hot_Start";
/// What a command stores is kept apart from what is loaded and answered.
constexpr char const* commandedHotStartContainer = "Hot_Start";

/// Raises unless all values of a row have reached the file.
void demandStored(StoreResult result, std::string const& container) {
    if (result != StoreResult::Stored) {
        throw std::runtime_error(
            (result == StoreResult::NotOpened ? "Unable to open " : "Unable to write ") +
            container);
    }
}

}  // namespace

// ---- Verbs ----------------------------------------------------------------------------------

CommandAnswer ZephonServer::answerSetHotStart(Command const& command) {
    const platform::MutexLock lock(settingsMutex_);
    setZephonHotStart(command.fields);
    return CommandAnswer::with(getHSRsp());
}

CommandAnswer ZephonServer::answerSetSuperUser(Command const& command) {
    awaitSuperUser(command);
    const platform::MutexLock lock(settingsMutex_);
    return CommandAnswer::ack(setZephonSuperUser(command.fields));
}

CommandAnswer ZephonServer::answerSetOutputConfig(Command const& command) {
    const platform::MutexLock lock(settingsMutex_);
    setZephonOutputConfig(command.key, command.fields);
    return CommandAnswer::with(getZephonOutputConfig(command.key));
}

CommandAnswer ZephonServer::answerQueryHotStart(Command const& /*command*/) {
    const platform::MutexLock lock(settingsMutex_);
    return CommandAnswer::with(getHSRsp());
}

CommandAnswer ZephonServer::answerQuerySuperUser(Command const& command) {
    awaitSuperUser(command);
    return CommandAnswer::ack(buildAndSendConfigRequest());
}

CommandAnswer ZephonServer::answerQueryOutputConfig(Command const& command) {
    const platform::MutexLock lock(settingsMutex_);
    return CommandAnswer::with(getZephonOutputConfig(command.key));
}

void ZephonServer::awaitSuperUser(Command const& command) {
    storedCommands_.keepSuperUser(command.record);
    superUserPending_ = true;
}

// ---- Hot start ------------------------------------------------------------------------------

bool ZephonServer::loadHotStartInfo() {
    const platform::MutexLock settings(settingsMutex_);
    const auto stored = settings_.readHotStart(hotStartContainer);
    if (!stored) {
        return false;
    }
    auto loaded = repairHotStart(*stored);
    for (auto const& complaint : loaded.complaints) {
        reportSetting(complaint);
    }
    const platform::MutexLock lock(hotStart_.mutex);
    hotStartSettings_ = std::move(loaded.settings);
    return true;
}

void ZephonServer::setZephonHotStart(Fields const& fields) {
    try {
        const auto hotStart = toStoredHotStart(fields);
        const auto result = settings_.writeHotStart(commandedHotStartContainer, hotStart);
        {
            const platform::MutexLock lock(hotStart_.mutex);
            hotStartSettings_ = toHotStartSettings(hotStart);
        }
        demandStored(result, commandedHotStartContainer);
    } catch (std::exception const& error) {
        reportSetting(std::string("writeComParams() invalid_argument EXCEPTION: ") + error.what());
    }
}

std::string ZephonServer::getHSRsp() const {
    return composeHotStartRsp(settings_.readHotStart(hotStartContainer).value_or(StoredHotStart()));
}

void ZephonServer::initHotStart(unsigned short unit, std::string const& port,
                                std::string const& type) {
    sendToEmulator(unit, makeHotStart(port, type));
}

void ZephonServer::generateSendHotStartRspMessage(bool pass) {
    auto response = cmdResponse_.makeResponse(
        storedCommands_.hotStart(), std::string("INIT_HOTSTART") + (pass ? "_PASS" : "_FAIL"));
    sendCmdRspMessage(topics_.response, response);
}

// ---- Super user -----------------------------------------------------------------------------

bool ZephonServer::loadSuperUserInfo() {
    const platform::MutexLock settings(settingsMutex_);
    const auto stored = settings_.readSuperUser(superUserContainer);
    if (!stored) {
        return false;
    }
    const auto loaded = repairSuperUser(*stored);
    for (auto const& complaint : loaded.complaints) {
        reportSetting(complaint);
    }
    superUser_ = loaded.superUser;
    return true;
}

bool ZephonServer::setZephonSuperUser(Fields const& fields) {
    try {
        const auto superUser = toStoredSuperUser(fields);
        demandStored(settings_.writeSuperUser(superUserContainer, superUser), superUserContainer);
        return buildAndSendConfigCmd(static_cast<unsigned short>(superUser.zephonNumber),
                                     static_cast<unsigned short>(toPortNumber(superUser.comPort)));
    } catch (std::exception const& error) {
        reportSetting(std::string("setZephonSuperUser() invalid_argument EXCEPTION: ") +
                      error.what());
        return false;
    }
}

bool ZephonServer::buildAndSendConfigCmd(unsigned short unit, unsigned short port) {
    if (config_.debug) {
        std::cout << "Sending Command Configuration: " + std::to_string(unit) + ", " +
                         std::to_string(port) + "\n"
                  << std::flush;
    }
    sendToAllEmulators(makeSuperUserCmd(unit, port));
    return buildAndSendConfigRequest();
}

bool ZephonServer::buildAndSendConfigRequest() {
    sendToAllEmulators(makeConfigRequest());
    return true;
}

void ZephonServer::handleZP_PntConfigStatus(aspn2_msgs::idl::GSSIP const& record) {
    const auto status = makeMessageOf<Config_Status_Msg>(record);
    if (status == nullptr) {
        return;
    }
    const std::string text = composeConfigStatus(*status);
    if (status->IsSuperUserConfigCommand() && superUserPending_.exchange(false)) {
        auto response = cmdResponse_.makeResponse(storedCommands_.superUser(), text);
        sendResponseMessage(response);
    }
    const std::string event = name_ + ": Configuration Status Received: " + text;
    HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::INFORMATION, event);
    if (config_.debug) {
        std::cout << event + "\n" << std::flush;
    }
}

// ---- Output options -------------------------------------------------------------------------

std::string ZephonServer::getZephonOutputConfig(std::string const& key) const {
    const auto capabilities = settings_.readCapabilities(key).value_or(StoredCapabilities());
    if (config_.debug) {
        std::cout << "ZP_OUTPUT_CONFIG\nZPNum: " + std::to_string(capabilities.zephonNumber) +
                         "\nZPCOM: " + capabilities.comPort +
                         "\nreceiverCapabilities: " + capabilities.receiverCapabilities + "\n"
                  << std::flush;
    }
    return composeOutputConfigRsp(capabilities);
}

bool ZephonServer::setZephonOutputConfig(std::string const& key, Fields const& fields) {
    if (!outputConfigFieldsAreValid(fields)) {
        return false;
    }
    const auto result = settings_.writeCapabilities(key, fields[3]);
    if (result != StoreResult::Stored) {
        const bool opened = result != StoreResult::NotOpened;
        reportSetting("setZephonOutputConfig() EXCEPTION: " +
                      std::string(opened ? "Unable to write " : "Unable to open ") + key);
        if (!opened) {
            return false;
        }
    }
    return buildAndSendOptionCmd(fields);
}

bool ZephonServer::buildAndSendOptionCmd(Fields const& row) {
    if (!isOptionRow(row)) {
        return false;
    }
    const auto message = makeOptionCmd(row);
    if (config_.debug) {
        std::cout << "Sending Option Configuration: " + row[1] + ", " + row[2] + ", " + row[3] +
                         "\n"
                  << std::flush;
    }
    sendToAllEmulators(message);
    return true;
}

void ZephonServer::reportSetting(std::string const& what) const {
    const std::string text = name_ + ": " + what;
    HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::FAILURE, text);
    if (config_.debug) {
        std::cout << text + "\n" << std::flush;
    }
}
