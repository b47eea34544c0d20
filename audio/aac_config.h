#pragma once

#include <cstddef>

/// The bytes that are allocated for a configuration, and those of them that a decoder is told of.
inline constexpr std::size_t kAacConfigRoom = 64;
inline constexpr int kAacConfigSize = 2;

/// The MPEG-4 index of a sample rate; 0, that of 96000, and a line in the log for a rate that has none.
int MpegIndexFromSampleRate(int sampleRate);

/// Writes the MPEG-4 AudioSpecificConfig of AAC LC, five bytes in all.
void WriteAacConfig(unsigned char* config, int sampleRateIndex, int channels);
