#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/face/FaultyCalls.h"
#include "tests/face/SettingsText.h"
#include "tests/face/TestFolder.h"

// Saves of settings on the real file system.

using testing::AnyOf;
using testing::HasSubstr;
using Code = FACE::RETURN_CODE_TYPE;
using std::filesystem::exists;

namespace {

#ifdef FORKS_ARE_DEAR  // twenty times, under the sanitizers
constexpr std::array<std::size_t, 2> lengths{300, 4200};
constexpr std::array<std::size_t, 2> piecesOfAWrite{1, 7};
constexpr int fewest = 250;
#else
constexpr std::array<std::size_t, 8> lengths{1, 10, 300, 3900, 4096, 4200, 20000, 100000};
constexpr std::array<std::size_t, 4> piecesOfAWrite{1, 2, 7, 20};
constexpr int fewest = 2000;
#endif

constexpr int finished = 7;
constexpr int stopped = 8;

/// Leaves out what only matters for a loss of power, and is most of the time.
class WithoutSync : public FACE::FileCalls {
    int open(std::string const& path, int flags, ::mode_t mode) override {
        return FileCalls::open(path, flags & ~O_SYNC, mode);
    }
    int fsync(int /*descriptor*/) override { return 0; }
};

/// Runs `action` in a process of its own, which ends without a word at its call `stop`. Returns
/// whether the action came to its end.
template <typename Action>
bool EndedAt(int stop, std::size_t largestWrite, Action const& action) {
    ::pid_t const child = ::fork();
    if (child == 0) {
        WithoutSync unsynced;
        FaultyCalls calls(
            unsynced,
            [stop](int number) {
                if (number == stop) {
                    ::_exit(stopped);
                }
                return 0;
            },
            largestWrite);
        action(calls);
        ::_exit(finished);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_THAT(WEXITSTATUS(status), AnyOf(finished, stopped));
    return WIFEXITED(status) && WEXITSTATUS(status) == finished;
}

class DurableSettings : public testing::Test {
protected:
    void reset(std::string const& value) {
        folder.write("settings.xml", SettingsText(value));
        std::filesystem::remove(sibling);
        std::filesystem::remove(draft);
    }

    /// The value, and what the start wrote to standard output.
    static std::pair<std::string, std::string> started(std::string const& path) {
        testing::internal::CaptureStdout();
        WithoutSync unsynced;
        std::string value = StartedWith(path, unsynced);
        return {std::move(value), testing::internal::GetCapturedStdout()};
    }

    std::string warning(char const* behind = "") const {
        return "Configuration XML - " + path + " Warning: Unreadable, settings taken from " +
               sibling + behind + "\n";
    }

    TestFolder folder;
    std::string path = folder / "settings.xml";
    std::string sibling = path + ".new";
    std::string draft = sibling + ".part";
};

}  // namespace

TEST_F(DurableSettings, AWriterEndedAtAnyCallLeavesTheOldOrTheNewSettings) {
    int ended = 0;
    int recovered = 0;
    for (std::size_t const length : lengths) {
        for (std::size_t const pieces : piecesOfAWrite) {
            for (std::size_t const shorter : {std::size_t{0}, length / 3}) {
                std::string const old(length - shorter, 'o');
                std::string const fresh(length, 'n');
                std::size_t const largest = SettingsText(fresh).size() / pieces + 1;
                bool complete = false;
                for (int stop = 0; !complete; ++stop) {
                    reset(old);
                    complete = EndedAt(stop, largest,
                                       [&](FACE::FileCalls& calls) { Saved(path, fresh, calls); });
                    ended += complete ? 0 : 1;
                    auto const [value, output] = started(path);
                    ASSERT_TRUE(value == old || value == fresh) << stop << ' ' << length;
                    ASSERT_TRUE(!complete || value == fresh);
                    ASSERT_THAT(output, AnyOf("", warning()));
                    recovered += output.empty() ? 0 : 1;
                    std::string const content = FileContent(path);
                    ASSERT_TRUE(content == SettingsText(old) || content == SettingsText(fresh));
                    ASSERT_EQ(StartedWith(path), value);
                }
            }
        }
    }
    EXPECT_GT(ended, fewest);
    EXPECT_GT(recovered, fewest / 8);
    RecordProperty("ended", ended);
    RecordProperty("recovered", recovered);
}

TEST_F(DurableSettings, AStartEndedAtAnyCallOfItsRecoveryLeavesTheSettingsToTheNext) {
    int ended = 0;
    std::string const value(5000, 'v');
    std::string const whole = SettingsText(value);
    for (std::string const& broken : {std::string(), whole.substr(0, 30), whole.substr(0, 4096)}) {
        for (std::size_t const largest : {whole.size(), std::size_t{500}}) {
            bool complete = false;
            for (int stop = 0; !complete; ++stop) {
                folder.write("settings.xml", broken);
                folder.write("settings.xml.new", whole);
                complete = EndedAt(stop, largest, [&](FACE::FileCalls& calls) {
                    testing::internal::CaptureStdout();
                    StartedWith(path, calls);
                });
                ended += complete ? 0 : 1;
                ASSERT_EQ(started(path).first, value) << stop;
                ASSERT_EQ(FileContent(path), whole);
            }
        }
    }
    EXPECT_GT(ended, 100);
}

TEST_F(DurableSettings, ASaveLeavesTheFileAlone) {
    reset("old");
    EXPECT_EQ(Saved(path, "new"), Code::NO_ERROR);
    EXPECT_EQ(FileContent(path), SettingsText("new"));
    EXPECT_FALSE(exists(sibling));
    EXPECT_FALSE(exists(draft));
}

TEST_F(DurableSettings, AWholeSiblingTakesThePlaceOfAFileThatIsNotWholeAndSaysSo) {
    std::string const whole = SettingsText("kept");
    for (std::string const& broken :
         {std::string(), std::string("   "), whole.substr(0, whole.size() / 2),
          std::string("<?xml version=\"1.0\"?>\n<!-- no root -->\n"), std::string(500, '\0')}) {
        folder.write("settings.xml", broken);
        folder.write("settings.xml.new", whole);
        auto const [value, output] = started(path);
        EXPECT_EQ(value, "kept") << broken;
        EXPECT_EQ(output, warning());
        EXPECT_EQ(FileContent(path), whole);
        EXPECT_FALSE(exists(sibling));
        EXPECT_EQ(started(path).second, "");
    }
}

TEST_F(DurableSettings, AWholeSiblingTakesThePlaceOfAMissingFileWithItsMode) {
    folder.write("settings.xml.new", SettingsText("kept"));
    std::filesystem::permissions(sibling, std::filesystem::perms{0640});
    auto const [value, output] = started(path);
    EXPECT_EQ(value, "kept");
    EXPECT_EQ(output, warning());
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0640});
    EXPECT_FALSE(exists(sibling));
}

TEST_F(DurableSettings, AnySiblingBesideAWholeFileMeansNothingAndGoesWithTheNextSave) {
    for (std::string const& left :
         {std::string(), std::string("<MX_Conf"), SettingsText("other")}) {
        reset("old");
        folder.write("settings.xml.new", left);
        folder.write("settings.xml.new.part", left);
        auto const [value, output] = started(path);
        EXPECT_EQ(value, "old");
        EXPECT_EQ(output, "");
        EXPECT_EQ(FileContent(sibling), left);
        EXPECT_EQ(Saved(path, "new"), Code::NO_ERROR);
        EXPECT_EQ(StartedWith(path), "new");
        EXPECT_FALSE(exists(sibling));
        EXPECT_FALSE(exists(draft));
    }
}

TEST_F(DurableSettings, ABrokenSiblingAndADraftBesideABrokenFileAreNoSettings) {
    folder.write("settings.xml", "<MX_Config");
    folder.write("settings.xml.new", "<MX_Configurations>");
    folder.write("settings.xml.new.part", SettingsText("draft"));
    EXPECT_EQ(started(path), std::make_pair(std::string("not initialized"), std::string()));
    EXPECT_EQ(FileContent(path), "<MX_Config");
}

TEST_F(DurableSettings, ASiblingThatCannotBePutInPlaceIsReadAndStays) {
    folder.write("settings.xml", "");
    folder.write("settings.xml.new", SettingsText("kept"));
    // Every write fails, as on a full disk.
    class FullDisk : public FACE::FileCalls {
        ::ssize_t write(int /*descriptor*/, char const* /*data*/, std::size_t /*size*/) override {
            errno = ENOSPC;
            return -1;
        }
    } full;
    testing::internal::CaptureStdout();
    EXPECT_EQ(StartedWith(path, full), "kept");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              warning(", which cannot be put in its place"));
    EXPECT_EQ(FileContent(sibling), SettingsText("kept"));

    testing::internal::CaptureStdout();
    EXPECT_EQ(Saved(path, "new", full), Code::NO_ACTION);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(FileContent(sibling), SettingsText("kept"));
    EXPECT_FALSE(exists(draft));
    EXPECT_EQ(started(path).first, "kept");
    EXPECT_EQ(FileContent(path), SettingsText("kept"));
}

TEST_F(DurableSettings, ASaveThatFailsHalfWayInTheFileLeavesTheNewSettingsInTheSibling) {
    reset("old");
    // Only the file itself is truncated; its write fails.
    class FailingMedium : public FACE::FileCalls {
        int open(std::string const& name, int flags, ::mode_t mode) override {
            int const descriptor = FileCalls::open(name, flags, mode);
            failing = (flags & O_TRUNC) != 0 ? descriptor : failing;
            return descriptor;
        }
        ::ssize_t write(int descriptor, char const* data, std::size_t size) override {
            errno = EIO;
            return descriptor == failing ? -1 : FileCalls::write(descriptor, data, size);
        }
        int failing = -1;
    } medium;
    EXPECT_EQ(Saved(path, "new", medium), Code::NO_ACTION);
    EXPECT_EQ(FileContent(path), "");
    EXPECT_EQ(FileContent(sibling), SettingsText("new"));
    auto const [value, output] = started(path);
    EXPECT_EQ(value, "new");
    EXPECT_EQ(output, warning());
}

TEST_F(DurableSettings, AnErrorOfAnyCallGivesTheToldCodeAndLosesNothing) {
    WithoutSync unsynced;
    for (int const error : {EIO, ENOSPC, EROFS, EACCES}) {
        for (int failing = 0;; ++failing) {
            reset("old");
            FaultyCalls calls(
                unsynced, [&](int number) { return number == failing ? error : 0; }, 50);
            Code::Value const rc = Saved(path, "new", calls);
            ASSERT_THAT(rc, AnyOf(Code::NO_ERROR, Code::NO_ACTION, Code::TIMED_OUT));
            std::string const value = started(path).first;
            if (rc == Code::NO_ERROR) {
                ASSERT_EQ(value, "new") << failing;
            } else {
                ASSERT_THAT(value, AnyOf("old", "new")) << failing;
            }
            ASSERT_EQ(Saved(path, "next", unsynced), Code::NO_ERROR) << failing;
            ASSERT_EQ(StartedWith(path), "next");
            ASSERT_FALSE(exists(sibling));
            ASSERT_FALSE(exists(draft));
            if (calls.calls() <= failing) {
                ASSERT_EQ(rc, Code::NO_ERROR);
                break;
            }
        }
    }
}

TEST_F(DurableSettings, AMediumThatFailsFromAnyCallOnLosesNothing) {
    WithoutSync unsynced;
    for (int const error : {EIO, ENOSPC, EROFS}) {
        for (int first = 0;; ++first) {
            reset("old");
            FaultyCalls calls(
                unsynced, [&](int number) { return number >= first ? error : 0; }, 50);
            Code::Value const rc = Saved(path, "new", calls);
            std::string const value = started(path).first;
            ASSERT_THAT(value, AnyOf("old", "new")) << first;
            ASSERT_TRUE(rc != Code::NO_ERROR || value == "new") << first;
            if (calls.calls() <= first) {
                break;
            }
        }
    }
}

TEST_F(DurableSettings, InterruptionsAndShortWritesAreCarriedOn) {
    // Every second call is interrupted; the real ones write three bytes at a time.
    reset("old");
    class Interrupted : public FACE::FileCalls {
        bool now() {
            errno = EINTR;
            return (count_++ % 2) == 0;
        }
        int open(std::string const& name, int flags, ::mode_t mode) override {
            return now() ? -1 : FileCalls::open(name, flags, mode);
        }
        ::ssize_t read(int descriptor, char* buffer, std::size_t size) override {
            return now() ? -1 : FileCalls::read(descriptor, buffer, std::min<std::size_t>(size, 5));
        }
        ::ssize_t write(int descriptor, char const* data, std::size_t size) override {
            return now() ? -1 : FileCalls::write(descriptor, data, std::min<std::size_t>(size, 3));
        }
        int fsync(int descriptor) override { return now() ? -1 : FileCalls::fsync(descriptor); }
        int close(int descriptor) override {
            int const result = FileCalls::close(descriptor);
            return now() ? -1 : result;
        }
        int count_ = 0;
    } calls;
    EXPECT_EQ(Saved(path, "new", calls), Code::NO_ERROR);
    EXPECT_EQ(FileContent(path), SettingsText("new"));
    EXPECT_FALSE(exists(sibling));
    EXPECT_FALSE(exists(draft));
}

TEST_F(DurableSettings, AWriteThatTakesNothingIsAFailure) {
    reset("old");
    class TakesNothing : public FACE::FileCalls {
        ::ssize_t write(int /*descriptor*/, char const* /*data*/, std::size_t /*size*/) override {
            return 0;
        }
    } calls;
    EXPECT_EQ(Saved(path, "new", calls), Code::NO_ACTION);
    EXPECT_EQ(StartedWith(path), "old");
}

TEST_F(DurableSettings, ASymbolicLinkStaysAndTheSiblingStandsBesideItsTarget) {
    std::filesystem::create_directory(folder / "data");
    std::string const target = folder.write("data/real.xml", SettingsText("old"));
    std::filesystem::create_symlink("data/real.xml", folder / "inner.xml");
    std::filesystem::create_symlink(folder / "inner.xml", path);
    EXPECT_EQ(Saved(path, "new"), Code::NO_ERROR);
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_EQ(FileContent(target), SettingsText("new"));

    for (bool const missing : {false, true}) {
        folder.write("data/real.xml", "");
        folder.write("data/real.xml.new", SettingsText("kept"));
        if (missing) {
            std::filesystem::remove(target);
        }
        auto const [value, output] = started(path);
        EXPECT_EQ(value, "kept");
        EXPECT_THAT(output, HasSubstr("data/real.xml.new\n"));
        EXPECT_TRUE(std::filesystem::is_symlink(path));
        EXPECT_EQ(FileContent(target), SettingsText("kept"));
        EXPECT_FALSE(exists(target + ".new"));
    }
}

TEST_F(DurableSettings, ALinkInPlaceOfTheDraftIsNotFollowed) {
    reset("old");
    std::string const other = folder.write("other", "untouched");
    std::filesystem::create_symlink(other, draft);
    std::filesystem::create_symlink(other, sibling);
    EXPECT_EQ(Saved(path, "new"), Code::NO_ERROR);
    EXPECT_EQ(FileContent(other), "untouched");
    EXPECT_EQ(StartedWith(path), "new");
}

TEST_F(DurableSettings, FileAndSiblingHaveTheModeOfTheFile) {
    for (auto const mode : {0600U, 0640U, 0664U, 0755U}) {
        reset("old");
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        class LooksBack : public FACE::FileCalls {
        public:
            unsigned siblingMode = 0;

        private:
            int rename(std::string const& from, std::string const& to) override {
                struct ::stat status {};
                EXPECT_EQ(::stat(from.c_str(), &status), 0);
                siblingMode = status.st_mode & 07777U;
                return FileCalls::rename(from, to);
            }
        } calls;
        EXPECT_EQ(Saved(path, "new", calls), Code::NO_ERROR);
        EXPECT_EQ(calls.siblingMode, mode);
        struct ::stat status {};
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, mode);
    }
}

TEST_F(DurableSettings, ADraftThatCannotHaveTheOwnerIsTheWritersAlone) {
    reset("old");
    class NoOwner : public FACE::FileCalls {
    public:
        unsigned siblingMode = 0;

    private:
        int fchown(int /*descriptor*/, ::uid_t /*owner*/, ::gid_t /*group*/) override {
            errno = EPERM;
            return -1;
        }
        int rename(std::string const& from, std::string const& to) override {
            struct ::stat status {};
            EXPECT_EQ(::stat(from.c_str(), &status), 0);
            siblingMode = status.st_mode & 07777U;
            return FileCalls::rename(from, to);
        }
    } calls;
    EXPECT_EQ(Saved(path, "new", calls), Code::NO_ERROR);
    EXPECT_EQ(calls.siblingMode, 0600U);
}

TEST_F(DurableSettings, AReadOnlyFileOrFolderGivesNoActionAndLeavesNothingBehind) {
    reset("old");
    for (char const* part : {".part", "settings.xml"}) {
        class ReadOnly : public FACE::FileCalls {
        public:
            std::string end;

        private:
            int open(std::string const& name, int flags, ::mode_t mode) override {
                bool const refused = name.size() >= end.size() &&
                                     name.compare(name.size() - end.size(), end.size(), end) == 0 &&
                                     (flags & O_ACCMODE) != O_RDONLY;
                errno = EROFS;
                return refused ? -1 : FileCalls::open(name, flags, mode);
            }
        } calls;
        calls.end = part;
        EXPECT_EQ(Saved(path, "new", calls), Code::NO_ACTION);
        EXPECT_EQ(FileContent(path), SettingsText("old"));
        EXPECT_FALSE(exists(sibling));
        EXPECT_FALSE(exists(draft));
    }
}

TEST_F(DurableSettings, TwoObjectsAndAReaderOnOneFileNeverMixIt) {
    reset(std::string(3000, 'o'));
    auto const writer = [&](char letter, std::size_t length) {
        for (int round = 0; round < 50; ++round) {
            EXPECT_EQ(Saved(path, std::string(length, letter)), Code::NO_ERROR);
        }
    };
    std::thread one(writer, 'a', 2000);
    std::thread two(writer, 'b', 5000);
    for (int round = 0; round < 100; ++round) {
        EXPECT_THAT(StartedWith(path),
                    AnyOf(std::string(3000, 'o'), std::string(2000, 'a'), std::string(5000, 'b')));
    }
    one.join();
    two.join();
    EXPECT_FALSE(exists(sibling));
    EXPECT_FALSE(exists(draft));
}

TEST_F(DurableSettings, ASaveThatNeverEndsElsewhereGivesNoActionInBoundedTime) {
    reset("old");
    int const holder = ::open((folder / ".").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(holder, LOCK_EX), 0);
    EXPECT_EQ(Saved(path, "new"), Code::NO_ACTION);
    EXPECT_EQ(FileContent(path), SettingsText("old"));
    ::close(holder);
    EXPECT_EQ(Saved(path, "new"), Code::NO_ERROR);
}

TEST_F(DurableSettings, AFileInTheWorkingFolderNeedsNoSlash) {
    reset("old");
    auto const before = std::filesystem::current_path();
    std::filesystem::current_path(folder / ".");
    EXPECT_EQ(Saved("settings.xml", "new"), Code::NO_ERROR);
    std::filesystem::current_path(before);
    EXPECT_EQ(StartedWith(path), "new");
    EXPECT_FALSE(exists(sibling));
}
