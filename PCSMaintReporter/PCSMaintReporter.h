#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ASPN/DeviceIds.h"
#include "PCSMaintReporter/MaintenanceTypes.h"
#include "aspn2_msgs/MaintenanceEvent.h"
#include "face/MX_TypedTS.h"
#include "platform/Mutex.h"

/// The process's publisher of MaintenanceEvent records, which a maintainer reads: what is broken,
/// how badly, and which replaceable units may be the cause.
///
/// Any thread may send, and publishes itself: a reliable connection may make it wait 100 ms, and
/// subscribers of this process are called back before it returns, so hold no lock that a topic
/// callback takes. A record that cannot be published is lost after a line on standard output.
/// `Init...` and `Done...` may come at any time beside that.
class PCSMaintReporter {
public:
    using Record = aspn2_msgs::idl::MaintenanceEvent;
    using TypedTS = FACE::TSS::Details::MX_TypedTS<Record>;
    using eCrit = ASPN2::Maintenance::Criticality::eCrit;
    using eOutcome = ASPN2::Maintenance::Outcome::eOutcome;
    using eCat = ASPN2::Maintenance::Category::eCat;
    using eLru = ASPN2::Maintenance::LRU::eLru;
    using eCmpo = ASPN2::Maintenance::Component::eCmpo;

    /// The one of the process.
    static PCSMaintReporter& Instance();

    PCSMaintReporter() = default;

    /// Makes the connection a publisher, unless it is one; records count from 0 again. Raises
    /// std::runtime_error when called twice, without a transport, or when the connection refuses.
    /// Sets up the process's FaultHysteresis.
    void InitMaintReporter(const std::string& name, const ASPN2::DeviceIdFactory& factory,
                           const std::shared_ptr<TypedTS>& typedTS, long long connectionId)
        EXCLUDES(mutex_);

    /// Gives up the transport; records that are being sent go out. Does nothing when not
    /// initialised.
    void DoneMaintReporter() EXCLUDES(mutex_);

    /// `GetTime` runs on from `now`; until then from the steady clock's own start. Times wrap
    /// around at the ends of their 64 bits.
    void SetTimeOffset(std::chrono::nanoseconds now);
    void SetAspnTimeOffset(long long seconds, long long nanoseconds);

    /// The time that records are stamped with.
    std::chrono::nanoseconds GetTime() const;

    /// The location of a server (the result) and the units that a fault of it may come from; 0
    /// where there is none, and all 0 for a server id of 0 or above 125.
    static int getDefaultLruSubForServerID(unsigned serverId, eLru& lru1, eCmpo& cmp1, eLru& lru2,
                                           eCmpo& cmp2, eLru& lru3, eCmpo& cmp3, eLru& lru4,
                                           eCmpo& cmp4);

    /// Publishes one record. 55 characters of the description and 15 of the identity are kept.
    void sendMaintenanceEvent(const std::string& description, const std::string& identity,
                              eCrit criticality, eOutcome outcome, int location, eCat category,
                              eLru lru1, eCmpo cmp1, eLru lru2, eCmpo cmp2, eLru lru3, eCmpo cmp3,
                              eLru lru4, eCmpo cmp4, int repeatSeconds);

    /// Publishes a long description in a run of at most nine records, which begin with the prefix
    /// (null for "Evt") and, when there are several, their number from 1. What does not fit is
    /// lost; an empty description gives no record.
    void sendLongDescriptionMultiMaintenanceEvent(const std::string& longDescription,
                                                  const std::string& identity, eCrit criticality,
                                                  eOutcome outcome, int location, eCat category,
                                                  eLru lru1, eCmpo cmp1, eLru lru2, eCmpo cmp2,
                                                  eLru lru3, eCmpo cmp3, eLru lru4, eCmpo cmp4,
                                                  int repeatSeconds, const char* prefix = nullptr);

    // What the two send, without header.

    static Record buildMaintenanceEvent(const std::string& description, const std::string& identity,
                                        eCrit criticality, eOutcome outcome, int location,
                                        eCat category, eLru lru1, eCmpo cmp1, eLru lru2, eCmpo cmp2,
                                        eLru lru3, eCmpo cmp3, eLru lru4, eCmpo cmp4,
                                        int repeatSeconds);

    /// Copies of `event` with the pieces of the description.
    static std::vector<Record> buildMultiMaintenanceEventVectorFromLongDescription(
        const std::string& longDescription, const Record& event, const char* prefix);

private:
    /// Where records go. Constant once made.
    struct Target {
        std::string serverName;
        std::uint32_t deviceId = 0;
        std::shared_ptr<TypedTS> typedTS;
        long long connectionId = -1;
    };

    void publishMaintenanceEvent(Record& event) EXCLUDES(mutex_);
    std::shared_ptr<const Target> target() const EXCLUDES(mutex_);

    mutable platform::Mutex mutex_;  // not held while a record is published
    std::shared_ptr<const Target> target_ GUARDED_BY(mutex_);  // null: not initialised
    std::atomic<std::int64_t> sequence_{0};
    std::atomic<std::int64_t> timeOffset_{0};  // nanoseconds, what GetTime takes off the clock
};
