#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "ASPN/DeviceIds.h"
#include "ASPN/EventQueue.h"
#include "ASPN/EventTypes.h"
#include "face/MX_TypedTS.h"
#include "platform/Mutex.h"

namespace aspn2_msgs::idl {
class EventLog;
}

/// How the process says something to the event log: lines wait in a short queue, and a thread of
/// the reporter ("health") publishes them as EventLog records, ten in a second at most. A burst
/// beyond the ten that can wait is thinned: that is the rate guard of the whole event log.
///
/// Any thread may send, at any time: sending never waits for the transport. Lines that are sent
/// before the initialisation wait for it, as far as there is room. `Init...` and `Done...` come
/// one after the other, from any thread but the topic callbacks.
class HealthReporter {
public:
    using EventLogTypedTS = FACE::TSS::Details::MX_TypedTS<aspn2_msgs::idl::EventLog>;

    /// The one of the process.
    static HealthReporter& Instance();

    /// `clock` tells when configuration lines come again.
    explicit HealthReporter(ASPN2::EventQueue::Clock clock = std::chrono::steady_clock::now);
    /// Stops the thread as DoneHealthReporter does.
    ~HealthReporter();
    HealthReporter(const HealthReporter&) = delete;
    HealthReporter& operator=(const HealthReporter&) = delete;

    /// Makes the connection a publisher, unless it is one, and starts to publish. Raises
    /// std::runtime_error when called twice, without a transport, or when the connection refuses.
    /// Sets up the process's FaultHysteresis.
    void InitHealthReporter(const std::string& name, const ASPN2::DeviceIdFactory& deviceIdFactory,
                            const std::shared_ptr<EventLogTypedTS>& typedTS, long long connectionId)
        EXCLUDES(control_);

    /// Says `text`; `file` and `line` are the place in the source (__FILE__, __LINE__). A type
    /// that is no enumerator is published as OTHER. The line is lost when the queue is full.
    void SendEvent(const char* file, int line, EventTypes::eEventType type,
                   const std::string& text);

    /// Says a configuration line, now and again every five minutes. Returns its id.
    unsigned SendConfigEvent(const std::string& text);

    /// The same in place of the configuration line `id`. Returns its id, which is a new one when
    /// `id` is unknown.
    unsigned ReplaceConfigEvent(const std::string& text, unsigned id);

    /// Publishes what waits, stops the thread and gives up the transport: within 0.2 s of an
    /// empty queue, and 0.1 s more for each line. Does nothing when not initialised.
    void DoneHealthReporter() EXCLUDES(control_);

private:
    void stop() REQUIRES(control_);
    void pubThreadFunction();
    void publishChange(int type, const std::string& text);

    ASPN2::EventQueue queue_;  // locks itself
    std::atomic<bool> stop_{false};

    // Init and Done, held while they join the thread, which never takes it. Before all others.
    platform::Mutex control_;
    bool initialized_ GUARDED_BY(control_) = false;
    std::thread thread_ GUARDED_BY(control_);

    // Written before the thread starts and after it has been joined; then the thread's.
    std::string name_;
    std::uint32_t deviceId_ = 0;
    std::int64_t sequence_ = 0;
    std::shared_ptr<EventLogTypedTS> typedTS_;
    long long connectionId_ = -1;
};
