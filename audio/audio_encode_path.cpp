#include <algorithm>
#include <memory>

#include "audio/aac_range.h"
#include "audio/audio_encoder.h"
#include "support/log_front.h"

// What happens to one frame of samples.

namespace {

// A host's timestamp may be any number; sums and differences wrap.
long long Sum(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) + static_cast<unsigned long long>(b));
}

long long Difference(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) - static_cast<unsigned long long>(b));
}

}  // namespace

int CAudioEncoder::Encode(unsigned char* in, unsigned int inLen, unsigned char* out, unsigned int outLen,
                          unsigned int& consumed, unsigned int& written, long long& pts) {
    const long long hostPts = pts;
    pts = 0;
    if (m_nCreated == 0) {
        FFMPEG_LOG(Error) << "CAudioEncoder::Encode: not created!";
        return 0;
    }
    const unsigned int frameSamples = FrameSamples(inLen);
    m_pFrame->nb_samples = static_cast<int>(frameSamples);
    const unsigned int frameBytes = FrameBytes(frameSamples);
    if (frameBytes == 0) {
        FFMPEG_LOG(Error) << "CAudioEncoder::Encode: input param error!";
        return 0;
    }
    consumed = 0;
    written = 0;
    if (inLen == 0 || frameBytes > inLen) {
        pts = m_nLastPacketPts;
        return 1;
    }
    Resynchronise(hostPts, pts);
    if (FillFrame(in, inLen) < 0) {
        FFMPEG_LOG(Critical) << "CAudioEncoder::Encode: fill frame failed!";
        return 0;
    }
    m_pFrame->pts = m_nNextPts;
    return EncodeFrame(out, outLen, frameBytes, consumed, written, pts);
}

// PCM has no frame size of its own: the whole input is one.
unsigned int CAudioEncoder::FrameSamples(unsigned int inLen) const {
    if (m_pCodecContext->frame_size != 0) {
        return static_cast<unsigned int>(m_pCodecContext->frame_size);
    }
    const auto groupBits = static_cast<unsigned int>(av_get_bits_per_sample(m_nCodecId)) *
                           static_cast<unsigned int>(ChannelsOf(m_pCodecContext));
    return groupBits != 0 ? inLen * 8 / groupBits : 0;
}

unsigned int CAudioEncoder::FrameBytes(unsigned int frameSamples) const {
    return static_cast<unsigned int>(av_get_bytes_per_sample(m_pCodecContext->sample_fmt)) * frameSamples *
           static_cast<unsigned int>(ChannelsOf(m_pCodecContext));
}

// The difference in the line is taken from `pts`, which is zero by now; readers of the log know it so.
void CAudioEncoder::Resynchronise(long long hostPts, long long pts) {
    if (hostPts > 0 && Difference(hostPts, m_nNextPts) > m_nResyncThreshold) {
        FFMPEG_LOG(Info) << "CAudioEncoder::Encode: diffPts=" << Difference(pts, m_nNextPts)
                         << ", change from=" << m_nNextPts << ", to=" << hostPts;
        m_nNextPts = hostPts;
    }
}

// FFmpeg would take null, and does not see the host's length where its samples are taken apart.
int CAudioEncoder::FillFrame(const unsigned char* in, unsigned int inLen) {
    const auto size = static_cast<int>(inLen);
    if (in == nullptr || size < 0) {
        return AVERROR(EINVAL);
    }
    const unsigned char* samples = m_Staging.IsNeeded() ? m_Staging.Separate(in) : in;
    return avcodec_fill_audio_frame(m_pFrame, ChannelsOf(m_pCodecContext), m_pCodecContext->sample_fmt, samples, size,
                                    1);
}

// FFmpeg refuses infinite samples only with a later call, whose own are good, and never returns from other large ones.
bool CAudioEncoder::IsEncodable(unsigned int frameBytes) const {
    return m_nCodecId != AV_CODEC_ID_AAC || AreWithinAacRange(m_pFrame->extended_data[0], frameBytes);
}

int CAudioEncoder::EncodeFrame(unsigned char* out, unsigned int outLen, unsigned int frameBytes, unsigned int& consumed,
                               unsigned int& written, long long& pts) {
    AVPacket packet;
    av_init_packet(&packet);
    packet.data = out;
    packet.size = static_cast<int>(outLen);
    // Where there is no buffer, FFmpeg allocates the packet.
    const std::unique_ptr<AVPacket, void (*)(AVPacket*)> allocated(out == nullptr ? &packet : nullptr, av_packet_unref);
    int gotPacket = 0;
    const int result = IsEncodable(frameBytes) ? avcodec_encode_audio2(m_pCodecContext, &packet, m_pFrame, &gotPacket)
                                               : AVERROR(EINVAL);
    av_packet_free_side_data(&packet);
    if (result < 0) {
        FFMPEG_LOG(Critical) << "CAudioEncoder::Encode: encoding failed: " << result;
        return 0;
    }
    consumed += frameBytes;
    m_nNextPts = Sum(m_nNextPts, m_pFrame->nb_samples);
    if (gotPacket != 0) {
        TakePacket(packet, outLen, written, pts);
    } else {
        pts = m_nLastPacketPts;
    }
    return 1;
}

void CAudioEncoder::TakePacket(const AVPacket& packet, unsigned int outLen, unsigned int& written, long long& pts) {
    const auto size = static_cast<unsigned int>(packet.size);
    if (size > outLen) {
        FFMPEG_LOG(Critical) << "CAudioEncoder::Encode: CRITICAL ERROR pkt.size > dwOutBufLen";
    }
    written += std::min(size, outLen);
    m_nExpectedPts = Sum(packet.pts, packet.duration);
    m_nLastPacketPts = packet.pts;
    pts = packet.pts;
}
