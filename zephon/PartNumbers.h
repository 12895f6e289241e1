#pragma once

#include <memory>
#include <string>

#include "messages/OutputMessages.h"
#include "zephon/VersionStatus.h"

/// What the system is built of, as the unit is told in message 15053. Holds no lock and does no
/// I/O: the server guards it with its version lock.
struct PartNumbers {
    std::string systemBuildReported = "ACQUIRING";  ///< until all servers have told theirs
    std::string vhdlPartNumber;
    std::string bspPartNumber;
    std::string appPartNumber = "00000";

    // Of the engine, as its start lines tell them; at most 16 characters.
    std::string papBootXpn;
    std::string pspBootXpn;
    std::string fpgaXpn;
    std::string bslXpn;

    // Of the PNT device, as the alternate navigation unit tells them; all empty, or each of 16
    // characters with blanks behind.
    std::string pntdSoftware;
    std::string pntdFirmware;
    std::string pntdSerialNumber;

    bool versionComplete = false;  ///< all of the engine's are known; stays

    /// Takes a line of the engine's event log. One that begins with "GPS" and holds "XPN: " tells
    /// a part number, unless all are known. Lines may hold anything.
    void takeEngineLine(std::string const& line);

    /// Takes what the alternate navigation unit answered; a field that it left out is all blanks.
    void takePntdVersions(VersionStatus const& versions);
    bool knowsPntdVersions() const { return !pntdSoftware.empty(); }

    /// The message, for a GPS time of week in seconds; null until the engine's numbers are known.
    std::shared_ptr<MxPartNumOutput> makeOutput(double gpsTimeOfWeek) const;
};
