#pragma once

#include <cstddef>

/// Counts what this thread gets from `operator new`, and gives back, while it lives, and may refuse some of it. Its
/// .cpp replaces the operators for the whole program, so a test program that wants it lists that file among its
/// sources.
class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    int count = 0;
    std::size_t largest = 0;
    int freed = 0;

    /// Of the allocations asked for, counted from 1: these are refused.
    int firstRefused = 0;
    int lastRefused = 0;
    int asked = 0;
};
