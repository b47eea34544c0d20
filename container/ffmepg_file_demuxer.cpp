#include "container/ffmepg_file_demuxer.h"

#include <cstdint>
#include <new>
#include <string>

#include "container/stream_query.h"
#include "support/log_front.h"

struct FfmepgFileDemuxer::Private {
    std::string m_FileName;
    AVFormatContext* m_pFormatContext = nullptr;
    AVBitStreamFilterContext* m_pBitstreamFilter = nullptr;
    int m_nVideoStream = -1;
};

namespace {

// The index of the first H.264 stream, or -1.
int FindH264Stream(const AVFormatContext* context) {
    for (int index = 0; index < StreamCount(context); ++index) {
        const StreamParameters* codec = StreamCodec(context, index);
        if (codec->codec_type == AVMEDIA_TYPE_VIDEO && codec->codec_id == AV_CODEC_ID_H264) {
            return index;
        }
    }
    return -1;
}

// Plain double arithmetic: hosts compare times to the millisecond, and FFmpeg's own rescaling rounds otherwise.
std::int64_t ToMilliseconds(std::int64_t value, AVRational timeBase) {
    constexpr double kLimit = 9223372036854775808.0;
    const auto thousandfold = static_cast<std::int64_t>(static_cast<std::uint64_t>(value) * 1000);
    const double milliseconds =
        static_cast<double>(timeBase.num) / static_cast<double>(timeBase.den) * static_cast<double>(thousandfold);
    const bool fits = milliseconds >= -kLimit && milliseconds < kLimit;
    return fits ? static_cast<std::int64_t>(milliseconds) : AV_NOPTS_VALUE;
}

void ConvertTime(std::int64_t* value, AVRational timeBase) {
    const bool isInMilliseconds = timeBase.num == 1 && timeBase.den == 1000;
    if (*value != AV_NOPTS_VALUE && !isInMilliseconds) {
        *value = ToMilliseconds(*value, timeBase);
    }
}

}  // namespace

FfmepgFileDemuxer::FfmepgFileDemuxer() : m_pPrivate(std::make_unique<Private>()) {}

FfmepgFileDemuxer::~FfmepgFileDemuxer() {
    Close();
}

bool FfmepgFileDemuxer::Open(const char* path) {
    Close();
    try {
        return OpenStreams(path);
    } catch (const std::bad_alloc&) {
        Close();  // packets that are to be filtered may have no filter yet
        throw;
    }
}

bool FfmepgFileDemuxer::OpenStreams(const char* path) {
    m_pPrivate->m_FileName = TextOrNothing(path);
    if (OpenInput(&m_pPrivate->m_pFormatContext, m_pPrivate->m_FileName.c_str(), nullptr) < 0) {
        FFMPEG_LOG(Error) << "FfmepgFileDemuxer avformat_open_input error";
        return false;
    }
    if (avformat_find_stream_info(m_pPrivate->m_pFormatContext, nullptr) < 0) {
        Close();
        FFMPEG_LOG(Error) << "FfmepgFileDemuxer avformat_find_stream_info error";
        return false;
    }
    m_pPrivate->m_nVideoStream = FindH264Stream(m_pPrivate->m_pFormatContext);
    return m_pPrivate->m_nVideoStream < 0 || CreateFilter();
}

bool FfmepgFileDemuxer::CreateFilter() {
    FFMPEG_LOG(Trace) << "FfmepgFileDemuxer cretate filter";
    m_pPrivate->m_pBitstreamFilter = av_bitstream_filter_init("h264_mp4toannexb");
    if (m_pPrivate->m_pBitstreamFilter == nullptr) {
        Close();
        FFMPEG_LOG(Error) << "FfmepgFileDemuxer cretate filter error";
        return false;
    }
    return true;
}

bool FfmepgFileDemuxer::IsOpen() {
    return m_pPrivate->m_pFormatContext != nullptr;
}

void FfmepgFileDemuxer::Close() {
    m_pPrivate->m_nVideoStream = -1;
    av_bitstream_filter_close(m_pPrivate->m_pBitstreamFilter);
    m_pPrivate->m_pBitstreamFilter = nullptr;
    avformat_close_input(&m_pPrivate->m_pFormatContext);
}

bool FfmepgFileDemuxer::ReadNextFrame(FfmpegAvPacket* packet) {
    packet->Release();
    AVPacket* avPacket = packet->GetAvPacket();
    if (!IsOpen() || av_read_frame(m_pPrivate->m_pFormatContext, avPacket) < 0) {
        return false;
    }
    packet->SetValid(true);
    if (avPacket->stream_index == m_pPrivate->m_nVideoStream && !FilterPacket(packet)) {
        return false;
    }
    const AVRational timeBase = m_pPrivate->m_pFormatContext->streams[avPacket->stream_index]->time_base;
    ConvertTime(&avPacket->dts, timeBase);
    ConvertTime(&avPacket->pts, timeBase);
    return true;
}

// Puts the filtered packet in the place of the one read; of that, only what a host is told is carried over.
bool FfmepgFileDemuxer::FilterPacket(FfmpegAvPacket* packet) {
    const AVPacket* read = packet->GetAvPacket();
    AVPacket filtered{};
    av_init_packet(&filtered);
    const int result = av_bitstream_filter_filter(
        m_pPrivate->m_pBitstreamFilter, StreamCodec(m_pPrivate->m_pFormatContext, m_pPrivate->m_nVideoStream), nullptr,
        &filtered.data, &filtered.size, read->data, read->size, read->flags & AV_PKT_FLAG_KEY);
    if (result < 0) {
        if (filtered.data != nullptr && filtered.data != read->data) {
            av_free(filtered.data);  // the filter may fail after it has made the packet
        }
        FFMPEG_LOG(Error) << "FfmepgFileDemuxer filter filter error";
        return false;
    }
    if (result > 0) {
        filtered.pts = read->pts;
        filtered.dts = read->dts;
        filtered.flags = read->flags;
        filtered.stream_index = read->stream_index;
        packet->SetPacket(&filtered, true);
    }
    return true;
}

int FfmepgFileDemuxer::GetStreamCount() {
    return StreamCount(m_pPrivate->m_pFormatContext);
}

int FfmepgFileDemuxer::GetStreamType(int index) {
    return StreamType(m_pPrivate->m_pFormatContext, index);
}

bool FfmepgFileDemuxer::GetVideoStreamInfo(int index, int* codecId) {
    return VideoStreamInfo(m_pPrivate->m_pFormatContext, index, codecId);
}

bool FfmepgFileDemuxer::GetAudioStreamInfo(int index, int* codecId, AUDIO_FORMAT* format) {
    return AudioStreamInfo(m_pPrivate->m_pFormatContext, index, codecId, format);
}
