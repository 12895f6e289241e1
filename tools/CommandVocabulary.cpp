#include "tools/CommandVocabulary.h"

#include "ASPN/CmdResponseStrings.h"

namespace zephonctl {

std::vector<Verb> const& vocabulary() {
    namespace Words = Sys::CommandString;
    static const std::vector<Verb> verbs{
        {Words::BitServerPing, Sender::Server, Match::WholeText, "", "asks for a sign of life",
         "the server's name"},
        {Words::RequestPartNumbers, Sender::Server, Match::WholeText, "",
         "asks what the PNT device is built of", "PARTNUMBERS; none until the device has told"},
        {Words::SystemModeLive, Sender::Server, Match::WholeText, "",
         "stamps records with live time", "_PASS"},
        {Words::SystemModeSim, Sender::Server, Match::WholeText, "",
         "stamps records with simulated time", "_PASS"},
        {Words::RequestComponentCBit, Sender::Server, Match::Anywhere, "",
         "starts the component CBIT of the unit", "_ACK, later _PASS or _FAIL"},
        {Words::RequestSystemCBit, Sender::Server, Match::Anywhere, "",
         "tells that the system CBIT runs", ""},
        {"QUERY_ZEPHON_COM", Sender::Server, Match::FirstField, ",UNIT,PORT",
         "tells what a port is set to", "CURRENT_ZEPHON_COM"},
        {"SET_ZEPHON_COM", Sender::Server, Match::FirstField,
         ",UNIT,PORT,TXBAUD,TXPARITY,PULSE,RXBAUD,RXPARITY,REDUNDANT,SOURCE",
         "sets a port's speeds, parities, pulse and source", "CURRENT_ZEPHON_COM or _NACK"},
        {"QUERY_ZEPHON_MESSAGE_OUTPUT", Sender::Server, Match::FirstField, ",UNIT,PORT",
         "tells which messages a port puts out", "CURRENT_ZEPHON_MESSAGE_OUTPUT"},
        {"SET_ZEPHON_MESSAGE_OUTPUT", Sender::Server, Match::FirstField,
         ",UNIT,PORT,MODE,MESSAGE[,MESSAGE...]", "sets a port's protocol and messages",
         "CURRENT_ZEPHON_MESSAGE_OUTPUT or _NACK"},
        {"QUERY_ZP_OUTPUT_CONFIG", Sender::Server, Match::FirstField, ",UNIT,PORT",
         "tells a port's receiver capabilities", "CURRENT_ZP_OUTPUT_CONFIG"},
        {"SET_ZP_OUTPUT_CONFIG", Sender::Server, Match::FirstField, ",UNIT,PORT,CAPABILITIES",
         "sets a port's receiver capabilities", "CURRENT_ZP_OUTPUT_CONFIG"},
        {"QUERY_ZEPHON_HOT_START", Sender::Server, Match::FirstField, "",
         "tells the stored hot-start settings", "CURRENT_ZEPHON_HOT_START"},
        {"SET_ZEPHON_HOT_START", Sender::Server, Match::FirstField, ",UNIT,PORT,TYPE",
         "sets what the human interface's hot start uses", "CURRENT_ZEPHON_HOT_START"},
        {"QUERY_ZEPHON_SUPER_USER", Sender::Server, Match::FirstField, "",
         "asks the unit for its super user", "_ACK, later CURRENT_ZEPHON_SUPER_USER"},
        {"SET_ZEPHON_SUPER_USER", Sender::Server, Match::FirstField, ",UNIT|NONE,PORT",
         "sets the super user", "_ACK or _NACK, later CURRENT_ZEPHON_SUPER_USER"},
        {Words::InitHotStart, Sender::Server, Match::FirstField, ",UNIT,PORT,TYPE",
         "starts a hot start", "_ACK or _NACK, later _PASS"},
        {Words::StartSystemZeroize, Sender::Server, Match::WholeText, "",
         "erases the unit's keys and data", "_ACK or _NACK, later COMPONENT_ZEROIZE_PASS or _FAIL"},
        {Words::StartSystemDestroy, Sender::Server, Match::WholeText, "",
         "the same under its other name", "_ACK or _NACK, later COMPONENT_DESTROY_PASS or _FAIL"},
        {"PNTD_SLIP", Sender::Server, Match::FirstField, "[,DEBUG]",
         "opens the IP channel to the PNT device", "_PASS or _FAIL"},
        {Words::InitSincgars, Sender::HumanInterface, Match::WholeText, "",
         "starts the SINCGARS procedure", ""},
        {Words::InitHotStart, Sender::HumanInterface, Match::WholeText, "",
         "starts a hot start with what is set", "_ACK or _NACK, later _PASS"},
    };
    return verbs;
}

std::string_view verbOf(std::string_view command) {
    return command.substr(0, command.find(','));
}

Verb const* findVerb(std::string_view command, Sender sender) {
    Verb const* first = nullptr;
    for (auto const& verb : vocabulary()) {
        if (verb.sender != sender) {
            continue;
        }
        if (verb.match == Match::Anywhere && command.find(verb.name) != std::string_view::npos) {
            return &verb;
        }
        if (verb.name == verbOf(command)) {
            first = &verb;
        }
    }
    return first;
}

bool isDestructive(std::string_view command) {
    return command.find("ZEROIZE") != std::string_view::npos ||
           command.find("DESTROY") != std::string_view::npos;
}

}  // namespace zephonctl
