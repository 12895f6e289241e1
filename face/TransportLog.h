#pragma once

namespace FACE::TSS::Details {

/// Sends what the transport library has to report, as plain lines "FastRTPS error [category] text",
/// to standard error; by itself it writes to standard output, with colour codes. For the whole
/// process; further calls do nothing. Any thread.
void logTransportToStandardError();

}  // namespace FACE::TSS::Details
