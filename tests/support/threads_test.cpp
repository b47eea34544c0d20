#include "codrelay/utils/threads.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <future>
#include <memory>

#include "common/log_capture.h"
#include "pthread_script.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using uvqlog::Severity;

/// Opens once; anybody waits for that.
class Latch {
public:
    void Open() { m_Promise.set_value(); }
    void Wait() { m_Future.wait(); }

private:
    std::promise<void> m_Promise;
    std::shared_future<void> m_Future = m_Promise.get_future().share();
};

/// A body that tells when it has begun and ends when it is told to.
struct HeldBody {
    Latch begun;
    Latch mayEnd;
    std::atomic<int> runs{0};
    std::atomic<bool> ended{false};

    static unsigned int Run(void* self) {
        auto* body = static_cast<HeldBody*>(self);
        ++body->runs;
        body->begun.Open();
        body->mayEnd.Wait();
        body->ended = true;
        return 0xFFFFFFFFU;
    }
};

unsigned int Count(void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
    return 0;
}

class ThreadTest : public ::testing::Test {
protected:
    /// Starts a body that nobody waits for, and returns when its thread is about to clean up after itself. It holds the
    /// object's mutex from there until the object is idle again.
    void RunUnobserved(CThread* thread) {
        Latch detaching;
        m_Script.beforeDetach = [&detaching] { detaching.Open(); };
        std::atomic<int> runs{0};
        ASSERT_EQ(thread->CreateThread(&Count, &runs), 1);
        detaching.Wait();
        EXPECT_EQ(runs, 1);
    }

    LogCapture m_Log;
    PthreadScript m_Script;
};

TEST_F(ThreadTest, RunsTheBodyWithItsArgumentAndWaitsUntilItHasEnded) {
    HeldBody body;
    m_Script.beforeJoin = [&body] { body.mayEnd.Open(); };
    CThread thread;
    EXPECT_EQ(thread.CreateThread(&HeldBody::Run, &body), 1);
    body.begun.Wait();
    EXPECT_FALSE(body.ended);
    thread.WaitThread();
    EXPECT_TRUE(body.ended);
    EXPECT_EQ(body.runs, 1);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(ThreadTest, AThreadThatIsWaitedForIsJoinedAndNotDetached) {
    HeldBody body;
    m_Script.beforeJoin = [&body] { body.mayEnd.Open(); };
    CThread thread;
    thread.CreateThread(&HeldBody::Run, &body);
    thread.WaitThread();
    EXPECT_EQ(m_Script.Calls().join, 1);
    EXPECT_EQ(m_Script.Calls().detach, 0);
}

TEST_F(ThreadTest, TheBodysResultIsTheThreadsResultIn32Bits) {
    HeldBody body;
    m_Script.beforeJoin = [&body] { body.mayEnd.Open(); };
    CThread thread;
    thread.CreateThread(&HeldBody::Run, &body);
    thread.WaitThread();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(m_Script.JoinedResult()), 0xFFFFFFFFU);
}

TEST_F(ThreadTest, RefusesAMissingBody) {
    CThread thread;
    EXPECT_EQ(thread.CreateThread(nullptr, this), 0);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Critical, "CThread::CreateThread: threadFuncPtr error!")));
    EXPECT_EQ(m_Script.Calls().create, 0);
}

TEST_F(ThreadTest, RefusesAMissingBodyBeforeItLooksForARunningThread) {
    HeldBody body;
    m_Script.beforeJoin = [&body] { body.mayEnd.Open(); };
    CThread thread;
    thread.CreateThread(&HeldBody::Run, &body);
    EXPECT_EQ(thread.CreateThread(nullptr, nullptr), 0);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Critical, "CThread::CreateThread: threadFuncPtr error!")));
    thread.WaitThread();
}

TEST_F(ThreadTest, RefusesASecondThreadAndLeavesTheRunningOneAlone) {
    HeldBody body;
    m_Script.beforeJoin = [&body] { body.mayEnd.Open(); };
    std::atomic<int> secondRuns{0};
    CThread thread;
    thread.CreateThread(&HeldBody::Run, &body);
    EXPECT_EQ(thread.CreateThread(&Count, &secondRuns), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Codrelay(Severity::Critical,
                                     "CThread::CreateThread: Error! Trying to use already exists object!")));
    EXPECT_EQ(m_Script.Calls().create, 1);
    thread.WaitThread();
    EXPECT_TRUE(body.ended);
    EXPECT_EQ(secondRuns, 0);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(ThreadTest, ARefusalOfTheSystemIsToldWithErrnoAndNotWithTheResult) {
    m_Script.create = [](pthread_t*) {
        errno = EAGAIN;
        return EINVAL;
    };
    std::atomic<int> runs{0};
    CThread thread;
    EXPECT_EQ(thread.CreateThread(&Count, &runs), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Codrelay(Severity::Critical, "CThread::Start: Create thread error! Errno = 11")));
}

TEST_F(ThreadTest, ErrnoIsClearedBeforeTheSystemIsAsked) {
    m_Script.create = [](pthread_t*) { return EAGAIN; };
    std::atomic<int> runs{0};
    CThread thread;
    errno = EBADF;
    EXPECT_EQ(thread.CreateThread(&Count, &runs), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Codrelay(Severity::Critical, "CThread::Start: Create thread error! Errno = 0")));
}

TEST_F(ThreadTest, ARefusalOfTheSystemLeavesTheObjectIdleWhateverItWroteAsId) {
    m_Script.create = [](pthread_t* id) {
        *id = 12345;
        return EAGAIN;
    };
    std::atomic<int> runs{0};
    CThread thread;
    thread.CreateThread(&Count, &runs);
    m_Log.Take();
    thread.WaitThread();
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Trace, "CThread::WaitThread: thread_id == 0 #1")));
    EXPECT_EQ(m_Script.Calls().join, 0);

    m_Script.create = nullptr;
    RunUnobserved(&thread);
}

TEST_F(ThreadTest, WaitingOnAnObjectThatNeverStartedReturnsAtOnce) {
    CThread thread;
    thread.WaitThread();
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Trace, "CThread::WaitThread: thread_id == 0 #1")));
    EXPECT_EQ(m_Script.Calls().join, 0);
}

TEST_F(ThreadTest, AThreadThatEndedUnobservedHasCleanedUpAfterItself) {
    CThread thread;
    RunUnobserved(&thread);
    thread.WaitThread();
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Trace, "CThread::WaitThread: thread_id == 0 #1")));
    EXPECT_EQ(m_Script.Calls().detach, 1);
    EXPECT_EQ(m_Script.Calls().join, 0);
}

TEST_F(ThreadTest, AThreadThatEndsJustBeforeItsWaiterMarksItselfIsNotJoined) {
    HeldBody body;
    Latch detaching;
    m_Script.beforeDetach = [&detaching] { detaching.Open(); };
    CThread thread;
    thread.CreateThread(&HeldBody::Run, &body);
    body.begun.Wait();
    // The waiter has looked once and seen a thread; before it takes the mutex again, that thread ends.
    int locks = 0;
    m_Script.beforeLock = [&] {
        if (++locks == 2) {
            body.mayEnd.Open();
            detaching.Wait();
        }
    };
    thread.WaitThread();
    EXPECT_THAT(m_Log.Take(), ElementsAre(Codrelay(Severity::Trace, "CThread::WaitThread: thread_id == 0 #2")));
    EXPECT_EQ(m_Script.Calls().detach, 1);
    EXPECT_EQ(m_Script.Calls().join, 0);
}

TEST_F(ThreadTest, StartsAgainAfterAThreadThatWasJoined) {
    CThread thread;
    for (int round = 0; round < 3; ++round) {
        HeldBody body;
        m_Script.beforeJoin = [&body] { body.mayEnd.Open(); };
        EXPECT_EQ(thread.CreateThread(&HeldBody::Run, &body), 1);
        thread.WaitThread();
        EXPECT_TRUE(body.ended);
    }
    EXPECT_EQ(m_Script.Calls().join, 3);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(ThreadTest, StartsAgainAfterAThreadThatEndedUnobserved) {
    CThread thread;
    for (int round = 0; round < 100; ++round) {
        RunUnobserved(&thread);
    }
    EXPECT_EQ(m_Script.Calls().detach, 100);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(ThreadTest, NoThreadIsEverBothJoinedAndDetachedNorLeftBehind) {
    constexpr int kRounds = 1000;
    CThread thread;
    std::atomic<int> runs{0};
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(thread.CreateThread(&Count, &runs), 1);
        thread.WaitThread();
        ASSERT_EQ(runs, round + 1);
    }
    EXPECT_EQ(m_Script.Calls().join + m_Script.Calls().detach, kRounds);
}

TEST_F(ThreadTest, TheDestructorOfARunningThreadSaysSoAndBlocksUntilTheBodyReturns) {
    HeldBody body;
    m_Script.beforeJoin = [&body] {
        EXPECT_FALSE(body.ended);
        body.mayEnd.Open();
    };
    auto thread = std::make_unique<CThread>();
    thread->CreateThread(&HeldBody::Run, &body);
    body.begun.Wait();
    thread.reset();
    EXPECT_TRUE(body.ended);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Codrelay(Severity::Info, "CThread: Warning! Thread not finished! Waiting...")));
}

TEST_F(ThreadTest, TheDestructorOfAnIdleObjectIsSilent) {
    { CThread neverStarted; }
    {
        CThread endedUnobserved;
        RunUnobserved(&endedUnobserved);
    }
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    EXPECT_EQ(m_Script.Calls().join, 0);
}

TEST_F(ThreadTest, OneObjectsThreadDoesNotHinderAnothers) {
    HeldBody first;
    HeldBody second;
    CThread firstThread;
    CThread secondThread;
    firstThread.CreateThread(&HeldBody::Run, &first);
    secondThread.CreateThread(&HeldBody::Run, &second);
    first.begun.Wait();
    second.begun.Wait();
    second.mayEnd.Open();
    secondThread.WaitThread();
    EXPECT_FALSE(first.ended);
    first.mayEnd.Open();
    firstThread.WaitThread();
    EXPECT_TRUE(first.ended);
}

}  // namespace
