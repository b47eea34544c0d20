#include <gmock/gmock.h>

#include <string>

#include "command.h"
#include "common/test_media.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Values;

namespace {

class WrongUsage : public testing::TestWithParam<const char*> {};
class Help : public testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(WrongUsage, ExitsWithTwoAndSaysWhyOnStderr) {
    const ProcessResult run = RunCodrelay(GetParam());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, HasSubstr("--help"));
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, WrongUsage,
    Values("", "dance", "--loud", "info more", "probe", "probe --jason x", "decode", "decode x --csp nv12",
           "decode x --csp RGB24", "decode x --hold 8", "decode x --hold -1", "decode x --rate fast",
           "decode x --rate 0", "decode x --log loud", "decode x --out", "decode x --frame-size 640",
           "decode x --frame-size 0x480", "decode x --frame-size 640x480x", "decode x --frame-size -1x480",
           "decode x --frame-size 65536x1", "decode x --size 640", "decode x --size 0x480", "decode x --crop 1,2,3",
           "decode x --crop 1,2,3,4,5", "decode x --crop a,b,c,d", "decode x --crop 50,0,50,100",
           "decode x --crop 0,60,100,50", "decode x --crop -1,0,50,50", "decode x --crop 0,0,101,100", "encode",
           "encode x", "encode x y z", "encode x y --codec h265", "encode x y --codec H264", "encode x y --bitrate 0",
           "encode x y --bitrate 4294967296", "encode x y --fps 0", "encode x y --fps fast",
           "encode x y --key-interval -1", "encode x y --key-interval 301", "encode x y --size 320", "sheet x",
           "sheet x y --columns 0", "sheet x y --rows none", "sheet x y --width 7",
           "sheet x y --columns 64 --width 640", "remux x", "remux x y z", "remux x y --format mkv", "transcode x",
           "transcode x y --format MP4", "transcode x y --video h265", "transcode x y --audio opus",
           "transcode x y --size 320", "transcode x y --fps 0", "transcode x y --fps 241",
           "transcode x y --video-bitrate 0", "transcode x y --audio-bitrate -1", "transcode x y --key-interval 301"));

TEST_P(Help, HasAnExample) {
    const ProcessResult run = RunCodrelay(std::string(GetParam()) + " --help");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr(std::string("Example:\n  codrelay ") + GetParam()));
    EXPECT_THAT(run.err, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Commands, Help,
                         Values("", "info", "probe", "decode", "encode", "sheet", "remux", "transcode"));

TEST(Usage, VersionIsTold) {
    const ProcessResult run = RunCodrelay("--version");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "codrelay 1.0.0\n");
}

TEST(Usage, AFullStandardOutputIsAFailure) {
    const ProcessResult run = RunCodrelay("info >/dev/full");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "codrelay: standard output cannot be written\n");
}

TEST(Usage, NothingIsLoggedUnlessAskedFor) {
    const ProcessResult run = RunCodrelay("probe " + Quoted(Clip("demux_film.mp4")));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, IsEmpty());
}

TEST(Usage, LogShowsTheLibrarysLinesFromTheLevelUp) {
    const std::string file = Quoted(Clip("h264_422.264"));
    const std::string info = RunCodrelay("decode --log info " + file).err;
    EXPECT_THAT(info, HasSubstr("info ffmpeg: CVideoDecoder::CreateDecoder: h264 width = 320 height = 240\n"));
    EXPECT_THAT(info, HasSubstr("error ffmpeg: decoder uses transform\n"));
    EXPECT_THAT(info, testing::Not(HasSubstr("trace ")));
    const std::string error = RunCodrelay("decode --log error " + file).err;
    EXPECT_THAT(error, HasSubstr("error ffmpeg: decoder uses transform\n"));
    EXPECT_THAT(error, testing::Not(HasSubstr("info ffmpeg")));
    EXPECT_THAT(RunCodrelay("decode --log trace " + file).err, HasSubstr("trace codrelay: Loading H264 decoder\n"));
}

TEST(Usage, LogShowsFfmpegsOwnLinesToo) {
    const ScratchFolder scratch;
    RunCommand("head -c 2000 " + Quoted(Clip("demux_film.mp4")) + " >" + scratch.Path("cut.mp4"));
    EXPECT_THAT(RunCodrelay("probe --log error " + scratch.Path("cut.mp4")).err, HasSubstr("moov atom not found"));
    EXPECT_THAT(RunCodrelay("probe --log critical " + scratch.Path("cut.mp4")).err,
                testing::Not(HasSubstr("moov atom not found")));
}

// `script` gives the command a terminal for all its output.
TEST(Terminal, ShowsABarAndAlignedColumns) {
    const std::string command = CODRELAY_COMMAND " probe " + Clip("demux_film.mp4");
    const ProcessResult run = RunCommand("script -qec '" + command + "' /dev/null");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("\rreading [####"));
    EXPECT_THAT(run.out, HasSubstr("stream  type   codec  size     rate   channels  packets  first_ms  last_ms"));
    EXPECT_THAT(run.out, HasSubstr("0       video  h264   160x120  -      -         60 "));
}

TEST(Terminal, TheBarIsWipedBeforeTheSummary) {
    const std::string command = CODRELAY_COMMAND " decode " + Clip("mpeg4.avi");
    const ProcessResult run = RunCommand("script -qec '" + command + "' /dev/null");
    EXPECT_THAT(run.out, HasSubstr("\rdecoding [###"));
    EXPECT_THAT(run.out, HasSubstr("%\r\033[Kpackets in 50, pictures out 50"));
}

TEST(Terminal, ABarShowsHowFarEncodingIs) {
    const ScratchFolder scratch;
    const std::string film = CODRELAY_COMMAND " encode " + Clip("mpeg4.avi") + " " + scratch.Path("out.264");
    EXPECT_THAT(RunCommand("script -qec '" + film + "' /dev/null").out, HasSubstr("%\r\033[Kpictures 50 (1 key)"));
    RunCommand("ffmpeg -nostdin -v error -i " + Clip("mpeg4.avi") + " " + scratch.Path("in.y4m"));
    const std::string y4m = CODRELAY_COMMAND " encode " + scratch.Path("in.y4m") + " " + scratch.Path("out.264");
    const std::string shown = RunCommand("script -qec '" + y4m + "' /dev/null").out;
    EXPECT_THAT(shown, HasSubstr("\rencoding [###"));
    EXPECT_THAT(shown, HasSubstr("%\r\033[Kpictures 50 (1 key)"));
}

TEST(Terminal, LogLinesStandWithoutABar) {
    const std::string command = CODRELAY_COMMAND " decode --log info " + Clip("mpeg4.avi");
    const ProcessResult run = RunCommand("script -qec '" + command + "' /dev/null");
    EXPECT_THAT(run.out, HasSubstr("info ffmpeg: "));
    EXPECT_THAT(run.out, testing::Not(HasSubstr("decoding [")));
}
