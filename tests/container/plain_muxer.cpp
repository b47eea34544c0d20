#include "container/plain_muxer.h"

#include <stdexcept>

namespace {

constexpr int kBufferBytes = 65536;

void Check(int result, const char* call) {
    if (result < 0) {
        throw std::runtime_error(std::string(call) + " failed: " + std::to_string(result));
    }
}

}  // namespace

PlainMuxer::PlainMuxer(const char* formatName, const MUXER_PARAM& param) {
    Check(avformat_alloc_output_context2(&m_pContext, nullptr, formatName, nullptr), "avformat_alloc_output_context2");
    m_pContext->duration = int64_t{param.durationSec} * AV_TIME_BASE;
    m_pContext->pb = avio_alloc_context(
        static_cast<unsigned char*>(av_malloc(kBufferBytes)), kBufferBytes, 1, this, nullptr,
        [](void* self, auto* bytes, int size) { return Append(self, bytes, size); }, nullptr);
    if (param.videoCodec != 0) {
        m_pVideo = NewStream(param.videoCodec, AVMEDIA_TYPE_VIDEO);
        m_pVideo->time_base = AVRational{1, 25};
        m_pVideo->duration = int64_t{param.durationSec} * AV_TIME_BASE;
        StreamParameters* codec = ParametersOf(m_pVideo);
        codec->width = param.width;
        codec->height = param.height;
        SetPixelFormat(codec, AV_PIX_FMT_YUV420P);
        codec->bit_rate = 0x100000;
        SetEncoderHints(codec, codec->bit_rate, 50, AVRational{1, 25});
    }
    if (param.audioCodec != 0) {
        m_pAudio = NewStream(param.audioCodec, AVMEDIA_TYPE_AUDIO);
        m_pAudio->id = 1;
        StreamParameters* codec = ParametersOf(m_pAudio);
        SetSampleFormat(codec, AV_SAMPLE_FMT_S16);
        codec->bit_rate = param.audioBitRate;
        codec->sample_rate = param.sampleRate;
        SetChannels(codec, param.channels);
        codec->frame_size = param.audioCodec == AV_CODEC_ID_MP3 ? 1152 : 0;
    }
    Check(WriteContainerHeader(m_pContext), "avformat_write_header");
}

PlainMuxer::~PlainMuxer() {
    av_freep(&m_pContext->pb->buffer);
    avio_context_free(&m_pContext->pb);
    avformat_free_context(m_pContext);
}

void PlainMuxer::Picture(const std::vector<unsigned char>& bytes, bool key, long long milliseconds) {
    Write(m_pVideo, m_nPreviousPicture, bytes, key, milliseconds);
}

void PlainMuxer::Sound(const std::vector<unsigned char>& bytes, long long milliseconds) {
    Write(m_pAudio, m_nPreviousSound, bytes, true, milliseconds);
}

const std::vector<unsigned char>& PlainMuxer::Finish() {
    Check(av_write_trailer(m_pContext), "av_write_trailer");
    return m_Written;
}

AVStream* PlainMuxer::NewStream(int codecId, AVMediaType type) {
    AVStream* stream = avformat_new_stream(m_pContext, nullptr);
    ParametersOf(stream)->codec_id = static_cast<AVCodecID>(codecId);
    ParametersOf(stream)->codec_type = type;
    return stream;
}

void PlainMuxer::Write(AVStream* stream, long long& previous, const std::vector<unsigned char>& bytes, bool key,
                       long long milliseconds) {
    const long long ticks = av_rescale_q(milliseconds, AVRational{1, 1000}, stream->time_base);
    previous = ticks > previous ? ticks : previous + 1;
    AVPacket packet;
    av_init_packet(&packet);
    packet.stream_index = stream->index;
    packet.data = const_cast<unsigned char*>(bytes.data());
    packet.size = static_cast<int>(bytes.size());
    packet.flags = key ? AV_PKT_FLAG_KEY : 0;
    packet.pts = previous;
    Check(av_interleaved_write_frame(m_pContext, &packet), "av_interleaved_write_frame");
}

int PlainMuxer::Append(void* opaque, const uint8_t* bytes, int size) {
    std::vector<unsigned char>& written = static_cast<PlainMuxer*>(opaque)->m_Written;
    written.insert(written.end(), bytes, bytes + size);
    return size;
}
