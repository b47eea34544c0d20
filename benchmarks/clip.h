#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/ffmpeg.h"

/// One packet, with the padding behind it that FFmpeg asks for.
struct ClipPacket {
    std::vector<unsigned char> bytes;
    int size = 0;
    bool isVideo = false;
    bool isKey = false;
    long long milliseconds = 0;
};

/// A clip in memory.
struct Clip {
    AVCodecID videoCodec = AV_CODEC_ID_NONE;
    int width = 0;
    int height = 0;
    std::vector<ClipPacket> packets;
};

/// The path of a clip that make_clips.sh makes.
std::string ClipPath(const std::string& name);

/// Reads the packets of such a clip. Ends the program where it is not to be had.
Clip ReadClip(const std::string& name);

/// Ends the program on what no benchmark may go on after.
void Check(bool good);
