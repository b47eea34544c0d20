#pragma once

#include <cstddef>
#include <vector>

#include "support/ffmpeg.h"

/// The packed format if the encoder lists it, else its planar twin if the encoder lists that, else the packed one for
/// the encoder to refuse.
AVSampleFormat FormatForEncoder(const AVCodec* codec, AVSampleFormat packed);

/// Hosts hand over interleaved samples, while most of FFmpeg's encoders want one block a channel. One frame is taken
/// apart here, into memory that is allocated once.
class PlanarStaging {
public:
    /// Makes room for the frames of an opened encoder. An encoder whose samples lie as the host's do needs none.
    void Open(const AVCodecContext* context);
    void Close();

    bool IsNeeded() const { return !m_Buffer.empty(); }

    /// The planes of one frame, back to back. REQUIRES: IsNeeded(), and `in` holds a whole frame.
    const unsigned char* Separate(const unsigned char* in);

private:
    std::vector<unsigned char> m_Buffer;
    std::size_t m_nChannels = 0;
    std::size_t m_nSampleBytes = 0;
};
