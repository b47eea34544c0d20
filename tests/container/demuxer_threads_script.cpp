#include "container/demuxer_threads_script.h"

#include <pthread.h>

#include <cerrno>
#include <thread>

#include "codrelay/codrelay.h"

std::atomic<std::size_t> g_nReaderWaits{0};
std::atomic<int> g_nDetached{0};
std::atomic<bool> g_bNoThreads{false};

namespace {
thread_local std::atomic<bool>* t_pBlocks = nullptr;
}  // namespace

void RaiseWhenBlocking(std::atomic<bool>* blocks) {
    t_pBlocks = blocks;
}

void AwaitReaderWaits(std::size_t count) {
    while (g_nReaderWaits < count) {
        std::this_thread::yield();
    }
}

extern "C" bool __real__ZN14CConditionWait4WaitEv(CConditionWait* self);
extern "C" bool __wrap__ZN14CConditionWait4WaitEv(CConditionWait* self) {
    if (t_pBlocks != nullptr) {
        *t_pBlocks = true;
    } else {
        ++g_nReaderWaits;
    }
    return __real__ZN14CConditionWait4WaitEv(self);
}

#define SCRIPTED extern "C" __attribute__((visibility("default")))

extern "C" int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                                     void* arg);
SCRIPTED int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                                   void* arg) {
    return g_bNoThreads ? EAGAIN : __real_pthread_create(thread, attributes, body, arg);
}

extern "C" int __real_pthread_detach(pthread_t thread);
SCRIPTED int __wrap_pthread_detach(pthread_t thread) {
    const int result = __real_pthread_detach(thread);
    ++g_nDetached;
    return result;
}
