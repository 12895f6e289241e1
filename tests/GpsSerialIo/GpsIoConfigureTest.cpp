#include <csignal>
#include <fcntl.h>
#include <future>
#include <pthread.h>
#include <stdexcept>
#include <termios.h>

#include "bench/FileDescriptor.h"
#include "tests/GpsSerialIo/GpsIoFixture.h"

namespace gps_io_test {
namespace {

using FACE::RETURN_CODE_TYPE;
using FACE::IOSS::MX_SerialPort;
using namespace FACE::IOSS::Serial;

/// Opening the connection and what the link takes from it.
class GpsIoConfigure : public GpsIoFixture {
protected:
    speed_t lineSpeed() const {
        bench::FileDescriptor const slave(
            ::open(unit.devicePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        termios settings{};
        EXPECT_EQ(::tcgetattr(slave.get(), &settings), 0);
        EXPECT_EQ(::cfgetispeed(&settings), ::cfgetospeed(&settings));
        return ::cfgetospeed(&settings);
    }

    /// Text of what the call raises; empty when it raises nothing.
    template <typename Call>
    static std::string raisedBy(Call call) {
        try {
            call();
        } catch (std::runtime_error const& error) {
            return error.what();
        }
        return {};
    }

    /// The engine's port setup as the unit has to see it.
    static UnitFrame portSetup(std::uint16_t baudCode, std::uint16_t parity) {
        UnitFrame frame{5331, 0x9000, std::vector<std::uint16_t>(50, 0)};
        frame.data[18] = 0xC000;  // receive and transmit parameters are valid
        frame.data[22] = frame.data[25] = baudCode;
        frame.data[23] = frame.data[26] = parity;
        return frame;
    }

    void expectPortSetup(std::uint16_t baudCode, std::uint16_t parity) const {
        auto const frames = unit.frames();
        ASSERT_EQ(frames.size(), 1U) << unit.describe();
        EXPECT_EQ(bench::hexadecimal(frames[0].bytes),
                  bench::hexadecimal(portSetup(baudCode, parity).encode()));
    }
};

TEST_F(GpsIoConfigure, TakesNoTimeForAnythingBeforeIt) {
    construct({});
    EXPECT_EQ(link->timeToSendDataWordCount(0), 0);
    EXPECT_EQ(link->timeToSendDataWordCount(31), 0);
    EXPECT_EQ(link->timeToSendMessageByteCount(74), 0);
    link->addToNoHandshakeList(unanswered);  // there is no list yet
}

TEST_F(GpsIoConfigure, PrintsAndTakesTheParametersOfTheConnection) {
    construct({9600});
    EXPECT_EQ(raisedBy([this] { link->configure(); }), "");
    EXPECT_TRUE(output.waitFor("Serial Params: 4, 9600, 0\n")) << output.text();
    EXPECT_EQ(link->timeToSendDataWordCount(0), 20834000) << "nanoseconds";
    EXPECT_EQ(link->timeToSendDataWordCount(31), 87501000);
    EXPECT_EQ(link->timeToSendMessageByteCount(74), 87501000);
    EXPECT_EQ(lineSpeed(), static_cast<speed_t>(B9600));
}

TEST_F(GpsIoConfigure, CountsElevenBitsACharacterWithParity) {
    construct({9600, 2});
    link->configure();
    EXPECT_TRUE(output.waitFor("Serial Params: 4, 9600, 2\n")) << output.text();
    EXPECT_EQ(link->timeToSendDataWordCount(0), 22917000);
}

TEST_F(GpsIoConfigure, OpensTheConnectionNamedByPrefixAndDecimalPort) {
    construct({});
    devices.root.linkSerial(channel + 2, unit.devicePath());
    auto const third = makeLink("Link three", "Zephon", 3);
    third->configure();
    EXPECT_TRUE(output.waitFor("Serial Params: 6, 4000000, 0\n")) << output.text();
    auto const other = makeLink("Other", "Zephon", 65535);
    EXPECT_NE(raisedBy([&] { other->configure(); }), "");
    EXPECT_EQ(output.count("Serial Params"), 1U);
}

TEST_F(GpsIoConfigure, RaisesWhenTheConnectionIsUnknown) {
    construct({});
    auto const stranger = makeLink("Stranger", "Unknown", 1);
    EXPECT_NE(raisedBy([&] { stranger->configure(); }).find("Unable to open I/O connection"),
              std::string::npos);
    EXPECT_EQ(stranger->timeToSendDataWordCount(0), 0);
}

TEST_F(GpsIoConfigure, RaisesWhenTheDeviceDoesNotOpenAndSucceedsOnceItDoes) {
    construct({});
    devices.root.removeSerial(channel);
    EXPECT_NE(raisedBy([this] { link->configure(); }).find("Unable to open I/O connection"),
              std::string::npos);
    EXPECT_NE(raisedBy([this] { link->configure(9600, 0); }).find("Unable to open I/O connection"),
              std::string::npos);
    EXPECT_TRUE(output.waitFor("Unable to open I/O connection", 2)) << output.text();

    devices.root.linkSerial(channel, unit.devicePath());
    configureLink();
    link->start();
    EXPECT_TRUE(exchange());
}

TEST_F(GpsIoConfigure, MustComeBeforeTheStart) {
    construct({});
    EXPECT_THROW(link->start(), std::logic_error);
    link->configure();
    EXPECT_NO_THROW(link->start());
}

TEST_F(GpsIoConfigure, EndsTheThreadsOfARunningLink) {
    run({});
    ASSERT_TRUE(exchange());
    link->configure();
    ASSERT_TRUE(queue(makeMessage(unanswered, 1, 0x8000), "later"));
    link->addToNoHandshakeList(unanswered);
    EXPECT_EQ(unit.frames(unanswered).size(), 0U);
    link->start();
    EXPECT_TRUE(outcomes.waitFor(2));
}

TEST_F(GpsIoConfigure, LinkWithABaudRateOfZeroOrBelowStillRuns) {
    for (int const baud : {0, -9600}) {
        SCOPED_TRACE(baud);
        run({baud});
        EXPECT_EQ(link->timeToSendDataWordCount(31), 0);
        EXPECT_EQ(link->timeToSendMessageByteCount(74), 0);
        EXPECT_TRUE(exchange());
        EXPECT_TRUE(acknowledges(marker));
        link->stop();
    }
}

/// The real service, but for one answer.
class ServiceWithoutBusConfiguration : public MX_SerialPort {
public:
    void Get_Bus_Configuration(long long, long long, IO_PARAMETER_TRANSACTION_TYPE&,
                               RETURN_CODE_TYPE::Value& code) override {
        code = RETURN_CODE_TYPE::NO_ACTION;
    }
};

TEST_F(GpsIoConfigure, RaisesWhenTheParametersCannotBeHad) {
    construct<ServiceWithoutBusConfiguration>({});
    EXPECT_NE(raisedBy([this] {
                  link->configure();
              }).find("Unable to retrieve I/O connection parameters"),
              std::string::npos);
    EXPECT_TRUE(output.waitFor("Unable to retrieve I/O connection parameters"));
    EXPECT_EQ(output.count("Serial Params"), 0U);
}

/// The real service, which then gives the parity in an alternative that nobody reads.
class ServiceWithOddParityValue : public MX_SerialPort {
public:
    void Get_Bus_Configuration(long long handle, long long timeout,
                               IO_PARAMETER_TRANSACTION_TYPE& transaction,
                               RETURN_CODE_TYPE::Value& code) override {
        MX_SerialPort::Get_Bus_Configuration(handle, timeout, transaction, code);
        kinds.clear();
        for (IO_PARAMETER& parameter : transaction.parameters) {
            kinds.push_back(parameter.kind);
            if (parameter.kind == 5) {
                parameter.value.double_value(2.0);
            }
        }
    }

    std::vector<int> kinds;
};

TEST_F(GpsIoConfigure, UsesWhatItCanReadOfTheParametersAndPrintsNothing) {
    construct<ServiceWithOddParityValue>({9600, 2});
    EXPECT_EQ(raisedBy([this] { link->configure(); }), "");
    EXPECT_EQ(output.count("Serial Params"), 0U) << output.text();
    EXPECT_EQ(link->timeToSendDataWordCount(0), 20834000) << "the rate was there, no parity";
    EXPECT_EQ(dynamic_cast<ServiceWithOddParityValue&>(*serial).kinds, (std::vector<int>{0, 2, 5}));
}

extern "C" void ignoreSignal(int) {}

TEST_F(GpsIoConfigure, TellsTheUnitAtTheOldRateAndThenChangesThePort) {
    construct({9600});
    std::promise<pthread_t> self;
    auto const begin = Clock::now();
    auto done = std::async(std::launch::async, [this, &self] {
        self.set_value(::pthread_self());
        link->configure(115200, 1);
    });
    pthread_t const thread = self.get_future().get();
    ASSERT_TRUE(unit.waitForFrames(5331, 1, patience));
    EXPECT_EQ(lineSpeed(), static_cast<speed_t>(B9600));

    // Interruptions do not shorten the time that the unit is given.
    struct sigaction action {};
    action.sa_handler = ignoreSignal;
    ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    while (done.wait_for(100ms) != std::future_status::ready) {
        ::pthread_kill(thread, SIGUSR1);
    }
    done.get();
    EXPECT_GE(Clock::now() - begin, 1500ms);
    EXPECT_EQ(lineSpeed(), static_cast<speed_t>(B115200));
    EXPECT_TRUE(output.waitFor("Serial Params: 4, 115200, 1\n")) << output.text();
    EXPECT_EQ(output.count("Serial Params"), 1U) << output.text();
    EXPECT_EQ(link->timeToSendDataWordCount(0), 20 * 11 * 1000000 / 115200 * 1000 + 1000);
    expectPortSetup(11, 1);

    link->start();
    EXPECT_TRUE(acknowledges(marker)) << "at the new rate";
}

TEST_F(GpsIoConfigure, GivesUpTellingTheUnitOnALineThatTakesNoBytesAndChangesThePort) {
    construct({9600});
    link->configure();
    blockLine();
    auto const begin = Clock::now();
    link->configure(115200, 0);
    EXPECT_LT(Clock::now() - begin, 2s + 1500ms + patience);
    EXPECT_EQ(output.count("Link one: WriteBytes() GSSIP WRITE ERROR (1), msgid = 5331, "
                           "wdcnt = 50, flagWord = 0x9000\n"),
              1U)
        << output.text();
    EXPECT_EQ(link->counters().writeErrors, 1U);
    EXPECT_EQ(lineSpeed(), static_cast<speed_t>(B115200));
}

TEST_F(GpsIoConfigure, WritesWaitAgainAfterOneWasGivenUp) {
    construct({9600, 0, true});
    link->configure();
    blockLine();
    link->configure(patient, 0);
    link->addToNoHandshakeList(unanswered);
    blockLine();
    link->start();
    ASSERT_TRUE(queue(makeMessage(unanswered, 240, 0x8000)));
    ASSERT_TRUE(output.waitFor("T:Header:  81FF 3ACA"));
    // A write that does not wait fails before this.
    std::this_thread::sleep_for(300ms);
    unit.resumeReading();
    EXPECT_TRUE(unit.waitForFrames(unanswered, 1, patience)) << unit.describe();
    EXPECT_EQ(link->counters().writeErrors, 1U) << "the port setup alone";
}

TEST_F(GpsIoConfigure, RaisesWhenThePortDoesNotTakeTheNewRate) {
    construct({19200});
    auto done = std::async(std::launch::async,
                           [this] { return raisedBy([this] { link->configure(9600, 3); }); });
    ASSERT_TRUE(unit.waitForFrames(5331, 1, patience));
    devices.root.removeSerial(channel);  // a change of the rate opens the port anew
    std::string const text = done.get();
    EXPECT_NE(text.find("Unable to configure I/O parameters for baud rate and parity"),
              std::string::npos)
        << text;
    EXPECT_TRUE(output.waitFor("Unable to configure I/O parameters for baud rate and parity"));
    expectPortSetup(0, 0);  // 9600 has no code of its own, and parity 3 no place in the message
}

}  // namespace
}  // namespace gps_io_test
