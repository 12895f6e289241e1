#pragma once

#include <cstdint>
#include <string>

#include <fastrtps/participant/Participant.h>

namespace bench {

/// How a peer meets the others.
struct TopicOptions {
    std::string name = "TopicPeer";
    unsigned domain = 0;
    std::string transport = "SHM";  ///< of this side
    std::string address = "127.0.0.1";
    std::uint16_t port = 5100;
    int historyDepth = 20;
    bool bestEffort = false;
};

/// The participant with the transport of this side of the wire, which knows all record types. Null
/// when the library makes none.
eprosima::fastrtps::Participant* createParticipant(const TopicOptions& options);

/// Has the library write its own lines to standard error: standard output is for answers.
void keepLibraryOffStandardOutput();

}  // namespace bench
