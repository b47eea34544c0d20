#pragma once

#include <codrelay/audio_resampler.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

/// Brings samples from one format into another. Every input sample comes out: what the filter still holds at the end is
/// pushed out with silence.
class SoundConverter {
public:
    using Taker = std::function<void(const unsigned char* data, std::size_t size)>;

    /// Fails by `Failure` where the library does not convert between the two.
    SoundConverter(const AUDIO_FORMAT& in, const AUDIO_FORMAT& out, Taker taker);

    /// Takes whole groups of samples, any number of them.
    void Add(const std::vector<unsigned char>& samples);
    void Finish();

private:
    struct Disposer {
        void operator()(CAudioResamplerBase* resampler) const;
    };

    void Convert(unsigned char* data, std::size_t size);
    /// As many sample groups as the input lasts.
    std::uint64_t DueOut() const;

    AUDIO_FORMAT m_In;
    AUDIO_FORMAT m_Out;
    Taker m_Taker;
    std::unique_ptr<CAudioResamplerBase, Disposer> m_Resampler;
    std::vector<unsigned char> m_Piece;
    std::vector<unsigned char> m_Converted;
    std::uint64_t m_GroupsIn = 0;
    std::uint64_t m_GroupsOut = 0;
};
