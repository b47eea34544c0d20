#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "uvqlog/control.h"

namespace {

using uvqlog::Logger;
using uvqlog::SetThreshold;
using uvqlog::Severity;

/// The severities that a logger writes, as one mask: they are single bits.
int Enabled(Logger& logger) {
    int mask = 0;
    for (Severity severity :
         {Severity::Trace, Severity::Info, Severity::Warning, Severity::Error, Severity::Critical}) {
        mask |= logger.IsEnabled(severity) ? static_cast<int>(severity) : 0;
    }
    return mask;
}

constexpr int kFromTrace = 31;
constexpr int kFromInfo = 30;
constexpr int kFromWarning = 28;
constexpr int kFromError = 24;
constexpr int kFromCritical = 16;

class ThresholdsTest : public ::testing::Test {
protected:
    // Child processes start the program anew: only what the test itself does counts in them.
    ThresholdsTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    ~ThresholdsTest() override { SetThreshold(Severity::Warning); }
};

TEST_F(ThresholdsTest, OutOfTheBoxALoggerWritesWarningsAndAboveUnlessItWasMadeSilent) {
    EXPECT_EXIT(
        {
            Logger audible("audible", true);
            Logger silent("silent", false);
            std::_Exit(Enabled(audible) == kFromWarning && Enabled(silent) == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(ThresholdsTest, ALoggerMadeSilentObeysTheThresholdForAll) {
    EXPECT_EXIT(
        {
            Logger before("before", false);
            SetThreshold(Severity::Info);
            Logger after("after", false);
            std::_Exit(Enabled(before) == kFromInfo && Enabled(after) == kFromInfo ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(ThresholdsTest, ALoggerMadeSilentObeysTheThresholdByName) {
    EXPECT_EXIT(
        {
            Logger before("before", false);
            SetThreshold("before", Severity::Info);
            SetThreshold("after", Severity::Error);
            Logger after("after", false);
            Logger other("other", false);
            std::_Exit(Enabled(before) == kFromInfo && Enabled(after) == kFromError && Enabled(other) == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(ThresholdsTest, EachSeverityLetsItselfAndAllAbovePass) {
    Logger logger("each", true);
    SetThreshold(Severity::Trace);
    EXPECT_EQ(Enabled(logger), kFromTrace);
    SetThreshold(Severity::Info);
    EXPECT_EQ(Enabled(logger), kFromInfo);
    SetThreshold(Severity::Warning);
    EXPECT_EQ(Enabled(logger), kFromWarning);
    SetThreshold(Severity::Error);
    EXPECT_EQ(Enabled(logger), kFromError);
    SetThreshold(Severity::Critical);
    EXPECT_EQ(Enabled(logger), kFromCritical);
}

TEST_F(ThresholdsTest, ByNameReachesLoggersOfThatNameOnly) {
    Logger first("named", true);
    Logger second("named", true);
    Logger other("named too", true);
    SetThreshold("named", Severity::Trace);
    EXPECT_EQ(Enabled(first), kFromTrace);
    EXPECT_EQ(Enabled(second), kFromTrace);
    EXPECT_EQ(Enabled(other), kFromWarning);
}

TEST_F(ThresholdsTest, ByNameReachesLoggersThatAreNotYetMade) {
    SetThreshold("made later", Severity::Error);
    Logger logger("made later", true);
    EXPECT_EQ(Enabled(logger), kFromError);
}

TEST_F(ThresholdsTest, ForAllReachesLoggersThatAreNotYetMade) {
    SetThreshold(Severity::Critical);
    Logger logger("made after all", true);
    EXPECT_EQ(Enabled(logger), kFromCritical);
}

TEST_F(ThresholdsTest, ALaterOneForAllForgetsThoseByName) {
    Logger made("forgotten", true);
    SetThreshold("forgotten", Severity::Trace);
    SetThreshold("forgotten, not made", Severity::Trace);
    SetThreshold(Severity::Error);
    Logger notMade("forgotten, not made", true);
    EXPECT_EQ(Enabled(made), kFromError);
    EXPECT_EQ(Enabled(notMade), kFromError);
}

TEST_F(ThresholdsTest, ALaterOneByNameWinsOverTheOneForAll) {
    Logger logger("later", true);
    SetThreshold(Severity::Critical);
    SetThreshold("later", Severity::Info);
    EXPECT_EQ(Enabled(logger), kFromInfo);
    SetThreshold("later", Severity::Error);
    EXPECT_EQ(Enabled(logger), kFromError);
}

TEST_F(ThresholdsTest, ANameKeepsItsThresholdWhenItsLoggersAreGone) {
    {
        Logger logger("gone", true);
        SetThreshold("gone", Severity::Trace);
    }
    Logger logger("gone", true);
    EXPECT_EQ(Enabled(logger), kFromTrace);
}

TEST_F(ThresholdsTest, ANameIsAViewThatNeedsNoTerminator) {
    Logger logger("view", true);
    SetThreshold(std::string_view("viewpoint").substr(0, 4), Severity::Trace);
    EXPECT_EQ(Enabled(logger), kFromTrace);
}

TEST_F(ThresholdsTest, CanBeSetAndAskedFromSeveralThreads) {
    Logger shared("shared", true);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&shared, thread] {
            const std::string name = "thread " + std::to_string(thread);
            for (int round = 0; round < 500; ++round) {
                Logger own(name.c_str(), true);
                SetThreshold(round % 2 == 0 ? "shared" : name, Severity::Error);
                SetThreshold(Severity::Info);
                EXPECT_TRUE(shared.IsEnabled(Severity::Critical));
                EXPECT_FALSE(own.IsEnabled(Severity::Trace));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    SetThreshold(Severity::Info);
    EXPECT_EQ(Enabled(shared), kFromInfo);
}

}  // namespace
