#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "command.h"
#include "common/test_media.h"

using testing::Combine;
using testing::Values;

namespace {

/// How a bad input comes to be at "$f", and what is said of it.
struct BadInput {
    const char* name;
    const char* make;
    const char* complaint;
};

void PrintTo(const BadInput& input, std::ostream* out) {
    *out << input.name;
}

class BadInputs : public testing::TestWithParam<std::tuple<const char*, BadInput>> {};

std::string Arguments(const std::string& command, const std::string& input, const ScratchFolder& scratch) {
    const bool writes = command != "probe" && command != "decode";
    return command + " " + Quoted(input) + (writes ? " " + scratch.Path("out.png") : "");
}

std::string NameOfBadInput(const testing::TestParamInfo<std::tuple<const char*, BadInput>>& test) {
    return std::string(std::get<0>(test.param)) + std::get<1>(test.param).name;
}

/// One line on stderr, exit code 1, and no output file.
void ExpectComplaint(const std::string& arguments, const std::string& complaint) {
    const ProcessResult run = RunCodrelay(arguments);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "codrelay: " + complaint + "\n");
}

class BadOutputs : public testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(BadInputs, EndWithOneAndOneLine) {
    const auto& [command, input] = GetParam();
    const ScratchFolder scratch;
    const std::string path = scratch.Path("input");
    const ProcessResult made = RunCommand("f=" + path + "; film=" + Clip("demux_film.mp4") + "; " + input.make);
    ASSERT_EQ(made.exitCode, 0) << made.err;
    ExpectComplaint(Arguments(command, path, scratch), path + ": " + input.complaint);
    EXPECT_FALSE(std::filesystem::exists(scratch.Path("out.png")));
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadInputs,
    Combine(Values("probe", "decode", "encode", "sheet", "remux", "transcode"),
            Values(BadInput{"Missing", "true", "No such file or directory"},
                   BadInput{"Directory", "mkdir $f", "is a directory"}, BadInput{"Empty", ": >$f", "is empty"},
                   BadInput{"Pipe", "mkfifo $f", "is not a regular file"},
                   BadInput{"Text", "echo 'Dear all,' >$f", "is a text file, not a media file"},
                   BadInput{"Playlist", "printf '#EXTM3U\\n#EXTINF:1,\\nfilm.ts\\n' >$f",
                            "is a text file, not a media file"},
                   BadInput{"Archive", "gzip -c $film >$f", "is not a media file that can be opened, or it is damaged"},
                   BadInput{"MovieWithoutIndex", "head -c 2000 $film >$f",
                            "is not a media file that can be opened, or it is damaged"})),
    NameOfBadInput);

TEST(BadInput, AMovieThatIsCutShortIsTold) {
    const ScratchFolder scratch;
    const std::string path = scratch.Path("cut.mp4");
    RunCommand("ffmpeg -nostdin -v error -i " + Clip("demux_film.mp4") + " -c copy -movflags +faststart " +
               scratch.Path("whole.mp4") + " && head -c 20000 " + scratch.Path("whole.mp4") + " >" + path);
    for (const char* command : {"probe", "decode", "encode", "sheet"}) {
        const ProcessResult run = RunCodrelay(Arguments(command, path, scratch));
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_THAT(run.err,
                    testing::MatchesRegex("codrelay: " + path +
                                          ": is damaged or cut short: packet [0-9]+ \\(from 0\\) cannot be read\n"));
        EXPECT_FALSE(std::filesystem::exists(scratch.Path("out.png")));
    }
}

TEST(BadInput, AFileWithoutVideoIsNotDecoded) {
    const ScratchFolder scratch;
    const std::string path = Clip("demux_sound.wav");
    for (const char* command : {"decode", "encode", "sheet"}) {
        ExpectComplaint(Arguments(command, path, scratch),
                        path + ": has no video stream; codrelay audio decodes its sound");
    }
}

TEST(BadInput, VideoOfAnUnknownCodecIsNotDecoded) {
    const ScratchFolder scratch;
    const std::string path = Clip("demux_foreign.asf");
    const std::string complaint = path + ": its video is in a codec that the library does not decode";
    ExpectComplaint(Arguments("decode", path, scratch), complaint);
    ExpectComplaint(Arguments("sheet", path, scratch), complaint);
}

TEST(BadInput, AFileThatMayNotBeReadIsTold) {
    const ScratchFolder scratch;
    const std::string path = scratch.Path("secret");
    // root reads everything unless it gives up that right.
    const ProcessResult run = RunCommand(
        "echo >" + path + " && chmod 0 " + path + " && if [ $(id -u) = 0 ]; then " +
        "set -- setpriv --bounding-set=-dac_override,-dac_read_search; fi && \"$@\" " CODRELAY_COMMAND " probe " +
        path);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "codrelay: " + path + ": cannot be read: Permission denied\n");
}

TEST(BadInput, TheComplaintIsOneLineWhateverTheName) {
    ExpectComplaint("probe '/no/such\nfile'", "/no/such?file: No such file or directory");
}

TEST(BadInput, NamesThatFfmpegWouldMisreadAreNames) {
    const ScratchFolder scratch;
    RunCommand("cp " + Clip("demux_film.mp4") + " '" + scratch.Path("concat:a|b %d.mp4") + "'");
    const ProcessResult run =
        RunCommand("cd " + scratch.Path("") + " && " CODRELAY_COMMAND " probe 'concat:a|b %d.mp4'");
    EXPECT_EQ(run.exitCode, 0) << run.err;
}

TEST_P(BadOutputs, OfDecodeEndWithOneAndOneLine) {
    ExpectComplaint("decode " + Quoted(Clip("mpeg4.avi")) + " --out " + GetParam(),
                    std::string(GetParam()) + ": cannot be written: " +
                        (std::string(GetParam()) == "/dev/full" ? "No space left on device"
                         : std::string(GetParam()) == "/"       ? "Is a directory"
                                                                : "No such file or directory"));
}

INSTANTIATE_TEST_SUITE_P(Paths, BadOutputs, Values("/no/such/folder/out.yuv", "/", "/dev/full"));

TEST(BadOutput, OfSheetEndsWithOneAndOneLine) {
    const std::string sheet = "sheet " + Quoted(Clip("mpeg4.avi")) + " ";
    ExpectComplaint(sheet + "/no/such/folder/out.png",
                    "/no/such/folder/out.png: cannot be written: No such file or directory");
    ExpectComplaint(sheet + "/", "/: cannot be written: Is a directory");
    ExpectComplaint(sheet + "/dev/full", "/dev/full: cannot be written: No space left on device");
}

TEST(BadOutput, OfEncodeEndsWithOneAndOneLine) {
    const std::string encode = "encode " + Quoted(Clip("mpeg4.avi")) + " ";
    ExpectComplaint(encode + "/no/such/folder/out.264",
                    "/no/such/folder/out.264: cannot be written: No such file or directory");
    ExpectComplaint(encode + "/dev/full", "/dev/full: cannot be written: No space left on device");
}

TEST(BadOutput, TheInputIsNotWrittenOver) {
    const ScratchFolder scratch;
    const std::string path = scratch.Path("film.avi");
    std::filesystem::copy_file(Clip("mpeg4.avi"), path);
    ExpectComplaint("decode " + path + " --out " + path, path + ": is the input; it would be written over");
    ExpectComplaint("encode " + path + " " + path, path + ": is the input; it would be written over");
    ExpectComplaint("sheet " + path + " " + path, path + ": is the input; it would be written over");
    EXPECT_EQ(ReadFile(path), ReadFile(Clip("mpeg4.avi")));
}

TEST(BadOutput, NothingHalfWrittenStays) {
    const ScratchFolder scratch;
    const std::string out = scratch.Path("out.yuv");
    const ProcessResult run =
        RunCodrelay("decode --frame-size 64x64 " + Quoted(Clip("h264_baseline.264")) + " --out " + out);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(out));
}
