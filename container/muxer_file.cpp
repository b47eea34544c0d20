#include "container/muxer_file.h"

#include "container/muxing.h"
#include "front/registry/ffmpeg_registry.h"
#include "front/registry/format_names.h"
#include "support/log_front.h"

namespace {

constexpr muxing::VideoTuning kVideoTuning{0, 250};
constexpr long long kNoFileSize = 0xFFFFFFFF;
constexpr unsigned int kCallsPerFlush = 26;

int64_t Microseconds(int seconds) {
    return int64_t{seconds} * AV_TIME_BASE;
}

}  // namespace

CMuxerFileBase::~CMuxerFileBase() = default;

CMuxerFile::~CMuxerFile() = default;

void CMuxerFile::Delete() {
    FFMPEG_LOG(Trace) << "CMuxerFile: Delete";
    Destroy();
    delete this;
}

void CMuxerFile::Destroy() {
    muxing::AbandonContext(m_pFormatContext);
    m_pFormatContext = nullptr;
    m_pVideoStream = nullptr;
    m_pAudioStream = nullptr;
    m_bFirstPacketPending = 1;
    m_nFlushCounter = 0;
    m_bHeaderWritten = false;
}

int CMuxerFile::Create(const char* fileName, const char* formatName, MUXER_PARAM* param) {
    if (param == nullptr || formatName == nullptr) {
        FFMPEG_LOG(Warning) << "CMuxerFile::Create: wrong param!";
        return 0;
    }
    m_FileName = TextOrNothing(fileName);
    FfmpegOutFormat* format = GetMainFfmpegCodecLib()->FindOutFormat(formatName);
    if (format == nullptr) {
        FFMPEG_LOG(Error) << "CMuxerFile::Create: FindOutFormat(" << formatName << ") failed!";
        return 0;
    }
    FFMPEG_LOG(Trace) << "CMuxerFile::Create: format " << LongNameOf(format);
    m_Param = *param;
    muxing::SetFormatCodecs(format, m_Param);
    if (!MakeContext(format) || !AddStreams()) {
        return Refuse();
    }
    av_dump_format(m_pFormatContext, 0, m_FileName.c_str(), 1);
    m_bFirstPacketPending = 1;
    m_nFlushCounter = 0;
    SetAudioCutting();
    FFMPEG_LOG(Trace) << "CMuxerFile::Create: success!";
    return 1;
}

int CMuxerFile::Refuse() {
    Destroy();
    return 0;
}

bool CMuxerFile::MakeContext(FfmpegOutFormat* format) {
    m_bHeaderWritten = false;
    m_pFormatContext = nullptr;
    if (avformat_alloc_output_context2(&m_pFormatContext, format, nullptr, m_FileName.c_str()) < 0) {
        FFMPEG_LOG(Critical) << "CMuxerFile::Create: avformat_alloc_output_context2 failed!";
        return false;
    }
    if (m_pFormatContext == nullptr) {
        FFMPEG_LOG(Critical) << "CMuxerFile::Create: context failed!";
        return false;
    }
    m_pVideoStream = nullptr;
    m_pAudioStream = nullptr;
    m_pFormatContext->duration = Microseconds(m_Param.durationSec);
    return true;
}

bool CMuxerFile::AddStreams() {
    if (m_Param.videoCodec != AV_CODEC_ID_NONE) {
        m_pVideoStream = AddVideoStream(m_pFormatContext);
        if (m_pVideoStream == nullptr) {
            FFMPEG_LOG(Error) << "CMuxerFile::Create: AddVideoStream failed";
            return false;
        }
        FFMPEG_LOG(Trace) << "CMuxerFile::Create: add video stream!";
    }
    if (m_Param.audioCodec != AV_CODEC_ID_NONE) {
        m_pAudioStream = AddAudioStream(m_pFormatContext);
        if (m_pAudioStream == nullptr) {
            FFMPEG_LOG(Error) << "CMuxerFile::Create: AddAudioStream failed";
            return false;
        }
        FFMPEG_LOG(Trace) << "CMuxerFile::Create: add audio stream!";
    }
    return true;
}

AVStream* CMuxerFile::AddVideoStream(AVFormatContext* context) {
    AVStream* stream = muxing::NewVideoStream(context, m_Param, kVideoTuning);
    if (stream == nullptr) {
        FFMPEG_LOG(Critical) << "CMuxerFile::AddVideoStream: Could not alloc stream";
        return nullptr;
    }
    stream->id = 0;
    return stream;
}

AVStream* CMuxerFile::AddAudioStream(AVFormatContext* context) {
    AVStream* stream = muxing::NewAudioStream(context, m_Param);
    if (stream == nullptr) {
        FFMPEG_LOG(Critical) << "CMuxerFile::AddAudioStream: Could not alloc stream";
    }
    return stream;
}

int CMuxerFile::WriteHeader() {
    m_bFirstPacketPending = 1;
    m_bHeaderWritten = false;
    if (m_pFormatContext != nullptr && (m_pFormatContext->oformat->flags & AVFMT_NOFILE) == 0) {
        const int opened = avio_open(&m_pFormatContext->pb, m_FileName.c_str(), AVIO_FLAG_WRITE);
        if (opened < 0) {
            FFMPEG_LOG(Critical) << "CMuxerFile::WriteHeader: open " << m_FileName << " failed. Error = " << opened;
            return 0;
        }
    }
    const int result = m_pFormatContext != nullptr ? WriteContainerHeader(m_pFormatContext) : AVERROR(EINVAL);
    m_bHeaderWritten = result >= 0;
    if (result != 0) {
        FFMPEG_LOG(Error) << "CMuxerFile::WriteHeader: failed";
        return 0;
    }
    return 1;
}

void CMuxerFile::LatchOrigin(long long pts) {
    if (m_bFirstPacketPending != 0) {
        m_nBasePts = pts;
        m_bFirstPacketPending = 0;
        m_nPrevVideoPts = 0;
        m_nPrevAudioPts = 0;
        m_nPtsShift = 0;
    }
}

int CMuxerFile::WriteFrame(unsigned char* data, int size, int keyFrame, long long pts) {
    LatchOrigin(pts);
    if (size <= 0) {
        FFMPEG_LOG(Error) << "CMuxerFile::WriteFrame: no buffer";
        return 0;
    }
    const int64_t streamPts =
        muxing::NextPts(muxing::SinceOrigin(pts, m_nBasePts, m_nPtsShift), m_pVideoStream, m_nPrevVideoPts);
    const bool possible = m_bHeaderWritten && m_pVideoStream != nullptr;
    const int result =
        possible ? muxing::WriteInterleaved(m_pFormatContext, m_pVideoStream, {data, size, keyFrame != 0, streamPts})
                 : AVERROR(EINVAL);
    if (result != 0) {
        FFMPEG_LOG(Critical) << "CMuxerFile::WriteFrame: write_frame error: pts = " << streamPts
                             << ", prevPts = " << m_nPrevVideoPts;
        return 0;
    }
    m_nPrevVideoPts = streamPts;
    return 1;
}

int CMuxerFile::WriteTrailer() {
    FFMPEG_LOG(Trace) << "CMuxerFile: WriteTrailer";
    const int result = m_bHeaderWritten ? av_write_trailer(m_pFormatContext) : AVERROR(EINVAL);
    m_bHeaderWritten = false;
    if (result != 0) {
        FFMPEG_LOG(Error) << "CMuxerFile::WriteTrailer: failed";
        return 0;
    }
    if ((m_pFormatContext->oformat->flags & AVFMT_NOFILE) == 0) {
        avio_closep(&m_pFormatContext->pb);
    }
    return 1;
}

long long CMuxerFile::GetFileSize() {
    if (m_pFormatContext == nullptr || m_pFormatContext->pb == nullptr) {
        return kNoFileSize;
    }
    return avio_size(m_pFormatContext->pb);
}

void CMuxerFile::FlushFile() {
    if (++m_nFlushCounter < kCallsPerFlush) {
        return;
    }
    if (m_bHeaderWritten) {
        av_interleaved_write_frame(m_pFormatContext, nullptr);
    }
    m_nFlushCounter = 0;
}
