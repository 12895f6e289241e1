#pragma once

#include <memory>

#include "ASPN/TimeTags.h"
#include "aspn2_msgs/GPSTime.h"
#include "aspn2_msgs/GSSIP.h"
#include "aspn2_msgs/UTCTime.h"
#include "messages/Trevo8504.h"

/// The join of the engine's time mark, message 8504, with the fused time of the same instant.
///
/// Either each mark goes on alone, as the engine gave it, or it waits for the navigator's GPS and
/// UTC time, each valid within 0.1 s of it, and goes on with these times in it. Any input
/// overwrites its own side; an output spends all three. A side that never finds its partners just
/// stays. Holds no lock and does no I/O: the server guards it with its status lock.
class TimeMark {
public:
    /// Takes a mark with the time of its record, and the failure flag for it; false, and nothing
    /// changed, when it is no 8504.
    bool store(aspn2_msgs::idl::GSSIP const& record, bool receiverFailed);
    void store(aspn2_msgs::idl::GPSTime const& record);
    void store(aspn2_msgs::idl::UTCTime const& record);

    /// The last mark, spent or not; all zero before the first.
    Trevo_8504_Msg const& last8504() const { return mark_; }

    /// Whether a mark can go on: alone, or with `merge` together with the fused time. Fused times
    /// that are not finite or lie outside of their week, weeks and variances that cannot be, count
    /// as not there.
    bool isDue(bool merge) const;

    /// The message for the units, and all three sides spent; null when nothing is due.
    std::shared_ptr<Trevo_8504_Msg> takeOutput(bool merge, bool receiverFailed);

private:
    bool isWithinReach(aspn2_msgs::idl::header const& fused) const;
    void merge(Trevo_8504_Msg& message) const;

    Trevo_8504_Msg mark_;        // frame and record
    ASPN2::timestamp markTime_;  // validity of the mark's record
    aspn2_msgs::idl::GPSTime gpsTime_;
    aspn2_msgs::idl::UTCTime utcTime_;
    bool received8504_ = false;
    bool receivedMxGpsTime_ = false;
    bool receivedMxUtcTime_ = false;
};
