#include <cstring>
#include <memory>
#include <new>

#include "support/ffmpeg.h"

// Calls of FFmpeg 4 that later generations have dropped, for these generations alone. Each answers as it did.

namespace {

struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using OwnedPacket = std::unique_ptr<AVPacket, PacketDeleter>;

// The record behind `previous`, the first for null. Whoever walks a list asks for the next of what he was given last:
// that place is kept.
template <typename Record>
const Record* Next(const Record* previous, const Record* (*iterate)(void**)) {
    thread_local void* position = nullptr;
    thread_local const Record* last = nullptr;
    if (previous == nullptr || previous != last) {
        position = nullptr;
        last = nullptr;
        while (last != previous) {
            last = iterate(&position);
            if (last == nullptr) {
                return nullptr;
            }
        }
    }
    last = iterate(&position);
    return last;
}

// Encoders that know the size of a packet before they write it refuse room that is too small by another number, and
// all do so where there cannot be any.
int TooSmall(const AVCodecContext* context, int room) {
    const bool knowsSize = context->codec_id == AV_CODEC_ID_H264 || av_get_exact_bits_per_sample(context->codec_id) > 0;
    return knowsSize || room < 0 ? AVERROR(EINVAL) : -1;
}

// What did not reach the caller does not count. The AAC encoder puts its name into what it takes for the first packet.
void Uncount(AVCodecContext* context) {
#if LIBAVCODEC_VERSION_MAJOR < 61
    --context->frame_number;
#else
    --context->frame_num;
#endif
}

// Hands what was encoded over in the caller's memory, or, where there is none, as it is.
int HandOver(AVCodecContext* context, AVPacket* encoded, AVPacket* packet, int* gotPacket) {
    if (packet->size < 0 || (packet->data != nullptr && encoded->size > packet->size)) {
        Uncount(context);
        const int error = TooSmall(context, packet->size);
        *gotPacket = error == AVERROR(EINVAL) ? 0 : 1;
        return error;
    }
    *gotPacket = 1;
    if (packet->data == nullptr) {
        av_packet_move_ref(packet, encoded);
        return 0;
    }
    std::memcpy(packet->data, encoded->data, static_cast<std::size_t>(encoded->size));
    packet->size = encoded->size;
    packet->pts = encoded->pts;
    packet->dts = encoded->dts;
    packet->duration = encoded->duration;
    packet->flags = encoded->flags;
    return 0;
}

// FFmpeg's answer; one that has nothing to give, or nothing any more, answers 0 without a packet.
int EncodeOne(AVCodecContext* context, const AVFrame* frame, AVPacket* packet, int* gotPacket) {
    const OwnedPacket encoded(av_packet_alloc());
    if (encoded == nullptr) {
        return AVERROR(ENOMEM);
    }
    int result = avcodec_send_frame(context, frame);
    const bool isAskedAgain = frame == nullptr && result == AVERROR_EOF;
    if (result >= 0 || isAskedAgain) {
        result = avcodec_receive_packet(context, encoded.get());
    }
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
        return 0;
    }
    return result >= 0 ? HandOver(context, encoded.get(), packet, gotPacket) : result;
}

int Encode(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket) {
    *gotPacket = 0;
    const int result = EncodeOne(context, frame, packet, gotPacket);
    if (result < 0 || *gotPacket == 0) {
        av_packet_unref(packet);
    }
    return result;
}

}  // namespace

struct AVBitStreamFilterContext {
    const AVBitStreamFilter* filter;
    AVBSFContext* context;
};

namespace {

// Set up at the first packet, when the stream's parameters are known. It is done once, failed or not: a filter without
// its header lets packets through as they are.
int SetUp(AVBitStreamFilterContext* filter, const StreamParameters* parameters) {
    if (filter->context != nullptr) {
        return 0;
    }
    int result = av_bsf_alloc(filter->filter, &filter->context);
    if (result >= 0) {
        result = avcodec_parameters_copy(filter->context->par_in, parameters);
    }
    return result >= 0 ? av_bsf_init(filter->context) : result;
}

// The bytes in memory of their own, which the caller frees with av_free.
int KeepBytes(const AVPacket* packet, uint8_t** out, int* outSize) {
    const auto size = static_cast<std::size_t>(packet->size);
    *out = static_cast<uint8_t*>(av_malloc(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (*out == nullptr) {
        return AVERROR(ENOMEM);
    }
    std::memcpy(*out, packet->data, size);
    std::memset(*out + size, 0, AV_INPUT_BUFFER_PADDING_SIZE);
    *outSize = packet->size;
    return 1;
}

}  // namespace

extern "C" {

void avcodec_register_all() {}
void avfilter_register_all() {}
void av_register_all() {}

const AVCodec* av_codec_next(const AVCodec* codec) {
    return Next(codec, av_codec_iterate);
}

const AVOutputFormat* av_oformat_next(const AVOutputFormat* format) {
    return Next(format, av_muxer_iterate);
}

const AVInputFormat* av_iformat_next(const AVInputFormat* format) {
    return Next(format, av_demuxer_iterate);
}

int avcodec_encode_video2(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket) {
    return Encode(context, packet, frame, gotPacket);
}

int avcodec_encode_audio2(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket) {
    return Encode(context, packet, frame, gotPacket);
}

AVBitStreamFilterContext* av_bitstream_filter_init(const char* name) {
    const AVBitStreamFilter* filter = av_bsf_get_by_name(name);
    return filter != nullptr ? new (std::nothrow) AVBitStreamFilterContext{filter, nullptr} : nullptr;
}

int av_bitstream_filter_filter(AVBitStreamFilterContext* filter, StreamParameters* parameters, const char* /*args*/,
                               uint8_t** out, int* outSize, const uint8_t* in, int inSize, int /*keyFrame*/) {
    *out = nullptr;
    *outSize = 0;
    int result = SetUp(filter, parameters);
    if (result < 0) {
        return result;
    }
    const OwnedPacket packet(av_packet_alloc());
    if (packet == nullptr) {
        return AVERROR(ENOMEM);
    }
    packet->data = const_cast<uint8_t*>(in);
    packet->size = inSize;
    result = av_bsf_send_packet(filter->context, packet.get());
    if (result < 0) {
        return result;
    }
    result = av_bsf_receive_packet(filter->context, packet.get());
    if (result < 0) {
        return result == AVERROR(EAGAIN) || result == AVERROR_EOF ? 0 : result;
    }
    const int kept = KeepBytes(packet.get(), out, outSize);
    // One packet goes out for one that came in; what the filter holds beyond it is dropped.
    do {
        av_packet_unref(packet.get());
    } while (av_bsf_receive_packet(filter->context, packet.get()) >= 0);
    return kept;
}

void av_bitstream_filter_close(AVBitStreamFilterContext* filter) {
    if (filter != nullptr) {
        av_bsf_free(&filter->context);
        delete filter;
    }
}

int avpicture_get_size(AVPixelFormat format, int width, int height) {
    return av_image_get_buffer_size(format, width, height, 1);
}

void av_free_packet(AVPacket* packet) {
    av_packet_unref(packet);
}

int av_frame_get_channels(const AVFrame* frame) {
    return frame->ch_layout.nb_channels;
}

#if LIBSWRESAMPLE_VERSION_MAJOR >= 5
SwrContext* swr_alloc_set_opts(SwrContext* context, int64_t outLayout, AVSampleFormat outFormat, int outRate,
                               int64_t inLayout, AVSampleFormat inFormat, int inRate, int logOffset, void* logContext) {
    AVChannelLayout out{};
    AVChannelLayout in{};
    if (av_channel_layout_from_mask(&out, static_cast<uint64_t>(outLayout)) < 0 ||
        av_channel_layout_from_mask(&in, static_cast<uint64_t>(inLayout)) < 0) {
        // A layout of 0 is refused when the resampler is opened, which an empty one is as well.
        return context != nullptr ? context : swr_alloc();
    }
    swr_alloc_set_opts2(&context, &out, outFormat, outRate, &in, inFormat, inRate, logOffset, logContext);
    return context;
}
#endif

}  // extern "C"
