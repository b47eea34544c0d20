#include "picture_times.h"

#include <algorithm>

namespace {

/// A decoder holds no more pictures back than this; an older stamp belongs to a picture that was lost.
constexpr std::size_t kMostHeldBack = 17;

}  // namespace

void PictureTimes::Sent(const DEMUXER_PACKET& packet) {
    const long long stamp = packet.pts != kNoTime ? packet.pts : packet.dts;
    const long long time = stamp != kNoTime ? stamp : m_Timeless++ * 1000 / m_FrameRate;
    m_LastSent = m_Waiting.insert(time);
    if (m_Waiting.size() > kMostHeldBack) {
        const auto oldest = m_Waiting.begin();
        m_LastSent = oldest == m_LastSent ? m_Waiting.end() : m_LastSent;
        m_Waiting.erase(oldest);
    }
}

void PictureTimes::Refused() {
    if (m_LastSent != m_Waiting.end()) {
        m_Waiting.erase(m_LastSent);
        m_LastSent = m_Waiting.end();
    }
}

long long PictureTimes::Take() {
    const auto smallest = m_Waiting.begin();
    const long long after = m_LastTaken ? *m_LastTaken + 1 : kNoTime;
    const long long time = smallest != m_Waiting.end() ? std::max(*smallest, after) : after;
    if (smallest != m_Waiting.end()) {
        m_LastSent = smallest == m_LastSent ? m_Waiting.end() : m_LastSent;
        m_Waiting.erase(smallest);
    }
    m_LastTaken = time;
    return time;
}
