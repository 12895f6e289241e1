#pragma once

#include <functional>

#include "face/ReturnCode.h"

/// Runs one life-cycle call until it stops answering `IN_PROGRESS`, with `transactionPollMs`
/// between two tries and no limit on their number. The code is the last answer. An empty
/// function raises `std::bad_function_call`.
void callOnceTransactionally(std::function<void(FACE::RETURN_CODE_TYPE::Value&)> const& call,
                             FACE::RETURN_CODE_TYPE::Value& code);

/// Delay between two tries, in milliseconds; 0 or less tries again at once. Set before the
/// walk begins, by its thread alone.
extern int transactionPollMs;
