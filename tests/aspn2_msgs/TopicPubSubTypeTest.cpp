// What holds for every topic type, tested on each of them.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fastcdr/Cdr.h>
#include <fastcdr/FastBuffer.h>
#include <gtest/gtest.h>

#include "aspn2_msgs/TopicPubSubType.h"
#include "aspn2_msgs/TopicTypes.h"
#include "tests/aspn2_msgs/PlainCdr.h"

namespace {

using namespace aspn2_msgs::idl;
using aspn2_msgs::TopicPubSubType;
using Bytes = std::vector<std::uint8_t>;
using Payload = eprosima::fastrtps::rtps::SerializedPayload_t;

/// A payload of exactly these bytes, so that a read behind them is a read behind an allocation.
std::unique_ptr<Payload> payloadOf(Bytes const& bytes) {
    auto payload = std::make_unique<Payload>(static_cast<std::uint32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), payload->data);
    payload->length = static_cast<std::uint32_t>(bytes.size());
    return payload;
}

template <class T>
Bytes serialize(T record, std::uint32_t room = 100000) {
    TopicPubSubType<T> support;
    Payload payload(room);
    if (!support.serialize(&record, &payload)) {
        return {};
    }
    return Bytes(payload.data, payload.data + payload.length);
}

template <class T>
bool deserialize(Bytes const& bytes, T& record) {
    return TopicPubSubType<T>().deserialize(payloadOf(bytes).get(), &record);
}

#define TYPE_IN_LIST(Name) , Name
template <class Ignored, class... Names>
struct ListOf {
    using Types = ::testing::Types<Names...>;
};
using AllTypes = ListOf<void ASPN2_MSGS_TOPIC_TYPES(TYPE_IN_LIST)>::Types;

template <class T>
class TopicPubSubTypeOf : public ::testing::Test {};

struct NameOfType {
    template <class T>
    static std::string GetName(int) {
        return std::string(aspn2_msgs::TypeName<T>).substr(17);
    }
};
TYPED_TEST_SUITE(TopicPubSubTypeOf, AllTypes, NameOfType);

TYPED_TEST(TopicPubSubTypeOf, BearsTheNameOfItsRecord) {
    TopicPubSubType<TypeParam> support;
    EXPECT_EQ(std::string(support.getName()),
              "aspn2_msgs::idl::" + NameOfType::GetName<TypeParam>(0));
}

TYPED_TEST(TopicPubSubTypeOf, TypeSizeIsThatOfARecordFilledToItsBounds) {
    TopicPubSubType<TypeParam> support;
    auto const largest = records::filled<TypeParam>(100, 255);
    EXPECT_EQ(support.m_typeSize, records::encoded(largest).size());
    EXPECT_EQ(support.m_typeSize, TypeParam::getMaxCdrSerializedSize(0) + 4);
}

TYPED_TEST(TopicPubSubTypeOf, HasNoKey) {
    TopicPubSubType<TypeParam> support;
    EXPECT_FALSE(TypeParam::isKeyDefined());
    EXPECT_FALSE(support.m_isGetKeyDefined);
    EXPECT_EQ(TypeParam::getKeyMaxCdrSerializedSize(5), 5U);
    auto record = records::filled<TypeParam>();
    eprosima::fastrtps::rtps::InstanceHandle_t handle;
    EXPECT_FALSE(support.getKey(&record, &handle, false));
    EXPECT_FALSE(support.getKey(&record, &handle, true));
    char room[16] = {};
    eprosima::fastcdr::FastBuffer buffer(room, sizeof room);
    eprosima::fastcdr::Cdr cdr(buffer);
    record.serializeKey(cdr);
    EXPECT_EQ(cdr.getSerializedDataLength(), 0U);
}

TYPED_TEST(TopicPubSubTypeOf, IsNeitherBoundedNorPlainNorBuiltInPlace) {
    TopicPubSubType<TypeParam> support;
    EXPECT_FALSE(support.is_bounded());
    EXPECT_FALSE(support.is_plain());
    EXPECT_FALSE(support.construct_sample(nullptr));
}

TYPED_TEST(TopicPubSubTypeOf, MakesAndDeletesRecords) {
    TopicPubSubType<TypeParam> support;
    void* const record = support.createData();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(*static_cast<TypeParam*>(record), TypeParam());
    support.deleteData(record);
}

TYPED_TEST(TopicPubSubTypeOf, AFreshRecordIsAllZeroes) {
    Bytes const bytes = serialize(TypeParam());
    ASSERT_GT(bytes.size(), 4U);
    // Only the terminator's length of an empty text is not zero, and texts come last.
    std::size_t const texts =
        std::is_same_v<TypeParam, CommandResponse> || std::is_same_v<TypeParam, EventLog> ? 5 : 0;
    EXPECT_TRUE(std::all_of(bytes.begin() + 4, bytes.end() - static_cast<std::ptrdiff_t>(texts),
                            [](std::uint8_t byte) { return byte == 0; }));
}

TYPED_TEST(TopicPubSubTypeOf, WritesPlainCdr) {
    for (std::size_t elements : {0U, 1U, 3U, 150U}) {
        auto const record = records::filled<TypeParam>(elements, elements);
        EXPECT_EQ(serialize(record), records::encoded(record)) << elements;
    }
}

TYPED_TEST(TopicPubSubTypeOf, EncodedSizesAgreeWithTheBytesWritten) {
    TopicPubSubType<TypeParam> support;
    for (std::size_t elements : {0U, 1U, 2U, 7U, 300U}) {
        auto record = records::filled<TypeParam>(elements, elements);
        std::size_t const size = serialize(record).size();
        EXPECT_EQ(TypeParam::getCdrSerializedSize(record, 0) + 4, size) << elements;
        EXPECT_EQ(support.getSerializedSizeProvider(&record)(), size) << elements;
    }
}

TYPED_TEST(TopicPubSubTypeOf, FieldsSurviveSettersAndTheWire) {
    auto const original = records::filled<TypeParam>();
    TypeParam assigned;
    records::assignFields(assigned, original);
    EXPECT_EQ(assigned, original);

    TypeParam source = original;
    TypeParam moved;
    records::moveFields(moved, source);
    EXPECT_EQ(moved, original);

    TypeParam received = records::filled<TypeParam>(20, 40);
    ASSERT_TRUE(deserialize(serialize(original), received));
    EXPECT_EQ(received, original);
    EXPECT_EQ(records::encoded(received), records::encoded(original));
}

TYPED_TEST(TopicPubSubTypeOf, IsCopiedAndMovedWhole) {
    auto const original = records::filled<TypeParam>();
    TypeParam copy(original);
    EXPECT_EQ(copy, original);
    TypeParam moved(std::move(copy));
    EXPECT_EQ(moved, original);
    TypeParam target;
    target = original;
    EXPECT_EQ(target, original);
    TypeParam moveTarget;
    moveTarget = std::move(target);
    EXPECT_EQ(moveTarget, original);
}

TYPED_TEST(TopicPubSubTypeOf, ReadsTheOtherByteOrder) {
    auto const original = records::filled<TypeParam>();
    TypeParam received;
    ASSERT_TRUE(deserialize(records::encoded(original, true), received));
    EXPECT_EQ(received, original);
}

TYPED_TEST(TopicPubSubTypeOf, TellsTheByteOrderInThePayload) {
    TopicPubSubType<TypeParam> support;
    TypeParam record;
    Payload written(100000);
    written.encapsulation = CDR_BE;
    ASSERT_TRUE(support.serialize(&record, &written));
    EXPECT_EQ(written.encapsulation, CDR_LE);

    auto const little = payloadOf(records::encoded(record, false));
    little->encapsulation = CDR_BE;
    ASSERT_TRUE(support.deserialize(little.get(), &record));
    EXPECT_EQ(little->encapsulation, CDR_LE);

    auto const big = payloadOf(records::encoded(record, true));
    ASSERT_TRUE(support.deserialize(big.get(), &record));
    EXPECT_EQ(big->encapsulation, CDR_BE);
}

TYPED_TEST(TopicPubSubTypeOf, RefusesToWriteIntoTooSmallABuffer) {
    auto record = records::filled<TypeParam>(1, 1);
    std::size_t const size = records::encoded(record).size();
    TopicPubSubType<TypeParam> support;
    for (std::uint32_t room = 0; room < size; ++room) {
        Payload payload(room);
        ASSERT_FALSE(support.serialize(&record, &payload)) << room;
    }
    Payload payload(static_cast<std::uint32_t>(size));
    EXPECT_TRUE(support.serialize(&record, &payload));
}

TYPED_TEST(TopicPubSubTypeOf, RefusesEveryTruncatedPayload) {
    for (bool bigEndian : {false, true}) {
        Bytes const bytes = records::encoded(records::filled<TypeParam>(), bigEndian);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            Bytes const cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
            TypeParam record;
            ASSERT_FALSE(deserialize(cut, record)) << length;
        }
    }
}

TYPED_TEST(TopicPubSubTypeOf, RefusesAPayloadWithoutData) {
    Payload payload;
    TypeParam record;
    EXPECT_FALSE(TopicPubSubType<TypeParam>().deserialize(&payload, &record));
}

/// Whatever was read, it can be used and written again, and took no more elements than bytes.
template <class T>
void expectUsable(Bytes const& bytes) {
    T record;
    bool const read = deserialize(bytes, record);
    records::CountElements elements;
    elements(record);
    ASSERT_LE(elements.count(), bytes.size());
    if (read) {
        Bytes const again = serialize(record);
        ASSERT_FALSE(again.empty());
        ASSERT_EQ(again, records::encoded(record));
    }
}

TYPED_TEST(TopicPubSubTypeOf, NoFlippedBitDoesHarm) {
    for (bool bigEndian : {false, true}) {
        Bytes bytes = records::encoded(records::filled<TypeParam>(), bigEndian);
        for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
            bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] ^ (1U << bit % 8));
            ASSERT_NO_FATAL_FAILURE(expectUsable<TypeParam>(bytes)) << bit;
            bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] ^ (1U << bit % 8));
        }
    }
}

TYPED_TEST(TopicPubSubTypeOf, NoForeignByteDoesHarm) {
    Bytes bytes = records::encoded(records::filled<TypeParam>());
    for (std::uint8_t& byte : bytes) {
        std::uint8_t const original = byte;
        for (unsigned foreign : {0x00U, 0x02U, 0x7FU, 0x80U, 0xFFU}) {
            byte = static_cast<std::uint8_t>(foreign);
            ASSERT_NO_FATAL_FAILURE(expectUsable<TypeParam>(bytes));
        }
        byte = original;
    }
}

TYPED_TEST(TopicPubSubTypeOf, NoFourForeignBytesDoHarm) {
    // Where a length stands this makes it 4,294,967,295 or something near.
    Bytes const bytes = records::encoded(records::filled<TypeParam>());
    for (std::size_t place = 4; place + 4 <= bytes.size(); place += 4) {
        for (unsigned last : {0xFFU, 0xFEU, 0x7FU, 0x0FU}) {
            Bytes hostile = bytes;
            std::fill_n(hostile.begin() + static_cast<std::ptrdiff_t>(place), 4, 0xFF);
            hostile[place + 3] = static_cast<std::uint8_t>(last);
            ASSERT_NO_FATAL_FAILURE(expectUsable<TypeParam>(hostile)) << place;
        }
    }
}

TYPED_TEST(TopicPubSubTypeOf, RefusesBooleanBytesAboveOne) {
    records::PlainCdr cdr;
    cdr(records::filled<TypeParam>());
    for (std::size_t place : cdr.booleans()) {
        for (unsigned value : {2U, 3U, 0x80U, 0xFFU}) {
            Bytes bytes = cdr.bytes();
            bytes[place] = static_cast<std::uint8_t>(value);
            TypeParam record;
            EXPECT_FALSE(deserialize(bytes, record)) << place << ' ' << value;
        }
    }
}

TYPED_TEST(TopicPubSubTypeOf, RefusesUnknownEncapsulations) {
    Bytes const bytes = records::encoded(records::filled<TypeParam>());
    for (unsigned kind = 4; kind < 256; ++kind) {
        Bytes foreign = bytes;
        foreign[1] = static_cast<std::uint8_t>(kind);
        TypeParam record;
        ASSERT_FALSE(deserialize(foreign, record)) << kind;
    }
}

}  // namespace
