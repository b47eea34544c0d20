#pragma once

#include <deque>
#include <functional>

#include "media_packet.h"
#include "picture_encoder.h"
#include "picture_thinner.h"
#include "picture_transform.h"

/// Decoded pictures on their way to packets: thinned, scaled and encoded.
class VideoTrack {
public:
    using Taker = std::function<void(MediaPacket)>;

    /// `mostRate` pictures a second remain; 0 keeps all.
    VideoTrack(const EncoderSetup& setup, unsigned int mostRate, Taker taker);

    void Add(const Picture& picture, long long time);

private:
    PictureSize m_Size;
    Taker m_Taker;
    PictureThinner m_Thinner;
    PictureTransform m_Transform;
    PictureEncoder m_Encoder;
    /// Of the pictures that the encoder has and gave no packet of yet.
    std::deque<long long> m_Times;
};
