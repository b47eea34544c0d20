#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/ffmpeg.h"

/// What FFmpeg offers, as the library sees it through the walks by which it learns of it. While a script lives, empty
/// lists leave the real ones in place. One at a time.
struct FfmpegWalkScript {
    FfmpegWalkScript();
    ~FfmpegWalkScript();
    FfmpegWalkScript(const FfmpegWalkScript&) = delete;
    FfmpegWalkScript& operator=(const FfmpegWalkScript&) = delete;

    std::vector<AVCodec*> codecs;
    /// Those of `codecs` that the look-ups by name give back.
    std::vector<AVCodec*> encoders;
    std::vector<AVOutputFormat*> outFormats;
    std::vector<AVInputFormat*> inFormats;

    /// Runs at each step of a walk.
    std::function<void()> onStep;
    int steps = 0;
    /// The registering calls, in order.
    std::vector<std::string> registered;
};
