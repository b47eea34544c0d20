#include "codrelay/utils/clock.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <ostream>

namespace {

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

/// What the system's clock answers while a script lives.
struct ScriptedClock {
    ScriptedClock(int scriptedResult, timeval scriptedTime) : result(scriptedResult), time(scriptedTime) {
        current = this;
    }
    ~ScriptedClock() { current = nullptr; }

    static ScriptedClock* current;
    int result;
    timeval time;
    int calls = 0;
};

ScriptedClock* ScriptedClock::current = nullptr;

}  // namespace

extern "C" int __real_gettimeofday(timeval* time, void* zone);

extern "C" int __wrap_gettimeofday(timeval* time, void* zone) {
    if (ScriptedClock::current == nullptr) {
        return __real_gettimeofday(time, zone);
    }
    ++ScriptedClock::current->calls;
    *time = ScriptedClock::current->time;
    return ScriptedClock::current->result;
}

namespace {

struct Clock {
    const char* name;
    long long (*read)();
};

void PrintTo(const Clock& clock, std::ostream* out) {
    *out << clock.name;
}

class ClockTest : public ::testing::TestWithParam<Clock> {};

TEST_P(ClockTest, GivesSecondsAndMicrosecondsInWholeMilliseconds) {
    ScriptedClock clock(0, {1700000000, 123999});
    EXPECT_EQ(GetParam().read(), 1700000000123);
    EXPECT_EQ(clock.calls, 1);
}

TEST_P(ClockTest, CutsOffPartsOfAMillisecond) {
    ScriptedClock clock(0, {0, 999});
    EXPECT_EQ(GetParam().read(), 0);
    clock.time = {0, 1000};
    EXPECT_EQ(GetParam().read(), 1);
    clock.time = {0, 999999};
    EXPECT_EQ(GetParam().read(), 999);
}

TEST_P(ClockTest, JumpsBackWithTheWallClock) {
    ScriptedClock clock(0, {2000, 0});
    EXPECT_EQ(GetParam().read(), 2000000);
    clock.time = {1000, 0};
    EXPECT_EQ(GetParam().read(), 1000000);
}

TEST_P(ClockTest, NeedsMoreThan32Bits) {
    ScriptedClock clock(0, {9999999999, 1000});
    EXPECT_EQ(GetParam().read(), 9999999999001);
}

TEST_P(ClockTest, IsSilentWhenTheSystemAnswers) {
    ScriptedClock clock(0, {5, 0});
    CaptureStdout();
    GetParam().read();
    EXPECT_EQ(GetCapturedStdout(), "");
}

TEST_P(ClockTest, SaysWithoutALineEndWhenTheSystemHasNoAnswerAndComputesAllTheSame) {
    ScriptedClock clock(-1, {7, 8000});
    CaptureStdout();
    const long long value = GetParam().read();
    EXPECT_EQ(GetCapturedStdout(), "GetLocalTimeInMs: gettimeofday failed");
    EXPECT_EQ(value, 7008);
}

TEST_P(ClockTest, ReadsTheClockOfTheSystem) {
    timeval before{};
    timeval after{};
    __real_gettimeofday(&before, nullptr);
    const long long value = GetParam().read();
    __real_gettimeofday(&after, nullptr);
    EXPECT_GE(value, before.tv_sec * 1000LL);
    EXPECT_LE(value, after.tv_sec * 1000LL + 999);
}

INSTANTIATE_TEST_SUITE_P(BothClocks, ClockTest,
                         ::testing::Values(Clock{"Local", &utils::GetLocalTimeInMs},
                                           Clock{"Monotonic", &utils::GetMonotonicTimeInMs}),
                         [](const auto& clock) { return clock.param.name; });

}  // namespace
