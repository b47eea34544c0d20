#include "container/mux_peer_checks.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

namespace {

void ExpectStrictlyRising(const std::vector<long long>& times) {
    for (std::size_t i = 1; i < times.size(); ++i) {
        ASSERT_LT(times[i - 1], times[i]) << "at packet " << i;
    }
}

// The first picture's tick is 1 in the stream's time base: what a peer reads back of that, container by container.
void ExpectFirstTimes(const std::string& format, const std::vector<long long>& pts) {
    ASSERT_GE(pts.size(), 3u);
    const std::vector<long long> first(pts.begin(), pts.begin() + 3);
    const std::map<std::string, std::vector<long long>> expected = {
        {"flv", {1, 40, 80}},    {"mp4", {0, 511, 1023}}, {"3gp", {0, 511, 1023}},
        {"3g2", {0, 511, 1023}}, {"avi", {0, 2, 3}},      {"ts", {1, 3600, 7200}},
    };
    EXPECT_EQ(first, expected.at(format));
}

// AAC has its own header there, without which players cannot tell rate and channels for sure.
bool HoldsHeaders(const std::string& format) {
    return format != "avi" && format != "ts";
}

void ExpectSound(const PeerStream& stream, const Sound& sound, const Material& material) {
    EXPECT_EQ(stream.codec, sound.peerName);
    EXPECT_EQ(stream.sampleRate, sound.sampleRate);
    EXPECT_EQ(stream.channels, sound.channels);
    if (stream.codec == "mp3" || stream.codec == "aac") {
        EXPECT_EQ(stream.pts.size(), material.blocks.size());
    } else {
        // A peer may cut other sound into packets of its own.
        EXPECT_EQ(stream.bytes, material.SoundBytes());
    }
    ExpectStrictlyRising(stream.dts);
}

}  // namespace

Output::Output(const Combination& combination)
    : m_Path(std::filesystem::temp_directory_path() /
             ("codrelay-mux-" + std::to_string(getpid()) + "." + combination.format)) {}

Output::~Output() {
    std::filesystem::remove(m_Path);
}

void ExpectReadableByPeers(const std::string& path, const Combination& combination, const Material& material) {
    const std::vector<PeerStream> streams = PeerStreams(path);
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].codec, kVideos.at(combination.video).peerName);
    EXPECT_EQ(streams[0].pts.size(), material.pictures.size());
    EXPECT_EQ(material.pictures.size(), 100u);
    ExpectFirstTimes(combination.format, streams[0].pts);
    ExpectStrictlyRising(streams[0].dts);
    ExpectSound(streams[1], kSounds.at(combination.sound), material);
    if (streams[1].codec == "aac") {
        EXPECT_EQ(streams[1].headerBytes > 0, HoldsHeaders(combination.format));
    }
    EXPECT_EQ(PeerDecodeErrors(path), "");
}
