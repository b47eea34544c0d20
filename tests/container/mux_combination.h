#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "codrelay/codrelay.h"
#include "container/mux_material.h"

/// A codec of sound, and the clip that has it.
struct Sound {
    int id;
    const char* clip;  // null where the blocks are made here
    int sampleRate;
    int channels;
    int bitRate;
    const char* peerName;
    std::size_t blockBytes = 0;  // of blocks that are made here
    unsigned char blockHead = 0;
};

/// A codec of pictures, and the clip that has it.
struct Video {
    int id;
    const char* clip;
    int width;
    int height;
    const char* peerName;
};

/// A container, and what goes into it, by the names below.
struct Combination {
    std::string format;
    std::string video;
    std::string sound;
};

extern const std::map<std::string, Sound> kSounds;
extern const std::map<std::string, Video> kVideos;
extern const std::map<std::string, int> kFormats;

void PrintTo(const Combination& combination, std::ostream* out);
/// The name of a test with parameters.
std::string NameOf(const testing::TestParamInfo<Combination>& info);

/// One container with each pair of the two lists.
std::vector<Combination> Combine(const std::string& format, const std::vector<std::string>& videos,
                                 const std::vector<std::string>& sounds);
std::vector<Combination> Joined(std::initializer_list<std::vector<Combination>> lists);

MUXER_PARAM ParamFor(const Combination& combination);

/// What goes into the container: pictures and blocks of sound, by time.
struct Material {
    explicit Material(const Combination& combination);

    long long BlockTime(std::size_t index) const;
    long long SoundBytes() const;

    std::vector<Block> pictures;
    std::vector<Block> blocks;
};

/// Calls `picture(block, pts)` and `sound(bytes, size, pts)` in the order of time.
template <typename Picture, typename SoundBlock>
void Interleave(Material& material, Picture picture, SoundBlock sound) {
    std::size_t block = 0;
    // A block of 105 modulo 209 bytes is read one byte past its end.
    const auto soundWithRoom = [&](const Block& next, long long pts) {
        std::vector<unsigned char> bytes = next.bytes;
        bytes.push_back(0);
        sound(bytes.data(), static_cast<int>(next.bytes.size()), pts);
    };
    for (std::size_t i = 0; i < material.pictures.size(); ++i) {
        const long long pts = static_cast<long long>(i) * 40;
        picture(material.pictures[i], pts);
        for (; block < material.blocks.size() && material.BlockTime(block) <= pts; ++block) {
            soundWithRoom(material.blocks[block], material.BlockTime(block));
        }
    }
    for (; block < material.blocks.size(); ++block) {
        soundWithRoom(material.blocks[block], material.BlockTime(block));
    }
}
