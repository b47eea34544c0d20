#pragma once

#include <atomic>
#include <cstddef>

// What the threads around a memory demuxer do, seen and scripted at link time. For test programs that wrap
// _ZN14CConditionWait4WaitEv, pthread_create, pthread_detach, avio_alloc_context, _Znwm and _Znam.

/// How often a reader has begun to wait for bytes.
extern std::atomic<std::size_t> g_nReaderWaits;
/// How many threads have ended with nobody waiting for them.
extern std::atomic<int> g_nDetached;
/// The size of the buffer that FFmpeg was given last for its input.
extern std::atomic<int> g_nIoBufferSize;
/// True lets no thread start.
extern std::atomic<bool> g_bNoThreads;

void AwaitReaderWaits(std::size_t count);

/// The calling thread is a writer, and raises the flag just before it blocks for space.
void RaiseWhenBlocking(std::atomic<bool>* blocks);

/// The next object or array that another thread than the calling one asks for is not to be had.
void FailTheReadersNextAllocation();
