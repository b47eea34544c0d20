#pragma once

#include <vector>

#include "codrelay/file_demuxer.h"
#include "container/peer_packets.h"

/// Keeps the facts of each packet, and the last record as it came.
class RecordingCallback : public CDemuxerFileCallback {
public:
    int OnPacket(DEMUXER_PACKET* packet) override {
        last = *packet;
        packets.push_back(FactsOf(*packet));
        return result;
    }

    DEMUXER_PACKET last{};
    std::vector<PacketFacts> packets;
    int result = 0;
};
