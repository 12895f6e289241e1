#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ASPN/FaultHysteresis.h"
#include "tests/ASPN/SetClock.h"

using namespace std::chrono_literals;
using EventTypes::eEventType;
using testing::ElementsAre;

namespace {

struct Faults {
    SetClock clock;
    FaultHysteresis faults{clock};

    /// The text for a line; the type must stay.
    std::string check(int type, const std::string& text = "text",
                      const std::string& file = "ASPN/Some.cpp", int line = 12) {
        auto used = static_cast<eEventType>(type);
        std::string result = faults.Check(used, file, line, text);
        EXPECT_EQ(used, type);
        return result;
    }

    std::vector<std::string> keys() {
        std::vector<std::string> keys;
        for (const auto& fault : faults.remembered()) {
            keys.push_back(fault.key);
        }
        return keys;
    }
};

struct InitialisedFaults : Faults {
    InitialisedFaults() { EXPECT_TRUE(faults.OkInitFaultHysteresis(180, 16, 2000)); }
};

}  // namespace

TEST(FaultHysteresis, PassesEveryLineUntouchedBeforeTheInitialisation) {
    Faults f;
    for (int type = -1; type <= 7; ++type) {
        EXPECT_EQ(f.check(type), "text") << type;
    }
    EXPECT_TRUE(f.faults.remembered().empty());
}

TEST(FaultHysteresis, PutsFileAndLineBeforeFailuresOnly) {
    InitialisedFaults f;
    for (int type : {0, 1, 2, 6, 7, -1, 2147483647}) {
        EXPECT_EQ(f.check(type), "text") << type;
    }
    for (int type : {3, 4, 5}) {
        EXPECT_EQ(f.check(type), "Some.cpp[12]:text") << type;
    }
}

TEST(FaultHysteresis, RemembersFaultsOfTypeThreeOnly) {
    InitialisedFaults f;
    f.check(4);
    f.check(5);
    f.check(2);
    EXPECT_TRUE(f.faults.remembered().empty());
    f.check(3);
    EXPECT_THAT(f.keys(), ElementsAre("ASPN/Some.cpp12"));
}

TEST(FaultHysteresis, CutsAPathAtTheLastSeparatorOfEitherKind) {
    InitialisedFaults f;
    EXPECT_EQ(f.check(3, "t", "C:\\src\\a.cpp", 1), "a.cpp[1]:t");
    EXPECT_EQ(f.check(3, "t", "/src/x\\b.cpp", 2), "b.cpp[2]:t");
    EXPECT_EQ(f.check(3, "t", "\\src/c.cpp", 3), "c.cpp[3]:t");
    EXPECT_EQ(f.check(3, "t", "d.cpp", 4), "d.cpp[4]:t");
    EXPECT_EQ(f.check(3, "t", "src/", 5), "[5]:t");
    EXPECT_EQ(f.check(3, "t", "", -6), "[-6]:t");
    EXPECT_THAT(f.keys(), ElementsAre("C:\\src\\a.cpp1", "/src/x\\b.cpp2", "\\src/c.cpp3", "d.cpp4",
                                      "src/5", "-6"));
}

TEST(FaultHysteresis, LeavesAllTypesAsTheyAre) {
    EXPECT_EQ(FaultHysteresis::hysteresis(EventTypes::FAILURE, "key"), EventTypes::FAILURE);
    EXPECT_EQ(FaultHysteresis::hysteresis(EventTypes::RESERVED, ""), EventTypes::RESERVED);
}

TEST(FaultHysteresis, RefusesNegativeParametersAndKeepsTheOldOnes) {
    InitialisedFaults f;
    f.check(3);
    EXPECT_FALSE(f.faults.OkInitFaultHysteresis(-1, 16, 2000));
    EXPECT_FALSE(f.faults.OkInitFaultHysteresis(180, -1, 2000));
    EXPECT_FALSE(f.faults.OkInitFaultHysteresis(180, 16, -1));
    EXPECT_EQ(f.keys().size(), 1U);
    EXPECT_EQ(f.check(4), "Some.cpp[12]:text");
}

TEST(FaultHysteresis, SecondInitialisationForgetsAll) {
    InitialisedFaults f;
    f.check(3);
    EXPECT_TRUE(f.faults.OkInitFaultHysteresis(180, 16, 2000));
    EXPECT_TRUE(f.faults.remembered().empty());
}

TEST(FaultHysteresis, SecondParameterOfZeroTurnsTheCheckOff) {
    Faults f;
    EXPECT_TRUE(f.faults.OkInitFaultHysteresis(180, 0, 2000));
    EXPECT_EQ(f.check(3), "text");
    EXPECT_TRUE(f.faults.remembered().empty());
}

TEST(FaultHysteresis, RoomForNoFaultTurnsTheCheckOff) {
    Faults f;
    EXPECT_TRUE(f.faults.OkInitFaultHysteresis(180, 16, 0));
    EXPECT_EQ(f.check(3), "text");
    EXPECT_TRUE(f.faults.remembered().empty());
}

TEST(FaultHysteresis, TheFaultBeyondTheRoomDropsTheFirst) {
    InitialisedFaults f;
    for (int line = 1; line <= 2000; ++line) {
        f.check(3, "t", "f", line);
    }
    EXPECT_EQ(f.keys().size(), 2000U);
    EXPECT_EQ(f.keys().front(), "f1");
    f.check(3, "t", "f", 2001);
    EXPECT_EQ(f.keys().size(), 2000U);
    EXPECT_EQ(f.keys().front(), "f2");
    EXPECT_EQ(f.keys().back(), "f2001");
}

TEST(FaultHysteresis, ForgetsAFaultOfExactlyThatAge) {
    InitialisedFaults f;
    f.check(3, "t", "f", 1);
    f.clock.advance(180'000ms - 1ns);
    f.faults.service();
    EXPECT_THAT(f.keys(), ElementsAre("f1"));
    f.clock.advance(1ns);
    f.faults.service();
    EXPECT_THAT(f.keys(), ElementsAre());
}

TEST(FaultHysteresis, AFaultForgetsThoseThatAreTooOldAndNoYoungerOne) {
    InitialisedFaults f;
    f.check(3, "t", "f", 1);
    f.clock.advance(1ms);
    f.check(3, "t", "f", 2);
    f.clock.advance(179'999ms);
    f.check(4, "t", "f", 3);
    EXPECT_THAT(f.keys(), ElementsAre("f1", "f2")) << "types 4 and 5 leave the record alone";
    f.check(3, "t", "f", 4);
    EXPECT_THAT(f.keys(), ElementsAre("f2", "f4"));
}

TEST(FaultHysteresis, ZeroSecondsRememberForEver) {
    Faults f;
    EXPECT_TRUE(f.faults.OkInitFaultHysteresis(0, 16, 2000));
    f.check(3);
    f.clock.advance(1000h);
    f.faults.service();
    EXPECT_EQ(f.keys().size(), 1U);
}

TEST(FaultHysteresis, TheLongestTimeDoesNotOverflow) {
    Faults f;
    EXPECT_TRUE(f.faults.OkInitFaultHysteresis(2147483647, 1, 2));
    f.check(3);
    f.clock.advance(1000h);
    f.faults.service();
    EXPECT_EQ(f.keys().size(), 1U);
}

TEST(FaultHysteresis, TakesLinesFromManyThreadsBesideAnInitialisation) {
    InitialisedFaults f;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&f] {
            for (int line = 0; line < 500; ++line) {
                f.check(3, "t", "f", line);
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        EXPECT_TRUE(f.faults.OkInitFaultHysteresis(180, 16, 10));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    f.check(3);
    EXPECT_LE(f.keys().size(), 10U);
}

TEST(FaultHysteresis, IsOneForTheProcess) {
    EXPECT_EQ(&FaultHysteresis::Instance(), &FaultHysteresis::Instance());
}

TEST(FaultHysteresisDeathTest, BadParametersEndTheProcess) {
    EXPECT_EXIT(initFaultHysteresisOrExit(FaultHysteresis::Instance(), -1),
                testing::ExitedWithCode(255), "Unable to configure the Fault Hysteresis\n");
}

TEST(FaultHysteresis, ReportersInitialiseIt) {
    Faults f;
    initFaultHysteresisOrExit(f.faults);
    EXPECT_EQ(f.check(3), "Some.cpp[12]:text");
}

TEST(FaultHysteresis, ReportersHaveItRemember2000FaultsFor180Seconds) {
    Faults f;
    initFaultHysteresisOrExit(f.faults);
    for (int line = 0; line < 2001; ++line) {
        f.check(3, "t", "f", line);
    }
    EXPECT_EQ(f.keys().size(), 2000U);
    EXPECT_EQ(f.keys().front(), "f1");
    f.clock.advance(179'999ms);
    f.faults.service();
    EXPECT_EQ(f.keys().size(), 2000U);
    f.clock.advance(1ms);
    f.faults.service();
    EXPECT_EQ(f.keys().size(), 0U);
}
