// Loaded before all else (LD_PRELOAD): counts what a program allocates, whatever it is written in, and at its end
// writes a line of its seconds, its allocations and its peak of resident kilobytes to the file that PEER_METER names.

#include <dlfcn.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

std::atomic<unsigned long> allocations{0};

/// The next function of that name in the order of loading.
template <typename Function>
Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

struct Report {
    ~Report() {
        const char* path = std::getenv("PEER_METER");
        std::FILE* file = path != nullptr ? std::fopen(path, "w") : nullptr;
        if (file == nullptr) {
            return;
        }
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        const double seconds = static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        std::fprintf(file, "%f %lu %ld\n", seconds, allocations.load(), usage.ru_maxrss);
        std::fclose(file);
    }
} report;

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(memory, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    static const auto next = Next<int (*)(void**, std::size_t, std::size_t)>("posix_memalign");
    allocations.fetch_add(1, std::memory_order_relaxed);
    return next(memory, alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    static const auto next = Next<void* (*)(std::size_t, std::size_t)>("aligned_alloc");
    allocations.fetch_add(1, std::memory_order_relaxed);
    return next(alignment, size);
}

}  // extern "C"
