#include "benchmarks/decode_loops.h"

#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "uvqlog/control.h"

namespace {

int VideoId(AVCodecID codec) {
    switch (codec) {
        case AV_CODEC_ID_H264:
            return VIDEO_CODEC_H264;
        case AV_CODEC_ID_HEVC:
            return VIDEO_CODEC_H265;
        case AV_CODEC_ID_MJPEG:
            return VIDEO_CODEC_MJPEG;
        default:
            return VIDEO_CODEC_MPEG4;
    }
}

std::size_t PictureBytes(const Clip& clip, bool rgb) {
    const AVPixelFormat format = rgb ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_YUV420P;
    return static_cast<std::size_t>(av_image_get_buffer_size(format, clip.width, clip.height, 1));
}

}  // namespace

PlainDecoder::PlainDecoder(const Clip& clip, bool rgb) : m_bRgb(rgb), m_Picture(PictureBytes(clip, rgb)) {
    const AVCodec* codec = avcodec_find_decoder(clip.videoCodec);
    m_pContext = avcodec_alloc_context3(codec);
    m_pContext->width = clip.width;
    m_pContext->height = clip.height;
    Check(avcodec_open2(m_pContext, codec, nullptr) == 0);
}

PlainDecoder::~PlainDecoder() {
    av_frame_free(&m_pFrame);
    avcodec_free_context(&m_pContext);
}

int PlainDecoder::Decode(ClipPacket& in) {
    AVPacket packet;
    av_init_packet(&packet);
    packet.data = in.bytes.data();
    packet.size = in.size;
    Check(avcodec_send_packet(m_pContext, &packet) == 0);
    int pictures = 0;
    while (avcodec_receive_frame(m_pContext, m_pFrame) == 0) {
        m_bRgb ? Convert() : CopyOut();
        ++pictures;
    }
    return pictures;
}

void PlainDecoder::CopyOut() {
    av_image_copy_to_buffer(m_Picture.data(), static_cast<int>(m_Picture.size()), m_pFrame->data, m_pFrame->linesize,
                            static_cast<AVPixelFormat>(m_pFrame->format), m_pFrame->width, m_pFrame->height, 1);
}

void PlainDecoder::Convert() {
    if (m_Scaler == nullptr) {
        m_Scaler = NewScaler(m_pFrame->width, m_pFrame->height, static_cast<AVPixelFormat>(m_pFrame->format),
                             m_pFrame->width, m_pFrame->height, AV_PIX_FMT_RGB24);
    }
    uint8_t* const planes[4] = {m_Picture.data(), nullptr, nullptr, nullptr};
    const int linesizes[4] = {3 * m_pFrame->width, 0, 0, 0};
    sws_scale(m_Scaler.get(), m_pFrame->data, m_pFrame->linesize, 0, m_pFrame->height, planes, linesizes);
}

LibraryDecoder::LibraryDecoder(const Clip& clip, bool rgb) {
    uvqlog::ForbidLogging(true);  // what a decoder tells of its formats when it starts
    const unsigned int colorSpace = rgb ? CSP_RGB24 : CSP_YUV420P;
    m_pDecoder = NewFFmpegVideoDecoder(VideoId(clip.videoCodec), colorSpace, "");
    Check(m_pDecoder->CreateDecoder(colorSpace, static_cast<unsigned int>(clip.width),
                                    static_cast<unsigned int>(clip.height), nullptr) == 1);
}

LibraryDecoder::~LibraryDecoder() {
    m_pDecoder->DestroyDecoder();
    m_pDecoder->Delete();
}

int LibraryDecoder::Decode(ClipPacket& packet) {
    m_pPicture.reset();
    return m_pDecoder->Decode(packet.bytes.data(), packet.size, m_pPicture) == 0 ? 1 : 0;
}
