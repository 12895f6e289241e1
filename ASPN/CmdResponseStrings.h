#pragma once

#include <string>

/// The vocabulary of the topics `Command` and `Response`: every verb and every response word,
/// each as a global string `Sys_CommandString_X` and, where that reads better, as a reference to
/// it, `Sys::CommandString::X` (`Sys_ResponseString_X`, `Sys::ResponseString::X`).
///
/// A verb is the text before the first comma of a command; the answer to it is the verb with an
/// ending: "INIT_HOTSTART" done is "INIT_HOTSTART_PASS", "REQUEST_ZEROIZE" taken on is
/// "REQUEST_ZEROIZE_ACK".
///
/// Constant, so any thread may read. Being defined here, a word exists before every global object
/// whose source file includes this header, and outlives it.

// One line for each word makes both of its names, which thereby cannot drift apart.
// NOLINTBEGIN(bugprone-macro-parentheses): a name that is declared takes none.
#define SYS_WORD(kind, name, text)                                  \
    inline const std::string Sys_##kind##_##name = text;            \
    namespace Sys::kind {                                           \
    inline constexpr const std::string& name = Sys_##kind##_##name; \
    }
// NOLINTEND(bugprone-macro-parentheses)

// clang-format off

// What a server is asked to do.
SYS_WORD(CommandString, SystemModeLive, "SYSTEM_MODE_SELECT_LIVE")
SYS_WORD(CommandString, SystemModeSim, "SYSTEM_MODE_SELECT_SIMULATION")
SYS_WORD(CommandString, QueryVersioning, "QUERY_VERSIONING")
SYS_WORD(CommandString, BitServerPing, "BITSERVER_PING")
SYS_WORD(CommandString, BitServerReportClear, "BITSERVER_REPORT_CLEAR")
SYS_WORD(CommandString, BitServerReportAppend, "BITSERVER_REPORT_APPEND")
SYS_WORD(CommandString, BitServerReportRemove, "BITSERVER_REPORT_REMOVE")
SYS_WORD(CommandString, RequestBitReport, "REQUEST_BIT_REPORT")
SYS_WORD(CommandString, RequestSystemCBit, "REQUEST_CBIT")
SYS_WORD(CommandString, RequestComponentCBit, "REQUEST_COMPONENT_CBIT")
SYS_WORD(CommandString, NavigatorCommand, "NAVIGATOR_COMMAND")
SYS_WORD(CommandString, NavigatorStatus, "NAVIGATOR_STATUS")
SYS_WORD(CommandString, QueryTrevoStatus, "QUERY_TREVO_STATUS")
SYS_WORD(CommandString, TrevoSetStandby, "TREVO_SET_STANDBY")
SYS_WORD(CommandString, TrevoSetContinuous, "TREVO_SET_CONT")
SYS_WORD(CommandString, TrevoCVZeroize, "TREVO_CV_ZEROIZE")
SYS_WORD(CommandString, QueryCorvaneStatus, "QUERY_CORVANE_STATUS")
SYS_WORD(CommandString, SetCorvaneStatus, "SET_CORVANE_STATUS")
SYS_WORD(CommandString, SystemEnvRerad, "SYSTEM_ENV_RERAD")
SYS_WORD(CommandString, SystemEnvLive, "SYSTEM_ENV_LIVE")
SYS_WORD(CommandString, AltNavAssured, "ALTNAV_ASSURED")
SYS_WORD(CommandString, AltNavUnassured, "ALTNAV_UNASSURED")
SYS_WORD(CommandString, AltNavNotAvail, "ALTNAV_NOT_AVAILABLE")
SYS_WORD(CommandString, InitSincgars, "INIT_SINCGARS")
SYS_WORD(CommandString, InitHotStart, "INIT_HOTSTART")
SYS_WORD(CommandString, InitWarmStart, "INIT_WARMSTART")
SYS_WORD(CommandString, InitDataTransferOutLNav, "INIT_DATA_TRANSFER_OUT_LNAV")
SYS_WORD(CommandString, SetHmiBlackoutEnable, "SET_BLACKOUT_ENABLED")
SYS_WORD(CommandString, SetHmiBlackoutDisable, "SET_BLACKOUT_DISABLED")
SYS_WORD(CommandString, RequestZeroize, "REQUEST_ZEROIZE")
SYS_WORD(CommandString, RequestDestroy, "REQUEST_DESTROY")
SYS_WORD(CommandString, StartSystemZeroize, "START_ZEROIZE")
SYS_WORD(CommandString, StartSystemDestroy, "START_DESTROY")
SYS_WORD(CommandString, TrevoZeroize, "TREVO_ZEROIZE")
SYS_WORD(CommandString, TrevoDestroy, "TREVO_DESTROY")
SYS_WORD(CommandString, QueryPassthrough, "QUERY_PASSTHROUGH_STATE")
SYS_WORD(CommandString, ServerStarted, "SERVER_STARTED")
SYS_WORD(CommandString, ServerStopped, "SERVER_STOPPED")
SYS_WORD(CommandString, RequestPartNumbers, "REQUEST_PARTNUMBERS")
SYS_WORD(CommandString, RequestTrevoDestroyStatus, "TREVO_DESTROY_STATUS")
SYS_WORD(CommandString, RequestHalvorCompatibilityDesignation, "GET_HALVOR_COMPAT_DESIGN")

// Endings of answers, then words of their own.
SYS_WORD(ResponseString, Pass, "_PASS")
SYS_WORD(ResponseString, Fail, "_FAIL")
SYS_WORD(ResponseString, Ack, "_ACK")
SYS_WORD(ResponseString, Nack, "_NACK")
SYS_WORD(ResponseString, ComponentZeroize, "COMPONENT_ZEROIZE")
SYS_WORD(ResponseString, ComponentDestroy, "COMPONENT_DESTROY")
SYS_WORD(ResponseString, SystemZeroize, "SYSTEM_ZEROIZE")
SYS_WORD(ResponseString, SystemDestroy, "SYSTEM_DESTROY")
SYS_WORD(ResponseString, CbitResponse, "CBIT_RESPONSE")
SYS_WORD(ResponseString, PassthroughEnabled, "PASSTHROUGH_ENABLED")
SYS_WORD(ResponseString, PassthroughDisabled, "PASSTHROUGH_DISABLED")
SYS_WORD(ResponseString, CurrentTrevoStatus, "CURRENT_TREVO_STATUS")
SYS_WORD(ResponseString, CurrentCorvaneStatus, "CURRENT_CORVANE_STATUS")

// clang-format on

#undef SYS_WORD
