#pragma once

#include <array>
#include <string_view>

/// One message identifier that the server sends, takes or hands on.
struct KnownMessage {
    unsigned id;
    std::string_view title;
    std::string_view direction;
    std::string_view layout;  ///< name of the declared layout; empty when nothing reads its data
};

/// All of them, by identifier. The table in docs/wire.md tells more about each.
inline constexpr std::array knownMessages{
    KnownMessage{2516, "state of the anti-jam unit", "from the anti-jam unit", "AjasStatusLayout"},
    KnownMessage{2518, "part numbers of the anti-jam unit", "from the anti-jam unit",
                 "DigarPnLayout"},
    KnownMessage{5000, "request of a data transfer", "to the engine", "Trevo5000Layout"},
    KnownMessage{5001, "command", "to and from the engine", "TrevoCommandLayout"},
    KnownMessage{5040, "state of the engine", "from the engine", "Trevo5040Layout"},
    KnownMessage{5044, "status with text", "from the engine and the unit, and to the unit",
                 "Trevo5044Layout"},
    KnownMessage{5047, "handed on as it comes", "from the engine", ""},
    KnownMessage{5048, "handed on as it comes", "from the engine", ""},
    KnownMessage{5103, "data transfer", "to the unit", ""},
    KnownMessage{5104, "data transfer", "to the unit", ""},
    KnownMessage{5120, "data transfer", "to the unit", ""},
    KnownMessage{5121, "data transfer", "to the unit", ""},
    KnownMessage{5122, "data transfer", "to the unit", ""},
    KnownMessage{5123, "data transfer", "to the unit", ""},
    KnownMessage{5124, "data transfer", "to the unit", ""},
    KnownMessage{5125, "data transfer", "to the unit", ""},
    KnownMessage{5126, "data transfer", "to the unit", ""},
    KnownMessage{5134, "data transfer", "to the unit", ""},
    KnownMessage{5135, "data transfer", "to the unit", ""},
    KnownMessage{5331, "serial port configuration of the engine", "to the unit",
                 "TrevocomPortSetupLayout"},
    KnownMessage{5406, "handed on as it comes", "from the engine", ""},
    KnownMessage{8015, "data transfer", "to the unit", ""},
    KnownMessage{8040, "state of the receiver", "from the engine", "Trevo8040Layout"},
    KnownMessage{8080, "handed on as it comes", "from the engine", ""},
    KnownMessage{8504, "time mark", "from the engine, and to the unit", "Trevo8504Layout"},
    KnownMessage{9391, "kept as it comes", "from the engine", "Trevo9391Layout"},
    KnownMessage{15050, "fused navigation solution", "to the unit", "OstrelPvtLayout"},
    KnownMessage{15051, "threats", "from the anti-jam unit, and to the unit", "ThreatDataLayout"},
    KnownMessage{15052, "alternate navigation solution", "to the unit", "AltNavPvtLayout"},
    KnownMessage{15053, "part numbers", "to the unit", "MxPartNumLayout"},
    KnownMessage{15054, "part numbers of the anti-jam unit", "to the unit", "DigarPnLayout"},
    KnownMessage{27530, "command to the PNT device", "to the unit", "PntDBitCmdMsg"},
    KnownMessage{27531, "state of the computer", "to the unit", "CorvaneStatusMsg"},
    KnownMessage{27532, "status of the PNT device", "from the unit", "PntdStatusMsg"},
    KnownMessage{27533, "fault report of the PNT device", "from the unit", "PntdFaultReportMsg"},
    KnownMessage{27534, "log report of the PNT device", "from the unit", "PntdLogReportMsg"},
    KnownMessage{27535, "BIT status of the PNT device", "from the unit", "PntdBitStatusMsg"},
    KnownMessage{27536, "fault labels of the PNT device", "from the unit", "PntdFaultLabelsMsg"},
    KnownMessage{27552, "frame to and from one virtual unit", "to the unit", "PntdWrapLayout"},
    KnownMessage{27553, "frame to and from one virtual unit", "from the unit", "PntdWrapLayout"},
    KnownMessage{27558, "identifiers of the PNT device", "from the unit", "PntdIdMsg"},
    KnownMessage{27560, "configuration command", "to the unit", "ConfigCmdLayout"},
    KnownMessage{27561, "configuration status", "from the unit", "ConfigStatusLayout"},
    KnownMessage{30000, "receiver status", "to the unit", "Crm30000Layout"},
    KnownMessage{30001, "connection of messages to ports", "to the unit", "Crm30001Layout"},
};
