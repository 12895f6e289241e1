// What the queue devices get of the frames that come in on the links.

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/system/FpgaTime.h"
#include "tests/system/LinkProbe.h"
#include "tests/system/QueueFixture.h"

namespace {

using bench::Bench;
using bench::UnitFrame;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr unsigned everyLink[] = {1, 2, 3};

class QueueRoad : public QueueFixture {
protected:
    void startWithReaders() {
        start();
        startReading();
    }

    /// These frames are all that the link has published, unchanged and numbered from 0 on.
    void expectPublished(unsigned link, std::vector<UnitFrame> const& frames,
                         std::size_t countOfQueue) {
        const auto records = recordsOf(link, countOfQueue);
        ASSERT_EQ(frames.size(), records.size()) << link;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            EXPECT_EQ(static_cast<std::int64_t>(i), records[i].sequence) << link;
            EXPECT_EQ(frames[i].encode(), records[i].data) << "link " << link << " frame " << i;
        }
    }

    /// Sends a frame and gives its record and what the stamp of the link's UART then holds. What
    /// the unit answers to the server meanwhile renews that stamp: such a frame tells nothing, and
    /// another one follows. `countOfQueue` counts the records that the queue has given.
    std::optional<std::pair<Record, std::uint64_t>> sendStamped(unsigned link,
                                                                UnitFrame const& frame,
                                                                std::size_t& countOfQueue) {
        bench::UnitModel& unit = bench.unit(link);
        for (int attempt = 0; attempt < 20; ++attempt) {
            auto const before = unit.statistics().sentBytes;
            unit.send(frame);
            auto const records = recordsOf(link, ++countOfQueue);
            auto const ticks = bench.fpga().read64("TimeStamp_Interface", (link + 64) * 8);
            if (!records.empty() && unit.statistics().sentBytes == before + frame.encode().size()) {
                return std::make_pair(records.back(), ticks);
            }
        }
        return std::nullopt;
    }
};

TEST_F(QueueRoad, EveryFrameReachesTheQueueOfItsLinkUnchanged) {
    startWithReaders();
    const std::vector<UnitFrame> frames{
        makeFrame(8015, 31),
        makeFrame(8016, 1),
        makeFrame(8017, 0),            // a header that is no part of a handshake
        makeFrame(8018, 2, 0x90FF),    // flags without a meaning
        makeFrame(8019, 240, 0x8F00),  // flags of a handshake, but with data
        makeFrame(8020, 3, 0x0000),    // asks for a pause
        makeFrame(27535, 3, UnitFrame::linkReady | UnitFrame::ackRequest),  // gets no ACK
        makeFrame(1, 1),
        makeFrame(65535, 1),
    };
    std::size_t inQueue[] = {0, 0, 0, 0};
    for (const unsigned link : everyLink) {
        for (UnitFrame const& frame : frames) {
            bench.unit(link).send(frame);
        }
        inQueue[link] = (link == 3 ? inQueue[1] : 0) + frames.size();
        expectPublished(link, frames, inQueue[link]);
    }
    EXPECT_TRUE(answers(bench, 1, 5044)) << "what was to go out before it has";
    EXPECT_TRUE(bench.unit(1).frames(27535).empty());
    stop();
}

TEST_F(QueueRoad, ARecordBearsTheTimeOfItsUart) {
    startWithReaders();
    std::size_t inPntdMx = 0;
    std::size_t inDtIn = 0;
    for (const unsigned link : everyLink) {
        auto& inQueue = link == 2 ? inDtIn : inPntdMx;
        std::int64_t previous = 0;
        for (unsigned number = 1; number <= 2; ++number) {
            auto const sent = sendStamped(link, makeFrame(8015, 4), inQueue);
            ASSERT_TRUE(sent) << "the unit never said this frame alone";
            auto const& [record, ticks] = *sent;
            const std::int64_t time = timeOfTicks(static_cast<std::int64_t>(ticks));
            EXPECT_EQ(time, record.arrival.seconds * 1'000'000'000 + record.arrival.nanoseconds);
            EXPECT_EQ(record.arrival.seconds, record.validity.seconds);
            EXPECT_EQ(record.arrival.nanoseconds, record.validity.nanoseconds);
            EXPECT_EQ(100, record.arrival.code);
            EXPECT_EQ(100, record.validity.code);
            EXPECT_GT(time, previous);
            previous = time;
        }
    }
}

TEST_F(QueueRoad, AUartThatTheFpgaDoesNotHaveGivesTheTimeOfNoTicks) {
    bench.fpga().write32("Processor_Interface", 0x20, 2);  // UARTs 0 and 1
    startWithReaders();
    EXPECT_NE(0U, bench.fpga().read32("TimeStamp_Interface", (1 + 48) * 8));
    EXPECT_EQ(0U, bench.fpga().read32("TimeStamp_Interface", (2 + 48) * 8));
    bench.unit(2).send(makeFrame(8015, 4));
    const auto records = recordsOf(2, 1);
    ASSERT_EQ(1U, records.size());
    EXPECT_EQ(0, records[0].arrival.seconds);
    EXPECT_EQ(-8, records[0].arrival.nanoseconds);
    EXPECT_EQ(0, records[0].validity.seconds);
    EXPECT_EQ(-8, records[0].validity.nanoseconds);
}

TEST_F(QueueRoad, FramesOfTheHandshakeStayAway) {
    startWithReaders();
    for (const unsigned link : everyLink) {
        for (const std::uint16_t flags : {UnitFrame::ack, UnitFrame::nak, UnitFrame::response}) {
            bench.unit(link).send(
                makeFrame(8015, 0, static_cast<std::uint16_t>(UnitFrame::linkReady | flags)));
        }
        bench.unit(link).send(UnitFrame::makeReject(8015));
        bench.unit(link).send(makeFrame(8016, 0, UnitFrame::ack));  // asks for a pause besides
        bench.unit(link).send(makeFrame(8017, 1));
        expectPublished(link, {makeFrame(8017, 1)}, link == 3 ? 2 : 1);
    }
}

TEST_F(QueueRoad, DamagedFramesStayAway) {
    startWithReaders();
    for (const unsigned link : everyLink) {
        for (const std::size_t place : {2U, 4U, 6U, 9U, 10U, 17U, 18U, 19U}) {
            auto bytes = makeFrame(8015, 4).encode();
            ASSERT_EQ(20U, bytes.size());
            bytes[place] ^= 0x10U;
            bench.unit(link).sendBytes(bytes);
        }
        bench.unit(link).sendBytes({0xFF, 0x81, 0x00, 0xFF, 0xFF, 0x81});
        bench.unit(link).send(makeFrame(8017, 1));
        expectPublished(link, {makeFrame(8017, 1)}, link == 3 ? 2 : 1);
    }
}

TEST_F(QueueRoad, FramesUpToTheLargestRecordAreWholeAndLargerOnesAreLost) {
    startWithReaders();
    ASSERT_GE(makeRoom(dtIn, 131072), 131072);
    const std::vector<UnitFrame> frames{makeFrame(8015, 2014),  // a record of 4096 bytes
                                        makeFrame(8015, 2015),
                                        makeFrame(8015, 65502),  // a record of 131,072 bytes
                                        makeFrame(8015, 1)};
    for (std::size_t i = 0; i < 3; ++i) {
        bench.unit(2).send(frames[i]);
        ASSERT_TRUE(siblings.waitForRecords("DT_IN", i + 1, patience)) << bench.report();
    }
    bench.unit(2).send(makeFrame(8015, 65503));
    bench.unit(2).send(makeFrame(8015, 65535));
    bench.unit(2).send(frames[3]);
    const auto records = recordsOf(2, 4);
    ASSERT_EQ(4U, records.size());
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(frames[i].encode(), records[i].data) << i;
    }
    EXPECT_EQ(2, records[2].sequence);
    EXPECT_EQ(5, records[3].sequence);  // the lost ones have had their numbers
    EXPECT_THAT(bench.server().standardOutput(), Not(HasSubstr("EXCEPTION")));
    stop();
}

TEST_F(QueueRoad, ListedIdsAreKeptOutOfTheQueuesAndHeardByTheServerItself) {
    bench.configuration().set("ZephonServer", "Debug", "TRUE");
    // Only what is a number of 16 bits counts: 70000 is none, though its low bits are 4464.
    bench.configuration().set("ZephonServer", "PARAM_6", "8016, 8017 ,soon,70000,8018x,-8019,,");
    startWithReaders();
    for (const unsigned link : everyLink) {
        std::vector<UnitFrame> queued;
        for (const std::uint16_t id :
             std::initializer_list<std::uint16_t>{8015, 8016, 8017, 4464, 8018, 8019, 0}) {
            bench.unit(link).send(makeFrame(id, 2));
            if (id != 8016 && id != 8017) {
                queued.push_back(makeFrame(id, 2));
            }
        }
        const auto records = recordsOf(link, queued.size() * (link == 3 ? 2 : 1));
        ASSERT_EQ(queued.size(), records.size()) << link;
        for (std::size_t i = 0; i < queued.size(); ++i) {
            EXPECT_EQ(queued[i].encode(), records[i].data) << i;
        }
        EXPECT_EQ(3, records[1].sequence);  // the listed ones have had their numbers
    }
    EXPECT_TRUE(bench.server().waitForLines("Recvd GSSIP: 8016 from PNT-D", 2, patience));
    EXPECT_TRUE(bench.server().waitForLines("Recvd GSSIP: 8017 from PNT-D", 2, patience));
}

TEST_F(QueueRoad, TheServerHearsWhatLinksOneAndThreePublish) {
    bench.configuration().set("ZephonServer", "Debug", "TRUE");
    startWithReaders();
    bench.unit(2).send(makeFrame(8017, 2));
    ASSERT_EQ(1U, recordsOf(2, 1).size());
    bench.unit(1).send(makeFrame(8015, 2));
    bench.unit(3).send(makeFrame(8016, 2));
    bench.unit(3).send(makeFrame(8016, 0, UnitFrame::linkReady | UnitFrame::ack));
    ASSERT_TRUE(bench.server().waitForLine("Recvd GSSIP: 8015 from PNT-D", patience));
    ASSERT_TRUE(bench.server().waitForLine("Recvd GSSIP: 8016 from PNT-D", patience));
    stop();
    EXPECT_EQ(2U, bench.server().countLines("Recvd GSSIP: ")) << bench.report();
}

TEST_F(QueueRoad, WithoutDebugNothingIsSaidOfWhatIsHeard) {
    startWithReaders();
    bench.unit(1).send(makeFrame(8015, 2));
    ASSERT_EQ(1U, recordsOf(1, 1).size());
    stop();
    EXPECT_THAT(bench.server().standardOutput(), Not(HasSubstr("Recvd GSSIP")));
}

TEST_F(QueueRoad, TwoThousandFramesBackToBackOnEveryLinkArriveAllAndInOrder) {
    constexpr std::size_t blocks = 5;
    constexpr std::size_t framesPerBlock = 400;
    constexpr std::size_t words = 31;
    startWithReaders();
    // One block of two links fits into the queue even while its reader gets no time, and all that
    // is in the queue into one read.
    ASSERT_EQ(131072, makeRoom(pntdMx, 131072));
    ASSERT_EQ(131072, makeRoom(dtIn, 131072));
    std::vector<std::vector<std::uint8_t>> sent;
    for (std::size_t block = 1; block <= blocks; ++block) {
        std::vector<std::uint8_t> bytes;
        for (std::size_t i = 0; i < framesPerBlock; ++i) {
            sent.push_back(
                makeFrame(static_cast<std::uint16_t>(8000 + sent.size()), words).encode());
            bytes.insert(bytes.end(), sent.back().begin(), sent.back().end());
        }
        for (const unsigned link : everyLink) {
            bench.unit(link).sendBytes(bytes);
        }
        ASSERT_TRUE(siblings.waitForRecords("PNTD_MX", 2 * block * framesPerBlock, 3 * patience))
            << siblings.reads("PNTD_MX").size() << bench.report();
        ASSERT_TRUE(siblings.waitForRecords("DT_IN", block * framesPerBlock, patience));
    }
    for (const unsigned link : everyLink) {
        const auto records = recordsOf(link, blocks * framesPerBlock);
        ASSERT_EQ(sent.size(), records.size()) << link;
        for (std::size_t i = 0; i < sent.size(); ++i) {
            ASSERT_EQ(static_cast<std::int64_t>(i), records[i].sequence) << link;
            ASSERT_EQ(sent[i], records[i].data) << "link " << link << " frame " << i;
        }
    }
    stop();
}

TEST_F(QueueRoad, AStopInTheMiddleOfTheTrafficIsInOrder) {
    startWithReaders();
    std::vector<std::uint8_t> bytes;
    for (std::uint16_t i = 0; i < 20'000; ++i) {
        const auto frame = makeFrame(i, 31, UnitFrame::linkReady | UnitFrame::ackRequest).encode();
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    for (const unsigned link : everyLink) {
        bench.unit(link).sendBytes(bytes);
    }
    ASSERT_TRUE(siblings.waitForRecords("PNTD_MX", 10, patience)) << bench.report();
    ASSERT_TRUE(siblings.waitForRecords("DT_IN", 10, patience)) << bench.report();
    stop();
    for (const unsigned link : everyLink) {
        std::int64_t previous = -1;
        for (Record const& record : recordsOf(link, 1)) {
            EXPECT_GT(record.sequence, previous) << link;  // the queue may have been full
            previous = record.sequence;
            EXPECT_EQ(bytes.size() / 20'000, record.data.size()) << link;
        }
        EXPECT_GE(previous, 0) << link;
    }
}

}  // namespace
