#pragma once

#include <cstddef>

/// Reads all of what the library handed out, for the sanitizer to look at.
inline void ReadEveryByte(const unsigned char* data, std::size_t size) {
    unsigned char sum = 0;
    for (std::size_t i = 0; i < size; ++i) {
        sum = static_cast<unsigned char>(sum ^ data[i]);
    }
    volatile unsigned char seen = sum;
    static_cast<void>(seen);
}
