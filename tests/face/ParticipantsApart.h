#pragma once

#include <fastrtps/attributes/LibrarySettingsAttributes.h>
#include <fastrtps/xmlparser/XMLProfileManager.h>

/// For test programs with several participants that may end before they have found each other.
/// Participants of one process call each other's endpoints through plain pointers; the library
/// keeps such a pointer, and follows it later, when one of them ends while only the other knows of
/// it. The server's process has one participant. With this header several meet as siblings do, over
/// the transport. Set before main, since the library reads it without a lock.
inline bool const participantsAreApart = [] {
    eprosima::fastrtps::LibrarySettingsAttributes settings;
    settings.intraprocess_delivery = eprosima::fastrtps::INTRAPROCESS_OFF;
    eprosima::fastrtps::xmlparser::XMLProfileManager::library_settings(settings);
    return true;
}();
