#pragma once

#include <pthread.h>

#include <functional>

/// What POSIX threads are made to do, and how often they were asked, while one of these lives. A function that is not
/// set leaves the work to the platform. Only calls from the code that is linked into the test are seen, not those of
/// the C++ library.
struct PthreadScript {
    PthreadScript();
    ~PthreadScript();
    PthreadScript(const PthreadScript&) = delete;
    PthreadScript& operator=(const PthreadScript&) = delete;

    /// Instead of starting a thread: the result; may set errno and the id.
    std::function<int(pthread_t*)> create;
    /// Runs before the platform's call.
    std::function<void()> beforeJoin;
    std::function<void()> beforeDetach;
    /// Runs before each lock that the thread of the script takes.
    std::function<void()> beforeLock;
    /// Runs before the platform waits, with the mutex held.
    std::function<void()> beforeCondWait;
    /// Instead of waiting: the result.
    std::function<int()> condWait;

    struct Counts {
        int create = 0;
        int join = 0;
        int detach = 0;
        int condWait = 0;
        int condSignal = 0;
        int condDestroy = 0;
    };
    Counts Calls() const;
    /// What the thread that was joined last gave back.
    void* JoinedResult() const;
};
