#pragma once

#include <stdexcept>

namespace bench {

/// Why a step of a scenario failed: ends the run from inside the step.
class StepFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace bench
