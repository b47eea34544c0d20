#pragma once

/// Sample formats as single bits, so that a set of them fits a mask. A trailing P means planar: one block per channel.
inline constexpr int AUDIO_SAMPLE_U8 = 1;
inline constexpr int AUDIO_SAMPLE_S16 = 2;
inline constexpr int AUDIO_SAMPLE_S32 = 4;
inline constexpr int AUDIO_SAMPLE_FLT = 8;
inline constexpr int AUDIO_SAMPLE_DBL = 16;
inline constexpr int AUDIO_SAMPLE_U8P = 32;
inline constexpr int AUDIO_SAMPLE_S16P = 64;
inline constexpr int AUDIO_SAMPLE_S32P = 128;
inline constexpr int AUDIO_SAMPLE_FLTP = 256;
inline constexpr int AUDIO_SAMPLE_DBLP = 512;

/// Describes an audio stream. A plain record; whoever takes one copies it.
struct AUDIO_FORMAT {
    /// Samples per second and channel.
    int sampleRate;
    int channels;
    /// Exactly one `AUDIO_SAMPLE_*` flag.
    int sampleFormat;
};
