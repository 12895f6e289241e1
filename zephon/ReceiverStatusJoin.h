#pragma once

#include <cstdint>
#include <memory>

#include "messages/CrmMessages.h"
#include "messages/Trevo8504.h"
#include "messages/TrevoStatus.h"

/// The join of the engine's messages 5040 and 9391 into message 30000, and the count of those that
/// the unit did not acknowledge.
///
/// Either input overwrites its own side; when both are there and their times lie less than 0.3 s
/// apart, one message is made and both sides are spent. A side that never finds its partner just
/// stays. Holds no lock and does no I/O: the server guards it with its status lock.
class ReceiverStatusJoin {
public:
    /// Each takes a frame that is as long as its message; any other is refused and changes nothing.
    bool store5040(const unsigned char* bytes, unsigned short length);
    bool store9391(const unsigned char* bytes, unsigned short length);

    /// The packed message of a matching pair, or null when there is none. A match spends both
    /// sides. `mark` is the engine's last time mark, all zero before the first.
    std::shared_ptr<CRM30000_Msg> takeOutput(Trevo_8504_Msg const& mark);

    /// Counts a send. `ackPending` tells that the one before was not acknowledged; true when it
    /// is at least the sixth of these in a row.
    bool isNoAckDue(bool ackPending);

private:
    bool isSameInstant() const;

    Trevo_5040_Msg stored5040_;
    Trevo_9391_Msg stored9391_;
    bool received5040_ = false;  // waits for its partner, as the next does
    bool received9391_ = false;
    std::uint16_t crmMissedAcks_ = 0;  // in a row; stays at its largest
};
