#pragma once

#include <string>

#include "face/String.h"

/// What the installation tells of the computer's software: the file that PARAM_1 names. What the
/// file leaves out is empty.
struct VersionInfo {
    std::string bspPartNumber;
    std::string bspRelease;  ///< of the kernel, as uname tells it
    std::string bspVersion;
    std::string vhdlPartNumber;
    std::string vhdlTimestamp;
    std::string appPartNumber;
    std::string appBuild;
    std::string appTimestamp;  ///< as servers announce their build, "2024-09-18T13:48:46Z"

    /// False, and all as it was, when the file can't be loaded.
    bool load(FACE::String const& file);

    /// All of it, for the event log.
    std::string describe(std::string const& configuration) const;

    /// Whether this is the FPGA's build: the digits of both texts are the same, and there are any.
    bool isOfFpga(std::string const& buildStamp) const;
    bool isOfKernel(std::string const& release, std::string const& version) const;

    /// The part number of the program with this build value; "-DEV" behind it tells that another
    /// build was installed.
    std::string applicationPartNumber(std::string const& ownBuild) const;
};
