#include <gmock/gmock.h>

#include <fstream>
#include <string>
#include <vector>

#include "command.h"
#include "common/digest.h"
#include "common/peer.h"
#include "common/test_media.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

namespace {

ProcessResult Decode(const std::string& clip, const std::string& options) {
    const ProcessResult run = RunCodrelay("decode " + Quoted(Clip(clip)) + " " + options);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run;
}

/// A clip that the peer decodes as well, and how many pictures stay inside the decoder.
struct PeerCase {
    const char* clip;
    std::size_t inside;
};

void PrintTo(const PeerCase& test, std::ostream* out) {
    *out << test.clip;
}

class DecodeAgainstPeer : public testing::TestWithParam<PeerCase> {};

}  // namespace

TEST_P(DecodeAgainstPeer, HashesAreThePeers) {
    const std::vector<PeerPicture> peer = PeerPictures(Clip(GetParam().clip));
    const std::vector<std::string> lines = Lines(Decode(GetParam().clip, "--hashes").out);
    ASSERT_THAT(peer, SizeIs(testing::Gt(GetParam().inside)));
    ASSERT_EQ(lines.size(), peer.size() - GetParam().inside + 1);
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        const std::vector<std::string> fields = Fields(lines[i]);
        ASSERT_THAT(fields, SizeIs(6));
        EXPECT_EQ(fields[0], std::to_string(i));
        EXPECT_EQ(fields[4], std::to_string(peer[i].bytes));
        EXPECT_EQ(fields[5], peer[i].md5) << "picture " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Clips, DecodeAgainstPeer,
                         testing::Values(PeerCase{"h264_baseline.264", 0}, PeerCase{"h264_reordered.264", 2},
                                         PeerCase{"h265.265", 0}, PeerCase{"mpeg4.avi", 0},
                                         PeerCase{"mpeg4_reordered.avi", 1}, PeerCase{"mjpeg_odd.avi", 0},
                                         PeerCase{"flv1.flv", 0}, PeerCase{"h263.avi", 0},
                                         PeerCase{"demux_film.ts", 2}));

TEST(Decode, HashLinesTellNumberTimeSizeAndBytes) {
    EXPECT_THAT(Lines(Decode("mjpeg_odd.avi", "--hashes").out)[1], StartsWith("1\t40\t33\t17\t867\t"));
    EXPECT_THAT(Lines(Decode("h264_baseline.264", "--hashes").out)[1], StartsWith("1\t-\t320\t240\t115200\t"));
}

TEST(Decode, TheLastLineIsTheHashOfAllThatIsWritten) {
    const ScratchFolder scratch;
    const ProcessResult run = Decode("h264_854.264", "--hashes --out " + scratch.Path("out.yuv"));
    const std::vector<unsigned char> bytes = ReadFile(scratch.Path("out.yuv"));
    const std::size_t picture = 854 * 480 * 3 / 2;
    ASSERT_EQ(bytes.size(), 10 * picture);
    const std::vector<std::string> lines = Lines(run.out);
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(Fields(lines[i]).at(5), Md5Of(bytes.data() + i * picture, picture));
    }
    Digest all = Digest::Sha1();
    all.Add(bytes.data(), bytes.size());
    EXPECT_EQ(lines.at(10), "10\t" + all.Finish());
}

TEST(Decode, TheSummaryGoesToStderr) {
    const ProcessResult run = Decode("h264_reordered.264", "");
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::MatchesRegex("packets in 50, pictures out 48, skipped 2 "
                                               "\\(no picture 2, damaged 0, other size 0\\), time [0-9.]+ s\n"));
}

TEST(Decode, OtherColourSpacesHaveTheSizeOfTheStream) {
    EXPECT_THAT(Lines(Decode("h264_854.264", "--hashes --csp rgb24").out)[0], StartsWith("0\t-\t854\t480\t1229760\t"));
    EXPECT_THAT(Lines(Decode("h264_854.264", "--hashes --csp bgr24").out)[0], StartsWith("0\t-\t854\t480\t1229760\t"));
    EXPECT_THAT(Lines(Decode("h264_854.264", "--hashes --csp bgra").out)[0], StartsWith("0\t-\t854\t480\t1639680\t"));
}

TEST(Decode, RgbAndBgrDifferInTheOrderOfTheBytes) {
    const ScratchFolder scratch;
    Decode("mpeg4.avi", "--csp rgb24 --out " + scratch.Path("rgb"));
    Decode("mpeg4.avi", "--csp bgr24 --out " + scratch.Path("bgr"));
    const std::vector<unsigned char> rgb = ReadFile(scratch.Path("rgb"));
    std::vector<unsigned char> bgr = ReadFile(scratch.Path("bgr"));
    ASSERT_EQ(rgb.size(), 50u * 320 * 240 * 3);
    ASSERT_EQ(bgr.size(), rgb.size());
    for (std::size_t i = 0; i < bgr.size(); i += 3) {
        std::swap(bgr[i], bgr[i + 2]);
    }
    EXPECT_TRUE(bgr == rgb);
}

TEST(Decode, HeldPicturesChangeNothing) {
    const std::string expected = Decode("h264_reordered.264", "--hashes").out;
    EXPECT_EQ(Decode("h264_reordered.264", "--hashes --hold 1").out, expected);
    EXPECT_EQ(Decode("h264_reordered.264", "--hashes --hold 7").out, expected);
}

// At 25 a second and --rate 4 the decoder's interval is 200 ms, counted from 0.
TEST(Decode, RateThinsThePictures) {
    std::vector<std::string> times;
    for (const std::string& line : Lines(Decode("mpeg4.avi", "--hashes --rate 4").out)) {
        const std::vector<std::string> fields = Fields(line);
        if (fields.size() == 6) {
            times.push_back(fields[1]);
        }
    }
    EXPECT_THAT(times, ElementsAre("200", "400", "600", "800", "1000", "1200", "1400", "1600", "1800"));
}

TEST(Decode, RateWantsTimes) {
    const ProcessResult run = RunCodrelay("decode --rate 4 " + Quoted(Clip("h264_baseline.264")));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, HasSubstr("has packets without a time, so --rate cannot be kept\n"));
}

TEST(Decode, PicturesOfAnotherSizeAreSkippedUnlessAllowed) {
    EXPECT_THAT(Decode("h264_resized.264", "").err,
                HasSubstr("pictures out 20, skipped 20 (no picture 0, damaged 0, other size 20)"));
    EXPECT_THAT(Decode("h264_resized.264", "--allow-resize").err, HasSubstr("pictures out 40, skipped 0"));
}

TEST(Decode, ConvertedPicturesHaveTheirNewSizeAfterAChange) {
    const std::vector<std::string> lines = Lines(Decode("h264_resized.264", "--allow-resize --csp rgb24 --hashes").out);
    ASSERT_THAT(lines, SizeIs(41));
    EXPECT_THAT(lines[9], StartsWith("9\t-\t320\t240\t230400\t"));
    EXPECT_THAT(lines[10], StartsWith("10\t-\t640\t360\t691200\t"));
    EXPECT_THAT(lines[20], StartsWith("20\t-\t176\t144\t76032\t"));
    EXPECT_THAT(lines[39], StartsWith("39\t-\t320\t240\t230400\t"));
}

TEST(Decode, AStreamWithoutASizeWantsOne) {
    const std::string file = Clip("command_no_size.mp4");
    const ProcessResult run = RunCodrelay("decode " + Quoted(file));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err,
              "codrelay: " + file + ": its video does not carry the picture size; give it with --frame-size WxH\n");
    const std::vector<PeerPicture> peer = PeerPictures(file);
    const std::vector<std::string> lines = Lines(Decode("command_no_size.mp4", "--frame-size 160x120 --hashes").out);
    ASSERT_EQ(lines.size(), peer.size() + 1);
    for (std::size_t i = 0; i < peer.size(); ++i) {
        EXPECT_EQ(Fields(lines[i]).at(5), peer[i].md5);
    }
}

TEST(Decode, AFrameSizeThatIsNotTheStreamsGivesNothing) {
    const std::string file = Clip("h264_baseline.264");
    const ProcessResult run = RunCodrelay("decode --frame-size 160x120 " + Quoted(file));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err,
              "codrelay: " + file + ": its video gives no picture of 160x120; --allow-resize takes other sizes\n");
}

TEST(Decode, AFrameSizeThatFfmpegRefusesIsAFailure) {
    const ProcessResult run = RunCodrelay("decode --frame-size 65535x65535 " + Quoted(Clip("h264_baseline.264")));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "codrelay: the h264 decoder cannot be created at 65535x65535\n");
}

TEST(Decode, H265OutOfMp4GivesNoPicture) {
    const std::string file = Clip("command_h265.mp4");
    const std::string expected =
        "codrelay: " + file + ": its h265 video gives no picture; MP4 keeps H.265's parameters out of the packets\n";
    EXPECT_EQ(RunCodrelay("decode " + Quoted(file)).err, expected);
    const ProcessResult sized = RunCodrelay("decode --frame-size 160x120 " + Quoted(file));
    EXPECT_EQ(sized.exitCode, 1);
    EXPECT_EQ(sized.err, expected);
}

TEST(Decode, DamagedPacketsAreCounted) {
    const ScratchFolder scratch;
    std::vector<unsigned char> bytes = ReadFile(Clip("h265.265"));
    // The first picture's parameters stay, all packets but the first lose their contents.
    const ProcessResult whole = RunCodrelay("probe --packets " + Quoted(Clip("h265.265")));
    const std::size_t first = std::stoul(Fields(Lines(whole.out)[0]).at(3));
    for (std::size_t i = first + 8; i < bytes.size(); ++i) {
        const bool isStartCode = bytes[i] <= 1 || bytes[i - 1] <= 1 || bytes[i - 2] <= 1 || bytes[i - 3] == 1;
        bytes[i] = isStartCode ? bytes[i] : 0xff;
    }
    std::ofstream(scratch.Path("bad.265"), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    const ProcessResult run = RunCodrelay("decode " + scratch.Path("bad.265"));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, testing::ContainsRegex("damaged [1-9]"));
}
