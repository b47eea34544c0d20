#pragma once

#include <deque>

#include "container_writer.h"
#include "media_packet.h"

/// Hands packets of two media to a writer by their times, the earliest first: the first packet of all gives the
/// container its origin, and nothing may lie before that.
class PacketInterleaver {
public:
    /// `both`: whether packets of both media will come.
    PacketInterleaver(ContainerWriter& writer, bool both) : m_Writer(writer), m_Both(both) {}

    void Add(MediaPacket packet);
    /// Hands over what waits for its like of the other medium.
    void Finish();

private:
    void WriteEarliest();

    ContainerWriter& m_Writer;
    bool m_Both;
    std::deque<MediaPacket> m_Video;
    std::deque<MediaPacket> m_Sound;
};
