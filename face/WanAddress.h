#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace FACE::TSS {

/// The address under which a TCP server is reached from other networks, of a text such as
/// "10.20.30.40": four numbers with any one character between two. What is no number counts as 0,
/// as does all behind it, and of a larger number its low 8 bits count. No state, any thread.
std::array<std::uint8_t, 4> wanAddressOf(std::string const& text);

}  // namespace FACE::TSS
