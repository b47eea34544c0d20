#pragma once

#include <cstdlib>
#include <vector>

#include "support/ffmpeg.h"

/// Encodes one frame as a host of the FFmpeg that runs does it by hand: with FFmpeg 4 into memory of its own, by
/// `former`, avcodec_encode_video2 or avcodec_encode_audio2; from FFmpeg 5 on, which has them no more, by sending and
/// receiving. Returns the size of the packet, 0 where none came.
class PlainEncode {
public:
    using Former = int (*)(AVCodecContext*, AVPacket*, const AVFrame*, int*);

    PlainEncode(Former former, std::size_t room) : m_pFormer(former), m_Out(room) {}
    ~PlainEncode() { av_packet_free(&m_pPacket); }
    PlainEncode(const PlainEncode&) = delete;
    PlainEncode& operator=(const PlainEncode&) = delete;

    int operator()(AVCodecContext* context, const AVFrame* frame) {
        return m_bHasFormer ? IntoMemory(context, frame) : SendAndReceive(context, frame);
    }

private:
    static void Check(int result) {
        if (result < 0) {
            std::abort();
        }
    }

    int IntoMemory(AVCodecContext* context, const AVFrame* frame) {
        AVPacket packet;
        av_init_packet(&packet);
        packet.data = m_Out.data();
        packet.size = static_cast<int>(m_Out.size());
        int got = 0;
        Check(m_pFormer(context, &packet, frame, &got));
        const int size = packet.size;
        av_packet_unref(&packet);
        return size;
    }

    int SendAndReceive(AVCodecContext* context, const AVFrame* frame) {
        Check(avcodec_send_frame(context, frame));
        if (avcodec_receive_packet(context, m_pPacket) < 0) {
            return 0;
        }
        const int size = m_pPacket->size;
        av_packet_unref(m_pPacket);
        return size;
    }

    const bool m_bHasFormer = AV_VERSION_MAJOR(avcodec_version()) < 59;
    Former m_pFormer;
    AVPacket* m_pPacket = av_packet_alloc();
    std::vector<unsigned char> m_Out;
};
