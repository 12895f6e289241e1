#pragma once

/// What kind of line an event is; the value travels as `event_log_type` of an EventLog record.
namespace EventTypes {

// The underlying type is fixed, so that every int may be carried, also one that is no enumerator.
enum eEventType : int {
    OTHER = 0,  ///< what a line of an unknown kind is published as
    DIAGNOSTIC = 1,
    INFORMATION = 2,
    FAILURE = 3,
    LINK_LOST = 4,
    RESERVED = 5
};

}  // namespace EventTypes
