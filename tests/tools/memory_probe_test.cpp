#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "command.h"
#include "common/test_media.h"
#include "support/ffmpeg.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::Values;

namespace {

constexpr int kIoBytes = 524288;

const char* const kAvi = "AVI (Audio Video Interleaved)";
const char* const kMp3 = "MP2/3 (MPEG audio layer 2/3)";
const char* const kTransportStream = "MPEG-TS (MPEG-2 Transport Stream)";

/// FFmpeg's short name of a format that the command takes.
const AVInputFormat* FormatOf(const std::string& name) {
    void* at = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&at)) {
        if (name == format->name || name == format->long_name) {
            return format;
        }
    }
    return nullptr;
}

struct Bytes {
    std::vector<unsigned char> all;
    std::size_t position = 0;

    static int Read(void* opaque, unsigned char* out, int size) {
        auto* self = static_cast<Bytes*>(opaque);
        const std::size_t count =
            std::min<std::size_t>(static_cast<std::size_t>(size), self->all.size() - self->position);
        std::memcpy(out, self->all.data() + self->position, count);
        self->position += count;
        return count != 0 ? static_cast<int>(count) : AVERROR_EOF;
    }
};

std::string TimeText(int64_t time) {
    return time == AV_NOPTS_VALUE ? "-" : std::to_string(time);
}

std::vector<std::string> ReadAllPackets(AVFormatContext* context) {
    std::vector<std::string> lines;
    AVPacket* packet = av_packet_alloc();
    while (av_read_frame(context, packet) >= 0) {
        lines.push_back(std::to_string(packet->stream_index) + "\t" + TimeText(packet->pts) + "\t" +
                        TimeText(packet->dts) + "\t" + std::to_string(packet->size) + "\t" +
                        std::to_string(packet->flags & AV_PKT_FLAG_KEY));
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    return lines;
}

/// The packets as the command prints them, by a plain loop that cannot seek and looks at no stream beforehand.
std::vector<std::string> PlainPackets(const std::string& path, const std::string& format) {
    av_log_set_level(AV_LOG_QUIET);
    Bytes bytes{ReadFile(path)};
    AVFormatContext* context = avformat_alloc_context();
    AVIOContext* io = avio_alloc_context(static_cast<unsigned char*>(av_malloc(kIoBytes)), kIoBytes, 0, &bytes,
                                         Bytes::Read, nullptr, nullptr);
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    context->pb = io;
    std::vector<std::string> lines;
    if (avformat_open_input(&context, "", const_cast<AVInputFormat*>(FormatOf(format)), nullptr) >= 0) {
        lines = ReadAllPackets(context);
        avformat_close_input(&context);
    }
    av_freep(&io->buffer);
    avio_context_free(&io);
    return lines;
}

std::string Arguments(const std::string& format, const std::string& file, const std::string& options) {
    return "probe --memory --format " + Quoted(format) + " " + options + " " + Quoted(file);
}

ProcessResult Probe(const std::string& format, const std::string& file, const std::string& options = "") {
    return RunCodrelay(Arguments(format, file, options));
}

/// What --packets prints ahead of the table.
std::vector<std::string> PacketLines(const ProcessResult& run) {
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    std::vector<std::string> lines = Lines(run.out);
    lines.erase(std::find_if(lines.begin(), lines.end(),
                             [](const std::string& line) { return line.rfind("stream\t", 0) == 0; }),
                lines.end());
    return lines;
}

/// The packets that the command lists must be those of the plain loop, and there must be some.
void ExpectPlainPackets(const std::string& format, const std::string& path, const std::string& options = "") {
    const std::vector<std::string> expected = PlainPackets(path, format);
    EXPECT_THAT(expected, testing::Not(IsEmpty()));
    EXPECT_EQ(PacketLines(Probe(format, path, "--packets " + options)), expected) << options;
}

struct Input {
    const char* format;
    const char* file;
    bool isReal;
};

void PrintTo(const Input& input, std::ostream* out) {
    *out << input.file;
}

class MemoryProbe : public testing::TestWithParam<std::tuple<Input, const char*>> {};

std::string NameOf(const testing::TestParamInfo<std::tuple<Input, const char*>>& info) {
    std::string name = std::string(std::get<0>(info.param).file) + "_" + std::get<1>(info.param);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

std::string Made(const ScratchFolder& scratch, const std::string& name, const std::string& arguments) {
    RunCommand("cd " + scratch.Path("") + " && ffmpeg -nostdin -v error " + arguments);
    return scratch.Path(name);
}

void ExpectComplaint(const ProcessResult& run, const std::string& complaint) {
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_EQ(run.err, "codrelay: " + complaint + "\n");
}

}  // namespace

TEST_P(MemoryProbe, ListsThePacketsOfAPlainLoop) {
    const auto& [input, chunk] = GetParam();
    const auto path = input.isReal ? RealFile(input.file) : Clip(input.file);
    if (!path) {
        GTEST_SKIP() << "no real files here";
    }
    ExpectPlainPackets(input.format, *path, std::string("--chunk ") + chunk);
}

INSTANTIATE_TEST_SUITE_P(
    Files, MemoryProbe,
    testing::Combine(Values(Input{"wav", "wav/sample.wav", true}, Input{"wav", "wav/sample_ima_adpcm.wav", true},
                            Input{"wav", "wav/8bit-alaw-8kHz-noBext-mono-encoded.wav", true},
                            Input{"wav", "wav/8bit-mulaw-8kHz-noBext-mono-encoded.wav", true},
                            Input{"asf", "asf/testWMV.wmv", true}, Input{"wav", "demux_sound.wav", false},
                            Input{"wav", "mux_mulaw.wav", false}, Input{"asf", "demux_memory.asf", false},
                            Input{"asf", "demux_foreign.asf", false}, Input{kAvi, "demux_memory.avi", false}),
                     Values("1", "7", "4096", "524287", "524288", "524289")),
    NameOf);

// libavformat loses the first packets of an MPEG-TS that begins with a read of a few bytes.
INSTANTIATE_TEST_SUITE_P(TransportStream, MemoryProbe,
                         testing::Combine(Values(Input{kTransportStream, "demux_film.ts", false}),
                                          Values("4096", "524287", "524288", "524289")),
                         NameOf);

// libavformat loses a frame of an MP3 that begins with a read of less than 40 bytes.
INSTANTIATE_TEST_SUITE_P(Mp3, MemoryProbe,
                         testing::Combine(Values(Input{kMp3, "mux_mp3_48000.mp3", false}),
                                          Values("40", "4096", "524287", "524288", "524289")),
                         NameOf);

// Silence is data. A WAV from a pipe does not tell its length: its demuxer takes all that comes.
TEST(MemoryProbeEnd, SilenceIsNotTakenForTheEnd) {
    const ScratchFolder scratch;
    const std::string path =
        Made(scratch, "silence.wav", "-f lavfi -i anullsrc=d=2 -f wav pipe:1 2>/dev/null | cat >silence.wav");
    ExpectPlainPackets("wav", path);
    ExpectPlainPackets("wav", Made(scratch, "told.wav", "-f lavfi -i anullsrc=d=2 told.wav"));
}

// Whatever level it has: what is written behind it must not look like more of it.
TEST(MemoryProbeEnd, AConstantIsNotTakenForTheEnd) {
    const ScratchFolder scratch;
    std::vector<unsigned char> head = ReadFile(Clip("demux_sound.wav"));
    head.resize(head.size() - 88200);
    for (int level = 0x90; level <= 0xbf; ++level) {
        std::vector<unsigned char> bytes = head;
        bytes.resize(head.size() + 88200, static_cast<unsigned char>(level));
        std::ofstream(scratch.Path("constant.wav"), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        ExpectPlainPackets("wav", scratch.Path("constant.wav"));
    }
}

TEST(MemoryProbeEnd, TheLastPacketIsNotPadded) {
    const ScratchFolder scratch;
    const std::string path =
        Made(scratch, "cut.wav", "-f lavfi -i sine=d=1:r=8000 -f wav pipe:1 2>/dev/null | head -c 12001 >cut.wav");
    ExpectPlainPackets("wav", path);
    RunCommand("head -c 20000 " + Clip("demux_memory.avi") + " >" + scratch.Path("cut.avi"));
    ExpectPlainPackets(kAvi, scratch.Path("cut.avi"));
}

// A plain loop gives the beginning of the frame in which the file was cut.
TEST(MemoryProbeEnd, ACutAsfIsListedToItsLastByte) {
    const ScratchFolder scratch;
    const std::string cut = scratch.Path("cut.asf");
    for (const char* bytes : {"1", "700", "20000", "23298", "25000", "27654", "30001", "100000"}) {
        SCOPED_TRACE(bytes);
        RunCommand("head -c " + std::string(bytes) + " " + Clip("demux_memory.asf") + " >" + cut);
        if (PlainPackets(cut, "asf").empty()) {
            continue;
        }
        ExpectPlainPackets("asf", cut);
        ExpectPlainPackets("ASF format", cut, "--chunk 7");
        const ProcessResult redirected =
            RunCommand(CODRELAY_COMMAND " " + Arguments("asf", "-", "--packets") + " <" + cut);
        EXPECT_EQ(PacketLines(redirected), PlainPackets(cut, "asf"));
    }
}

TEST(MemoryProbeEnd, WhatFollowsTheLastFrameIsNotLengthened) {
    const ScratchFolder scratch;
    ExpectPlainPackets(kMp3, Made(scratch, "tag.mp3", "-f lavfi -i sine=d=1 -metadata title=x -write_id3v1 1 tag.mp3"));
    ExpectPlainPackets("raw H.264 video", Clip("h264_baseline.264"));
}

// The demuxer's buffer ends with the data, a byte before it, and a byte after it.
TEST(MemoryProbeEnd, DataThatEndsWithTheLapIsWhole) {
    const ScratchFolder scratch;
    const std::string whole =
        Made(scratch, "whole.wav", "-f lavfi -i sine=d=20 -f wav pipe:1 2>/dev/null | cat >whole.wav");
    for (const char* bytes : {"524287", "524288", "524289", "1048576"}) {
        RunCommand("head -c " + std::string(bytes) + " " + whole + " >" + scratch.Path("part.wav"));
        ExpectPlainPackets("wav", scratch.Path("part.wav"));
    }
}

TEST(MemoryProbeTable, HasTimesInTicks) {
    const ProcessResult run = Probe("wav", Clip("demux_sound.wav"));
    EXPECT_THAT(Lines(run.out),
                ElementsAre("stream\ttype\tcodec\tsize\trate\tchannels\tpackets\tfirst_ticks\tlast_ticks\tformat",
                            "0\taudio\tpcm_s16le\t-\t22050\t2\t22\t0\t21504\ts16"));
}

TEST(MemoryProbeTable, FindsThePictureSize) {
    EXPECT_THAT(Lines(Probe(kAvi, Clip("demux_memory.avi")).out),
                testing::Contains(testing::StartsWith("0\tvideo\tmpeg4\t160x120\t-\t-\t")));
}

TEST(MemoryProbeTable, IsThereAsJson) {
    const ProcessResult run = Probe("wav", Clip("demux_sound.wav"), "--json --packets");
    const std::vector<std::string> lines = Lines(run.out);
    ASSERT_THAT(lines, SizeIs(29));
    EXPECT_EQ(lines[2], R"(    {"stream": 0, "pts_ticks": 0, "dts_ticks": 0, "size": 4096, "key": true},)");
    EXPECT_EQ(lines[26], R"(    {"index": 0, "type": "audio", "codec": "pcm_s16le", "rate": 22050, "channels": 2, )"
                         R"("format": "s16", "packets": 22, "first_ticks": 0, "last_ticks": 21504})");
}

TEST(MemoryProbeInput, MayBeAPipe) {
    const std::string file = Clip("demux_sound.wav");
    const ProcessResult piped =
        RunCommand("cat " + Quoted(file) + " | " CODRELAY_COMMAND " " + Arguments("wav", "-", "--packets"));
    EXPECT_EQ(PacketLines(piped), PlainPackets(file, "wav"));
}

TEST(MemoryProbeLog, DoesNotShowTheDemuxerThatIsStartedFirst) {
    const ProcessResult run = Probe(kAvi, Clip("demux_memory.avi"), "--log warning");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "critical ffmpeg: DemuxerThreadProc: FAILED to read next frame!\n");
}

TEST(BadMemoryProbe, EndsWithOneAndOneLine) {
    const std::string sound = Clip("demux_sound.wav");
    ExpectComplaint(Probe("avi", sound), "avi: is not the long name of a demuxer, such as \"WAV format\"");
    ExpectComplaint(Probe("asf", sound), sound + ": cannot be opened as asf, or it is damaged");
    const std::string film = Clip("flv1.flv");
    ExpectComplaint(Probe("FLV (Flash Video)", film),
                    film + ": shows no video and no audio when it is opened as FLV (Flash Video)");
    ExpectComplaint(Probe("wav", "/no/such.wav"), "/no/such.wav: No such file or directory");
    ExpectComplaint(Probe("wav", "-"), "standard input: is empty");
    ExpectComplaint(RunCommand(CODRELAY_COMMAND " " + Arguments("wav", "-", "") + " </"),
                    "standard input: cannot be read: Is a directory");
}

class WrongMemoryProbe : public testing::TestWithParam<const char*> {};

TEST_P(WrongMemoryProbe, ExitsWithTwo) {
    const ProcessResult run = RunCodrelay(GetParam());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("--help"));
}

INSTANTIATE_TEST_SUITE_P(Arguments, WrongMemoryProbe,
                         Values("probe --memory x", "probe --format wav x", "probe --chunk 5 x",
                                "probe --memory --format wav --chunk 0 x",
                                "probe --memory --format wav --chunk 16777217 x", "probe --memory --format wav"));
