#include "video_decoder/decoder_csp_transform.h"

#include "support/log_front.h"

#define TRANSFORM_LOG(severity, operation) FFMPEG_LOG(severity) << '<' << m_strName << "> " operation ": "

namespace {

constexpr uint32_t kFramesPerLine = 900;

bool IsValid(const DecoderCspParams& params) {
    return params.fmt != AV_PIX_FMT_NONE && params.w > 0 && params.h > 0;
}

AVPixelFormat FormatOf(const DecoderCspParams& params) {
    return static_cast<AVPixelFormat>(params.fmt);
}

}  // namespace

bool operator==(const DecoderCspParams& a, const DecoderCspParams& b) {
    return a.fmt == b.fmt && a.w == b.w && a.h == b.h;
}

std::ostream& operator<<(std::ostream& out, const DecoderCspParams& params) {
    return out << "fmt: " << params.fmt << ", w: " << params.w << ", h: " << params.h;
}

bool DecoderCspTransform::Transform(const AVFrame* src, unsigned char* dst, unsigned long long dstSize,
                                    const DecoderCspParams& dstParams) {
    if (src == nullptr || dst == nullptr) {
        TRANSFORM_LOG(Critical, "Transform") << "nullptr";
        return false;
    }
    const DecoderCspParams srcParams{src->format, src->width, src->height};
    if (!IsValid(srcParams) || !IsValid(dstParams)) {
        TRANSFORM_LOG(Critical, "Transform") << "invalid params";
        return false;
    }
    if (!ArmFor(srcParams, dstParams)) {
        return false;
    }
    if (m_nOutputSize > dstSize) {
        TRANSFORM_LOG(Critical, "Transform")
            << "buffer size: " << dstSize << " is less than requered: " << m_nOutputSize;
        return false;
    }
    if (!Scale(src, dst)) {
        return false;
    }
    CountFrame();
    return true;
}

bool DecoderCspTransform::ArmFor(const DecoderCspParams& src, const DecoderCspParams& dst) {
    if (m_pSwsContext != nullptr && src == m_Src && dst == m_Dst) {
        return true;
    }
    m_pSwsContext.reset();
    return CreateTransform(src, dst);
}

bool DecoderCspTransform::CreateTransform(const DecoderCspParams& src, const DecoderCspParams& dst) {
    TRANSFORM_LOG(Warning, "CreateTransform") << "from: " << src << ", to: " << dst;
    m_Src = src;
    m_Dst = dst;
    m_Padded.reset();

    if (av_image_fill_linesizes(m_DstLinesizes, FormatOf(m_Dst), m_Dst.w) < 0) {
        TRANSFORM_LOG(Critical, "CreateTransform") << "failed to fill linesizes";
        return false;
    }
    uint8_t* noPlanes[4];
    const int size = av_image_fill_pointers(noPlanes, FormatOf(m_Dst), m_Dst.h, nullptr, m_DstLinesizes);
    if (size <= 0) {
        TRANSFORM_LOG(Critical, "CreateTransform") << "failed to get the output size";
        return false;
    }
    m_nOutputSize = static_cast<uint64_t>(size);

    m_pSwsContext = NewScaler(m_Src.w, m_Src.h, FormatOf(m_Src), m_Dst.w, m_Dst.h, FormatOf(m_Dst));
    if (m_pSwsContext == nullptr) {
        TRANSFORM_LOG(Critical, "CreateTransform") << "failed to get get new sws context";
        return false;
    }
    return true;
}

// True where none is needed, too.
bool DecoderCspTransform::HasPadding() {
    if (!PaddedPicture::IsNeededFor(m_Dst.w)) {
        return true;
    }
    if (!m_Padded) {
        m_Padded = PaddedPicture::Make(FormatOf(m_Dst), m_Dst.w, m_Dst.h);
    }
    return m_Padded.has_value();
}

bool DecoderCspTransform::Scale(const AVFrame* src, unsigned char* dst) {
    uint8_t* tight[4];
    if (av_image_fill_pointers(tight, FormatOf(m_Dst), m_Dst.h, dst, m_DstLinesizes) < 0 || !HasPadding()) {
        TRANSFORM_LOG(Critical, "Transform") << "failed to fill pointers";
        return false;
    }
    uint8_t* const* planes = m_Padded ? m_Padded->Planes() : tight;
    const int* linesizes = m_Padded ? m_Padded->Linesizes() : m_DstLinesizes;
    if (sws_scale(m_pSwsContext.get(), src->data, src->linesize, 0, src->height, planes, linesizes) < 0) {
        TRANSFORM_LOG(Critical, "Transform") << "sws_scale got error";
        return false;
    }
    if (m_Padded) {
        m_Padded->CopyTo(tight, m_DstLinesizes);
    }
    return true;
}

void DecoderCspTransform::CountFrame() {
    ++m_nFrames;
    if (m_nFrames % kFramesPerLine == 0) {
        TRANSFORM_LOG(Info, "Transform") << "scale from: " << m_Src;
    }
}
