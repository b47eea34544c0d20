#pragma once

#include <cstddef>

/// The largest sample, 1 being full scale, that goes into FFmpeg's AAC encoder. From twice that on, its coarsest
/// quantiser may leave more bits than a frame may have, and it looks for a coarser one for ever. How it was found
/// stands in fuzz/known/README.md.
inline constexpr float kLargestAacSample = 8192;

/// Whether all float samples in these bytes, which may lie anywhere, are that small. What is no number is not.
bool AreWithinAacRange(const unsigned char* samples, std::size_t bytes);
