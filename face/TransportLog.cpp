#include "face/TransportLog.h"

#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include <fastdds/dds/log/Log.hpp>

namespace FACE::TSS::Details {

namespace {

using eprosima::fastdds::dds::Log;

/// Called by the library's log thread only.
class PlainLines : public eprosima::fastdds::dds::LogConsumer {
public:
    void Consume(Log::Entry const& entry) override {
        char const* const kind = entry.kind == Log::Error ? "error" : "warning";
        char const* const category = entry.context.category;
        // In one piece, so that other threads' lines do not come between.
        std::cerr << std::string("FastRTPS ") + kind + " [" +
                         (category == nullptr ? "" : category) + "] " + entry.message + '\n';
    }
};

}  // namespace

void logTransportToStandardError() {
    static std::once_flag once;
    std::call_once(once, [] {
        Log::ClearConsumers();
        Log::RegisterConsumer(std::make_unique<PlainLines>());
    });
}

}  // namespace FACE::TSS::Details
