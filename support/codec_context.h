#pragma once

#include "support/ffmpeg.h"

/// Ends a codec context: one that was opened is closed, one that never was gives back what it holds from its making.
/// `*context` is null afterwards, and may be before.
inline void FreeCodecContext(AVCodecContext** context, bool opened) {
    if (*context == nullptr) {
        return;
    }
    if (opened) {
        avcodec_close(*context);
        av_freep(context);
    } else {
        avcodec_free_context(context);
    }
}
