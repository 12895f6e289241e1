// Reading and writing on real pseudo-terminals.

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <limits>

#include "bench/Patience.h"
#include "tests/face/MX_SerialPortFixture.h"

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using testing::ElementsAre;

class MX_SerialPortTransfer : public MX_SerialPortTest {};

// ---- reading

TEST_F(MX_SerialPortTransfer, ReadsWhatIsThereAndTellsTheChannel) {
    long long const handle = startAndOpen();
    send(line, "abc");
    READ_PAYLOAD_TYPE payload = wanted(128);
    payload.timestamp = 99;
    payload.channel = 99;
    EXPECT_EQ(read(handle, second, payload), Code::NO_ERROR);
    EXPECT_EQ(text(payload), "abc");
    EXPECT_EQ(payload.timestamp, 0);
    EXPECT_EQ(payload.channel, 1);
}

TEST_F(MX_SerialPortTransfer, ReadsNoMoreThanWanted) {
    long long const handle = startAndOpen();
    send(line, "abcde");
    READ_PAYLOAD_TYPE payload = wanted(2);
    EXPECT_EQ(read(handle, second, payload), Code::NO_ERROR);
    EXPECT_EQ(text(payload), "ab");
    payload = wanted(2);
    EXPECT_EQ(read(handle, second, payload), Code::NO_ERROR);
    EXPECT_EQ(text(payload), "cd");
}

TEST_F(MX_SerialPortTransfer, ReadsIntoABufferOfTheCaller) {
    long long const handle = startAndOpen();
    send(line, "abc");
    std::array<std::uint8_t, 8> buffer;
    buffer.fill(0xEE);
    FACE::Sequence<std::uint8_t>::RETURN_CODE code;
    // A payload that views a buffer cannot be assigned: a copy would own its elements.
    READ_PAYLOAD_TYPE payload{0, 0, {buffer.data(), 4, 8, code}};
    ASSERT_FALSE(payload.data.is_managed());
    EXPECT_EQ(read(handle, second, payload), Code::NO_ERROR);
    EXPECT_EQ(payload.data.length(), 3u);
    EXPECT_THAT(buffer, ElementsAre('a', 'b', 'c', 0xEE, 0xEE, 0xEE, 0xEE, 0xEE));
}

TEST_F(MX_SerialPortTransfer, ReadOfAnIdlePortWithTimeoutZeroIsNotAvailable) {
    long long const handle = startAndOpen();
    READ_PAYLOAD_TYPE payload = wanted(16);
    EXPECT_EQ(read(handle, 0, payload), Code::NOT_AVAILABLE);
    EXPECT_EQ(payload.data.length(), 16u);
}

TEST_F(MX_SerialPortTransfer, ReadOfAnIdlePortWithATimeoutTimesOut) {
    long long const handle = startAndOpen();
    READ_PAYLOAD_TYPE payload = wanted(16);
    auto const start = Clock::now();
    EXPECT_EQ(read(handle, second, payload), Code::TIMED_OUT);
    EXPECT_GE(Clock::now() - start, milliseconds(900));  // the driver counts in ticks
}

TEST_F(MX_SerialPortTransfer, ReadOfNothingTimesOutOrIsNotAvailable) {
    long long const handle = startAndOpen();
    send(line, "abc");
    READ_PAYLOAD_TYPE empty;
    EXPECT_EQ(read(handle, second, empty), Code::TIMED_OUT);
    EXPECT_EQ(read(handle, 0, empty), Code::NOT_AVAILABLE);

    FACE::Sequence<std::uint8_t>::RETURN_CODE code;
    READ_PAYLOAD_TYPE invalid{0, 0, {nullptr, 0, 0, code}};
    ASSERT_FALSE(invalid.data.is_valid());
    EXPECT_EQ(read(handle, second, invalid), Code::TIMED_OUT);
    EXPECT_EQ(read(handle, 0, invalid), Code::NOT_AVAILABLE);
}

TEST_F(MX_SerialPortTransfer, PutsTheReadTimeoutIntoTheDriver) {
    long long const handle = startAndOpen();
    struct Row {
        long long timeout;
        int time;
        int minimum;
    };
    for (Row const& row :
         {Row{1, 1, 0}, Row{100'000'000, 1, 0}, Row{100'000'001, 2, 0}, Row{25'500'000'000, 255, 0},
          Row{25'500'000'001, 255, 0}, Row{-1, 0, 1}, Row{0, 0, 0}, Row{-5, 0, 1}}) {
        send(line, "a");  // so that no read waits
        READ_PAYLOAD_TYPE payload = wanted(16);
        EXPECT_EQ(read(handle, row.timeout, payload), Code::NO_ERROR) << row.timeout;
        EXPECT_EQ(terminal(line).c_cc[VTIME], row.time) << row.timeout;
        EXPECT_EQ(terminal(line).c_cc[VMIN], row.minimum) << row.timeout;
    }
}

TEST_F(MX_SerialPortTransfer, LeavesTheDriverAloneWhenTheTimeoutStaysTheSame) {
    long long const handle = startAndOpen();
    auto const readOnce = [&](long long timeout) {
        send(line, "a");
        READ_PAYLOAD_TYPE payload = wanted(16);
        EXPECT_EQ(read(handle, timeout, payload), Code::NO_ERROR);
    };
    readOnce(second);
    termios changed = terminal(line);
    changed.c_cc[VTIME] = 77;  // shows whether the service sets the driver again
    bench::FileDescriptor const slave(
        ::open(line.slavePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
    ASSERT_EQ(::tcsetattr(slave.get(), TCSANOW, &changed), 0);
    readOnce(second);
    EXPECT_EQ(terminal(line).c_cc[VTIME], 77);
    readOnce(2 * second);
    EXPECT_EQ(terminal(line).c_cc[VTIME], 20);
}

TEST_F(MX_SerialPortTransfer, AReadWithoutLimitEndsWithTheFirstByte) {
    long long const handle = startAndOpen();
    auto reader = std::async(std::launch::async, [&] {
        READ_PAYLOAD_TYPE payload = wanted(16);
        EXPECT_EQ(read(handle, -1, payload), Code::NO_ERROR);
        return payload.data.length();
    });
    EXPECT_EQ(reader.wait_for(milliseconds(300)), std::future_status::timeout);
    std::uint8_t const byte = 'x';
    EXPECT_EQ(line.write(&byte, 1), 1u);
    ASSERT_EQ(reader.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_EQ(reader.get(), 1u);
}

TEST_F(MX_SerialPortTransfer, ForgetsTheReadTimeoutWhenItIsReopened) {
    long long const handle = startAndOpen();
    send(line, "a");
    READ_PAYLOAD_TYPE payload = wanted(16);
    EXPECT_EQ(read(handle, second, payload), Code::NO_ERROR);
    ASSERT_EQ(configure(handle, {baudRate(9600)}), Code::NO_ERROR);
    EXPECT_EQ(terminal(line).c_cc[VTIME], 0);
    EXPECT_EQ(terminal(line).c_cc[VMIN], 0);
}

TEST_F(MX_SerialPortTransfer, ALineThatHungUpAnswersAtOnce) {
    long long const handle = startAndOpen();
    line.hangUp();
    READ_PAYLOAD_TYPE payload = wanted(16);
    auto const start = Clock::now();
    Code::Value const code = read(handle, 20 * second, payload);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(15));
    EXPECT_TRUE(code == Code::TIMED_OUT || code == Code::NO_ACTION) << code;
    EXPECT_EQ(write(handle, "abc"), Code::NO_ACTION);
}

// ---- writing

TEST_F(MX_SerialPortTransfer, WritesAllBytesOfTheSequence) {
    long long const handle = startAndOpen();
    EXPECT_EQ(write(handle, "hello"), Code::NO_ERROR);
    EXPECT_EQ(receive(line, 5), "hello");
}

TEST_F(MX_SerialPortTransfer, WritesABufferOfTheCaller) {
    long long const handle = startAndOpen();
    std::uint8_t const bytes[] = {1, 2, 3};
    WRITE_PAYLOAD_TYPE const payload{0, {bytes, 3}};
    Code::Value rc = Code::IN_PROGRESS;
    service.Write(handle, -1, payload, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(receive(line, 3), "\1\2\3");
}

TEST_F(MX_SerialPortTransfer, WriteOfNothingSucceeds) {
    long long const handle = startAndOpen();
    EXPECT_EQ(write(handle, ""), Code::NO_ERROR);
}

TEST_F(MX_SerialPortTransfer, AWriteLargerThanTheLinesBuffersWaitsForTheReader) {
    long long const handle = startAndOpen();
    std::string bytes(100'000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    }
    auto writer = std::async(std::launch::async, [&] { return write(handle, bytes); });
    EXPECT_EQ(receive(line, bytes.size()), bytes);
    EXPECT_EQ(writer.get(), Code::NO_ERROR);
}

TEST_F(MX_SerialPortTransfer, ReadsAndWritesOnTwoThreadsAtOnce) {
    long long const handle = startAndOpen();
    constexpr std::size_t total = 200'000;
    std::atomic<bool> stop{false};
    auto echo = std::async(std::launch::async, [&] {  // the far end sends everything back
        std::vector<std::uint8_t> pending;
        while (!stop) {
            std::uint8_t buffer[1024];
            std::size_t const got = line.read(buffer, sizeof buffer);
            pending.insert(pending.end(), buffer, buffer + got);
            std::size_t const sent = line.write(pending.data(), pending.size());
            pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(sent));
            if (got == 0 && sent == 0) {
                pollfd far{line.descriptor(), POLLIN, 0};
                ::poll(&far, 1, 1);
            }
        }
    });
    auto reader = std::async(std::launch::async, [&] {
        std::string received;
        while (received.size() < total) {
            READ_PAYLOAD_TYPE payload = wanted(128);
            Code::Value const code = read(handle, 10 * second, payload);
            if (code != Code::NO_ERROR) {
                ADD_FAILURE() << "read ended with " << code;
                break;
            }
            received.append(payload.data.begin(), payload.data.end());
        }
        return received;
    });
    std::string sent;
    while (sent.size() < total) {
        std::string block(100, static_cast<char>('A' + sent.size() / 100 % 26));
        EXPECT_EQ(write(handle, block), Code::NO_ERROR);
        sent += block;
    }
    EXPECT_TRUE(reader.get() == sent);
    stop = true;
}

// ---- a line that takes no bytes

namespace {

/// Calls `write` on a thread and reports its code and when it returned.
struct Outcome {
    Code::Value code;
    Clock::time_point end;
};

}  // namespace

class MX_SerialPortWriteControl : public MX_SerialPortTest {
protected:
    std::future<Outcome> writeOnAThread(long long handle, std::size_t length) {
        return std::async(std::launch::async, [this, handle, length] {
            Code::Value const code = write(handle, std::string(length, 'w'));
            return Outcome{code, Clock::now()};
        });
    }

    Code::Value abandon(long long handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service.Abandon_Writes(handle, rc);
        return rc;
    }
    Code::Value resume(long long handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service.Resume_Writes(handle, rc);
        return rc;
    }

    /// True when the line takes bytes now, as the driver sees it.
    bool takesBytes() {
        bench::FileDescriptor const slave(
            ::open(line.slavePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        pollfd room{slave.get(), POLLOUT, 0};
        return ::poll(&room, 1, 0) == 1;
    }

    /// Takes everything out of the line at its far end; returns the number of bytes.
    std::size_t drain() {
        std::size_t total = 0;
        std::uint8_t buffer[4096];
        for (;;) {
            std::size_t const got = line.read(buffer, sizeof buffer);
            if (got == 0) {
                pollfd far{line.descriptor(), POLLIN, 0};
                if (::poll(&far, 1, 100) == 0) {
                    return total;
                }
            }
            total += got;
        }
    }
};

TEST_F(MX_SerialPortWriteControl, IsOfferedByTheService) {
    std::shared_ptr<FACE::IOSS::Serial::IO_Service> const port = std::make_shared<MX_SerialPort>();
    EXPECT_NE(std::dynamic_pointer_cast<FACE::IOSS::Serial::Write_Control>(port), nullptr);
}

TEST_F(MX_SerialPortWriteControl, GivesUpABlockedWriteWithin200Milliseconds) {
    long long const handle = startAndOpen();
    Clock::duration shortest = Clock::duration::max();
    // The bound is for a machine that gives the thread its time; others get some more trials.
    for (int trial = 0; trial < 5 && shortest > milliseconds(200); ++trial) {
        ASSERT_EQ(resume(handle), Code::NO_ERROR);
        auto writer = writeOnAThread(handle, 1'000'000);  // far more than the line holds
        ASSERT_TRUE(bench::holdsInTime([this] { return !takesBytes(); }));
        EXPECT_EQ(writer.wait_for(milliseconds(100)), std::future_status::timeout)
            << "a write waits as long as nobody abandons it";
        auto const request = Clock::now();
        ASSERT_EQ(abandon(handle), Code::NO_ERROR);
        ASSERT_EQ(writer.wait_for(std::chrono::seconds(30)), std::future_status::ready);
        Outcome const outcome = writer.get();
        EXPECT_EQ(outcome.code, Code::DATA_OVERFLOW) << "a part was taken";
        shortest = std::min(shortest, outcome.end - request);
        EXPECT_GT(drain(), 0u);
    }
    EXPECT_LE(shortest, milliseconds(200));
}

TEST_F(MX_SerialPortWriteControl, WorksAgainAfterAnAbandonedWrite) {
    long long const handle = startAndOpen();
    auto writer = writeOnAThread(handle, 1'000'000);
    ASSERT_TRUE(bench::holdsInTime([this] { return !takesBytes(); }));
    ASSERT_EQ(abandon(handle), Code::NO_ERROR);
    EXPECT_EQ(writer.get().code, Code::DATA_OVERFLOW);
    ASSERT_EQ(resume(handle), Code::NO_ERROR);
    drain();

    EXPECT_EQ(write(handle, "again"), Code::NO_ERROR);
    EXPECT_EQ(receive(line, 5), "again");
    send(line, "back");
    READ_PAYLOAD_TYPE payload = wanted(16);
    EXPECT_EQ(read(handle, second, payload), Code::NO_ERROR);
    EXPECT_EQ(text(payload), "back");
}

TEST_F(MX_SerialPortWriteControl, WhileAbandonedAWriteTakesWhatGoesWithoutWaiting) {
    long long const handle = startAndOpen();
    ASSERT_EQ(abandon(handle), Code::NO_ERROR);
    EXPECT_EQ(write(handle, "abc"), Code::NO_ERROR);
    EXPECT_EQ(receive(line, 3), "abc");

    EXPECT_EQ(write(handle, std::string(1'000'000, 'x')), Code::DATA_OVERFLOW);
    ASSERT_TRUE(bench::holdsInTime([&] { return write(handle, "y") == Code::NO_ACTION; }))
        << "not one byte goes into a full line";
}

TEST_F(MX_SerialPortWriteControl, AWaitingWriteGoesOnWhenTheLineTakesBytesAgain) {
    long long const handle = startAndOpen();
    constexpr std::size_t length = 100'000;
    auto writer = writeOnAThread(handle, length);
    ASSERT_TRUE(bench::holdsInTime([this] { return !takesBytes(); }));
    EXPECT_EQ(receive(line, length).size(), length);
    EXPECT_EQ(writer.get().code, Code::NO_ERROR);
}

TEST_F(MX_SerialPortWriteControl, GivesUpAWriteThatThePeerHoldsBackWithXoff) {
    values["Port1"]["FlowControl"] = "1";
    long long const handle = startAndOpen();
    std::uint8_t const xoff = 0x13;
    std::uint8_t const xon = 0x11;
    ASSERT_EQ(line.write(&xoff, 1), 1u);
    ASSERT_TRUE(bench::holdsInTime([this] { return !takesBytes(); }));

    auto writer = writeOnAThread(handle, 5);
    EXPECT_EQ(writer.wait_for(milliseconds(100)), std::future_status::timeout);
    ASSERT_EQ(abandon(handle), Code::NO_ERROR);
    EXPECT_EQ(writer.get().code, Code::NO_ACTION) << "not one byte was taken";
    ASSERT_EQ(resume(handle), Code::NO_ERROR);

    auto later = writeOnAThread(handle, 5);
    ASSERT_EQ(line.write(&xon, 1), 1u);
    EXPECT_EQ(later.get().code, Code::NO_ERROR);
    EXPECT_EQ(receive(line, 5), "wwwww");
}

TEST_F(MX_SerialPortWriteControl, ReopensAPortWhoseLineIsStalled) {
    long long const handle = startAndOpen();
    auto writer = writeOnAThread(handle, 1'000'000);
    ASSERT_TRUE(bench::holdsInTime([this] { return !takesBytes(); }));
    ASSERT_EQ(abandon(handle), Code::NO_ERROR);
    EXPECT_EQ(writer.get().code, Code::DATA_OVERFLOW);
    ASSERT_EQ(resume(handle), Code::NO_ERROR);

    EXPECT_EQ(configure(handle, {baudRate(9600)}), Code::NO_ERROR);
    drain();
    EXPECT_EQ(write(handle, "again"), Code::NO_ERROR);
    EXPECT_EQ(receive(line, 5), "again");
}

TEST_F(MX_SerialPortWriteControl, ConcernsOneConnectionOnly) {
    long long const first = startAndOpen();
    long long other = -1;
    ASSERT_EQ(open("Port2", other), Code::NO_ERROR);
    ASSERT_EQ(abandon(first), Code::NO_ERROR);
    constexpr std::size_t length = 100'000;
    auto writer = writeOnAThread(other, length);
    EXPECT_EQ(receive(line2, length).size(), length);
    EXPECT_EQ(writer.get().code, Code::NO_ERROR);
}
