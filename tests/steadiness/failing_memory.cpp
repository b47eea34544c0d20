#include "steadiness/failing_memory.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>

// The C library's own, behind the names that are replaced here.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace failing_memory {

namespace {

constexpr int kFrames = 24;
constexpr int kWatched = 256;

/// Where an allocation comes from.
enum class Source { Object, Block };

std::atomic<bool> g_Armed{false};
std::atomic<bool> g_Failed{false};
std::atomic<Memory> g_Memory{Memory::All};
std::atomic<Failure> g_Failure{Failure::Once};
std::atomic<long> g_Left{0};
std::atomic<long> g_Blocks{0};
std::atomic<long> g_Objects{0};
std::atomic<const void*> g_Watched[kWatched];
std::atomic<int> g_Watching{0};
void* g_WhoAsked[kFrames];
int g_WhoAskedFrames = 0;
thread_local bool t_Looking = false;  // what looking at the stack takes does not count

enum class Owner { Program, FfmpegAllocator, Ffmpeg, Other };

bool Contains(const char* text, const char* part) {
    return text != nullptr && std::strstr(text, part) != nullptr;
}

Owner OwnerOf(void* code) {
    static const void* const program = [] {
        Dl_info info{};
        dladdr(reinterpret_cast<void*>(&OwnerOf), &info);
        return info.dli_fbase;
    }();
    Dl_info info{};
    if (dladdr(code, &info) == 0) {
        return Owner::Other;
    }
    if (info.dli_fbase == program) {
        return Owner::Program;
    }
    if (Contains(info.dli_fname, "/libavutil") &&
        (Contains(info.dli_sname, "alloc") || Contains(info.dli_sname, "av_strdup")) &&
        !Contains(info.dli_sname, "frame_alloc")) {
        return Owner::FfmpegAllocator;
    }
    return Contains(info.dli_fname, "/libav") || Contains(info.dli_fname, "/libsw") ? Owner::Ffmpeg : Owner::Other;
}

/// The only library below FFmpeg that is written in C++.
bool IsInCodecLibrary(void* code) {
    Dl_info info{};
    return dladdr(code, &info) != 0 && Contains(info.dli_fname, "/libopenh264");
}

/// From the inside out: this program's `malloc`, av_malloc and the like, at most one function of FFmpeg's, and whoever
/// in this program called that.
bool IsFfmpegCall() {
    void* frames[kFrames];
    const int count = backtrace(frames, kFrames);
    int at = 0;
    const auto skip = [&](Owner owner) {
        const int first = at;
        while (at < count && OwnerOf(frames[at]) == owner) {
            ++at;
        }
        return at - first;
    };
    skip(Owner::Program);
    const int allocators = skip(Owner::FfmpegAllocator);
    const int functions = skip(Owner::Ffmpeg);
    return allocators + functions > 0 && functions <= 1 && at < count && OwnerOf(frames[at]) == Owner::Program;
}

/// `caller` is who called `operator new`.
bool Counts(Source source, void* caller) {
    switch (g_Memory) {
        case Memory::Objects:
            return source == Source::Object && !IsInCodecLibrary(caller);
        case Memory::FfmpegCalls:
            return source == Source::Block && IsFfmpegCall();
        default:
            return true;
    }
}

void RememberWhoAsked() {
    g_Failed = true;
    g_WhoAskedFrames = backtrace(g_WhoAsked, kFrames);
}

bool Fails(Source source, void* caller) {
    if (!g_Armed || t_Looking) {
        return false;
    }
    t_Looking = true;
    const bool counts = Counts(source, caller);
    const long left = counts ? --g_Left : 1;
    if (left == 0) {
        RememberWhoAsked();
    }
    t_Looking = false;
    return left == 0 || (left < 0 && g_Failure == Failure::Lasting);
}

bool Fails() {
    return Fails(Source::Block, nullptr);
}

void* Counted(void* block) {
    if (block != nullptr) {
        ++g_Blocks;
    }
    return block;
}

void Forget(const void* block) {
    for (std::atomic<const void*>& watched : g_Watched) {
        const void* expected = block;
        if (watched.compare_exchange_strong(expected, nullptr)) {
            --g_Watching;
        }
    }
}

void* NewObject(std::size_t alignment, std::size_t size, void* caller) {
    void* const object = Fails(Source::Object, caller) ? nullptr : Counted(__libc_memalign(alignment, size));
    if (object == nullptr) {
        throw std::bad_alloc();
    }
    ++g_Objects;
    return object;
}

}  // namespace

void Arm(long nth, Memory memory, Failure failure) {
    void* warmUp[1];
    backtrace(warmUp, 1);  // loads a library the first time
    g_Failed = false;
    g_Memory = memory;
    g_Failure = failure;
    g_Left = nth;
    g_Armed = true;
}

bool Disarm() {
    g_Armed = false;
    return g_Failed;
}

void PrintWhoAsked() {
    backtrace_symbols_fd(g_WhoAsked, g_WhoAskedFrames, STDERR_FILENO);
}

long LiveBlocks() {
    return g_Blocks;
}

long LiveObjects() {
    return g_Objects;
}

void Watch(const void* block) {
    for (std::atomic<const void*>& watched : g_Watched) {
        const void* expected = nullptr;
        if (watched.compare_exchange_strong(expected, block)) {
            ++g_Watching;
            return;
        }
    }
}

int WatchedBlocks() {
    return g_Watching;
}

void ForgetWatched() {
    for (std::atomic<const void*>& watched : g_Watched) {
        watched = nullptr;
    }
    g_Watching = 0;
}

}  // namespace failing_memory

using namespace failing_memory;

// Shared libraries find these in the program before they find the C library's.
#pragma GCC visibility push(default)

extern "C" {

void* malloc(std::size_t size) {
    return Fails() ? nullptr : Counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
    return Fails() ? nullptr : Counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) {
    if (Fails()) {
        return nullptr;
    }
    void* const moved = __libc_realloc(block, size);
    if (block == nullptr) {
        Counted(moved);
    } else if (size == 0) {
        --g_Blocks;
    }
    return moved;
}

void* memalign(std::size_t alignment, std::size_t size) {
    return Fails() ? nullptr : Counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    void* const got = memalign(alignment, size);
    if (got == nullptr) {
        return ENOMEM;
    }
    *block = got;
    return 0;
}

void free(void* block) {
    if (block == nullptr) {
        return;
    }
    --g_Blocks;
    if (g_Watching != 0) {
        Forget(block);
    }
    __libc_free(block);
}

}  // extern "C"

void* operator new(std::size_t size) {
    return NewObject(alignof(std::max_align_t), size, __builtin_return_address(0));
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    return NewObject(static_cast<std::size_t>(alignment), size, __builtin_return_address(0));
}

void operator delete(void* object) noexcept {
    g_Objects -= object != nullptr ? 1 : 0;
    free(object);
}

void operator delete(void* object, std::size_t) noexcept {
    operator delete(object);
}

void operator delete(void* object, std::align_val_t) noexcept {
    operator delete(object);
}

void operator delete(void* object, std::size_t, std::align_val_t) noexcept {
    operator delete(object);
}

#pragma GCC visibility pop
