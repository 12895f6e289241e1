#pragma once

#include "GpsSerialIo/GssipParser.h"
#include "tools/GssipSighting.h"

namespace gssipdump {

/// The frames in the bytes of a line, as the server's own parser finds them. What is skipped is
/// told before the frame behind it, and at the end.
class GssipStream final : public Finder, private IHandleGpsipMessages {
public:
    explicit GssipStream(Sink sink);

    void load(unsigned char const* bytes, std::size_t count) override;

    /// The parser waits for the rest of a frame that is in sight; frames within it are told now.
    void finish() override;

private:
    void OnGpsMessageReceived(unsigned char* frame, unsigned int length,
                              unsigned int context) override;
    void OnParserChecksumError(unsigned int context) override;

    void tellSkipped(std::uint64_t end);
    std::uint64_t consumed() const { return loaded_ - parser_.pending(); }

    Sink sink_;
    GssipParser parser_;
    std::uint64_t loaded_ = 0;
    std::uint64_t told_ = 0;             // all before is told
    std::vector<unsigned char> recent_;  // the last bytes that were loaded, as far as needed
};

}  // namespace gssipdump
