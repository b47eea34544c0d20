#include <algorithm>

#include "container/muxer_file.h"
#include "container/muxing.h"
#include "support/log_front.h"

namespace {

// MP3 frames of one rate differ by a byte of padding, and a block does not tell whether its first frame has it. Hosts
// know this guess, for every codec.
int FirstPadding(int size) {
    return size % 209 == 105 ? 1 : 0;
}

int64_t Plus(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

}  // namespace

void CMuxerFile::SetAudioCutting() {
    m_nAudioFrameMs = 0;
    m_nAudioFrameBytes = 1;
    if (m_Param.audioCodec == AV_CODEC_ID_MP3) {
        const auto product = static_cast<int>(static_cast<unsigned int>(m_Param.audioBitRate) * 144U);
        m_nAudioFrameMs = muxing::Quotient(1152000, m_Param.sampleRate);
        m_nAudioFrameBytes = muxing::Quotient(product, m_Param.sampleRate);
    }
}

int CMuxerFile::WriteSound(unsigned char* data, int size, long long pts) {
    if (m_pAudioStream == nullptr) {
        FFMPEG_LOG(Error) << "CMuxerFile::WriteSound: audio stream not added";
        return 0;
    }
    LatchOrigin(pts);
    if (size <= 0) {
        FFMPEG_LOG(Error) << "CMuxerFile::WriteSound: no buffer";
        return 0;
    }
    if (m_nAudioNextTs == 0) {
        m_nAudioNextTs = muxing::SinceOrigin(pts, m_nBasePts, m_nPtsShift);
    }
    if (m_Param.audioCodec != AV_CODEC_ID_MP3) {
        m_nAudioFrameBytes = size;
    }
    const int frames = muxing::Quotient(size, m_nAudioFrameBytes);
    if (frames > 0) {
        m_nAudioPadding = FirstPadding(size);
    }
    int64_t consumed = 0;
    for (int frame = 0; frame < frames; ++frame) {
        const int64_t start = std::min<int64_t>(consumed, size);
        const int written = WriteSoundFrame(data + start, static_cast<int>(size - start));
        if (written == 0) {
            return 0;
        }
        consumed += written;
    }
    FFMPEG_LOG(Trace) << "CMuxerFile::WriteSound: Input size: " << size << ", Output size: " << consumed;
    if (consumed != size) {
        FFMPEG_LOG(Error) << "WARNING: Input/output size mismatch";
    }
    return 1;
}

int CMuxerFile::WriteSoundFrame(unsigned char* data, int left) {
    const int size = m_nAudioFrameBytes + m_nAudioPadding;
    const int64_t pts = muxing::NextPts(m_nAudioNextTs, m_pAudioStream, m_nPrevAudioPts);
    FFMPEG_LOG(Info) << "CMuxerFile::WriteSound: Timebase: " << m_pAudioStream->time_base.num << "/"
                     << m_pAudioStream->time_base.den << ", PTS " << pts << ", Size: " << size;
    const int result = m_bHeaderWritten ? muxing::WriteInterleaved(m_pFormatContext, m_pAudioStream,
                                                                   {WholeFrame(data, left, size), size, true, pts})
                                        : AVERROR(EINVAL);
    if (result != 0) {
        FFMPEG_LOG(Critical) << "CMuxerFile::WriteSound: write_frame error: pts = " << pts
                             << ", prevPts = " << m_nPrevAudioPts;
        return 0;
    }
    m_nPrevAudioPts = pts;
    m_nAudioPadding = 1 - m_nAudioPadding;
    m_nAudioNextTs = Plus(m_nAudioNextTs, m_nAudioFrameMs);
    return size;
}

// The alternating padding can carry declared frames past the caller's MP3 block: what is missing there is written as
// zeros. Other codecs may read the one byte that callers allow for.
unsigned char* CMuxerFile::WholeFrame(unsigned char* data, int left, int size) {
    if (m_Param.audioCodec != AV_CODEC_ID_MP3 || size <= left) {
        return data;
    }
    m_Scratch.assign(static_cast<std::size_t>(size), 0);
    std::copy_n(data, left, m_Scratch.begin());
    return m_Scratch.data();
}
