#pragma once

#include <cstdint>
#include <memory>

#include "messages/CrmMessages.h"
#include "messages/TrevoStatus.h"

/// The join of the engine's messages 5040 and 9391 into message 30000, and the count of those that
/// the unit did not acknowledge.
///
/// Either input overwrites its own side; when both are there and their times lie less than 0.3 s
/// apart, one message is made and both sides are spent. A side that never finds its partner just
/// stays. Holds no lock and does no I/O: the server guards it with its status lock.
class ReceiverStatusJoin {
public:
    /// What the engine's last time mark tells, message 8504; all clear before the first.
    struct EngineMark {
        std::uint8_t status96 = 0;   ///< bits 0 to 3: the engine's state; bit 5 below
        std::uint8_t status117 = 0;  ///< bit 7 below

        /// Until a time mark tells a state, message 9391 is not worth keeping.
        bool tellsState() const { return (status96 & 0x0FU) != 0; }
        /// What stands in the field `Mode` of message 30000.
        std::uint8_t mode() const;
    };

    /// Each takes a frame that is as long as its message; any other is refused and changes nothing.
    bool store5040(const unsigned char* bytes, unsigned short length);
    bool store9391(const unsigned char* bytes, unsigned short length);

    /// The packed message of a matching pair, or null when there is none. A match spends both
    /// sides.
    std::shared_ptr<CRM30000_Msg> takeOutput(EngineMark mark);

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
