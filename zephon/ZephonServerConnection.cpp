#include <iostream>
#include <sstream>

#include "ASPN/HealthReporter.h"
#include "PCSMaintReporter/PCSMaintReporter.h"
#include "face/MX_Config_Helpers.h"
#include "platform/FpgaFace.h"
#include "platform/ProcessScheduling.h"
#include "platform/StringUtils.h"
#include "zephon/BuildInfo.h"
#include "zephon/ZephonServer.h"

namespace {

// Messages that get no response from the unit.
constexpr int noHandshakeIds[] = {15054, 5044,  5047,  5048,  5406,  8040,  8080,  8504,
                                  15050, 15051, 27530, 27531, 15052, 15053, 27552, 30000,
                                  5101,  5103,  5104,  5120,  5121,  5122,  5123,  5124,
                                  5125,  5126,  5127,  5128,  5134,  5135,  5401,  8015};

// Messages of the unit whose request for an ACK is left unanswered.
constexpr int ignoreAckRequestIds[] = {8504,  15050, 15052, 30000, 27535, 27536,
                                       27533, 27534, 27532, 27530, 27531};

// The peripheral that the server needs; switched on when all else is connected.
constexpr int serverPeripheral = 29;

constexpr char const* xpn = "074-8125-600B";
constexpr char const* notice = "Gateway between the navigation computer and its receiver unit";

}  // namespace

ZephonServer::TopicEntry const ZephonServer::topicEntries[9] = {
    {"Command", &Topics::command},
    {"Response", &Topics::response},
    {"EventLog", &Topics::eventLog},
    {"GPSTime", &Topics::gpsTime},
    {"MeridanePNT", &Topics::meridanePnt},
    {"PositionVelocity", &Topics::positionVelocity},
    {"UTCTime", &Topics::utcTime},
    {"BitReport", &Topics::bitReport},
    {"MaintenanceEvent", &Topics::maintenanceEvent},
};

void ZephonServer::Configure(FACE::String const& file, ReturnCode::Value& code) {
    if (!readConfiguration(file)) {
        code = ReturnCode::INVALID_CONFIG;
        return;
    }
    // Both are tried: a refused priority does not keep the server off its processor.
    const bool prioritySet = setProcessPriority();
    const bool processorSet = setProcessor();
    code = prioritySet && processorSet ? ReturnCode::NO_ERROR : ReturnCode::INVALID_CONFIG;
}

bool ZephonServer::readConfiguration(FACE::String const& file) {
    FACE::MX_Config config;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Initialize(file, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    int handle = 0;
    config.Open("Meridane", handle, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    ReturnCode::Value parameters = ReturnCode::NO_ERROR;
    GetSystemParameters(config, handle, system_, parameters);
    config.Close(handle, code);

    config.Open(name_.c_str(), handle, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    GetConfigParameters(config, handle, config_, parameters);
    {
        const platform::MutexLock lock(settingsMutex_);
        settings_ = StoredSettings(FACE::ToStdString(config_.storedSettings));
    }
    config.Close(handle, code);
    return countServerConfigurations(config) && parameters == ReturnCode::NO_ERROR;
}

bool ZephonServer::countServerConfigurations(FACE::Configuration& config) {
    int handle = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Open("Server_Configuration", handle, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    ReturnCode::Value position = ReturnCode::NO_ERROR;
    while (position == ReturnCode::NO_ERROR) {
        ++serverConfigurations_;
        config.Seek(handle, FACE::Configuration::WHENCE_TYPE::SEEK_CUR, 1, position);
    }
    config.Close(handle, code);
    if (config_.debug) {
        std::cout << std::to_string(serverConfigurations_) + " server configurations counted\n"
                  << std::flush;
    }
    return true;
}

bool ZephonServer::setProcessPriority() const {
    if (config_.priority == 0) {
        return true;
    }
    const bool ok = okSetRealtimeProcessPriority(config_.priority & 0xFF);
    std::ostringstream line;
    if (config_.debug) {
        line << (ok ? "Successfully set " : "FAILED to set ");
    }
    line << name_ << " realtime process priority to " << config_.priority << "\n";
    std::cout << line.str() << std::flush;
    return ok;
}

bool ZephonServer::setProcessor() const {
    if (config_.cpu == 0) {
        return true;
    }
    const bool ok = okSetCpuAffinity(config_.cpu & 0xFFU);
    if (config_.debug) {
        std::ostringstream line;
        line << (ok ? "Successfully set " : "FAILED to set ") << name_ << " cpu affinity to "
             << config_.cpu << "\n";
        std::cout << line.str() << std::flush;
    }
    return ok;
}

void ZephonServer::Framework_Connect(FACE::String const& /*file*/, ReturnCode::Value& code) {
    code = ReturnCode::INVALID_CONFIG;
    // Neither depends on the other, and each tells what is wrong with it.
    const bool topicsConnected = connectTransport() && registerTopics();
    const bool devicesConnected = connectDevices() && connectQueues();
    if (!topicsConnected || !devicesConnected) {
        return;
    }
    deviceIds_.reset(FACE::ToStdString(system_.system).c_str(), serverId_);
    cmdResponse_.reset(deviceIds_);
    FpgaFace::InitFpga(memory_);
    startReporters();
    connectLinks();
    announce();
    const bool versionsLoaded = loadVersionInfo();
    configureComPortInfo();  // before the links run: the replay is the first that leaves link 1
    const bool superUserLoaded = loadSuperUserInfo();
    const bool hotStartLoaded = loadHotStartInfo();
    FpgaFace::fpga_set_periph_control(serverPeripheral, 1);
    code = versionsLoaded && superUserLoaded && hotStartLoaded ? ReturnCode::NO_ERROR
                                                               : ReturnCode::INVALID_CONFIG;
}

bool ZephonServer::connectTransport() {
    transportConfig_ = std::make_shared<FACE::MX_Config>();
    transport_ = std::make_shared<FACE::TSS::MX_TSS>(name_);
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    transport_->Set_Reference("Configuration", transportConfig_, 0, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    transport_->Initialize(config_.connections, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    for (auto const& topic : topicEntries) {
        int direction = 0;
        transport_->Create_Connection(topic.name, 0, topics_.*topic.id, direction, code);
        if (code != ReturnCode::NO_ERROR) {
            return false;
        }
    }
    return makeTyped(commandResponseTs_) && makeTyped(eventLogTs_) && makeTyped(gpsTimeTs_) &&
           makeTyped(meridanePntTs_) && makeTyped(positionVelocityTs_) && makeTyped(utcTimeTs_) &&
           makeTyped(bitReportTs_) && makeTyped(maintenanceEventTs_);
}

template <typename T>
bool ZephonServer::makeTyped(Typed<T>& typed) {
    typed = std::make_shared<FACE::TSS::Details::MX_TypedTS<T>>();
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    typed->Set_Reference("MX_TSS", transport_, 0, code);
    return code == ReturnCode::NO_ERROR;
}

template <typename T>
bool ZephonServer::receive(Typed<T> const& typed, long long connection,
                           void (ZephonServer::*callback)(T const&), char const* callbackName) {
    // What escaped here would end a thread of the transport, or reach who published.
    const auto guarded = [this, callback, callbackName](T const& record) {
        try {
            (this->*callback)(record);
        } catch (std::exception const& error) {
            reportException(callbackName, error.what());
        } catch (...) {
            reportException(callbackName, "unknown");
        }
    };
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    typed->Register_Callback(
        connection,
        [guarded](long long, long long, T const& record, FACE::TSS::HEADER_TYPE const&,
                  FACE::Sequence<FACE::TSS::QoS_Element> const&,
                  ReturnCode::Value&) { guarded(record); },
        code);
    return code == ReturnCode::NO_ERROR;
}

void ZephonServer::reportException(std::string const& place, std::string const& what) const {
    const std::string text = name_ + ": " + place + " EXCEPTION: " + what;
    HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::FAILURE, text);
    if (config_.debug) {
        std::cout << text + "\n" << std::flush;
    }
}

bool ZephonServer::registerTopics() {
    if (!receive(commandResponseTs_, topics_.command, &ZephonServer::cbCmd, "cbCmd()") ||
        !receive(commandResponseTs_, topics_.response, &ZephonServer::cbRsp, "cbRsp()") ||
        !receive(eventLogTs_, topics_.eventLog, &ZephonServer::cbEventLog, "cbEventLog()") ||
        !receive(gpsTimeTs_, topics_.gpsTime, &ZephonServer::cbGpsTime, "cbGpsTime()") ||
        !receive(meridanePntTs_, topics_.meridanePnt, &ZephonServer::cbMxPnt, "cbMxPnt()") ||
        !receive(positionVelocityTs_, topics_.positionVelocity, &ZephonServer::cbPosVel,
                 "cbPosVel()") ||
        !receive(utcTimeTs_, topics_.utcTime, &ZephonServer::cbUtcTime, "cbUtcTime()") ||
        !receive(bitReportTs_, topics_.bitReport, &ZephonServer::cbBit, "cbBit()")) {
        return false;
    }
    for (const long long connection : {topics_.command, topics_.response}) {
        ReturnCode::Value code = ReturnCode::NO_ERROR;
        commandResponseTs_->Register_Sender(connection, code);
        if (code != ReturnCode::NO_ERROR) {
            return false;
        }
    }
    return true;
}

bool ZephonServer::connectDevices() {
    ioConfig_ = std::make_shared<FACE::MX_Config>();
    serial_ = std::make_shared<FACE::IOSS::MX_SerialPort>();
    memory_ = std::make_shared<FACE::IOSS::MX_Devmem>();
    ReturnCode::Value serial = ReturnCode::NO_ERROR;
    serial_->Set_Reference("Configuration", ioConfig_, 0, serial);
    ReturnCode::Value memory = ReturnCode::NO_ERROR;
    memory_->Set_Reference("Configuration", ioConfig_, 0, memory);
    if (serial != ReturnCode::NO_ERROR || memory != ReturnCode::NO_ERROR) {
        return false;
    }
    serial_->Initialize(config_.ioDevices, serial);
    memory_->Initialize(config_.ioDevices, memory);
    return serial == ReturnCode::NO_ERROR && memory == ReturnCode::NO_ERROR;
}

bool ZephonServer::connectQueues() {
    gssipQueue_ = std::make_shared<GssipMcsq>(
        name_, StringUtils::split(FACE::ToStdString(config_.unqueuedIds), ','));
    const auto toGssip = [this](aspn2_msgs::idl::GSSIP const& record) { cbGssip(record); };
    const auto toDataTransfer = [this](aspn2_msgs::idl::GSSIP const& record) { cbDtOut(record); };
    FACE::String const& file = config_.ioDevices;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    gssipQueue_->Connect_ReadOnly(file, "TREVO_MX", toGssip, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    gssipQueue_->Connect_ReadOnly(file, "HALVOR_MX", toGssip, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    gssipQueue_->Connect_ReadOnly(file, "DT_OUT", toDataTransfer, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    gssipQueue_->Connect_IOWrite(file, "PNTD_MX", queues_.pntdMx, toGssip, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    gssipQueue_->Connect_WriteOnly(file, "DT_IN", queues_.dtIn, code);
    return code == ReturnCode::NO_ERROR;
}

void ZephonServer::startReporters() {
    HealthReporter::Instance().InitHealthReporter(name_, deviceIds_, eventLogTs_, topics_.eventLog);
    PCSMaintReporter::Instance().InitMaintReporter(name_, deviceIds_, maintenanceEventTs_,
                                                   topics_.maintenanceEvent);
}

void ZephonServer::endReporters() {
    HealthReporter::Instance().DoneHealthReporter();
    PCSMaintReporter::Instance().DoneMaintReporter();
    FpgaFace::DoneFpga();
}

void ZephonServer::connectLinks() {
    constexpr short noPulse = -1;
    for (unsigned short number = 1; number <= LinkTable::count; ++number) {
        auto link = std::make_unique<GpsIo>(
            name_, "Zephon", number, noPulse, serial_, deviceIds_, gssipQueue_,
            number == dataTransferLink ? queues_.dtIn : queues_.pntdMx, config_.debug);
        link->configure();
        configure_ZP_Comms(*link);
        links_.create(number, std::move(link));
    }
}

void ZephonServer::configure_ZP_Comms(GpsIo& link) {
    for (const int id : noHandshakeIds) {
        link.addToNoHandshakeList(id);
    }
    for (const int id : ignoreAckRequestIds) {
        link.addToIgnoreACKRequestList(id);
    }
}

void ZephonServer::announce() const {
    HealthReporter::Instance().SendConfigEvent("//aspn://CORVANE/" + name_ + ":" +
                                               BuildInfo::stamp + "/");
    const std::string banner = name_ + " XPN: " + xpn + "  " + notice;
    std::cout << banner + "\n" << std::flush;
    HealthReporter::Instance().SendConfigEvent(banner);
}

void ZephonServer::endTopicCallbacks() {
    if (transport_ != nullptr) {
        // What the single calls answer is not asked: all of them are made.
        ReturnCode::Value ignored = ReturnCode::NO_ERROR;
        for (auto const& topic : topicEntries) {
            transport_->Unregister_Callback(topics_.*topic.id, ignored);
        }
    }
}

void ZephonServer::Framework_Disconnect(ReturnCode::Value& code) {
    cancelTimers();
    endReporters();
    endTopicCallbacks();
    cancelTimers();  // of a command that still ran
    if (transport_ != nullptr) {
        ReturnCode::Value ignored = ReturnCode::NO_ERROR;
        for (auto const& topic : topicEntries) {
            transport_->Unregister_Sender(topics_.*topic.id, ignored);
        }
        for (auto const& topic : topicEntries) {
            transport_->Destroy_Connection(topics_.*topic.id, ignored);
        }
    }
    code = ReturnCode::NO_ERROR;
}
