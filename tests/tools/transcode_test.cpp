#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "common/test_media.h"
#include "muxing.h"

using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr const char* kBlackAndSilent =
    "-f lavfi -i \"color=black:s=160x120:r=25:d=60,drawbox=0:0:160:120:white:fill:enable='between(mod(t,2),1,1.039)'\""
    " -f lavfi -i \"aevalsrc=0.8*sin(2*PI*1000*t)*between(mod(t\\,2)\\,1\\,1.04):s=44100:d=60\"";

class Transcode : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_Clips = new ScratchFolder;
        MakeByPeer(
            "-f lavfi -i testsrc2=s=352x288:r=25:d=2 -f lavfi -i sine=d=2 -c:v libx264 -bf 0 -pix_fmt yuv420p "
            "-c:a aac",
            Film());
        MakeByPeer(std::string(kBlackAndSilent) + " -c:v libx264 -g 75 -bf 2 -pix_fmt yuv420p -c:a aac", Flashes());
    }
    static void TearDownTestSuite() { delete s_Clips; }

    /// 50 pictures and 2 seconds of sound, none of them reordered.
    static std::string Film() { return s_Clips->Path("film.mp4"); }
    /// A minute with a beep on every flash, one in two seconds; reordered.
    static std::string Flashes() { return s_Clips->Path("flashes.mp4"); }

    std::string Out(const std::string& suffix) const { return m_Scratch.Path("out." + suffix); }

    static ProcessResult Run(const std::string& in, const std::string& out, const std::string& options) {
        return RunMuxing("transcode " + Quoted(in) + " " + Quoted(out) + " " + options);
    }

    static std::string Summary(const std::string& in, const std::string& out, const std::string& options) {
        const ProcessResult run = Run(in, out, options);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_THAT(run.out, IsEmpty());
        return run.err;
    }

    /// No trace of the file may stay.
    void ExpectFailure(const std::string& in, const std::string& out, const std::string& options,
                       const std::string& complaint) const {
        const ProcessResult run = Run(in, out, options);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.err, "codrelay: " + complaint + "\n");
        ExpectNothingWritten();
    }

    void ExpectNothingWritten() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Scratch.Path(""))) {
            names.push_back(entry.path().filename());
        }
        EXPECT_THAT(names, Each(testing::Not(StartsWith("out"))));
    }

    const ScratchFolder m_Scratch;

private:
    static ScratchFolder* s_Clips;
};

ScratchFolder* Transcode::s_Clips = nullptr;

/// A pair of a container and a codec, by the command's words, and what the peer calls the codec; empty for a pair that
/// is refused.
struct Pair {
    const char* container;
    const char* codec;
    const char* peerCodec;
};

void PrintTo(const Pair& pair, std::ostream* out) {
    *out << pair.codec << " in " << pair.container;
}

std::string NameOfPair(const testing::TestParamInfo<Pair>& test) {
    return std::string(test.param.codec) + "In_" + test.param.container;
}

class TranscodeVideo : public Transcode, public testing::WithParamInterface<Pair> {};
class RefusedVideo : public Transcode, public testing::WithParamInterface<Pair> {};
class TranscodeSound : public Transcode, public testing::WithParamInterface<Pair> {};
class RefusedSound : public Transcode, public testing::WithParamInterface<Pair> {};
class SoundInStep : public Transcode, public testing::WithParamInterface<Pair> {};
class Signals : public Transcode, public testing::WithParamInterface<const char*> {};

constexpr const char* kNotOnMemory =
    " cannot be written without seeking, as the memory muxer does; by the file muxer its aac sound would not keep its "
    "times; flv, avi and ts can";

}  // namespace

TEST_P(TranscodeVideo, IsDecodedByThePeerToTheLastPicture) {
    const std::string out = Out(GetParam().container);
    EXPECT_EQ(Summary(Film(), out, std::string("--audio none --size 176x144 --video ") + GetParam().codec),
              "pictures 50, packets of sound 0\n");
    const PeerFilm film = ReadByPeer(out);
    EXPECT_EQ(film.videoCodec, GetParam().peerCodec);
    EXPECT_EQ(film.size, "176x144");
    EXPECT_EQ(film.pictures, 50);
    EXPECT_THAT(film.audioCodec, IsEmpty());
    EXPECT_THAT(film.complaints, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(out + ".part"));
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, TranscodeVideo,
    testing::Values(Pair{"ts", "h264", "h264"}, Pair{"ts", "mpeg4", "mpeg4"}, Pair{"mp4", "h264", "h264"},
                    Pair{"mp4", "mpeg4", "mpeg4"}, Pair{"mp4", "mjpeg", "mjpeg"}, Pair{"flv", "h264", "h264"},
                    Pair{"flv", "flv", "flv1"}, Pair{"avi", "h264", "h264"}, Pair{"avi", "mpeg4", "mpeg4"},
                    Pair{"avi", "h263", "h263"}, Pair{"avi", "flv", "flv1"}, Pair{"avi", "mjpeg", "mjpeg"},
                    Pair{"3gp", "h264", "h264"}, Pair{"3gp", "mpeg4", "mpeg4"}, Pair{"3gp", "h263", "h263"},
                    Pair{"3g2", "h264", "h264"}, Pair{"3g2", "mpeg4", "mpeg4"}, Pair{"3g2", "h263", "h263"}),
    NameOfPair);

TEST_P(RefusedVideo, EndsWithOneLine) {
    ExpectFailure(
        Film(), Out("x"),
        std::string("--audio none --size 176x144 --video ") + GetParam().codec + " --format " + GetParam().container,
        std::string(GetParam().container) + " does not take " + GetParam().codec + " video");
}

INSTANTIATE_TEST_SUITE_P(Pairs, RefusedVideo,
                         testing::Values(Pair{"flv", "mpeg4", ""}, Pair{"flv", "h263", ""}, Pair{"flv", "mjpeg", ""},
                                         Pair{"mp4", "h263", ""}, Pair{"mp4", "flv", ""}, Pair{"webm", "h264", ""},
                                         Pair{"webm", "mpeg4", ""}, Pair{"webm", "flv", ""}, Pair{"webm", "h263", ""},
                                         Pair{"webm", "mjpeg", ""}, Pair{"3gp", "flv", ""}, Pair{"3gp", "mjpeg", ""},
                                         Pair{"3g2", "flv", ""}, Pair{"3g2", "mjpeg", ""}, Pair{"ts", "h263", ""},
                                         Pair{"ts", "flv", ""}, Pair{"ts", "mjpeg", ""}),
                         NameOfPair);

TEST_P(TranscodeSound, IsDecodedByThePeer) {
    const std::string out = Out(GetParam().container);
    EXPECT_THAT(Summary(Film(), out, std::string("--audio ") + GetParam().codec),
                StartsWith("pictures 50, packets of sound "));
    const PeerFilm film = ReadByPeer(out);
    EXPECT_EQ(film.pictures, 50);
    EXPECT_EQ(film.audioCodec, GetParam().peerCodec);
    EXPECT_THAT(film.soundPackets, Ge(85));
    EXPECT_THAT(film.complaints, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Pairs, TranscodeSound,
                         testing::Values(Pair{"ts", "mp3", "mp3"}, Pair{"ts", "aac", "aac"}, Pair{"mp4", "mp3", "mp3"},
                                         Pair{"flv", "mp3", "mp3"}, Pair{"flv", "aac", "aac"},
                                         Pair{"flv", "pcm", "pcm_s16le"}, Pair{"flv", "copy", "aac"},
                                         Pair{"avi", "mp3", "mp3"}, Pair{"avi", "aac", "aac"},
                                         Pair{"avi", "pcm", "pcm_s16le"}, Pair{"ts", "copy", "aac"}),
                         NameOfPair);

TEST_P(RefusedSound, EndsWithOneLine) {
    ExpectFailure(Film(), Out("x"), std::string("--audio ") + GetParam().codec + " --format " + GetParam().container,
                  std::string(GetParam().container) + " does not take " + GetParam().peerCodec +
                      " sound; transcode --audio none leaves it out");
}

INSTANTIATE_TEST_SUITE_P(Pairs, RefusedSound,
                         testing::Values(Pair{"mp4", "pcm", "pcm_s16le"}, Pair{"ts", "pcm", "pcm_s16le"},
                                         Pair{"3gp", "mp3", "mp3"}, Pair{"3gp", "pcm", "pcm_s16le"},
                                         Pair{"3g2", "mp3", "mp3"}, Pair{"3g2", "pcm", "pcm_s16le"}),
                         NameOfPair);

TEST_F(Transcode, SoundThatOnlyTheMemoryMuxerKeepsInTimeIsRefusedWhereThatCannotWrite) {
    for (const char* container : {"mp4", "3gp", "3g2"}) {
        ExpectFailure(Film(), Out(container), "--audio aac", container + std::string(kNotOnMemory));
        ExpectFailure(Film(), Out(container), "--audio copy", container + std::string(kNotOnMemory));
    }
    ExpectFailure(Film(), Out("ts"), "--audio aac --video none", "the memory muxer writes no container without video");
}

TEST_F(Transcode, AviRefusesSoundThatItWouldNotKeepInTime) {
    ExpectFailure(Film(), Out("avi"), "--audio copy",
                  "avi keeps aac sound in time at rates such as 48000 and 32000 Hz only, and this has 44100");
    MakeByPeer("-i " + Film() + " -c:v mpeg4 -c:a libmp3lame -ar 24000 -b:a 32k", m_Scratch.Path("slow.avi"));
    ExpectFailure(m_Scratch.Path("slow.avi"), Out("avi"), "--audio copy",
                  "avi keeps mp3 sound in time from 32000 Hz up only, and this has 24000");
}

TEST_P(SoundInStep, OverAMinute) {
    const std::string out = Out(GetParam().container);
    EXPECT_THAT(Summary(Flashes(), out, std::string("--audio ") + GetParam().codec), StartsWith("pictures 1498, "));
    const std::vector<double> before = BeepsAfterFlashes(Flashes());
    const std::vector<double> after = BeepsAfterFlashes(out);
    ASSERT_THAT(before, SizeIs(30));
    ASSERT_THAT(after, SizeIs(30));
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_NEAR(after[i], before[i], 40) << "at flash " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Outputs, SoundInStep,
                         testing::Values(Pair{"ts", "mp3", ""}, Pair{"mp4", "mp3", ""}, Pair{"flv", "mp3", ""},
                                         Pair{"avi", "mp3", ""}, Pair{"ts", "aac", ""}, Pair{"flv", "aac", ""},
                                         Pair{"avi", "aac", ""}, Pair{"flv", "pcm", ""}, Pair{"avi", "pcm", ""},
                                         Pair{"ts", "copy", ""}, Pair{"flv", "copy", ""}),
                         NameOfPair);

TEST_F(Transcode, AGapInTheSoundStaysOne) {
    const std::string gap = m_Scratch.Path("gap.mkv");
    MakeByPeer("-i " + Flashes() + " -c:v copy -af \"aselect='not(between(t,20,24))'\" -c:a aac", gap);
    Summary(gap, Out("ts"), "");
    const std::vector<double> offsets = BeepsAfterFlashes(Out("ts"));
    ASSERT_THAT(offsets, SizeIs(30));
    // The flashes at 21 and at 23 seconds have no beep of their own.
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        EXPECT_EQ(std::abs(offsets[i]) < 40, i != 10 && i != 11) << "flash " << i << ": " << offsets[i];
    }
}

TEST_F(Transcode, AStreamThatBeginsBetweenKeyPicturesKeepsItsSoundInStep) {
    const std::string whole = m_Scratch.Path("whole.ts");
    const std::string cut = m_Scratch.Path("cut.ts");
    MakeByPeer("-i " + Flashes() + " -c copy", whole);
    // 700 packets of 188 bytes are no whole number of groups of pictures.
    ASSERT_EQ(RunCommand("tail -c +131601 " + whole + " >" + cut).exitCode, 0);
    Summary(cut, Out("ts"), "");
    const std::vector<double> offsets = BeepsAfterFlashes(Out("ts"));
    EXPECT_THAT(offsets, SizeIs(Ge(10u)));
    EXPECT_THAT(offsets, Each(AllOf(Ge(-40), Le(40))));
}

// The decoder keeps the last two to itself.
TEST_F(Transcode, ReorderedPicturesGetTheirOwnTimes) {
    Summary(Clip("demux_film.mp4"), Out("mp4"), "--audio none");
    std::vector<double> before = PacketTimes(Clip("demux_film.mp4"), "v");
    std::sort(before.begin(), before.end());
    const std::vector<double> after = PacketTimes(Out("mp4"), "v");
    ASSERT_THAT(before, SizeIs(60));
    ASSERT_THAT(after, SizeIs(58));
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_NEAR(after[i] - after[0], before[i] - before[0], 2) << "picture " << i;
    }
}

TEST_F(Transcode, ASourceWithoutTimesRunsAt25OrAtFps) {
    const auto stepOf = [this](const std::string& options) {
        EXPECT_EQ(Summary(Clip("h264_baseline.264"), Out("ts"), options), "pictures 50, packets of sound 0\n");
        const std::vector<double> times = PacketTimes(Out("ts"), "v");
        return (times.back() - times.front()) / static_cast<double>(times.size() - 1);
    };
    EXPECT_NEAR(stepOf(""), 40, 0.1);
    EXPECT_NEAR(stepOf("--fps 50"), 20, 0.1);
    EXPECT_NEAR(stepOf("--fps 10"), 100, 0.1);
}

TEST_F(Transcode, FpsThinsASourceWithTimes) {
    EXPECT_EQ(Summary(Film(), Out("ts"), "--fps 10 --audio none"), "pictures 20, packets of sound 0\n");
    EXPECT_EQ(Summary(Film(), Out("ts"), "--fps 100 --audio none"), "pictures 50, packets of sound 0\n");
}

TEST_F(Transcode, AviTakesAtMost25PicturesASecond) {
    ExpectFailure(Clip("demux_film.mp4"), Out("avi"), "",
                  "avi is written with at most 25 pictures a second, and this video has 30; transcode --fps 25 drops "
                  "some");
    EXPECT_THAT(Summary(Clip("demux_film.mp4"), Out("avi"), "--fps 25"), StartsWith("pictures 4"));
    EXPECT_THAT(ReadByPeer(Out("avi")).complaints, IsEmpty());
}

TEST_F(Transcode, KeyIntervalAndBitRatesAreFollowed) {
    Summary(Film(), Out("mp4"), "--video mpeg4 --key-interval 10 --video-bitrate 300000 --audio-bitrate 64000");
    const std::string keys = RunCommand("ffprobe -v error -select_streams v -show_entries packet=flags -of csv=p=0 " +
                                        Out("mp4") + " | grep -c K")
                                 .out;
    EXPECT_EQ(keys, "5\n");
    const auto sizes =
        Lines(RunCommand("ffprobe -v error -select_streams a -show_entries packet=size -of csv=p=0 " + Out("mp4")).out);
    // 64000 bits a second are 192 bytes a frame of 24 ms.
    EXPECT_THAT(sizes, Each("192"));
}

TEST_F(Transcode, AFilmThatChangesItsSizeIsScaledToItsFirst) {
    EXPECT_EQ(Summary(Clip("h264_resized.264"), Out("ts"), ""), "pictures 40, packets of sound 0\n");
    const PeerFilm film = ReadByPeer(Out("ts"));
    EXPECT_EQ(film.size, "320x240");
    EXPECT_EQ(film.pictures, 40);
    EXPECT_THAT(film.complaints, IsEmpty());
}

TEST_F(Transcode, OneMediumMayBeLeftOut) {
    EXPECT_THAT(Summary(Film(), Out("mp4"), "--video none"), StartsWith("pictures 0, packets of sound 8"));
    EXPECT_THAT(ReadByPeer(Out("mp4")).videoCodec, IsEmpty());
    EXPECT_THAT(ReadByPeer(Out("mp4")).complaints, IsEmpty());
    std::filesystem::remove(Out("mp4"));
    ExpectFailure(Film(), Out("mp4"), "--video none --audio none", Film() + ": nothing of it is left to write");
}

TEST_F(Transcode, VideoIsCopiedWhileSoundIsMadeAnew) {
    EXPECT_THAT(Summary(Film(), Out("mp4"), "--video copy"), StartsWith("pictures 50, packets of sound 8"));
    const PeerFilm film = ReadByPeer(Out("mp4"));
    EXPECT_EQ(film.pictures, 50);
    EXPECT_EQ(film.audioCodec, "mp3");
    EXPECT_THAT(film.complaints, IsEmpty());
}

TEST_F(Transcode, SoundThatIsNotDecodedStaysAwayUnlessItIsAskedFor) {
    const std::string surround = m_Scratch.Path("surround.mp4");
    MakeByPeer("-i " + Film() + " -c:v copy -c:a aac -ac 6", surround);
    const std::string reason = surround + ": its aac audio, 44100 Hz with 6 channels, is not decoded by the library";
    EXPECT_EQ(Summary(surround, Out("ts"), ""), "pictures 50, packets of sound 0\nwithout sound: " + reason + "\n");
    std::filesystem::remove(Out("ts"));
    ExpectFailure(surround, Out("ts"), "--audio mp3", reason);
    ExpectFailure(surround, Out("ts"), "--video none", reason);
}

TEST_F(Transcode, VideoThatIsNotDecodedIsAFailure) {
    ExpectFailure(Clip("demux_foreign.asf"), Out("ts"), "",
                  Clip("demux_foreign.asf") + ": its video is in a codec that the library does not decode");
    ExpectFailure(Clip("command_h265.mp4"), Out("ts"), "",
                  Clip("command_h265.mp4") +
                      ": its h265 video gives no picture; MP4 keeps H.265's parameters out of the packets");
    ExpectFailure(
        Clip("command_no_size.mp4"), Out("ts"), "",
        Clip("command_no_size.mp4") + ": its video does not carry the picture size; give it with --frame-size WxH");
    EXPECT_EQ(Summary(Clip("command_no_size.mp4"), Out("ts"), "--frame-size 160x120"),
              "pictures 25, packets of sound 0\n");
}

TEST_F(Transcode, SettingsThatAnEncoderRefusesAreToldBeforeAnythingIsWritten) {
    EXPECT_THAT(Run(Film(), Out("avi"), "--video h263 --size 320x240").err,
                HasSubstr("the h263 encoder does not take pictures of 320x240"));
    EXPECT_THAT(Run(Film(), Out("ts"), "--size 5000x100").err, HasSubstr("cannot be scaled to 5000x100"));
    ExpectNothingWritten();
}

TEST_F(Transcode, AContainerNeedsAName) {
    ExpectFailure(Film(), Out("film"), "",
                  Out("film") + ": its suffix names no container that can be written; name one with --format");
    ExpectFailure(
        Film(), m_Scratch.Path("out"), "",
        m_Scratch.Path("out") + ": its suffix names no container that can be written; name one with --format");
    Summary(Film(), Out("film"), "--format ts --audio none");
    EXPECT_EQ(ReadByPeer(Out("film")).videoCodec, "h264");
    Summary(Film(), Out("MP4"), "--audio none");
    EXPECT_EQ(ReadByPeer(Out("MP4")).videoCodec, "h264");
}

TEST_F(Transcode, TheInputIsNeverWrittenOver) {
    const std::string film = m_Scratch.Path("film.mp4");
    std::filesystem::copy_file(Film(), film);
    std::filesystem::create_symlink(film, m_Scratch.Path("link.mp4"));
    const std::vector<unsigned char> before = ReadFile(film);
    ExpectFailure(film, film, "", film + ": is the input; it would be written over");
    ExpectFailure(film, m_Scratch.Path("link.mp4"), "",
                  m_Scratch.Path("link.mp4") + ": is the input; it would be written over");
    std::filesystem::rename(film, film + ".part");
    EXPECT_EQ(Run(film + ".part", film, "").exitCode, 1);
    EXPECT_EQ(ReadFile(film + ".part"), before);
}

TEST_F(Transcode, AnOutputThatCannotBeWrittenIsTold) {
    std::filesystem::create_directory(m_Scratch.Path("folder.ts"));
    ExpectFailure(Film(), m_Scratch.Path("folder.ts"), "",
                  m_Scratch.Path("folder.ts") + ": cannot be written: Is a directory");
    ExpectFailure(Film(), "/dev/null", "--format ts", "/dev/null: is not a regular file");
    ExpectFailure(Film(), m_Scratch.Path("none/out.ts"), "",
                  m_Scratch.Path("none/out.ts.part") + ": cannot be written: No such file or directory");
}

TEST_F(Transcode, AFormerFileGivesWayToTheWholeNewOneOnly) {
    RunCommand("echo former >" + Out("ts"));
    EXPECT_EQ(Run(Film(), Out("ts"), "--audio pcm").exitCode, 1);
    EXPECT_EQ(RunCommand("cat " + Out("ts")).out, "former\n");
    Summary(Film(), Out("ts"), "");
    EXPECT_EQ(ReadByPeer(Out("ts")).pictures, 50);
}

TEST_F(Transcode, AFullDiskIsToldByBothMuxers) {
    // A limit on the size of files, whose signal is ignored.
    for (const char* options : {"", "--audio aac"}) {
        const ProcessResult run =
            RunCommand("trap '' XFSZ; ulimit -f 60; " + MuxingEnvironment() + " " CODRELAY_COMMAND " transcode " +
                       Film() + " " + Out("ts") + " " + options);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_THAT(run.err, AllOf(StartsWith("codrelay: "), HasSubstr("cannot")));
        EXPECT_THAT(Lines(run.err), SizeIs(1));
        ExpectNothingWritten();
    }
}

TEST_F(Transcode, ADamagedFileLeavesNothingBehind) {
    const std::string whole = m_Scratch.Path("whole.mp4");
    const std::string cut = m_Scratch.Path("cut.mp4");
    MakeByPeer("-i " + Film() + " -c copy -movflags +faststart", whole);
    RunCommand("head -c 50000 " + whole + " >" + cut);
    const ProcessResult run = Run(cut, Out("ts"), "");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, testing::MatchesRegex(
                             "codrelay: .*: is damaged or cut short: packet [0-9]+ \\(from 0\\) cannot be read\n"));
    ExpectNothingWritten();
}

TEST_P(Signals, EndTheWorkAndLeaveNothingBehind) {
    const std::string out = Out("ts");
    RunCommand("echo former >" + out);
    const ProcessResult run =
        RunCommand(MuxingEnvironment() + " " CODRELAY_COMMAND " transcode " + Flashes() + " " + out +
                   " --size 1280x720 & work=$!; until [ -e " + out +
                   ".part ]; do kill -0 $work || exit 9; done; kill -" + GetParam() + " $work; wait $work");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "codrelay: interrupted\n");
    EXPECT_FALSE(std::filesystem::exists(out + ".part"));
    EXPECT_EQ(RunCommand("cat " + out).out, "former\n");
}

INSTANTIATE_TEST_SUITE_P(CtrlC, Signals, testing::Values("INT", "TERM"));

TEST_F(Transcode, ATerminalShowsABarThatIsWipedBeforeTheSummary) {
    const ProcessResult run = RunCommand(MuxingEnvironment() + " script -qec '" CODRELAY_COMMAND " transcode " +
                                         Film() + " " + Out("ts") + "' /dev/null");
    EXPECT_THAT(run.out, HasSubstr("\rtranscoding [###"));
    EXPECT_THAT(run.out, HasSubstr("\r\033[Kpictures 50, packets of sound "));
}

namespace {

/// A real file, and how many pictures come out of its decoder.
struct RealFilm {
    const char* file;
    int pictures;
    const char* options;
};

void PrintTo(const RealFilm& film, std::ostream* out) {
    *out << film.file;
}

class RealFilms : public Transcode, public testing::WithParamInterface<RealFilm> {};

}  // namespace

TEST_P(RealFilms, GoIntoTransportStreamsAndMp4) {
    const auto in = RealFile(GetParam().file);
    if (!in) {
        GTEST_SKIP() << "the real files are not here";
    }
    for (const char* container : {"ts", "mp4"}) {
        EXPECT_THAT(Summary(*in, Out(container), GetParam().options),
                    StartsWith("pictures " + std::to_string(GetParam().pictures) + ", "));
        const PeerFilm film = ReadByPeer(Out(container));
        EXPECT_EQ(film.pictures, GetParam().pictures);
        EXPECT_EQ(film.soundPackets > 0, ReadByPeer(*in).soundPackets > 0);
        EXPECT_THAT(film.complaints, IsEmpty());
    }
}

// Two pictures stay inside where H.264 is reordered, three in this H.265; the one with two pictures is damaged behind.
INSTANTIATE_TEST_SUITE_P(
    Films, RealFilms,
    testing::Values(RealFilm{"3gp/bbb_176x144_128kbps_15fps_h263.3gp", 15, ""},
                    RealFilm{"avi/taglib_sample.avi", 28, ""}, RealFilm{"flv/sample.flv", 28, ""},
                    RealFilm{"flv/testFLV.flv", 28, ""}, RealFilm{"h264/BA_MW_D.264", 100, ""},
                    RealFilm{"h264/Cisco_Adobe_PDF_sample_a_1024x768_CAVLC_Bframe_9.264", 2, ""},
                    RealFilm{"h264/Error_I_P.264", 6, ""}, RealFilm{"h264/Static.264", 10, ""},
                    RealFilm{"h264/test_qcif_cabac.264", 30, ""}, RealFilm{"h265/cars_320x240.h265", 27, ""},
                    RealFilm{"jpeg/london-512.jpg", 1, ""}, RealFilm{"mjpeg/cars_320x240.mjpeg", 30, ""},
                    RealFilm{"mkv/sample_with_chapters.mkv", 148, ""},
                    RealFilm{"mp4/bbb_176x144_192kbps_15fps_mpeg4.mp4", 15, "--frame-size 176x144"},
                    RealFilm{"mp4/sample.mp4", 28, ""}, RealFilm{"ts/sample_h264.ts", 28, ""},
                    RealFilm{"ts/sd-hls0000000000.ts", 58, ""}));
