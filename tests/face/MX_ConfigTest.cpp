#include <array>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/stat.h>

#include <climits>

#include "face/MX_Config.h"
#include "tests/face/MX_ConfigFixture.h"

namespace {

Code::Value Initialized(std::string const& path) {
    MX_Config config;
    Code::Value rc = Code::TIMED_OUT;
    config.Initialize(path.c_str(), rc);
    return rc;
}

/// Loads `content` as a file; expects nothing on standard output.
Code::Value InitializedWith(std::string const& content) {
    TestFolder const folder;
    testing::internal::CaptureStdout();
    Code::Value const rc = Initialized(folder.write("config.xml", content));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return rc;
}

}  // namespace

TEST(MX_Config, AMissingFileIsAnInvalidConfigurationInSilence) {
    TestFolder const folder;
    testing::internal::CaptureStdout();
    EXPECT_EQ(Initialized(folder / "absent.xml"), Code::INVALID_CONFIG);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(MX_Config, MalformedFilesAreInvalidConfigurationsInSilence) {
    for (char const* content :
         {"", " ", "text", "<", "<MX_Configurations>", "<MX_Configurations",
          "<MX_Configurations></Other>", "<MX_Configurations><A></MX_Configurations></A>",
          "<MX_Configurations a=></MX_Configurations>",
          "<MX_Configurations><!-- </MX_Configurations>",
          "<MX_Configurations><![CDATA[ </MX_Configurations>", "\xFF\xFE<\0M"}) {
        EXPECT_EQ(InitializedWith(content), Code::INVALID_CONFIG) << content;
    }
}

TEST(MX_Config, AFileWithoutTheRootElementLeavesItsLine) {
    TestFolder const folder;
    std::string const path = folder.write("config.xml", "<Other/>");
    testing::internal::CaptureStdout();
    EXPECT_EQ(Initialized(path), Code::INVALID_CONFIG);
    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
        "Configuration XML - " + path + " Error: Unable to locate the MX_Configurations object\n");
}

TEST(MX_Config, AFolderAPipeAndADeviceAreInvalidConfigurations) {
    TestFolder const folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(Initialized(folder / "."), Code::INVALID_CONFIG);
    EXPECT_EQ(Initialized(folder / "pipe"), Code::INVALID_CONFIG);
    EXPECT_EQ(Initialized("/dev/zero"), Code::INVALID_CONFIG);
}

TEST(MX_Config, AHugeFileIsRefusedWithoutReadingIt) {
    TestFolder const folder;
    std::string const path = folder.write("config.xml", example);
    std::filesystem::resize_file(path, std::uintmax_t{1} << 40U);  // sparse
    EXPECT_EQ(Initialized(path), Code::INVALID_CONFIG);
}

TEST(MX_Config, DeepNestingIsRefused) {
    std::string content = "<MX_Configurations>";
    for (int i = 0; i < 100000; ++i) {
        content += "<a>";
    }
    EXPECT_EQ(InitializedWith(content), Code::INVALID_CONFIG);
}

TEST(MX_Config, EntityDeclarationsAreNotExpanded) {
    TestFolder const folder;
    std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE a [<!ENTITY e0 \"boom\">";
    for (int i = 1; i < 10; ++i) {
        std::string const inner = "&e" + std::to_string(i - 1) + ";";
        bomb += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k) {
            bomb += inner;
        }
        bomb += "\">";
    }
    std::string const body =
        "<MX_Configurations><T><Name>n</Name><Parameters><K>&e9;</K></Parameters></T>"
        "</MX_Configurations>";
    MX_Config config;
    Code::Value rc = Code::TIMED_OUT;
    int handle = -1;
    int size = -1;
    config.Initialize(folder.write("config.xml", bomb + "]>" + body).c_str(), rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    config.Open("n", handle, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    config.Get_Size(handle, "K", size, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(size, 4);  // "&e9;", as it stands
}

TEST(MX_Config, NothingOpensBeforeInitialize) {
    MX_Config config;
    Code::Value rc = Code::TIMED_OUT;
    int handle = -7;
    config.Open("Meridane", handle, rc);
    EXPECT_EQ(rc, Code::INVALID_MODE);
    EXPECT_EQ(handle, -7);
}

TEST(MX_Config, AFailedInitializeMayBeTriedAgain) {
    TestFolder const folder;
    MX_Config config;
    Code::Value rc = Code::TIMED_OUT;
    int handle = -1;
    config.Initialize((folder / "absent.xml").c_str(), rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    config.Open("Meridane", handle, rc);
    EXPECT_EQ(rc, Code::INVALID_MODE);
    config.Initialize(folder.write("config.xml", example).c_str(), rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    config.Open("Meridane", handle, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
}

TEST(MX_Config, AnInvalidFileNameRaises) {
    MX_Config config;
    Code::Value rc = Code::TIMED_OUT;
    EXPECT_THROW(config.Initialize(FACE::String(nullptr), rc), std::logic_error);
}

TEST_F(MX_ConfigFile, ASecondInitializeWithAnotherFileChangesNothing) {
    Code::Value rc = Code::TIMED_OUT;
    config.Initialize((folder / "absent.xml").c_str(), rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(read(open("Meridane"), "System"), "Corvane");
    EXPECT_EQ(write(open("Meridane"), "System", "Other"), Code::NO_ERROR);
    EXPECT_FALSE(std::filesystem::exists(folder / "absent.xml"));
    EXPECT_EQ(readAgain("Meridane", "System"), "Other");
}

TEST_F(MX_ConfigFile, OpensByNameAndByTag) {
    EXPECT_EQ(read(open("Meridane"), "System"), "Corvane");
    EXPECT_EQ(read(open("Thread"), "System"), "Corvane");
}

TEST_F(MX_ConfigFile, AnUnknownContainerIsAnInvalidConfiguration) {
    Code::Value rc = Code::TIMED_OUT;
    int handle = -7;
    for (char const* name : {"absent", "", "meridane", "MX_Configurations", "Key"}) {
        config.Open(name, handle, rc);
        EXPECT_EQ(rc, Code::INVALID_CONFIG) << name;
    }
    EXPECT_EQ(handle, -7);
}

TEST_F(MX_ConfigFile, AContainerWithoutANameCannotBeOpened) {
    Code::Value rc = Code::TIMED_OUT;
    int handle = -7;
    config.Open("Nameless", handle, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
}

TEST_F(MX_ConfigFile, OpeningOneNameTwiceGivesOneHandle) {
    int const handle = open("one");
    EXPECT_EQ(open("one"), handle);
}

TEST_F(MX_ConfigFile, OpeningAnotherContainerOfATagMovesItsHandle) {
    int const first = open("one");
    EXPECT_EQ(read(first, "Key"), "1");
    int const second = open("two");
    EXPECT_EQ(second, first);
    EXPECT_EQ(read(first, "Key"), "2");
    EXPECT_EQ(read(first, ""), "two");
    EXPECT_EQ(open("Server"), first);  // by the tag: the first of them
    EXPECT_EQ(read(first, "Key"), "1");
}

TEST_F(MX_ConfigFile, HandlesOfOtherTagsStay) {
    int const server = open("one");
    int const thread = open("Meridane");
    EXPECT_NE(server, thread);
    EXPECT_EQ(read(server, "Key"), "1");
}

TEST_F(MX_ConfigFile, HandleNumbersAreNotUsedAgainAlsoByOtherObjects) {
    Code::Value rc = Code::TIMED_OUT;
    int const first = open("one");
    config.Close(first, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    MX_Config other;
    int second = -1;
    other.Initialize(path.c_str(), rc);
    other.Open("one", second, rc);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(open("one"), first + 2);
}

TEST_F(MX_ConfigFile, AClosedHandleIsUnknownToEveryOperation) {
    Code::Value rc = Code::TIMED_OUT;
    int const handle = open("one");
    config.Close(handle, rc);
    int size = -7;
    config.Get_Size(handle, "Key", size, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_EQ(size, -7);
    EXPECT_EQ(read(handle, "Key"), "INVALID_CONFIG");
    EXPECT_EQ(write(handle, "Key", "x"), Code::INVALID_CONFIG);
    EXPECT_EQ(seek(handle, Whence::SEEK_SET, 0), Code::INVALID_CONFIG);
    config.Close(handle, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
}

TEST_F(MX_ConfigFile, SizeIsTheLengthOfTheText) {
    Code::Value rc = Code::TIMED_OUT;
    int size = -7;
    config.Get_Size(open("Meridane"), "System", size, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(size, 7);
}

TEST_F(MX_ConfigFile, AnEmptyParameterAddressesTheNameOfTheContainer) {
    int const handle = open("Thread");
    Code::Value rc = Code::TIMED_OUT;
    int size = -7;
    config.Get_Size(handle, "", size, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(size, 8);
    EXPECT_EQ(read(handle, ""), "Meridane");
}

TEST_F(MX_ConfigFile, MissingAndEmptyParametersHaveNoSize) {
    int const handle = open("Meridane");
    for (char const* parameter : {"Absent", "Empty", "Blank"}) {
        Code::Value rc = Code::TIMED_OUT;
        int size = -7;
        config.Get_Size(handle, parameter, size, rc);
        EXPECT_EQ(rc, Code::INVALID_CONFIG) << parameter;
        EXPECT_EQ(size, -7);
    }
}

TEST_F(MX_ConfigFile, MissingAndEmptyParametersAreInvalidToRead) {
    int const handle = open("Meridane");
    EXPECT_EQ(read(handle, "Absent"), "INVALID_PARAM");
    EXPECT_EQ(read(handle, "Empty"), "INVALID_PARAM");
    EXPECT_EQ(read(handle, "Blank"), "INVALID_PARAM");
}

TEST_F(MX_ConfigFile, AContainerWithoutParametersHasNone) {
    int const handle = open("bare");
    Code::Value rc = Code::TIMED_OUT;
    int size = -7;
    config.Get_Size(handle, "Key", size, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_EQ(read(handle, "Key"), "INVALID_PARAM");
    EXPECT_EQ(write(handle, "Key", "x"), Code::INVALID_PARAM);
    EXPECT_EQ(read(handle, ""), "bare");
}

TEST_F(MX_ConfigFile, ReadsTextsInEveryFormThatXmlGivesThem) {
    int const handle = open("Meridane");
    EXPECT_EQ(read(handle, "Twice"), "first");
    EXPECT_EQ(read(handle, "Entities"), "<a & b>");
    EXPECT_EQ(read(handle, "Section"), "<raw>");
    EXPECT_EQ(read(handle, "Remarked"), "value");
}

TEST_F(MX_ConfigFile, AReadZeroesTheBufferBehindTheValue) {
    std::array<char, 10> buffer{};
    buffer.fill('\xEE');
    int bytes = -1;
    Code::Value rc = Code::TIMED_OUT;
    config.Read(open("Meridane"), "System", buffer.data(), 9, bytes, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(bytes, 7);
    EXPECT_EQ(std::memcmp(buffer.data(), "Corvane\0\0\xEE", 10), 0);
}

TEST_F(MX_ConfigFile, AReadIntoASmallBufferGivesThePrefixWithoutTerminator) {
    std::array<char, 5> buffer{};
    buffer.fill('\xEE');
    int bytes = -1;
    Code::Value rc = Code::TIMED_OUT;
    config.Read(open("Meridane"), "System", buffer.data(), 4, bytes, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(bytes, 4);
    EXPECT_EQ(std::memcmp(buffer.data(), "Corv\xEE", 5), 0);
}

TEST_F(MX_ConfigFile, AReadIntoNothingReadsNothing) {
    char byte = '\xEE';
    int bytes = -1;
    Code::Value rc = Code::TIMED_OUT;
    config.Read(open("Meridane"), "System", &byte, 0, bytes, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(bytes, 0);
    EXPECT_EQ(byte, '\xEE');
}

TEST_F(MX_ConfigFile, AFailedReadLeavesTheBuffer) {
    char byte = '\xEE';
    int bytes = -1;
    Code::Value rc = Code::TIMED_OUT;
    config.Read(open("Meridane"), "Absent", &byte, 1, bytes, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    EXPECT_EQ(byte, '\xEE');
}

TEST_F(MX_ConfigFile, ANullBufferIsInvalidToReadAndToWrite) {
    int const handle = open("Meridane");
    int bytes = -1;
    Code::Value rc = Code::TIMED_OUT;
    config.Read(handle, "System", nullptr, 4, bytes, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    EXPECT_EQ(bytes, 0);
    bytes = -1;
    config.Write(handle, "System", nullptr, 4, bytes, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    EXPECT_EQ(bytes, 0);
    EXPECT_EQ(read(handle, "System"), "Corvane");
}

TEST_F(MX_ConfigFile, ANegativeSizeIsInvalidToReadAndToWrite) {
    int const handle = open("Meridane");
    std::array<char, 4> buffer{};
    for (int const size : {-1, INT_MIN}) {
        int bytes = -1;
        Code::Value rc = Code::TIMED_OUT;
        config.Read(handle, "System", buffer.data(), size, bytes, rc);
        EXPECT_EQ(rc, Code::INVALID_PARAM);
        EXPECT_EQ(bytes, 0);
        bytes = -1;
        config.Write(handle, "System", buffer.data(), size, bytes, rc);
        EXPECT_EQ(rc, Code::INVALID_PARAM);
        EXPECT_EQ(bytes, 0);
    }
    EXPECT_EQ(read(handle, "System"), "Corvane");
}

TEST_F(MX_ConfigFile, AnInvalidNameRaises) {
    FACE::String const invalid(nullptr);
    int const handle = open("Meridane");
    int number = 0;
    char byte = 'x';
    Code::Value rc = Code::TIMED_OUT;
    EXPECT_THROW(config.Open(invalid, number, rc), std::logic_error);
    EXPECT_THROW(config.Get_Size(handle, invalid, number, rc), std::logic_error);
    EXPECT_THROW(config.Read(handle, invalid, &byte, 1, number, rc), std::logic_error);
    EXPECT_THROW(config.Write(handle, invalid, &byte, 1, number, rc), std::logic_error);
}

TEST(MX_Config, RemarksAndTextBetweenElementsDoNotMatter) {
    TestFolder const folder;
    MX_Config config;
    Code::Value rc = Code::TIMED_OUT;
    int handle = -1;
    int size = -1;
    config.Initialize(
        folder
            .write("config.xml",
                   "<MX_Configurations>stray<!-- a --><T>stray<!-- b --><Name>n</Name>"
                   "stray<Parameters>stray<!-- c --><K>v</K>stray</Parameters></T>stray"
                   "</MX_Configurations>")
            .c_str(),
        rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    config.Open("n", handle, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    config.Get_Size(handle, "K", size, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(size, 1);
}

TEST(MX_Config, ANameWithElementsInsteadOfTextIsNone) {
    TestFolder const folder;
    MX_Config config;
    Code::Value rc = Code::TIMED_OUT;
    int handle = -1;
    config.Initialize(folder
                          .write("config.xml",
                                 "<MX_Configurations><T><Name><b>n</b></Name></T>"
                                 "</MX_Configurations>")
                          .c_str(),
                      rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    config.Open("T", handle, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
}
