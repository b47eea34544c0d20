#include "container/muxing.h"

#include <limits>
#include <mutex>

namespace muxing {

namespace {

constexpr AVRational kFrameTime{1, 25};

void WantGlobalHeader(AVFormatContext* context) {
    if ((context->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        // The codec's flag on the container's context: hosts know the streams that come of it.
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
}

int64_t Wrapped(uint64_t value) {
    return static_cast<int64_t>(value);
}

}  // namespace

void SetFormatCodecs(FfmpegOutFormat* format, const MUXER_PARAM& param) {
    static std::mutex mutex;  // muxers of one format may be made on several threads
    const std::lock_guard<std::mutex> lock(mutex);
    SetDefaultCodecs(format, static_cast<AVCodecID>(param.videoCodec), static_cast<AVCodecID>(param.audioCodec));
}

AVStream* NewVideoStream(AVFormatContext* context, const MUXER_PARAM& param, const VideoTuning& tuning) {
    AVStream* stream = avformat_new_stream(context, nullptr);
    if (stream == nullptr) {
        return nullptr;
    }
    stream->time_base = kFrameTime;
    stream->duration = int64_t{param.durationSec} * AV_TIME_BASE;
    StreamParameters* codec = ParametersOf(stream);
    codec->codec_id = static_cast<AVCodecID>(param.videoCodec);
    codec->codec_type = AVMEDIA_TYPE_VIDEO;
    codec->bit_rate = tuning.bitRate;
    codec->width = param.width;
    codec->height = param.height;
    SetPixelFormat(codec, AV_PIX_FMT_YUV420P);
    SetEncoderHints(codec, tuning.bitRate, tuning.gopSize, kFrameTime);
    WantGlobalHeader(context);
    return stream;
}

AVStream* NewAudioStream(AVFormatContext* context, const MUXER_PARAM& param) {
    AVStream* stream = avformat_new_stream(context, nullptr);
    if (stream == nullptr) {
        return nullptr;
    }
    stream->id = 1;
    StreamParameters* codec = ParametersOf(stream);
    codec->codec_id = static_cast<AVCodecID>(param.audioCodec);
    codec->codec_type = AVMEDIA_TYPE_AUDIO;
    SetSampleFormat(codec, AV_SAMPLE_FMT_S16);
    codec->bit_rate = param.audioBitRate;
    codec->sample_rate = param.sampleRate;
    SetChannels(codec, param.channels);
    if (codec->codec_id == AV_CODEC_ID_MP3) {
        codec->frame_size = 1152;
    }
    WantGlobalHeader(context);
    return stream;
}

void AbandonContext(AVFormatContext* context) {
    if (context == nullptr) {
        return;
    }
    for (unsigned int i = 0; i < context->nb_streams; ++i) {
        av_freep(&context->streams[i]);
    }
    av_free(context);
}

int Quotient(int dividend, int divisor) {
    const bool exists = divisor != 0 && !(dividend == std::numeric_limits<int>::min() && divisor == -1);
    return exists ? dividend / divisor : 0;
}

int64_t NextPts(int64_t milliseconds, const AVStream* stream, int64_t previous) {
    const int64_t pts = stream != nullptr ? av_rescale_q(milliseconds, kHostTimeBase, stream->time_base) : milliseconds;
    return pts > previous ? pts : Wrapped(static_cast<uint64_t>(previous) + 1);
}

int64_t SinceOrigin(int64_t pts, int64_t origin, int64_t shift) {
    return Wrapped(static_cast<uint64_t>(pts) - static_cast<uint64_t>(origin) + static_cast<uint64_t>(shift));
}

int WriteInterleaved(AVFormatContext* context, const AVStream* stream, const Packet& packet) {
    AVPacket written;
    av_init_packet(&written);
    written.flags = packet.key ? AV_PKT_FLAG_KEY : 0;
    written.stream_index = stream->index;
    written.data = packet.data;
    written.size = packet.size;
    written.pts = packet.pts;
    written.dts = AV_NOPTS_VALUE;
    SetPictureDuration(&written, stream, kFrameTime);
    const int result = av_interleaved_write_frame(context, &written);
    if (result == 0) {
        av_free_packet(&written);
    }
    return result;
}

}  // namespace muxing
