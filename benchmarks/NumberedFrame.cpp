#include "benchmarks/NumberedFrame.h"

namespace benchmarks {

void NumberedFrame::fill(std::uint16_t* data) const {
    data[0] = link;
    data[1] = static_cast<std::uint16_t>(number);
    data[2] = static_cast<std::uint16_t>(number >> 16);
    for (std::size_t i = 3; i < dataWords; ++i) {
        data[i] = static_cast<std::uint16_t>(number * dataWords + i);
    }
}

bench::UnitFrame NumberedFrame::frame() const {
    bench::UnitFrame made;
    made.id = id;
    made.data.resize(dataWords);
    fill(made.data.data());
    return made;
}

std::optional<NumberedFrame> NumberedFrame::read(bench::UnitFrame const& frame) {
    if (frame.data.size() != dataWords) {
        return std::nullopt;
    }
    NumberedFrame const found{frame.data[0], frame.data[1] | std::uint32_t{frame.data[2]} << 16};
    bench::UnitFrame const wanted = found.frame();
    if (frame.id != wanted.id || frame.flags != wanted.flags || frame.data != wanted.data) {
        return std::nullopt;
    }
    return found;
}

std::optional<NumberedFrame> NumberedFrame::read(std::vector<std::uint8_t> const& bytes) {
    auto const frame = bench::decodeFrame(bytes.data(), bytes.size());
    return frame ? read(*frame) : std::nullopt;
}

}  // namespace benchmarks
