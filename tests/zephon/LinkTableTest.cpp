#include "tests/GpsSerialIo/GpsIoFixture.h"
#include "zephon/LinkTable.h"

namespace gps_io_test {
namespace {

/// Links that go while one of their threads sends.
class LinkTableTest : public GpsIoFixture {
protected:
    /// Puts link 1 into the table, with a message in flight whose callback sends on it.
    void putLinkWithSendingCallback() {
        run({300});  // no answer comes for long enough
        unit.setReaction(handshaked, {Policy::Silence});
        ASSERT_TRUE(link->protocolQueue().emplace_back(
            1, makeMessage(handshaked),
            [this](aspn2_msgs::idl::CommandResponse const&, bool) {
                table.send(1, makeMessage(unanswered));
                sent = true;
            },
            aspn2_msgs::idl::CommandResponse()));
        ASSERT_TRUE(unit.waitForFrames(handshaked, 1, patience));
        table.create(1, std::move(link));
    }

    std::atomic<bool> sent{false};
    LinkTable table;
};

TEST_F(LinkTableTest, DestroysALinkWhoseCallbackSends) {
    putLinkWithSendingCallback();
    table.destroy();
    EXPECT_TRUE(sent);
    EXPECT_EQ(table.at(1), nullptr);
}

TEST_F(LinkTableTest, ReplacesALinkWhoseCallbackSends) {
    putLinkWithSendingCallback();
    table.create(1, makeLink("Another", "Zephon", 1));
    EXPECT_TRUE(sent);
    EXPECT_NE(table.at(1), nullptr);
}

}  // namespace
}  // namespace gps_io_test
