#include "zephon/PntdBit.h"

namespace PNTDBIT {
namespace {

char const* transferOutcome(PntdStatusMsg const& status) {
    switch (status.get<PntdStatusMsg::TransferOutcome>()) {
        case PntdStatusMsg::transferInProgress:
            return "In Progress";
        case PntdStatusMsg::transferFailed:
            return "Failed";
        case PntdStatusMsg::transferPassed:
            return "Passed";
        default:
            return "NA";
    }
}

}  // namespace

std::string describeDataTransfer(PntdStatusMsg const& status) {
    return "Data Transfer Status ZP:" + std::to_string(status.get<PntdStatusMsg::TransferUnit>()) +
           " COM" + std::to_string(status.get<PntdStatusMsg::TransferPort>()) + " " +
           transferOutcome(status);
}

}  // namespace PNTDBIT
