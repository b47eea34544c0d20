#include "common/guarded_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace {

std::size_t PageSize() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::size_t WholePages(std::size_t size) {
    return (size + PageSize() - 1) / PageSize() * PageSize();
}

}  // namespace

GuardedBuffer::GuardedBuffer(std::size_t capacity) : m_nMapped(WholePages(capacity) + PageSize()) {
    void* memory = mmap(nullptr, m_nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    m_pMapped = static_cast<unsigned char*>(memory);
    m_pEnd = m_pMapped + m_nMapped - PageSize();
    if (mprotect(m_pEnd, PageSize(), PROT_NONE) != 0) {
        munmap(memory, m_nMapped);
        throw std::bad_alloc();
    }
}

GuardedBuffer::~GuardedBuffer() {
    munmap(m_pMapped, m_nMapped);
}
