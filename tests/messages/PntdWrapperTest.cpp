#include "gmock/gmock.h"
#include "messages/LayoutMessage.h"
#include "messages/PntdWrapper.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::Each;
using testing::ElementsAre;

template <std::uint16_t Words>
struct InnerLayout {
    static constexpr std::uint16_t id = 0x1234;
    static constexpr std::uint16_t words = Words;
    static constexpr std::uint16_t flagWord = 0x9000;
};

/// A whole frame without data.
std::shared_ptr<GssipMessage> headerOnly(std::uint16_t msgId, std::uint16_t flagWord) {
    auto inner = std::make_shared<LayoutMessage<InnerLayout<0>>>();
    inner->header[1] = msgId;
    inner->header[3] = flagWord;
    inner->insert_checksum();
    return inner;
}

/// A message of so many data words that asks for an ACK, whole with its checksums.
template <std::uint16_t Words>
std::shared_ptr<GssipMessage> innerOf() {
    auto inner = std::make_shared<LayoutMessage<InnerLayout<Words>>>();
    for (std::size_t i = 0; i < Words; ++i) {
        inner->data[i] = static_cast<std::uint16_t>(i + 5);
    }
    inner->insert_checksum();
    return inner;
}

Bytes frameBytes(PNTD_Wrap_Msg const& wrapper, std::size_t length) {
    Bytes bytes(length);
    std::memcpy(bytes.data(), wrapper.header, length);
    return bytes;
}

void fillWhole(PNTD_Wrap_Msg& wrapper) {
    std::memset(wrapper.header, untouchedByte, PNTD_Wrap_Msg::maxBytes);
}

TEST(PNTD_Wrap_Msg, StartsAsMessage27552OfZerosWithoutAnAckRequest) {
    PNTD_Wrap_Msg const wrapper;
    EXPECT_THAT(frameBytes(wrapper, 10),
                ElementsAre(0xFF, 0x81, 0xA0, 0x6B, 0xF0, 0x00, 0x00, 0x80, 0, 0));
    EXPECT_EQ(27552, wrapper.msgId);
    EXPECT_EQ(240U, wrapper.wordCount);
    EXPECT_THAT(dataOf(wrapper), Each(0));
    EXPECT_EQ(0U, wrapper.innerFrame().length);
}

TEST(PNTD_Wrap_Msg, HoldsTheUnitNumberInItsFirstWordOnly) {
    PNTD_Wrap_Msg wrapper;
    fillUntouched(wrapper);
    wrapper.SetVirtualZephonNumber(4);
    EXPECT_EQ(untouchedBut(480, {{0, {4, 0}}}), dataOf(wrapper));
    EXPECT_EQ(4, wrapper.virtualZephonNumber());
    wrapper.SetVirtualZephonNumber(-1);
    EXPECT_EQ(0xFFFF, wrapper.virtualZephonNumber());
}

TEST(PNTD_Wrap_Msg, WrapsAFrameWithoutDataInSixWords) {
    PNTD_Wrap_Msg wrapper;
    wrapper.SetVirtualZephonNumber(2);
    ASSERT_TRUE(wrapper.WrapMessage(headerOnly(5001, 0x8800)));
    EXPECT_EQ(6U, wrapper.wordCount);
    EXPECT_THAT(frameBytes(wrapper, 26),
                ElementsAre(0xFF, 0x81, 0xA0, 0x6B, 0x06, 0x00, 0x00, 0x80, 0x5B, 0x92,  // header
                            0x02, 0x00,                                                  // unit
                            0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x88, 0x78, 0xE2,  // inner
                            0xFE, 0xFF,                                                  // checksum
                            0x00, 0x00));
}

TEST(PNTD_Wrap_Msg, WrapsAWholeFrameAndTakesOverItsWishForAnAck) {
    PNTD_Wrap_Msg wrapper;
    wrapper.SetVirtualZephonNumber(3);
    ASSERT_TRUE(wrapper.WrapMessage(innerOf<1>()));
    EXPECT_EQ(8U, wrapper.wordCount);
    EXPECT_THAT(
        frameBytes(wrapper, 28),
        ElementsAre(0xFF, 0x81, 0xA0, 0x6B, 0x08, 0x00, 0x00, 0x90, 0x59, 0x82,  // header
                    0x03, 0x00,                                                  // unit
                    0xFF, 0x81, 0x34, 0x12, 0x01, 0x00, 0x00, 0x90, 0xCC, 0xDB,  // inner header
                    0x05, 0x00, 0xFB, 0xFF,                                      // inner data
                    0xFD, 0xFF));                                                // checksum
}

TEST(PNTD_Wrap_Msg, TakesOverNoOtherFlagOfTheInnerFrame) {
    PNTD_Wrap_Msg wrapper;
    ASSERT_TRUE(wrapper.WrapMessage(headerOnly(5001, 0x6FFF)));
    EXPECT_EQ(0x8000, wrapper.header[3]);
}

TEST(PNTD_Wrap_Msg, GoesOutAsItWasWrapped) {
    PNTD_Wrap_Msg wrapper;
    wrapper.SetVirtualZephonNumber(3);
    ASSERT_TRUE(wrapper.WrapMessage(innerOf<1>()));
    Bytes const wrapped = frameBytes(wrapper, 28);
    EXPECT_EQ(wrapped, writtenBy(wrapper));
}

TEST(PNTD_Wrap_Msg, FitsAnInnerFrameOf234WordsWithItsChecksumRightBehindTheData) {
    PNTD_Wrap_Msg wrapper;
    fillWhole(wrapper);
    wrapper.header[3] = 0x8000;
    auto const inner = innerOf<234>();
    ASSERT_TRUE(wrapper.WrapMessage(inner));
    EXPECT_EQ(241U, wrapper.wordCount);
    EXPECT_EQ(241, wrapper.header[2]);
    EXPECT_EQ(0xEEEE, wrapper.data[0]);
    EXPECT_EQ(0, std::memcmp(inner->header, wrapper.data + 1, 480));
    EXPECT_EQ(CalculateChecksum(wrapper.data, 0, 240), wrapper.data[241]);
    EXPECT_EQ(wrapper.header + 246, wrapper.data + 241);
    EXPECT_EQ(494U, writtenBy(wrapper).size());
}

TEST(PNTD_Wrap_Msg, RefusesAnInnerFrameOf235WordsAndChangesNothing) {
    PNTD_Wrap_Msg wrapper;
    fillWhole(wrapper);
    EXPECT_FALSE(wrapper.WrapMessage(innerOf<235>()));
    EXPECT_EQ(240U, wrapper.wordCount);
    EXPECT_THAT(frameBytes(wrapper, 494), Each(untouchedByte));
}

TEST(PNTD_Wrap_Msg, RefusesWhatHasNoFrame) {
    PNTD_Wrap_Msg wrapper;
    EXPECT_FALSE(wrapper.WrapMessage(nullptr));
    EXPECT_FALSE(wrapper.WrapMessage(std::make_shared<GssipMessage>()));
}

TEST(PNTD_Wrap_Msg, RefusesAnInnerHeaderThatTellsMoreWordsThanItOwns) {
    PNTD_Wrap_Msg wrapper;
    auto const inner = innerOf<1>();
    inner->header[2] = 2;
    EXPECT_FALSE(wrapper.WrapMessage(inner));
    inner->header[2] = 0xFFFF;
    EXPECT_FALSE(wrapper.WrapMessage(inner));
    inner->header[2] = 1;
    EXPECT_TRUE(wrapper.WrapMessage(inner));
}

TEST(PNTD_Wrap_Msg, CanWrapAShorterFrameAfterALongerOne) {
    PNTD_Wrap_Msg wrapper;
    ASSERT_TRUE(wrapper.WrapMessage(innerOf<234>()));
    ASSERT_TRUE(wrapper.WrapMessage(innerOf<1>()));
    EXPECT_EQ(28U, writtenBy(wrapper).size());
}

TEST(PNTD_Wrap_Msg, TakesAnyFrameUpTo494BytesAndLeavesItsWordCount) {
    std::vector<unsigned> expected;
    for (unsigned length = 0; length <= 494; ++length) {
        expected.push_back(length);
    }
    EXPECT_EQ(expected, acceptedLengths(600, [](unsigned char const* bytes, unsigned short length) {
                  PNTD_Wrap_Msg wrapper;
                  fillWhole(wrapper);
                  bool const taken = wrapper.OkSetContent(bytes, length);
                  Bytes content(494, untouchedByte);
                  if (taken) {
                      std::copy_n(bytes, length, content.begin());
                  }
                  EXPECT_EQ(content, frameBytes(wrapper, 494)) << length;
                  EXPECT_EQ(240U, wrapper.wordCount) << length;
                  unsigned const taught = taken ? content[2] | content[3] << 8U : 27552;
                  EXPECT_EQ(taught, wrapper.msgId) << length;
                  return taken;
              }));
}

TEST(PNTD_Wrap_Msg, TakesNothingFromNowhere) {
    PNTD_Wrap_Msg wrapper;
    EXPECT_TRUE(wrapper.OkSetContent(nullptr, 0));
    EXPECT_EQ(27552, wrapper.msgId);
}

TEST(PNTD_Wrap_Msg, GivesTheInnerFrameAsFarAsItArrived) {
    for (std::size_t length = 0; length <= 494; ++length) {
        Block const block(length);
        PNTD_Wrap_Msg wrapper;
        fillWhole(wrapper);
        ASSERT_TRUE(wrapper.OkSetContent(block.bytes(), block.length()));
        auto const inner = wrapper.innerFrame();
        if (length < 24) {
            EXPECT_EQ(0U, inner.length) << length;
            EXPECT_EQ(nullptr, inner.bytes) << length;
            continue;
        }
        ASSERT_EQ(length - 14, inner.length) << length;
        EXPECT_EQ(0x0F0E, inner.msgId);
        EXPECT_EQ(0, std::memcmp(block.bytes() + 12, inner.bytes, inner.length)) << length;
        EXPECT_EQ(0x0B0A, wrapper.virtualZephonNumber());
    }
}

TEST(PNTD_Wrap_Msg, GivesBackTheFrameThatWasWrapped) {
    PNTD_Wrap_Msg wrapper;
    auto const inner = innerOf<234>();
    ASSERT_TRUE(wrapper.WrapMessage(inner));
    Bytes const sent = frameBytes(wrapper, 494);
    PNTD_Wrap_Msg received;
    ASSERT_TRUE(received.OkSetContent(sent.data(), 494));
    auto const arrived = received.innerFrame();
    ASSERT_EQ(480U, arrived.length);
    EXPECT_EQ(0, std::memcmp(inner->header, arrived.bytes, 480));
}

TEST(PNTD_Wrap_Msg, ClearAllZeroes482BytesBehindTheHeader) {
    PNTD_Wrap_Msg wrapper;
    fillWhole(wrapper);
    wrapper.clearAll();
    Bytes expected(494, untouchedByte);
    std::fill_n(expected.begin() + 10, 482, 0);
    EXPECT_EQ(expected, frameBytes(wrapper, 494));
}

}  // namespace
