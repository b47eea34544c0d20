#include "video_decoder/video_decoder.h"

#include <cstring>
#include <new>

#include "codrelay/utils/clock.h"
#include "front/registry/ffmpeg_registry.h"
#include "front/registry/picture_size.h"
#include "support/codec_context.h"
#include "support/delete_object.h"
#include "support/log_front.h"
#include "video_decoder/decoder_csp_transform.h"

namespace {

const char* FormatName(AVPixelFormat format) {
    const char* name = av_get_pix_fmt_name(format);
    return name != nullptr ? name : "none";
}

}  // namespace

CVideoDecoderBase::~CVideoDecoderBase() = default;

CVideoDecoder::CVideoDecoder(AVCodecID codecId, const char* codecName, unsigned int colorSpace, AVPixelFormat pixFmt)
    : m_nCodecId(codecId),
      m_szCodecName{},
      m_nColorSpace(colorSpace),
      m_nFfmpegPixFmt(pixFmt),
      m_nLastStatMs(utils::GetMonotonicTimeInMs()) {
    if (codecName != nullptr) {
        std::memcpy(m_szCodecName, codecName, strnlen(codecName, kCodecNameSize));
    }
}

CVideoDecoder::~CVideoDecoder() = default;

void CVideoDecoder::Delete() {
    DeleteUnlessNull(this);
}

unsigned int CVideoDecoder::GetSupportedColorSpaces() {
    return m_nColorSpace;
}

unsigned int CVideoDecoder::GetOutputColorSpace() {
    return m_nColorSpace;
}

bool CVideoDecoder::AllowResolutionChange() {
    m_bAllowResolutionChange = true;
    return true;
}

int CVideoDecoder::CreateDecoder(unsigned int colorSpace, unsigned int width, unsigned int height,
                                 CFrameBufferStreamCallback* callback) {
    FFMPEG_LOG(Info) << "CVideoDecoder::CreateDecoder: " << CodecName() << " width = " << width
                     << " height = " << height;
    CMutexLocker lock(GetMainFfmpegCodecLib(), true);
    if (!MayBeCreated(colorSpace)) {
        return 0;
    }
    m_nOpened = 0;
    const AVCodec* codec = FindDecoder();
    if (codec == nullptr) {
        return 0;
    }
    try {
        if (!OpenDecoder(codec, width, height, callback)) {
            Destroy(0);
            return 0;
        }
    } catch (const std::bad_alloc&) {
        Destroy(0);
        throw;
    }
    m_nCreated = 1;
    m_nLastTimestamp = 0;
    return 1;
}

bool CVideoDecoder::OpenDecoder(const AVCodec* codec, unsigned int width, unsigned int height,
                                CFrameBufferStreamCallback* callback) {
    if (!AllocateContext(codec)) {
        return false;
    }
    m_nWidth = width;
    m_nHeight = height;
    m_pCallback = callback;
    FillContext();
    if (!OpenContext(codec) || !AllocateFrame()) {
        return false;
    }
    InitFramePool(callback);
    return true;
}

bool CVideoDecoder::MayBeCreated(unsigned int colorSpace) const {
    if (m_nCreated == 1) {
        FFMPEG_LOG(Info) << "CVideoDecoder::CreateDecoder: Already created!";
        return false;
    }
    if (colorSpace != m_nColorSpace) {
        FFMPEG_LOG(Critical) << "CVideoDecoder::CreateDecoder: unexpected colorspace: " << colorSpace
                             << " vs. supported " << m_nColorSpace;
        return false;
    }
    return true;
}

FfmpegCodec* CVideoDecoder::FindDecoder() const {
    const std::string name = CodecName();
    FfmpegCodec* codec = GetMainFfmpegCodecLib()->FindCodec(m_nCodecId, name.c_str(), 0);
    if (codec == nullptr) {
        FFMPEG_LOG(Critical) << "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = " << m_nCodecId
                             << ", CodecName = " << name;
    }
    return codec;
}

bool CVideoDecoder::AllocateContext(const AVCodec* codec) {
    m_pCodecContext = avcodec_alloc_context3(codec);
    if (m_pCodecContext == nullptr) {
        FFMPEG_LOG(Critical) << "CVideoDecoder::CreateDecoder: alloc context error!";
    }
    return m_pCodecContext != nullptr;
}

void CVideoDecoder::FillContext() {
    m_pCodecContext->codec_id = m_nCodecId;
    m_pCodecContext->codec_type = AVMEDIA_TYPE_VIDEO;
    m_pCodecContext->pix_fmt = m_nFfmpegPixFmt;
    m_pCodecContext->opaque = this;
    m_pCodecContext->width = static_cast<int>(m_nWidth);
    m_pCodecContext->height = static_cast<int>(m_nHeight);
}

bool CVideoDecoder::OpenContext(const AVCodec* codec) {
    const int result = avcodec_open2(m_pCodecContext, codec, nullptr);
    if (result < 0) {
        // Class and method are spelled so; readers of the log look for this line.
        FFMPEG_LOG(Critical) << "CVideoDecoder::OpenEncoder: avcodec open error = " << result;
        return false;
    }
    m_nOpened = 1;
    ReportOutputFormat();
    return true;
}

// A notice only: the copy-out deals with the difference, picture by picture.
void CVideoDecoder::ReportOutputFormat() const {
    if (m_pCodecContext->pix_fmt != m_nFfmpegPixFmt) {
        FFMPEG_LOG(Error) << "CVideoDecoder::CreateDecoder: decoder out pixFormat = "
                          << FormatName(m_pCodecContext->pix_fmt)
                          << " not equal m_nFfmpegPixFmt = " << FormatName(m_nFfmpegPixFmt);
    }
}

bool CVideoDecoder::AllocateFrame() {
    m_pFrame = av_frame_alloc();
    if (m_pFrame == nullptr) {
        // The same: this class says CVideoEncoder here.
        FFMPEG_LOG(Critical) << "CVideoEncoder::CreateDecoder:Frame alloc error!";
    }
    return m_pFrame != nullptr;
}

void CVideoDecoder::InitFramePool(CFrameBufferStreamCallback* callback) {
    m_FramePool.Init(PictureSize(m_nColorSpace, m_nWidth, m_nHeight), callback);
}

void CVideoDecoder::DestroyDecoder() {
    Destroy(1);
}

void CVideoDecoder::Destroy(unsigned int lock) {
    CMutexLocker locker(GetMainFfmpegCodecLib(), lock != 0);
    m_nCreated = 0;
    FreeCodecContext(&m_pCodecContext, m_nOpened != 0);
    av_frame_free(&m_pFrame);
    m_Waiting.Clear();
    m_FramePool.Clear();
}

bool CVideoDecoder::GetFrameFromPool(std::shared_ptr<CFrameBufferBase>& frame) {
    return m_FramePool.GetFrame(frame);
}

bool CVideoDecoder::ResolutionHasChanged() const {
    const int width = m_pFrame != nullptr ? m_pFrame->width : 0;
    const int height = m_pFrame != nullptr ? m_pFrame->height : 0;
    return static_cast<int>(m_nWidth) != width || static_cast<int>(m_nHeight) != height;
}

std::string CVideoDecoder::CodecName() const {
    return std::string(m_szCodecName, strnlen(m_szCodecName, kCodecNameSize));
}
