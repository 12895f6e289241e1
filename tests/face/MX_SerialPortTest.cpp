#include <cerrno>
#include <cstdarg>
#include <linux/serial.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/syscall.h>

#include "tests/face/EveryIoOperation.h"
#include "tests/face/MX_SerialPortFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// The driver's own structure of a serial port, which a pseudo-terminal does not have.
struct SerialDriver {
    serial_struct present{};
    bool takes = true;                   // whether it agrees to what is written
    std::optional<serial_struct> taken;  // what was written last
};

SerialDriver* driver = nullptr;  // null: the system answers

/// Answers for the driver while it lives.
class DriverInPlay {
public:
    explicit DriverInPlay(SerialDriver& answers) { driver = &answers; }
    ~DriverInPlay() { driver = nullptr; }
    DriverInPlay(DriverInPlay const&) = delete;
    DriverInPlay& operator=(DriverInPlay const&) = delete;
};

}  // namespace

/// This program answers the two calls itself where a test says so; all others go to the system.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (driver != nullptr && request == TIOCGSERIAL) {
        *static_cast<serial_struct*>(argument) = driver->present;
        return 0;
    }
    if (driver != nullptr && request == TIOCSSERIAL) {
        driver->taken = *static_cast<serial_struct const*>(argument);
        errno = EPERM;
        return driver->takes ? 0 : -1;
    }
    return static_cast<int>(::syscall(SYS_ioctl, descriptor, request, argument));
}

// ---- configuration and opening

TEST_F(MX_SerialPortTest, TakesOneConfigurationOnly) {
    Code::Value rc = Code::IN_PROGRESS;
    service.Set_Reference("Configuration", nullptr, 0, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    service.Set_Reference("Configuration", config, 0, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    service.Set_Reference("Configuration", std::make_shared<CountingConfig>(), 0, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    service.Set_Reference("Configuration", nullptr, 0, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
}

TEST_F(MX_SerialPortTest, InitializesOnce) {
    start();
    Code::Value rc = Code::IN_PROGRESS;
    service.Initialize("/nowhere.xml", rc);
    EXPECT_EQ(rc, Code::NO_ACTION);
}

TEST_F(MX_SerialPortTest, InitializesOnAConfigurationThatIsLoadedAlready) {
    Code::Value rc = Code::IN_PROGRESS;
    config->Initialize(configFile().c_str(), rc);
    ASSERT_EQ(rc, Code::NO_ERROR);
    start();
}

TEST_F(MX_SerialPortTest, RefusesToInitializeWithoutALoadableConfiguration) {
    Code::Value rc = Code::IN_PROGRESS;
    service.Initialize(configFile().c_str(), rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG) << "no reference";
    service.Set_Reference("Configuration", config, 0, rc);
    service.Initialize("/nowhere.xml", rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG) << "no file";
    service.Initialize(FACE::String(nullptr), rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM) << "no name";
    service.Initialize(configFile().c_str(), rc);
    EXPECT_EQ(rc, Code::NO_ERROR) << "it may be tried again";
}

TEST_F(MX_SerialPortTest, OpensPortsUnderHandlesThatCountFromZero) {
    start();
    long long handle = -7;
    EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, 0);
    EXPECT_EQ(open("Port2", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, 1);
    EXPECT_EQ(state(0), State::OPEN);
    EXPECT_EQ(state(1), State::OPEN);
}

TEST_F(MX_SerialPortTest, ASecondOpenGivesTheSameHandleWithoutReadingTheConfiguration) {
    long long const first = startAndOpen();
    EXPECT_EQ(config->opened, 1);
    long long handle = -7;
    EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, first);
    EXPECT_EQ(config->opened, 1);
}

TEST_F(MX_SerialPortTest, RefusesAnUnknownContainer) {
    start();
    long long handle = -7;
    EXPECT_EQ(open("Port9", handle), Code::INVALID_CONFIG);
    EXPECT_EQ(handle, -1);
}

TEST_F(MX_SerialPortTest, RefusesAContainerThatLacksAParameterAndAddsNoConnection) {
    for (auto const& [key, value] : plain("1")) {
        values[key] = plain("1");
        values[key].erase(key);
    }
    start();
    for (auto const& [key, value] : plain("1")) {
        long long handle = -7;
        testing::internal::CaptureStdout();
        EXPECT_EQ(open(key.c_str(), handle), Code::INVALID_CONFIG) << key;
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "WARNING - Parameter " + key + " not found\n");
        EXPECT_EQ(handle, -1);
    }
    long long handle = -7;
    EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, 0);
}

TEST_F(MX_SerialPortTest, RefusesAnInvalidNameAndAnOpenWithoutConfiguration) {
    long long handle = -7;
    EXPECT_EQ(open("Port1", handle), Code::INVALID_CONFIG);
    EXPECT_EQ(handle, -1);
    EXPECT_EQ(open(nullptr, handle), Code::INVALID_PARAM);
    EXPECT_EQ(handle, -1);
}

TEST_F(MX_SerialPortTest, ReadsNumbersOfAnyBase) {
    values["Port1"]["ChannelNum"] = "0x2";
    values["Port1"]["Baudrate"] = "0x2580";  // 9600
    values["Port1"]["StopBits"] = "02";
    startAndOpen();
    termios const settings = terminal(line2);
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B9600});
    EXPECT_EQ(settings.c_cflag & CSTOPB, tcflag_t{CSTOPB});
}

TEST_F(MX_SerialPortTest, SaysNothingWhenTheDeviceDoesNotOpenAndTriesAgainLater) {
    root.removeSerial(1);
    start();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    long long handle = -7;
    EXPECT_EQ(open("Port1", handle), Code::NO_ACTION);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(handle, -1);

    EXPECT_EQ(open("Port1", handle), Code::NO_ACTION) << "the entry is there, the device not";
    EXPECT_EQ(handle, -1);
    EXPECT_EQ(close(0), Code::CONNECTION_CLOSED);
    EXPECT_EQ(open("Port2", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, 1);

    root.linkSerial(1, line.slavePath());
    EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, 0);
    EXPECT_EQ(config->opened, 2);
}

TEST_F(MX_SerialPortTest, SetsTheLineRawAtTheSpeedOfTheConfiguration) {
    startAndOpen();
    termios const settings = terminal(line);
    EXPECT_EQ(settings.c_lflag & (ECHO | ICANON | ISIG | IEXTEN), tcflag_t{0});
    EXPECT_EQ(settings.c_oflag & OPOST, tcflag_t{0});
    EXPECT_EQ(settings.c_iflag & (IXON | IXOFF | IXANY | ICRNL | ISTRIP), tcflag_t{0});
    EXPECT_EQ(settings.c_cflag & (CREAD | CLOCAL), tcflag_t{CREAD | CLOCAL});
    EXPECT_EQ(settings.c_cflag & (CSTOPB | CRTSCTS | PARENB), tcflag_t{0});
    EXPECT_EQ(settings.c_cc[VTIME], 0);
    EXPECT_EQ(settings.c_cc[VMIN], 0);
    EXPECT_EQ(cfgetispeed(&settings), speed_t{B115200});
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B115200});
}

TEST_F(MX_SerialPortTest, PassesEveryByteUnchanged) {
    long long const handle = startAndOpen();
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(write(handle, all), Code::NO_ERROR);
    EXPECT_EQ(receive(line, all.size()), all);

    std::string back;
    send(line, all);
    while (back.size() < all.size()) {
        READ_PAYLOAD_TYPE payload = wanted(256);
        ASSERT_EQ(read(handle, second, payload), Code::NO_ERROR);
        back.append(payload.data.begin(), payload.data.end());
    }
    EXPECT_EQ(back, all);
}

TEST_F(MX_SerialPortTest, SetsStopBitsAndFlowControlOnTheLine) {
    values["Port1"]["StopBits"] = "2";
    values["Port1"]["FlowControl"] = "2";
    values["Port2"]["FlowControl"] = "1";
    startAndOpen();
    long long handle = -1;
    ASSERT_EQ(open("Port2", handle), Code::NO_ERROR);
    EXPECT_EQ(terminal(line).c_cflag & (CSTOPB | CRTSCTS), tcflag_t{CSTOPB | CRTSCTS});
    EXPECT_EQ(terminal(line2).c_iflag & (IXON | IXOFF | IXANY), tcflag_t{IXON | IXOFF | IXANY});
}

TEST_F(MX_SerialPortTest, OpensThoughTheDriverCannotHoldTheParity) {
    values["Port1"]["Parity"] = "1";  // a pseudo-terminal has none, and says so
    long long const handle = startAndOpen();
    EXPECT_EQ(state(handle), State::OPEN);
}

TEST_F(MX_SerialPortTest, DropsWhatArrivedBeforeTheOpen) {
    start();
    send(line, "old");
    long long handle = -1;
    ASSERT_EQ(open("Port1", handle), Code::NO_ERROR);
    READ_PAYLOAD_TYPE payload = wanted(16);
    EXPECT_EQ(read(handle, 0, payload), Code::NOT_AVAILABLE);
}

TEST_F(MX_SerialPortTest, HasTheDriverHandOnWhatComesAtOnce) {
    start();
    SerialDriver answers;
    answers.present.flags = ASYNC_SPD_HI;
    answers.present.close_delay = 50;
    long long handle = -1;
    {
        DriverInPlay const play(answers);
        ASSERT_EQ(open("Port1", handle), Code::NO_ERROR);
    }
    ASSERT_TRUE(answers.taken);
    EXPECT_EQ(answers.taken->flags, ASYNC_SPD_HI | ASYNC_LOW_LATENCY);
    EXPECT_EQ(answers.taken->close_delay, 50) << "the rest as it was";
}

TEST_F(MX_SerialPortTest, OpensThoughTheDriverRefusesToHandOnAtOnce) {
    start();
    SerialDriver answers;
    answers.takes = false;
    long long handle = -1;
    {
        DriverInPlay const play(answers);
        EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
    }
    EXPECT_TRUE(answers.taken);
    EXPECT_EQ(state(handle), State::OPEN);
}

TEST_F(MX_SerialPortTest, OpensCloseOnExec) {
    startAndOpen();
    for (int const descriptor : descriptorsOn(line)) {
        EXPECT_EQ(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    }
}

TEST_F(MX_SerialPortTest, OpensDegradedWithAnUnlistedBaudRateAtTheDriversEarlierSpeed) {
    {
        termios settings = terminal(line);
        cfsetispeed(&settings, B19200);
        cfsetospeed(&settings, B19200);
        bench::FileDescriptor const slave(
            ::open(line.slavePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
        ASSERT_EQ(::tcsetattr(slave.get(), TCSANOW, &settings), 0);
    }
    values["Port1"]["Baudrate"] = "12345";
    start();
    testing::internal::CaptureStdout();
    long long handle = -7;
    EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "MX_SerialPort error opening " +
                                                          root.serialPath(1).string() +
                                                          ": Invalid baud rate parameter 12345\n");
    EXPECT_EQ(handle, 0);
    EXPECT_EQ(state(handle), State::DEGRADED);
    EXPECT_EQ(static_cast<int>(state(handle)), 4);
    termios const settings = terminal(line);
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B19200});

    EXPECT_EQ(write(handle, "abc"), Code::NO_ERROR) << "a degraded port works";
    EXPECT_EQ(receive(line, 3), "abc");
    send(line, "xy");
    READ_PAYLOAD_TYPE payload = wanted(16);
    EXPECT_EQ(read(handle, second, payload), Code::NO_ERROR);
}

TEST_F(MX_SerialPortTest, ReportsEachRefusedSettingOnALineOfItsOwn) {
    Values& port = values["Port1"];
    port["Baudrate"] = "-1";
    port["Parity"] = "5";
    port["StopBits"] = "3";
    port["DataBits"] = "9";
    port["FlowControl"] = "3";
    start();
    testing::internal::CaptureStdout();
    long long handle = -7;
    EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
    std::string const begin = "MX_SerialPort error opening " + root.serialPath(1).string();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              begin + ": Invalid baud rate parameter -1\n" + begin +
                  ": Invalid parity parameter 5\n" + begin + ": Invalid stop bits parameter 3\n" +
                  begin + ": Invalid data bits parameter 9\n" + begin +
                  ": Invalid flow control parameter 3\n");
    EXPECT_EQ(state(handle), State::DEGRADED);
}

// ---- closing

TEST_F(MX_SerialPortTest, ClosesAndReopensUnderTheSameHandle) {
    long long const handle = startAndOpen();
    std::size_t const open1 = descriptorsOn(line).size();
    EXPECT_EQ(close(handle), Code::NO_ERROR);
    EXPECT_LT(descriptorsOn(line).size(), open1);
    EXPECT_EQ(close(handle), Code::CONNECTION_CLOSED);

    long long again = -7;
    EXPECT_EQ(open("Port1", again), Code::NO_ERROR);
    EXPECT_EQ(again, handle);
    EXPECT_EQ(descriptorsOn(line).size(), open1);
    EXPECT_EQ(config->opened, 1);
}

TEST_F(MX_SerialPortTest, TheDestructorClosesEveryConnection) {
    std::size_t const before = descriptorsOn(line).size() + descriptorsOn(line2).size();
    {
        MX_SerialPort other;
        Code::Value rc = Code::IN_PROGRESS;
        long long handle = -1;
        other.Set_Reference("Configuration", config, 0, rc);
        other.Initialize(configFile().c_str(), rc);
        other.Open_Connection("Port1", 0, handle, rc);
        other.Open_Connection("Port2", 0, handle, rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
        EXPECT_GT(descriptorsOn(line).size() + descriptorsOn(line2).size(), before);
    }
    EXPECT_EQ(descriptorsOn(line).size() + descriptorsOn(line2).size(), before);
}

TEST_F(MX_SerialPortTest, StaysOpenInNameWhenTheSystemRefusesToClose) {
    start();
    std::vector<int> const before = descriptorsOn(line);
    long long handle = -7;
    ASSERT_EQ(open("Port1", handle), Code::NO_ERROR);
    for (int const descriptor : descriptorsOn(line)) {
        if (std::find(before.begin(), before.end(), descriptor) == before.end()) {
            ::close(descriptor);  // behind the service's back
        }
    }
    EXPECT_EQ(close(handle), Code::NO_ACTION);
    EXPECT_EQ(state(handle), State::OPEN);
    READ_PAYLOAD_TYPE payload = wanted(1);
    EXPECT_EQ(read(handle, 0, payload), Code::NO_ACTION);
    EXPECT_EQ(write(handle, "a"), Code::NO_ACTION);

    EXPECT_EQ(close(handle), Code::NO_ERROR) << "there is nothing left to refuse";
    EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
    EXPECT_EQ(write(handle, "a"), Code::NO_ERROR);
}

// ---- the common checks

namespace {

/// Every operation on a handle, with the code that it gives.
/// The bus's own two operations before those of every bus, which end with a close.
std::map<std::string, Code::Value> everyOperation(MX_SerialPort& service, long long handle) {
    Code::Value abandoned = Code::IN_PROGRESS;
    Code::Value resumed = Code::IN_PROGRESS;
    service.Abandon_Writes(handle, abandoned);
    service.Resume_Writes(handle, resumed);
    auto codes = everyIoOperation(service, handle);
    codes["Abandon_Writes"] = abandoned;
    codes["Resume_Writes"] = resumed;
    return codes;
}

}  // namespace

TEST_F(MX_SerialPortTest, RefusesABadHandleInEveryOperation) {
    startAndOpen();
    for (long long const handle : {-1LL, 1LL, 0x1FFFFFFFFLL, 0x100000001LL}) {
        for (auto const& [operation, code] : everyOperation(service, handle)) {
            EXPECT_EQ(code, Code::INVALID_PARAM) << operation << ' ' << handle;
        }
    }
    EXPECT_EQ(state(0), State::OPEN);
}

TEST_F(MX_SerialPortTest, LooksAtTheLow32BitsOfAHandle) {
    startAndOpen();
    EXPECT_EQ(write(0x500000000LL, "a"), Code::NO_ERROR);
    EXPECT_EQ(receive(line, 1), "a");
}

TEST_F(MX_SerialPortTest, AnswersEveryOperationOnAnOpenConnection) {
    long long const handle = startAndOpen();
    std::map<std::string, Code::Value> const expected{
        {"Read", Code::NOT_AVAILABLE},
        {"Write", Code::NO_ERROR},
        {"Configure_Connection_Parameters", Code::NO_ACTION},
        {"Get_Connection_Configuration", Code::NO_ERROR},
        {"Configure_Bus_Parameters", Code::NO_ACTION},
        {"Get_Bus_Configuration", Code::NO_ERROR},
        {"Get_Connection_Status", Code::NO_ERROR},
        {"Get_Bus_Status", Code::NO_ERROR},
        {"Register_Notification_Event", Code::NO_ACTION},
        {"Unregister_Notification_Event", Code::NO_ACTION},
        {"Abandon_Writes", Code::NO_ERROR},
        {"Resume_Writes", Code::NO_ERROR},
        {"Close_Connection", Code::NO_ERROR}};
    EXPECT_EQ(everyOperation(service, handle), expected);
}

TEST_F(MX_SerialPortTest, AnswersEveryOperationOnAClosedConnection) {
    long long const handle = startAndOpen();
    ASSERT_EQ(close(handle), Code::NO_ERROR);
    std::map<std::string, Code::Value> const expected{
        {"Read", Code::CONNECTION_CLOSED},
        {"Write", Code::CONNECTION_CLOSED},
        {"Configure_Connection_Parameters", Code::CONNECTION_CLOSED},
        {"Get_Connection_Configuration", Code::NO_ERROR},
        {"Configure_Bus_Parameters", Code::CONNECTION_CLOSED},
        {"Get_Bus_Configuration", Code::NO_ERROR},
        {"Get_Connection_Status", Code::CONNECTION_CLOSED},
        {"Get_Bus_Status", Code::NO_ERROR},
        {"Register_Notification_Event", Code::CONNECTION_CLOSED},
        {"Unregister_Notification_Event", Code::NO_ACTION},
        {"Abandon_Writes", Code::NO_ERROR},
        {"Resume_Writes", Code::NO_ERROR},
        {"Close_Connection", Code::CONNECTION_CLOSED}};
    EXPECT_EQ(everyOperation(service, handle), expected);
}

TEST_F(MX_SerialPortTest, TellsTheStatusOfAConnection) {
    long long const handle = startAndOpen();
    FACE::IOSS::CONNECTION_STATUS_TYPE status;
    status.timestamp = 7;
    status.available = 7;
    Code::Value rc = Code::IN_PROGRESS;
    service.Get_Connection_Status(handle, status, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(status.timestamp, 0);
    EXPECT_EQ(status.available, 1);
    EXPECT_EQ(static_cast<int>(status.state), 2);
}

// ---- settings

TEST_F(MX_SerialPortTest, TellsTheSettingsOfAConnection) {
    values["Port1"] = {{"ChannelNum", "1"}, {"SerialMode", "-3"}, {"Baudrate", "9600"},
                       {"DataBits", "7"},   {"StopBits", "2"},    {"Parity", "4"},
                       {"FlowControl", "2"}};
    long long const handle = startAndOpen();
    IO_PARAMETER_TRANSACTION_TYPE transaction;
    for (std::uint16_t kind = 0; kind < 7; ++kind) {
        IO_PARAMETER parameter;
        parameter.kind = kind;
        transaction.parameters.append(parameter);
    }
    Code::Value rc = Code::IN_PROGRESS;
    service.Get_Bus_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    FACE::IOSS::SerialSettings settings;
    for (IO_PARAMETER const& parameter : transaction.parameters) {
        EXPECT_TRUE(FACE::IOSS::SetSerialParameter(parameter, settings)) << parameter.kind;
    }
    EXPECT_EQ(settings.channel, 1);
    EXPECT_EQ(settings.serialMode, -3);
    EXPECT_EQ(settings.baudRate, 9600);
    EXPECT_EQ(settings.dataBits, 7);
    EXPECT_EQ(settings.stopBits, 2);
    EXPECT_EQ(settings.parity, 4);
    EXPECT_EQ(settings.flowControl, 2);
}

TEST_F(MX_SerialPortTest, RefusesAnUnknownKindInAQueryAndFillsTheOthers) {
    long long const handle = startAndOpen();
    IO_PARAMETER_TRANSACTION_TYPE transaction;
    IO_PARAMETER unknown;
    unknown.kind = 7;
    transaction.parameters.append(unknown);
    transaction.parameters.append(baudRate(0));
    Code::Value rc = Code::IN_PROGRESS;
    service.Get_Connection_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    EXPECT_EQ(transaction.parameters[1]->value.long_value(), 115200);
}

TEST_F(MX_SerialPortTest, DoesNothingWithAnInvalidTransaction) {
    long long const handle = startAndOpen();
    FACE::Sequence<IO_PARAMETER>::RETURN_CODE code;
    FACE::Sequence<IO_PARAMETER> const invalid(0, code);
    ASSERT_FALSE(invalid.is_valid());
    IO_PARAMETER_TRANSACTION_TYPE transaction;
    transaction.parameters = invalid;
    Code::Value rc = Code::IN_PROGRESS;
    service.Get_Connection_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    service.Get_Bus_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    service.Configure_Bus_Parameters(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ACTION);
}

TEST_F(MX_SerialPortTest, ChangesSettingsOfALivePort) {
    long long const handle = startAndOpen();
    EXPECT_EQ(configure(handle, {baudRate(9600)}), Code::NO_ERROR);
    termios const settings = terminal(line);
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B9600});
    EXPECT_EQ(state(handle), State::OPEN);
    EXPECT_EQ(write(handle, "abc"), Code::NO_ERROR);
    EXPECT_EQ(receive(line, 3), "abc");
}

TEST_F(MX_SerialPortTest, TheLastValueOfAKindWins) {
    long long const handle = startAndOpen();
    EXPECT_EQ(configure(handle, {baudRate(9600), baudRate(19200)}), Code::NO_ERROR);
    termios const settings = terminal(line);
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B19200});
}

TEST_F(MX_SerialPortTest, MovesToAnotherDeviceWithTheChannel) {
    long long const handle = startAndOpen();
    EXPECT_EQ(configure(handle, {channel(2)}), Code::NO_ERROR);
    EXPECT_EQ(write(handle, "abc"), Code::NO_ERROR);
    EXPECT_EQ(receive(line2, 3), "abc");
    send(line2, "x");
    READ_PAYLOAD_TYPE payload = wanted(16);
    EXPECT_EQ(read(handle, second, payload), Code::NO_ERROR);
    EXPECT_EQ(payload.channel, 2);
}

TEST_F(MX_SerialPortTest, ChangesNothingWhenAnElementIsWrong) {
    long long const handle = startAndOpen();
    IO_PARAMETER dataBits;
    dataBits.kind = Kind::DATA_BITS;
    dataBits.value.long_value(7);
    EXPECT_EQ(configure(handle, {baudRate(9600), dataBits}), Code::INVALID_PARAM);
    IO_PARAMETER unknown;
    unknown.kind = 7;
    EXPECT_EQ(configure(handle, {unknown, baudRate(9600)}), Code::INVALID_PARAM);

    termios const settings = terminal(line);
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B115200});
    IO_PARAMETER_TRANSACTION_TYPE transaction;
    transaction.parameters.append(baudRate(0));
    Code::Value rc = Code::IN_PROGRESS;
    service.Get_Bus_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(transaction.parameters[0]->value.long_value(), 115200);
}

TEST_F(MX_SerialPortTest, AChangeToARefusedSettingDegradesThePort) {
    long long const handle = startAndOpen();
    testing::internal::CaptureStdout();
    EXPECT_EQ(configure(handle, {baudRate(0)}), Code::NO_ERROR);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "MX_SerialPort error opening " +
                                                          root.serialPath(1).string() +
                                                          ": Invalid baud rate parameter 0\n");
    EXPECT_EQ(state(handle), State::DEGRADED);
    EXPECT_EQ(configure(handle, {baudRate(9600)}), Code::NO_ERROR);
    EXPECT_EQ(state(handle), State::OPEN);
}

TEST_F(MX_SerialPortTest, AChangeToADeviceThatDoesNotOpenClosesThePort) {
    long long const handle = startAndOpen();
    EXPECT_EQ(configure(handle, {channel(9)}), Code::NO_ACTION);
    EXPECT_EQ(write(handle, "a"), Code::CONNECTION_CLOSED);
    EXPECT_EQ(configure(handle, {channel(1)}), Code::CONNECTION_CLOSED);
}
