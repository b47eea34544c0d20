#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "codrelay/demuxer_packet.h"

/// One packet by all that can be told of it.
struct PacketFacts {
    int stream;
    std::int64_t pts;
    std::int64_t dts;
    int size;
    unsigned int key;
    std::string md5;

    bool operator==(const PacketFacts& other) const;
};

void PrintTo(const PacketFacts& packet, std::ostream* out);

PacketFacts FactsOf(const DEMUXER_PACKET& packet);

/// The packets of one stream.
std::vector<PacketFacts> OfStream(const std::vector<PacketFacts>& packets, int stream);

/// What the ffprobe command reads from a file, in the order of the file, times in ticks. Throws where it fails.
std::vector<PacketFacts> PeerPackets(const std::string& path);

/// The ticks of a stream, as the ffprobe command tells them.
struct TimeBase {
    int num;
    int den;
};
std::vector<TimeBase> PeerTimeBases(const std::string& path);

/// What the ffmpeg command's own h264_mp4toannexb makes of a stream: sizes and hashes in the order of the file.
struct PeerBytes {
    int size;
    std::string md5;
};
std::vector<PeerBytes> PeerAnnexB(const std::string& path, int stream);

/// Puts the times of packets in milliseconds, in double arithmetic cut towards zero.
std::vector<PacketFacts> InMilliseconds(std::vector<PacketFacts> packets, const std::vector<TimeBase>& timeBases);

/// `packets` with the bytes of one stream, one after the other, replaced. REQUIRES: as many as the stream has.
std::vector<PacketFacts> WithBytes(std::vector<PacketFacts> packets, int stream, const std::vector<PeerBytes>& bytes);
