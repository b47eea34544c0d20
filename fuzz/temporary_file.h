#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

/// A file in memory that has a path for as long as this lives.
class TemporaryFile {
public:
    TemporaryFile() : m_nDescriptor(memfd_create("fuzz", MFD_CLOEXEC)) {
        if (m_nDescriptor < 0) {
            std::abort();
        }
    }
    ~TemporaryFile() { close(m_nDescriptor); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void Fill(const std::vector<unsigned char>& bytes) const {
        if (write(m_nDescriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
            std::abort();
        }
    }

    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_nDescriptor); }

private:
    int m_nDescriptor;
};
