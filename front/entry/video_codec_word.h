#pragma once

#include "front/registry/media_vocabulary.h"

/// The word for a video codec id in the log lines of the factories. A family names the ids below `named` from the
/// table.
inline const char* VideoCodecWord(int id, int named) {
    if (id >= 0 && id < named) {
        return VideoCodecLogName[id];
    }
    switch (id) {
        case VIDEO_CODEC_NONE:
            return "none";
        case VIDEO_CODEC_RAW:
            return "raw";
        default:
            return "unknown";
    }
}
