#pragma once

#include <memory>

#include "support/ffmpeg.h"

struct ScalerDelete {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};

/// A scaling context with its owner.
using ScalerPtr = std::unique_ptr<SwsContext, ScalerDelete>;

/// A context that converts whole pictures by SWS_LANCZOS, or null where libswscale has none. Safe from any thread, the
/// first of a process included.
/// REQUIRES: neither format is AV_PIX_FMT_NONE, which would end the process.
ScalerPtr NewScaler(int srcWidth, int srcHeight, AVPixelFormat srcFormat, int dstWidth, int dstHeight,
                    AVPixelFormat dstFormat);
