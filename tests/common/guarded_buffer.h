#pragma once

#include <cstddef>

/// Memory whose end is the end of what the process may touch: a write or read of one byte beyond it ends the test. Sees
/// stores of hand-written assembly, which sanitizers do not.
class GuardedBuffer {
public:
    /// Throws where the system gives no memory.
    explicit GuardedBuffer(std::size_t capacity);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    /// The last `size` bytes before the guard. REQUIRES: `size` is at most the capacity.
    unsigned char* Last(std::size_t size) const { return m_pEnd - size; }

private:
    std::size_t m_nMapped;
    unsigned char* m_pMapped;
    unsigned char* m_pEnd;
};
