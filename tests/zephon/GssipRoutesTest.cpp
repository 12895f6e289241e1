#include <map>
#include <set>
#include <string>
#include <utility>

#include "gmock/gmock.h"
#include "tests/zephon/GssipRecords.h"
#include "zephon/GssipRoutes.h"
#include "zephon/ZephonServer.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;
using bench::UnitFrame;
using testing::ElementsAreArray;

constexpr unsigned allIds = 0x10000;

/// Id 5047, two data words, flag word 0x8000.
Bytes const frameOf8000{0xFF, 0x81, 0xB7, 0x13, 0x02, 0x00, 0x00, 0x80,
                        0x48, 0xEA, 0x02, 0x01, 0xFE, 0xFF, 0x00, 0xFF};
/// The same with flag word 0x9000.
Bytes const frameOf9000{0xFF, 0x81, 0xB7, 0x13, 0x02, 0x00, 0x00, 0x90,
                        0x48, 0xDA, 0x02, 0x01, 0xFE, 0xFF, 0x00, 0xFF};

Bytes bytesOf(GssipMessage const& message) {
    auto const* const first = reinterpret_cast<std::uint8_t const*>(message.header);
    return {first, first + GssipFrameBytes(message.wordCount)};
}

struct Expected {
    GssipRoute::Handler handler;
    bool copied;
};
using Table = std::map<std::uint16_t, Expected>;

void expectRoutes(unsigned char server, Table const& expected) {
    GssipSource const* const source = findGssipSource(server);
    ASSERT_NE(nullptr, source);
    EXPECT_EQ(expected.size(), source->count);
    for (unsigned id = 0; id < allIds; ++id) {
        GssipRoute const* const route = source->find(static_cast<std::uint16_t>(id));
        const auto row = expected.find(static_cast<std::uint16_t>(id));
        ASSERT_EQ(row != expected.end(), route != nullptr) << id;
        if (route != nullptr) {
            EXPECT_EQ(id, route->id);
            EXPECT_TRUE(row->second.handler == route->handler) << id;
            EXPECT_EQ(row->second.copied, route->copied) << id;
        }
    }
}

TEST(GssipRoutes, KnowThreeSources) {
    std::map<unsigned, std::string> names;
    for (unsigned server = 0; server < 256; ++server) {
        if (auto const* source = findGssipSource(static_cast<unsigned char>(server))) {
            EXPECT_EQ(server, source->server);
            names[server] = source->name;
        }
    }
    EXPECT_EQ((std::map<unsigned, std::string>{{39, "Trevo"}, {47, "HALVOR"}, {49, "PNT-D"}}),
              names);
}

TEST(GssipRoutes, TellTheEngineAfterTheHandlerAndTheOthersOnArrival) {
    EXPECT_EQ(GssipSource::Told::AfterTheHandler, findGssipSource(trevo)->told);
    EXPECT_EQ(GssipSource::Told::OnArrival, findGssipSource(halvorUnit)->told);
    EXPECT_EQ(GssipSource::Told::OnArrival, findGssipSource(pntDevice)->told);
}

TEST(GssipRoutes, OfTheEngine) {
    expectRoutes(trevo, {{5040, {&ZephonServer::handleTV_Block5040, false}},
                         {5044, {&ZephonServer::handleTV_Block5044, false}},
                         {5047, {nullptr, true}},
                         {5048, {nullptr, true}},
                         {5406, {nullptr, true}},
                         {8040, {&ZephonServer::handleTV_Block8040, true}},
                         {8080, {nullptr, true}},
                         {8504, {&ZephonServer::handleTV_Block8504, false}},
                         {9391, {&ZephonServer::handleTV_Block9391, false}}});
}

TEST(GssipRoutes, DropTheEnginesNeighboursOfTheSameKind) {
    for (const std::uint16_t id : Words{5045, 5046, 5049}) {
        EXPECT_EQ(nullptr, findGssipSource(trevo)->find(id)) << id;
    }
}

TEST(GssipRoutes, OfTheHalvorUnit) {
    expectRoutes(halvorUnit, {{2516, {&ZephonServer::handleAJ_Block2516, false}},
                              {2518, {&ZephonServer::handleAJ_BlockDigarPN, false}},
                              {15051, {&ZephonServer::handleAJ_BlockThreatData, false}}});
}

TEST(GssipRoutes, OfThePntDevice) {
    expectRoutes(pntDevice, {{5001, {&ZephonServer::handleZP_Block5001, false}},
                             {5044, {&ZephonServer::handleZP_Block5044, false}},
                             {27532, {&ZephonServer::handleZP_PntdStatus, false}},
                             {27533, {&ZephonServer::handleZP_PntdFaultReport, false}},
                             {27534, {&ZephonServer::handleZP_PntdLogReport, false}},
                             {27535, {&ZephonServer::handleZP_PntdBitStatus, false}},
                             {27536, {&ZephonServer::handleZP_PntdFaultLabels, false}},
                             {27553, {&ZephonServer::handleZP_Block27553, false}},
                             {27558, {&ZephonServer::handleZP_PntdIds, false}},
                             {27561, {&ZephonServer::handleZP_PntConfigStatus, false}}});
}

TEST(GssipRoutes, DataTransferHasTwelveIds) {
    const std::set<unsigned> expected{5103, 5104, 5120, 5121, 5122, 5123,
                                      5124, 5125, 5126, 5134, 5135, 8015};
    for (unsigned id = 0; id < allIds; ++id) {
        ASSERT_EQ(expected.count(id) != 0, isDataTransferId(static_cast<std::uint16_t>(id))) << id;
    }
}

TEST(GssipRecord, IsAsLongAsItTellsAndNoLongerThanItsData) {
    struct Case {
        std::int32_t told;
        std::size_t size;
        unsigned short length;
    };
    for (Case const& c : {Case{10, 10, 10},
                          {10, 12, 10},
                          {12, 10, 10},
                          {2'147'483'647, 16, 16},
                          {9, 16, 0},
                          {16, 9, 0},
                          {0, 16, 0},
                          {-1, 16, 0},
                          {-2'147'483'647 - 1, 16, 0},
                          {16, 0, 0},
                          {65535, 65535, 65535},
                          {65535, 70000, 65535},
                          {70000, 65535, 65535},
                          {65536, 65536, 0},
                          {65546, 65546, 0},
                          {131072, 131072, 0}}) {
        auto record = makeRecord(Bytes(c.size), trevo);
        record.num_bytes(c.told);
        EXPECT_EQ(c.length, gssipFrameLength(record)) << c.told << " of " << c.size;
    }
}

TEST(GssipRecord, HasTheIdOfItsFrame) {
    EXPECT_EQ(5047, gssipMessageId(makeRecord(frameOf8000, trevo)));
    EXPECT_EQ(0xFFFE, gssipMessageId(makeRecord(UnitFrame{0xFFFE, 0, {}}, trevo)));
}

TEST(GssipCopy, TakesHeadersAndEvenLengthsUpTo240Words) {
    for (std::size_t length = 0; length < 600; ++length) {
        const bool taken = length == 10 || (length >= 14 && length <= 492 && length % 2 == 0);
        Bytes bytes(length, 0xEE);
        bytes.shrink_to_fit();
        const auto copy = makeGssipCopy(makeRecord(bytes, trevo));
        ASSERT_EQ(taken, copy != nullptr) << length;
        if (taken) {
            EXPECT_THAT(bytesOf(*copy), ElementsAreArray(bytes));
            EXPECT_EQ(0xEEEE, copy->msgId);
        }
    }
}

TEST(GssipCopy, RefusesWhatIsLongerThanAnyFrame) {
    for (const std::size_t length : {65534U, 65536U, 65546U, 65550U}) {
        EXPECT_EQ(nullptr, makeGssipCopy(makeRecord(Bytes(length, 0xEE), trevo))) << length;
    }
}

TEST(GssipCopy, HasNoMoreThanTheRecordTells) {
    auto record = makeRecord(frameOf8000, trevo);
    record.num_bytes(10);
    const auto copy = makeGssipCopy(record);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(0U, copy->wordCount);
    EXPECT_EQ(0, copy->data[0]);
}

TEST(GssipCopy, StaysAsItIsWithTheFlagWordOfCopies) {
    const auto copy = makeGssipCopy(makeRecord(frameOf9000, trevo));
    setCopyFlagWord(*copy);
    EXPECT_THAT(bytesOf(*copy), ElementsAreArray(frameOf9000));
}

TEST(GssipCopy, KeepsAWrongHeaderChecksumWithTheFlagWordOfCopies) {
    Bytes damaged = frameOf9000;
    damaged[8] ^= 0xFFU;
    const auto copy = makeGssipCopy(makeRecord(damaged, trevo));
    setCopyFlagWord(*copy);
    EXPECT_THAT(bytesOf(*copy), ElementsAreArray(damaged));
}

TEST(GssipCopy, ChangesFlagWordAndHeaderChecksumOnly) {
    const auto copy = makeGssipCopy(makeRecord(frameOf8000, trevo));
    setCopyFlagWord(*copy);
    EXPECT_THAT(bytesOf(*copy), ElementsAreArray(frameOf9000));
}

TEST(GssipCopy, GetsTheOneFlagWordWhateverItHad) {
    for (const std::uint16_t flags : Words{0x0000, 0x1000, 0x8800, 0x9001, 0xFFFF}) {
        const auto copy =
            makeGssipCopy(makeRecord(UnitFrame{5047, flags, {0x0102, 0xFFFE}}, trevo));
        setCopyFlagWord(*copy);
        EXPECT_THAT(bytesOf(*copy), ElementsAreArray(frameOf9000)) << flags;
    }
}

}  // namespace
