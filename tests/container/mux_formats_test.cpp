// Every container with every pair of codecs that it takes, really written to a file and read back by a peer; and what
// it refuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "container/mux_combination.h"
#include "container/mux_peer_checks.h"
#include "support/ffmpeg.h"

namespace {

using testing::ElementsAre;
using uvqlog::Severity;

void WriteFile(const Combination& combination, Material& material, const Output& output) {
    MUXER_PARAM param = ParamFor(combination);
    CMuxerFileBase* muxer = Codrelay_MuxerFile(kFormats.at(combination.format), &param, output.Path().c_str());
    ASSERT_NE(muxer, nullptr);
    ASSERT_EQ(muxer->WriteHeader(), 1);
    Interleave(
        material,
        [&](Block& block, long long pts) {
            ASSERT_EQ(muxer->WriteFrame(block.bytes.data(), static_cast<int>(block.bytes.size()), block.key, pts), 1);
        },
        [&](unsigned char* bytes, int size, long long pts) { ASSERT_EQ(muxer->WriteSound(bytes, size, pts), 1); });
    ASSERT_EQ(muxer->WriteTrailer(), 1);
    muxer->Delete();
}

class FileMuxerAccepts : public testing::TestWithParam<Combination> {};

TEST_P(FileMuxerAccepts, AndPeersReadIt) {
    const Combination& combination = GetParam();
    Material material(combination);
    const Output output(combination);
    Codrelay_SetFfmpegLogLevel("error");
    ASSERT_NO_FATAL_FAILURE(WriteFile(combination, material, output));
    ExpectReadableByPeers(output.Path(), combination, material);
}

INSTANTIATE_TEST_SUITE_P(
    , FileMuxerAccepts,
    testing::ValuesIn(Joined({Combine("flv", {"h264", "flv1"}, {"mp3", "s16le", "mulaw", "alaw", "adts"}),
                              Combine("mp4", {"h264", "h265", "mpeg4", "mjpeg"}, {"adts", "mp3"}),
                              Combine("3gp", {"h264", "mpeg4", "h263"}, {"adts", "amrnb", "amrwb"}),
                              Combine("3g2", {"h264", "mpeg4", "h263"}, {"adts", "amrnb", "amrwb"}),
                              Combine("avi", {"h264", "mpeg4", "h263", "flv1", "mjpeg"},
                                      {"adts", "mp3", "s16le", "mulaw", "alaw"}),
                              Combine("avi", {"h264"}, {"amrnb", "amrwb", "g726"}),
                              Combine("ts", {"h264", "h265", "mpeg4"}, {"adts", "mp3"}),
                              Combine("flv", {"h264"}, {"adts48"}), Combine("mp4", {"h264"}, {"adts48"}),
                              Combine("3gp", {"h264"}, {"adts48"}), Combine("3g2", {"h264"}, {"adts48"}),
                              Combine("avi", {"h264"}, {"adts48"}), Combine("ts", {"h264"}, {"adts48"})})),
    NameOf);

// AAC without ADTS leaves these containers without its header: what a peer then takes it for.
struct RawAac {
    Combination combination;
    int sampleRate;
    int channels;
};

void PrintTo(const RawAac& raw, std::ostream* out) {
    PrintTo(raw.combination, out);
}

std::string NameOfRawAac(const testing::TestParamInfo<RawAac>& info) {
    return NameOf({info.param.combination, info.index});
}

class FileMuxerWritesRawAac : public testing::TestWithParam<RawAac> {};

TEST_P(FileMuxerWritesRawAac, WithoutTheHeaderThatTellsRateAndChannels) {
    const RawAac& raw = GetParam();
    Material material(raw.combination);
    const Output output(raw.combination);
    Codrelay_SetFfmpegLogLevel("error");
    ASSERT_NO_FATAL_FAILURE(WriteFile(raw.combination, material, output));
    const PeerStream sound = PeerStreams(output.Path()).at(1);
    EXPECT_EQ(sound.codec, "aac");
    EXPECT_EQ(sound.pts.size(), material.blocks.size());
    EXPECT_EQ(sound.headerBytes, 0);
    EXPECT_EQ(sound.sampleRate, raw.sampleRate);
    EXPECT_EQ(sound.channels, raw.channels);
}

// "aac" is 44100 Hz and mono, "aac48" 48000 Hz and stereo.
INSTANTIATE_TEST_SUITE_P(
    , FileMuxerWritesRawAac,
    testing::Values(RawAac{{"flv", "h264", "aac"}, 44100, 2}, RawAac{{"flv", "h264", "aac48"}, 44100, 2},
                    RawAac{{"mp4", "h264", "aac"}, 44100, 2}, RawAac{{"mp4", "h264", "aac48"}, 48000, 2},
                    RawAac{{"3gp", "h264", "aac"}, 44100, 2}, RawAac{{"3gp", "h264", "aac48"}, 48000, 2},
                    RawAac{{"3g2", "h264", "aac"}, 44100, 2}, RawAac{{"3g2", "h264", "aac48"}, 48000, 2}),
    NameOfRawAac);

// FFmpeg 5 begins to tell bit rates in MP4, in a box that grows the header. Hosts know the one of FFmpeg 4.
TEST(FileMuxerWritesMp4, WithoutABoxOfBitRates) {
    const Combination combination{"mp4", "h264", "mp3"};
    Material material(combination);
    const Output output(combination);
    ASSERT_NO_FATAL_FAILURE(WriteFile(combination, material, output));
    const std::vector<unsigned char> file = ReadFile(output.Path());
    const std::string box = "btrt";
    EXPECT_EQ(std::search(file.begin(), file.end(), box.begin(), box.end()), file.end());
}

int64_t LastPictureMilliseconds(const std::string& path) {
    AVFormatContext* file = nullptr;
    if (avformat_open_input(&file, path.c_str(), nullptr, nullptr) < 0) {
        return -1;
    }
    int64_t length = -1;
    AVPacket* packet = av_packet_alloc();
    while (av_read_frame(file, packet) >= 0) {
        const AVStream* stream = file->streams[packet->stream_index];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
            length = av_rescale_q(packet->duration, stream->time_base, AVRational{1, 1000});
        }
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&file);
    return length;
}

// Nothing follows that would tell the length of the last picture: FFmpeg 4 takes it from the rate of the stream.
TEST(FileMuxerWrites, ALastPictureOf40Milliseconds) {
    for (const char* format : {"mp4", "3gp", "3g2"}) {
        const Combination combination{format, "h264", "aac"};
        Material material(combination);
        const Output output(combination);
        ASSERT_NO_FATAL_FAILURE(WriteFile(combination, material, output));
        EXPECT_EQ(LastPictureMilliseconds(output.Path()), 40) << format;
    }
}

// What a container takes without a word, and what a peer then makes of it.
struct Misread {
    Combination combination;
    const char* video;
    const char* sound;
    bool decodes;
};

void PrintTo(const Misread& misread, std::ostream* out) {
    PrintTo(misread.combination, out);
}

std::string NameOfMisread(const testing::TestParamInfo<Misread>& info) {
    return NameOf({info.param.combination, info.index});
}

class FileMuxerWritesMisread : public testing::TestWithParam<Misread> {};

TEST_P(FileMuxerWritesMisread, WhatAPeerTakesForSomethingElse) {
    const Misread& misread = GetParam();
    Material material(misread.combination);
    const Output output(misread.combination);
    Codrelay_SetFfmpegLogLevel("quiet");
    ASSERT_NO_FATAL_FAILURE(WriteFile(misread.combination, material, output));
    EXPECT_THAT(PeerCodecs(output.Path()), ElementsAre(misread.video, misread.sound));
    EXPECT_EQ(PeerDecodeErrors(output.Path()).empty(), misread.decodes);
}

// Private data of a transport stream are left alone by a peer.
INSTANTIATE_TEST_SUITE_P(, FileMuxerWritesMisread,
                         testing::Values(Misread{{"flv", "h264", "s16be"}, "h264", "pcm_s16le", true},
                                         Misread{{"avi", "h265", "mp3"}, "rawvideo", "mp3", false},
                                         Misread{{"avi", "h264", "aac"}, "h264", "aac", false},
                                         Misread{{"avi", "h264", "ima"}, "h264", "adpcm_ima_wav", false},
                                         Misread{{"ts", "h263", "mp3"}, "bin_data", "mp3", true},
                                         Misread{{"ts", "flv1", "mp3"}, "bin_data", "mp3", true},
                                         Misread{{"ts", "mjpeg", "mp3"}, "bin_data", "mp3", true},
                                         Misread{{"ts", "h264", "aac"}, "h264", "aac", false},
                                         Misread{{"ts", "h264", "s16le"}, "h264", "bin_data", true},
                                         Misread{{"ts", "h264", "s16be"}, "h264", "bin_data", true},
                                         Misread{{"ts", "h264", "u16le"}, "h264", "bin_data", true},
                                         Misread{{"ts", "h264", "mulaw"}, "h264", "bin_data", true},
                                         Misread{{"ts", "h264", "alaw"}, "h264", "bin_data", true},
                                         Misread{{"ts", "h264", "amrnb"}, "h264", "bin_data", true},
                                         Misread{{"ts", "h264", "amrwb"}, "h264", "bin_data", true},
                                         Misread{{"ts", "h264", "g726"}, "h264", "bin_data", true},
                                         Misread{{"ts", "h264", "ima"}, "h264", "bin_data", true}),
                         NameOfMisread);

// A reader tells G.726's four codecs apart by the bit rate alone.
TEST(FileMuxerWritesG726, ThatNobodyReadsAtAnotherBitRate) {
    const Combination combination{"avi", "h264", "g726_as_64000"};
    Material material(combination);
    const Output output(combination);
    Codrelay_SetFfmpegLogLevel("error");
    ASSERT_NO_FATAL_FAILURE(WriteFile(combination, material, output));
    EXPECT_THAT(PeerDecodeErrors(output.Path()), testing::HasSubstr("Invalid number of bits 8"));
}

// FFmpeg 7 puts H.265 into FLV and PCM into MP4, which 4 and 5 refuse.
bool IsTakenByFfmpeg7(const Combination& combination) {
    const bool isPcm = combination.sound == "s16le" || combination.sound == "s16be";
    return (combination.format == "flv" && combination.video == "h265") || (combination.format == "mp4" && isPcm);
}

class FileMuxerRefuses : public testing::TestWithParam<Combination> {};

TEST_P(FileMuxerRefuses, AtTheHeader) {
    const Combination& combination = GetParam();
    const Output output(combination);
    MUXER_PARAM param = ParamFor(combination);
    Codrelay_SetFfmpegLogLevel("quiet");
    CMuxerFileBase* muxer = Codrelay_MuxerFile(kFormats.at(combination.format), &param, output.Path().c_str());
    ASSERT_NE(muxer, nullptr);
    LogCapture log;
    if (IsFfmpeg7() && IsTakenByFfmpeg7(combination)) {
        EXPECT_EQ(muxer->WriteHeader(), 1);
    } else {
        EXPECT_EQ(muxer->WriteHeader(), 0);
        EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CMuxerFile::WriteHeader: failed")));
    }
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
                              Combine("avi", {"h264"}, {"s16be", "u16le"}), Combine("webm", kAllVideos, {"aac"}),
                              Combine("3gp", {"h265", "flv1", "mjpeg"}, {"aac"}), Combine("3gp", {"h264"}, kNotIn3gp),
                              Combine("3g2", {"h265", "flv1", "mjpeg"}, {"aac"}),
                              Combine("3g2", {"h264"}, kNotIn3gp)})),
    NameOf);

}  // namespace
