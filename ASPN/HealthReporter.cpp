#include "ASPN/HealthReporter.h"

#include <exception>
#include <iostream>
#include <pthread.h>
#include <stdexcept>
#include <utility>

#include "ASPN/FaultHysteresis.h"
#include "ASPN/TimeTags.h"
#include "aspn2_msgs/EventLog.h"
#include "face/ReturnCode.h"
#include "platform/FpgaFace.h"

namespace {

constexpr unsigned eventLimit = 10;
constexpr std::chrono::milliseconds eventQPollDuration{500};
constexpr std::chrono::seconds configRepeatDuration{300};
constexpr std::chrono::milliseconds publicationPause{100};

}  // namespace

HealthReporter& HealthReporter::Instance() {
    static HealthReporter instance;
    return instance;
}

HealthReporter::HealthReporter(ASPN2::EventQueue::Clock clock)
    : queue_(eventLimit, EventTypes::INFORMATION, configRepeatDuration, std::move(clock)) {}

HealthReporter::~HealthReporter() {
    // Without the lock: the process may be ending inside an initialisation that has failed.
    stop();
}

void HealthReporter::InitHealthReporter(const std::string& name,
                                        const ASPN2::DeviceIdFactory& deviceIdFactory,
                                        const std::shared_ptr<EventLogTypedTS>& typedTS,
                                        long long connectionId) {
    const std::string caller = "InitHealthReporter(" + name + ")";
    const platform::MutexLock lock(control_);
    if (initialized_) {
        throw std::runtime_error(caller + " called on an already initialized HealthReporter.");
    }
    if (typedTS == nullptr) {
        throw std::runtime_error(caller + " called with an empty eventLogTypedTS.");
    }
    FACE::RETURN_CODE_TYPE::Value rc = FACE::RETURN_CODE_TYPE::NO_ERROR;
    typedTS->Register_Sender(connectionId, rc);
    FACE::Return_Code_Value_No_Error_No_Action(
        __FILE__, __LINE__, (caller + " unable to register sender.").c_str(), rc);
    initFaultHysteresisOrExit(FaultHysteresis::Instance());

    name_ = name;
    deviceId_ = deviceIdFactory.makeDeviceId(ASPN2::TopicIds::Reports, 0);
    typedTS_ = typedTS;
    connectionId_ = connectionId;
    stop_ = false;
    queue_.resume();
    thread_ = std::thread(&HealthReporter::pubThreadFunction, this);
    initialized_ = true;
}

void HealthReporter::SendEvent(const char* file, int line, EventTypes::eEventType type,
                               const std::string& text) {
    std::string checked =
        FaultHysteresis::Instance().Check(type, file != nullptr ? file : "", line, text);
    const bool known = type >= EventTypes::OTHER && type <= EventTypes::RESERVED;
    queue_.push_back(known ? type : EventTypes::OTHER, std::move(checked));
}

unsigned HealthReporter::SendConfigEvent(const std::string& text) {
    return queue_.push_back_config(text);
}

unsigned HealthReporter::ReplaceConfigEvent(const std::string& text, unsigned id) {
    return queue_.push_back_config(text, id);
}

void HealthReporter::DoneHealthReporter() {
    const platform::MutexLock lock(control_);
    stop();
}

void HealthReporter::stop() {
    if (!initialized_) {
        return;
    }
    queue_.drain();
    stop_ = true;
    thread_.join();
    typedTS_.reset();
    initialized_ = false;
}

void HealthReporter::pubThreadFunction() {
    ::pthread_setname_np(::pthread_self(), "health");
    for (;;) {
        try {
            int type = 0;
            std::string text;
            if (queue_.pop_front(type, text, eventQPollDuration)) {
                publishChange(type, text);
                std::this_thread::sleep_for(publicationPause);
            } else if (stop_) {
                return;
            }
            continue;
        } catch (const std::exception& error) {
            // Piece by piece: this may be about memory.
            std::cout << "!!!!!! " << name_ << " HealthReporter caught exception: " << error.what()
                      << "\n";
        } catch (...) {
            std::cout << "!!!!!! " << name_ << " HealthReporter caught UNKNOWN exception\n";
        }
        // What keeps failing must neither take the processor nor keep the thread from its end.
        if (stop_) {
            return;
        }
        std::this_thread::sleep_for(publicationPause);
    }
}

void HealthReporter::publishChange(int type, const std::string& text) {
    aspn2_msgs::idl::EventLog record;
    record.header().device_id(static_cast<std::int32_t>(deviceId_));
    ASPN2::setToVandToA_fromFpgaTicks(FpgaFace::fpga_get_SystemCount(), record.header());
    record.header().seq_num(sequence_++);
    record.event_log_type(static_cast<aspn2_msgs::idl::event_log_type_enum>(type));
    record.eventlog(text);
    if (!typedTS_->Publish(connectionId_, record)) {
        std::cout << "!!!!!! " + name_ + " HealthReporter could not publish event type/info = " +
                         std::to_string(type) + '/' + text + '\n';
    }
}
