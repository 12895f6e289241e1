#pragma once

/// The numbers in a MaintenanceEvent that this server sets. Their values are the maintenance
/// log's; those without a name here are cast from the number.
namespace ASPN2::Maintenance {

namespace Criticality {
enum eCrit : int {
    UNSPECIFIED = 0,
    UNIT_FAULT = 4  ///< a fault that a unit's own test has found
};
}  // namespace Criticality

namespace Outcome {
enum eOutcome : int {
    UNSPECIFIED = 0,
    UNIT_FAULT = 3  ///< as the criticality of that name
};
}  // namespace Outcome

/// Which test has found the fault.
namespace Category {
enum eCat : int {
    UNSPECIFIED = 0,
    POST = 3,  ///< power-on self-test
    CBIT = 5,  ///< commanded built-in test
    BBIT = 7   ///< background built-in test
};
}  // namespace Category

/// A replaceable unit.
namespace LRU {
enum eLru : int { NONE = 0, UNIT_1 = 1, UNIT_2 = 2, UNIT_3 = 3 };
}  // namespace LRU

/// A component of a replaceable unit.
namespace Component {
enum eCmpo : int { NONE = 0 };
}  // namespace Component

}  // namespace ASPN2::Maintenance
