#include <algorithm>
#include <cstring>
#include <new>

#include "audio/audio_decoder.h"
#include "support/ffmpeg_error.h"
#include "support/log_front.h"

// What happens to one packet and to the frames that it yields.

int CAudioDecoder::Decode(unsigned char* in, unsigned int inLen, short* out, unsigned int outLen,
                          unsigned int& consumed, unsigned int& written) {
    consumed = 0;
    written = 0;
    if (inLen == 0 || in == nullptr) {
        FFMPEG_LOG(Warning) << "CAudioDecoder::Decode: Nothing to decode!";
        return 2;
    }
    if (!m_bCreated) {
        FFMPEG_LOG(Error) << "CAudioDecoder::Decode: You should create first!";
        return 2;
    }
    if (!HasFrame()) {
        return 2;
    }
    m_pPacket->data = in;
    m_pPacket->size = static_cast<int>(inLen);
    consumed = inLen;
    int room = static_cast<int>(outLen);
    if (DecodePacket(out, room) < 0) {
        return 2;
    }
    written = outLen - static_cast<unsigned int>(room);
    return 0;
}

bool CAudioDecoder::HasFrame() {
    if (m_pFrame == nullptr) {
        m_pFrame = av_frame_alloc();
    }
    if (m_pFrame == nullptr) {
        FFMPEG_LOG(Critical) << "CAudioDecoder::Decode: Could not allocate audio frame";
    }
    return m_pFrame != nullptr;
}

int CAudioDecoder::DecodePacket(short* out, int& outLen) {
    if (out == nullptr || outLen <= 0) {
        return -1;
    }
    const int result = avcodec_send_packet(m_pCodecContext, m_pPacket);
    if (result < 0) {
        FFMPEG_LOG(Error) << "CAudioDecoder::DecodePacket: "
                          << "Error submitting the packet to the decoder: " << FfmpegErrorText(result).c_str();
        return -1;
    }
    // What stayed inside would come out as if it were the next packet's, and would stop the one after that.
    try {
        const int drained = DrainFrames(reinterpret_cast<uint8_t*>(out), outLen);
        if (drained < 0) {
            DropFrames();
        }
        return drained;
    } catch (const std::bad_alloc&) {
        DropFrames();
        throw;
    }
}

int CAudioDecoder::DrainFrames(uint8_t* out, int& outLen) {
    for (;;) {
        const int result = avcodec_receive_frame(m_pCodecContext, m_pFrame);
        if (result == AVERROR_EOF || result == AVERROR(EAGAIN)) {
            return 0;
        }
        if (result < 0) {
            FFMPEG_LOG(Error) << "CAudioDecoder::DecodePacket: "
                              << "Error during decoding: " << FfmpegErrorText(result).c_str();
            return -1;
        }
        if (CopyOutFrame(out, outLen) < 0) {
            return -1;
        }
    }
}

int CAudioDecoder::CopyOutFrame(uint8_t*& out, int& outLen) {
    int lineSize = 0;
    // Negative for a frame without samples, which then adds nothing.
    const int size =
        std::max(0, av_samples_get_buffer_size(&lineSize, av_frame_get_channels(m_pFrame), m_pFrame->nb_samples,
                                               static_cast<AVSampleFormat>(m_pFrame->format), 1));
    if (outLen < size) {
        FFMPEG_LOG(Error) << "CAudioDecoder::DecodePacket: "
                          << "Output buffer size is too small for the current frame (" << outLen << " < " << size
                          << ")";
        return -1;
    }
    if (m_pResampler != nullptr) {
        const int converted = Resample(out);
        if (converted != m_pFrame->nb_samples) {
            FFMPEG_LOG(Critical) << "CAudioDecoder::DecodePacket: failed to resample planar data: "
                                 << FfmpegErrorText(converted).c_str();
            return -1;
        }
    } else {
        std::memcpy(out, m_pFrame->extended_data[0], static_cast<std::size_t>(lineSize));
    }
    out += size;
    outLen -= size;
    return 0;
}

// AAC and MP3 follow the stream: a frame that has turned mono or changed its format has not the planes that the
// resampler reads.
int CAudioDecoder::Resample(uint8_t* out) {
    if (av_frame_get_channels(m_pFrame) < m_nResamplerChannels || m_pFrame->format != m_nResamplerFormat) {
        return AVERROR(EINVAL);
    }
    return swr_convert(m_pResampler, &out, m_pFrame->nb_samples, const_cast<const uint8_t**>(m_pFrame->extended_data),
                       m_pFrame->nb_samples);
}

void CAudioDecoder::DropFrames() {
    while (avcodec_receive_frame(m_pCodecContext, m_pFrame) >= 0) {
    }
}
