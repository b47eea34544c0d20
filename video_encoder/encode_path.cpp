#include <cstring>

#include "video_encoder/video_encoder.h"
#include "video_encoder/x264_packet.h"

namespace {

constexpr int kOutTooSmall = -10;

/// What is left of a packet when it has been let go.
struct Encoded {
    int result;  // FFmpeg's, or kOutTooSmall
    bool gotPacket;
    int size;
    bool key;
};

/// A packet that the encoder kept in memory of its own goes into the caller's, where it fits.
int DeliverTo(unsigned char* out, unsigned int outSize, const AVPacket& packet) {
    if (packet.data == out || packet.size < 1) {
        return 0;
    }
    if (out == nullptr || static_cast<unsigned int>(packet.size) > outSize) {
        return kOutTooSmall;
    }
    std::memcpy(out, packet.data, static_cast<std::size_t>(packet.size));
    return 0;
}

/// A packet of x264's, which is always in memory of its own. Too little room is what it is with OpenH264.
int DeliverFromX264(unsigned char* out, unsigned int outSize, AVPacket* packet) {
    const int size = CopyAsOpenH264(*packet, nullptr);
    if (out == nullptr && size > 0) {
        return kOutTooSmall;
    }
    if (static_cast<unsigned int>(size) > outSize) {
        return AVERROR(EINVAL);
    }
    packet->size = CopyAsOpenH264(*packet, out);
    return 0;
}

Encoded EncodeInto(unsigned char* out, unsigned int outSize, AVCodecContext* context, const AVFrame* frame, bool x264) {
    AVPacket packet;
    av_init_packet(&packet);
    packet.data = x264 ? nullptr : out;
    packet.size = x264 ? 0 : static_cast<int>(outSize);
    int gotPacket = 0;
    int result = avcodec_encode_video2(context, &packet, frame, &gotPacket);
    if (result >= 0) {
        const int delivered = x264 ? DeliverFromX264(out, outSize, &packet) : DeliverTo(out, outSize, packet);
        result = delivered < 0 ? delivered : result;
        gotPacket = delivered == AVERROR(EINVAL) ? 0 : gotPacket;
    }
    // Letting the packet go empties it, so what is told of it is read before.
    const Encoded encoded{result, gotPacket != 0, packet.size, (packet.flags & AV_PKT_FLAG_KEY) != 0};
    av_packet_unref(&packet);
    return encoded;
}

}  // namespace

bool CVideoEncoder::FillFrame(CFrameBufferBase* frame) {
    const auto format = static_cast<AVPixelFormat>(m_nFfmpegPixFmt);
    const int width = static_cast<int>(m_nWidth);
    const int height = static_cast<int>(m_nHeight);
    const int size =
        av_image_fill_arrays(m_pFrame->data, m_pFrame->linesize, frame->GetData(), format, width, height, 1);
    m_pFrame->format = m_nFfmpegPixFmt;
    m_pFrame->width = width;
    m_pFrame->height = height;
    return size >= 0 && m_pFrame->data[0] != nullptr;  // else it may point at the picture before
}

int CVideoEncoder::Encode(CFrameBufferBase* frame, unsigned char* out, unsigned int outSize, int* keyFrame) {
    StatHelper stat("CVideoEncoder", &m_nLastStatMs, &m_Stat);
    if (m_nCreated == 0 || frame == nullptr || keyFrame == nullptr) {
        return AVERROR(EINVAL);
    }
    if (!FillFrame(frame)) {
        return AVERROR(EINVAL);
    }
    m_pFrame->pts = m_nCodecId == AV_CODEC_ID_H264 ? m_nNextPts++ : AV_NOPTS_VALUE;
    // x264 takes a P for an order, also where a key picture is due.
    const AVPictureType plain = m_bX264 ? AV_PICTURE_TYPE_NONE : AV_PICTURE_TYPE_P;
    m_pFrame->pict_type = *keyFrame != 0 ? AV_PICTURE_TYPE_I : plain;

    const Encoded encoded = EncodeInto(out, outSize, m_pCodecContext, m_pFrame, m_bX264);
    if (encoded.gotPacket) {
        stat.m_bCount = true;
    }
    if (encoded.result < 0) {
        return encoded.result;
    }
    *keyFrame = encoded.gotPacket && encoded.key ? 1 : 0;
    return encoded.gotPacket ? encoded.size : 0;
}
