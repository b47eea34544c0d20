#pragma once

#include <vector>

#include "support/ffmpeg.h"

/// What the muxers handed to libavformat, and what it shall answer.
struct MuxScript {
    struct Written {
        int stream;
        int size;
        int flags;
        long long pts;
        long long dts;
        const unsigned char* data;
        std::vector<unsigned char> bytes;
    };

    std::vector<Written> written;
    int flushes = 0;
    /// From this packet on av_interleaved_write_frame answers `answer`; before it the packets are swallowed, answer 0.
    std::size_t failFrom = SIZE_MAX;
    int answer = -5;
    /// True lets the packets through to libavformat as well.
    bool passOn = false;
    bool noStream = false;
    int allocAnswer = 0;
    bool nullContext = false;
    int dynBufAnswer = 0;
    /// Anything but 0 is the answer to a trailer, which is written all the same.
    int trailerAnswer = 0;
};

extern MuxScript g_MuxScript;

/// A block to write as a picture of H.264: from FFmpeg 7 on FLV refuses one without a start code.
inline std::vector<unsigned char> PictureBytes(std::size_t size) {
    std::vector<unsigned char> bytes{0, 0, 0, 1, 0x65};
    bytes.resize(size, 0x55);
    return bytes;
}
