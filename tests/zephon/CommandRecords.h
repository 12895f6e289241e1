#pragma once

#include <string>

#include "aspn2_msgs/CommandResponse.h"

/// Commands as the topic delivers them.

constexpr unsigned char humanInterface = 48;
constexpr unsigned char controller = 53;

inline aspn2_msgs::idl::CommandResponse makeCommandRecord(std::string const& text,
                                                          unsigned char sender) {
    aspn2_msgs::idl::CommandResponse record;
    record.header().device_id(0x03000200 | sender << 16);
    record.command_response(text);
    return record;
}
