#pragma once

#include <string>
#include <string_view>

#include "aspn2_msgs/BitReport.h"
#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/EventLog.h"
#include "aspn2_msgs/GPSTime.h"
#include "aspn2_msgs/MaintenanceEvent.h"
#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/PositionVelocity.h"
#include "aspn2_msgs/UTCTime.h"
#include "bench/TopicRecords.h"

namespace bench {

/// The bench's plain records as what travels on the topics, and the way back.

aspn2_msgs::idl::UTCTime makeMessage(const UtcRecord& plain);
aspn2_msgs::idl::MeridanePNT makeMessage(const PntRecord& plain);
aspn2_msgs::idl::GPSTime makeMessage(const GpsTimeRecord& plain);
aspn2_msgs::idl::PositionVelocity makeMessage(const PositionVelocityRecord& plain);
aspn2_msgs::idl::EventLog makeMessage(const EventRecord& plain);
aspn2_msgs::idl::CommandResponse makeMessage(const CommandFields& plain);
aspn2_msgs::idl::BitReport makeMessage(const BitRecord& plain);

EventRecord plainRecord(const aspn2_msgs::idl::EventLog& message);
MaintenanceRecord plainRecord(const aspn2_msgs::idl::MaintenanceEvent& message);
CommandFields plainRecord(const aspn2_msgs::idl::CommandResponse& message);

/// What the record of a topic is called.
std::string recordType(std::string_view topic);

/// Calls `action` with a fresh record of the topic; false when none is published here.
template <class Action>
bool withRecordOf(std::string_view topic, Action action) {
    const auto attempt = [&](auto record) {
        const bool same = topic == decltype(record)::topic;
        if (same) {
            action(record);
        }
        return same;
    };
    return attempt(UtcRecord()) || attempt(PntRecord()) || attempt(GpsTimeRecord()) ||
           attempt(PositionVelocityRecord()) || attempt(EventRecord()) ||
           attempt(CommandRecord()) || attempt(ResponseRecord()) || attempt(BitRecord());
}

}  // namespace bench
