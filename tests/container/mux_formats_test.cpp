// Every container with every pair of codecs that it takes, really written and read back by a peer; and what it refuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

#include "codrelay/codrelay.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "container/mux_material.h"

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using uvqlog::Severity;

struct Sound {
    int id;
    const char* clip;  // null where no material can be made: such codecs are only refused
    int sampleRate;
    int channels;
    int bitRate;
    const char* peerName;
};

const std::map<std::string, Sound> kSounds = {
    {"adts", {AUDIO_CODEC_AAC, "mux_aac_adts.aac", 44100, 1, 64000, "aac"}},
    {"aac", {AUDIO_CODEC_AAC, "mux_aac_raw.mp4", 44100, 1, 64000, "aac"}},
    {"mp3", {AUDIO_CODEC_MP3, "mux_mp3_48000.mp3", 48000, 2, 128000, "mp3"}},
    {"s16le", {AUDIO_CODEC_PCM_S16LE, "mux_s16le.wav", 44100, 1, 705600, "pcm_s16le"}},
    {"mulaw", {AUDIO_CODEC_MULAW, "mux_mulaw.wav", 8000, 1, 64000, "pcm_mulaw"}},
    {"alaw", {AUDIO_CODEC_ALAW, "mux_alaw.wav", 8000, 1, 64000, "pcm_alaw"}},
    {"amrnb", {AUDIO_CODEC_AMRNB, nullptr, 8000, 1, 12200, "amr_nb"}},
    {"amrwb", {AUDIO_CODEC_AMRWB, nullptr, 16000, 1, 12650, "amr_wb"}},
    {"g726", {AUDIO_CODEC_G726_32, nullptr, 8000, 1, 32000, "adpcm_g726le"}},
    {"u16le", {AUDIO_CODEC_PCM_U16LE, nullptr, 44100, 1, 705600, "pcm_u16le"}},
    {"s16be", {AUDIO_CODEC_PCM_S16BE, nullptr, 44100, 1, 705600, "pcm_s16be"}},
    {"ima", {AUDIO_CODEC_ADPCM_IMA_WAV, nullptr, 44100, 1, 176400, "adpcm_ima_wav"}},
};

struct Video {
    int id;
    const char* clip;
    int width;
    int height;
    const char* peerName;
};

const std::map<std::string, Video> kVideos = {
    {"h264", {VIDEO_CODEC_H264, "mux_h264.264", 320, 240, "h264"}},
    {"h265", {VIDEO_CODEC_H265, "mux_h265.265", 320, 240, "hevc"}},
    {"mpeg4", {VIDEO_CODEC_MPEG4, "mux_mpeg4.avi", 320, 240, "mpeg4"}},
    {"mjpeg", {VIDEO_CODEC_MJPEG, "mux_mjpeg.avi", 320, 240, "mjpeg"}},
    {"flv1", {VIDEO_CODEC_FLV, "mux_flv1.flv", 320, 240, "flv1"}},
    {"h263", {VIDEO_CODEC_H263, "mux_h263.avi", 352, 288, "h263"}},
};

const std::map<std::string, int> kFormats = {
    {"flv", MUXER_FORMAT_FLV},  {"mp4", MUXER_FORMAT_MP4}, {"webm", MUXER_FORMAT_WEBM}, {"3gp", MUXER_FORMAT_3GP},
    {"3g2", MUXER_FORMAT_3GP2}, {"avi", MUXER_FORMAT_AVI}, {"ts", MUXER_FORMAT_MPEGTS},
};

struct Combination {
    std::string format;
    std::string video;
    std::string sound;
};

void PrintTo(const Combination& combination, std::ostream* out) {
    *out << combination.format << " of " << combination.video << " and " << combination.sound;
}

std::vector<Combination> Combine(const std::string& format, const std::vector<std::string>& videos,
                                 const std::vector<std::string>& sounds) {
    std::vector<Combination> all;
    for (const std::string& video : videos) {
        for (const std::string& sound : sounds) {
            all.push_back({format, video, sound});
        }
    }
    return all;
}

std::vector<Combination> Joined(std::initializer_list<std::vector<Combination>> lists) {
    std::vector<Combination> all;
    for (const auto& list : lists) {
        all.insert(all.end(), list.begin(), list.end());
    }
    return all;
}

std::string NameOf(const testing::TestParamInfo<Combination>& info) {
    return info.param.format + "_" + info.param.video + "_" + info.param.sound;
}

MUXER_PARAM ParamFor(const Combination& combination) {
    const Video& video = kVideos.at(combination.video);
    const Sound& sound = kSounds.at(combination.sound);
    return {video.id, sound.id, video.width, video.height, sound.sampleRate, sound.channels, sound.bitRate, 4};
}

// What goes into the container: pictures and blocks of sound, by time.
struct Material {
    explicit Material(const Combination& combination)
        : pictures(ReadBlocks(Clip(kVideos.at(combination.video).clip))),
          blocks(ReadBlocks(Clip(kSounds.at(combination.sound).clip))) {}

    long long BlockTime(std::size_t index) const {
        return static_cast<long long>(index) * 4000 / static_cast<long long>(blocks.size());
    }

    std::vector<Block> pictures;
    std::vector<Block> blocks;
};

// Calls `picture(block, pts)` and `sound(block, pts)` in the order of time.
template <typename Picture, typename SoundBlock>
void Interleave(Material& material, Picture picture, SoundBlock sound) {
    std::size_t block = 0;
    for (std::size_t i = 0; i < material.pictures.size(); ++i) {
        const long long pts = static_cast<long long>(i) * 40;
        picture(material.pictures[i], pts);
        for (; block < material.blocks.size() && material.BlockTime(block) <= pts; ++block) {
            sound(material.blocks[block], material.BlockTime(block));
        }
    }
    for (; block < material.blocks.size(); ++block) {
        sound(material.blocks[block], material.BlockTime(block));
    }
}

void ExpectStrictlyRising(const std::vector<long long>& times) {
    for (std::size_t i = 1; i < times.size(); ++i) {
        ASSERT_LT(times[i - 1], times[i]) << "at packet " << i;
    }
}

class Output {
public:
    explicit Output(const Combination& combination)
        : m_Path(std::filesystem::temp_directory_path() /
                 ("codrelay-mux-" + std::to_string(getpid()) + "." + combination.format)) {}
    ~Output() { std::filesystem::remove(m_Path); }
    std::string Path() const { return m_Path.string(); }

private:
    std::filesystem::path m_Path;
};

void ExpectReadableByPeers(const std::string& path, const Combination& combination, const Material& material) {
    const std::vector<PeerStream> streams = PeerStreams(path);
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].codec, kVideos.at(combination.video).peerName);
    EXPECT_EQ(streams[1].codec, kSounds.at(combination.sound).peerName);
    EXPECT_EQ(streams[0].pts.size(), material.pictures.size());
    EXPECT_EQ(material.pictures.size(), 100u);
    // A peer may cut raw sound into packets of its own.
    EXPECT_GE(streams[1].pts.size(), 10u);
    if (streams[1].codec == "mp3" || streams[1].codec == "aac") {
        EXPECT_EQ(streams[1].pts.size(), material.blocks.size());
    }
    ExpectStrictlyRising(streams[0].dts);
    ExpectStrictlyRising(streams[1].dts);
    EXPECT_EQ(PeerDecodeErrors(path), "");
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

class FileMuxerAccepts : public testing::TestWithParam<Combination> {};

TEST_P(FileMuxerAccepts, AndPeersReadIt) {
    const Combination& combination = GetParam();
    Material material(combination);
    const Output output(combination);
    MUXER_PARAM param = ParamFor(combination);
    Codrelay_SetFfmpegLogLevel("error");
    CMuxerFileBase* muxer = Codrelay_MuxerFile(kFormats.at(combination.format), &param, output.Path().c_str());
    ASSERT_NE(muxer, nullptr);
    ASSERT_EQ(muxer->WriteHeader(), 1);
    Interleave(
        material,
        [&](Block& block, long long pts) {
            ASSERT_EQ(muxer->WriteFrame(block.bytes.data(), static_cast<int>(block.bytes.size()), block.key, pts), 1);
        },
        [&](Block& block, long long pts) {
            const auto size = static_cast<int>(block.bytes.size());
            block.bytes.push_back(0);  // the byte that a block of 105 modulo 209 may be read past its end
            ASSERT_EQ(muxer->WriteSound(block.bytes.data(), size, pts), 1);
        });
    ASSERT_EQ(muxer->WriteTrailer(), 1);
    muxer->Delete();

    ExpectReadableByPeers(output.Path(), combination, material);
    ExpectFirstTimes(combination.format, PeerStreams(output.Path())[0].pts);
}

INSTANTIATE_TEST_SUITE_P(
    , FileMuxerAccepts,
    testing::ValuesIn(
        Joined({Combine("flv", {"h264", "flv1"}, {"mp3", "s16le", "mulaw", "alaw", "aac"}),
                Combine("mp4", {"h264", "h265", "mpeg4", "mjpeg"}, {"aac", "mp3"}),
                Combine("3gp", {"h264", "mpeg4", "h263"}, {"aac"}), Combine("3g2", {"h264", "mpeg4", "h263"}, {"aac"}),
                Combine("avi", {"h264", "mpeg4", "h263", "flv1", "mjpeg"}, {"adts", "mp3", "s16le", "mulaw", "alaw"}),
                Combine("ts", {"h264", "h265", "mpeg4"}, {"adts", "mp3"})})),
    NameOf);

class FileMuxerRefuses : public testing::TestWithParam<Combination> {};

TEST_P(FileMuxerRefuses, AtTheHeader) {
    const Combination& combination = GetParam();
    const Output output(combination);
    MUXER_PARAM param = ParamFor(combination);
    Codrelay_SetFfmpegLogLevel("quiet");
    CMuxerFileBase* muxer = Codrelay_MuxerFile(kFormats.at(combination.format), &param, output.Path().c_str());
    ASSERT_NE(muxer, nullptr);
    LogCapture log;
    EXPECT_EQ(muxer->WriteHeader(), 0);
    EXPECT_THAT(log.Take(), testing::ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::WriteHeader: failed")));
    muxer->Delete();
}

const std::vector<std::string> kAllVideos = {"h264", "h265", "mpeg4", "mjpeg", "flv1", "h263"};
const std::vector<std::string> kNotInMp4 = {"s16le", "mulaw", "alaw",  "amrnb", "amrwb",
                                            "g726",  "u16le", "s16be", "ima"};
const std::vector<std::string> kNotIn3gp = {"mp3", "s16le", "mulaw", "alaw", "g726", "u16le", "s16be", "ima"};

INSTANTIATE_TEST_SUITE_P(
    , FileMuxerRefuses,
    testing::ValuesIn(Joined({Combine("flv", {"h265", "mjpeg", "mpeg4", "h263"}, {"mp3"}),
                              Combine("flv", {"h264"}, {"u16le", "amrnb", "amrwb", "g726", "ima"}),
                              Combine("mp4", {"h263", "flv1"}, {"aac"}), Combine("mp4", {"h264"}, kNotInMp4),
                              Combine("webm", kAllVideos, {"aac"}), Combine("3gp", {"h265", "flv1", "mjpeg"}, {"aac"}),
                              Combine("3gp", {"h264"}, kNotIn3gp), Combine("3g2", {"h265", "flv1", "mjpeg"}, {"aac"}),
                              Combine("3g2", {"h264"}, kNotIn3gp)})),
    NameOf);

// A memory muxer and the pieces that it gave, in a row.
class Pieces {
public:
    explicit Pieces(CMuxerMemBase* muxer) : m_pMuxer(muxer) {}

    template <typename Write>
    int Around(Write write) {
        EXPECT_EQ(m_pMuxer->BeginWriteBuf(), 1);
        const int result = write();
        unsigned char* buffer = nullptr;
        const int count = m_pMuxer->GetWriteBuf(buffer);
        EXPECT_EQ(buffer == nullptr, count == 0);
        m_Bytes.insert(m_Bytes.end(), buffer, buffer + count);
        m_nLast = count;
        m_pMuxer->FreeWriteBuf(buffer);
        return result;
    }
    int LastCount() const { return m_nLast; }
    void Save(const std::string& path) const {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(m_Bytes.data()), static_cast<std::streamsize>(m_Bytes.size()));
    }

private:
    CMuxerMemBase* m_pMuxer;
    std::vector<unsigned char> m_Bytes;
    int m_nLast = 0;
};

MUXER_PARAM MemoryParamFor(const Combination& combination, const Material& material) {
    MUXER_PARAM param = ParamFor(combination);
    if (param.audioCodec == AUDIO_CODEC_MP3) {
        // The memory muxer divides the sample rate by the bit rate: with this one a frame stays whole.
        param.audioBitRate = 144 * param.sampleRate / static_cast<int>(material.blocks.at(0).bytes.size());
    }
    return param;
}

class MemoryMuxerAccepts : public testing::TestWithParam<Combination> {};

TEST_P(MemoryMuxerAccepts, AndPeersReadThePiecesInARow) {
    const Combination& combination = GetParam();
    Material material(combination);
    const Output output(combination);
    MUXER_PARAM param = MemoryParamFor(combination, material);
    Codrelay_SetFfmpegLogLevel("error");
    CMuxerMemBase* muxer = Codrelay_MuxerMem(kFormats.at(combination.format), &param);
    ASSERT_NE(muxer, nullptr);
    Pieces pieces(muxer);
    ASSERT_EQ(pieces.Around([&] { return muxer->WriteHeader(); }), 1);
    Interleave(
        material,
        [&](Block& block, long long pts) {
            const auto size = static_cast<int>(block.bytes.size());
            ASSERT_EQ(pieces.Around([&] { return muxer->WriteFrame(block.bytes.data(), size, block.key, pts); }), 1);
        },
        [&](Block& block, long long pts) {
            const auto size = static_cast<int>(block.bytes.size());
            ASSERT_EQ(pieces.Around([&] { return muxer->WriteSound(block.bytes.data(), size, pts); }), 1);
        });
    ASSERT_EQ(pieces.Around([&] { return muxer->WriteTrailer(); }), 1);
    muxer->Delete();

    pieces.Save(output.Path());
    ExpectReadableByPeers(output.Path(), combination, material);
}

INSTANTIATE_TEST_SUITE_P(, MemoryMuxerAccepts,
                         testing::ValuesIn(Joined({Combine("flv", {"h264", "flv1"},
                                                           {"mp3", "s16le", "mulaw", "alaw", "aac"}),
                                                   Combine("avi", {"h264", "mpeg4", "h263", "flv1", "mjpeg"},
                                                           {"adts", "mp3", "s16le", "mulaw", "alaw"}),
                                                   Combine("ts", {"h264", "h265", "mpeg4"}, {"adts", "mp3"})})),
                         NameOf);

class MemoryMuxerRefuses : public testing::TestWithParam<Combination> {};

TEST_P(MemoryMuxerRefuses, AContainerThatWantsToSeek) {
    const Combination& combination = GetParam();
    MUXER_PARAM param = ParamFor(combination);
    Codrelay_SetFfmpegLogLevel("quiet");
    CMuxerMemBase* muxer = Codrelay_MuxerMem(kFormats.at(combination.format), &param);
    ASSERT_NE(muxer, nullptr);
    ASSERT_EQ(muxer->BeginWriteBuf(), 1);
    LogCapture log;
    EXPECT_EQ(muxer->WriteHeader(), 0);
    EXPECT_THAT(log.Take(), testing::ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::WriteHeader: failed")));
    unsigned char* buffer = nullptr;
    muxer->GetWriteBuf(buffer);
    muxer->FreeWriteBuf(buffer);
    muxer->Delete();
}

INSTANTIATE_TEST_SUITE_P(
    , MemoryMuxerRefuses,
    testing::ValuesIn(Joined({Combine("mp4", {"h264", "mpeg4"}, {"aac", "mp3"}), Combine("webm", kAllVideos, {"aac"}),
                              Combine("3gp", {"h264", "h263"}, {"aac"}), Combine("3g2", {"h264", "h263"}, {"aac"})})),
    NameOf);

}  // namespace
