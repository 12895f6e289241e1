#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "face/MX_Config.h"
#include "face/MX_Config_Helpers.h"
#include "tests/face/TestFolder.h"

using namespace MX_Config_Helpers;
using Code = FACE::RETURN_CODE_TYPE;

namespace {

class MX_ConfigHelpers : public testing::Test {
protected:
    /// A container whose parameter "K" has the value `text`.
    void load(std::string const& text) {
        path = folder.write(
            "config.xml", "<MX_Configurations><T><Name>n</Name><Parameters><K>" + text +
                              "</K><Other>1</Other><Empty/></Parameters></T></MX_Configurations>");
        config = std::make_unique<FACE::MX_Config>();
        config->Initialize(path.c_str(), rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
        config->Open("n", handle, rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
    }

    template <class T>
    T getSigned(std::string const& text) {
        load(text);
        T value = 77;
        Get_Signed_Parameter(*config, handle, "K", value, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        return value;
    }

    template <class T>
    T getUnsigned(std::string const& text) {
        load(text);
        T value = 77;
        Get_Unsigned_Parameter(*config, handle, "K", value, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        return value;
    }

    bool getBoolean(std::string const& text) {
        load(text);
        bool isTrue = false;
        bool isFalse = true;  // told apart from a value that was left as it was
        Get_Boolean_Parameter(*config, handle, "K", isTrue, rc);
        Get_Boolean_Parameter(*config, handle, "K", isFalse, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        EXPECT_EQ(isTrue, isFalse) << text;
        return isTrue;
    }

    std::string stored() {
        FACE::MX_Config again;
        Code::Value code = Code::NO_ERROR;
        int opened = -1;
        FACE::String value;
        again.Initialize(path.c_str(), code);
        again.Open("n", opened, code);
        Get_String_Parameter(again, opened, "K", value, code);
        EXPECT_EQ(code, Code::NO_ERROR);
        return FACE::ToStdString(value);
    }

    TestFolder folder;
    std::string path;
    std::unique_ptr<FACE::MX_Config> config;
    int handle = -1;
    Code::Value rc = Code::NO_ERROR;
};

/// Answers with numbers that fit nothing, as a configuration of other make might.
class OddConfiguration : public FACE::Configuration {
public:
    int size = 3;
    int count = 3;
    Code::Value readCode = Code::NO_ERROR;

    void Initialize(FACE::String const&, Code::Value& rc) override { rc = Code::NO_ERROR; }
    void Open(FACE::String const&, int&, Code::Value& rc) override { rc = Code::NO_ERROR; }
    void Get_Size(int, FACE::String const&, int& out, Code::Value& rc) override {
        out = size;
        rc = Code::NO_ERROR;
    }
    void Read(int, FACE::String const&, void* buffer, int room, int& bytes,
              Code::Value& rc) override {
        std::fill_n(static_cast<char*>(buffer), room, 'x');
        bytes = count;
        rc = readCode;
    }
    void Write(int, FACE::String const&, void*, int, int& bytes, Code::Value& rc) override {
        bytes = count;
        rc = readCode;
    }
    void Seek(int, WHENCE_TYPE::Value, int, Code::Value& rc) override { rc = Code::NO_ERROR; }
    void Close(int, Code::Value& rc) override { rc = Code::NO_ERROR; }
};

}  // namespace

TEST_F(MX_ConfigHelpers, AStringIsReadWhole) {
    std::string const text(5000, 'x');
    load(text);
    FACE::String value;
    Get_String_Parameter(*config, handle, "K", value, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(FACE::ToStdString(value), text);
    EXPECT_TRUE(value.is_managed());
}

TEST_F(MX_ConfigHelpers, AMissingStringIsAnInvalidConfigurationAndLeavesItsLine) {
    load("x");
    FACE::String value("before");
    testing::internal::CaptureStdout();
    Get_String_Parameter(*config, handle, "Absent", value, rc);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING - Parameter Absent not found\n");
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_STREQ(value.buffer(), "before");
}

TEST_F(MX_ConfigHelpers, AMissingBooleanIsAnInvalidConfigurationAndLeavesItsLine) {
    load("x");
    bool value = true;
    testing::internal::CaptureStdout();
    Get_Boolean_Parameter(*config, handle, "Absent", value, rc);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING - Parameter Absent not found\n");
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_TRUE(value);
}

TEST_F(MX_ConfigHelpers, AMissingSignedNumberIsAnInvalidConfigurationAndLeavesItsLine) {
    load("x");
    int value = 77;
    testing::internal::CaptureStdout();
    Get_Signed_Parameter(*config, handle, "Absent", value, rc);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING - Parameter Absent not found\n");
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_EQ(value, 77);
}

TEST_F(MX_ConfigHelpers, AMissingUnsignedNumberIsAnInvalidConfigurationAndLeavesItsLine) {
    load("x");
    unsigned value = 77;
    testing::internal::CaptureStdout();
    Get_Unsigned_Parameter(*config, handle, "Absent", value, rc);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING - Parameter Absent not found\n");
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_EQ(value, 77U);
}

TEST_F(MX_ConfigHelpers, AnEmptyValueIsMissingForEveryGetter) {
    load("x");
    FACE::String text("before");
    bool boolean = true;
    int number = 77;
    unsigned natural = 77;
    for (int getter = 0; getter < 4; ++getter) {
        rc = Code::NO_ERROR;
        testing::internal::CaptureStdout();
        switch (getter) {
            case 0:
                Get_String_Parameter(*config, handle, "Empty", text, rc);
                break;
            case 1:
                Get_Boolean_Parameter(*config, handle, "Empty", boolean, rc);
                break;
            case 2:
                Get_Signed_Parameter(*config, handle, "Empty", number, rc);
                break;
            default:
                Get_Unsigned_Parameter(*config, handle, "Empty", natural, rc);
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING - Parameter Empty not found\n");
        EXPECT_EQ(rc, Code::INVALID_CONFIG);
    }
    EXPECT_STREQ(text.buffer(), "before");
    EXPECT_TRUE(boolean);
    EXPECT_EQ(number, 77);
    EXPECT_EQ(natural, 77U);
}

TEST_F(MX_ConfigHelpers, GettersNeverWriteASuccess) {
    load("1");
    FACE::String text;
    bool boolean = false;
    int number = 0;
    unsigned natural = 0;
    rc = Code::TIMED_OUT;
    Get_String_Parameter(*config, handle, "K", text, rc);
    Get_Boolean_Parameter(*config, handle, "K", boolean, rc);
    Get_Signed_Parameter(*config, handle, "K", number, rc);
    Get_Unsigned_Parameter(*config, handle, "K", natural, rc);
    EXPECT_EQ(rc, Code::TIMED_OUT);
    EXPECT_EQ(number, 1);
}

TEST_F(MX_ConfigHelpers, AFailureInARowOfGettersStaysAndTheOthersAreRead) {
    load("5");
    int first = 0;
    int missing = 77;
    int last = 0;
    Get_Signed_Parameter(*config, handle, "K", first, rc);
    Get_Signed_Parameter(*config, handle, "Absent", missing, rc);
    Get_Signed_Parameter(*config, handle, "Other", last, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_EQ(first, 5);
    EXPECT_EQ(missing, 77);
    EXPECT_EQ(last, 1);
}

TEST_F(MX_ConfigHelpers, SettersNeverWriteASuccess) {
    load("1");
    rc = Code::TIMED_OUT;
    Set_String_Parameter(*config, handle, "K", "text", rc);
    Set_Boolean_Parameter(*config, handle, "K", true, rc);
    Set_Signed_Parameter(*config, handle, "K", 1, rc);
    EXPECT_EQ(rc, Code::TIMED_OUT);
}

TEST_F(MX_ConfigHelpers, BooleansAreWordsInAnyCaseOrNumbersOfAnyBase) {
    for (char const* text : {"true", "TRUE", "True", "tRuE", "1", "0x10", "-1", "2", "010", "0X1",
                             "99999999999999999999", " 1"}) {
        EXPECT_TRUE(getBoolean(text)) << text;
    }
    for (char const* text :
         {"false", "FALSE", "False", "0", "0x0", "00", "yes", "on", "true ", "x1", "-0"}) {
        EXPECT_FALSE(getBoolean(text)) << text;
    }
}

TEST_F(MX_ConfigHelpers, SignedNumbersHaveTheBaseOfTheirPrefix) {
    EXPECT_EQ(getSigned<int>("42"), 42);
    EXPECT_EQ(getSigned<int>("-42"), -42);
    EXPECT_EQ(getSigned<int>("0x2A"), 42);
    EXPECT_EQ(getSigned<int>("-0x2a"), -42);
    EXPECT_EQ(getSigned<int>("052"), 42);
    EXPECT_EQ(getSigned<int>("08"), 0);
    EXPECT_EQ(getSigned<int>(" 42 "), 42);
    EXPECT_EQ(getSigned<int>("42 baud"), 42);
}

TEST_F(MX_ConfigHelpers, ATextThatIsNoNumberReadsAsZeroWithoutAnError) {
    EXPECT_EQ(getSigned<int>("text"), 0);
    EXPECT_EQ(getSigned<int>("-"), 0);
    EXPECT_EQ(getUnsigned<unsigned>("text"), 0U);
}

TEST_F(MX_ConfigHelpers, SignedNumbersAreReadIn64BitsAndCutToTheirWidth) {
    EXPECT_EQ(getSigned<std::int64_t>("9223372036854775807"),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(getSigned<std::int64_t>("-9223372036854775808"),
              std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(getSigned<int>("0x100000002"), 2);
    EXPECT_EQ(getSigned<int>("4294967295"), -1);
    EXPECT_EQ(getSigned<std::int16_t>("65537"), 1);
    EXPECT_EQ(getSigned<signed char>("255"), -1);
}

TEST_F(MX_ConfigHelpers, SignedNumbersBeyond64BitsSaturateBeforeTheCut) {
    EXPECT_EQ(getSigned<std::int64_t>("99999999999999999999"),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(getSigned<std::int64_t>("-99999999999999999999"),
              std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(getSigned<int>("99999999999999999999"), -1);
    EXPECT_EQ(getSigned<int>("-99999999999999999999"), 0);
}

TEST_F(MX_ConfigHelpers, UnsignedNumbersHaveTheBaseOfTheirPrefix) {
    EXPECT_EQ(getUnsigned<unsigned>("42"), 42U);
    EXPECT_EQ(getUnsigned<unsigned>("0xFFFFFFFF"), 0xFFFFFFFFU);
    EXPECT_EQ(getUnsigned<unsigned>("052"), 42U);
    EXPECT_EQ(getUnsigned<std::uint64_t>("18446744073709551615"),
              std::numeric_limits<std::uint64_t>::max());
}

TEST_F(MX_ConfigHelpers, UnsignedNumbersAreCutToTheirWidth) {
    EXPECT_EQ(getUnsigned<std::uint8_t>("257"), 1U);
    EXPECT_EQ(getUnsigned<std::uint16_t>("0x12345"), 0x2345U);
}

TEST_F(MX_ConfigHelpers, ANegativeTextForAnUnsignedNumberWrapsRound) {
    EXPECT_EQ(getUnsigned<unsigned>("-1"), 0xFFFFFFFFU);
    EXPECT_EQ(getUnsigned<std::uint16_t>("-2"), 0xFFFEU);
}

TEST_F(MX_ConfigHelpers, UnsignedNumbersBeyond64BitsSaturateBeforeTheCut) {
    EXPECT_EQ(getUnsigned<std::uint64_t>("99999999999999999999"),
              std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(getUnsigned<std::uint16_t>("99999999999999999999"), 0xFFFFU);
}

TEST_F(MX_ConfigHelpers, AStringIsStored) {
    load("before");
    Set_String_Parameter(*config, handle, "K", "after", rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(stored(), "after");
}

TEST_F(MX_ConfigHelpers, BooleansAreStoredInUpperCase) {
    load("before");
    Set_Boolean_Parameter(*config, handle, "K", true, rc);
    EXPECT_EQ(stored(), "TRUE");
    Set_Boolean_Parameter(*config, handle, "K", false, rc);
    EXPECT_EQ(stored(), "FALSE");
    EXPECT_EQ(rc, Code::NO_ERROR);
}

TEST_F(MX_ConfigHelpers, NumbersAreStoredInDecimal) {
    load("before");
    Set_Signed_Parameter(*config, handle, "K", 115200, rc);
    EXPECT_EQ(stored(), "115200");
    Set_Signed_Parameter(*config, handle, "K", -1, rc);
    EXPECT_EQ(stored(), "-1");
    Set_Signed_Parameter(*config, handle, "K", std::numeric_limits<std::int64_t>::min(), rc);
    EXPECT_EQ(stored(), "-9223372036854775808");
    EXPECT_EQ(rc, Code::NO_ERROR);
}

TEST_F(MX_ConfigHelpers, AStringThatCannotBeStoredIsAnInvalidConfiguration) {
    load("before");
    Set_String_Parameter(*config, handle, "Absent", "after", rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
}

TEST_F(MX_ConfigHelpers, ABooleanThatCannotBeStoredIsAnInvalidConfiguration) {
    load("before");
    Set_Boolean_Parameter(*config, handle, "Empty", true, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
}

TEST_F(MX_ConfigHelpers, ANumberThatCannotBeStoredIsAnInvalidConfiguration) {
    load("before");
    Set_Signed_Parameter(*config, handle + 1, "K", 1, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
}

TEST_F(MX_ConfigHelpers, AnInvalidStringIsNotStored) {
    load("before");
    Set_String_Parameter(*config, handle, "K", FACE::String(nullptr), rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_EQ(stored(), "before");
}

TEST(MX_ConfigHelpersDetails, AReadThatFailsAfterItsSizeWasToldIsMissing) {
    OddConfiguration config;
    config.readCode = Code::INVALID_PARAM;
    testing::internal::CaptureStdout();
    EXPECT_EQ(Details::Read_Config(config, 0, "K"), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING - Parameter K not found\n");
}

TEST(MX_ConfigHelpersDetails, ANegativeSizeIsMissing) {
    OddConfiguration config;
    config.size = -1;
    testing::internal::CaptureStdout();
    EXPECT_EQ(Details::Read_Config(config, 0, "K"), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING - Parameter K not found\n");
}

TEST(MX_ConfigHelpersDetails, MoreBytesThanTheBufferHoldsAreNotBelieved) {
    OddConfiguration config;
    config.count = 1000;
    EXPECT_EQ(Details::Read_Config(config, 0, "K"), "xxx");
    config.count = 2;
    EXPECT_EQ(Details::Read_Config(config, 0, "K"), "xx");
    testing::internal::CaptureStdout();
    config.count = -1;
    EXPECT_EQ(Details::Read_Config(config, 0, "K"), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING - Parameter K not found\n");
}

TEST(MX_ConfigHelpersDetails, AWriteSucceedsOnlyWithItsWholeLength) {
    OddConfiguration config;
    config.count = 3;
    EXPECT_TRUE(Details::Write_Config(config, 0, "K", "abc"));
    EXPECT_FALSE(Details::Write_Config(config, 0, "K", "abcd"));
    config.readCode = Code::NO_ACTION;
    EXPECT_FALSE(Details::Write_Config(config, 0, "K", "abc"));
}
