#include "codrelay/utils/threads.h"

#include <cerrno>
#include <cstdint>
#include <new>

#include "support/log_front.h"

namespace utils {

ThreadMutex::ThreadMutex() : m_pMutex(new pthread_mutex_t) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(m_pMutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

ThreadMutex::~ThreadMutex() {
    pthread_mutex_destroy(m_pMutex);
    delete m_pMutex;
}

int ThreadMutex::Lock() {
    return pthread_mutex_lock(m_pMutex);
}

int ThreadMutex::Unlock() {
    return pthread_mutex_unlock(m_pMutex);
}

bool ThreadMutex::TryLock() {
    return pthread_mutex_trylock(m_pMutex) == 0;
}

}  // namespace utils

CMutexLocker::CMutexLocker(utils::ThreadMutex* mutex, bool lock) : m_pMutex(mutex), m_bLocked(lock) {
    if (lock) {
        m_pMutex->Lock();
    }
}

CMutexLocker::~CMutexLocker() {
    Unlock();
}

void CMutexLocker::Lock() {
    if (!m_bLocked) {
        m_pMutex->Lock();
        m_bLocked = true;
    }
}

void CMutexLocker::Unlock() {
    if (m_bLocked) {
        m_pMutex->Unlock();
        m_bLocked = false;
    }
}

bool CMutexLocker::IsLocked() {
    return m_bLocked;
}

namespace {

// For where nobody can be told that there is no memory for a line.
template <typename Call>
void Quietly(const Call& call) {
    try {
        call();
    } catch (const std::bad_alloc&) {
    }
}

pthread_t ReadUnder(utils::ThreadMutex* mutex, const pthread_t& threadId) {
    CMutexLocker locker(mutex, true);
    return threadId;
}

}  // namespace

// The argument is set by Start.
// cppcheck-suppress uninitMemberVar
CThread::CThread() : m_pThreadFunc(nullptr), m_ThreadId(0), m_bJoining(0) {}

CThread::~CThread() {
    if (ReadUnder(&m_Mutex, m_ThreadId) != 0) {
        Quietly([] { CODRELAY_LOG(Info) << "CThread: Warning! Thread not finished! Waiting..."; });
        Quietly([this] { WaitThread(); });
    }
}

// The mutex is held throughout, so that a body that ends at once finds its own id stored.
int CThread::CreateThread(unsigned int (*threadFunc)(void*), void* arg) {
    CMutexLocker locker(&m_Mutex, true);
    if (threadFunc == nullptr) {
        CODRELAY_LOG(Critical) << "CThread::CreateThread: threadFuncPtr error!";
        return 0;
    }
    if (m_ThreadId != 0) {
        CODRELAY_LOG(Critical) << "CThread::CreateThread: Error! Trying to use already exists object!";
        return 0;
    }
    m_pThreadFunc = threadFunc;
    m_pThreadArg = arg;
    m_bJoining = 0;
    errno = 0;
    pthread_t started = 0;
    if (pthread_create(&started, nullptr, ThreadStarter, this) != 0) {
        const int error = errno;
        CODRELAY_LOG(Critical) << "CThread::Start: Create thread error! Errno = " << error;
        return 0;
    }
    m_ThreadId = started;
    return 1;
}

// Either the end of the thread sees no waiter and detaches, and the waiter finds no thread, or the waiter marks itself
// first and joins: never both.
void* CThread::ThreadStarter(void* self) {
    auto* thread = static_cast<CThread*>(self);
    const unsigned int result = thread->m_pThreadFunc(thread->m_pThreadArg);
    CMutexLocker locker(&thread->m_Mutex, true);
    if (thread->m_bJoining == 0) {
        pthread_detach(pthread_self());
        thread->m_ThreadId = 0;
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a thread's result is a pointer
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(result));
}

void CThread::WaitThread() {
    if (ReadUnder(&m_Mutex, m_ThreadId) == 0) {
        CODRELAY_LOG(Trace) << "CThread::WaitThread: thread_id == 0 #1";
        return;
    }
    CMutexLocker locker(&m_Mutex, true);
    if (m_ThreadId == 0) {
        CODRELAY_LOG(Trace) << "CThread::WaitThread: thread_id == 0 #2";
        return;
    }
    m_bJoining = 1;
    const pthread_t joined = m_ThreadId;
    locker.Unlock();
    pthread_join(joined, nullptr);
    locker.Lock();
    m_ThreadId = 0;
    m_bJoining = 0;
}

CConditionWait::CConditionWait() : m_bSignalled(0), m_bInitialised(1) {
    pthread_mutex_init(&m_Mutex, nullptr);
    pthread_cond_init(&m_Cond, nullptr);
}

CConditionWait::~CConditionWait() {
    Destroy();
}

void CConditionWait::Signal() {
    pthread_mutex_lock(&m_Mutex);
    if (m_bSignalled == 0) {
        m_bSignalled = 1;
        pthread_cond_signal(&m_Cond);
    }
    pthread_mutex_unlock(&m_Mutex);
}

void CConditionWait::Reset() {
    pthread_mutex_lock(&m_Mutex);
    m_bSignalled = 0;
    pthread_mutex_unlock(&m_Mutex);
}

// No loop: waiters test their own condition again, and the latch stays as it is for the next one.
bool CConditionWait::Wait() {
    int error = 0;
    pthread_mutex_lock(&m_Mutex);
    if (m_bSignalled == 0) {
        error = pthread_cond_wait(&m_Cond, &m_Mutex);
    }
    pthread_mutex_unlock(&m_Mutex);
    if (error != 0) {
        // A demuxer waits below frames of libavformat's, which no exception may cross.
        Quietly([error] { FFMPEG_LOG(Critical) << "CConditionWait: wait condition error " << error; });
    }
    return error == 0;
}

void CConditionWait::Destroy() {
    if (m_bInitialised != 0) {
        m_bInitialised = 0;
        pthread_cond_destroy(&m_Cond);
        pthread_mutex_destroy(&m_Mutex);
    }
}
