#pragma once

#include <string>
#include <vector>

/// One encoded packet as a host would hand it to a muxer.
struct Block {
    std::vector<unsigned char> bytes;
    bool key;
};

/// The packets of the first stream of a file, as libavformat reads them.
std::vector<Block> ReadBlocks(const std::string& path);

/// What a peer says of one stream of a file.
struct PeerStream {
    std::string codec;
    bool isVideo;
    /// Of sound; 0 for video.
    int sampleRate;
    int channels;
    /// Of the codec's header, where the container holds one beside the packets.
    int headerBytes;
    /// In ticks of the stream, in the order of the file; the decoding time where a container has no other.
    std::vector<long long> pts;
    std::vector<long long> dts;
    /// All packets together.
    long long bytes;
};

/// All streams of a file by the ffprobe command, video first. Throws where it complains.
std::vector<PeerStream> PeerStreams(const std::string& path);

/// The codecs of a file's streams by the ffprobe command, in the order of the file, whatever it complains.
std::vector<std::string> PeerCodecs(const std::string& path);

/// What the ffmpeg command says at its error level while it decodes the whole file; empty is well.
std::string PeerDecodeErrors(const std::string& path);
