#pragma once

#include <vector>

enum class Medium { Video, Sound };

/// A packet on its way into a container.
struct MediaPacket {
    Medium medium;
    std::vector<unsigned char> bytes;
    bool keyFrame;
    /// Milliseconds; they rise within each medium.
    long long time;
};
