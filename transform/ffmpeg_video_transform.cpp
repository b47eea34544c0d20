#include "transform/ffmpeg_video_transform.h"

#include <algorithm>

#include "codrelay/ffmpeg_vocabulary.h"
#include "front/registry/picture_size.h"
#include "support/log_front.h"

namespace {

bool FitsItsRecord(int height) {
    return height == static_cast<uint16_t>(height);
}

int PictureBytes(AVPixelFormat format, int height, const int linesizes[4]) {
    uint8_t* noPlanes[4];
    return av_image_fill_pointers(noPlanes, format, height, nullptr, linesizes);
}

// FFmpeg rounds an odd width of YUYV422 up; the host's rows are tight.
int FillTightLinesizes(int linesizes[4], AVPixelFormat format, int width) {
    const int result = av_image_fill_linesizes(linesizes, format, width);
    if (result >= 0 && format == AV_PIX_FMT_YUYV422) {
        linesizes[0] = 2 * width;
    }
    return result;
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
    transform->m_SourceSize = {inWidth, inHeight};
    transform->m_OutputSize = {outWidth, outHeight};
    transform->m_CropRect = crop;
    transform->MakeCropBuffer(inColorSpace);
    const bool keepsPixels = crop.w == outWidth && crop.h == outHeight && inColorSpace == outColorSpace;
    if (!keepsPixels && !transform->MakeScaler()) {
        return nullptr;
    }
    transform->MakeOutput(outColorSpace);
    transform->MakeScaling();
    return transform;
}

// A rectangle turned round is cut out of nothing: the picture that is scaled stays as it is made, zeros.
void CFfmpegVideoTransform::MakeCropBuffer(unsigned int inColorSpace) {
    const bool isPart = m_CropRect.w < m_InputSize.width || m_CropRect.h < m_InputSize.height;
    if (!isPart || m_CropRect.w == 0 || m_CropRect.h == 0) {
        return;
    }
    const bool turned = m_CropRect.w < 0 || m_CropRect.h < 0;
    const Size size = turned ? m_InputSize : Size{m_CropRect.w, m_CropRect.h};
    m_CropBuffer.resize(PictureSize<std::size_t>(inColorSpace, static_cast<std::size_t>(size.width),
                                                 static_cast<std::size_t>(size.height)));
    if (!m_CropBuffer.empty()) {
        m_SourceSize = size;
    }
}

bool CFfmpegVideoTransform::MakeScaler() {
    // libswscale ends the process where a format is none.
    if (m_Input.format != AV_PIX_FMT_NONE && m_Output.format != AV_PIX_FMT_NONE) {
        m_pSwsContext = NewScaler(m_SourceSize.width, m_SourceSize.height, m_Input.format, m_OutputSize.width,
                                  m_OutputSize.height, m_Output.format);
    }
    if (m_pSwsContext == nullptr) {
        FFMPEG_LOG(Critical) << "CFfmpegVideoTransform::New: failed";
        return false;
    }
    if (FillTightLinesizes(m_SrcLineSizes, m_Input.format, m_SourceSize.width) < 0) {
        FFMPEG_LOG(Critical) << "CFfmpegVideoTransform::New: fill src line size failed";
        return false;
    }
    if (av_image_fill_linesizes(m_DstLineSizes, m_Output.format, m_OutputSize.width) < 0) {
        FFMPEG_LOG(Critical) << "CFfmpegVideoTransform::Create: fill dst line size failed";
        return false;
    }
    return true;
}

void CFfmpegVideoTransform::MakeOutput(unsigned int outColorSpace) {
    if (m_pSwsContext == nullptr && !m_CropBuffer.empty()) {
        // A crop alone writes straight into the output picture.
        FillTightLinesizes(m_DstLineSizes, m_Output.format, m_OutputSize.width);
    }
    m_OutputBuffer.m_Bytes.resize(static_cast<std::size_t>(GetOutFrameLength()));
    m_OutputBuffer.m_nColorSpace = outColorSpace;
}

bool CFfmpegVideoTransform::HeightsFit() const {
    return FitsItsRecord(m_InputSize.height) && FitsItsRecord(m_OutputSize.height);
}

// There is none where heights do not fit, and `Resize` fails.
void CFfmpegVideoTransform::MakeScaling() {
    if (m_pSwsContext == nullptr || !HeightsFit()) {
        return;
    }
    m_Scaling = TightScaling::Make({m_Input.format, m_SourceSize.width, m_SourceSize.height}, m_SrcLineSizes,
                                   {m_Output.format, m_OutputSize.width, m_OutputSize.height}, m_DstLineSizes);
}

int CFfmpegVideoTransform::GetOutFrameLength() {
    // A picture without rows has no line sizes either.
    return PictureBytes(m_Output.format, std::max(m_OutputSize.height, 1), m_DstLineSizes);
}

CFrameBufferBase* CFfmpegVideoTransform::Transform(CFrameBufferBase* frame) {
    m_OutputBuffer.m_nTimestamp = frame->m_nTimestamp;
    m_OutputBuffer.m_nWidth = m_Output.width;
    m_OutputBuffer.m_nHeight = m_Output.height;
    unsigned char* const out = m_OutputBuffer.m_Bytes.data();
    if (m_pSwsContext == nullptr) {
        const bool hasPixels = m_OutputSize.width > 0 && m_OutputSize.height > 0;
        if (m_CropBuffer.empty() || (hasPixels && m_OutputBuffer.m_Bytes.empty())) {
            return nullptr;  // nothing to crop, or a picture that could not be laid out
        }
        Crop(frame->GetData(), out);
        return &m_OutputBuffer;
    }
    unsigned char* picture = frame->GetData();
    if (!m_CropBuffer.empty()) {
        CropForScaling(picture);
        picture = m_CropBuffer.data();
    }
    return Resize(picture, out) ? &m_OutputBuffer : nullptr;
}

bool CFfmpegVideoTransform::Resize(void* src, void* dst) {
    // Pointers into a picture whose height is not the remembered one would lead anywhere.
    const bool heightsFit = HeightsFit();
    uint8_t* srcPlanes[4] = {};
    uint8_t* dstPlanes[4] = {};
    if (heightsFit && av_image_fill_pointers(srcPlanes, m_Input.format, m_SourceSize.height, static_cast<uint8_t*>(src),
                                             m_SrcLineSizes) < 0) {
        FFMPEG_LOG(Error) << "CFfmpegVideoTransform::Transform: fill src pointers failed";
        return false;
    }
    if (heightsFit && av_image_fill_pointers(dstPlanes, m_Output.format, m_OutputSize.height,
                                             static_cast<uint8_t*>(dst), m_DstLineSizes) < 0) {
        FFMPEG_LOG(Error) << "CFfmpegVideoTransform::Transform: fill dst pointers failed";
        return false;
    }
    if (!m_Scaling || m_Scaling->Scale(m_pSwsContext.get(), srcPlanes, dstPlanes) < 0) {
        FFMPEG_LOG(Error) << "CFfmpegVideoTransform::Transform:  sws_scale failed";
        return false;
    }
    return true;
}
