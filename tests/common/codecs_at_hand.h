#pragma once

#include "support/ffmpeg.h"

/// Whether x264 encodes H.264 here, since FFmpeg has no OpenH264. Where a host sees that, a test says in what.
inline bool IsH264ByX264() {
    return avcodec_find_encoder_by_name("libopenh264") == nullptr;
}

/// Whether FFmpeg has a decoder of that name; a test that needs one that is missing skips and names it.
inline bool HasDecoder(const char* name) {
    return avcodec_find_decoder_by_name(name) != nullptr;
}
