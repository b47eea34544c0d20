#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "support/ffmpeg.h"

struct FreePicture {
    void operator()(AVFrame* picture) const { av_frame_free(&picture); }
};
using Picture = std::unique_ptr<AVFrame, FreePicture>;

/// A picture as FFmpeg's decoders allocate theirs, with padded rows, filled from tight ones.
Picture PictureFrom(const uint8_t* tight, AVPixelFormat format, unsigned int width, unsigned int height);

/// The same filled with noise; the seed decides which.
Picture NoisePicture(AVPixelFormat format, int width, int height, unsigned int seed);

/// A conversion by the scaler alone, on rows that are far longer than the picture, handed out tight. Empty where the
/// scaler does not offer it.
std::vector<uint8_t> ScaleLikeFfmpeg(const AVFrame& picture, AVPixelFormat to);
