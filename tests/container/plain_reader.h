#pragma once

#include <cstddef>
#include <vector>

#include "container/packet_collector.h"

/// The demuxer's buffer, and what libavformat reads at once.
inline constexpr unsigned int kCapacity = 524288;
/// How many reads of a PlainReader may be kept short.
inline constexpr int kSmallPieces = 100;

/// A plain libavformat loop over bytes in memory, without a look at the streams beyond the header.
struct PlainReader {
    const std::vector<unsigned char>& bytes;
    std::size_t smallPiece = 0;  ///< the length of the first kSmallPieces reads, or 0
    std::size_t position = 0;
    int reads = 0;

    static int Read(void* opaque, unsigned char* out, int size);
    std::vector<Packet> AllPackets(const char* formatName);
};
