#include "container/ffmpeg_av_packet.h"

FfmpegAvPacket::FfmpegAvPacket() : m_Packet(), m_bValid(false), m_bOwnsData(false) {
    av_init_packet(&m_Packet);
    m_Packet.data = nullptr;
    m_Packet.size = 0;
}

FfmpegAvPacket::~FfmpegAvPacket() {
    Release();
}

void FfmpegAvPacket::Release() {
    if (!m_bValid) {
        return;
    }
    if (m_bOwnsData) {
        av_free(m_Packet.data);
        m_Packet.data = nullptr;
        m_Packet.size = 0;
        m_bOwnsData = false;
    }
    av_free_packet(&m_Packet);
    m_bValid = false;
}

void FfmpegAvPacket::SetValid(bool valid) {
    m_bValid = valid;
}

void FfmpegAvPacket::SetPacket(const AVPacket* packet, bool ownsData) {
    Release();
    m_Packet = *packet;
    m_bOwnsData = ownsData;
    m_bValid = true;
}

AVPacket* FfmpegAvPacket::GetAvPacket() {
    return &m_Packet;
}

void FfmpegAvPacket::GetDemuxerPacket(DEMUXER_PACKET* out) {
    out->data = m_Packet.data;
    out->size = m_Packet.size;
    out->streamIndex = m_Packet.stream_index;
    out->pts = m_Packet.pts;
    out->dts = m_Packet.dts;
    out->keyFrame = static_cast<unsigned int>(m_Packet.flags & AV_PKT_FLAG_KEY);
}
