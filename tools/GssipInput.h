#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace gssipdump {

/// Where bytes come from.
struct InputOptions {
    std::string file = "-";  ///< "-" is standard input
    std::string device;      ///< a serial device in place of the file
    std::int32_t baud = 115200;
    std::uint16_t parity = 0;  ///< 0 none, 1 odd, 2 even
};

/// Reads to the end of the input, a hang-up, SIGINT or SIGTERM, and hands over what comes as it
/// comes, until `take` returns false. Raises std::runtime_error, with a text for the user, when
/// the input cannot be opened, set up or read. For the one thread of a program.
void readInput(InputOptions const& options,
               std::function<bool(unsigned char const* bytes, std::size_t count)> const& take);

}  // namespace gssipdump
