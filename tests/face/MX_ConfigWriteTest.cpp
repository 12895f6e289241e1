#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <pthread.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

#include "tests/face/MX_ConfigFixture.h"

TEST_F(MX_ConfigFile, MissingAndEmptyParametersAreInvalidToWriteAndLeaveTheFile) {
    int const handle = open("Meridane");
    EXPECT_EQ(write(handle, "Absent", "x"), Code::INVALID_PARAM);
    EXPECT_EQ(write(handle, "Empty", "x"), Code::INVALID_PARAM);
    EXPECT_EQ(write(handle, "Blank", "x"), Code::INVALID_PARAM);
    EXPECT_EQ(FileContent(path), example);
}

TEST_F(MX_ConfigFile, AWrittenValueIsReadAtOnceAndAfterANewStart) {
    int const handle = open("Meridane");
    EXPECT_EQ(write(handle, "System", "Another computer"), Code::NO_ERROR);
    EXPECT_EQ(read(handle, "System"), "Another computer");
    EXPECT_EQ(readAgain("Meridane", "System"), "Another computer");
}

TEST_F(MX_ConfigFile, AWrittenValueTakesExactlyTheBytesOfTheBuffer) {
    int const handle = open("Meridane");
    std::string text = "12345";
    int bytes = -1;
    Code::Value rc = Code::TIMED_OUT;
    config.Write(handle, "System", text.data(), 3, bytes, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(bytes, 3);
    EXPECT_EQ(read(handle, "System"), "123");
}

TEST_F(MX_ConfigFile, ValuesWithTheSignsOfXmlSurviveANewStart) {
    int const handle = open("Meridane");
    std::string const text = "<a href=\"x\"> & 'b' ]]> </Parameters>";
    for (char const* parameter : {"System", "Entities", "Section", "Remarked"}) {
        EXPECT_EQ(write(handle, parameter, text), Code::NO_ERROR);
        EXPECT_EQ(readAgain("Meridane", parameter), text);
    }
    EXPECT_EQ(readAgain("one", "Key"), "1");
}

TEST_F(MX_ConfigFile, AZeroByteInAValueIsInvalid) {
    int const handle = open("Meridane");
    EXPECT_EQ(write(handle, "System", std::string("a\0b", 3)), Code::INVALID_PARAM);
    EXPECT_EQ(read(handle, "System"), "Corvane");
    EXPECT_EQ(FileContent(path), example);
}

TEST_F(MX_ConfigFile, AValueWrittenEmptyCannotBeWrittenAgain) {
    int const handle = open("Meridane");
    EXPECT_EQ(write(handle, "System", ""), Code::NO_ERROR);
    EXPECT_EQ(read(handle, "System"), "INVALID_PARAM");
    EXPECT_EQ(write(handle, "System", "x"), Code::INVALID_PARAM);
    EXPECT_EQ(readAgain("Meridane", "System"), "INVALID_PARAM");
}

TEST_F(MX_ConfigFile, TheNameOfAContainerCannotBeWritten) {
    int const handle = open("Meridane");
    EXPECT_EQ(write(handle, "", "Other"), Code::INVALID_PARAM);
    EXPECT_EQ(read(handle, ""), "Meridane");
    EXPECT_EQ(FileContent(path), example);
}

TEST_F(MX_ConfigFile, AWriteKeepsTheOrderOfElementsAndTheirRemarks) {
    EXPECT_EQ(write(open("two"), "Key", "22"), Code::NO_ERROR);
    std::string const content = FileContent(path);
    std::size_t place = 0;
    for (char const* part : {"<?xml",
                             "settings",
                             "a.xsd",
                             "Meridane",
                             "System",
                             "Empty",
                             "Twice",
                             "first",
                             "Twice",
                             "second",
                             "Entities",
                             "Section",
                             "<![CDATA[<raw>]]>",
                             "a remark",
                             "value",
                             "one",
                             "Port",
                             "between",
                             "Server",
                             "two",
                             "22",
                             "nameless",
                             "empty name",
                             "three",
                             "Bare",
                             "Nameless"}) {
        place = content.find(part, place);
        ASSERT_NE(place, std::string::npos) << part << " is not where it was in " << content;
        place += std::strlen(part);
    }
}

TEST_F(MX_ConfigFile, AShorterFileLeavesNothingOfTheLongerOne) {
    int const handle = open("Meridane");
    EXPECT_EQ(write(handle, "System", std::string(10000, 'x')), Code::NO_ERROR);
    EXPECT_EQ(write(handle, "System", "y"), Code::NO_ERROR);
    EXPECT_LT(std::filesystem::file_size(path), 3000U);
    EXPECT_EQ(readAgain("Meridane", "System"), "y");
}

TEST_F(MX_ConfigFile, AWriteMakesTheFileAnewWithItsMode) {
    std::filesystem::remove(path);
    ::mode_t const before = ::umask(0);
    EXPECT_EQ(write(open("Meridane"), "System", "x"), Code::NO_ERROR);
    ::umask(before);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
    EXPECT_EQ(readAgain("Meridane", "System"), "x");
}

TEST_F(MX_ConfigFile, AFileThatDoesNotOpenForWritingGivesNoActionAndMemoryIsChanged) {
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    int const handle = open("Meridane");
    EXPECT_EQ(write(handle, "System", "changed"), Code::NO_ACTION);
    EXPECT_EQ(read(handle, "System"), "changed");
}

TEST_F(MX_ConfigFile, AFullMediumGivesNoActionAndTheNextWriteSavesBoth) {
    std::filesystem::remove(path);
    std::filesystem::create_symlink("/dev/full", path);
    int const handle = open("Meridane");
    EXPECT_EQ(write(handle, "System", "changed"), Code::NO_ACTION);
    EXPECT_EQ(read(handle, "System"), "changed");
    std::filesystem::remove(path);
    EXPECT_EQ(write(handle, "Twice", "also"), Code::NO_ERROR);
    EXPECT_EQ(readAgain("Meridane", "System"), "changed");
}

TEST_F(MX_ConfigFile, AFileThatMayNotGrowGivesNoActionAndStaysAsItWas) {
    struct rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    auto const handler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit const small{100, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    Code::Value const rc = write(open("Meridane"), "System", "changed");
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(rc, Code::NO_ACTION);  // the first 100 bytes were taken: a short write, then an error
    EXPECT_EQ(FileContent(path), example);
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

namespace {
std::atomic<int> interruptions{0};
}

TEST_F(MX_ConfigFile, InterruptedAndPartialWritesAreCarriedOn) {
    // A pipe in the file's place takes 64 KiB at a time, and signals fall into every wait.
    int const handle = open("Meridane");
    std::string const text(1000000, 'x');
    std::filesystem::remove(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) { ++interruptions; };
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
    interruptions = 0;

    std::string received;
    std::atomic<bool> finished{false};
    std::thread reader([&, writer = ::pthread_self()] {
        int const pipe = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        int const capacity = ::fcntl(pipe, F_GETPIPE_SZ);
        std::string buffer(static_cast<std::size_t>(capacity), '\0');
        for (ssize_t count = 1; count > 0;) {
            int waiting = 0;
            while (received.size() + static_cast<std::size_t>(capacity) < text.size() &&
                   waiting + 4096 < capacity && !finished) {
                ::ioctl(pipe, FIONREAD, &waiting);
                std::this_thread::yield();
            }
            // The pipe stays full until the handler has run: the first signal cuts a write short,
            // the next ones find it waiting with nothing written.
            for (int round = 0; waiting > 0 && round < 10; ++round) {
                int const taken = interruptions;
                // Again and again: the thread sanitizer puts the handler off to the end of a call,
                // and one that came right before the write would wait for that.
                while (interruptions == taken) {
                    ::pthread_kill(writer, SIGUSR1);
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            }
            count = ::read(pipe, buffer.data(), buffer.size());
            received.append(buffer, 0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        ::close(pipe);
    });
    Code::Value const rc = write(handle, "System", text);
    finished = true;
    reader.join();
    ASSERT_EQ(::sigaction(SIGUSR1, &before, nullptr), 0);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_GT(interruptions, 0);

    std::filesystem::remove(path);
    folder.write("config.xml", received);
    MX_Config again;
    Code::Value code = Code::TIMED_OUT;
    int opened = -1;
    int size = 0;
    again.Initialize(path.c_str(), code);
    again.Open("Meridane", opened, code);
    again.Get_Size(opened, "System", size, code);
    EXPECT_EQ(code, Code::NO_ERROR);
    EXPECT_EQ(size, 1000000);
}
