// The least memory that the server's topics can cost: one participant with the same nine topics
// and the same attributes, whose records are taken and dropped.
//
//     memory_floor DOMAIN TRANSPORT HISTORY_DEPTH

#include <cstdio>
#include <exception>

#include "aspn2_msgs/BitReport.h"
#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/EventLog.h"
#include "aspn2_msgs/GPSTime.h"
#include "aspn2_msgs/MaintenanceEvent.h"
#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/PositionVelocity.h"
#include "aspn2_msgs/UTCTime.h"
#include "benchmarks/FloorTransport.h"

namespace benchmarks {
namespace {

namespace idl = aspn2_msgs::idl;

struct Drop {
    template <class Record>
    void operator()(Record const& /*record*/) const {}
};

template <class Record>
using Dropping = FloorListener<Record, Drop>;

void run(FloorSettings const& settings) {
    blockEndSignals();
    Dropping<idl::CommandResponse> commands{Drop{}};
    Dropping<idl::EventLog> events{Drop{}};
    Dropping<idl::GPSTime> gpsTimes{Drop{}};
    Dropping<idl::MeridanePNT> solutions{Drop{}};
    Dropping<idl::PositionVelocity> positions{Drop{}};
    Dropping<idl::UTCTime> utcTimes{Drop{}};
    Dropping<idl::BitReport> bitReports{Drop{}};
    FloorParticipant participant(settings);
    participant.subscribe<idl::CommandResponse>("Command", commands);
    participant.subscribe<idl::CommandResponse>("Response", commands);
    participant.subscribe<idl::EventLog>("EventLog", events);
    participant.subscribe<idl::GPSTime>("GPSTime", gpsTimes);
    participant.subscribe<idl::MeridanePNT>("MeridanePNT", solutions);
    participant.subscribe<idl::PositionVelocity>("PositionVelocity", positions);
    participant.subscribe<idl::UTCTime>("UTCTime", utcTimes);
    participant.subscribe<idl::BitReport>("BitReport", bitReports);
    participant.publish<idl::CommandResponse>("Command");
    participant.publish<idl::CommandResponse>("Response");
    participant.publish<idl::EventLog>("EventLog");
    participant.publish<idl::MaintenanceEvent>("MaintenanceEvent");
    announceReady();
    waitForEndSignal();
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    try {
        benchmarks::run(benchmarks::parseFloorSettings(argc, argv));
    } catch (std::exception const& error) {
        std::fprintf(stderr, "memory_floor: %s\n", error.what());
        return 1;
    }
    return 0;
}
