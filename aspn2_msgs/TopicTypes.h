#pragma once

#include "aspn2_msgs/TopicPubSubType.h"

/// The record types that travel on topics, in the order in which their keys are looked up.
/// `X(Name)` is called once for each.
// A macro, because names, aliases and texts come from the same list.
#define ASPN2_MSGS_TOPIC_TYPES(X)     \
    X(Altitude)                       \
    X(BitReport)                      \
    X(BitEntryStatus)                 \
    X(ChallengedEnvironment)          \
    X(ChannelStatus)                  \
    X(CommandResponse)                \
    X(DeltaTimeAndFrequency)          \
    X(EventLog)                       \
    X(GNSS)                           \
    X(GNSSSubframe)                   \
    X(GPSTime)                        \
    X(IMU)                            \
    X(MaintenanceEvent)               \
    X(MeasurementIncorporationStatus) \
    X(MeridanePNT)                    \
    X(NavigationMode)                 \
    X(PositionVelocity)               \
    X(PositionVelocityAttitude)       \
    X(ThreeAxisMagnetometer)          \
    X(TimeAtTheTone)                  \
    X(UtcDownlink)                    \
    X(UTCTime)                        \
    X(GSSIP)                          \
    X(Velocity3D)                     \
    X(ReceiverStatus)                 \
    X(GPSLineOfSight)                 \
    X(GPSCryptoStatus)                \
    X(AssuranceState)                 \
    X(PlatformDynamics)               \
    X(TimeSync)                       \
    X(SVStatus)                       \
    X(ForwardReverseStatus)

// The records are only declared here: who uses one includes its own header.
namespace aspn2_msgs::idl {

#define ASPN2_MSGS_DECLARE(Name) \
    class Name;                  \
    using Name##PubSubType = TopicPubSubType<Name>;
ASPN2_MSGS_TOPIC_TYPES(ASPN2_MSGS_DECLARE)
#undef ASPN2_MSGS_DECLARE

}  // namespace aspn2_msgs::idl

namespace aspn2_msgs {

/// The name of the topic type `T`, such as "aspn2_msgs::idl::GSSIP".
template <class T>
inline constexpr char const* TypeName = nullptr;

#define ASPN2_MSGS_NAME(Name) \
    template <>               \
    inline constexpr char const* TypeName<idl::Name> = "aspn2_msgs::idl::" #Name;
ASPN2_MSGS_TOPIC_TYPES(ASPN2_MSGS_NAME)
#undef ASPN2_MSGS_NAME

}  // namespace aspn2_msgs
