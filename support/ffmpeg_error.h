#pragma once

#include <array>

#include "support/ffmpeg.h"

/// FFmpeg's text for one of its error numbers, cut as hosts know it: into 64 bytes.
class FfmpegErrorText {
public:
    explicit FfmpegErrorText(int error) { av_strerror(error, m_Text.data(), m_Text.size()); }
    const char* c_str() const { return m_Text.data(); }

private:
    std::array<char, 64> m_Text{};
};
