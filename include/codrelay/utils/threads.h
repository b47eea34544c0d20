#pragma once

/// @file
/// Mutex, thread and condition.

#include <pthread.h>

#include "codrelay/export.h"
#include "codrelay/utils/noncopyable.h"

namespace utils {

/// A recursive mutex: the thread that holds it may take it again and gives it back as often as it took it.
class CODRELAY_API ThreadMutex : Noncopyable {
public:
    ThreadMutex();
    ~ThreadMutex();

    /// Blocks until the mutex is held. Returns what pthread_mutex_lock returned, 0 on success.
    int Lock();
    /// Returns what pthread_mutex_unlock returned, 0 on success. REQUIRES: this thread holds the mutex.
    int Unlock();
    /// Never blocks. True if the mutex is now held (once more).
    bool TryLock();

private:
    pthread_mutex_t* m_pMutex;
};

}  // namespace utils

/// Holds a mutex for a scope. `Lock` and `Unlock` may be called at any time and as often as wanted: a locker holds its
/// mutex once or not at all. Belongs to one thread.
class CODRELAY_API CMutexLocker : utils::Noncopyable {
public:
    /// `mutex` is not owned and must outlive the locker. Takes it at once if `lock` is true.
    CMutexLocker(utils::ThreadMutex* mutex, bool lock);
    ~CMutexLocker();

    /// Takes the mutex, unless this locker holds it.
    void Lock();
    /// Gives the mutex back, if this locker holds it; so does the end of the locker.
    void Unlock();
    /// True while this locker holds the mutex.
    bool IsLocked();

private:
    utils::ThreadMutex* m_pMutex;
    bool m_bLocked;
};

/// One thread at a time, which can be waited for or left to end by itself. A thread that nobody waits for when it ends
/// cleans up after itself, and the object can start another.
class CODRELAY_API CThread : utils::Noncopyable {
public:
    CThread();
    /// Waits for a thread that still runs, and says so in the log.
    ~CThread();

    /// Starts `threadFunc(arg)` on a new thread. `arg` is not owned. Returns 1 on success; 0, with a line at Critical
    /// on the logger "codrelay", if `threadFunc` is null, a thread is running already, or the system refuses.
    int CreateThread(unsigned int (*threadFunc)(void*), void* arg);

    /// Blocks until the thread has ended; returns at once, with a line at Trace on the logger "codrelay", if there is
    /// none.
    /// REQUIRES: at most one thread waits at a time, and not the thread itself.
    void WaitThread();

private:
    static void* ThreadStarter(void* self);

    unsigned int (*m_pThreadFunc)(void*);
    void* m_pThreadArg;
    pthread_t m_ThreadId;
    utils::ThreadMutex m_Mutex;
    int m_bJoining;
};

/// A condition that remembers its signal until `Reset`. A waiter resets first, tests what it waits for, waits, and
/// tests again, since a wait may end early.
class CODRELAY_API CConditionWait : utils::Noncopyable {
public:
    CConditionWait();
    ~CConditionWait();

    /// Sets the latch and wakes one waiter. Nothing happens if it is set already.
    void Signal();
    /// Clears the latch.
    void Reset();
    /// Returns at once if the latch is set, else waits once; the latch stays as it is. False, with a line at Critical
    /// on the logger "ffmpeg", if the wait failed.
    bool Wait();
    /// Gives the mutex and the condition back to the system. A second call does nothing. No other call may follow.
    void Destroy();

private:
    pthread_mutex_t m_Mutex;
    pthread_cond_t m_Cond;
    int m_bSignalled;
    int m_bInitialised;
};
