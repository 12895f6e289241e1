#pragma once

#include <string>

#include "bench/RunFigures.h"
#include "bench/UnitModel.h"

namespace bench {

/// The block that a terminal shows, a fixed number of lines.
std::string liveBlock(const RunFigures& figures);

/// The same on one line, for a log.
std::string liveLine(const RunFigures& figures);

/// The records of each queue, such as "DT_IN 3, PNTD_MX 12"; what carried none is not named.
std::string queueTraffic(const RunFigures& figures);

/// The text without what would move a terminal's cursor, cut where it gets tedious.
std::string printable(const std::string& text);

/// The frames of one link by message id, such as "120 x 15050 fused solution".
std::string framesById(const UnitModel::Statistics& statistics);

}  // namespace bench
