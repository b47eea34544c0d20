#include "video_encoder/video_encoder.h"

#include <cstring>
#include <new>

#include "codrelay/utils/clock.h"
#include "front/registry/codec_names.h"
#include "front/registry/ffmpeg_registry.h"
#include "support/codec_context.h"
#include "support/delete_object.h"
#include "support/log_front.h"

namespace {

constexpr unsigned int kDefaultBitRate = 1048576;
constexpr unsigned int kDefaultFrameRate = 20;
constexpr unsigned int kLongestKeyInterval = 300;
constexpr int kOutMargin = 64;
constexpr unsigned int kMode = 1;

int LimitKeyInterval(int interval) {
    return static_cast<unsigned int>(interval) < kLongestKeyInterval ? interval : static_cast<int>(kLongestKeyInterval);
}

}  // namespace

CVideoEncoderBase::~CVideoEncoderBase() = default;

bool CVideoEncoderBase::IsColorSpaceSupported(unsigned int mask) {
    return (GetSupportedColorSpaces() & mask) != 0;
}

bool CVideoEncoderBase::IsModeSupported(unsigned int mode) {
    return mode == 0 || (GetSupportedModes() & mode) != 0;
}

CVideoEncoder::CVideoEncoder(int codecId, const char* codecName, unsigned int colorSpace, int pixFmt)
    : m_nCodecId(codecId),
      m_nSupportedColorSpace(colorSpace),
      m_nFfmpegPixFmt(pixFmt),
      m_nLastStatMs(utils::GetMonotonicTimeInMs()) {
    if (codecName != nullptr) {
        std::strncpy(m_szCodecName, codecName, sizeof(m_szCodecName) - 1);
    }
    m_bX264 = std::strcmp(m_szCodecName, kH264StandIn) == 0;
}

CVideoEncoder::~CVideoEncoder() = default;

void CVideoEncoder::Delete() {
    DeleteUnlessNull(this);
}

unsigned int CVideoEncoder::GetSupportedColorSpaces() {
    return m_nSupportedColorSpace;
}

unsigned int CVideoEncoder::GetSupportedModes() {
    return kMode;
}

unsigned int CVideoEncoder::GetEncoderKind() {
    return m_nEncoderKind;
}

int CVideoEncoder::GetMaxOutFrameLength(unsigned int width, unsigned int height) {
    return avpicture_get_size(static_cast<AVPixelFormat>(m_nFfmpegPixFmt), static_cast<int>(width),
                              static_cast<int>(height)) +
           kOutMargin;
}

unsigned int CVideoEncoder::IsCreated() {
    return m_nCreated;
}

unsigned int CVideoEncoder::GetMode() {
    return m_nMode;
}

unsigned int CVideoEncoder::GetColorSpace() {
    return m_nColorSpace;
}

int CVideoEncoder::CreateEncoder(unsigned int colorSpace, unsigned int width, unsigned int height,
                                 unsigned int frameRate, unsigned int bitRate, unsigned int reserved, unsigned int mode,
                                 int maxKeyInterval) {
    FFMPEG_LOG(Info) << "CVideoEncoder::CreateEncoder: " << m_szCodecName << " width = " << width
                     << " height = " << height;
    const CMutexLocker locker(GetMainFfmpegCodecLib(), true);
    if (!AcceptColorSpaceAndMode(colorSpace, mode)) {
        return 0;
    }
    m_nWidth = width;
    m_nHeight = height;
    m_nBitRate = bitRate;
    m_nFrameRate = frameRate;
    m_nReserved = reserved;
    m_nMaxKeyInterval = maxKeyInterval;
    m_nNextPts = 1;
    try {
        if (!OpenEncoderWithFrame()) {
            Destroy(0);
            return 0;
        }
    } catch (const std::bad_alloc&) {
        Destroy(0);
        throw;
    }
    m_nCreated = 1;
    return 1;
}

bool CVideoEncoder::OpenEncoderWithFrame() {
    if (OpenEncoder(m_nCodecId, m_szCodecName, m_nFrameRate, m_nBitRate, m_nMaxKeyInterval) == 0) {
        FFMPEG_LOG(Critical) << "CVideoEncoder::CreateEncoder: Open encoder error " << m_nCodecId;
        return false;
    }
    m_pFrame = av_frame_alloc();
    if (m_pFrame == nullptr) {
        FFMPEG_LOG(Critical) << "CVideoEncoder::CreateEncoder:Frame alloc error!";
    }
    return m_pFrame != nullptr;
}

bool CVideoEncoder::AcceptColorSpaceAndMode(unsigned int colorSpace, unsigned int mode) {
    if (m_nCreated != 0) {
        FFMPEG_LOG(Info) << "CVideoEncoder::CreateEncoder: Already created!";
        return false;
    }
    if (colorSpace != m_nSupportedColorSpace) {
        FFMPEG_LOG(Error) << "CVideoEncoder::CreateEncoder: Check input colorspace!";
        return false;
    }
    m_nColorSpace = colorSpace;
    if (mode > kMode) {
        FFMPEG_LOG(Critical) << "CVideoEncoder::CreateEncoder: Encoder mode error!";
        return false;
    }
    m_nMode = kMode;
    return true;
}

int CVideoEncoder::OpenEncoder(int codecId, const char* codecName, unsigned int frameRate, unsigned int bitRate,
                               int maxKeyInterval) {
    m_nOpened = 0;
    FfmpegCodec* codec = GetMainFfmpegCodecLib()->FindCodec(static_cast<AVCodecID>(codecId), codecName, 1);
    if (codec == nullptr) {
        FFMPEG_LOG(Critical) << "CVideoEncoder::OpenEncoder: find encoder failed! CodecId = " << codecId
                             << ", CodecName = " << TextOrNothing(codecName);
        return 0;
    }
    m_pCodecContext = avcodec_alloc_context3(codec);
    if (m_pCodecContext == nullptr) {
        FFMPEG_LOG(Critical) << "CVideoEncoder::OpenEncoder: alloc context error!";
        return 0;
    }
    m_pCodecContext->codec_id = static_cast<AVCodecID>(codecId);
    m_pCodecContext->codec_type = AVMEDIA_TYPE_VIDEO;
    Tune(frameRate, bitRate, maxKeyInterval);

    const int result = avcodec_open2(m_pCodecContext, codec, &m_pOpenOptions);
    if (result < 0) {
        FFMPEG_LOG(Critical) << "CVideoEncoder::OpenEncoder: avcodec open error = " << result;
        return 0;
    }
    m_nOpened = 1;
    return 1;
}

void CVideoEncoder::Tune(unsigned int frameRate, unsigned int bitRate, int maxKeyInterval) {
    if (bitRate == 0) {
        FFMPEG_LOG(Error) << "CVideoEncoder::OpenEncoder: bitrate = 0";
        bitRate = kDefaultBitRate;
    }
    if (frameRate == 0) {
        frameRate = kDefaultFrameRate;
    }
    ClearOpenOpts();
    InitCommon(frameRate, bitRate, LimitKeyInterval(maxKeyInterval));
    FFMPEG_LOG(Info) << "max key interval " << m_pCodecContext->gop_size;
    InitSoftAny(frameRate, bitRate);
}

int CVideoEncoder::ChangeEncoderResolution(unsigned int width, unsigned int height) {
    const CMutexLocker locker(GetMainFfmpegCodecLib(), true);
    if (m_pCodecContext == nullptr) {
        return 0;
    }
    if (width == m_nWidth && height == m_nHeight) {
        return 1;
    }
    Destroy(0);
    return CreateEncoder(m_nColorSpace, width, height, m_nFrameRate, m_nBitRate, m_nReserved, m_nMode,
                         m_nMaxKeyInterval);
}

void CVideoEncoder::DestroyEncoder() {
    Destroy(1);
}

void CVideoEncoder::Destroy(unsigned int lock) {
    const CMutexLocker locker(GetMainFfmpegCodecLib(), lock != 0);
    m_nCreated = 0;
    FreeCodecContext(&m_pCodecContext, m_nOpened != 0);
    if (m_pFrame != nullptr) {
        av_frame_free(&m_pFrame);
    }
    ClearOpenOpts();
}

void CVideoEncoder::ClearOpenOpts() {
    av_dict_free(&m_pOpenOptions);
}
