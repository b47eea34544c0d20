#include "packet_interleaver.h"

#include <algorithm>
#include <utility>

namespace {

/// A medium that stays away for so many packets of the other is not waited for.
constexpr std::size_t kMostWaiting = 500;

}  // namespace

void PacketInterleaver::Add(MediaPacket packet) {
    (packet.medium == Medium::Video ? m_Video : m_Sound).push_back(std::move(packet));
    while ((!m_Video.empty() && !m_Sound.empty()) || std::max(m_Video.size(), m_Sound.size()) > kMostWaiting ||
           (!m_Both && m_Video.size() + m_Sound.size() > 0)) {
        WriteEarliest();
    }
}

void PacketInterleaver::Finish() {
    while (!m_Video.empty() || !m_Sound.empty()) {
        WriteEarliest();
    }
}

void PacketInterleaver::WriteEarliest() {
    const bool sound = m_Video.empty() || (!m_Sound.empty() && m_Sound.front().time < m_Video.front().time);
    std::deque<MediaPacket>& queue = sound ? m_Sound : m_Video;
    m_Writer.Write(queue.front());
    queue.pop_front();
}
