#include "transform/ffmpeg_video_transform.h"

#include "codrelay/ffmpeg_vocabulary.h"
#include "codrelay/media_ids.h"
#include "support/log_front.h"

namespace {

long long RoundedUpToEven(long long value) {
    return (value + 1) & ~1LL;
}

// Room for a picture of tight rows; 0 for a colour space that cannot be cropped.
long long CropBytes(unsigned int colorSpace, long long w, long long h) {
    switch (colorSpace) {
        case CSP_YUV420P_ALT:
        case CSP_YUV420P:
            return w * h + RoundedUpToEven(w) * RoundedUpToEven(h) / 2;
        case CSP_YUYV422:
            return w * h * 2;
        case CSP_BGR24:
        case CSP_RGB24:
            return w * h * 3;
        case CSP_BGRA:
            return w * h * 4;
        default:
            return 0;
    }
}

bool FitsItsRecord(int height) {
    return height == static_cast<uint16_t>(height);
}

}  // namespace

CFfmpegVideoTransform::CFfmpegVideoTransform() = default;

CFfmpegVideoTransform::~CFfmpegVideoTransform() = default;

std::shared_ptr<CVideoTransformBase> CFfmpegVideoTransform::New(unsigned int inColorSpace, int inWidth, int inHeight,
                                                                CROP_RECT& crop, unsigned int outColorSpace,
                                                                int outWidth, int outHeight) {
    const std::shared_ptr<CFfmpegVideoTransform> transform(new CFfmpegVideoTransform);
    FFMPEG_LOG(Info) << "CFfmpegVideoTransform::New: creating new software transform: in: w=" << inWidth
                     << ",h=" << inHeight << ",csp=" << inColorSpace << " | out: w=" << outWidth << ",h=" << outHeight
                     << ",csp=" << outColorSpace;
    transform->m_Input = {GetFFmpegPixelFormat(static_cast<int>(inColorSpace)), static_cast<uint16_t>(inWidth),
                          static_cast<uint16_t>(inHeight)};
    transform->m_Output = {GetFFmpegPixelFormat(static_cast<int>(outColorSpace)), static_cast<uint16_t>(outWidth),
                           static_cast<uint16_t>(outHeight)};
    transform->m_InputSize = {inWidth, inHeight};
    transform->m_OutputSize = {outWidth, outHeight};
    transform->m_CropRect = crop;
    transform->MakeCropBuffer(inColorSpace);
    const bool keepsPixels = crop.w == outWidth && crop.h == outHeight && inColorSpace == outColorSpace;
    if (!keepsPixels && !transform->MakeScaler()) {
        return nullptr;
    }
    transform->MakeOutput(outColorSpace);
    return transform;
}

void CFfmpegVideoTransform::MakeCropBuffer(unsigned int inColorSpace) {
    if (m_CropRect.w < m_InputSize.width || m_CropRect.h < m_InputSize.height) {
        m_CropBuffer.resize(static_cast<std::size_t>(CropBytes(inColorSpace, m_CropRect.w, m_CropRect.h)));
    }
}

CFfmpegVideoTransform::Size CFfmpegVideoTransform::SourceSize() const {
    return m_CropBuffer.empty() ? m_InputSize : Size{m_CropRect.w, m_CropRect.h};
}

bool CFfmpegVideoTransform::MakeScaler() {
    const Size source = SourceSize();
    // libswscale ends the process where a format is none.
    if (m_Input.format != AV_PIX_FMT_NONE && m_Output.format != AV_PIX_FMT_NONE) {
        m_pSwsContext = NewScaler(source.width, source.height, m_Input.format, m_OutputSize.width, m_OutputSize.height,
                                  m_Output.format);
    }
    if (m_pSwsContext == nullptr) {
        FFMPEG_LOG(Critical) << "CFfmpegVideoTransform::New: failed";
        return false;
    }
    if (!FillLineSizes()) {
        return false;
    }
    MakeSafe();
    return true;
}

bool CFfmpegVideoTransform::FillLineSizes() {
    const Size source = SourceSize();
    if (av_image_fill_linesizes(m_SrcLineSizes, m_Input.format, source.width) < 0) {
        FFMPEG_LOG(Critical) << "CFfmpegVideoTransform::New: fill src line size failed";
        return false;
    }
    if (m_Input.format == AV_PIX_FMT_YUYV422) {
        // FFmpeg rounds an odd width up; the host's rows are tight.
        m_SrcLineSizes[0] = 2 * source.width;
    }
    if (av_image_fill_linesizes(m_DstLineSizes, m_Output.format, m_OutputSize.width) < 0) {
        FFMPEG_LOG(Critical) << "CFfmpegVideoTransform::Create: fill dst line size failed";
        return false;
    }
    return true;
}

// Sizes that the record does not hold are never scaled, and need nothing.
void CFfmpegVideoTransform::MakeSafe() {
    const Size source = SourceSize();
    if (!FitsItsRecord(m_InputSize.height) || !FitsItsRecord(m_OutputSize.height)) {
        return;
    }
    m_pSource = std::make_unique<ScalerSource>(m_Input.format, source.width, source.height, m_SrcLineSizes);
    if (PaddedPicture::IsNeededFor(m_OutputSize.width) ||
        !ScalerSource::MayWriteRowsInPlace(m_Input.format, source.width)) {
        m_pPaddedOutput = std::make_unique<PaddedPicture>(m_Output.format, m_OutputSize.width, m_OutputSize.height);
    }
}

void CFfmpegVideoTransform::MakeOutput(unsigned int outColorSpace) {
    if (m_pSwsContext == nullptr && !m_CropBuffer.empty()) {
        // A crop alone writes straight into the output picture.
        av_image_fill_linesizes(m_DstLineSizes, m_Output.format, m_OutputSize.width);
    }
    m_OutputBuffer.m_Bytes.resize(static_cast<std::size_t>(GetOutFrameLength()));
    m_OutputBuffer.m_nColorSpace = outColorSpace;
}

int CFfmpegVideoTransform::GetOutFrameLength() {
    if (m_Output.height == 0) {
        return 0;
    }
    uint8_t* noPlanes[4];
    return av_image_fill_pointers(noPlanes, m_Output.format, m_Output.height, nullptr, m_DstLineSizes);
}

CFrameBufferBase* CFfmpegVideoTransform::Transform(CFrameBufferBase* frame) {
    m_OutputBuffer.m_nTimestamp = frame->m_nTimestamp;
    m_OutputBuffer.m_nWidth = m_Output.width;
    m_OutputBuffer.m_nHeight = m_Output.height;
    unsigned char* picture = frame->GetData();
    if (m_pSwsContext == nullptr) {
        if (m_CropBuffer.empty()) {
            return nullptr;
        }
        Crop(picture, m_OutputBuffer.m_Bytes.data());
        return &m_OutputBuffer;
    }
    if (!m_CropBuffer.empty()) {
        Crop(picture, m_CropBuffer.data());
        picture = m_CropBuffer.data();
    }
    return Resize(picture, m_OutputBuffer.m_Bytes.data()) ? &m_OutputBuffer : nullptr;
}

bool CFfmpegVideoTransform::Resize(void* src, void* dst) {
    // Pointers into a picture whose height is not the remembered one would lead anywhere.
    const bool heightsFit = FitsItsRecord(m_InputSize.height) && FitsItsRecord(m_OutputSize.height);
    uint8_t* srcPlanes[4] = {};
    uint8_t* dstPlanes[4] = {};
    if (heightsFit && av_image_fill_pointers(srcPlanes, m_Input.format, SourceSize().height, static_cast<uint8_t*>(src),
                                             m_SrcLineSizes) < 0) {
        FFMPEG_LOG(Error) << "CFfmpegVideoTransform::Transform: fill src pointers failed";
        return false;
    }
    if (heightsFit && av_image_fill_pointers(dstPlanes, m_Output.format, m_OutputSize.height,
                                             static_cast<uint8_t*>(dst), m_DstLineSizes) < 0) {
        FFMPEG_LOG(Error) << "CFfmpegVideoTransform::Transform: fill dst pointers failed";
        return false;
    }
    if (!heightsFit || Scale(srcPlanes, dstPlanes) < 0) {
        FFMPEG_LOG(Error) << "CFfmpegVideoTransform::Transform:  sws_scale failed";
        return false;
    }
    return true;
}

int CFfmpegVideoTransform::Scale(uint8_t* const src[4], uint8_t* dst[4]) {
    if (m_pPaddedOutput == nullptr) {
        return m_pSource->Scale(m_pSwsContext.get(), src, dst, m_DstLineSizes);
    }
    const int result =
        m_pSource->Scale(m_pSwsContext.get(), src, m_pPaddedOutput->Planes(), m_pPaddedOutput->Linesizes());
    if (result >= 0) {
        m_pPaddedOutput->CopyTo(dst, m_DstLineSizes);
    }
    return result;
}
