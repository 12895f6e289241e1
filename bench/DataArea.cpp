#include "bench/DataArea.h"

namespace bench {

DataArea dataArea(const UnitFrame& frame) {
    DataArea area;
    area.reserve(frame.data.size() * 2);
    for (const std::uint16_t word : frame.data) {
        area.push_back(static_cast<std::uint8_t>(word));
        area.push_back(static_cast<std::uint8_t>(word >> 8));
    }
    return area;
}

std::vector<std::string> frameDefects(const UnitFrame& frame, std::uint16_t id, std::uint16_t flags,
                                      const DataArea& expected,
                                      const std::vector<FieldPlace>& places) {
    std::vector<std::string> defects;
    if (frame.id != id) {
        defects.push_back("message id is " + std::to_string(frame.id));
    }
    if (frame.flags != flags) {
        defects.push_back("flag word is " + std::to_string(frame.flags));
    }
    if (frame.data.size() * 2 != expected.size()) {
        defects.push_back("data words: " + std::to_string(frame.data.size()));
    }
    DataArea found = dataArea(frame);
    found.resize(expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (found[i] == expected[i]) {
            continue;
        }
        const char* name = "";
        for (const FieldPlace& place : places) {
            name = place.begin <= i ? place.name : name;
        }
        defects.push_back("byte " + std::to_string(i) + " (" + name + ") is " +
                          hexadecimal({found[i]}) + ", not " + hexadecimal({expected[i]}));
    }
    return defects;
}

}  // namespace bench
