#pragma once

#include "support/ffmpeg.h"

/// Whether x264 encodes H.264 here, since FFmpeg has no OpenH264. Where a host sees that, a test says in what.
inline bool IsH264ByX264() {
    return avcodec_find_encoder_by_name("libopenh264") == nullptr;
}

/// Whether FFmpeg has a decoder of that name.
inline bool HasDecoder(const char* name) {
    return avcodec_find_decoder_by_name(name) != nullptr;
}

/// Skips a test that needs a decoder which this FFmpeg was built without, and names it.
#define SKIP_WITHOUT_DECODER(name)                          \
    if (!HasDecoder(name)) {                                \
        GTEST_SKIP() << "FFmpeg has no decoder " << (name); \
    }                                                       \
    static_assert(true, "wants a semicolon")
