#pragma once

#include <gtest/gtest.h>

#include <type_traits>

#include "support/ffmpeg.h"

/// What a stream says of its pictures, wherever its generation of FFmpeg keeps it.
template <typename Parameters>
AVPixelFormat PixelFormatOf(const Parameters& parameters) {
    if constexpr (std::is_same_v<Parameters, AVCodecContext>) {
        return parameters.pix_fmt;
    } else {
        return static_cast<AVPixelFormat>(parameters.format);
    }
}

/// FFmpeg 4 keeps a codec context beside a stream, with hints of the encoder to come. Later generations keep parameters
/// alone, which have no place for them.
template <typename Parameters>
void ExpectEncoderHints(const Parameters& parameters, int rate, int gopSize) {
    if constexpr (std::is_same_v<Parameters, AVCodecContext>) {
        EXPECT_EQ(parameters.rc_buffer_size, rate);
        EXPECT_EQ(parameters.rc_max_rate, rate);
        EXPECT_EQ(parameters.gop_size, gopSize);
        EXPECT_EQ(parameters.max_b_frames, 0);
        EXPECT_EQ(av_cmp_q(parameters.time_base, AVRational{1, 25}), 0);
    }
}
