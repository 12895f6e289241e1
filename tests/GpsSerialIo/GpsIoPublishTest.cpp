#include <sys/ioctl.h>

#include "bench/FpgaModel.h"
#include "face/MX_Devmem.h"
#include "platform/FpgaFace.h"
#include "tests/GpsSerialIo/GpsIoFixture.h"

namespace gps_io_test {
namespace {

using aspn2_msgs::idl::GSSIP;

/// What the link puts on its queue device. One process a test: a process opens its memory once.
class GpsIoPublish : public GpsIoFixture {
protected:
    static constexpr std::uint32_t uartStamps = 64;  // registers of the time stamp interface
    static constexpr std::uint32_t uartDelays = 48;
    static constexpr std::uint32_t pulseStamps = 32;

    /// The FPGA as this process sees it, with the stamps standing still unless set.
    void connectFpga() {
        bench::ExampleConfiguration::Settings settings;
        const bench::ExampleConfiguration configuration(settings);
        configuration.write(devices.temporary.path());
        bench::FpgaModel::Options options;
        options.uarts = channel + 1;
        fpga = std::make_unique<bench::FpgaModel>(devices.root.memoryPath(),
                                                  configuration.memoryRegions(), options);
        auto const memory = std::make_shared<FACE::IOSS::MX_Devmem>();
        auto code = FACE::RETURN_CODE_TYPE::NO_ACTION;
        memory->Set_Reference("Configuration", std::make_shared<FACE::MX_Config>(), 0, code);
        ASSERT_EQ(code, FACE::RETURN_CODE_TYPE::NO_ERROR);
        memory->Initialize(ioDevicesFile().c_str(), code);
        ASSERT_EQ(code, FACE::RETURN_CODE_TYPE::NO_ERROR);
        FpgaFace::InitFpga(memory);
    }
    void TearDown() override {
        GpsIoFixture::TearDown();
        FpgaFace::DoneFpga();
    }

    std::size_t queuedBytes() const {
        const bench::FileDescriptor queue(
            ::open(devices.root.queuePath(queuePort).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        int bytes = 0;
        EXPECT_EQ(::ioctl(queue.get(), FIONREAD, &bytes), 0);
        return static_cast<std::size_t>(bytes);
    }

    void setStamp(std::uint32_t index, std::uint64_t ticks) {
        fpga->write64("TimeStamp_Interface", index * 8, ticks);
    }

    /// The bytes of the frames that the link published, once there are so many.
    std::vector<Bytes> publishedFrames(std::size_t count) {
        EXPECT_TRUE(published.waitFor(count)) << unit.describe();
        std::vector<Bytes> frames;
        for (GSSIP const& record : published.all()) {
            frames.push_back(record.data());
            EXPECT_EQ(record.num_bytes(), static_cast<int>(record.data().size()));
        }
        return frames;
    }

    std::unique_ptr<bench::FpgaModel> fpga;
};

TEST_F(GpsIoPublish, PutsEveryFrameUnchangedOnTheQueue) {
    run({});
    std::vector<Bytes> sent;
    for (UnitFrame const& frame :
         {makeFrame(5040, 31, 0x8000), makeFrame(5044, 1, 0x9000), makeFrame(27532, 300, 0x8100),
          UnitFrame{8504, 0x8000, {}}, UnitFrame{8505, 0x9000, {}}}) {
        sent.push_back(frame.encode());
        unit.send(frame);
    }
    EXPECT_EQ(publishedFrames(sent.size()), sent);
}

TEST_F(GpsIoPublish, NumbersItsRecordsFromZeroUnderItsDeviceId) {
    run({});
    for (std::uint16_t id = 6000; id < 6003; ++id) {
        unit.send(makeFrame(id));
    }
    ASSERT_TRUE(published.waitFor(3)) << unit.describe();
    std::int64_t expected = 0;
    for (GSSIP const& record : published.all()) {
        EXPECT_EQ(record.header().seq_num(), expected++);
        EXPECT_EQ(record.header().device_id(), 0x01312E01);  // OSTREL, ZephonServer, 46, link 1
    }
}

TEST_F(GpsIoPublish, BearsTheLowByteOfItsPortInItsDeviceId) {
    construct({});
    auto const other = makeLink("Other", "Zephon", 0x1FE);
    Bytes frame = makeFrame(6000).encode();
    other->OnGpsMessageReceived(frame.data(), static_cast<unsigned int>(frame.size()), 0);
    ASSERT_TRUE(published.waitFor(1));
    EXPECT_EQ(published.all()[0].header().device_id(), 0x01312EFE);
}

TEST_F(GpsIoPublish, NeverPublishesTheHandshake) {
    run({});
    for (const std::uint16_t flags :
         std::initializer_list<std::uint16_t>{0x8800, 0x8400, 0x8200, 0x8A00, 0x8300, 0x9200}) {
        unit.send({5001, flags, {}});
    }
    unit.send(makeFrame(6000));
    EXPECT_EQ(publishedFrames(1), std::vector<Bytes>{makeFrame(6000).encode()});
}

TEST_F(GpsIoPublish, PublishesAnAckThatCarriesDataAndGoesOnWaitingForTheRealOne) {
    run({slow});
    unit.setReaction(handshaked, {Policy::Silence});
    ASSERT_TRUE(queue(makeMessage(handshaked), ""));
    ASSERT_TRUE(unit.waitForFrames(handshaked, 1, patience));
    unit.send(makeFrame(handshaked, 1, 0x8A00));
    ASSERT_TRUE(published.waitFor(1));
    EXPECT_TRUE(outcomes.all().empty());
    unit.send({handshaked, 0x8A00, {}});
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_TRUE(outcomes.all()[0].success);
    EXPECT_EQ(published.all().size(), 1U);
}

TEST_F(GpsIoPublish, KeepsListedIdentifiersFromTheQueueButAcknowledgesThem) {
    configure({});
    link->addToDoNotPublishList(6001);
    link->start();
    unit.send(makeFrame(6001));
    unit.send(makeFrame(6002));
    EXPECT_EQ(publishedFrames(1), std::vector<Bytes>{makeFrame(6002).encode()});
    EXPECT_TRUE(unit.waitForFrames(6001, 1, patience));
}

TEST_F(GpsIoPublish, PublishesWhatItDoesNotAcknowledge) {
    configure({});
    link->addToIgnoreACKRequestList(8504);
    link->start();
    unit.send(makeFrame(8504));
    EXPECT_EQ(publishedFrames(1), std::vector<Bytes>{makeFrame(8504).encode()});
    ASSERT_TRUE(acknowledges(marker));
    EXPECT_TRUE(unit.frames(8504).empty());
}

TEST_F(GpsIoPublish, NeverPublishesAFrameWithABadChecksum) {
    run({});
    Bytes bad = makeFrame(6001).encode();
    bad.back() ^= 1;
    unit.sendBytes(bad);
    unit.send(makeFrame(6002));
    EXPECT_EQ(publishedFrames(1), std::vector<Bytes>{makeFrame(6002).encode()});
}

TEST_F(GpsIoPublish, StampsBothTimesWithTheUartsStampWithoutAPulse) {
    connectFpga();
    setStamp(uartStamps + channel, 58982400);
    run({});
    unit.send(makeFrame(6000));
    ASSERT_TRUE(published.waitFor(1));
    const auto header = published.all()[0].header();
    for (auto const& stamp : {header.timestamp_arrival(), header.timestamp_valid()}) {
        EXPECT_EQ(stamp.sec(), 0);
        EXPECT_EQ(stamp.nsec(), 999999992);
        EXPECT_EQ(stamp.time_code(), 100);
    }
}

TEST_F(GpsIoPublish, TakesTheTimeOfValidityFromItsPulse) {
    connectFpga();
    setStamp(uartStamps + channel, 3 * 58982400ULL);
    setStamp(pulseStamps + 1, 2 * 58982400ULL);
    Setup setup;
    setup.pulseIndex = 1;
    run(setup);
    unit.send(makeFrame(6000));
    ASSERT_TRUE(published.waitFor(1));
    const auto header = published.all()[0].header();
    EXPECT_EQ(header.timestamp_arrival().sec(), 2);
    EXPECT_EQ(header.timestamp_valid().sec(), 1);
}

TEST_F(GpsIoPublish, StampsZeroTicksWithoutAnFpga) {
    run({});
    unit.send(makeFrame(6000));
    ASSERT_TRUE(published.waitFor(1));
    const auto header = published.all()[0].header();
    EXPECT_EQ(header.timestamp_arrival().nsec(), -8);
    EXPECT_EQ(header.timestamp_valid().nsec(), -8);
}

TEST_F(GpsIoPublish, TellsTheFpgaTheTimeOfTenCharacters) {
    connectFpga();
    Setup setup;
    setup.baud = 9600;
    configure(setup);
    EXPECT_EQ(fpga->read32("TimeStamp_Interface", (uartDelays + channel) * 8), 614400U);
    link->configure(4800, 1);  // with parity a character has eleven bits
    EXPECT_EQ(fpga->read32("TimeStamp_Interface", (uartDelays + channel) * 8), 1351680U);
}

TEST_F(GpsIoPublish, GoesOnWhenNobodyReadsItsQueue) {
    run({});
    // More than the pipe's 64 KiB: the rest is lost to the queue, and to nobody else.
    constexpr std::size_t frames = 1000;
    for (std::size_t i = 0; i < frames; ++i) {
        unit.send(makeFrame(6000, 31, 0x8000));
    }
    ASSERT_TRUE(acknowledges(marker));
    EXPECT_TRUE(published.waitFor(frames + 1)) << "the local echo";
    EXPECT_LT(queuedBytes(), frames * 130);
    EXPECT_LT(timeToStop(), stopLimit);
}

TEST_F(GpsIoPublish, RefusesAQueueThatIsNotConnected) {
    construct({});
    for (const long long connection : {queueConnection + 1, -1LL}) {
        try {
            const GpsIo other("Another", "Zephon", 2, -1, serial, deviceIds, gssipQueue, connection,
                              false);
            ADD_FAILURE() << "nothing was raised";
        } catch (std::runtime_error const& error) {
            EXPECT_NE(std::string(error.what()).find("NO_ACTION GSSIP Queue was not initialized"),
                      std::string::npos)
                << error.what();
        }
    }
}

}  // namespace
}  // namespace gps_io_test
