#pragma once

#include "tools/GssipSighting.h"

namespace gssipdump {

/// The records in the bytes of a queue device, which stand one behind the other without a mark
/// between them. Bytes that are no record are skipped until one begins again.
class GssipQueue final : public Finder {
public:
    explicit GssipQueue(Sink sink);

    void load(unsigned char const* bytes, std::size_t count) override;
    void finish() override;

private:
    void walk(bool ended);
    void tellSkipped(std::uint64_t end);

    Sink sink_;
    std::vector<unsigned char> pending_;
    std::uint64_t offset_ = 0;   // of the first pending byte
    std::uint64_t skipped_ = 0;  // bytes in front of it that are no record and not told
};

}  // namespace gssipdump
