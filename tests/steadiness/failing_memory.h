#pragma once

/// The memory of the whole process, FFmpeg's and the C library's included, made to run out. The .cpp replaces `malloc`
/// and its family and `operator new`; a test program lists it among its sources. Not with sanitizers, which have a
/// `malloc` of their own.
namespace failing_memory {

/// Which allocations count, and fail.
enum class Memory {
    Objects,      // what comes from `operator new`, but for what libraries below FFmpeg have from there
    FfmpegCalls,  // what the FFmpeg functions that this program calls take themselves, not through functions below them
    All
};

/// How an allocator fails.
enum class Failure {
    Once,    // this one allocation
    Lasting  // this one and all after it
};

/// From now on the `nth` allocation, counted from 1, fails. All threads count.
void Arm(long nth, Memory memory, Failure failure);
/// Memory is plenty again. True if an allocation has failed since Arm.
bool Disarm();
/// Prints to stderr who asked for the allocation that failed first.
void PrintWhoAsked();

/// Blocks that the process holds.
long LiveBlocks();
/// Those of them that came from `operator new`.
long LiveObjects();

/// Remembers a block until it is freed.
void Watch(const void* block);
/// How many of the blocks that were watched are not freed.
int WatchedBlocks();
/// Forgets them.
void ForgetWatched();

}  // namespace failing_memory
