#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "common/process.h"
#include "common/test_media.h"

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// Runs examples, each with a folder for what it writes.
class Examples : public testing::Test {
protected:
    Examples() {
        std::string pattern = (std::filesystem::temp_directory_path() / "codrelay-example-XXXXXX").string();
        m_Folder = mkdtemp(pattern.data());
    }
    ~Examples() override { std::filesystem::remove_all(m_Folder); }

    static ProcessResult Run(const std::string& example, const std::vector<std::string>& arguments = {}) {
        std::string command = CODRELAY_EXAMPLES "/example_" + example;
        for (const std::string& argument : arguments) {
            command += " '" + argument + "'";
        }
        return RunCommand(command);
    }

    std::string Path(const std::string& name) const { return m_Folder / name; }

    /// What the peer makes of a file, such as "-i in.wav -f s16le".
    std::vector<unsigned char> PeerBytes(const std::string& arguments) const {
        const ProcessResult made = RunCommand("ffmpeg -nostdin -v error -y " + arguments + " '" + Path("peer") + "'");
        EXPECT_EQ(made.exitCode, 0) << made.err;
        return ReadFile(Path("peer"));
    }

    static std::string Probe(const std::string& entries, const std::string& path) {
        return RunCommand(
                   "ffprobe -v error -select_streams v -count_packets -count_frames -of default=nw=1:nk=1 "
                   "-show_entries stream=" +
                   entries + " '" + path + "'")
            .out;
    }

private:
    std::filesystem::path m_Folder;
};

}  // namespace

TEST_F(Examples, WriteRawPicturesWritesWhatThePeerDecodes) {
    const std::string clip = Clip("h264_baseline.264");
    const ProcessResult run = Run("write_raw_pictures", {clip, Path("out")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "50 pictures\n");
    EXPECT_EQ(ReadFile(Path("out")), PeerBytes("-i " + clip + " -pix_fmt yuv420p -f rawvideo"));
}

TEST_F(Examples, HoldPicturesHoldsEightBeyondTheDecodersLife) {
    const ProcessResult run = Run("hold_pictures", {Clip("h264_baseline.264")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out,
              "8 pictures held, status 4, asked for room\n"
              "8 of them unchanged after their decoder's end\n");
}

TEST_F(Examples, AnswerSizeChangeFollowsEverySize) {
    const ProcessResult run = Run("answer_size_change", {Clip("h264_resized.264")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out,
              "from picture 0 on: 320 x 240, shown as 320 x 240\n"
              "packet 10 brought another size than the decoder's: allowed from here on\n"
              "from picture 10 on: 640 x 360, shown as 320 x 240\n"
              "from picture 19 on: 176 x 144, shown as 320 x 240\n"
              "from picture 29 on: 320 x 240, shown as 320 x 240\n"
              "40 packets, 39 pictures shown\n");
}

TEST_F(Examples, LimitRateDropsPicturesThatComeTooSoon) {
    // The picture at 0 ms counts as too soon after nothing at all.
    EXPECT_EQ(Run("limit_rate", {Clip("example_film.mp4"), "5"}).out,
              "100 packets, 19 pictures, at least 200 ms apart\n");
    EXPECT_EQ(Run("limit_rate", {Clip("example_film.mp4"), "0"}).out,
              "100 packets, 100 pictures, at least 40 ms apart\n");
}

TEST_F(Examples, EncodeTestCardMakesAFilmOfTheBars) {
    const ProcessResult run = Run("encode_test_card", {Path("card.264")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "50 pictures, 50 packets, 2 of them key packets\n");
    EXPECT_EQ(Probe("width,height,nb_read_frames", Path("card.264")), "320\n240\n50\n");

    const std::vector<unsigned char> film = PeerBytes("-i '" + Path("card.264") + "' -pix_fmt yuv420p -f rawvideo");
    ASSERT_EQ(film.size(), 50u * 320 * 240 * 3 / 2);
    const int bars[] = {235, 210, 170, 145, 106, 81, 41, 16};
    for (std::size_t bar = 0; bar < 8; ++bar) {
        EXPECT_NEAR(film[100 * 320 + bar * 40 + 20], bars[bar], 6) << "bar " << bar;
    }
}

TEST_F(Examples, DemuxFromMemoryTakesOutAllOfTheSound) {
    const std::string clip = Clip("mux_s16le.wav");
    const ProcessResult run = Run("demux_from_memory", {clip, Path("out")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr(" bytes in, codec 103, 44100 Hz, 1 channels, 352800 bytes of sound\n"));
    EXPECT_EQ(ReadFile(Path("out")), PeerBytes("-i " + clip + " -f s16le"));
}

// What is piped, or cut, does not tell how long its sound is.
TEST_F(Examples, DemuxFromMemoryTakesOutNothingButTheSound) {
    const std::string piped = Path("piped.wav");
    const std::string cut = Path("cut.wav");
    for (const char* sound : {"mux_s16le.wav", "mux_mulaw.wav"}) {
        SCOPED_TRACE(sound);
        RunCommand("ffmpeg -nostdin -v error -i " + Clip(sound) + " -c copy -f wav - 2>/dev/null | head -c 16078 >" +
                   piped);
        RunCommand("head -c 15001 " + Clip(sound) + " >" + cut);
        for (const std::string& file : {piped, cut}) {
            const ProcessResult run = Run("demux_from_memory", {file, Path("out")});
            EXPECT_EQ(run.exitCode, 0) << run.err;
            const std::vector<unsigned char> bytes = ReadFile(file);
            const std::vector<unsigned char> out = ReadFile(Path("out"));
            EXPECT_GT(out.size(), bytes.size() - 200);
            ASSERT_LT(out.size(), bytes.size());
            EXPECT_TRUE(std::equal(out.rbegin(), out.rend(), bytes.rbegin()));
        }
    }
}

TEST_F(Examples, MuxToMemoryGivesAContainerInPieces) {
    const ProcessResult run = Run("mux_to_memory", {Clip("mux_h264.264"), Path("out.ts")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "100 packets in, 100 pieces and " + std::to_string(std::filesystem::file_size(Path("out.ts"))) +
                           " bytes out\n");
    EXPECT_THAT(Probe("codec_name,nb_read_packets", Path("out.ts")), StartsWith("h264\n100\n"));
}

TEST_F(Examples, ResampleKeepsTheTone) {
    const ProcessResult run = Run("resample");
    EXPECT_EQ(run.exitCode, 0) << run.err;
    // 20 ms a block and 6 samples out for each in, less what the filter holds; 0.5 spread over two channels is 0.35.
    EXPECT_THAT(run.out,
                ContainsRegex("8000 samples in, 47[89][0-9][0-9] out for each of two channels, 440 Hz, peak 0.35\n"));
}

TEST_F(Examples, DecodeOpusDecodesEveryPacket) {
    const ProcessResult run = Run("decode_opus", {Clip("tones.opus"), Path("out")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "76 packets, 2 channels, 72960 samples each\n");

    // The peer, with the same codec behind it, leaves out the encoder's delay of 6.5 ms and what fills the last packet.
    std::vector<unsigned char> out = ReadFile(Path("out"));
    const std::vector<unsigned char> peer = PeerBytes("-c:a libopus -i " + Clip("tones.opus") + " -f s16le");
    constexpr std::ptrdiff_t delay = 312 * 4;
    ASSERT_EQ(out.size(), 72960u * 4);
    ASSERT_EQ(peer.size(), 72000u * 4);
    EXPECT_TRUE(std::equal(peer.begin(), peer.end(), out.begin() + delay));
}

TEST_F(Examples, RouteLogsBringsBothLogsToOnePlace) {
    const ProcessResult run = Run("route_logs");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out,
              "[ffmpeg] error: FfmepgFileDemuxer avformat_open_input error\n"
              "[FFmpeg itself] error: No JPEG data found in image\n"
              "[codrelay] error: CVideoTransformBase::Create: wrong nRequestWidth = 1\n");
    EXPECT_EQ(run.err, "");
}

TEST_F(Examples, SayWhatIsWrongWithTheirArguments) {
    for (const char* example : {"write_raw_pictures", "hold_pictures", "answer_size_change", "limit_rate",
                                "encode_test_card", "demux_from_memory", "mux_to_memory", "decode_opus"}) {
        const ProcessResult run = Run(example);
        EXPECT_EQ(run.exitCode, 1) << example;
        EXPECT_EQ(run.out, "") << example;
        EXPECT_THAT(run.err, StartsWith("usage: example_" + std::string(example))) << example;
    }
}

TEST_F(Examples, SayThatAFileCannotBeRead) {
    const std::string nothing = Path("nothing");
    for (const auto& [example, second] :
         {std::pair("write_raw_pictures", "/dev/null"), std::pair("limit_rate", "5"),
          std::pair("demux_from_memory", "/dev/null"), std::pair("decode_opus", "/dev/null")}) {
        const ProcessResult run = Run(example, {nothing, second});
        EXPECT_EQ(run.exitCode, 1) << example;
        EXPECT_THAT(run.err, HasSubstr("the file cannot be read\n")) << example;
    }
}
