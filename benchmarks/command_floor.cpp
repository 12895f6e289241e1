// The least that a command and its answer can cost: the listener of one topic publishes a record
// of the same size on another.
//
//     command_floor DOMAIN TRANSPORT HISTORY_DEPTH

#include <cstdio>
#include <exception>

#include "aspn2_msgs/CommandResponse.h"
#include "benchmarks/FloorTransport.h"

namespace benchmarks {
namespace {

using aspn2_msgs::idl::CommandResponse;

struct Answer {
    eprosima::fastrtps::Publisher& responses;

    void operator()(CommandResponse command) const {
        command.command_response_type(aspn2_msgs::idl::COMMAND_RESPONSE_TYPE_RESPONSE);
        responses.write(&command);
    }
};

void run(FloorSettings const& settings) {
    blockEndSignals();
    FloorParticipant participant(settings);
    FloorListener<CommandResponse, Answer> commands{
        Answer{participant.publish<CommandResponse>("Response")}};
    participant.subscribe<CommandResponse>("Command", commands);
    announceReady();
    waitForEndSignal();
    // The participant uses the listener to its end, and is made before it.
    participant.close();
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    try {
        benchmarks::run(benchmarks::parseFloorSettings(argc, argv));
    } catch (std::exception const& error) {
        std::fprintf(stderr, "command_floor: %s\n", error.what());
        return 1;
    }
    return 0;
}
