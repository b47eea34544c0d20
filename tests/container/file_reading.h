#pragma once

#include <string>
#include <vector>

#include "common/log_capture.h"
#include "container/demuxer_file.h"
#include "container/peer_packets.h"
#include "container/recording_callback.h"

inline LoggedLine FilterMade() {
    return Ffmpeg(uvqlog::Severity::Trace, "FfmepgFileDemuxer cretate filter");
}

inline LoggedLine Failed(const std::string& what) {
    return Ffmpeg(uvqlog::Severity::Error, "FfmepgFileDemuxer " + what + " error");
}

// A demuxer on a file, with what it hands out.
struct Reading {
    bool Open(const std::string& path) { return demuxer.Open(path.c_str(), &callback); }
    int ReadToEnd() {
        int packets = 0;
        while (demuxer.ReadNextFrame() == 1) {
            ++packets;
        }
        return packets;
    }

    RecordingCallback callback;
    CDemuxerFile demuxer;
};

// What the peer reads, times in milliseconds.
inline std::vector<PacketFacts> Expected(const std::string& path) {
    return InMilliseconds(PeerPackets(path), PeerTimeBases(path));
}
