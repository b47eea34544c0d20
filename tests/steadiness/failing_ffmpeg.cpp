#include "steadiness/failing_ffmpeg.h"

#include <opus/opus.h>

#include <atomic>
#include <cstring>

#include "steadiness/failing_call.h"

namespace failing_ffmpeg {

namespace {

std::atomic<const char*> g_Call{nullptr};
std::atomic<long> g_Left{0};
std::atomic<bool> g_Failed{false};

std::vector<std::string>& Calls() {
    static std::vector<std::string> calls;
    return calls;
}

}  // namespace

bool Fails(const char* call) {
    const char* const armed = g_Call;
    if (armed == nullptr || std::strcmp(armed, call) != 0 || --g_Left != 0) {
        return false;
    }
    g_Failed = true;
    return true;
}

bool Enter(const char* call) {
    Calls().emplace_back(call);
    return true;
}

const std::vector<std::string>& AllCalls() {
    return Calls();
}

void Arm(const std::string& call, long nth) {
    static std::string armed;
    armed = call;
    g_Failed = false;
    g_Left = nth;
    g_Call = armed.c_str();
}

bool Disarm() {
    g_Call = nullptr;
    return g_Failed;
}

}  // namespace failing_ffmpeg

namespace {

/// What a failed opening does to the context: it is gone.
int DropContext(AVFormatContext** context) {
    avformat_free_context(*context);
    *context = nullptr;
    return kError;
}

}  // namespace

FAILING(AVFrame*, av_frame_alloc, nullptr, (), ())
FAILING(AVPacket*, av_packet_alloc, nullptr, (), ())
FAILING(void*, av_malloc, nullptr, (std::size_t size), (size))
FAILING(int, av_dict_set, kError, (AVDictionary * *dictionary, const char* key, const char* value, int flags),
        (dictionary, key, value, flags))

FAILING(int, av_image_copy_to_buffer, kError,
        (uint8_t * to, int size, const uint8_t* const planes[4], const int linesizes[4], AVPixelFormat format,
         int width, int height, int align),
        (to, size, planes, linesizes, format, width, height, align))
FAILING(int, av_image_fill_arrays, kError,
        (uint8_t * planes[4], int linesizes[4], const uint8_t* from, AVPixelFormat format, int width, int height,
         int align),
        (planes, linesizes, from, format, width, height, align))
FAILING(int, av_image_fill_linesizes, kError, (int linesizes[4], AVPixelFormat format, int width),
        (linesizes, format, width))
FAILING(int, av_image_fill_pointers, kError,
        (uint8_t * planes[4], AVPixelFormat format, int height, uint8_t* bytes, const int linesizes[4]),
        (planes, format, height, bytes, linesizes))
FAILING(int, av_image_get_buffer_size, kError, (AVPixelFormat format, int width, int height, int align),
        (format, width, height, align))
FAILING(int, avpicture_get_size, kError, (AVPixelFormat format, int width, int height), (format, width, height))
FAILING(int, av_samples_get_buffer_size, kError,
        (int* linesize, int channels, int samples, AVSampleFormat format, int align),
        (linesize, channels, samples, format, align))
FAILING(AVSampleFormat, av_get_packed_sample_fmt, AV_SAMPLE_FMT_NONE, (AVSampleFormat format), (format))

FAILING(FfmpegCodec*, avcodec_find_decoder_by_name, nullptr, (const char* name), (name))
FAILING(FfmpegCodec*, avcodec_find_encoder_by_name, nullptr, (const char* name), (name))
FAILING(FfmpegOutFormat*, av_oformat_next, nullptr, (const AVOutputFormat* format), (format))
FAILING(FfmpegInFormat*, av_iformat_next, nullptr, (const AVInputFormat* format), (format))

FAILING(AVCodecContext*, avcodec_alloc_context3, nullptr, (const AVCodec* codec), (codec))
FAILING(int, avcodec_open2, kError, (AVCodecContext * context, const AVCodec* codec, AVDictionary** options),
        (context, codec, options))
FAILING(int, avcodec_send_packet, kError, (AVCodecContext * context, const AVPacket* packet), (context, packet))
FAILING(int, avcodec_receive_frame, kError, (AVCodecContext * context, AVFrame* frame), (context, frame))
FAILING(int, avcodec_encode_video2, kError,
        (AVCodecContext * context, AVPacket* packet, const AVFrame* frame, int* gotPacket),
        (context, packet, frame, gotPacket))
FAILING(int, avcodec_encode_audio2, kError,
        (AVCodecContext * context, AVPacket* packet, const AVFrame* frame, int* gotPacket),
        (context, packet, frame, gotPacket))
FAILING(int, avcodec_fill_audio_frame, kError,
        (AVFrame * frame, int channels, AVSampleFormat format, const uint8_t* samples, int size, int align),
        (frame, channels, format, samples, size, align))

FAILING(AVFormatContext*, avformat_alloc_context, nullptr, (), ())
FAILING(int, avformat_open_input, DropContext(context),
        (AVFormatContext * *context, const char* path, FfmpegInFormat* format, AVDictionary** options),
        (context, path, format, options))
FAILING(int, avformat_find_stream_info, kError, (AVFormatContext * context, AVDictionary** options), (context, options))
FAILING(int, av_read_frame, kError, (AVFormatContext * context, AVPacket* packet), (context, packet))
FAILING(AVBitStreamFilterContext*, av_bitstream_filter_init, nullptr, (const char* name), (name))
FAILING(int, av_bitstream_filter_filter, kError,
        (AVBitStreamFilterContext * filter, StreamParameters* codec, const char* arguments, uint8_t** out, int* outSize,
         const uint8_t* in, int inSize, int key),
        (filter, codec, arguments, out, outSize, in, inSize, key))
FAILING(int, avformat_alloc_output_context2, kError,
        (AVFormatContext * *context, AVOutputFormat* format, const char* name, const char* file),
        (context, format, name, file))
FAILING(AVStream*, avformat_new_stream, nullptr, (AVFormatContext * context, const AVCodec* codec), (context, codec))
FAILING(int, avformat_write_header, kError, (AVFormatContext * context, AVDictionary** options), (context, options))
FAILING(int, av_interleaved_write_frame, kError, (AVFormatContext * context, AVPacket* packet), (context, packet))
FAILING(int, av_write_trailer, kError, (AVFormatContext * context), (context))

FAILING(AVIOContext*, avio_alloc_context, nullptr,
        (unsigned char* buffer, int size, int write, void* opaque, int (*readProc)(void*, uint8_t*, int),
         int (*writeProc)(void*, uint8_t*, int), int64_t (*seek)(void*, int64_t, int)),
        (buffer, size, write, opaque, readProc, writeProc, seek))
FAILING(int, avio_open, kError, (AVIOContext * *io, const char* path, int flags), (io, path, flags))
FAILING(int, avio_open_dyn_buf, kError, (AVIOContext * *io), (io))
FAILING(int64_t, avio_size, kError, (AVIOContext * io), (io))

FAILING(SwsContext*, sws_getContext, nullptr,
        (int fromWidth, int fromHeight, AVPixelFormat from, int toWidth, int toHeight, AVPixelFormat to, int flags,
         SwsFilter* fromFilter, SwsFilter* toFilter, const double* parameters),
        (fromWidth, fromHeight, from, toWidth, toHeight, to, flags, fromFilter, toFilter, parameters))
FAILING(int, sws_scale, kError,
        (SwsContext * scaler, const uint8_t* const from[], const int fromLinesizes[], int y, int height,
         uint8_t* const to[], const int toLinesizes[]),
        (scaler, from, fromLinesizes, y, height, to, toLinesizes))
FAILING(SwrContext*, swr_alloc_set_opts, nullptr,
        (SwrContext * resampler, int64_t outLayout, AVSampleFormat out, int outRate, int64_t inLayout,
         AVSampleFormat in, int inRate, int logOffset, void* logContext),
        (resampler, outLayout, out, outRate, inLayout, in, inRate, logOffset, logContext))
FAILING(int, swr_init, kError, (SwrContext * resampler), (resampler))
FAILING(int, swr_convert, kError,
        (SwrContext * resampler, uint8_t** out, int outCount, const uint8_t** in, int inCount),
        (resampler, out, outCount, in, inCount))

FAILING(int, opus_decoder_get_size, 0, (int channels), (channels))
FAILING(int, opus_decoder_init, OPUS_INTERNAL_ERROR, (OpusDecoder * decoder, opus_int32 rate, int channels),
        (decoder, rate, channels))
FAILING(int, opus_decode, OPUS_INVALID_PACKET,
        (OpusDecoder * decoder, const unsigned char* in, opus_int32 size, opus_int16* out, int room, int fec),
        (decoder, in, size, out, room, fec))
