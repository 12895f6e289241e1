#include <algorithm>
#include <cerrno>
#include <random>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/face/FaultyCalls.h"
#include "tests/face/MemoryDisk.h"
#include "tests/face/SettingsText.h"

// What a loss of power leaves of a save, at each call of the operating system that it makes.

using testing::AnyOf;
using Code = FACE::RETURN_CODE_TYPE;

namespace {

constexpr char const* name = "settings.xml";

/// Power goes at one call: that one and all behind it fail and do nothing.
FaultyCalls::Fault PowerGoesAt(int call) {
    return [call](int number) { return number >= call ? EIO : 0; };
}

class PowerLoss : public testing::Test {
protected:
    PowerLoss() { testing::internal::CaptureStdout(); }
    ~PowerLoss() override { testing::internal::GetCapturedStdout(); }
    PowerLoss(PowerLoss const&) = delete;
    PowerLoss& operator=(PowerLoss const&) = delete;
};

/// All that can be left of a save from `before` on, at any of its calls.
std::set<MemoryDisk::Image> AfterCutSaves(MemoryDisk::Image const& before, std::string const& value,
                                          std::size_t stride) {
    std::set<MemoryDisk::Image> images;
    for (int stop = 0;; ++stop) {
        MemoryDisk disk(before, stride);
        FaultyCalls calls(disk, PowerGoesAt(stop));
        Saved(name, value, calls);
        images.merge(disk.afterPowerLoss());
        if (calls.calls() <= stop) {
            return images;
        }
    }
}

std::set<MemoryDisk::Image> AfterCutStarts(MemoryDisk::Image const& before, std::size_t stride) {
    std::set<MemoryDisk::Image> images;
    for (int stop = 0;; ++stop) {
        MemoryDisk disk(before, stride);
        FaultyCalls calls(disk, PowerGoesAt(stop));
        StartedWith(name, calls);
        images.merge(disk.afterPowerLoss());
        if (calls.calls() <= stop) {
            return images;
        }
    }
}

std::string StartedFrom(MemoryDisk::Image const& image) {
    MemoryDisk disk(image);
    return StartedWith(name, disk);
}

}  // namespace

TEST_F(PowerLoss, AtAnyCallAndByteOfASaveLeavesTheOldOrTheNewSettings) {
    std::string const old(40, 'o');
    for (std::size_t const length : {20U, 40U, 60U}) {
        std::string const fresh(length, 'n');
        std::set<std::string> seen;
        auto const images = AfterCutSaves({{name, SettingsText(old)}}, fresh, 1);
        EXPECT_GT(images.size(), 400U);
        for (MemoryDisk::Image const& image : images) {
            std::string const value = StartedFrom(image);
            ASSERT_THAT(value, AnyOf(old, fresh));
            seen.insert(value);
        }
        EXPECT_EQ(seen.size(), 2U);
    }
}

TEST_F(PowerLoss, DuringTheRecoveryAndTheSaveThatFollowsLeavesOneOfTheThree) {
    std::string const old(40, 'o');
    std::string const fresh(44, 'n');
    std::string const next(38, 'x');
    int recoveries = 0;
    for (MemoryDisk::Image const& image : AfterCutSaves({{name, SettingsText(old)}}, fresh, 40)) {
        std::string const value = StartedFrom(image);
        ASSERT_THAT(value, AnyOf(old, fresh));
        MemoryDisk disk(image);
        StartedWith(name, disk);
        recoveries += disk.present() == image ? 0 : 1;
        for (MemoryDisk::Image const& again : AfterCutStarts(image, 40)) {
            ASSERT_EQ(StartedFrom(again), value);
        }
        for (MemoryDisk::Image const& again : AfterCutSaves(image, next, 40)) {
            ASSERT_THAT(StartedFrom(again), AnyOf(value, next));
        }
    }
    EXPECT_GT(recoveries, 5);
}

TEST_F(PowerLoss, DuringARecoveryOfAMissingFileKeepsTheSettings) {
    std::string const value(40, 'v');
    for (MemoryDisk::Image const& image :
         AfterCutStarts({{"settings.xml.new", SettingsText(value)}}, 1)) {
        ASSERT_EQ(StartedFrom(image), value);
    }
}

TEST_F(PowerLoss, ThatComesAfterTheMediumRefusedASyncLosesNothing) {
    std::string const old(40, 'o');
    std::string const fresh(44, 'n');
    std::string const next(38, 'x');
    for (int stop = 0; stop < 60; ++stop) {
        for (int refused = 0; refused < 40; ++refused) {
            MemoryDisk disk({{name, SettingsText(old)}}, 60);
            FaultyCalls once(disk, [&](int number) {
                if (number == refused) {
                    disk.loseNextSync();
                }
                return 0;
            });
            Code::Value const rc = Saved(name, fresh, once);
            FaultyCalls calls(disk, PowerGoesAt(stop));
            Saved(name, next, calls);
            for (MemoryDisk::Image const& image : disk.afterPowerLoss()) {
                std::string const value = StartedFrom(image);
                ASSERT_THAT(value, AnyOf(old, fresh, next)) << refused << ' ' << stop;
                ASSERT_TRUE(rc != Code::NO_ERROR || value != old) << refused << ' ' << stop;
            }
        }
    }
}

// Saves and starts in a long row, each one cut off by the end of the process or of the power, or
// hurt by errors of the medium, at any call.
TEST_F(PowerLoss, InALongRowOfSavesAndStartsNeverLosesWhatWasConfirmed) {
    std::mt19937 random(20);
    auto const below = [&](int limit) {
        return std::uniform_int_distribution<int>(0, limit - 1)(random);
    };
    std::string kept(30, 'a');
    auto disk = std::make_unique<MemoryDisk>(MemoryDisk::Image{{name, SettingsText(kept)}}, 50);
    int losses = 0;
    for (int round = 0; round < 6000; ++round) {
        std::string const value(static_cast<std::size_t>(20 + below(20)),
                                static_cast<char>('a' + below(26)));
        int const stop = below(70);
        int const error = below(3) == 0 ? below(70) : -1;
        if (below(8) == 0) {
            disk->loseNextSync();
        }
        FaultyCalls calls(
            *disk, [&](int number) { return number >= stop    ? EIO
                                            : number == error ? ENOSPC
                                                              : 0; },
            below(2) == 0 ? 1000 : 90);
        std::set<std::string> allowed{kept, value};
        if (Saved(name, value, calls) == Code::NO_ERROR) {
            allowed.erase(kept);
            allowed.insert(value);
        }
        disk->closeAll();
        if (below(2) == 0) {
            auto const images = disk->afterPowerLoss();
            auto const image = std::next(images.begin(), below(static_cast<int>(images.size())));
            disk = std::make_unique<MemoryDisk>(*image, 50);
            ++losses;
        }
        std::string const now = StartedWith(name, *disk);
        ASSERT_EQ(allowed.count(now), 1U) << "round " << round << ": " << now;
        // What a start read may still be in the memory of the system only; a save makes it sure.
        if (now == value || below(4) == 0) {
            if (Saved(name, now, *disk) != Code::NO_ERROR) {
                ASSERT_EQ(Saved(name, now, *disk), Code::NO_ERROR);
            }
        }
        kept = now;
    }
    EXPECT_GT(losses, 2000);
}
