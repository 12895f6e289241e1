#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ASPN/CmdResponseStrings.h"

namespace {

// Both names of a word, and its text as it travels.
struct Word {
    const std::string& global;
    const std::string& reference;
    const char* text;
};

// clang-format off
const std::vector<Word> verbs{
    {Sys_CommandString_SystemModeLive, Sys::CommandString::SystemModeLive, "SYSTEM_MODE_SELECT_LIVE"},
    {Sys_CommandString_SystemModeSim, Sys::CommandString::SystemModeSim, "SYSTEM_MODE_SELECT_SIMULATION"},
    {Sys_CommandString_QueryVersioning, Sys::CommandString::QueryVersioning, "QUERY_VERSIONING"},
    {Sys_CommandString_BitServerPing, Sys::CommandString::BitServerPing, "BITSERVER_PING"},
    {Sys_CommandString_BitServerReportClear, Sys::CommandString::BitServerReportClear, "BITSERVER_REPORT_CLEAR"},
    {Sys_CommandString_BitServerReportAppend, Sys::CommandString::BitServerReportAppend, "BITSERVER_REPORT_APPEND"},
    {Sys_CommandString_BitServerReportRemove, Sys::CommandString::BitServerReportRemove, "BITSERVER_REPORT_REMOVE"},
    {Sys_CommandString_RequestBitReport, Sys::CommandString::RequestBitReport, "REQUEST_BIT_REPORT"},
    {Sys_CommandString_RequestSystemCBit, Sys::CommandString::RequestSystemCBit, "REQUEST_CBIT"},
    {Sys_CommandString_RequestComponentCBit, Sys::CommandString::RequestComponentCBit, "REQUEST_COMPONENT_CBIT"},
    {Sys_CommandString_NavigatorCommand, Sys::CommandString::NavigatorCommand, "NAVIGATOR_COMMAND"},
    {Sys_CommandString_NavigatorStatus, Sys::CommandString::NavigatorStatus, "NAVIGATOR_STATUS"},
    {Sys_CommandString_QueryTrevoStatus, Sys::CommandString::QueryTrevoStatus, "QUERY_TREVO_STATUS"},
    {Sys_CommandString_TrevoSetStandby, Sys::CommandString::TrevoSetStandby, "TREVO_SET_STANDBY"},
    {Sys_CommandString_TrevoSetContinuous, Sys::CommandString::TrevoSetContinuous, "TREVO_SET_CONT"},
    {Sys_CommandString_TrevoCVZeroize, Sys::CommandString::TrevoCVZeroize, "TREVO_CV_ZEROIZE"},
    {Sys_CommandString_QueryCorvaneStatus, Sys::CommandString::QueryCorvaneStatus, "QUERY_CORVANE_STATUS"},
    {Sys_CommandString_SetCorvaneStatus, Sys::CommandString::SetCorvaneStatus, "SET_CORVANE_STATUS"},
    {Sys_CommandString_SystemEnvRerad, Sys::CommandString::SystemEnvRerad, "SYSTEM_ENV_RERAD"},
    {Sys_CommandString_SystemEnvLive, Sys::CommandString::SystemEnvLive, "SYSTEM_ENV_LIVE"},
    {Sys_CommandString_AltNavAssured, Sys::CommandString::AltNavAssured, "ALTNAV_ASSURED"},
    {Sys_CommandString_AltNavUnassured, Sys::CommandString::AltNavUnassured, "ALTNAV_UNASSURED"},
    {Sys_CommandString_AltNavNotAvail, Sys::CommandString::AltNavNotAvail, "ALTNAV_NOT_AVAILABLE"},
    {Sys_CommandString_InitSincgars, Sys::CommandString::InitSincgars, "INIT_SINCGARS"},
    {Sys_CommandString_InitHotStart, Sys::CommandString::InitHotStart, "INIT_HOTSTART"},
    {Sys_CommandString_InitWarmStart, Sys::CommandString::InitWarmStart, "INIT_WARMSTART"},
    {Sys_CommandString_InitDataTransferOutLNav, Sys::CommandString::InitDataTransferOutLNav, "INIT_DATA_TRANSFER_OUT_LNAV"},
    {Sys_CommandString_SetHmiBlackoutEnable, Sys::CommandString::SetHmiBlackoutEnable, "SET_BLACKOUT_ENABLED"},
    {Sys_CommandString_SetHmiBlackoutDisable, Sys::CommandString::SetHmiBlackoutDisable, "SET_BLACKOUT_DISABLED"},
    {Sys_CommandString_RequestZeroize, Sys::CommandString::RequestZeroize, "REQUEST_ZEROIZE"},
    {Sys_CommandString_RequestDestroy, Sys::CommandString::RequestDestroy, "REQUEST_DESTROY"},
    {Sys_CommandString_StartSystemZeroize, Sys::CommandString::StartSystemZeroize, "START_ZEROIZE"},
    {Sys_CommandString_StartSystemDestroy, Sys::CommandString::StartSystemDestroy, "START_DESTROY"},
    {Sys_CommandString_TrevoZeroize, Sys::CommandString::TrevoZeroize, "TREVO_ZEROIZE"},
    {Sys_CommandString_TrevoDestroy, Sys::CommandString::TrevoDestroy, "TREVO_DESTROY"},
    {Sys_CommandString_QueryPassthrough, Sys::CommandString::QueryPassthrough, "QUERY_PASSTHROUGH_STATE"},
    {Sys_CommandString_ServerStarted, Sys::CommandString::ServerStarted, "SERVER_STARTED"},
    {Sys_CommandString_ServerStopped, Sys::CommandString::ServerStopped, "SERVER_STOPPED"},
    {Sys_CommandString_RequestPartNumbers, Sys::CommandString::RequestPartNumbers, "REQUEST_PARTNUMBERS"},
    {Sys_CommandString_RequestTrevoDestroyStatus, Sys::CommandString::RequestTrevoDestroyStatus, "TREVO_DESTROY_STATUS"},
    {Sys_CommandString_RequestHalvorCompatibilityDesignation, Sys::CommandString::RequestHalvorCompatibilityDesignation, "GET_HALVOR_COMPAT_DESIGN"},
};

const std::vector<Word> responses{
    {Sys_ResponseString_Pass, Sys::ResponseString::Pass, "_PASS"},
    {Sys_ResponseString_Fail, Sys::ResponseString::Fail, "_FAIL"},
    {Sys_ResponseString_Ack, Sys::ResponseString::Ack, "_ACK"},
    {Sys_ResponseString_Nack, Sys::ResponseString::Nack, "_NACK"},
    {Sys_ResponseString_ComponentZeroize, Sys::ResponseString::ComponentZeroize, "COMPONENT_ZEROIZE"},
    {Sys_ResponseString_ComponentDestroy, Sys::ResponseString::ComponentDestroy, "COMPONENT_DESTROY"},
    {Sys_ResponseString_SystemZeroize, Sys::ResponseString::SystemZeroize, "SYSTEM_ZEROIZE"},
    {Sys_ResponseString_SystemDestroy, Sys::ResponseString::SystemDestroy, "SYSTEM_DESTROY"},
    {Sys_ResponseString_CbitResponse, Sys::ResponseString::CbitResponse, "CBIT_RESPONSE"},
    {Sys_ResponseString_PassthroughEnabled, Sys::ResponseString::PassthroughEnabled, "PASSTHROUGH_ENABLED"},
    {Sys_ResponseString_PassthroughDisabled, Sys::ResponseString::PassthroughDisabled, "PASSTHROUGH_DISABLED"},
    {Sys_ResponseString_CurrentTrevoStatus, Sys::ResponseString::CurrentTrevoStatus, "CURRENT_TREVO_STATUS"},
    {Sys_ResponseString_CurrentCorvaneStatus, Sys::ResponseString::CurrentCorvaneStatus, "CURRENT_CORVANE_STATUS"},
};
// clang-format on

// Made while the program's globals are made, as those of other files are.
const std::string copiedAtStart = Sys_CommandString_InitHotStart + Sys::ResponseString::Pass;

void expectBothForms(const std::vector<Word>& words) {
    for (const Word& word : words) {
        EXPECT_EQ(word.global, word.text);
        EXPECT_EQ(&word.global, &word.reference) << word.text << " exists twice";
    }
}

}  // namespace

TEST(CmdResponseStrings, HasEveryVerbInBothForms) {
    EXPECT_EQ(verbs.size(), 41u);
    expectBothForms(verbs);
}

TEST(CmdResponseStrings, HasEveryResponseWordInBothForms) {
    EXPECT_EQ(responses.size(), 13u);
    expectBothForms(responses);
}

TEST(CmdResponseStrings, HasNoTwoWordsWithTheSameText) {
    std::set<std::string> texts;
    for (const auto* words : {&verbs, &responses}) {
        for (const Word& word : *words) {
            EXPECT_TRUE(texts.insert(word.global).second) << word.global;
        }
    }
}

TEST(CmdResponseStrings, IsReadyBeforeTheGlobalsOfItsUsers) {
    EXPECT_EQ(copiedAtStart, "INIT_HOTSTART_PASS");
}

TEST(CmdResponseStrings, FormsAnAnswerByAnEnding) {
    EXPECT_EQ(Sys::CommandString::InitHotStart + Sys::ResponseString::Pass, "INIT_HOTSTART_PASS");
    EXPECT_EQ(Sys::CommandString::RequestZeroize + Sys::ResponseString::Ack, "REQUEST_ZEROIZE_ACK");
}
