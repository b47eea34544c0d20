#pragma once

/// @file
/// Sample formats, and the record that describes a stream of sound. Sample formats are single bits, so that a set of
/// them fits a mask. Samples of the channels are interleaved; a trailing P means planar: one block for each channel.
/// All in the machine's byte order.

/// Unsigned, 8 bits, 128 is silence.
inline constexpr int AUDIO_SAMPLE_U8 = 1;
/// Signed, 16 bits.
inline constexpr int AUDIO_SAMPLE_S16 = 2;
/// Signed, 32 bits.
inline constexpr int AUDIO_SAMPLE_S32 = 4;
/// Floating point, 32 bits, from -1 to 1.
inline constexpr int AUDIO_SAMPLE_FLT = 8;
/// Floating point, 64 bits, from -1 to 1.
inline constexpr int AUDIO_SAMPLE_DBL = 16;
/// AUDIO_SAMPLE_U8, planar.
inline constexpr int AUDIO_SAMPLE_U8P = 32;
/// AUDIO_SAMPLE_S16, planar.
inline constexpr int AUDIO_SAMPLE_S16P = 64;
/// AUDIO_SAMPLE_S32, planar.
inline constexpr int AUDIO_SAMPLE_S32P = 128;
/// AUDIO_SAMPLE_FLT, planar.
inline constexpr int AUDIO_SAMPLE_FLTP = 256;
/// AUDIO_SAMPLE_DBL, planar.
inline constexpr int AUDIO_SAMPLE_DBLP = 512;

/// Describes an audio stream. A plain record; whoever takes one copies it.
struct AUDIO_FORMAT {
    /// Samples per second and channel.
    int sampleRate;
    /// Number of channels.
    int channels;
    /// Exactly one `AUDIO_SAMPLE_*` flag; 0 where a demuxer could not tell.
    int sampleFormat;
};
