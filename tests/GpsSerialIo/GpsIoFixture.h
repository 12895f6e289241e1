#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "GpsSerialIo/GpsIo.h"
#include "bench/DeviceRoot.h"
#include "bench/ExampleConfiguration.h"
#include "bench/FileDescriptor.h"
#include "bench/Patience.h"
#include "bench/TemporaryFolder.h"
#include "bench/UnitModel.h"
#include "face/MX_Config.h"
#include "face/MX_SerialPort.h"
#include "tests/GpsSerialIo/OutputCapture.h"

namespace gps_io_test {

using namespace std::chrono_literals;
using bench::Policy;
using bench::UnitFrame;
using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

/// How long a test waits for what must come; only a failing test waits so long.
constexpr std::chrono::milliseconds patience = 10s;
/// Stopping takes at most three polls of 200 ms; the rest is for a busy machine.
constexpr auto stopLimit = 5s;

/// A message with a handshake, one without, and one that only marks a point in the traffic.
constexpr std::uint16_t handshaked = 5001;
constexpr std::uint16_t unanswered = 15050;
constexpr std::uint16_t marker = 15051;

/// Rates by their time-outs: 100 + 120 ms for what is to fail soon; 200 + 600 ms and no time on the
/// line for what is to succeed on a busy machine; 280 + 840 ms for what waits for the test itself.
constexpr int hasty = 921600;
constexpr int patient = 4000000;
constexpr int slow = 2400;

inline std::shared_ptr<Generic_MSID_Msg> makeMessage(std::uint16_t id, std::uint16_t words = 2,
                                                     std::uint16_t flags = 0x9000) {
    auto message = std::make_shared<Generic_MSID_Msg>();
    message->msgId = id;
    message->header[1] = id;
    message->header[3] = flags;
    message->set_gpsip_wdcnt(words);
    for (std::uint16_t i = 0; i < words; ++i) {
        message->data[i] = static_cast<std::uint16_t>(0x1100 + i);
    }
    return message;
}

/// The frame that makeMessage() describes, as the unit has it.
inline UnitFrame makeFrame(std::uint16_t id, std::uint16_t words = 2,
                           std::uint16_t flags = 0x9000) {
    UnitFrame frame{id, flags, {}};
    for (std::uint16_t i = 0; i < words; ++i) {
        frame.data.push_back(static_cast<std::uint16_t>(0x1100 + i));
    }
    return frame;
}

/// What the callbacks of a link heard, in order. Callbacks come on the protocol thread.
class Outcomes {
public:
    struct Outcome {
        std::string text;  ///< of the record that went with the message
        bool success;
    };

    GpsIo::MessageQueueItem_t::Callback callback() {
        return [this](aspn2_msgs::idl::CommandResponse const& response, bool success) {
            std::lock_guard<std::mutex> const lock(mutex_);
            heard_.push_back({response.command_response(), success});
            changed_.notify_all();
        };
    }

    bool waitFor(std::size_t count) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return bench::waitFor(changed_, lock, patience, [&] { return heard_.size() >= count; });
    }

    std::vector<Outcome> all() const {
        std::lock_guard<std::mutex> const lock(mutex_);
        return heard_;
    }

private:
    mutable std::mutex mutex_;  // guards heard_
    mutable std::condition_variable changed_;
    std::vector<Outcome> heard_;
};

/// What a link published, in order. Records come on its read thread.
class Publications {
public:
    GssipMcsq::Callback callback() {
        return [this](aspn2_msgs::idl::GSSIP const& record) {
            std::lock_guard<std::mutex> const lock(mutex_);
            records_.push_back(record);
            changed_.notify_all();
        };
    }

    bool waitFor(std::size_t count) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return bench::waitFor(changed_, lock, patience, [&] { return records_.size() >= count; });
    }

    std::vector<aspn2_msgs::idl::GSSIP> all() const {
        std::lock_guard<std::mutex> const lock(mutex_);
        return records_;
    }

private:
    mutable std::mutex mutex_;  // guards records_
    mutable std::condition_variable changed_;
    std::vector<aspn2_msgs::idl::GSSIP> records_;
};

/// A folder of devices that this process sees in place of /dev while the object lives.
class DeviceFolder {
public:
    DeviceFolder() { ::setenv(bench::DeviceRoot::environmentVariable, root.path().c_str(), 1); }
    ~DeviceFolder() { ::unsetenv(bench::DeviceRoot::environmentVariable); }
    DeviceFolder(DeviceFolder const&) = delete;
    DeviceFolder& operator=(DeviceFolder const&) = delete;

    bench::TemporaryFolder temporary;
    bench::DeviceRoot root{temporary.path() / "dev"};
};

/// A link on a pseudo-terminal with the unit's model at the far end, and a named pipe that nobody
/// reads as its queue device. Nothing but the unit is simulated: services, configuration and link
/// are the real ones.
class GpsIoFixture : public testing::Test {
protected:
    static constexpr unsigned channel = 4;
    static constexpr unsigned queuePort = 3;  // of "PNTD_MX" in the configuration

    GpsIoFixture() { devices.root.makeQueue(queuePort); }

    struct Setup {
        int baud = patient;
        int parity = 0;
        bool debug = false;
        std::string name = "Link one";
        short pulseIndex = -1;
    };

    void TearDown() override { link.reset(); }

    /// Writes the configuration and constructs the serial service and the link on it.
    template <typename SerialService = FACE::IOSS::MX_SerialPort, typename Link = GpsIo>
    Link& construct(Setup const& setup) {
        bench::ExampleConfiguration::Settings settings;
        settings.baud = setup.baud;
        settings.parity = setup.parity;
        settings.channels = {channel, channel + 1, channel + 2};
        bench::ExampleConfiguration(settings).write(devices.temporary.path());
        devices.root.linkSerial(channel, unit.devicePath());

        auto const configuration = std::make_shared<FACE::MX_Config>();
        auto const service = std::make_shared<SerialService>();
        auto code = FACE::RETURN_CODE_TYPE::NO_ACTION;
        service->Set_Reference("Configuration", configuration, 0, code);
        EXPECT_EQ(code, FACE::RETURN_CODE_TYPE::NO_ERROR);
        service->Initialize(ioDevicesFile().c_str(), code);
        EXPECT_EQ(code, FACE::RETURN_CODE_TYPE::NO_ERROR);
        serial = service;
        connectQueue(setup.name);
        auto made = std::make_unique<Link>(setup.name, "Zephon", static_cast<unsigned short>(1),
                                           setup.pulseIndex, serial, deviceIds, gssipQueue,
                                           queueConnection, setup.debug);
        Link& reference = *made;
        link = std::move(made);
        return reference;
    }

    std::string ioDevicesFile() const {
        return devices.temporary.path() /
               bench::ExampleConfiguration::fileName(bench::ExampleConfiguration::File::IoDevices);
    }

    void connectQueue(std::string const& name) {
        gssipQueue = std::make_shared<GssipMcsq>(name);
        auto code = FACE::RETURN_CODE_TYPE::NO_ACTION;
        gssipQueue->Connect_IOWrite(ioDevicesFile().c_str(), "PNTD_MX", queueConnection,
                                    published.callback(), code);
        EXPECT_EQ(code, FACE::RETURN_CODE_TYPE::NO_ERROR);
    }

    /// One more link on the same services, after construct().
    std::unique_ptr<GpsIo> makeLink(std::string const& name, std::string const& prefix,
                                    unsigned short port, bool debug = false) {
        return std::make_unique<GpsIo>(name, prefix, port, static_cast<short>(-1), serial,
                                       deviceIds, gssipQueue, queueConnection, debug);
    }

    /// A link that is open, with the marker and one more message free of the handshake.
    void configure(Setup const& setup) {
        construct(setup);
        configureLink();
    }

    void configureLink() {
        link->configure();
        link->addToNoHandshakeList(unanswered);
        link->addToNoHandshakeList(marker);
    }

    void run(Setup const& setup) {
        configure(setup);
        link->start();
    }

    bool queue(std::shared_ptr<GssipMessage> message, unsigned int level = 1) {
        return link->protocolQueue().emplace_back(level, std::move(message));
    }

    /// Queues a message whose outcome is heard under the given text.
    bool queue(std::shared_ptr<GssipMessage> message, std::string const& text) {
        aspn2_msgs::idl::CommandResponse record;
        record.command_response(text);
        return link->protocolQueue().emplace_back(1, std::move(message), outcomes.callback(),
                                                  record);
    }

    /// Sends one handshaked message and tells whether the link called it a success.
    bool exchange(std::uint16_t id = handshaked) {
        std::size_t const before = outcomes.all().size();
        EXPECT_TRUE(queue(makeMessage(id), std::to_string(id)));
        EXPECT_TRUE(outcomes.waitFor(before + 1)) << unit.describe();
        auto const heard = outcomes.all();
        return heard.size() > before && heard[before].success;
    }

    /// Frames of this id that the unit got up to now: a marker is sent behind them.
    std::size_t transmissions(std::uint16_t id) {
        EXPECT_TRUE(queue(makeMessage(marker, 1, 0x8000)));
        EXPECT_TRUE(unit.waitForFrames(marker, ++markers_, patience)) << unit.describe();
        return unit.frames(id).size();
    }

    /// Has the unit ask for an ACK under this id and waits for it: the link is alive, and all that
    /// came before has been dealt with.
    bool acknowledges(std::uint16_t id) {
        std::size_t const before = unit.frames(id).size();
        unit.send(makeFrame(id));
        return unit.waitForFrames(id, before + 1, patience);
    }

    /// Fills the line up to the last byte that it takes, as a peer that does not read does.
    void blockLine() {
        unit.stopReading();
        // The byte has left the unit only when it knows that it reads no longer.
        unit.sendBytes({0});
        ASSERT_TRUE(unit.waitUntilSent(patience));
        bench::FileDescriptor const slave(
            ::open(unit.devicePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        // A full line makes room once more when the system hands a part to the reader's side,
        // and tells nobody of it: full is a line that takes nothing for 200 ms.
        auto const end = Clock::now() + patience;
        for (int quietRounds = 0; quietRounds < 4; ++quietRounds) {
            ASSERT_LT(Clock::now(), end) << "the line never gets full";
            std::this_thread::sleep_for(50ms);
            for (std::size_t size = 1024; size > 0;) {
                Bytes const piece(size, 0);
                if (::write(slave.get(), piece.data(), piece.size()) > 0) {
                    quietRounds = 0;
                } else {
                    size /= 2;
                }
            }
        }
    }

    std::chrono::milliseconds timeToStop() {
        auto const begin = Clock::now();
        link->stop();
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    }

    /// The beginning of the link's lines that come from the named thread function.
    std::string line(std::string const& function, std::string const& text) const {
        return "Link one: " + function + "() " + text + "\n";
    }
    std::string protocolLine(std::string const& text) const {
        return line("protocolThreadFunction", text);
    }

    DeviceFolder devices;  // first: the environment is set while no thread runs
    bench::UnitModel unit;
    OutputCapture output;
    Outcomes outcomes;
    Publications published;
    ASPN2::DeviceIdFactory const deviceIds{"OSTREL", 49};
    std::shared_ptr<GssipMcsq> gssipQueue;
    long long queueConnection = -1;
    std::shared_ptr<FACE::IOSS::Serial::IO_Service> serial;
    std::unique_ptr<GpsIo> link;

private:
    std::size_t markers_ = 0;
};

}  // namespace gps_io_test
