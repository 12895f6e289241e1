// A queue device that nobody reads any more.

#include <csignal>
#include <string>

#include "tests/system/LinkProbe.h"
#include "tests/system/QueueFixture.h"

namespace {

using bench::UnitFrame;
using testing::HasSubstr;
using testing::Not;

class QueueReaderGone : public QueueFixture {
protected:
    static constexpr std::size_t words = 31;
    static constexpr std::size_t recordBytes = 56 + 12 + 2 * words;

    /// Sends frames on a link until its queue takes no more, and some that find it full.
    void fillQueue(unsigned link) {
        const unsigned port = link == 2 ? dtIn : pntdMx;
        std::size_t sent = 0;
        for (int before = -1, now = 0; before != now; now = waitingBytes(port)) {
            ASSERT_LT(sent, 100'000U);
            before = now;
            for (int i = 0; i < 200; ++i, ++sent) {
                bench.unit(link).send(makeFrame(8015, words));
            }
            ASSERT_TRUE(answers(bench, link, 8016))
                << bench.report();  // all before it has been dealt with
        }
        EXPECT_GT(waitingBytes(port), 60'000);
        sent_ += sent;
    }

    /// Empties the queue: what was in it are whole records from the first on, none twice.
    std::size_t expectWholeRecords(unsigned link) {
        const std::size_t waiting =
            static_cast<std::size_t>(waitingBytes(link == 2 ? dtIn : pntdMx)) / recordBytes;
        EXPECT_TRUE(siblings.startReading(queueOf(link))) << siblings.lastFailure();
        const auto records = recordsOf(link, waiting);
        std::int64_t previous = -1;
        for (Record const& record : records) {
            EXPECT_GT(record.sequence, previous);
            previous = record.sequence;
        }
        EXPECT_FALSE(records.empty());
        return records.size();
    }

    std::size_t sent_ = 0;
};

TEST_F(QueueReaderGone, ALinkGoesOnAnsweringAndTheOthersPublishing) {
    start();
    fillQueue(1);
    EXPECT_TRUE(answers(bench, 1, 5044)) << bench.report();
    EXPECT_TRUE(answers(bench, 3, 5044)) << bench.report();  // shares the queue
    ASSERT_TRUE(siblings.startReading("DT_IN")) << siblings.lastFailure();
    bench.unit(2).send(makeFrame(8017, 2));
    EXPECT_EQ(1U, recordsOf(2, 1).size());
    stop();
    EXPECT_THAT(bench.server().standardOutput(), Not(HasSubstr("EXCEPTION")));
}

TEST_F(QueueReaderGone, TheDataTransferLinkGoesOnToo) {
    start();
    fillQueue(2);
    EXPECT_TRUE(answers(bench, 2, 5044)) << bench.report();
    ASSERT_TRUE(siblings.startReading("PNTD_MX")) << siblings.lastFailure();
    bench.unit(1).send(makeFrame(8017, 2));
    EXPECT_EQ(1U, recordsOf(1, 1).size());
    stop();
}

TEST_F(QueueReaderGone, TheReaderThatComesBackGetsWhatIsPublishedFromThenOn) {
    start();
    fillQueue(1);
    std::size_t const before = expectWholeRecords(1);
    bench.unit(1).send(makeFrame(8018, 3));
    const auto records = recordsOf(1, before + 1);
    ASSERT_GT(records.size(), before);
    EXPECT_EQ(makeFrame(8018, 3).encode(), records.back().data);
    // The lost ones have had their numbers.
    EXPECT_GT(records.back().sequence, static_cast<std::int64_t>(before));
    stop();
}

TEST_F(QueueReaderGone, TheServerItselfHearsWhatTheFullQueueDoesNotTake) {
    bench.configuration().set("ZephonServer", "Debug", "TRUE");
    start();
    fillQueue(1);
    bench.unit(1).send(makeFrame(8019, 1));
    EXPECT_TRUE(bench.server().waitForLine("Recvd GSSIP: 8019 from PNT-D", patience));
}

TEST_F(QueueReaderGone, AReaderThatIsKilledTakesNothingWithIt) {
    start();
    startReading();
    bench.unit(1).send(makeFrame(8015, words));
    ASSERT_EQ(1U, recordsOf(1, 1).size());
    ASSERT_TRUE(siblings.process().signal(SIGKILL));
    ASSERT_TRUE(siblings.process().wait(patience));
    EXPECT_TRUE(answers(bench, 1, 8016)) << bench.report();
    bench::QueuePeer successor(bench.queuePeerOptions());
    ASSERT_TRUE(successor.startReading("PNTD_MX")) << successor.lastFailure();
    bench.unit(1).send(makeFrame(8017, 2));
    ASSERT_TRUE(successor.waitForRecords("PNTD_MX", 2, patience)) << bench.report();
    const auto records = successor.records("PNTD_MX");
    ASSERT_TRUE(records);
    EXPECT_EQ(makeFrame(8017, 2).encode(), records->back().data);
    EXPECT_EQ(2, records->back().sequence);
    stop();
}

TEST_F(QueueReaderGone, ADeviceThatIsTakenAwayEndsNothing) {
    start();
    bench.devices().removeQueue(pntdMx);
    EXPECT_TRUE(answers(bench, 1, 8016)) << bench.report();
    EXPECT_TRUE(answers(bench, 3, 8016)) << bench.report();
    stop();
}

}  // namespace
