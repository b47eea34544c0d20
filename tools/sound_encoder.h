#pragma once

#include <codrelay/audio_encoder.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

/// An encoder holds less than so many sample groups back. MP3 does the most, at its lowest bit rates.
inline constexpr std::size_t kHeldBackGroups = std::size_t{24} * 1152;

/// Encodes samples of any length; what is no whole frame yet waits for more.
class SoundEncoder {
public:
    /// Gets a packet and its time in samples from the first one given; negative by the codec's delay at the start.
    using Taker = std::function<void(std::vector<unsigned char> packet, long long time)>;

    /// `format` is one that the encoder takes. Fails by `Failure` where it does not.
    SoundEncoder(int codecId, const AUDIO_FORMAT& format, unsigned int bitRate);

    void Add(const unsigned char* samples, std::size_t size, const Taker& taker);

private:
    struct Disposer {
        void operator()(CAudioEncoderBase* encoder) const;
    };

    std::unique_ptr<CAudioEncoderBase, Disposer> m_Encoder;
    std::vector<unsigned char> m_Pending;
    std::vector<unsigned char> m_Packet;
};

/// The samples that an encoder of the library is best given: MP3 at 48000 Hz, which runs true in every container.
AUDIO_FORMAT FormatForEncoder(int codecId, int channels);

/// The length of the MP3 frames of such an encoder, which are all alike at that rate.
int Mp3FrameBytes(const AUDIO_FORMAT& format, unsigned int bitRate);
