#pragma once

#include <string>

/// While it lives, FFmpeg's own messages down to its level "info" are kept here.
class FfmpegLines {
public:
    FfmpegLines();
    ~FfmpegLines();
    FfmpegLines(const FfmpegLines&) = delete;
    FfmpegLines& operator=(const FfmpegLines&) = delete;

    const std::string& Text() const;
};
