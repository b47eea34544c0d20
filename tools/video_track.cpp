#include "video_track.h"

#include <utility>

VideoTrack::VideoTrack(const EncoderSetup& setup, unsigned int mostRate, Taker taker)
    : m_Size(setup.size), m_Taker(std::move(taker)), m_Thinner(mostRate), m_Transform(CSP_YUV420P), m_Encoder(setup) {}

void VideoTrack::Add(const Picture& picture, long long time) {
    if (!m_Thinner.Keep(time)) {
        return;
    }
    m_Times.push_back(time);
    const EncodedPicture packet = m_Encoder.Encode(m_Transform.Apply(picture, m_Size));
    if (packet.size > 0) {
        m_Taker({Medium::Video, {packet.data, packet.data + packet.size}, packet.isKey, m_Times.front()});
        m_Times.pop_front();
    }
}
