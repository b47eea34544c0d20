#pragma once

#include <codrelay/audio_decoder.h>

#include <memory>
#include <vector>

#include "packet_source.h"

/// Decodes the packets of one audio stream.
class SoundDecoder {
public:
    /// Fails by `Failure`, naming `file`, where the library does not decode the stream.
    SoundDecoder(const StreamInfo& stream, const std::string& file);

    /// Of the samples: interleaved, in the form that the decoder gives.
    const AUDIO_FORMAT& Format() const { return m_Format; }
    /// The samples of a packet, which may be none, or null for one that cannot be decoded. Good until the next call.
    const std::vector<unsigned char>* Decode(const DEMUXER_PACKET& packet);

private:
    struct Disposer {
        void operator()(CAudioDecoderBase* decoder) const;
    };

    std::unique_ptr<CAudioDecoderBase, Disposer> m_Decoder;
    AUDIO_FORMAT m_Format;
    std::vector<unsigned char> m_Samples;
};
