#pragma once

#include <variant>
#include <vector>

#include "media_packet.h"
#include "picture.h"

struct TimedPicture {
    Picture picture;
    long long time;
};

struct TimedSamples {
    std::vector<unsigned char> samples;
    long long time;
};

/// What travels from the decoding thread to the encoding one; a packet is one that is copied.
using TranscodeItem = std::variant<TimedPicture, TimedSamples, MediaPacket>;
