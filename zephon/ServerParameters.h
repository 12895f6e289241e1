#pragma once

#include <cstdint>

#include "face/Configuration.h"
#include "face/ReturnCode.h"
#include "face/String.h"

/// Parameters of the whole system, from the container "Meridane".
struct SystemParameters {
    FACE::String system;
    FACE::String configuration;
    std::uint16_t commandedBitTimeout = 0;  ///< seconds
};

/// The server's own parameters, from the container with its name.
struct ConfigParameters {
    FACE::String connections;         ///< file of the transport connections
    FACE::String ioDevices;           ///< file of the I/O connections
    bool debug = false;               ///< console output of the server
    std::uint16_t priority = 0;       ///< real-time priority, 0 for none
    std::uint16_t cpu = 0;            ///< processor to bind to, counted from 1; 0 for none
    FACE::String versionSource;       ///< PARAM_1
    bool mergeFusedTime = true;       ///< PARAM_2: fused time goes into the receiver time message
    bool logHoldover = false;         ///< PARAM_3: holdover decisions are logged
    FACE::String storedSettings;      ///< PARAM_4: file of the settings that survive a restart
    std::int64_t zeroizeTimeout = 0;  ///< PARAM_5, seconds
    FACE::String unqueuedIds;         ///< PARAM_6, message ids that enter no queue, by commas
};

/// Each reads every key of its group from the open container, also after one has failed, so
/// that one run names all that is missing. A missing or empty key leaves its field alone and
/// sets `rc` to INVALID_CONFIG; success leaves `rc` as it was.
void GetSystemParameters(FACE::Configuration& config, int handle, SystemParameters& parameters,
                         FACE::RETURN_CODE_TYPE::Value& rc);
void GetConfigParameters(FACE::Configuration& config, int handle, ConfigParameters& parameters,
                         FACE::RETURN_CODE_TYPE::Value& rc);
