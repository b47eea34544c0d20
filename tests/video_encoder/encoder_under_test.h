#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "common/codecs_at_hand.h"
#include "front/registry/media_vocabulary.h"
#include "video_encoder/video_encoder.h"

/// An encoder as the factories build it, with its inside open.
class EncoderUnderTest : public CVideoEncoder {
public:
    explicit EncoderUnderTest(int id)
        : CVideoEncoder(AvId(id), GetFFmpegVideoEncoderName(id), CSP_YUV420P,
                        GetFFmpegPixelFormat(static_cast<AVCodecID>(AvId(id)), CSP_YUV420P)) {}
    EncoderUnderTest(int avId, const char* name) : CVideoEncoder(avId, name, CSP_YUV420P, AV_PIX_FMT_YUV420P) {}
    ~EncoderUnderTest() override { Destroy(1); }

    /// A created encoder of ordinary settings.
    int Create(unsigned int width = 176, unsigned int height = 144) {
        return CreateEncoder(CSP_YUV420P, width, height, 25, 800000, 0, 1, 50);
    }
    int CreateWithRates(unsigned int frameRate, unsigned int bitRate) {
        return CreateEncoder(CSP_YUV420P, 176, 144, frameRate, bitRate, 0, 1, 50);
    }

    static int AvId(int id) { return VideoCodecToAvCodecId[id - VIDEO_CODEC_FLV]; }

    using CVideoEncoder::Destroy;
    using CVideoEncoder::m_nBitRate;
    using CVideoEncoder::m_nFfmpegPixFmt;
    using CVideoEncoder::m_nFrameRate;
    using CVideoEncoder::m_nHeight;
    using CVideoEncoder::m_nMaxKeyInterval;
    using CVideoEncoder::m_nNextPts;
    using CVideoEncoder::m_nOpened;
    using CVideoEncoder::m_nReserved;
    using CVideoEncoder::m_nWidth;
    using CVideoEncoder::m_pCodecContext;
    using CVideoEncoder::m_pFrame;
    using CVideoEncoder::m_pOpenOptions;
    using CVideoEncoder::m_Stat;
};

/// The five codecs that there are encoders for, as test parameters.
inline const auto kFiveCodecs =
    testing::Values(VIDEO_CODEC_FLV, VIDEO_CODEC_MPEG4, VIDEO_CODEC_H263, VIDEO_CODEC_MJPEG, VIDEO_CODEC_H264);

/// What an open encoder holds for a bit rate of 0: x264 counts in thousands.
inline int64_t DefaultBitRateOf(int id) {
    return id == VIDEO_CODEC_H264 && IsH264ByX264() ? 1048000 : 1048576;
}

inline std::string CodecWord(const testing::TestParamInfo<int>& info) {
    return VideoCodecLogName[info.param];
}
