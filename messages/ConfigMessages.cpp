#include "messages/ConfigMessages.h"

bool Config_Cmd_Msg::OkSetContent(const unsigned char*, unsigned short) {
    return false;
}

void Config_Cmd_Msg::SetConfigCommand(eConfigCmdCommand command) {
    set<ConfigCmdLayout::Command>(static_cast<std::uint16_t>(command));
}

void Config_Cmd_Msg::SetPortConfig(eConfigCmdZephon unit, eConfigCmdCom port) {
    set<ConfigCmdLayout::Unit>(static_cast<std::uint16_t>(unit));
    set<ConfigCmdLayout::Port>(static_cast<std::uint16_t>(port));
}

void Config_Cmd_Msg::SetOutputConfig(eConfigCmdZephon unit, eConfigCmdCom port, unsigned option,
                                     unsigned value) {
    SetPortConfig(unit, port);
    set<ConfigCmdLayout::OutputConfig>(static_cast<std::uint16_t>((option * 8) | value));
}

bool Config_Status_Msg::OkSetContent(const unsigned char* bytes, unsigned short length) {
    // The data checksum counts as a word here: nothing says that the frame must have one.
    const int wordsBehindHeader = length / 2 - static_cast<int>(GSSIP_HEADER_WORDS);
    if (wordsBehindHeader <= ConfigStatusLayout::words) {
        return false;
    }
    std::memcpy(data, bytes + GSSIP_HEADER_BYTES, sizeof(*data) * ConfigStatusLayout::words);
    return true;
}

bool Config_Status_Msg::IsSuperUserConfigCommand() const {
    return get<ConfigStatusLayout::Command>() == ConfigStatusLayout::superUserStatus;
}
