#include "support/ffmpeg_error.h"
#include "support/log_front.h"
#include "video_decoder/decode_status.h"
#include "video_decoder/decoder_csp_transform.h"
#include "video_decoder/video_decoder.h"

namespace {

// Full-range 4:2:0 lies in memory as 4:2:0 does.
int Layout(int format) {
    return format == AV_PIX_FMT_YUVJ420P ? static_cast<int>(AV_PIX_FMT_YUV420P) : format;
}

bool IsDeliverableAs(AVPixelFormat wanted, int format) {
    return wanted == AV_PIX_FMT_NONE || Layout(wanted) == Layout(format);
}

int CopyTight(const AVFrame& picture, unsigned char* data, unsigned int size) {
    return av_image_copy_to_buffer(data, static_cast<int>(size), picture.data, picture.linesize,
                                   static_cast<AVPixelFormat>(picture.format), picture.width, picture.height, 1);
}

void ReportFailedCopy(int error, const AVFrame& picture, unsigned int supplied) {
    FFMPEG_LOG(Critical) << "failed to copy frame: " << FfmpegErrorText(error).c_str();
    const int expected =
        av_image_get_buffer_size(static_cast<AVPixelFormat>(picture.format), picture.width, picture.height, 1);
    if (expected < 0 || static_cast<unsigned int>(expected) > supplied) {
        FFMPEG_LOG(Critical) << "note that ffmpeg expects: " << expected << " bytes in the output buffer"
                             << ", frame pool supplies " << supplied;
    }
}

}  // namespace

int CVideoDecoder::CopyOutFrame(std::shared_ptr<CFrameBufferBase>& frame) {
    if (ResolutionHasChanged()) {
        FFMPEG_LOG(Critical) << "CVideoDecoder::CopyOutFrame: error w:h changed"
                             << " from " << m_nWidth << ":" << m_nHeight << " to " << m_pFrame->width << ":"
                             << m_pFrame->height;
        return kUnexpectedSize;
    }
    if (!IsDeliverableAs(m_nFfmpegPixFmt, m_pFrame->format)) {
        return CopyOutTransformedFrame(frame);
    }
    const int result = CopyTight(*m_pFrame, frame->GetData(), m_FramePool.FrameSize());
    if (result < 0) {
        ReportFailedCopy(result, *m_pFrame, m_FramePool.FrameSize());
        return kDecodeError;
    }
    frame->m_nWidth = static_cast<unsigned int>(m_pFrame->width);
    frame->m_nHeight = static_cast<unsigned int>(m_pFrame->height);
    return kDecodedPicture;
}

int CVideoDecoder::CopyOutTransformedFrame(std::shared_ptr<CFrameBufferBase>& frame) {
    if (m_pTransform == nullptr) {
        FFMPEG_LOG(Error) << "decoder uses transform";
        m_pTransform = std::make_unique<DecoderCspTransform>();
    }
    const DecoderCspParams target{m_nFfmpegPixFmt, static_cast<int>(m_nWidth), static_cast<int>(m_nHeight)};
    // The frame's own width and height stay 0: hosts take the size from what they asked for.
    return m_pTransform->Transform(m_pFrame, frame->GetData(), m_FramePool.FrameSize(), target) ? kDecodedPicture
                                                                                                : kDecodeError;
}
