#include "zephon/ServerParameters.h"

#include "face/MX_Config_Helpers.h"

using namespace MX_Config_Helpers;

void GetSystemParameters(FACE::Configuration& config, int handle, SystemParameters& parameters,
                         FACE::RETURN_CODE_TYPE::Value& rc) {
    Get_String_Parameter(config, handle, "System", parameters.system, rc);
    Get_String_Parameter(config, handle, "Configuration", parameters.configuration, rc);
    Get_Unsigned_Parameter(config, handle, "CommandedBitTimeout", parameters.commandedBitTimeout,
                           rc);
}

void GetConfigParameters(FACE::Configuration& config, int handle, ConfigParameters& parameters,
                         FACE::RETURN_CODE_TYPE::Value& rc) {
    Get_String_Parameter(config, handle, "Connections", parameters.connections, rc);
    Get_String_Parameter(config, handle, "IODevices", parameters.ioDevices, rc);
    Get_Boolean_Parameter(config, handle, "Debug", parameters.debug, rc);
    Get_Unsigned_Parameter(config, handle, "PRI", parameters.priority, rc);
    Get_Unsigned_Parameter(config, handle, "CPU", parameters.cpu, rc);
    Get_String_Parameter(config, handle, "PARAM_1", parameters.versionSource, rc);
    Get_Boolean_Parameter(config, handle, "PARAM_2", parameters.mergeFusedTime, rc);
    Get_Boolean_Parameter(config, handle, "PARAM_3", parameters.logHoldover, rc);
    Get_String_Parameter(config, handle, "PARAM_4", parameters.storedSettings, rc);
    // Read through 32 bits, then sign-extended.
    int zeroizeTimeout = 0;
    Get_Signed_Parameter(config, handle, "PARAM_5", zeroizeTimeout, rc);
    parameters.zeroizeTimeout = zeroizeTimeout;
    Get_String_Parameter(config, handle, "PARAM_6", parameters.unqueuedIds, rc);
}
