#pragma once

#include <optional>
#include <set>

#include "packet_source.h"

/// Gives each picture its time. A decoder hands its pictures out in the order of display, each with the stamp of the
/// packet that pushed it out: where pictures are reordered that is a later one, so the stamps are kept and sorted.
class PictureTimes {
public:
    /// `frameRate` is the pace of packets without times.
    PictureTimes(int codecId, unsigned int frameRate);

    void Sent(const DEMUXER_PACKET& packet);
    /// The packet sent last gives no picture: the decoder refused it.
    void Refused();
    /// The time of the next picture, in milliseconds; times rise. REQUIRES: a packet was sent.
    long long Take();

private:
    void Drop(std::multiset<long long>::iterator stamp);

    std::size_t m_MostHeldBack;
    unsigned int m_FrameRate;
    std::multiset<long long> m_Waiting;
    std::multiset<long long>::iterator m_LastSent = m_Waiting.end();
    bool m_KeySeen = false;
    long long m_Timeless = 0;
    std::optional<long long> m_LastTaken;
};
