#pragma once

#include "bench/Bench.h"
#include "zephon/ZephonServer.h"

namespace benchmarks {

/// A server in the process that measures, on the devices of a bench. Both raise
/// std::runtime_error when the server refuses.

/// Configures and connects it. Changes the environment: to be called before other threads start.
void connect(ZephonServer& server, bench::Bench& bench);

/// Starts it; without a connect it has no links.
void start(ZephonServer& server);

}  // namespace benchmarks
