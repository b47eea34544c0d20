#pragma once

#include "support/ffmpeg.h"

/// Whether the test runs on FFmpeg 4, the reference. Where a later generation differs for a host, a test says in what.
inline bool IsReferenceFfmpeg() {
    return avcodec_version() >> 16 == 58;
}
