#include <limits>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "face/ReturnCode.h"

using Code = FACE::RETURN_CODE_TYPE;

namespace {

std::string TextOf(int code) {
    return FACE::ToStdString(Code::ToString(static_cast<Code::Value>(code)));
}

struct NamedCode {
    Code::Value code;
    int number;
    char const* text;
};

class EveryReturnCode : public testing::TestWithParam<NamedCode> {};

std::string Raised(void (*check)(char const*, int, char const*, Code::Value), Code::Value code) {
    try {
        check("ServerMain.cpp", 118, "Initialize() failed", code);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "nothing raised";
}

}  // namespace

TEST_P(EveryReturnCode, HasItsNumberAndItsNameAsText) {
    EXPECT_EQ(GetParam().code, GetParam().number);
    EXPECT_EQ(TextOf(GetParam().number), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    ReturnCode, EveryReturnCode,
    testing::Values(NamedCode{Code::NO_ERROR, 0, "NO_ERROR"},
                    NamedCode{Code::NO_ACTION, 1, "NO_ACTION"},
                    NamedCode{Code::NOT_AVAILABLE, 2, "NOT_AVAILABLE"},
                    NamedCode{Code::INVALID_PARAM, 3, "INVALID_PARAM"},
                    NamedCode{Code::INVALID_CONFIG, 4, "INVALID_CONFIG"},
                    NamedCode{Code::INVALID_MODE, 5, "INVALID_MODE"},
                    NamedCode{Code::TIMED_OUT, 6, "TIMED_OUT"},
                    NamedCode{Code::ADDR_IN_USE, 7, "ADDR_IN_USE"},
                    NamedCode{Code::PERMISSION_DENIED, 8, "PERMISSION_DENIED"},
                    NamedCode{Code::MESSAGE_STALE, 9, "MESSAGE_STALE"},
                    NamedCode{Code::IN_PROGRESS, 10, "IN_PROGRESS"},
                    NamedCode{Code::CONNECTION_CLOSED, 11, "CONNECTION_CLOSED"},
                    NamedCode{Code::DATA_BUFFER_TOO_SMALL, 12, "DATA_BUFFER_TOO_SMALL"},
                    NamedCode{Code::DATA_OVERFLOW, 13, "DATA_OVERFLOW"}),
    [](auto const& named) { return named.param.text; });

TEST(ReturnCode, IsUnknownFrom14On) {
    EXPECT_EQ(TextOf(14), "RC_UNKNOWN");
    EXPECT_EQ(TextOf(15), "RC_UNKNOWN");
    EXPECT_EQ(TextOf(std::numeric_limits<int>::max()), "RC_UNKNOWN");
}

TEST(ReturnCode, IsUnknownWhenNegative) {
    EXPECT_EQ(TextOf(-1), "RC_UNKNOWN");
    EXPECT_EQ(TextOf(std::numeric_limits<int>::min()), "RC_UNKNOWN");
}

TEST(ReturnCode, Takes32Bits) {
    EXPECT_EQ(sizeof(Code::Value), 4U);
}

TEST(ReturnCode, NoErrorPassesBothChecksInSilence) {
    testing::internal::CaptureStdout();
    EXPECT_NO_THROW(FACE::Return_Code_Value_No_Error("f", 1, "t", Code::NO_ERROR));
    EXPECT_NO_THROW(FACE::Return_Code_Value_No_Error_No_Action("f", 1, "t", Code::NO_ERROR));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ReturnCode, NoActionPassesTheSecondCheckInSilence) {
    testing::internal::CaptureStdout();
    EXPECT_NO_THROW(FACE::Return_Code_Value_No_Error_No_Action("f", 1, "t", Code::NO_ACTION));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ReturnCode, NoActionRaisesInTheFirstCheck) {
    EXPECT_THAT(Raised(FACE::Return_Code_Value_No_Error, Code::NO_ACTION),
                testing::HasSubstr("NO_ACTION"));
}

TEST(ReturnCode, EveryOtherCodeRaisesInBothChecks) {
    for (int code = 2; code <= 14; ++code) {
        auto const value = static_cast<Code::Value>(code);
        std::string const text = "ServerMain.cpp[118]:" + TextOf(code) + " Initialize() failed";
        EXPECT_EQ(Raised(FACE::Return_Code_Value_No_Error, value), text);
        EXPECT_EQ(Raised(FACE::Return_Code_Value_No_Error_No_Action, value), text);
    }
}

TEST(ReturnCode, ARaisedCheckWritesItsLineToStandardOutputFirst) {
    testing::internal::CaptureStdout();
    std::string const text =
        Raised(FACE::Return_Code_Value_No_Error_No_Action, Code::INVALID_CONFIG);
    EXPECT_EQ(text, "ServerMain.cpp[118]:INVALID_CONFIG Initialize() failed");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), text + "\n");
}
