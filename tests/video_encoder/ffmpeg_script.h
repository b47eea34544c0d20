#pragma once

#include <functional>

#include "support/ffmpeg.h"

/// What the functions that the tests wrap at link time do instead of their own work, while a script lives. An empty
/// hook means the real function; a hook may call the real one, too. One script at a time; hooks may run on any thread.
struct FfmpegScript {
    FfmpegScript();
    ~FfmpegScript();
    FfmpegScript(const FfmpegScript&) = delete;
    FfmpegScript& operator=(const FfmpegScript&) = delete;

    std::function<AVCodecContext*(const AVCodec*)> allocContext;
    std::function<int(AVCodecContext*, const AVCodec*, AVDictionary**)> open;
    std::function<int(AVCodecContext*)> close;
    std::function<int(AVCodecContext*, AVPacket*, const AVFrame*, int*)> encode;
    std::function<AVFrame*()> allocFrame;
    /// The clock of the statistics, in milliseconds.
    std::function<long long()> clock;
};

extern "C" {
AVCodecContext* __real_avcodec_alloc_context3(const AVCodec* codec);
int __real_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options);
int __real_avcodec_close(AVCodecContext* context);
int __real_avcodec_encode_video2(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket);
AVFrame* __real_av_frame_alloc();
long long __real__ZN5utils20GetMonotonicTimeInMsEv();
}
