#include <codrelay/ffmpeg_vocabulary.h>
#include <codrelay/media_ids.h>
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "command.h"
#include "common/test_media.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// A codec, and what the peer calls its raw stream.
struct Codec {
    const char* name;
    const char* format;
};

void PrintTo(const Codec& codec, std::ostream* out) {
    *out << codec.name;
}

struct Peer {
    /// One field each: width, height, kind of picture.
    std::vector<std::string> pictures;
    std::string complaints;
};

class Encode : public testing::Test {
protected:
    std::string In(const std::string& name) const { return m_Scratch.Path(name); }

    /// A Y4M file of 25 moving pictures, made by the peer.
    std::string MovingPictures(const std::string& size) const {
        // The pattern has even sizes only, hence the scaling.
        const ProcessResult made = RunCommand("ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=" + size +
                                              ":r=25:d=1 -s " + size + " -pix_fmt yuv420p " + In("in.y4m"));
        EXPECT_EQ(made.exitCode, 0) << made.err;
        return In("in.y4m");
    }

    std::string WriteIn(const std::string& bytes) const {
        std::ofstream(In("in.y4m"), std::ios::binary) << bytes;
        return In("in.y4m");
    }

    ProcessResult Run(const std::string& in, const std::string& options) const {
        return RunCodrelay("encode " + Quoted(in) + " " + m_Out + " " + options);
    }

    std::string Summary(const std::string& in, const std::string& options) const {
        const ProcessResult run = Run(in, options);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_THAT(run.out, IsEmpty());
        return run.err;
    }

    void ExpectFailure(const std::string& in, const std::string& options, const std::string& complaint) const {
        const ProcessResult run = Run(in, options);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.err, "codrelay: " + complaint + "\n");
        EXPECT_FALSE(std::filesystem::exists(m_Out));
    }

    /// What the ffmpeg command finds in the stream.
    Peer Decoded(const std::string& format) const {
        const ProcessResult decoded =
            RunCommand("ffmpeg -nostdin -v error -f " + format + " -i " + m_Out + " -f null -");
        const ProcessResult probed = RunCommand("ffprobe -v error -f " + format + " -i " + m_Out +
                                                " -show_entries frame=width,height,pict_type -of csv=p=0");
        return {Lines(probed.out), decoded.err + probed.err};
    }

    std::string RawPictures(const std::string& input) const {
        return RunCommand("ffmpeg -nostdin -v error " + input + " -f rawvideo -").out;
    }

    const ScratchFolder m_Scratch;
    const std::string m_Out = m_Scratch.Path("out.stream");
};

class EncodeTo : public Encode, public testing::WithParamInterface<Codec> {};

double Psnr(const std::string& a, const std::string& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const int difference = static_cast<unsigned char>(a[i]) - static_cast<unsigned char>(b[i]);
        sum += difference * difference;
    }
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

/// A Y4M file of noise with an even size.
std::string NoiseY4m(std::size_t width, std::size_t height, int pictures) {
    std::mt19937 random(1);
    std::string file = "YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) + " F25:1\n";
    for (int i = 0; i < pictures; ++i) {
        file += "FRAME\n";
        for (std::size_t byte = 0; byte < width * height * 3 / 2; ++byte) {
            file += static_cast<char>(random() & 0xff);
        }
    }
    return file;
}

std::string GreyPicture(const std::string& mark) {
    return mark + std::string(16 * 16 * 3 / 2, '\x80');
}

}  // namespace

TEST_P(EncodeTo, AY4mFileThatThePeerDecodes) {
    const std::string in = MovingPictures("352x288");
    EXPECT_THAT(Summary(in, std::string("--bitrate 2000000 --codec ") + GetParam().name),
                testing::StartsWith("pictures 25 ("));
    const Peer peer = Decoded(GetParam().format);
    EXPECT_THAT(peer.complaints, IsEmpty());
    ASSERT_THAT(peer.pictures, SizeIs(25));
    EXPECT_THAT(peer.pictures, testing::Each(testing::StartsWith("352,288,")));
    const std::string original = RawPictures("-i " + in);
    const std::string encoded = RawPictures(std::string("-f ") + GetParam().format + " -i " + m_Out);
    ASSERT_EQ(encoded.size(), original.size());
    EXPECT_GT(Psnr(encoded, original), 28);
}

TEST_P(EncodeTo, AFilmThatIsScaledAndThatThePeerDecodes) {
    // Two of 50 pictures stay inside the decoder, since they are reordered.
    EXPECT_THAT(Summary(Clip("h264_reordered.264"), std::string("--size 176x144 --codec ") + GetParam().name),
                testing::StartsWith("pictures 48 ("));
    const Peer peer = Decoded(GetParam().format);
    EXPECT_THAT(peer.complaints, IsEmpty());
    ASSERT_THAT(peer.pictures, SizeIs(48));
    EXPECT_THAT(peer.pictures, testing::Each(testing::StartsWith("176,144,")));
}

INSTANTIATE_TEST_SUITE_P(Codecs, EncodeTo,
                         testing::Values(Codec{"h264", "h264"}, Codec{"mpeg4", "m4v"}, Codec{"h263", "h263"},
                                         Codec{"mjpeg", "mjpeg"}),
                         [](const auto& test) { return std::string(test.param.name); });

// It has no raw form that the peer reads: a picture begins with 17 bits, 1 the last, and the number 1 in five.
TEST_F(Encode, FlvPicturesFollowEachOtherBare) {
    EXPECT_THAT(Summary(MovingPictures("64x48"), "--codec flv"), testing::StartsWith("pictures 25 (1 key)"));
    const std::vector<unsigned char> stream = ReadFile(m_Out);
    ASSERT_GT(stream.size(), 3u);
    EXPECT_EQ(stream[0], 0);
    EXPECT_EQ(stream[1], 0);
    EXPECT_EQ(stream[2] >> 2, 0x84 >> 2);
}

TEST_F(Encode, H264IsTheUsualCodec) {
    Summary(MovingPictures("64x48"), "");
    EXPECT_THAT(Decoded("h264").pictures, SizeIs(25));
}

TEST_F(Encode, TheSummaryTellsBytesAndRates) {
    const std::string summary = Summary(MovingPictures("64x48"), "--codec mjpeg");
    const std::uintmax_t bytes = std::filesystem::file_size(m_Out);
    EXPECT_THAT(summary, testing::MatchesRegex("pictures 25 \\(25 key\\), bytes " + std::to_string(bytes) + ", " +
                                               std::to_string(bytes * 8) +
                                               " bits per second at 25, time [0-9.]+ s, "
                                               "[0-9.]+ pictures per second\n"));
}

TEST_F(Encode, KeyPicturesComeAtTheInterval) {
    EXPECT_THAT(Summary(MovingPictures("64x48"), "--codec mpeg4 --key-interval 10"), HasSubstr("(3 key)"));
    const Peer peer = Decoded("m4v");
    ASSERT_THAT(peer.pictures, SizeIs(25));
    for (std::size_t i = 0; i < 25; ++i) {
        EXPECT_THAT(peer.pictures[i], HasSubstr(i % 10 == 0 ? ",I" : ",P")) << "picture " << i;
    }
}

TEST_F(Encode, TheBitRateIsAimedAt) {
    const std::string in = Clip("mpeg4.avi");
    Summary(in, "--codec mpeg4 --bitrate 400000");
    const auto low = static_cast<double>(std::filesystem::file_size(m_Out));
    Summary(in, "--codec mpeg4 --bitrate 1600000");
    const auto high = static_cast<double>(std::filesystem::file_size(m_Out));
    // Two seconds; the codec's own control decides how near it comes.
    EXPECT_NEAR(low, 400000.0 / 4, 40000);
    EXPECT_NEAR(high, 1600000.0 / 4, 160000);
}

TEST_F(Encode, TheRateOfPicturesIsTheFilesUnlessTold) {
    const std::string film = Clip("demux_film.mp4");
    EXPECT_THAT(Summary(film, ""), HasSubstr("per second at 30,"));
    EXPECT_THAT(Summary(film, "--fps 12"), HasSubstr("per second at 12,"));
    EXPECT_THAT(Summary(Clip("h264_baseline.264"), ""), HasSubstr("per second at 25,"));
    EXPECT_THAT(Summary(WriteIn("YUV4MPEG2 W16 H16 F60000:1001\n" + GreyPicture("FRAME\n")), ""),
                HasSubstr("per second at 60,"));
    EXPECT_THAT(Summary(WriteIn("YUV4MPEG2 W16 H16 F0:0\n" + GreyPicture("FRAME\n")), ""),
                HasSubstr("per second at 25,"));
}

TEST_F(Encode, PicturesThatChangeTheirSizeAreScaledToTheFirst) {
    EXPECT_THAT(Summary(Clip("h264_resized.264"), ""), testing::StartsWith("pictures 40 ("));
    const Peer peer = Decoded("h264");
    EXPECT_THAT(peer.complaints, IsEmpty());
    ASSERT_THAT(peer.pictures, SizeIs(40));
    EXPECT_THAT(peer.pictures, testing::Each(testing::StartsWith("320,240,")));
}

// The H.264 encoder leaves out the odd row and column.
TEST_F(Encode, OddSizesAreEncoded) {
    const std::string in = MovingPictures("33x17");
    for (const auto& [codec, format, size] :
         {std::tuple("mpeg4", "m4v", "33,17,"), {"mjpeg", "mjpeg", "33,17,"}, {"h264", "h264", "32,16,"}}) {
        EXPECT_THAT(Summary(in, std::string("--codec ") + codec), testing::StartsWith("pictures 25 ("));
        const Peer peer = Decoded(format);
        EXPECT_THAT(peer.complaints, IsEmpty());
        EXPECT_THAT(peer.pictures, SizeIs(25));
        EXPECT_THAT(peer.pictures, testing::Each(testing::StartsWith(size)));
    }
}

// Each takes more bytes than the raw picture has.
TEST_F(Encode, NoiseAndTinyPicturesHaveRoom) {
    const std::string rate = " --bitrate 100000000";
    EXPECT_THAT(Summary(WriteIn(NoiseY4m(8, 8, 5)), "--codec mjpeg" + rate), HasSubstr("pictures 5 "));
    EXPECT_THAT(Summary(WriteIn(NoiseY4m(16, 16, 5)), "--codec h264" + rate), HasSubstr("pictures 5 "));
    EXPECT_THAT(Summary(WriteIn(NoiseY4m(176, 144, 5)), "--codec mpeg4" + rate), HasSubstr("pictures 5 "));
    EXPECT_THAT(Summary(WriteIn(NoiseY4m(352, 288, 5)), "--codec flv" + rate), HasSubstr("pictures 5 "));
    EXPECT_THAT(Summary(WriteIn(NoiseY4m(352, 288, 5)), "--codec h263" + rate), HasSubstr("pictures 5 "));
    EXPECT_THAT(Decoded("h263").pictures, SizeIs(5));
}

TEST_F(Encode, WhatACodecRefusesIsTold) {
    const std::string in = MovingPictures("64x48");
    ExpectFailure(in, "--codec h263",
                  "the h263 encoder does not take pictures of 64x48 at 25 and 1000000 bits a second; H.263 has 128x96, "
                  "176x144, 352x288, 704x576 and 1408x1152 (--size)");
    ExpectFailure(in, "--bitrate 10", "the h264 encoder does not take pictures of 64x48 at 25 and 10 bits a second");
    ExpectFailure(in, "--size 64x7", "pictures cannot be scaled to 64x7: a side has 8 to 4096 pixels");
    const ProcessResult tiny = Run(in, "--size 8x8");
    if (GetFFmpegVideoEncoderName(VIDEO_CODEC_H264) != std::string("libopenh264")) {
        EXPECT_EQ(tiny.exitCode, 0) << "x264 takes them";
        return;
    }
    EXPECT_EQ(tiny.exitCode, 1);
    EXPECT_THAT(tiny.err, testing::MatchesRegex("codrelay: the h264 encoder fails with -[0-9]+ on picture 0 "
                                                "\\(from 0\\) of 8x8; H.264 has at least 16x16 \\(--size\\)\n"));
    EXPECT_FALSE(std::filesystem::exists(m_Out));
}

TEST_F(Encode, Y4mLinesMayHoldMore) {
    EXPECT_THAT(Summary(WriteIn("YUV4MPEG2 W16 H16 F25:1 Ip A1:1 C420paldv XCOLORRANGE=LIMITED\n" +
                                GreyPicture("FRAME Ip Xa=b\n") + GreyPicture("FRAME\n")),
                        "--codec mpeg4"),
                HasSubstr("pictures 2 "));
}

// Bytes from 32 up are what a text has, too.
TEST_F(Encode, ABrightY4mFileIsNoText) {
    EXPECT_THAT(Summary(WriteIn("YUV4MPEG2 W16 H16\nFRAME\n" + std::string(384, '\xeb')), "--codec mpeg4"),
                HasSubstr("pictures 1 "));
}

TEST_F(Encode, OtherY4mLayoutsAreRefused) {
    for (const std::string layout : {"444", "422", "420p10", "mono", "411"}) {
        const std::string in = WriteIn("YUV4MPEG2 W16 H16 F25:1 C" + layout + "\n" + GreyPicture("FRAME\n"));
        ExpectFailure(in, "", in + ": its pictures are " + layout + "; only 4:2:0 with 8 bits is read");
    }
}

TEST_F(Encode, DamagedY4mFilesAreTold) {
    const std::string in = In("in.y4m");
    const std::string head = "YUV4MPEG2 W16 H16 F25:1\n";
    WriteIn(head + GreyPicture("FRAME\n") + "FRAME\nshort");
    ExpectFailure(in, "", in + ": is cut short: picture 1 (from 0) is not whole");
    WriteIn(head + GreyPicture("FRAME\n") + GreyPicture("FROME\n"));
    ExpectFailure(in, "", in + ": is damaged: picture 1 (from 0) does not begin");
    WriteIn(head + GreyPicture("FRAME\n") + std::string(5000, 'x'));
    ExpectFailure(in, "", in + ": is damaged: it has a line that is too long");
    WriteIn(head);
    ExpectFailure(in, "", in + ": is too short for a picture of 16x16");
    WriteIn("YUV4MPEG2 W16384 H16384\n" + GreyPicture("FRAME\n"));
    ExpectFailure(in, "", in + ": is too short for a picture of 16384x16384");
    WriteIn("YUV4MPEG2 W2 H2\n");
    ExpectFailure(in, "--codec mpeg4", in + ": has no pictures");
}

TEST_F(Encode, Y4mFilesThatDoNotTellTheirSizeAreTold) {
    const std::string in = In("in.y4m");
    WriteIn("YUV4MPEG2 W16385 H16\n" + GreyPicture("FRAME\n"));
    ExpectFailure(in, "", in + ": its first line has the picture size W16385");
    WriteIn("YUV4MPEG2 W16 F25:1\n" + GreyPicture("FRAME\n"));
    ExpectFailure(in, "", in + ": its first line does not tell the picture size");
    WriteIn("YUV4MPEG2 W16 H-16\n" + GreyPicture("FRAME\n"));
    ExpectFailure(in, "", in + ": its first line has the picture size H-16");
    WriteIn("YUV4MPEG2 W16x H16\n" + GreyPicture("FRAME\n"));
    ExpectFailure(in, "", in + ": its first line has the picture size W16x");
    WriteIn("YUV4MPEG2\n" + GreyPicture("FRAME\n"));
    ExpectFailure(in, "", in + ": its first line does not tell the picture size");
    WriteIn("YUV4MPEG2 W16 H16 X" + std::string(5000, 'x') + "\n" + GreyPicture("FRAME\n"));
    ExpectFailure(in, "", in + ": is damaged: it has a line that is too long");
}
