#pragma once

#include <cstddef>

/// The largest sample, 1 being full scale, that goes into FFmpeg's AAC encoder: far above, it may look for ever for a
/// way to code a frame in the bits that a frame may have.
inline constexpr float kLargestAacSample = 8;

/// Whether all float samples in these bytes, which may lie anywhere, are that small. What is no number is not.
bool AreWithinAacRange(const unsigned char* samples, std::size_t bytes);
