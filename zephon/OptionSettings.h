#pragma once

#include <memory>
#include <string>
#include <vector>

#include "messages/ConfigMessages.h"
#include "messages/TrevoCommands.h"
#include "zephon/PortSettings.h"
#include "zephon/StoredSettings.h"
#include "zephon/TimedProcedure.h"

/// Hot start, super user and receiver capabilities, as commands name them, as the file keeps them,
/// as answers tell them and as messages carry them. All functions are pure; any thread may call.
///
/// The rows of fields, between their commas:
///
///     SET_ZEPHON_HOT_START    1 unit            2 port  3 type
///     SET_ZEPHON_SUPER_USER   1 unit or NONE    2 port
///     SET_ZP_OUTPUT_CONFIG    1 unit            2 port  3 capabilities, also in its answer

// ---- As loaded: wrong values are repaired, and told ---------------------------------------

struct LoadedHotStart {
    HotStartSettings settings;
    std::vector<std::string> complaints;
};
/// A unit that is none becomes 1, a port that is none COM1, a type that is none BOTH, which may be
/// spelled in any case of letters.
LoadedHotStart repairHotStart(StoredHotStart const& stored);

struct SuperUser {
    int unit = 0;  ///< virtual unit, 0 for none
    int port = 0;  ///< 1 to 3
};
struct LoadedSuperUser {
    SuperUser superUser;
    std::vector<std::string> complaints;
};
/// A unit beyond the last becomes none, silently also one below 0; none has port 1, and so has a
/// unit whose port is none.
LoadedSuperUser repairSuperUser(StoredSuperUser const& stored);

// ---- As commanded ------------------------------------------------------------------------

/// What to store of a row. Raise std::invalid_argument for a row with a field missing or blank (a
/// blank text once stored could not be changed any more) and what std::stoi raises for the unit;
/// no other value is checked.
StoredHotStart toStoredHotStart(Fields const& fields);
StoredSuperUser toStoredSuperUser(Fields const& fields);

/// What a hot start from the human interface uses after that; the unit is cut to 16 bits.
HotStartSettings toHotStartSettings(StoredHotStart const& stored);

/// The number of a port; 0 for any other text.
int toPortNumber(std::string const& port);

/// Whether a row of capabilities is whole and good: unit 1 to 4, COM1 to COM3, CORVANE or ZEPHON.
bool outputConfigFieldsAreValid(Fields const& fields);

// ---- As answered ---------------------------------------------------------------------------

std::string composeHotStartRsp(StoredHotStart const& hotStart);
std::string composeOutputConfigRsp(StoredCapabilities const& capabilities);
/// What a status of the unit says: who the super user is, or the number of another command.
std::string composeConfigStatus(Config_Status_Msg const& status);

// ---- As sent -------------------------------------------------------------------------------

/// Message 5000 that starts a hot start. The unit is that of its wrapper.
std::shared_ptr<TrevoMsg5000> makeHotStart(std::string const& port, std::string const& type);

/// Whether the row is a command to set capabilities, or the answer about them, and whole.
bool isOptionRow(Fields const& row);
/// Message 27560 of a row of capabilities; of the unit three bits count. Raises
/// std::invalid_argument for a port and for capabilities that have no code.
std::shared_ptr<Config_Cmd_Msg> makeOptionCmd(Fields const& optionRow);
/// Message 27560 that makes a port the super user; of the unit three bits count, of the port two.
std::shared_ptr<Config_Cmd_Msg> makeSuperUserCmd(unsigned short unit, unsigned short port);
/// Message 27560 that asks who the super user is.
std::shared_ptr<Config_Cmd_Msg> makeConfigRequest();
