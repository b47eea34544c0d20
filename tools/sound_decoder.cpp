#include "sound_decoder.h"

#include <codrelay/factories.h>
#include <codrelay/media_ids.h>

#include <algorithm>

#include "failure.h"
#include "media_names.h"

namespace {

std::string RefusalText(const StreamInfo& stream) {
    const std::string text = "its " + AudioCodecName(stream.codecId) + " audio, " +
                             std::to_string(stream.audio.sampleRate) + " Hz with " +
                             std::to_string(stream.audio.channels) + " channels, is not decoded by the library";
    return stream.codecId != AUDIO_CODEC_ADPCM_IMA_WAV ? text : text + ", which is not told the size of its blocks";
}

}  // namespace

void SoundDecoder::Disposer::operator()(CAudioDecoderBase* decoder) const {
    decoder->DestroyDecoder();
    decoder->Delete();
}

SoundDecoder::SoundDecoder(const StreamInfo& stream, const std::string& file) : m_Format(stream.audio) {
    if (stream.codecId < 0) {
        throw Failure(file + ": its audio is in a codec that the demuxers have no id for, such as Opus or G.726");
    }
    m_Decoder.reset(Codrelay_AudioDecoder(stream.codecId));
    // A damaged container may tell of none.
    const bool canSound = m_Format.channels > 0 && m_Format.sampleRate > 0;
    if (!m_Decoder || !canSound ||
        !m_Decoder->CreateDecoder(m_Format.channels, m_Format.sampleRate, m_Format.sampleFormat, nullptr, 0)) {
        throw Failure(file + ": " + RefusalText(stream));
    }
}

/// Packets of plain samples may be longer than the decoder asks room for; the laws double their bytes.
const std::vector<unsigned char>* SoundDecoder::Decode(const DEMUXER_PACKET& packet) {
    const auto size = static_cast<unsigned int>(packet.size);
    m_Samples.resize(std::max(static_cast<unsigned int>(m_Decoder->GetMinOutBufLen()), 2 * size));
    unsigned int consumed = 0;
    unsigned int written = 0;
    const int result = m_Decoder->Decode(packet.data, size, reinterpret_cast<short*>(m_Samples.data()),
                                         static_cast<unsigned int>(m_Samples.size()), consumed, written);
    m_Samples.resize(written);
    return result == 0 ? &m_Samples : nullptr;
}
