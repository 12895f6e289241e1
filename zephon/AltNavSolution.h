#pragma once

#include <memory>

#include "aspn2_msgs/GPSTime.h"
#include "aspn2_msgs/PositionVelocity.h"
#include "messages/OutputMessages.h"

/// The join of the alternate navigation device's position and GPS time into message 15052.
///
/// The device tells the time one second after the position that it belongs to. Either input
/// overwrites its own side; when both sides are there and the time is tagged exactly one second
/// after the position, one message is made and both sides are spent. A side that never finds its
/// partner just stays. Holds no lock and does no I/O: the server guards it with its alternate
/// navigation lock.
class AltNavSolution {
public:
    void store(aspn2_msgs::idl::PositionVelocity const& record);
    void store(aspn2_msgs::idl::GPSTime const& record);

    /// The output of a matching pair, or null when there is none. A match spends both sides. Any
    /// numbers may stand in the records; a time outside of its week gives a date that means
    /// nothing.
    std::shared_ptr<AltNavPVTOutput> takeOutput();

private:
    bool isPair() const;

    aspn2_msgs::idl::PositionVelocity positionVelocity_;
    aspn2_msgs::idl::GPSTime gpsTime_;
    bool positionVelocityReceived_ = false;
    bool gpsTimeReceived_ = false;
};
