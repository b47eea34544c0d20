#pragma once

// FFmpeg 4, the reference. Included by "support/ffmpeg.h" alone. What each name is for, and why the generations differ
// in it, is told in "support/ffmpeg_generation_5.h".

using FfmpegCodec = AVCodec;
using FfmpegOutFormat = AVOutputFormat;
using FfmpegInFormat = AVInputFormat;
using StreamParameters = AVCodecContext;

inline StreamParameters* ParametersOf(const AVStream* stream) {
    return stream->codec;
}

inline AVSampleFormat SampleFormatOf(const StreamParameters* parameters) {
    return parameters->sample_fmt;
}

inline void SetSampleFormat(StreamParameters* parameters, AVSampleFormat format) {
    parameters->sample_fmt = format;
}

inline void SetPixelFormat(StreamParameters* parameters, AVPixelFormat format) {
    parameters->pix_fmt = format;
}

inline void SetEncoderHints(StreamParameters* parameters, int64_t bitRate, int gopSize, AVRational timeBase) {
    parameters->max_b_frames = 0;
    parameters->has_b_frames = 0;
    parameters->rc_buffer_size = static_cast<int>(bitRate);
    parameters->rc_max_rate = bitRate;
    parameters->time_base = timeBase;
    parameters->gop_size = gopSize;
}

inline void SetPictureDuration(AVPacket* /*packet*/, const AVStream* /*stream*/, AVRational /*frameTime*/) {}

inline void SetDefaultCodecs(FfmpegOutFormat* format, AVCodecID video, AVCodecID audio) {
    format->video_codec = video;
    format->audio_codec = audio;
}

inline int ChannelsOf(const AVCodecContext* context) {
    return context->channels;
}

inline void SetChannels(AVCodecContext* context, int channels) {
    context->channels = channels;
}

inline void SetDefaultLayout(AVCodecContext* context, int channels) {
    context->channels = channels;
    context->channel_layout = static_cast<uint64_t>(av_get_default_channel_layout(channels));
}

inline bool SetLayout(AVCodecContext* context, int channels, uint64_t layout) {
    context->channels = channels;
    context->channel_layout = layout;
    return true;
}

inline int ChannelsOfLayout(const AVCodecContext* context) {
    return av_get_channel_layout_nb_channels(context->channel_layout);
}

inline void DescribeSound(AVFrame* /*frame*/, const AVCodecContext* /*context*/) {}

inline void SetSceneChangeThreshold(AVCodecContext* context, AVDictionary** /*options*/, int threshold) {
    context->scenechange_threshold = threshold;
}

inline void WantVariableLengthCodes(AVCodecContext* context, AVDictionary** /*options*/) {
    context->coder_type = FF_CODER_TYPE_VLC;
}

inline void SetTicksPerFrame(AVCodecContext* context, int ticks) {
    context->ticks_per_frame = ticks;
}

inline int OpenSoundEncoder(AVCodecContext* context, const FfmpegCodec* codec) {
    return avcodec_open2(context, codec, nullptr);
}

inline int OpenInput(AVFormatContext** context, const char* url, FfmpegInFormat* format) {
    return avformat_open_input(context, url, format, nullptr);
}

inline int WriteContainerHeader(AVFormatContext* context) {
    return avformat_write_header(context, nullptr);
}

inline constexpr bool kSequencesEndAtOnce = false;
