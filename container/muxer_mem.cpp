#include "container/muxer_mem.h"

#include "container/muxing.h"
#include "front/registry/ffmpeg_registry.h"
#include "front/registry/format_names.h"
#include "support/log_front.h"

namespace {

constexpr muxing::VideoTuning kVideoTuning{0x100000, 50};

int64_t RefuseToSeek(void* /*opaque*/, int64_t /*offset*/, int /*whence*/) {
    return AVERROR(ESPIPE);
}

// A trailer seeks to offsets of the whole container, which mean nothing inside the piece that is being written: it
// would overwrite its own bytes. `seekable` alone does not stop it, nor does the I/O layer seek outside its own window
// unless it writes directly. Headers and packets seek within their piece and need that: FLV goes back to complete the
// codec header that comes with the first AAC packet.
void MakeUnseekable(AVIOContext* io) {
    avio_flush(io);
    io->direct = 1;
    io->seek = RefuseToSeek;
}

// The packets that are held back leave while the buffer can seek. What libavformat says of them is the trailer's result
// too, as it is where the trailer lets them out.
int DrainAndWriteTrailer(AVFormatContext* context) {
    const int drained = av_interleaved_write_frame(context, nullptr);
    MakeUnseekable(context->pb);
    const int written = av_write_trailer(context);
    return drained != 0 ? drained : written;
}

void CloseAndDrop(AVIOContext** io) {
    uint8_t* bytes = nullptr;
    avio_close_dyn_buf(*io, &bytes);
    av_free(bytes);
    *io = nullptr;
}

}  // namespace

CMuxerMemBase::~CMuxerMemBase() = default;

CMuxerMem::~CMuxerMem() = default;

void CMuxerMem::Delete() {
    FFMPEG_LOG(Trace) << "CMuxerMem: Delete";
    Destroy();
    delete this;
}

void CMuxerMem::Destroy() {
    muxing::AbandonContext(m_pFormatContext);
    m_pFormatContext = nullptr;
    m_pVideoStream = nullptr;
    m_pAudioStream = nullptr;
    m_bFirstPacketPending = 1;
    m_bHeaderWritten = false;
}

int CMuxerMem::Create(const char* formatName, MUXER_PARAM* param) {
    if (param == nullptr || formatName == nullptr) {
        FFMPEG_LOG(Warning) << "CMuxerMem::Create: wrong param!";
        return 0;
    }
    FfmpegOutFormat* format = GetMainFfmpegCodecLib()->FindOutFormat(formatName);
    if (format == nullptr) {
        FFMPEG_LOG(Critical) << "CMuxerMem::Create: FindOutFormat(" << formatName << ") failed!";
        return 0;
    }
    FFMPEG_LOG(Trace) << "CMuxerMem::Create: format " << LongNameOf(format);
    m_Param = *param;
    muxing::SetFormatCodecs(format, m_Param);
    if (!MakeContext(format) || !AddStreams()) {
        return Refuse();
    }
    m_bFirstPacketPending = 1;
    SetAudioCutting();
    FFMPEG_LOG(Trace) << "CMuxerMem::Create: success!";
    return 1;
}

int CMuxerMem::Refuse() {
    Destroy();
    return 0;
}

bool CMuxerMem::MakeContext(FfmpegOutFormat* format) {
    m_bHeaderWritten = false;
    m_pFormatContext = nullptr;
    if (avformat_alloc_output_context2(&m_pFormatContext, format, nullptr, nullptr) < 0) {
        FFMPEG_LOG(Critical) << "CMuxerMem::Create: avformat_alloc_output_context2 failed!";
        return false;
    }
    if (m_pFormatContext == nullptr) {
        FFMPEG_LOG(Critical) << "CMuxerMem::Create: context failed!";
        return false;
    }
    m_pVideoStream = nullptr;
    m_pAudioStream = nullptr;
    m_pFormatContext->duration = int64_t{m_Param.durationSec} * AV_TIME_BASE;
    return true;
}

bool CMuxerMem::AddStreams() {
    if (m_Param.videoCodec != AV_CODEC_ID_NONE) {
        m_pVideoStream = AddVideoStream(m_pFormatContext);
        if (m_pVideoStream == nullptr) {
            FFMPEG_LOG(Critical) << "CMuxerMem::Create: av_new_stream";
            return false;
        }
    }
    if (m_Param.audioCodec != AV_CODEC_ID_NONE) {
        m_pAudioStream = AddAudioStream(m_pFormatContext);
        if (m_pAudioStream == nullptr) {
            FFMPEG_LOG(Critical) << "CMuxerMem::Create: AddAudioStream failed";
            return false;
        }
        FFMPEG_LOG(Trace) << "CMuxerMem::Create: add audio stream!";
    }
    return true;
}

AVStream* CMuxerMem::AddVideoStream(AVFormatContext* context) {
    AVStream* stream = muxing::NewVideoStream(context, m_Param, kVideoTuning);
    if (stream == nullptr) {
        FFMPEG_LOG(Critical) << "CMuxerMem::AddVideoStream: Could not alloc stream";
    }
    return stream;
}

AVStream* CMuxerMem::AddAudioStream(AVFormatContext* context) {
    AVStream* stream = muxing::NewAudioStream(context, m_Param);
    if (stream == nullptr) {
        FFMPEG_LOG(Critical) << "CMuxerMem::AddAudioStream: Could not alloc stream";
    }
    return stream;
}

// The two rates stand the other way round than in the file muxer, and hosts that write into memory count on it.
void CMuxerMem::SetAudioCutting() {
    m_nAudioFrameMs = 0;
    m_nAudioFrameBytes = 1;
    if (m_Param.audioCodec == AV_CODEC_ID_MP3) {
        const auto product = static_cast<int>(static_cast<unsigned int>(m_Param.sampleRate) * 144U);
        m_nAudioFrameMs = muxing::Quotient(1152000, m_Param.sampleRate);
        m_nAudioFrameBytes = muxing::Quotient(product, m_Param.audioBitRate);
    }
}

int CMuxerMem::BeginWriteBuf() {
    if (m_pFormatContext != nullptr && m_pFormatContext->pb != nullptr) {
        CloseAndDrop(&m_pFormatContext->pb);
    }
    if (m_pFormatContext == nullptr || avio_open_dyn_buf(&m_pFormatContext->pb) != 0) {
        FFMPEG_LOG(Critical) << "CMuxerMem::BeginWriteBuf: failed!";
        return 0;
    }
    m_pFormatContext->pb->seekable = 0;
    return 1;
}

int CMuxerMem::GetWriteBuf(unsigned char*& buffer) {
    buffer = nullptr;
    if (m_pFormatContext == nullptr || m_pFormatContext->pb == nullptr) {
        return 0;
    }
    const int count = avio_close_dyn_buf(m_pFormatContext->pb, &buffer);
    m_pFormatContext->pb = nullptr;
    if (count == 0) {
        // The bytes' room comes all the same, and the caller would see nothing to free.
        av_freep(&buffer);
    }
    return count;
}

void CMuxerMem::FreeWriteBuf(unsigned char* buffer) {
    av_free(buffer);
}

int CMuxerMem::WriteHeader() {
    m_bFirstPacketPending = 1;
    m_bHeaderWritten = false;
    int result = AVERROR(EINVAL);
    if (m_pVideoStream != nullptr && m_pFormatContext->pb != nullptr) {
        av_dump_format(m_pFormatContext, m_pVideoStream->index, nullptr, 1);
        result = WriteContainerHeader(m_pFormatContext);
        m_bHeaderWritten = result >= 0;
    }
    if (result != 0) {
        FFMPEG_LOG(Critical) << "CMuxerMem::WriteHeader: failed";
        return 0;
    }
    return 1;
}

int CMuxerMem::WriteTrailer() {
    int result = AVERROR(EINVAL);
    if (CanWrite()) {
        result = DrainAndWriteTrailer(m_pFormatContext);
        m_bHeaderWritten = false;
    }
    if (result != 0) {
        FFMPEG_LOG(Critical) << "CMuxerMem::WriteTrailer: failed";
        return 0;
    }
    return 1;
}

bool CMuxerMem::CanWrite() const {
    return m_bHeaderWritten && m_pFormatContext->pb != nullptr;
}

void CMuxerMem::LatchOrigin(long long pts) {
    if (m_bFirstPacketPending != 0) {
        m_nBasePts = pts;
        m_bFirstPacketPending = 0;
        m_nPrevVideoPts = 0;
        m_nPrevAudioPts = 0;
        m_nPtsShift = 0;
    }
}

int CMuxerMem::WriteFrame(unsigned char* data, int size, int keyFrame, long long pts) {
    LatchOrigin(pts);
    if (size <= 0) {
        FFMPEG_LOG(Critical) << "CMuxerMem::WriteFrame: no buffer";
        return 0;
    }
    const int64_t streamPts =
        muxing::NextPts(muxing::SinceOrigin(pts, m_nBasePts, m_nPtsShift), m_pVideoStream, m_nPrevVideoPts);
    const int result =
        CanWrite() && m_pVideoStream != nullptr
            ? muxing::WriteInterleaved(m_pFormatContext, m_pVideoStream, {data, size, keyFrame != 0, streamPts})
            : AVERROR(EINVAL);
    if (result != 0) {
        FFMPEG_LOG(Critical) << "CMuxerMem::WriteFrame: write_frame error: pts = " << streamPts
                             << ", prevPts = " << m_nPrevVideoPts;
        return 0;
    }
    m_nPrevVideoPts = streamPts;
    return 1;
}

int CMuxerMem::WriteSound(unsigned char* data, int size, long long pts) {
    if (m_pAudioStream == nullptr) {
        FFMPEG_LOG(Critical) << "CMuxerMem::WriteSound: audio stream not added";
        return 0;
    }
    LatchOrigin(pts);
    if (size <= 0) {
        FFMPEG_LOG(Critical) << "CMuxerMem::WriteSound: no buffer";
        return 0;
    }
    if (m_Param.audioCodec != AV_CODEC_ID_MP3) {
        m_nAudioFrameBytes = size;
    }
    const int frames = muxing::Quotient(size, m_nAudioFrameBytes);
    const int64_t start = muxing::SinceOrigin(pts, m_nBasePts, m_nPtsShift);
    for (int frame = 0; frame < frames; ++frame) {
        const int64_t offset = int64_t{frame} * m_nAudioFrameMs;
        if (!WriteSoundFrame(data + int64_t{frame} * m_nAudioFrameBytes, muxing::SinceOrigin(start, 0, offset))) {
            return 0;
        }
    }
    return 1;
}

bool CMuxerMem::WriteSoundFrame(unsigned char* data, int64_t milliseconds) {
    const int64_t pts = muxing::NextPts(milliseconds, m_pAudioStream, m_nPrevAudioPts);
    const int result =
        CanWrite() ? muxing::WriteInterleaved(m_pFormatContext, m_pAudioStream, {data, m_nAudioFrameBytes, true, pts})
                   : AVERROR(EINVAL);
    if (result != 0) {
        // The other class's name stands in this line, and hosts know it so.
        FFMPEG_LOG(Critical) << "CMuxerFile::WriteSound: write_frame error: pts = " << pts
                             << ", prevPts = " << m_nPrevAudioPts;
        return false;
    }
    m_nPrevAudioPts = pts;
    return true;
}
