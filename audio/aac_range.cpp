#include "audio/aac_range.h"

#include <cmath>
#include <cstring>

bool AreWithinAacRange(const unsigned char* samples, std::size_t bytes) {
    const std::size_t count = bytes / sizeof(float);
    // Goes to the end in any case, so that the compiler can look at several samples at a time.
    int beyond = 0;
    for (std::size_t i = 0; i < count; ++i) {
        float sample;
        std::memcpy(&sample, samples + i * sizeof(sample), sizeof(sample));
        beyond |= std::fabs(sample) <= kLargestAacSample ? 0 : 1;
    }
    return beyond == 0;
}
