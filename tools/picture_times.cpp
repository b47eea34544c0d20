#include "picture_times.h"

#include <codrelay/media_ids.h>

#include <algorithm>

namespace {

/// A decoder holds no more pictures back than this; an older stamp belongs to a picture that was lost.
std::size_t MostHeldBack(int codecId) {
    switch (codecId) {
        case VIDEO_CODEC_H264:
        case VIDEO_CODEC_H265:
            return 16;
        case VIDEO_CODEC_MPEG4:
            return 1;
        default:
            return 0;
    }
}

}  // namespace

PictureTimes::PictureTimes(int codecId, unsigned int frameRate)
    : m_MostHeldBack(MostHeldBack(codecId)), m_FrameRate(frameRate) {}

/// A stream that begins between two key pictures gives no picture before the first of them.
void PictureTimes::Sent(const DEMUXER_PACKET& packet) {
    if (packet.keyFrame != 0 && !m_KeySeen) {
        m_KeySeen = true;
        m_Waiting.clear();
    }
    const long long stamp = StampOf(packet);
    m_LastSent = m_Waiting.insert(stamp != kNoTime ? stamp : m_Timeless++ * 1000 / m_FrameRate);
    if (m_Waiting.size() > m_MostHeldBack + 1) {
        Drop(m_Waiting.begin());
    }
}

void PictureTimes::Refused() {
    if (m_LastSent != m_Waiting.end()) {
        Drop(m_LastSent);
    }
}

long long PictureTimes::Take() {
    const long long after = m_LastTaken ? *m_LastTaken + 1 : kNoTime;
    const auto smallest = m_Waiting.begin();
    m_LastTaken = smallest != m_Waiting.end() ? std::max(*smallest, after) : after;
    if (smallest != m_Waiting.end()) {
        Drop(smallest);
    }
    return *m_LastTaken;
}

void PictureTimes::Drop(std::multiset<long long>::iterator stamp) {
    m_LastSent = stamp == m_LastSent ? m_Waiting.end() : m_LastSent;
    m_Waiting.erase(stamp);
}
