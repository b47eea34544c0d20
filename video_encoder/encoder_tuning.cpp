#include <algorithm>
#include <climits>

#include "video_encoder/video_encoder.h"

// Rates are unsigned 32-bit numbers, and so are the products of them that overflow: they wrap, and are cut to the
// context's type only then.

namespace {

/// How far a picture's share of the rate may stray. FFmpeg's rate control divides by it, JPEG has none.
int RateTolerance(int codecId, unsigned int frameRate, unsigned int bitRate) {
    const int tolerance = std::max(static_cast<int>(bitRate / frameRate), static_cast<int>(bitRate / 4));
    return codecId == AV_CODEC_ID_MJPEG ? tolerance : std::max(tolerance, 1);
}

}  // namespace

void CVideoEncoder::InitCommon(unsigned int frameRate, unsigned int bitRate, int keyInterval) {
    m_pCodecContext->width = static_cast<int>(m_nWidth);
    m_pCodecContext->height = static_cast<int>(m_nHeight);
    m_pCodecContext->bit_rate = bitRate;
    m_pCodecContext->time_base = {1, static_cast<int>(frameRate)};
    m_pCodecContext->pix_fmt = static_cast<AVPixelFormat>(m_nFfmpegPixFmt);
    m_pCodecContext->max_b_frames = 0;
    m_pCodecContext->gop_size = keyInterval;
}

void CVideoEncoder::InitSoftAny(unsigned int frameRate, unsigned int bitRate) {
    if (m_pCodecContext->codec_id != AV_CODEC_ID_H264) {
        InitSoftNotH264(frameRate, bitRate);
    } else if (m_bX264) {
        InitH264StandIn(bitRate);
    } else {
        InitSoftH264(frameRate, bitRate);
    }
    if (m_pCodecContext->codec_id == AV_CODEC_ID_MJPEG) {
        InitSoftMJPEG();
    }
}

void CVideoEncoder::InitSoftH264(unsigned int /*frameRate*/, unsigned int bitRate) {
    InitH264Rate(bitRate);
    SetSceneChangeThreshold(m_pCodecContext, &m_pOpenOptions, 40);
    m_pCodecContext->i_quant_factor = 0.71F;
    m_pCodecContext->max_qdiff = 4;
    m_pCodecContext->qcompress = 0.6F;
    m_pCodecContext->qblur = 0.5F;
    m_pCodecContext->me_range = 16;
    m_pCodecContext->me_subpel_quality = 7;
    m_pCodecContext->me_cmp = FF_CMP_CHROMA;
    SetTicksPerFrame(m_pCodecContext, 2);
    m_pCodecContext->trellis = 1;
    m_pCodecContext->refs = 5;
    m_pCodecContext->level = 30;
    WantVariableLengthCodes(m_pCodecContext, &m_pOpenOptions);
    m_pCodecContext->flags &= ~AV_CODEC_FLAG_LOOP_FILTER;
    m_pCodecContext->flags |= AV_CODEC_FLAG_4MV;
    av_dict_set(&m_pOpenOptions, "rc_eq", "blurCplx^(1-qComp)", 0);
}

void CVideoEncoder::InitH264Rate(unsigned int bitRate) {
    m_pCodecContext->bit_rate_tolerance = static_cast<int>(bitRate);
    m_pCodecContext->rc_max_rate = bitRate;
    m_pCodecContext->rc_buffer_size = static_cast<int>(bitRate * 0.5);
    m_pCodecContext->qmin = 10;
    m_pCodecContext->qmax = 51;
}

// x264 heeds what InitSoftH264 says and OpenH264 does not: it would search long, and call any size level 3. So it gets
// the rate alone, and is asked for what OpenH264 does, at about the same speed.
void CVideoEncoder::InitH264StandIn(unsigned int bitRate) {
    InitH264Rate(bitRate);
    m_pCodecContext->width &= ~1;
    m_pCodecContext->height &= ~1;
    m_pCodecContext->thread_count = 1;  // and so one slice
    if (m_pCodecContext->gop_size == 0) {
        m_pCodecContext->gop_size = INT_MAX;  // no key picture but the first
    }
    av_dict_set(&m_pOpenOptions, "preset", "superfast", 0);
    av_dict_set(&m_pOpenOptions, "tune", "zerolatency", 0);
    av_dict_set(&m_pOpenOptions, "profile", "baseline", 0);
}

void CVideoEncoder::InitSoftNotH264(unsigned int frameRate, unsigned int bitRate) {
    const unsigned int ceiling = 2 * bitRate;
    m_pCodecContext->bit_rate_tolerance = RateTolerance(m_pCodecContext->codec_id, frameRate, bitRate);
    m_pCodecContext->rc_max_rate = ceiling;
    m_pCodecContext->rc_min_rate = 0;
    m_pCodecContext->rc_buffer_size = static_cast<int>(4 * bitRate);
    m_pCodecContext->rc_initial_buffer_occupancy = static_cast<int>(12 * bitRate) >> 2;
    SetSceneChangeThreshold(m_pCodecContext, &m_pOpenOptions, 50);
    m_pCodecContext->i_quant_factor = 0.71F;
    m_pCodecContext->max_qdiff = 4;
    m_pCodecContext->qmin = 2;
    m_pCodecContext->qmax = 51;
    m_pCodecContext->qcompress = 0.5F;
    m_pCodecContext->qblur = 0.5F;
    m_pCodecContext->me_range = 16;
}

void CVideoEncoder::InitSoftMJPEG() {
    m_pCodecContext->flags |= AV_CODEC_FLAG_QSCALE;
    m_pCodecContext->time_base = av_d2q(1.0, 1);
    m_pCodecContext->qmin = 2;
    m_pCodecContext->qmax = 5;
}
