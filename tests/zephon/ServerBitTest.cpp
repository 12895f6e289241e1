// What the PNT device and the computer's BIT server tell of their built-in tests, in a server in
// this process.

#include <string>
#include <vector>

#include "tests/system/EventReader.h"
#include "tests/zephon/GssipRecords.h"
#include "tests/zephon/ReceiverFrames.h"
#include "tests/zephon/ZephonServerFixture.h"

namespace {

using bench::UnitFrame;

class ServerBit : public ZephonServerFixture {
protected:
    void receive(UnitFrame const& frame, unsigned char source = pntDevice) {
        server->cbGssip(makeRecord(frame, source));
    }
    void receive(FrameBytes bytes, std::size_t length) {
        bytes.resize(length);
        server->cbGssip(makeRecord(std::move(bytes), pntDevice));
    }
};

// ---- Message 27532

UnitFrame makeDeviceStatus(std::uint8_t kind, std::uint8_t byte10, std::uint8_t byte11) {
    auto frame = emptyFrame(27532, 9, UnitFrame::linkReady);
    frame.data[4] = kind;
    frame.data[5] = static_cast<std::uint16_t>(byte10 | byte11 << 8U);
    return frame;
}

TEST_F(ServerBit, ADataTransferIsToldWithUnitPortAndOutcome) {
    startAll();
    const EventReader events(bench);
    receive(makeDeviceStatus(1, 0x09, 1).encode(), 28);  // a word short
    receive(makeDeviceStatus(1, 0x09, 1).encode(), 32);  // and one more
    receive(makeDeviceStatus(0, 0x0A, 2));               // a kind that nobody knows
    receive(makeDeviceStatus(4, 0x0A, 2));
    std::vector<std::string> const expected{
        "Data Transfer Status ZP:1 COM1 In Progress", "Data Transfer Status ZP:4 COM3 Failed",
        "Data Transfer Status ZP:2 COM2 Passed", "Data Transfer Status ZP:7 COM0 NA"};
    receive(makeDeviceStatus(1, 0xE9, 0xFD));  // other bits than those of a field do not count
    receive(makeDeviceStatus(1, 0x1C, 2));
    receive(makeDeviceStatus(1, 0x12, 3));
    receive(makeDeviceStatus(1, 0x07, 4));
    for (auto const& text : expected) {
        auto const event = events.waitFor(text);
        ASSERT_TRUE(event) << events.report();
        EXPECT_EQ(text, event->text);
        EXPECT_EQ(2, event->type);
    }
    EXPECT_EQ(expected.size(), events.count("Data Transfer")) << events.report();
}

}  // namespace
