#include "zephon/OptionSettings.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>

#include "platform/StringUtils.h"

namespace {

constexpr int virtualUnits = 4;
constexpr std::array portNames{"COM1", "COM2", "COM3"};

constexpr char const* corvane = "CORVANE";
constexpr char const* zephon = "ZEPHON";

constexpr unsigned unitBits = 7;
constexpr unsigned portBits = 3;

std::string complain(char const* what, std::string const& value, char const* instead) {
    return std::string("Invalid ") + what + " (" + value +
           ") read from configuration file, defaulting to " + instead;
}

bool isHotStartType(std::string const& type) {
    constexpr std::size_t size = 4;
    return type == "LNAV" || type == "MNAV" ||
           (type.size() == size && StringUtils::containsIgnoringCase(type, "BOTH"));
}

/// Raises for a row that lacks one of these many fields, or has a blank one among them.
void demandFields(Fields const& fields, std::size_t count) {
    if (fields.size() < count) {
        throw std::invalid_argument("Missing fields");
    }
    if (std::any_of(fields.begin(), fields.begin() + static_cast<std::ptrdiff_t>(count),
                    [](auto const& field) { return StringUtils::trim(field).empty(); })) {
        throw std::invalid_argument("Blank field");
    }
}

eConfigCmdZephon toConfigUnit(unsigned long unit) {
    return static_cast<eConfigCmdZephon>(unit & unitBits);
}

unsigned toCapabilities(std::string const& capabilities) {
    if (capabilities == corvane) {
        return ConfigCmdLayout::capabilitiesCorvane;
    }
    if (capabilities == zephon) {
        return ConfigCmdLayout::capabilitiesZephon;
    }
    throw std::invalid_argument("Invalid receiver capabilities");
}

}  // namespace

LoadedHotStart repairHotStart(StoredHotStart const& stored) {
    LoadedHotStart loaded;
    int unit = stored.zephonNumber;
    if (unit < 1 || unit > virtualUnits) {
        loaded.complaints.push_back(complain("ZP number", std::to_string(unit), "ZP 1"));
        unit = 1;
    }
    loaded.settings.unit = static_cast<unsigned short>(unit);
    loaded.settings.port = stored.comPort;
    if (toPortNumber(stored.comPort) == 0) {
        loaded.complaints.push_back(complain("ZP COM port", stored.comPort, "COM1"));
        loaded.settings.port = "COM1";
    }
    loaded.settings.type = stored.type;
    if (!isHotStartType(stored.type)) {
        loaded.complaints.push_back(complain("HS type", stored.type, "BOTH"));
        loaded.settings.type = "BOTH";
    }
    return loaded;
}

LoadedSuperUser repairSuperUser(StoredSuperUser const& stored) {
    LoadedSuperUser loaded;
    loaded.superUser = {std::max(stored.zephonNumber, 0), 1};
    if (stored.zephonNumber > virtualUnits) {
        loaded.complaints.push_back(
            complain("ZP number", std::to_string(stored.zephonNumber), "NONE"));
        loaded.superUser.unit = 0;
    }
    if (loaded.superUser.unit == 0) {
        return loaded;
    }
    if (const int port = toPortNumber(stored.comPort); port != 0) {
        loaded.superUser.port = port;
    } else {
        loaded.complaints.push_back(complain("ZP COM port", stored.comPort, "COM1"));
    }
    return loaded;
}

StoredHotStart toStoredHotStart(Fields const& fields) {
    constexpr std::size_t count = 4;
    demandFields(fields, count);
    return {std::stoi(fields[1]), fields[2], fields[3]};
}

StoredSuperUser toStoredSuperUser(Fields const& fields) {
    constexpr std::size_t count = 3;
    demandFields(fields, count);
    return {fields[1] == "NONE" ? 0 : std::stoi(fields[1]), fields[2]};
}

HotStartSettings toHotStartSettings(StoredHotStart const& stored) {
    return {static_cast<unsigned short>(stored.zephonNumber), stored.comPort, stored.type};
}

int toPortNumber(std::string const& port) {
    const auto* const found = std::find(portNames.begin(), portNames.end(), port);
    return found == portNames.end() ? 0 : static_cast<int>(found - portNames.begin()) + 1;
}

bool outputConfigFieldsAreValid(Fields const& fields) {
    if (fields.size() < 4 || fields[1].size() != 1) {
        return false;
    }
    const int unit = fields[1].front() - '0';
    return unit >= 1 && unit <= virtualUnits && toPortNumber(fields[2]) != 0 &&
           (fields[3] == corvane || fields[3] == zephon);
}

std::string composeHotStartRsp(StoredHotStart const& hotStart) {
    return "CURRENT_ZEPHON_HOT_START," + std::to_string(hotStart.zephonNumber) + "," +
           hotStart.comPort + "," + hotStart.type;
}

std::string composeOutputConfigRsp(StoredCapabilities const& capabilities) {
    return "CURRENT_ZP_OUTPUT_CONFIG," + std::to_string(capabilities.zephonNumber) + "," +
           capabilities.comPort + "," + capabilities.receiverCapabilities;
}

std::string composeConfigStatus(Config_Status_Msg const& status) {
    if (!status.IsSuperUserConfigCommand()) {
        return std::to_string(status.get<ConfigStatusLayout::Command>());
    }
    const int unit = status.get<ConfigStatusLayout::Unit>();
    const int port = status.get<ConfigStatusLayout::Port>();
    const bool isSomebody = unit >= 1 && unit <= virtualUnits && port != 0;
    return "CURRENT_ZEPHON_SUPER_USER," +
           (isSomebody ? std::to_string(unit) + ",COM" + std::to_string(port)
                       : std::string("NONE,COM1"));
}

std::shared_ptr<TrevoMsg5000> makeHotStart(std::string const& port, std::string const& type) {
    auto message = std::make_shared<TrevoMsg5000>();
    message->setDataTransfer(true, false, true, false, to_e5000_scenario(type),
                             to_e5000_port(port));
    return message;
}

bool isOptionRow(Fields const& row) {
    return row.size() > 3 &&
           (row[0] == "SET_ZP_OUTPUT_CONFIG" || row[0] == "CURRENT_ZP_OUTPUT_CONFIG");
}

std::shared_ptr<Config_Cmd_Msg> makeOptionCmd(Fields const& optionRow) {
    constexpr int decimal = 10;
    const long unit = std::strtol(optionRow[1].c_str(), nullptr, decimal);
    const int port = toPortNumber(optionRow[2]);
    if (port == 0) {
        throw std::invalid_argument("Invalid COMport");
    }
    auto message = std::make_shared<Config_Cmd_Msg>();
    message->SetConfigCommand(eConfigCmdCommand::option);
    message->SetOutputConfig(toConfigUnit(static_cast<unsigned long>(unit)),
                             static_cast<eConfigCmdCom>(port),
                             ConfigCmdLayout::receiverCapabilities, toCapabilities(optionRow[3]));
    return message;
}

std::shared_ptr<Config_Cmd_Msg> makeSuperUserCmd(unsigned short unit, unsigned short port) {
    auto message = std::make_shared<Config_Cmd_Msg>();
    message->SetConfigCommand(eConfigCmdCommand::superUser);
    message->SetPortConfig(toConfigUnit(unit), static_cast<eConfigCmdCom>(port & portBits));
    return message;
}

std::shared_ptr<Config_Cmd_Msg> makeConfigRequest() {
    auto message = std::make_shared<Config_Cmd_Msg>();
    message->SetConfigCommand(eConfigCmdCommand::request);
    return message;
}
