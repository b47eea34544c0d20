#pragma once

#include <atomic>
#include <cstddef>

// What the threads around a memory demuxer do, seen and scripted at link time. For test programs that wrap
// _ZN14CConditionWait4WaitEv, pthread_create and pthread_detach.

/// How often a reader has begun to wait for bytes.
extern std::atomic<std::size_t> g_nReaderWaits;
/// How many threads have ended with nobody waiting for them.
extern std::atomic<int> g_nDetached;
/// True lets no thread start.
extern std::atomic<bool> g_bNoThreads;

void AwaitReaderWaits(std::size_t count);

/// The calling thread is a writer, and raises the flag just before it blocks for space.
void RaiseWhenBlocking(std::atomic<bool>* blocks);
