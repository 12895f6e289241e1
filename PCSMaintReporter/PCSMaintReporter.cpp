#include "PCSMaintReporter/PCSMaintReporter.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "ASPN/FaultHysteresis.h"
#include "ASPN/TimeTags.h"
#include "face/ReturnCode.h"
#include "platform/StringUtils.h"

namespace {

/// What a piece of a long description and its prefix have room for.
constexpr std::size_t chunkAndPrefixSize = 52;
constexpr std::size_t maximalChunks = 9;

template <std::size_t size>
void copyText(const std::string& text, std::array<char, size>& field) {
    StringUtils::strncpy_prot(field.data(), text.c_str(), static_cast<unsigned>(size));
}

std::int64_t steadyNow() {
    using std::chrono::nanoseconds;
    return std::chrono::duration_cast<nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// Wraps around instead of overflowing, so that taking off twice gives the number again.
std::int64_t difference(std::int64_t from, std::int64_t what) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(from) -
                                     static_cast<std::uint64_t>(what));
}

struct Place {
    int lru;
    int component;
};

struct ServerPlaces {
    int location;
    std::array<Place, 4> places;
};

ServerPlaces placesOf(unsigned serverId) {
    switch (serverId) {
        case 1:
        case 32:
        case 37:
        case 40:
        case 51:
        case 53:
        case 54:
            return {1, {{{1, 0}}}};
        case 33:
        case 34:
            return {1, {{{1, 5}}}};
        case 35:
            return {1, {{{1, 9}}}};
        case 36:
            return {1, {{{1, 10}}}};
        case 38:
            return {1, {{{1, 3}}}};
        case 39:
        case 50:
        case 80:
            return {4, {{{1, 4}, {2, 14}, {2, 16}}}};
        case 41:
        case 42:
            return {16, {{{3, 16}, {3, 17}, {1, 17}, {1, 1}}}};
        case 44:
        case 45:
        case 46:
        case 52:
        case 125:
            return {1, {{{1, 8}}}};
        case 47:
            return {14, {{{2, 15}, {2, 14}, {2, 13}, {2, 16}}}};
        case 48:
            return {1, {{{1, 6}}}};
        case 49:
            return {1, {{{1, 2}}}};
        case 96:
        case 97:
            return {0, {{{1, 1}}}};
        default:
            return {0, {}};
    }
}

}  // namespace

PCSMaintReporter& PCSMaintReporter::Instance() {
    static PCSMaintReporter instance;
    return instance;
}

void PCSMaintReporter::InitMaintReporter(const std::string& name,
                                         const ASPN2::DeviceIdFactory& factory,
                                         const std::shared_ptr<TypedTS>& typedTS,
                                         long long connectionId) {
    const std::string caller = "InitMaintReporter(" + name + ")";
    {
        const platform::MutexLock lock(mutex_);
        if (target_ != nullptr) {
            throw std::runtime_error(caller +
                                     " called on an already initialized PCSMaintReporter.");
        }
        if (typedTS == nullptr) {
            throw std::runtime_error(caller + " called with an empty eventLogTypedTS.");
        }
        FACE::RETURN_CODE_TYPE::Value rc = FACE::RETURN_CODE_TYPE::NO_ERROR;
        typedTS->Register_Sender(connectionId, rc);
        FACE::Return_Code_Value_No_Error_No_Action(
            __FILE__, __LINE__, (caller + " unable to register sender.").c_str(), rc);
        sequence_ = 0;
        target_ = std::make_shared<const Target>(
            Target{name, factory.makeDeviceId(ASPN2::TopicIds::Reports, 0), typedTS, connectionId});
    }
    initFaultHysteresisOrExit(FaultHysteresis::Instance());
}

void PCSMaintReporter::DoneMaintReporter() {
    std::shared_ptr<const Target> released;  // outside the lock
    const platform::MutexLock lock(mutex_);
    released.swap(target_);
}

void PCSMaintReporter::SetTimeOffset(std::chrono::nanoseconds now) {
    timeOffset_ = difference(steadyNow(), now.count());
}

void PCSMaintReporter::SetAspnTimeOffset(long long seconds, long long nanoseconds) {
    const std::uint64_t now = static_cast<std::uint64_t>(seconds) * 1'000'000'000U +
                              static_cast<std::uint64_t>(nanoseconds);
    SetTimeOffset(std::chrono::nanoseconds(static_cast<std::int64_t>(now)));
}

std::chrono::nanoseconds PCSMaintReporter::GetTime() const {
    return std::chrono::nanoseconds(difference(steadyNow(), timeOffset_));
}

int PCSMaintReporter::getDefaultLruSubForServerID(unsigned serverId, eLru& lru1, eCmpo& cmp1,
                                                  eLru& lru2, eCmpo& cmp2, eLru& lru3, eCmpo& cmp3,
                                                  eLru& lru4, eCmpo& cmp4) {
    const ServerPlaces server = placesOf(serverId);
    const std::array<eLru*, 4> lrus{&lru1, &lru2, &lru3, &lru4};
    const std::array<eCmpo*, 4> components{&cmp1, &cmp2, &cmp3, &cmp4};
    for (std::size_t index = 0; index < server.places.size(); ++index) {
        *lrus.at(index) = static_cast<eLru>(server.places.at(index).lru);
        *components.at(index) = static_cast<eCmpo>(server.places.at(index).component);
    }
    return server.location;
}

void PCSMaintReporter::sendMaintenanceEvent(const std::string& description,
                                            const std::string& identity, eCrit criticality,
                                            eOutcome outcome, int location, eCat category,
                                            eLru lru1, eCmpo cmp1, eLru lru2, eCmpo cmp2, eLru lru3,
                                            eCmpo cmp3, eLru lru4, eCmpo cmp4, int repeatSeconds) {
    Record event =
        buildMaintenanceEvent(description, identity, criticality, outcome, location, category, lru1,
                              cmp1, lru2, cmp2, lru3, cmp3, lru4, cmp4, repeatSeconds);
    publishMaintenanceEvent(event);
}

void PCSMaintReporter::sendLongDescriptionMultiMaintenanceEvent(
    const std::string& longDescription, const std::string& identity, eCrit criticality,
    eOutcome outcome, int location, eCat category, eLru lru1, eCmpo cmp1, eLru lru2, eCmpo cmp2,
    eLru lru3, eCmpo cmp3, eLru lru4, eCmpo cmp4, int repeatSeconds, const char* prefix) {
    const Record common =
        buildMaintenanceEvent("", identity, criticality, outcome, location, category, lru1, cmp1,
                              lru2, cmp2, lru3, cmp3, lru4, cmp4, repeatSeconds);
    for (Record& event :
         buildMultiMaintenanceEventVectorFromLongDescription(longDescription, common, prefix)) {
        std::cout << "PCSMaintReporter (" + std::to_string(__LINE__) + ") " + __func__ +
                         ": Sending maintenance event: " + event.description().data() + '\n';
        publishMaintenanceEvent(event);
    }
}

PCSMaintReporter::Record PCSMaintReporter::buildMaintenanceEvent(
    const std::string& description, const std::string& identity, eCrit criticality,
    eOutcome outcome, int location, eCat category, eLru lru1, eCmpo cmp1, eLru lru2, eCmpo cmp2,
    eLru lru3, eCmpo cmp3, eLru lru4, eCmpo cmp4, int repeatSeconds) {
    Record event;
    copyText(description, event.description());
    copyText(identity, event.identity());
    event.category_id(category);
    event.repeat_in_seconds(repeatSeconds);
    event.location_id(location);
    event.criticality_id(criticality);
    event.outcome_id(outcome);
    const std::array<eLru, 4> lrus{lru1, lru2, lru3, lru4};
    const std::array<eCmpo, 4> components{cmp1, cmp2, cmp3, cmp4};
    for (std::size_t index = 0; index < lrus.size(); ++index) {
        event.fault_sources().at(index).lru_id(lrus.at(index));
        event.fault_sources().at(index).component_id(components.at(index));
    }
    return event;
}

std::vector<PCSMaintReporter::Record>
PCSMaintReporter::buildMultiMaintenanceEventVectorFromLongDescription(
    const std::string& longDescription, const Record& event, const char* prefix) {
    const std::string begin = prefix != nullptr ? prefix : "Evt";
    const std::size_t chunkSize =
        begin.size() < chunkAndPrefixSize ? chunkAndPrefixSize - begin.size() : 1;
    const std::vector<std::string> chunks =
        StringUtils::splitToChunks(longDescription.substr(0, maximalChunks * chunkSize), chunkSize);
    std::vector<Record> events(chunks.size(), event);
    for (std::size_t index = 0; index < chunks.size(); ++index) {
        const std::string number = chunks.size() > 1 ? '_' + std::to_string(index + 1) : "";
        copyText(begin + number + ':' + chunks[index], events[index].description());
    }
    return events;
}

void PCSMaintReporter::publishMaintenanceEvent(Record& event) {
    const std::shared_ptr<const Target> to = target();
    if (to == nullptr) {
        std::cout << "!!!!!! PCSMaintReporter (" << __LINE__ << ") " << __func__
                  << ": PCSMaintReporter not initialized! Cannat send MaintenanceEvent.\n";
        return;
    }
    try {
        event.header().device_id(static_cast<std::int32_t>(to->deviceId));
        ASPN2::setToVandToA_fromNSec(GetTime(), event.header());
        event.header().seq_num(sequence_++);
        if (!to->typedTS->Publish(to->connectionId, event)) {
            std::cout << "!!!!!! " + to->serverName + " MaintReporter could not publish event\n";
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';  // piece by piece: it may be about memory
    } catch (...) {
        // Nothing is known of it that could be told; the record is lost.
    }
}

std::shared_ptr<const PCSMaintReporter::Target> PCSMaintReporter::target() const {
    const platform::MutexLock lock(mutex_);
    return target_;
}
