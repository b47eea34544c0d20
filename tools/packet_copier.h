#pragma once

#include <optional>
#include <string>

#include "media_packet.h"
#include "packet_source.h"

/// Makes packets for a container out of those of one stream of a file, with their bytes as they are.
class PacketCopier {
public:
    /// `file` is named where a packet cannot be copied.
    PacketCopier(const StreamInfo& stream, std::string file);

    /// A `Failure` where the muxers could not do right by the packet.
    MediaPacket Copy(const DEMUXER_PACKET& packet);

private:
    long long TimeOf(const DEMUXER_PACKET& packet) const;
    void CheckHeaders(const MediaPacket& packet) const;

    StreamInfo m_Stream;
    std::string m_File;
    std::optional<long long> m_Previous;
};
