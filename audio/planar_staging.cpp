#include "audio/planar_staging.h"

#include <cstdint>
#include <cstring>

namespace {

bool Lists(const AVCodec* codec, AVSampleFormat format) {
    for (const AVSampleFormat* listed = codec->sample_fmts; *listed != AV_SAMPLE_FMT_NONE; ++listed) {
        if (*listed == format) {
            return true;
        }
    }
    return false;
}

// Samples are only moved, so that their size is all that matters. The host's may lie anywhere.
template <typename Sample>
void SeparateSamples(const unsigned char* in, unsigned char* out, std::size_t channels, std::size_t frameSamples) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
        const unsigned char* from = in + channel * sizeof(Sample);
        for (std::size_t i = 0; i < frameSamples; ++i) {
            std::memcpy(out, from, sizeof(Sample));
            out += sizeof(Sample);
            from += channels * sizeof(Sample);
        }
    }
}

}  // namespace

AVSampleFormat FormatForEncoder(const AVCodec* codec, AVSampleFormat packed) {
    const AVSampleFormat planar = av_get_planar_sample_fmt(packed);
    return codec->sample_fmts != nullptr && !Lists(codec, packed) && Lists(codec, planar) ? planar : packed;
}

void PlanarStaging::Open(const AVCodecContext* context) {
    Close();
    if (av_sample_fmt_is_planar(context->sample_fmt) == 0 || ChannelsOf(context) < 2) {
        return;
    }
    m_nChannels = static_cast<std::size_t>(ChannelsOf(context));
    m_nSampleBytes = static_cast<std::size_t>(av_get_bytes_per_sample(context->sample_fmt));
    m_Buffer.resize(static_cast<std::size_t>(context->frame_size) * m_nChannels * m_nSampleBytes);
}

void PlanarStaging::Close() {
    m_Buffer = std::vector<unsigned char>();
}

const unsigned char* PlanarStaging::Separate(const unsigned char* in) {
    const std::size_t frameSamples = m_Buffer.size() / (m_nChannels * m_nSampleBytes);
    if (m_nSampleBytes == sizeof(uint16_t)) {
        SeparateSamples<uint16_t>(in, m_Buffer.data(), m_nChannels, frameSamples);
    } else {
        SeparateSamples<uint32_t>(in, m_Buffer.data(), m_nChannels, frameSamples);
    }
    return m_Buffer.data();
}
