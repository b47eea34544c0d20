#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "common/peer.h"
#include "common/test_media.h"
#include "muxing.h"

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// A source, as the peer makes it out of moving pictures and a tone, and a container that takes both its streams.
struct Way {
    const char* name;
    const char* codecs;
    const char* source;
    const char* target;
    const char* options;
};

void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}

class Remux : public testing::Test {
protected:
    std::string Source(const std::string& codecs, const std::string& suffix, const std::string& inputs = "r=25") const {
        const std::string path = m_Scratch.Path("in." + suffix);
        MakeByPeer("-f lavfi -i testsrc2=s=352x288:" + inputs + ":d=2 -f lavfi -i sine=d=2 -pix_fmt yuv420p " + codecs,
                   path);
        return path;
    }

    std::string Out(const std::string& suffix) const { return m_Scratch.Path("out." + suffix); }

    static ProcessResult Run(const std::string& in, const std::string& out, const std::string& options) {
        return RunMuxing("remux " + Quoted(in) + " " + Quoted(out) + " " + options);
    }

    void ExpectFailure(const std::string& in, const std::string& suffix, const std::string& options,
                       const std::string& complaint) const {
        const ProcessResult run = Run(in, Out(suffix), options);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.err, "codrelay: " + complaint + "\n");
        EXPECT_FALSE(std::filesystem::exists(Out(suffix)));
        EXPECT_FALSE(std::filesystem::exists(Out(suffix) + ".part"));
    }

    const ScratchFolder m_Scratch;
};

class RemuxedWays : public Remux, public testing::WithParamInterface<Way> {};

std::vector<std::string> Hashes(const std::string& path) {
    std::vector<std::string> hashes;
    for (const PeerPicture& picture : PeerPictures(path)) {
        hashes.push_back(picture.md5);
    }
    return hashes;
}

constexpr const char* kH264Mp3 = "-c:v libx264 -bf 0 -c:a libmp3lame -ar 48000 -b:a 128k";
constexpr const char* kH264Aac = "-c:v libx264 -bf 0 -c:a aac -ar 48000";
constexpr const char* kMpeg4Mp3 = "-c:v mpeg4 -c:a libmp3lame -ar 32000 -b:a 64k";

}  // namespace

TEST_P(RemuxedWays, KeepEveryPictureAsItWas) {
    const Way& way = GetParam();
    const std::string in = Source(way.codecs, way.source);
    const PeerFilm before = ReadByPeer(in);
    const ProcessResult run = Run(in, Out(way.target), way.options);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, IsEmpty());
    const PeerFilm after = ReadByPeer(Out(way.target));
    EXPECT_EQ(after.videoCodec, before.videoCodec);
    EXPECT_EQ(after.audioCodec, before.audioCodec);
    EXPECT_EQ(after.soundPackets, before.soundPackets);
    EXPECT_EQ(run.err, "pictures 50, packets of sound " + std::to_string(after.soundPackets) + "\n");
    EXPECT_THAT(after.complaints, IsEmpty());
    EXPECT_EQ(Hashes(Out(way.target)), Hashes(in));
}

INSTANTIATE_TEST_SUITE_P(
    Ways, RemuxedWays,
    testing::Values(
        Way{"H264Mp3ToTs", kH264Mp3, "mp4", "ts", ""}, Way{"H264Mp3ToMp4", kH264Mp3, "ts", "mp4", ""},
        Way{"H264Mp3ToFlv", kH264Mp3, "mp4", "flv", ""}, Way{"H264Mp3ToAvi", kH264Mp3, "mp4", "avi", ""},
        Way{"H264Mp3ToTsOnMemory", kH264Mp3, "mp4", "ts", "--memory"},
        Way{"H264Mp3ToFlvOnMemory", kH264Mp3, "mp4", "flv", "--memory"},
        Way{"H264Mp3ToAviOnMemory", kH264Mp3, "mp4", "avi", "--memory"},
        Way{"H264AacToTs", kH264Aac, "mp4", "ts", "--memory"}, Way{"H264AacToFlv", kH264Aac, "ts", "flv", "--memory"},
        Way{"H264AacToAvi", kH264Aac, "mp4", "avi", "--memory"}, Way{"Mpeg4Mp3ToTs", kMpeg4Mp3, "avi", "ts", ""},
        Way{"Mpeg4Mp3ToMp4", kMpeg4Mp3, "avi", "mp4", ""}, Way{"Mpeg4Mp3ToAvi", kMpeg4Mp3, "avi", "avi", ""},
        Way{"FlvPcmToFlv", "-c:v flv1 -c:a pcm_s16le -ar 44100", "avi", "flv", "--memory"},
        Way{"FlvAlawToAvi", "-c:v flv1 -c:a pcm_alaw -ar 8000", "avi", "avi", "--memory"},
        Way{"MjpegMulawToAvi", "-c:v mjpeg -c:a pcm_mulaw -ar 8000", "avi", "avi", "--memory"},
        Way{"MjpegMp3ToMp4", "-c:v mjpeg -c:a libmp3lame -ar 48000 -b:a 128k", "avi", "mp4", ""},
        Way{"H263To3gp", "-c:v h263 -an", "avi", "3gp", ""},
        Way{"H264To3g2", "-c:v libx264 -bf 0 -an", "mp4", "3g2", ""},
        Way{"Mpeg4To3gp", "-c:v mpeg4 -an", "avi", "3gp", ""},
        Way{"H265ToTs", "-c:v libx265 -preset ultrafast -x265-params bframes=0:log-level=none -an", "ts", "ts", ""},
        Way{"H265ToMp4", "-c:v libx265 -preset ultrafast -x265-params bframes=0:log-level=none -an", "ts", "mp4", ""},
        Way{"H264Raw", "-c:v libx264 -bf 0 -an", "264", "ts", ""}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Remux, SoundAloneGoesToAFile) {
    const std::string in = Source("-vn -c:a libmp3lame -ar 48000 -b:a 128k -write_xing 0 -id3v2_version 0", "mp3");
    EXPECT_EQ(Run(in, Out("mp4"), "").exitCode, 0);
    EXPECT_EQ(ReadByPeer(Out("mp4")).audioCodec, "mp3");
    EXPECT_THAT(ReadByPeer(Out("mp4")).complaints, IsEmpty());
    std::filesystem::remove(Out("mp4"));
    ExpectFailure(in, "ts", "--memory", "the memory muxer writes no container without video");
}

TEST_F(Remux, ReorderedPicturesAreRefused) {
    ExpectFailure(Clip("demux_film.mp4"), "ts", "--memory",
                  Clip("demux_film.mp4") +
                      ": its pictures are reordered, and the muxers write times that only rise; "
                      "transcode makes such video anew");
}

TEST_F(Remux, TheFileMuxerRefusesSoundThatItWouldNotKeepInTime) {
    ExpectFailure(Source(kH264Aac, "mp4"), "ts", "",
                  "the file muxer does not keep the times of aac sound in ts; the memory muxer does");
    ExpectFailure(Source(kH264Aac, "mp4"), "mp4", "", "the file muxer does not keep the times of aac sound in mp4");
    ExpectFailure(Source("-c:v libx264 -bf 0 -c:a libmp3lame -ar 44100 -b:a 128k", "mp4"), "ts", "",
                  "the file muxer keeps mp3 sound in time at 48000 and 32000 Hz only, and this has 44100");
}

TEST_F(Remux, Mp3FramesOfSeveralLengthsAreRefused) {
    ExpectFailure(Source("-c:v libx264 -bf 0 -c:a libmp3lame -ar 44100 -b:a 128k", "mp4"), "ts", "--memory",
                  "the muxers cut mp3 sound into frames of one length, and these differ (417 and 418 bytes); transcode "
                  "makes such sound anew");
}

TEST_F(Remux, AGapInSoundIsRefusedByTheFileMuxer) {
    const std::string whole = Source(kH264Mp3, "mkv");
    const std::string gap = m_Scratch.Path("gap.mkv");
    MakeByPeer("-i " + whole + " -c:v copy -af \"aselect='not(between(t,0.5,1))'\" -c:a libmp3lame -b:a 128k", gap);
    EXPECT_THAT(Run(gap, Out("ts"), "").err,
                testing::MatchesRegex("codrelay: the sound has a gap at [0-9]+ ms, and the "
                                      "file muxer runs on over gaps: sound and picture "
                                      "would part\n"));
    EXPECT_EQ(Run(gap, Out("ts"), "--memory").exitCode, 0);
}

TEST_F(Remux, CodecsThatAContainerDoesNotTakeAreRefused) {
    const std::string h264 = Source(kH264Mp3, "mp4");
    ExpectFailure(h264, "webm", "", "webm does not take h264 video");
    ExpectFailure(h264, "3gp", "", "3gp does not take mp3 sound; transcode --audio none leaves it out");
    const std::string h265 = Source("-c:v libx265 -preset ultrafast -x265-params bframes=0:log-level=none -an", "ts");
    for (const std::string container : {"flv", "3gp", "3g2", "avi", "webm"}) {
        ExpectFailure(h265, container, "", container + " does not take h265 video");
    }
    ExpectFailure(Source("-c:v mpeg4 -c:a pcm_s16le", "avi"), "ts", "--memory",
                  "ts does not take pcm_s16le sound; transcode --audio none leaves it out");
    ExpectFailure(Source("-c:v libx264 -bf 0 -c:a libopus", "mkv"), "ts", "--memory",
                  m_Scratch.Path("in.mkv") +
                      ": its sound is in a codec that the library does not name; transcode "
                      "--audio none leaves it out");
}

TEST_F(Remux, FormatsThatTheMemoryMuxerCannotWriteAreRefused) {
    const std::string h264 = Source("-c:v libx264 -bf 0 -an", "mp4");
    for (const std::string container : {"mp4", "3gp", "3g2"}) {
        ExpectFailure(h264, container, "--memory",
                      container + " cannot be written without seeking, as the memory muxer does; flv, avi and ts can");
    }
}

TEST_F(Remux, AHeaderThatFfmpegRefusesIsTold) {
    ExpectFailure(Source("-c:v flv1 -c:a pcm_s16le -ar 48000", "avi"), "flv", "--memory",
                  Out("flv") + ": the flv muxer cannot write its header (--log error shows why)");
}

TEST_F(Remux, FasterVideoThanAviHoldsIsRefused) {
    ExpectFailure(Source("-c:v mpeg4 -an", "avi", "r=50"), "avi", "",
                  "avi is written with at most 25 pictures a second, and this video has 50; transcode --fps 25 drops "
                  "some");
}

TEST_F(Remux, Mpeg4WithoutHeadersInItsPacketsIsRefused) {
    ExpectFailure(Clip("command_no_size.mp4"), "ts", "--frame-size 160x120",
                  Clip("command_no_size.mp4") +
                      ": its mpeg4 video keeps its headers out of the packets, so that they would be lost");
}

TEST_F(Remux, TheInputIsNeverWrittenOver) {
    const std::string in = Source(kH264Mp3, "mp4");
    const std::vector<unsigned char> before = ReadFile(in);
    const ProcessResult run = Run(in, in, "");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "codrelay: " + in + ": is the input; it would be written over\n");
    EXPECT_EQ(ReadFile(in), before);
}
