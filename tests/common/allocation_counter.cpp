#include "common/allocation_counter.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {
thread_local AllocationCounter* g_Counter = nullptr;

bool IsRefused() {
    if (g_Counter == nullptr) {
        return false;
    }
    const int asked = ++g_Counter->asked;
    return asked >= g_Counter->firstRefused && asked <= g_Counter->lastRefused;
}
}  // namespace

AllocationCounter::AllocationCounter() {
    g_Counter = this;
}

AllocationCounter::~AllocationCounter() {
    g_Counter = nullptr;
}

void* operator new(std::size_t size) {
    void* memory = IsRefused() ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    if (g_Counter != nullptr) {
        ++g_Counter->count;
        g_Counter->largest = std::max(g_Counter->largest, size);
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    if (g_Counter != nullptr && memory != nullptr) {
        ++g_Counter->freed;
    }
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
