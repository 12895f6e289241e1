#pragma once

#include <string>

#include "messages/PntdMessages.h"

/// What the PNT device's messages about its built-in tests say, as texts and decisions. Nothing
/// here reports, sends or locks.
namespace PNTDBIT {

/// A data transfer of the unit, as the event log tells it; of a status of that kind.
std::string describeDataTransfer(PntdStatusMsg const& status);

}  // namespace PNTDBIT
