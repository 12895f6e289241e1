#include <iterator>
#include <mutex>
#include <set>
#include <utility>

#include "tests/GpsSerialIo/GpsIoFixture.h"

namespace gps_io_test {
namespace {

using FACE::RETURN_CODE_TYPE;
using FACE::IOSS::MX_SerialPort;
using namespace FACE::IOSS::Serial;

/// The link's own lines on standard output: dumps, odd return codes, write errors, exceptions.
class GpsIoTrace : public GpsIoFixture {
protected:
    static constexpr bool debug = true;

    /// Closes the port behind the link's back; only while no thread of the link runs.
    void closePort() {
        auto code = RETURN_CODE_TYPE::NO_ACTION;
        serial->Close_Connection(0, code);
        ASSERT_EQ(code, RETURN_CODE_TYPE::NO_ERROR);
    }
};

TEST_F(GpsIoTrace, DumpsWhatGoesOutAndWhatComesIn) {
    run({patient, 0, debug});
    ASSERT_TRUE(queue(makeMessage(handshaked), ""));
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_TRUE(
        output.waitFor("T:Header:  81FF 1389 0002 9000 DA76; msgId: 5001 Wdcnt:    2\n"
                       "Data:  0  1100 1101 \n"
                       "DataCks:  DDFF\n"))
        << output.text();
    EXPECT_TRUE(output.waitFor("R:Header:  81FF 1389 0000 8800 E278; msgId: 5001 Wdcnt:    0\n"))
        << output.text();
    unit.send(makeFrame(5002, 1));
    EXPECT_TRUE(
        output.waitFor("R:Header:  81FF 138A 0001 9000 DA76; msgId: 5002 Wdcnt:    1\n"
                       "Data:  0  1100 \n"
                       "DataCks:  EF00\n"))
        << output.text();
    EXPECT_TRUE(output.waitFor("T:Header:  81FF 138A 0000 8800 E277; msgId: 5002 Wdcnt:    0\n"))
        << output.text();
}

TEST_F(GpsIoTrace, PrintsNothingOfTheTrafficWithDebugOff) {
    run({});
    ASSERT_TRUE(queue(makeMessage(unanswered, 2, 0x8000), 0U));
    ASSERT_TRUE(exchange());
    ASSERT_TRUE(acknowledges(marker));
    link->stop();
    EXPECT_EQ(output.text(), "Serial Params: 4, 4000000, 0\n");
}

TEST_F(GpsIoTrace, TellsAMessageThatCameFromLevelZero) {
    configure({patient, 0, debug});
    ASSERT_TRUE(queue(makeMessage(unanswered, 12, 0x8000), 0U));
    ASSERT_TRUE(queue(makeMessage(marker, 1, 0x8000), 1U));
    link->start();
    ASSERT_TRUE(unit.waitForFrames(2, patience));
    EXPECT_TRUE(output.waitFor("Popped DT message (15050) 12 words, flagword: 8000\n"))
        << output.text();
    EXPECT_EQ(output.count("Popped"), 1U) << output.text();
}

TEST_F(GpsIoTrace, DumpsNoMoreThanTheBytesReceived) {
    configure({patient, 0, debug});
    // A header that announces more words than came with it, in memory that ends behind it.
    auto const bytes = std::make_unique<unsigned char[]>(10);
    Bytes const header{0xFF, 0x81, 0x89, 0x13, 0xFF, 0xFF, 0x00, 0x80, 0x00, 0x00};
    std::copy(header.begin(), header.end(), bytes.get());
    link->OnGpsMessageReceived(bytes.get(), 10, 0);
    EXPECT_TRUE(output.waitFor("R:Header:  81FF 1389 FFFF 8000 0000; msgId: 5001 Wdcnt:65535\n"))
        << output.text();
    EXPECT_EQ(output.count("Data:"), 0U) << output.text();
}

TEST_F(GpsIoTrace, ReportsAndCountsWriteErrorsAndReturnsTheLength) {
    construct({});  // no port is open
    auto const message = makeMessage(5001, 3);
    message->insert_checksum();
    EXPECT_EQ(link->WriteBytes(message->header, 18), 18U);
    EXPECT_TRUE(
        output.waitFor("Link one: WriteBytes() GSSIP WRITE ERROR (1), msgid = 5001, "
                       "wdcnt = 3, flagWord = 0x9000\n"))
        << output.text();
    auto const other = makeMessage(65535, 0, 0x0a5f);
    other->insert_checksum();
    EXPECT_EQ(link->WriteBytes(other->header, 10), 10U);
    EXPECT_TRUE(
        output.waitFor("Link one: WriteBytes() GSSIP WRITE ERROR (2), msgid = 65535, "
                       "wdcnt = 0, flagWord = 0xa5f\n"))
        << output.text();
    EXPECT_EQ(link->counters().writeErrors, 2U);
}

TEST_F(GpsIoTrace, ReportsAMessageThatCouldNotBeWrittenAndGoesOn) {
    configure({hasty});
    closePort();
    link->start();
    EXPECT_FALSE(exchange()) << "neither transmission could be written";
    EXPECT_EQ(output.count("Link one: WriteBytes() GSSIP WRITE ERROR (1), msgid = 5001, "
                           "wdcnt = 2, flagWord = 0x9000\n"),
              1U)
        << output.text();
    EXPECT_EQ(output.count("GSSIP WRITE ERROR (2)"), 1U) << output.text();
    EXPECT_EQ(output.count("unexpected return code"), 0U) << "with debug off";
}

TEST_F(GpsIoTrace, TellsUnexpectedReturnCodesAndDoesNotSpinOnThem) {
    configure({patient, 0, debug});
    closePort();
    auto const begin = Clock::now();
    link->start();
    EXPECT_TRUE(
        output.waitFor("GpsIo::flush() received unexpected return code: CONNECTION_CLOSED\n"))
        << output.text();
    EXPECT_EQ(output.count("GpsIo::flush() number of bytes flushed: 0\n"), 1U) << output.text();
    std::string const line =
        "GpsIo::readThreadFunction() received unexpected return code: CONNECTION_CLOSED\n";
    EXPECT_TRUE(output.waitFor(line, 3)) << output.text();
    EXPECT_GE(Clock::now() - begin, 350ms) << "a pass takes the 200 ms of a read";
    EXPECT_LT(timeToStop(), stopLimit);
}

TEST_F(GpsIoTrace, GoesOnBehindACallbackThatThrows) {
    run({});
    ASSERT_TRUE(link->protocolQueue().emplace_back(
        1, makeMessage(handshaked),
        [](aspn2_msgs::idl::CommandResponse const&, bool) {
            throw std::runtime_error("nobody listens");
        },
        aspn2_msgs::idl::CommandResponse()));
    ASSERT_TRUE(link->protocolQueue().emplace_back(
        1, makeMessage(handshaked), [](aspn2_msgs::idl::CommandResponse const&, bool) { throw 1; },
        aspn2_msgs::idl::CommandResponse()));
    EXPECT_TRUE(output.waitFor(protocolLine("EXCEPTION: nobody listens"))) << output.text();
    EXPECT_TRUE(output.waitFor(protocolLine("EXCEPTION: <unknown>"))) << output.text();
    EXPECT_TRUE(exchange());
}

/// A message that fails while it is written.
class ThrowingMessage : public Generic_MSID_Msg {
public:
    explicit ThrowingMessage(bool known) : known_(known) {
        set_gpsip_wdcnt(0);
        header[1] = msgId = unanswered;
        header[3] = 0x8000;
    }
    void debugPrintMessage() override {
        if (known_) {
            throw std::runtime_error("no words");
        }
        throw 1;
    }

private:
    bool known_;
};

TEST_F(GpsIoTrace, GoesOnBehindAMessageThatThrowsWhileItIsWritten) {
    run({});
    ASSERT_TRUE(queue(std::make_shared<ThrowingMessage>(true)));
    ASSERT_TRUE(queue(std::make_shared<ThrowingMessage>(false)));
    EXPECT_TRUE(output.waitFor(line("writeThreadFunction", "EXCEPTION: no words")))
        << output.text();
    EXPECT_TRUE(output.waitFor(line("writeThreadFunction", "EXCEPTION: <unknown>")))
        << output.text();
    EXPECT_TRUE(exchange());
}

/// The real service on a line that always has something more, at once or after a while.
class ChatteringService : public MX_SerialPort {
public:
    void Read(long long, long long timeout, READ_PAYLOAD_TYPE&,
              RETURN_CODE_TYPE::Value& code) override {
        EXPECT_EQ(timeout, 0);
        std::this_thread::sleep_for(delay);
        code = RETURN_CODE_TYPE::NO_ERROR;
    }

    std::chrono::milliseconds delay{0};
};

TEST_F(GpsIoTrace, FlushEndsAfter1000Reads) {
    construct<ChatteringService>({patient, 0, debug});
    link->configure();
    link->flush();
    EXPECT_TRUE(output.waitFor("GpsIo::flush() number of bytes flushed: 1000\n")) << output.text();
}

TEST_F(GpsIoTrace, FlushEndsAfterOneSecond) {
    construct<ChatteringService>({patient, 0, debug});
    dynamic_cast<ChatteringService&>(*serial).delay = 20ms;
    link->configure();
    auto const begin = Clock::now();
    link->flush();
    EXPECT_LT(Clock::now() - begin, 3s) << "1000 reads take 20 s here";
    EXPECT_EQ(output.count("GpsIo::flush() number of bytes flushed: "), 1U) << output.text();
}

TEST_F(GpsIoTrace, FlushCountsReadsAndIsSilentWithDebugOff) {
    configure({});
    unit.send(makeFrame(6000));
    ASSERT_TRUE(unit.waitUntilSent(patience));
    link->flush();
    EXPECT_EQ(output.count("flush"), 0U) << output.text();
}

/// The real service, which notes how it is asked to read.
class NotingService : public MX_SerialPort {
public:
    void Read(long long handle, long long timeout, READ_PAYLOAD_TYPE& payload,
              RETURN_CODE_TYPE::Value& code) override {
        {
            std::lock_guard<std::mutex> const lock(mutex_);
            asked_.emplace(timeout, payload.data.length());
        }
        MX_SerialPort::Read(handle, timeout, payload, code);
    }

    /// Time-outs in nanoseconds, and lengths.
    std::set<std::pair<long long, std::uint32_t>> asked() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return asked_;
    }

private:
    std::mutex mutex_;  // guards asked_
    std::set<std::pair<long long, std::uint32_t>> asked_;
};

TEST_F(GpsIoTrace, ReadsAtMost128BytesAndWaitsAtMost200MillisecondsForThem) {
    construct<NotingService>({});
    configureLink();
    link->start();
    unit.sendBytes(Bytes(1000, 0));
    ASSERT_TRUE(acknowledges(6000));
    link->stop();
    std::set<std::pair<long long, std::uint32_t>> asked =
        dynamic_cast<NotingService&>(*serial).asked();
    for (auto at = asked.begin(); at != asked.end();) {
        at = at->first == 0 ? asked.erase(at) : std::next(at);  // of the flush before
    }
    EXPECT_EQ(asked, (std::set<std::pair<long long, std::uint32_t>>{{200'000'000, 128}}));
}

}  // namespace
}  // namespace gps_io_test
