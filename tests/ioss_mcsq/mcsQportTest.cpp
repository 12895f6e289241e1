#include "ioss_mcsq/mcsQport.h"
#include "tests/ioss_mcsq/McsqFixture.h"

namespace {

class mcsQportTest : public McsqFixture {
protected:
    std::string const path = root.queuePath(0);
    std::string const missing = root.queuePath(9);
};

/// What `act` writes to standard error.
template <class Act>
std::string complaintOf(Act act) {
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

TEST_F(mcsQportTest, BeginsWithoutNameAndClosed) {
    mcsReaderPort const port;
    EXPECT_STREQ(port.get_filename(), "");
    EXPECT_FALSE(port.hasSetFilename());
    EXPECT_FALSE(port.is_file_open());
    EXPECT_EQ(port.getFileDescriptor(), -1);
}

TEST_F(mcsQportTest, KeepsThePointerToItsName) {
    mcsReaderPort port;
    port.set_filename(path.c_str());
    EXPECT_EQ(port.get_filename(), path.c_str());
    EXPECT_TRUE(port.hasSetFilename());
}

TEST_F(mcsQportTest, DoesNothingWithoutAName) {
    mcsReaderPort reader;
    mcsWriterPort writer;
    EXPECT_EQ(complaintOf([&] {
                  EXPECT_EQ(reader.can_open_file(), -1);
                  EXPECT_EQ(reader.openPort(), -1);
                  EXPECT_EQ(writer.openPort(), -1);
              }),
              "");
}

TEST_F(mcsQportTest, TriesTheFileAndClosesItAgain) {
    mcsReaderPort port;
    port.set_filename(path.c_str());
    EXPECT_EQ(port.can_open_file(), 1);
    EXPECT_FALSE(port.is_file_open());
}

TEST_F(mcsQportTest, TellsThatAFileCannotBeOpened) {
    mcsReaderPort port;
    port.set_filename(missing.c_str());
    EXPECT_EQ(complaintOf([&] { EXPECT_EQ(port.can_open_file(), 0); }),
              "Unable to open output pipe file: " + missing + "\n");
    EXPECT_EQ(complaintOf([&] { EXPECT_EQ(port.openPortForWrite(), -1); }),
              "Unable to open output pipe file: " + missing + "\n");
    EXPECT_EQ(complaintOf([&] { EXPECT_EQ(port.openPortForRead(), -1); }),
              "Unable to open input pipe file: " + missing + "\n");
    EXPECT_FALSE(port.is_file_open());
    EXPECT_EQ(port.getFileDescriptor(), -1);
}

TEST_F(mcsQportTest, TriesAReaderForWriting) {
    // A folder opens for reading only.
    std::string const folderPath = folder.path();
    mcsReaderPort port;
    port.set_filename(folderPath.c_str());
    EXPECT_EQ(complaintOf([&] { EXPECT_EQ(port.can_open_file(), 0); }),
              "Unable to open output pipe file: " + folderPath + "\n");
    EXPECT_GE(port.openPort(), 0);
}

TEST_F(mcsQportTest, NeedsNoFileBehindANullName) {
    mcsReaderPort port;
    port.set_filename(nullptr);
    EXPECT_EQ(complaintOf([&] { EXPECT_EQ(port.can_open_file(), 0); }),
              "Unable to open output pipe file: \n");
}

TEST_F(mcsQportTest, CarriesBytesFromTheWriterToTheReader) {
    mcsReaderPort reader;
    mcsWriterPort writer;
    reader.set_filename(path.c_str());
    writer.set_filename(path.c_str());
    int const readEnd = reader.openPort();
    int const writeEnd = writer.openPort();
    EXPECT_EQ(reader.getFileDescriptor(), readEnd);
    EXPECT_EQ(writer.getFileDescriptor(), writeEnd);
    EXPECT_TRUE(reader.is_file_open());
    EXPECT_EQ(writer.writeToPort("abcd", 4), 4);
    std::array<char, 8> bytes{};
    EXPECT_EQ(reader.readFromPort(bytes.data(), 3), 3);
    EXPECT_STREQ(bytes.data(), "abc");
}

TEST_F(mcsQportTest, NeverWaits) {
    mcsReaderPort reader;
    mcsWriterPort writer;
    reader.set_filename(path.c_str());
    writer.set_filename(path.c_str());
    reader.openPort();
    writer.openPort();
    std::array<char, 4096> bytes{};
    EXPECT_EQ(reader.readFromPort(bytes.data(), 1), -1);
    while (writer.writeToPort(bytes.data(), 4096) == 4096) {
    }
    EXPECT_EQ(writer.writeToPort(bytes.data(), 1), -1);
}

TEST_F(mcsQportTest, GivesNothingWhileClosed) {
    mcsReaderPort reader;
    mcsWriterPort writer;
    char byte = 'x';
    EXPECT_EQ(reader.readFromPort(&byte, 1), 0);
    EXPECT_EQ(writer.writeToPort(&byte, 1), 0);
    EXPECT_EQ(byte, 'x');
}

TEST_F(mcsQportTest, TakesALengthBelowZeroForNone) {
    mcsWriterPort writer;
    writer.set_filename(path.c_str());
    writer.openPort();
    EXPECT_EQ(writer.writeToPort("abcd", -1), 0);
    EXPECT_EQ(drain(0), Bytes());
}

TEST_F(mcsQportTest, ClosesWithItsEnd) {
    int descriptor = -1;
    {
        mcsWriterPort writer;
        writer.set_filename(path.c_str());
        descriptor = writer.openPort();
        EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        EXPECT_NE(::fcntl(descriptor, F_GETFL) & O_NONBLOCK, 0);
    }
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST_F(mcsQportTest, ClosesWhatWasOpenWhenItOpensAgain) {
    mcsWriterPort writer;
    writer.set_filename(path.c_str());
    int const first = writer.openPort();
    int const second = writer.openPort();
    EXPECT_EQ(first, second);  // the lowest free number, free again
    writer.set_filename(missing.c_str());
    complaintOf([&] { writer.openPort(); });
    EXPECT_FALSE(writer.is_file_open());
    EXPECT_EQ(::fcntl(first, F_GETFD), -1);
}

TEST_F(mcsQportTest, TakesAnyDebugLevel) {
    mcsReaderPort port;
    port.set_filename(path.c_str());
    EXPECT_EQ(complaintOf([&] {
                  port.doDebug(9);
                  EXPECT_EQ(port.can_open_file(), 1);
              }),
              "");
}

}  // namespace
