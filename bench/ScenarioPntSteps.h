#pragma once

#include "bench/Scenario.h"
#include "bench/ScenarioWords.h"

namespace bench::scenario {

/// What follows the verb "pntd". Raises LineError for what cannot be read.
Step::Action takePntDeviceStep(Words& words);

}  // namespace bench::scenario
