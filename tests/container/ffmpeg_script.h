#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/ffmpeg.h"

/// What FFmpeg does for the demuxers while a script lives: an empty function leaves the real one in place. One script
/// lives at a time.
struct FfmpegScript {
    FfmpegScript();
    ~FfmpegScript();
    FfmpegScript(const FfmpegScript&) = delete;
    FfmpegScript& operator=(const FfmpegScript&) = delete;

    std::function<void*(std::size_t)> malloc;
    std::function<AVFormatContext*()> allocContext;
    std::function<AVIOContext*()> allocIo;
    std::function<int(AVFormatContext**, const char*, FfmpegInFormat*)> openInput;
    std::function<int(AVFormatContext*)> findStreamInfo;
    std::function<int(AVFormatContext*, AVPacket*)> readFrame;
    std::function<AVBitStreamFilterContext*(const char*)> initFilter;
    std::function<int(StreamParameters*, std::uint8_t**, int*, const std::uint8_t*, int, int)> filter;

    /// The releasing calls since the script began, in order: av_free, av_free_packet, av_bitstream_filter_close (when
    /// there is a filter), avformat_close_input (when there is a context).
    std::vector<std::string> released;
};

/// The real functions, for scripts that only look or change a detail.
int RealOpenInput(AVFormatContext** context, const char* url, FfmpegInFormat* format);
int RealFindStreamInfo(AVFormatContext* context);
int RealReadFrame(AVFormatContext* context, AVPacket* packet);

/// What a failed opening does to the context: it is gone.
int FailToOpen(AVFormatContext** context);

struct FakeStream {
    AVMediaType type;
    AVCodecID codec;
    AVRational timeBase = {1, 1000};
    AVSampleFormat sampleFormat = AV_SAMPLE_FMT_NONE;
};

/// Puts a context with these streams, 8000 Hz and 3 channels each, in the place of `*context`. Gives 0, as an opening.
int OpenFake(AVFormatContext** context, const std::vector<FakeStream>& streams);
