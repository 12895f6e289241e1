#pragma once

#include <string>

#include "tools/GssipSighting.h"

namespace gssipdump {

/// How sightings are shown.
struct ReportOptions {
    bool json = false;     ///< one object a line, with all fields
    bool verbose = false;  ///< text: every field too
    bool colour = false;   ///< text with the colours of a terminal
};

/// A sighting as it is shown, with the end of its last line.
struct Report {
    std::string text;
    bool flawless = true;  ///< a frame without defects
};

/// Whatever the bytes were, the text has no control character but the ends of lines and, with
/// `colour`, the colours'.
Report reportOf(Sighting const& sighting, ReportOptions const& options);

}  // namespace gssipdump
