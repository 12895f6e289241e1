#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "tests/GpsSerialIo/ParserOracle.h"
#include "tests/GpsSerialIo/ParserTraffic.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned streams = 40000;  // instrumented code is up to ten times slower
#else
constexpr unsigned streams = 240000;
#endif

/// Everything that happens to a parser, so that two can be given the same.
struct Script {
    Bytes stream;
    std::vector<std::size_t> pieces;  ///< lengths, in sum that of the stream
    std::size_t throwEvery = 0;
    std::size_t handlerFromCall = 0;  ///< no handler before
    std::size_t resetBeforeCall = static_cast<std::size_t>(-1);
};

template <class Parser>
std::vector<ParserEvent> play(const Script& script) {
    Parser parser;
    EventLog log;
    log.throwEvery = script.throwEvery;
    const unsigned char* at = script.stream.data();
    for (std::size_t i = 0; i < script.pieces.size(); ++i) {
        if (i == script.handlerFromCall) {
            parser.ProcessMessagesWithThis(&log, 17);
        }
        if (i == script.resetBeforeCall) {
            parser.reset();
        }
        loadPiece(parser, log, at, script.pieces[i]);
        at += script.pieces[i];
    }
    // A handler that throws leaves bytes behind; empty calls get them all.
    std::size_t before = 0;
    do {
        before = log.events.size();
        loadPiece(parser, log, at, 0);
    } while (log.events.size() != before);
    return std::move(log.events);
}

class StreamMaker {
public:
    explicit StreamMaker(unsigned seed) : random_(seed) {}

    Script script() {
        Script script;
        const unsigned parts = 1 + below(16);
        for (unsigned i = 0; i < parts; ++i) {
            script.stream += part(0);
        }
        if (below(3) == 0) {  // completes the false starts that still wait
            script.stream += Bytes(500, 0x00) + frameBytes(5047, data(0));
        }
        if (below(2) == 0) {
            mutate(script.stream);
        }
        script.pieces = pieces(script.stream.size());
        script.throwEvery = below(6) == 0 ? 1 + below(4) : 0;
        script.handlerFromCall = below(20) == 0 ? below(4) : 0;
        if (below(20) == 0) {
            script.resetBeforeCall = below(8);
        }
        return script;
    }

private:
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    unsigned char byte() { return static_cast<unsigned char>(below(256)); }

    Bytes noise(unsigned length) {
        Bytes bytes(length);
        std::generate(bytes.begin(), bytes.end(), [this] { return byte(); });
        return bytes;
    }

    /// Data of a frame: noise, or whole parts, so that frames stand inside frames.
    Bytes data(unsigned depth) {
        Bytes bytes;
        if (depth < 4 && below(2) == 0) {
            const unsigned parts = 1 + below(3);
            for (unsigned i = 0; i < parts; ++i) {
                bytes += part(depth + 1);
            }
        } else {
            bytes = noise(below(60));
        }
        if (bytes.size() % 2 != 0) {
            bytes.push_back(byte());
        }
        return bytes;
    }

    Bytes part(unsigned depth) {
        switch (below(12)) {
            case 0:
                return noise(below(30));
            case 1:
                return Bytes(below(12), 0xFF);
            case 2:
                return ffsAnd81s();
            case 3:
                return headerBytes(static_cast<std::uint16_t>(below(65536)), 0);
            case 4:  // a false start that holds what follows
                return headerBytes(5001, static_cast<std::uint16_t>(below(200)));
            case 5:
                return headerBytes(
                    5001, static_cast<std::uint16_t>(below(8) == 0 ? below(65536) : below(20)));
            case 6: {  // bad data checksum, but good headers inside
                Bytes frame = frameBytes(5044, data(depth));
                frame.back() = static_cast<unsigned char>(frame.back() ^ (1U << below(8)));
                return frame;
            }
            case 7: {  // header checksum off by one bit
                Bytes frame = frameBytes(5045, data(depth));
                frame[2 + below(8)] ^= static_cast<unsigned char>(1U << below(8));
                return frame;
            }
            case 8: {  // truncated
                Bytes frame = frameBytes(5046, data(depth));
                frame.resize(1 + below(static_cast<unsigned>(frame.size())));
                return frame;
            }
            case 9:
                return overlappingHeaders();
            default:
                return frameBytes(static_cast<std::uint16_t>(below(65536)), data(depth));
        }
    }

    Bytes ffsAnd81s() {
        Bytes bytes(below(24));
        std::generate(bytes.begin(), bytes.end(), [this] { return below(2) == 0 ? 0xFF : 0x81; });
        return bytes;
    }

    /// Words of period five with sum zero: every place that holds 0x81FF starts a good header.
    Bytes overlappingHeaders() {
        std::uint16_t words[GSSIP_HEADER_WORDS] = {0x81FF, 0x81FF, 0, 0, 0};
        words[2] = static_cast<std::uint16_t>(below(30));
        words[3] = static_cast<std::uint16_t>(below(30));
        words[4] = CalculateChecksum(words, 0, 3);
        Bytes bytes;
        const unsigned count = 5 + below(40);
        for (unsigned i = 0; i < count; ++i) {
            const unsigned word = words[i % GSSIP_HEADER_WORDS];
            bytes.push_back(static_cast<unsigned char>(word & 0xFF));
            bytes.push_back(static_cast<unsigned char>(word >> 8));
        }
        return bytes;
    }

    void mutate(Bytes& bytes) {
        for (unsigned i = 1 + below(6); i != 0 && !bytes.empty(); --i) {
            const auto at = bytes.begin() + below(static_cast<unsigned>(bytes.size()));
            switch (below(4)) {
                case 0:
                    bytes.erase(at);
                    break;
                case 1:
                    bytes.insert(at, byte());
                    break;
                default:
                    *at = static_cast<unsigned char>(*at ^ (1U << below(8)));
            }
        }
    }

    std::vector<std::size_t> pieces(std::size_t total) {
        static constexpr unsigned limits[] = {1, 3, 17, 128, 65535};
        const unsigned limit = limits[below(5)];
        std::vector<std::size_t> lengths;
        while (total != 0) {
            const std::size_t length =
                limit == 65535 ? total : std::min<std::size_t>(total, below(limit + 1));
            lengths.push_back(length);
            total -= length;
            if (limit == 1 && length == 0) {
                lengths.back() = 1;
                --total;
            }
        }
        return lengths;
    }

    std::mt19937 random_;
};

TEST(GssipParserOracle, ReportsTheSameInsideTheSameCallsForRandomMutatedAndNestedStreams) {
    std::size_t frames = 0;
    std::size_t errors = 0;
    for (unsigned seed = 0; seed < streams; ++seed) {
        const Script script = StreamMaker(seed).script();
        const std::vector<ParserEvent> expected = play<ParserOracle>(script);
        ASSERT_EQ(play<GssipParser>(script), expected) << "seed " << seed;
        for (const ParserEvent& event : expected) {
            ++(event.frame.empty() ? errors : frames);
        }
    }
    EXPECT_GT(frames, streams);
    EXPECT_GT(errors, streams);
}

/// One long stream through one parser: its memory is moved, grown and given back meanwhile.
TEST(GssipParserOracle, ReportsTheSameOverALongLifeWithLargeFalseStarts) {
    for (unsigned seed = 0; seed < 4; ++seed) {
        StreamMaker maker(1000000 + seed);
        Script script;
        for (unsigned i = 0; i < 300; ++i) {
            script.stream += maker.script().stream;
            if (i % 50 == 7) {
                script.stream += headerBytes(5001, static_cast<std::uint16_t>(3000 * i));
            }
        }
        // What comes to an end in the false starts: enough to complete the largest of them.
        for (unsigned i = 0; i < 2400; ++i) {
            script.stream += frameBytes(static_cast<std::uint16_t>(i), Bytes(108, 0x5A));
        }
        std::mt19937 random(seed);
        for (std::size_t left = script.stream.size(); left != 0;) {
            const std::size_t limit = seed % 2 == 0 ? 129 : 20000;
            script.pieces.push_back(std::min<std::size_t>(left, random() % limit));
            left -= script.pieces.back();
        }
        const std::vector<ParserEvent> expected = play<ParserOracle>(script);
        ASSERT_EQ(play<GssipParser>(script), expected) << "seed " << seed;
        EXPECT_GT(expected.size(), 1000U);
    }
}

}  // namespace
