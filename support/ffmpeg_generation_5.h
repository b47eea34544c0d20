#pragma once

#include <cstring>

// FFmpeg 5.1 and later. Included by "support/ffmpeg.h" alone. The names that both generations offer are explained here.

/// What a look-up gives: records that are constant from FFmpeg 5 on.
using FfmpegCodec = const AVCodec;
using FfmpegOutFormat = const AVOutputFormat;
using FfmpegInFormat = const AVInputFormat;

/// Where a stream keeps its parameters: in FFmpeg 4 in a codec context, right after the open too.
using StreamParameters = AVCodecParameters;

inline StreamParameters* ParametersOf(const AVStream* stream) {
    return stream->codecpar;
}

/// FFmpeg's decoders of AMR, which knows one channel only, call their samples planar from FFmpeg 5 on.
inline AVSampleFormat SampleFormatOf(const StreamParameters* parameters) {
    const auto format = static_cast<AVSampleFormat>(parameters->format);
    const bool isAmr = parameters->codec_id == AV_CODEC_ID_AMR_NB || parameters->codec_id == AV_CODEC_ID_AMR_WB;
    return isAmr ? av_get_packed_sample_fmt(format) : format;
}

inline void SetSampleFormat(StreamParameters* parameters, AVSampleFormat format) {
    parameters->format = format;
}

inline void SetPixelFormat(StreamParameters* parameters, AVPixelFormat format) {
    parameters->format = format;
}

/// What a stream's codec context in FFmpeg 4 says of the encoder to come. No muxer of ours writes any of it, but for
/// the length of the last picture: SetPictureDuration().
inline void SetEncoderHints(StreamParameters* /*parameters*/, int64_t /*bitRate*/, int /*gopSize*/,
                            AVRational /*timeBase*/) {}

/// Gives a packet of video its length, which FFmpeg 4 takes from the stream's codec context.
inline void SetPictureDuration(AVPacket* packet, const AVStream* stream, AVRational frameTime) {
    if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
        packet->duration = av_rescale_q(1, frameTime, stream->time_base);
    }
}

/// Makes the codecs the defaults of the format for the whole process, where the record can be written.
inline void SetDefaultCodecs(FfmpegOutFormat* /*format*/, AVCodecID /*video*/, AVCodecID /*audio*/) {}

inline int ChannelsOf(const AVCodecContext* context) {
    return context->ch_layout.nb_channels;
}

inline int ChannelsOf(const StreamParameters* parameters) {
    return parameters->ch_layout.nb_channels;
}

/// A number of channels that lie nowhere in particular.
inline void SetChannels(StreamParameters* parameters, int channels) {
    av_channel_layout_uninit(&parameters->ch_layout);
    parameters->ch_layout.nb_channels = channels;
}

/// A number of channels with FFmpeg's usual layout for it.
inline void SetDefaultLayout(AVCodecContext* context, int channels) {
    av_channel_layout_uninit(&context->ch_layout);
    av_channel_layout_default(&context->ch_layout, channels);
}

/// A number of channels with a layout; 0 becomes the layout's. False where the two do not fit: FFmpeg 4 finds that out
/// when the codec is opened, later generations know the layout alone.
inline bool SetLayout(AVCodecContext* context, int channels, uint64_t layout) {
    av_channel_layout_uninit(&context->ch_layout);
    av_channel_layout_from_mask(&context->ch_layout, layout);
    return channels == 0 || channels == context->ch_layout.nb_channels;
}

inline int ChannelsOfLayout(const AVCodecContext* context) {
    return context->ch_layout.nb_channels;
}

/// Tells a frame what the samples are that it will carry: an encoder's frame is copied from FFmpeg 5 on.
inline void DescribeSound(AVFrame* frame, const AVCodecContext* context) {
    frame->format = context->sample_fmt;
    frame->sample_rate = context->sample_rate;
    av_channel_layout_copy(&frame->ch_layout, &context->ch_layout);
}

/// Tuning that has moved from the context to the codec's own options. An option that a codec does not know is left in
/// the dictionary.
inline void SetSceneChangeThreshold(AVCodecContext* /*context*/, AVDictionary** options, int threshold) {
    av_dict_set_int(options, "sc_threshold", threshold, 0);
}

inline void WantVariableLengthCodes(AVCodecContext* /*context*/, AVDictionary** options) {
    av_dict_set(options, "coder", "cavlc", 0);
}

/// OpenH264's wrapper reads it from FFmpeg 5 on, and would take the rate for half of what it is.
inline void SetTicksPerFrame(AVCodecContext* /*context*/, int /*ticks*/) {}

/// Opens an encoder of sound. The AAC encoder's search for coefficients is the one of FFmpeg 4 in each generation.
inline int OpenSoundEncoder(AVCodecContext* context, const FfmpegCodec* codec) {
    AVDictionary* options = nullptr;
    if (context->codec_id == AV_CODEC_ID_AAC) {
        av_dict_set(&options, "aac_coder", "fast", 0);
    }
    const int result = avcodec_open2(context, codec, &options);
    av_dict_free(&options);
    return result;
}

/// Opens an input; `format` may be null. Packets of WAV are cut as FFmpeg 4 cuts them; other demuxers mean something
/// else by that option.
inline int OpenInput(AVFormatContext** context, const char* url, FfmpegInFormat* format) {
    const int result = avformat_open_input(context, url, format, nullptr);
    if (result >= 0 && std::strcmp((*context)->iformat->name, "wav") == 0) {
        av_opt_set_int((*context)->priv_data, "max_size", 4096, 0);
    }
    return result;
}

/// H.265: all pictures that wait at the end of a sequence come out with the packet that begins the next one, from
/// FFmpeg 7 on; before, one of them with each packet.
inline constexpr bool kSequencesEndAtOnce = LIBAVCODEC_VERSION_MAJOR >= 61;

/// Writes a container's header. MP4 gets no box of bit rates, which FFmpeg 4 does not know.
inline int WriteContainerHeader(AVFormatContext* context) {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "write_btrt", "0", 0);
    const int result = avformat_write_header(context, &options);
    av_dict_free(&options);
    return result;
}

// Calls that are gone, under their old names: "support/ffmpeg_former_calls.cpp" makes each of its successors.
struct AVBitStreamFilterContext;

extern "C" {
void avcodec_register_all();
void avfilter_register_all();
void av_register_all();

const AVCodec* av_codec_next(const AVCodec* codec);
const AVOutputFormat* av_oformat_next(const AVOutputFormat* format);
const AVInputFormat* av_iformat_next(const AVInputFormat* format);

/// `packet->data` is the caller's memory of `packet->size` bytes, or null.
int avcodec_encode_video2(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket);
int avcodec_encode_audio2(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket);

AVBitStreamFilterContext* av_bitstream_filter_init(const char* name);
int av_bitstream_filter_filter(AVBitStreamFilterContext* filter, StreamParameters* parameters, const char* args,
                               uint8_t** out, int* outSize, const uint8_t* in, int inSize, int keyFrame);
void av_bitstream_filter_close(AVBitStreamFilterContext* filter);

int avpicture_get_size(AVPixelFormat format, int width, int height);
void av_free_packet(AVPacket* packet);
int av_frame_get_channels(const AVFrame* frame);

#if LIBSWRESAMPLE_VERSION_MAJOR >= 5
SwrContext* swr_alloc_set_opts(SwrContext* context, int64_t outLayout, AVSampleFormat outFormat, int outRate,
                               int64_t inLayout, AVSampleFormat inFormat, int inRate, int logOffset, void* logContext);
#endif
}
