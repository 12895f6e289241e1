#include "face/WanAddress.h"

#include <sstream>

namespace FACE::TSS {

std::array<std::uint8_t, 4> wanAddressOf(std::string const& text) {
    std::array<int, 4> numbers{};
    char between = 0;
    std::istringstream stream(text);
    stream >> numbers[0] >> between >> numbers[1] >> between >> numbers[2] >> between >> numbers[3];
    std::array<std::uint8_t, 4> address{};
    for (std::size_t part = 0; part < address.size(); ++part) {
        address.at(part) = static_cast<std::uint8_t>(numbers.at(part));
    }
    return address;
}

}  // namespace FACE::TSS
