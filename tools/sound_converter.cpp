#include "sound_converter.h"

#include <codrelay/factories.h>

#include <algorithm>
#include <string>

#include "failure.h"
#include "sample_format.h"

namespace {

/// The resampler reckons its room in 32 bits: a piece of so many sample groups does not make them overflow at any rate
/// that the command takes.
constexpr std::size_t kPieceGroups = 1024;
/// The filter of the lowest rate that the command takes is shorter than so many pieces of silence.
constexpr int kMostSilence = 1024;

std::string FormatText(const AUDIO_FORMAT& format) {
    return SampleFormatName(format.sampleFormat) + " at " + std::to_string(format.sampleRate) + " Hz with " +
           std::to_string(format.channels) + " channels";
}

}  // namespace

void SoundConverter::Disposer::operator()(CAudioResamplerBase* resampler) const {
    resampler->Destroy();
    resampler->Delete();
}

SoundConverter::SoundConverter(const AUDIO_FORMAT& in, const AUDIO_FORMAT& out, Taker taker)
    : m_In(in),
      m_Out(out),
      m_Taker(std::move(taker)),
      m_Resampler(Codrelay_AudioResampler()),
      m_Piece(kPieceGroups * GroupBytes(in)) {
    unsigned int room = 0;
    if (!m_Resampler->Create(&m_In, &m_Out, static_cast<unsigned int>(m_Piece.size()), room)) {
        throw Failure("the library does not convert " + FormatText(in) + " to " + FormatText(out));
    }
    m_Converted.resize(room);
}

void SoundConverter::Add(const std::vector<unsigned char>& samples) {
    m_GroupsIn += samples.size() / GroupBytes(m_In);
    for (std::size_t at = 0; at < samples.size(); at += m_Piece.size()) {
        const std::size_t size = std::min(m_Piece.size(), samples.size() - at);
        std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(at), size, m_Piece.begin());
        Convert(m_Piece.data(), size);
    }
}

void SoundConverter::Finish() {
    // No decoder gives unsigned samples, so zeros are silence.
    std::fill(m_Piece.begin(), m_Piece.end(), static_cast<unsigned char>(0));
    for (int i = 0; i < kMostSilence && m_GroupsOut < DueOut(); ++i) {
        Convert(m_Piece.data(), m_Piece.size());
    }
}

/// What is beyond the length of the input is an echo of the silence.
void SoundConverter::Convert(unsigned char* data, std::size_t size) {
    unsigned int length = 0;
    if (!m_Resampler->Resample(data, static_cast<unsigned int>(size), m_Converted.data(), length)) {
        throw Failure("the library cannot convert to " + FormatText(m_Out));
    }
    const std::uint64_t groups = std::min<std::uint64_t>(length / GroupBytes(m_Out), DueOut() - m_GroupsOut);
    m_GroupsOut += groups;
    m_Taker(m_Converted.data(), static_cast<std::size_t>(groups) * GroupBytes(m_Out));
}

std::uint64_t SoundConverter::DueOut() const {
    const auto in = static_cast<std::uint64_t>(m_In.sampleRate);
    return (m_GroupsIn * static_cast<std::uint64_t>(m_Out.sampleRate) + in / 2) / in;
}
