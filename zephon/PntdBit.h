#pragma once

#include <string>

#include "PCSMaintReporter/MaintenanceTypes.h"
#include "messages/PntdMessages.h"

/// What the PNT device's messages about its built-in tests say, as texts and decisions. Nothing
/// here reports, sends or locks; a text goes behind the server's name but where it is told.
namespace PNTDBIT {

inline constexpr char const* pntdBitLogHeader = "PNTD BIT=";
inline constexpr char const* pntdPass = "PNTD:Pass";
inline constexpr char const* pntdFail = "PNTD:Fail";
inline constexpr char const* sysPass = "SYS:Pass";
inline constexpr char const* sysFail = "SYS:Fail";
inline constexpr char const* postPass = "POST:Pass";
inline constexpr char const* postFail = "POST:Fail";
inline constexpr char const* bbitPass = "BBIT:Pass";
inline constexpr char const* bbitFail = "BBIT:Fail";
inline constexpr char const* cbitPass = "CBIT:Pass";
inline constexpr char const* cbitFail = "CBIT:Fail";

/// "POST", "BBIT" or "CBIT"; nothing for none of them.
char const* bitTypeName(ePntD_BitType type);

/// "NoFlt", "Intrm" or "Hard"; nothing for the status 3.
char const* faultStatusName(ePntD_FaultType status);

/// How the maintenance log calls the kind of test that has found a fault.
ASPN2::Maintenance::Category::eCat maintenanceCategory(ePntD_BitType type);

/// A message that is not as long as it must be, or whose flags contradict each other.
std::string describeUndecodable(char const* messageName, unsigned id);
std::string describeInvalid(char const* messageName, unsigned id);

/// A data transfer of the unit; of a 27532 of that kind. The whole line, without a name in front.
std::string describeDataTransfer(PntdStatusMsg const& status);

/// The four results of a 27535, true is failed, behind the server's name. Takes memory once.
std::string describeRollup(std::string const& server, bool sys, bool post, bool bbit, bool cbit);

/// All entries of a 27535, a line for each. For the console, without a name in front.
std::string describeEntries(Received<PntdBitStatusMsg> const& status);

/// Whether the flags of a report agree with each other.
bool isValid(PntdFaultReportMsg const& report);
bool isValid(PntdLogReportMsg const& report);

std::string describe(PntdFaultReportMsg const& report);
/// The line of the event log.
std::string describe(PntdLogReportMsg const& report);
/// All else in it, for the console.
std::string describeOrigin(PntdLogReportMsg const& report);

/// What a 27536 has brought, a line for each label. For the console.
std::string describe(Received<PntdFaultLabelsMsg> const& labels);

}  // namespace PNTDBIT
