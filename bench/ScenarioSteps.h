#pragma once

#include "bench/Scenario.h"
#include "bench/ScenarioWords.h"

namespace bench::scenario {

/// Reads what a step does, from its verb to the end of the line. Raises LineError.
Step::Action takeAction(Words& words);

}  // namespace bench::scenario
