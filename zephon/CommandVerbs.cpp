#include "zephon/CommandVerbs.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "ASPN/DeviceIds.h"
#include "platform/StringUtils.h"
#include "zephon/PortSettings.h"
#include "zephon/ZephonServer.h"

namespace {

using Match = CommandVerb::Match;

// The first row that matches decides.
constexpr std::array commonVerbs{
    CommandVerb{Match::WholeText, "START_ZEROIZE", &ZephonServer::startZeroize},
    CommandVerb{Match::WholeText, "START_DESTROY", &ZephonServer::startZeroize},
    CommandVerb{Match::WholeText, "REQUEST_PARTNUMBERS", &ZephonServer::answerPartNumbers},
    CommandVerb{Match::WholeText, "SYSTEM_MODE_SELECT_LIVE", &ZephonServer::selectLiveMode},
    CommandVerb{Match::WholeText, "SYSTEM_MODE_SELECT_SIMULATION",
                &ZephonServer::selectSimulationMode},
    CommandVerb{Match::WholeText, "BITSERVER_PING", &ZephonServer::answerPing},
    CommandVerb{Match::Contains, "REQUEST_COMPONENT_CBIT", &ZephonServer::startComponentCbit},
    CommandVerb{Match::Contains, "REQUEST_CBIT", &ZephonServer::startSystemCbit},
    CommandVerb{Match::FirstField, "SET_ZEPHON_COM", &ZephonServer::answerSetCom},
    CommandVerb{Match::FirstField, "SET_ZEPHON_HOT_START", &ZephonServer::answerSetHotStart},
    CommandVerb{Match::FirstField, "SET_ZEPHON_SUPER_USER", &ZephonServer::answerSetSuperUser},
    CommandVerb{Match::FirstField, "SET_ZP_OUTPUT_CONFIG", &ZephonServer::answerSetOutputConfig},
    CommandVerb{Match::FirstField, "SET_ZEPHON_MESSAGE_OUTPUT",
                &ZephonServer::answerSetMessageOutput},
    CommandVerb{Match::FirstField, "QUERY_ZEPHON_HOT_START", &ZephonServer::answerQueryHotStart},
    CommandVerb{Match::FirstField, "QUERY_ZEPHON_SUPER_USER", &ZephonServer::answerQuerySuperUser},
    CommandVerb{Match::FirstField, "QUERY_ZP_OUTPUT_CONFIG",
                &ZephonServer::answerQueryOutputConfig},
    CommandVerb{Match::FirstField, "QUERY_ZEPHON_MESSAGE_OUTPUT",
                &ZephonServer::answerQueryMessageOutput},
    CommandVerb{Match::FirstField, "QUERY_ZEPHON_COM", &ZephonServer::answerQueryCom},
    CommandVerb{Match::FirstField, "INIT_HOTSTART", &ZephonServer::initToldHotStart},
    CommandVerb{Match::FirstField, "PNTD_SLIP", &ZephonServer::openSlip},
};

constexpr std::array humanInterfaceVerbs{
    CommandVerb{Match::WholeText, "INIT_SINCGARS", &ZephonServer::initSincgars},
    CommandVerb{Match::WholeText, "INIT_HOTSTART", &ZephonServer::initSetHotStart},
};

bool matches(CommandVerb const& row, std::string_view text) {
    switch (row.match) {
        case Match::WholeText:
            return text == row.verb;
        case Match::Contains:
            return text.find(row.verb) != std::string_view::npos;
        case Match::FirstField:
            return text.substr(0, text.find(',')) == row.verb;
    }
    return false;
}

template <std::size_t Count>
CommandVerbRows rowsOf(std::array<CommandVerb, Count> const& rows) {
    return {rows.data(), rows.data() + rows.size()};
}

}  // namespace

Command::Command(aspn2_msgs::idl::CommandResponse const& command)
    : record(command), fields(StringUtils::split(command.command_response(), ',')) {
    if (fields.size() > 2) {
        key = portKey(fields[1], fields[2]);
    }
}

CommandVerbRows commandVerbs(unsigned char senderServer) {
    return senderServer == ASPN2::ServerIds::HmiServer ? rowsOf(humanInterfaceVerbs)
                                                       : rowsOf(commonVerbs);
}

CommandVerb const* findCommandVerb(unsigned char senderServer, std::string const& text) {
    const CommandVerbRows rows = commandVerbs(senderServer);
    auto const* const found = std::find_if(rows.begin(), rows.end(),
                                           [&text](auto const& row) { return matches(row, text); });
    return found == rows.end() ? nullptr : found;
}
