#include "sound_track.h"

#include <codrelay/media_ids.h>

#include <algorithm>
#include <utility>

#include "adts.h"
#include "failure.h"
#include "interrupt.h"
#include "sample_format.h"

namespace {

/// Containers round their times; less than this is no gap.
constexpr long long kToleratedMs = 30;

}  // namespace

SoundTrack::SoundTrack(const AUDIO_FORMAT& in, int codecId, const AUDIO_FORMAT& out, unsigned int bitRate, Taker taker)
    : m_In(in),
      m_Out(out),
      m_CodecId(codecId),
      m_Taker(std::move(taker)),
      m_Encoder(codecId, out, bitRate),
      m_Converter(in, out, [this](const unsigned char* data, std::size_t size) {
          m_GroupsOut += static_cast<long long>(size / GroupBytes(m_Out));
          Encode(data, size);
      }) {}

void SoundTrack::Add(std::vector<unsigned char> samples, long long time) {
    if (samples.empty()) {
        return;
    }
    if (!m_Started) {
        m_Started = true;
        m_Start = time;
    }
    FollowTime(samples, time);
    Feed(samples);
}

void SoundTrack::FollowTime(std::vector<unsigned char>& samples, long long time) {
    const long long late = time - (m_Start + m_Groups * 1000 / m_In.sampleRate);
    const std::size_t group = GroupBytes(m_In);
    if (late > kToleratedMs) {
        // Piece by piece: a gap may be long.
        const long long missing = late * m_In.sampleRate / 1000;
        const std::vector<unsigned char> second(group * static_cast<std::size_t>(m_In.sampleRate));
        for (long long left = missing; left > 0; left -= m_In.sampleRate) {
            StopIfInterrupted();
            const auto groups = static_cast<std::size_t>(std::min<long long>(left, m_In.sampleRate));
            Feed({second.begin(), second.begin() + static_cast<std::ptrdiff_t>(groups * group)});
        }
    } else if (late < -kToleratedMs) {
        const auto surplus = static_cast<std::size_t>(-late * m_In.sampleRate / 1000) * group;
        samples.erase(samples.begin(),
                      samples.begin() + static_cast<std::ptrdiff_t>(std::min(surplus, samples.size())));
    }
}

void SoundTrack::Feed(const std::vector<unsigned char>& samples) {
    m_Groups += static_cast<long long>(samples.size() / GroupBytes(m_In));
    m_Converter.Add(samples);
}

void SoundTrack::Finish() {
    m_Converter.Finish();
    if (m_Started && m_CodecId != AUDIO_CODEC_PCM_S16LE) {
        const std::vector<unsigned char> silence(kHeldBackGroups * GroupBytes(m_Out));
        Encode(silence.data(), silence.size());
    }
}

void SoundTrack::Encode(const unsigned char* data, std::size_t size) {
    m_Encoder.Add(data, size,
                  [this](std::vector<unsigned char> packet, long long time) { TakePacket(std::move(packet), time); });
}

/// A packet that begins where the sound has ended holds the silence that pushed it out.
void SoundTrack::TakePacket(std::vector<unsigned char> packet, long long time) {
    if (time >= m_GroupsOut) {
        return;
    }
    if (m_CodecId == AUDIO_CODEC_AAC && !FrameAsAdts(packet, m_Out)) {
        throw Failure("the aac sound cannot be framed for a container");
    }
    m_Taker({Medium::Sound, std::move(packet), true, m_Start + time * 1000 / m_Out.sampleRate});
}
