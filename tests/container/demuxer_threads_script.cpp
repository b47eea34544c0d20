#include "container/demuxer_threads_script.h"

#include <pthread.h>

#include <cerrno>
#include <cstdint>
#include <new>
#include <thread>

#include "codrelay/codrelay.h"
#include "support/ffmpeg.h"

std::atomic<std::size_t> g_nReaderWaits{0};
std::atomic<int> g_nDetached{0};
std::atomic<int> g_nIoBufferSize{0};
std::atomic<bool> g_bNoThreads{false};

namespace {

thread_local std::atomic<bool>* t_pBlocks = nullptr;
std::atomic<bool> g_bReaderFails{false};
std::atomic<std::thread::id> g_HostThread;

void FailIfTold() {
    if (g_bReaderFails && g_HostThread.load() != std::this_thread::get_id() && g_bReaderFails.exchange(false)) {
        throw std::bad_alloc();
    }
}

}  // namespace

void RaiseWhenBlocking(std::atomic<bool>* blocks) {
    t_pBlocks = blocks;
}

void AwaitReaderWaits(std::size_t count) {
    while (g_nReaderWaits < count) {
        std::this_thread::yield();
    }
}

void FailTheReadersNextAllocation() {
    g_HostThread = std::this_thread::get_id();
    g_bReaderFails = true;
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

using IoProc = int (*)(void*, std::uint8_t*, int);
using SeekProc = std::int64_t (*)(void*, std::int64_t, int);
extern "C" AVIOContext* __real_avio_alloc_context(unsigned char* buffer, int size, int isWritable, void* opaque,
                                                  IoProc read, IoProc write, SeekProc seek);
extern "C" AVIOContext* __wrap_avio_alloc_context(unsigned char* buffer, int size, int isWritable, void* opaque,
                                                  IoProc read, IoProc write, SeekProc seek) {
    g_nIoBufferSize = size;
    return __real_avio_alloc_context(buffer, size, isWritable, opaque, read, write, seek);
}

extern "C" void* __real__Znwm(std::size_t size);
SCRIPTED void* __wrap__Znwm(std::size_t size) {
    FailIfTold();
    return __real__Znwm(size);
}

extern "C" void* __real__Znam(std::size_t size);
SCRIPTED void* __wrap__Znam(std::size_t size) {
    FailIfTold();
    return __real__Znam(size);
}
