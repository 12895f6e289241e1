#include <cstdint>
#include <limits>
#include <type_traits>

#include <gtest/gtest.h>

#include "face/IoParameter.h"

using Value = FACE::IOSS::IO_PARAMETER_VALUE_TYPE;

namespace {

/// Names one alternative: its tag, its type and its three forms.
#define ALTERNATIVE(Name, accessor, Type, tag)                                   \
    struct Name {                                                                \
        using type = Type;                                                       \
        static constexpr std::uint32_t number = tag;                             \
        static void Set(Value& value, type v) { value.accessor(v); }             \
        static type& Place(Value& value) { return value.accessor(); }            \
        static void Get(Value const& value, type& v, Value::RETURN_CODE& code) { \
            value.accessor(v, code);                                             \
        }                                                                        \
    }

ALTERNATIVE(Short, short_value, std::int16_t, 0);
ALTERNATIVE(Long, long_value, std::int32_t, 1);
ALTERNATIVE(LongLong, longlong_value, std::int64_t, 2);
ALTERNATIVE(UShort, ushort_value, std::uint16_t, 3);
ALTERNATIVE(ULong, ulong_value, std::uint32_t, 4);
ALTERNATIVE(ULongLong, ulonglong_value, std::uint64_t, 5);
ALTERNATIVE(Float, float_value, float, 6);
ALTERNATIVE(Double, double_value, double, 7);
ALTERNATIVE(LongDouble, longdouble_value, long double, 8);
ALTERNATIVE(Char, char_value, std::int8_t, 9);
ALTERNATIVE(Boolean, boolean_value, bool, 10);
ALTERNATIVE(Octet, octet_value, std::uint8_t, 11);

using Alternatives = testing::Types<Short, Long, LongLong, UShort, ULong, ULongLong, Float, Double,
                                    LongDouble, Char, Boolean, Octet>;

template <class Alternative>
class IoParameterValue : public testing::Test {};
TYPED_TEST_SUITE(IoParameterValue, Alternatives);

/// Gives a value the tag of another alternative than the one numbered `number`.
void SelectAnother(Value& value, std::uint32_t number) {
    if (number == 4) {
        value.octet_value();
    } else {
        value.ulong_value();
    }
}

}  // namespace

TYPED_TEST(IoParameterValue, StoringSetsTheTagAndIsReadBack) {
    using type = typename TypeParam::type;
    Value value;
    TypeParam::Set(value, std::numeric_limits<type>::max());
    EXPECT_EQ(value.descriminator(), TypeParam::number);
    type read{};
    Value::RETURN_CODE code = Value::TAG_MISMATCH;
    TypeParam::Get(value, read, code);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(read, std::numeric_limits<type>::max());
}

TYPED_TEST(IoParameterValue, ReadingUnderAnotherTagGivesOneAndLeavesTheArgument) {
    using type = typename TypeParam::type;
    Value value;
    TypeParam::Set(value, std::numeric_limits<type>::max());
    SelectAnother(value, TypeParam::number);
    auto read = static_cast<type>(1);
    Value::RETURN_CODE code = Value::NO_ERROR;
    TypeParam::Get(value, read, code);
    EXPECT_EQ(code, 1);
    EXPECT_EQ(read, static_cast<type>(1));
}

TYPED_TEST(IoParameterValue, AskingForThePlaceSetsTheTagAlone) {
    using type = typename TypeParam::type;
    Value value;
    TypeParam::Set(value, std::numeric_limits<type>::max());
    SelectAnother(value, TypeParam::number);
    type& place = TypeParam::Place(value);
    EXPECT_EQ(value.descriminator(), TypeParam::number);
    EXPECT_EQ(place, std::numeric_limits<type>::max());
}

TYPED_TEST(IoParameterValue, ThePlaceCanBeWritten) {
    using type = typename TypeParam::type;
    Value value;
    TypeParam::Place(value) = static_cast<type>(1);
    type read{};
    Value::RETURN_CODE code = Value::TAG_MISMATCH;
    TypeParam::Get(value, read, code);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(read, static_cast<type>(1));
}

TYPED_TEST(IoParameterValue, IsZeroWhenFresh) {
    Value value;
    EXPECT_EQ(TypeParam::Place(value), typename TypeParam::type{});
}

TEST(IoParameter, AFreshValueIsAShortOfZero) {
    Value const value;
    std::int16_t read = 7;
    Value::RETURN_CODE code = Value::TAG_MISMATCH;
    EXPECT_EQ(value.descriminator(), 0U);
    value.short_value(read, code);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(read, 0);
}

TEST(IoParameter, AlternativesDoNotOverlap) {
    Value value;
    value.ulonglong_value(0x1122334455667788U);
    value.octet_value(0xEE);
    value.short_value(-1);
    EXPECT_EQ(value.ulonglong_value(), 0x1122334455667788U);
    EXPECT_EQ(value.octet_value(), 0xEE);
    EXPECT_EQ(value.long_value(), 0);
}

TEST(IoParameter, TheDiscriminatorTakes32Bits) {
    EXPECT_EQ(sizeof(decltype(Value().descriminator())), 4U);
}
