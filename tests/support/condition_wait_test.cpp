#include <gmock/gmock.h>

#include <cerrno>
#include <future>
#include <thread>

#include "codrelay/utils/threads.h"
#include "common/log_capture.h"
#include "pthread_script.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using uvqlog::Severity;

class ConditionWaitTest : public ::testing::Test {
protected:
    LogCapture m_Log;
    PthreadScript m_Script;
    CConditionWait m_Condition;
};

TEST_F(ConditionWaitTest, ASignalThatCameBeforeIsRememberedUntilReset) {
    m_Condition.Signal();
    EXPECT_TRUE(m_Condition.Wait());
    EXPECT_TRUE(m_Condition.Wait()) << "waiting leaves the latch as it is";
    EXPECT_EQ(m_Script.Calls().condWait, 0);

    m_Condition.Reset();
    m_Script.condWait = [] { return 0; };
    m_Condition.Wait();
    EXPECT_EQ(m_Script.Calls().condWait, 1);
}

TEST_F(ConditionWaitTest, ResetOnAClearLatchChangesNothing) {
    m_Condition.Reset();
    m_Condition.Signal();
    EXPECT_TRUE(m_Condition.Wait());
    EXPECT_EQ(m_Script.Calls().condWait, 0);
}

TEST_F(ConditionWaitTest, ASignalFromAnotherThreadWakesTheWaiter) {
    std::promise<void> waiting;
    m_Script.beforeCondWait = [&waiting] { waiting.set_value(); };
    // The signal cannot overtake: the mutex is held until the wait has begun.
    std::thread signalling([&] {
        waiting.get_future().wait();
        m_Condition.Signal();
    });
    EXPECT_TRUE(m_Condition.Wait());
    signalling.join();
    EXPECT_EQ(m_Script.Calls().condWait, 1);
    EXPECT_TRUE(m_Condition.Wait());
    EXPECT_EQ(m_Script.Calls().condWait, 1) << "the latch was not left set";
}

TEST_F(ConditionWaitTest, SignalsThePlatformOnceForEachTimeTheLatchIsSet) {
    m_Condition.Signal();
    m_Condition.Signal();
    EXPECT_EQ(m_Script.Calls().condSignal, 1);
    m_Condition.Reset();
    m_Condition.Signal();
    EXPECT_EQ(m_Script.Calls().condSignal, 2);
}

TEST_F(ConditionWaitTest, AWakeUpForNoReasonEndsTheWait) {
    m_Script.condWait = [] { return 0; };
    EXPECT_TRUE(m_Condition.Wait());
    EXPECT_TRUE(m_Condition.Wait());
    EXPECT_EQ(m_Script.Calls().condWait, 2) << "each wait waits once, and nobody set the latch";
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(ConditionWaitTest, AWaitThatFailsSaysSoWithTheNumberAndGivesTheMutexBack) {
    m_Script.condWait = [] { return EINVAL; };
    EXPECT_FALSE(m_Condition.Wait());
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CConditionWait: wait condition error 22")));

    std::thread([this] { m_Condition.Signal(); }).join();  // would hang on a mutex that is still held
    EXPECT_TRUE(m_Condition.Wait());
    EXPECT_EQ(m_Script.Calls().condWait, 1);
}

TEST_F(ConditionWaitTest, IsDestroyedOnceHoweverOftenItIsAsked) {
    {
        CConditionWait condition;
        condition.Destroy();
        EXPECT_EQ(m_Script.Calls().condDestroy, 1);
        condition.Destroy();
        EXPECT_EQ(m_Script.Calls().condDestroy, 1);
    }
    EXPECT_EQ(m_Script.Calls().condDestroy, 1);
    { CConditionWait condition; }
    EXPECT_EQ(m_Script.Calls().condDestroy, 2) << "the destructor leaves nothing behind";
}

}  // namespace
