#pragma once

#include <functional>
#include <vector>

#include "media_packet.h"
#include "sound_converter.h"
#include "sound_encoder.h"

/// Decoded sound on its way to packets. Keeps it in step with its times: gaps are filled with silence, and what
/// overlaps is cut away.
class SoundTrack {
public:
    using Taker = std::function<void(MediaPacket)>;

    SoundTrack(const AUDIO_FORMAT& in, int codecId, const AUDIO_FORMAT& out, unsigned int bitRate, Taker taker);

    /// Takes the samples of one packet, the first of which is heard at `time` milliseconds.
    void Add(std::vector<unsigned char> samples, long long time);
    /// Pushes out what converter and encoder still hold.
    void Finish();

private:
    void FollowTime(std::vector<unsigned char>& samples, long long time);
    void Feed(const std::vector<unsigned char>& samples);
    void Encode(const unsigned char* data, std::size_t size);
    void TakePacket(std::vector<unsigned char> packet, long long time);

    AUDIO_FORMAT m_In;
    AUDIO_FORMAT m_Out;
    int m_CodecId;
    Taker m_Taker;
    SoundEncoder m_Encoder;
    SoundConverter m_Converter;
    bool m_Started = false;
    long long m_Start = 0;
    /// Sample groups taken so far, and how many of the other format came of them.
    long long m_Groups = 0;
    long long m_GroupsOut = 0;
};
