#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "command.h"
#include "common/test_media.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

std::vector<std::string> Probe(const std::string& clip, const std::string& options = "") {
    const ProcessResult run = RunCodrelay("probe " + Quoted(Clip(clip)) + " " + options);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    return Lines(run.out);
}

const char* const kHead = "stream\ttype\tcodec\tsize\trate\tchannels\tpackets\tfirst_ms\tlast_ms\tformat";

}  // namespace

TEST(Probe, TellsVideoAndAudioStreams) {
    EXPECT_THAT(Probe("demux_film.mp4"), ElementsAre(kHead, "0\tvideo\th264\t160x120\t-\t-\t60\t0\t1968\t-",
                                                     testing::MatchesRegex("1\taudio\taac\t-\t44100\t2\t.*\tfltp")));
    EXPECT_THAT(Probe("demux_plain.avi"),
                ElementsAre(kHead, testing::StartsWith("0\tvideo\tmpeg4\t160x120\t-\t-\t25\t"),
                            testing::MatchesRegex("1\taudio\tpcm_s16le\t-\t44100\t1\t.*\ts16")));
}

TEST(Probe, AStreamOfAnotherKindIsToldAsSuch) {
    EXPECT_THAT(Probe("demux_film.mkv"),
                ElementsAre(kHead, testing::_, testing::_, testing::StartsWith("2\tother\tunknown\t-\t-\t-\t1\t")));
}

TEST(Probe, CodecsWithoutAnIdAreUnknown) {
    EXPECT_THAT(Probe("demux_foreign.asf"), ElementsAre(kHead, testing::StartsWith("0\tvideo\tunknown\t-\t-\t-\t25\t"),
                                                        testing::StartsWith("1\taudio\tunknown\t-\t44100\t1\t")));
}

TEST(Probe, TimesThatAreNotThereAreDashes) {
    EXPECT_THAT(Probe("h264_baseline.264"), ElementsAre(kHead, "0\tvideo\th264\t320x240\t-\t-\t50\t-\t-\t-"));
}

TEST(Probe, ASizeThatTheStreamDoesNotCarryIsADash) {
    EXPECT_THAT(Probe("command_no_size.mp4"), ElementsAre(kHead, "0\tvideo\tmpeg4\t-\t-\t-\t25\t0\t960\t-"));
    EXPECT_THAT(Probe("command_h265.mp4"), ElementsAre(kHead, testing::StartsWith("0\tvideo\th265\t-\t-\t-\t25\t")));
}

TEST(Probe, TheSizeOfPicturesThatAreConvertedIsFoundToo) {
    EXPECT_THAT(Probe("h264_422.264"), ElementsAre(kHead, "0\tvideo\th264\t320x240\t-\t-\t50\t-\t-\t-"));
}

TEST(Probe, EveryVideoStreamHasASize) {
    EXPECT_THAT(Probe("demux_two.mp4"), testing::Contains(HasSubstr("\th264\t160x120\t")).Times(1));
}

TEST(Probe, PacketsAreThoseOfThePeer) {
    const ProcessResult peer =
        RunCommand("ffprobe -v error -show_entries packet=stream_index,size,flags -of csv=p=0 " + Clip("mpeg4.avi"));
    const std::vector<std::string> expected = Lines(peer.out);
    const std::vector<std::string> lines = Probe("mpeg4.avi", "--packets");
    ASSERT_THAT(expected, SizeIs(50));
    ASSERT_THAT(lines, SizeIs(expected.size() + 2));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::vector<std::string> fields = Fields(lines[i]);
        ASSERT_THAT(fields, SizeIs(5));
        EXPECT_EQ(fields[0] + "," + fields[3] + "," + (fields[4] == "1" ? "K_" : "__"), expected[i]);
        EXPECT_EQ(fields[2], std::to_string(i * 40));
    }
}

TEST(Probe, PacketTimesThatAreNotThereAreDashes) {
    for (const std::string& line : Probe("h264_baseline.264", "--packets")) {
        if (line.rfind("stream", 0) == 0) {
            break;
        }
        EXPECT_EQ(line.rfind("0\t-\t-\t", 0), 0u) << line;
    }
}

TEST(Probe, JsonHoldsTheSame) {
    EXPECT_THAT(Probe("command_no_size.mp4", "--json"),
                ElementsAre("{", "  \"streams\": [",
                            R"(    {"index": 0, "type": "video", "codec": "mpeg4", "width": null, "height": null, )"
                            R"("packets": 25, "first_ms": 0, "last_ms": 960})",
                            "  ]", "}"));
    EXPECT_THAT(Probe("h264_baseline.264", "--json"),
                testing::Contains(R"(    {"index": 0, "type": "video", "codec": "h264", "width": 320, "height": 240, )"
                                  R"("packets": 50, "first_ms": null, "last_ms": null})"));
    EXPECT_THAT(Probe("demux_sound.wav", "--json"),
                testing::Contains(testing::StartsWith(
                    R"(    {"index": 0, "type": "audio", "codec": "pcm_s16le", "rate": 22050, "channels": 2, )")));
}

TEST(Probe, JsonHoldsThePacketsFirst) {
    const std::vector<std::string> plain = Probe("demux_film.mp4", "--packets");
    const std::vector<std::string> json = Probe("demux_film.mp4", "--packets --json");
    ASSERT_EQ(json.size(), plain.size() + 5);
    EXPECT_EQ(json[1], "  \"packets\": [");
    const std::size_t packets = plain.size() - 3;
    for (std::size_t i = 0; i < packets; ++i) {
        const std::vector<std::string> fields = Fields(plain[i]);
        EXPECT_EQ(json[i + 2], "    {\"stream\": " + fields[0] + ", \"pts_ms\": " + fields[1] +
                                   ", \"dts_ms\": " + fields[2] + ", \"size\": " + fields[3] + ", \"key\": " +
                                   (fields[4] == "1" ? "true" : "false") + "}" + (i + 1 < packets ? "," : ""));
    }
    EXPECT_EQ(json[packets + 2], "  ],");
    EXPECT_EQ(json[packets + 3], "  \"streams\": [");
}
