#include "sound_encoder.h"

#include <codrelay/factories.h>
#include <codrelay/media_ids.h>

#include <algorithm>
#include <string>

#include "failure.h"
#include "media_names.h"
#include "sample_format.h"

namespace {

/// A packet of plain samples is as long as its input, and FLV knows few rates of them.
constexpr std::size_t kMostAtOnce = 4096;
constexpr int kPlainRate = 44100;
constexpr int kCodedRate = 48000;

std::string RefusalText(int codecId, const AUDIO_FORMAT& format, unsigned int bitRate) {
    return "the " + AudioCodecName(codecId) + " encoder does not take sound of " + std::to_string(format.sampleRate) +
           " Hz with " + std::to_string(format.channels) + " channels at " + std::to_string(bitRate) + " bits a second";
}

}  // namespace

AUDIO_FORMAT FormatForEncoder(int codecId, int channels) {
    const int sampleFormat = codecId == AUDIO_CODEC_AAC ? AUDIO_SAMPLE_FLT : AUDIO_SAMPLE_S16;
    return {codecId == AUDIO_CODEC_PCM_S16LE ? kPlainRate : kCodedRate, channels, sampleFormat};
}

int Mp3FrameBytes(const AUDIO_FORMAT& format, unsigned int bitRate) {
    SoundEncoder encoder(AUDIO_CODEC_MP3, format, bitRate);
    const std::vector<unsigned char> silence(kHeldBackGroups * GroupBytes(format));
    std::size_t bytes = 0;
    encoder.Add(silence.data(), silence.size(),
                [&bytes](const std::vector<unsigned char>& packet, long long) { bytes = packet.size(); });
    return static_cast<int>(bytes);
}

void SoundEncoder::Disposer::operator()(CAudioEncoderBase* encoder) const {
    encoder->DestroyEncoder();
    encoder->Delete();
}

SoundEncoder::SoundEncoder(int codecId, const AUDIO_FORMAT& format, unsigned int bitRate)
    : m_Encoder(Codrelay_AudioEncoder(codecId)) {
    if (!m_Encoder || !m_Encoder->CreateEncoder(&format, bitRate)) {
        throw Failure(RefusalText(codecId, format, bitRate));
    }
    m_Packet.resize(std::max(static_cast<std::size_t>(m_Encoder->GetMinOutBufLen()), 2 * kMostAtOnce));
}

void SoundEncoder::Add(const unsigned char* samples, std::size_t size, const Taker& taker) {
    for (std::size_t at = 0; at < size; at += kMostAtOnce) {
        m_Pending.insert(m_Pending.end(), samples + at, samples + std::min(size, at + kMostAtOnce));
        unsigned int consumed = 0;
        do {
            unsigned int written = 0;
            long long time = 0;
            if (m_Pending.empty()) {
                break;
            }
            if (m_Encoder->Encode(m_Pending.data(), static_cast<unsigned int>(m_Pending.size()), m_Packet.data(),
                                  static_cast<unsigned int>(m_Packet.size()), consumed, written, time) == 0) {
                throw Failure("the sound cannot be encoded");
            }
            m_Pending.erase(m_Pending.begin(), m_Pending.begin() + consumed);
            if (written > 0) {
                taker({m_Packet.begin(), m_Packet.begin() + written}, time);
            }
        } while (consumed > 0);
    }
}
