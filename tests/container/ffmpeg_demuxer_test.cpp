#include "container/ffmpeg_demuxer.h"

#include <gmock/gmock.h>

#include <map>
#include <new>
#include <sstream>

#include "codrelay/media_ids.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "container/ffmpeg_script.h"
#include "container/memory_reader.h"
#include "container/peer_packets.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

constexpr const char* kWav = "WAV format";
constexpr const char* kAsf = "ASF format";
constexpr const char* kAvi = "AVI (Audio Video Interleaved)";

LoggedLine Created() {
    return Ffmpeg(Severity::Trace, "CDemuxerMem::Create: success!");
}

LoggedLine CannotOpen(const std::string& what) {
    return Ffmpeg(Severity::Critical, "FfmpegDemuxer::Open: " + what + " FAILED!");
}

std::vector<PacketFacts> ReadAll(FfmpegDemuxer* demuxer) {
    std::vector<PacketFacts> packets;
    FfmpegAvPacket packet;
    while (demuxer->ReadNextFrame(&packet)) {
        DEMUXER_PACKET facts;
        packet.GetDemuxerPacket(&facts);
        packets.push_back(FactsOf(facts));
    }
    return packets;
}

// A demuxer over a clip in memory, opened.
struct OpenClip {
    OpenClip(const char* format, const std::string& clip, int bufferSize = 4096) : reader(ReadFile(Clip(clip))) {
        EXPECT_TRUE(demuxer.Create(format, bufferSize));
        EXPECT_TRUE(demuxer.Open(MemoryReader::Read, &reader));
    }

    MemoryReader reader;
    FfmpegDemuxer demuxer;
};

// A demuxer that was told these streams.
struct OpenStreams {
    explicit OpenStreams(const std::vector<FakeStream>& streams) : reader({}) {
        script.openInput = [&](AVFormatContext** context, const char*, FfmpegInFormat*) {
            return OpenFake(context, streams);
        };
        EXPECT_TRUE(demuxer.Create(kWav, 4096));
        EXPECT_TRUE(demuxer.Open(MemoryReader::Read, &reader));
    }

    FfmpegScript script;
    MemoryReader reader;
    FfmpegDemuxer demuxer;
};

}  // namespace

TEST(FfmpegDemuxer, ReadsSoundFromMemory) {
    OpenClip clip(kWav, "demux_sound.wav");
    ASSERT_EQ(clip.demuxer.GetStreamCount(), 1);
    EXPECT_EQ(clip.demuxer.GetStreamType(0), 2);
    int codec = 77;
    AUDIO_FORMAT format{};
    EXPECT_FALSE(clip.demuxer.GetVideoStreamInfo(0, &codec));
    EXPECT_EQ(codec, 77);
    EXPECT_TRUE(clip.demuxer.GetAudioStreamInfo(0, &codec, &format));
    EXPECT_EQ(codec, AUDIO_CODEC_PCM_S16LE);
    EXPECT_EQ(format.sampleRate, 22050);
    EXPECT_EQ(format.channels, 2);
    EXPECT_EQ(format.sampleFormat, AUDIO_SAMPLE_S16) << "the header does not tell it";
    EXPECT_THAT(ReadAll(&clip.demuxer), ElementsAreArray(PeerPackets(Clip("demux_sound.wav"))));
}

TEST(FfmpegDemuxer, ReadsVideoAndSoundInTicks) {
    OpenClip clip(kAvi, "demux_plain.avi");
    ASSERT_EQ(clip.demuxer.GetStreamCount(), 2);
    EXPECT_EQ(clip.demuxer.GetStreamType(0), 1);
    EXPECT_EQ(clip.demuxer.GetStreamType(1), 2);
    int codec = 77;
    AUDIO_FORMAT format = {1, 2, 3};
    EXPECT_FALSE(clip.demuxer.GetAudioStreamInfo(0, &codec, &format));
    EXPECT_EQ(codec, 77);
    EXPECT_EQ(format.sampleRate, 1);
    EXPECT_TRUE(clip.demuxer.GetVideoStreamInfo(0, &codec));
    EXPECT_EQ(codec, VIDEO_CODEC_MPEG4);
    const auto packets = ReadAll(&clip.demuxer);
    const auto expected = PeerPackets(Clip("demux_plain.avi"));
    EXPECT_THAT(OfStream(packets, 0), ElementsAreArray(OfStream(expected, 0)));
    EXPECT_THAT(OfStream(packets, 1), ElementsAreArray(OfStream(expected, 1)));
}

TEST(FfmpegDemuxer, CodecsWithoutAnIdAreMinusOne) {
    OpenClip clip(kAsf, "demux_foreign.asf");
    ASSERT_EQ(clip.demuxer.GetStreamCount(), 2);
    int video = 77;
    int audio = 77;
    AUDIO_FORMAT format{};
    EXPECT_TRUE(clip.demuxer.GetVideoStreamInfo(0, &video));
    EXPECT_EQ(video, -1);
    EXPECT_TRUE(clip.demuxer.GetAudioStreamInfo(1, &audio, &format));
    EXPECT_EQ(audio, -1);
    EXPECT_EQ(format.sampleRate, 44100);
    EXPECT_EQ(format.channels, 1);
    EXPECT_EQ(format.sampleFormat, AUDIO_SAMPLE_S16);
    EXPECT_THAT(ReadAll(&clip.demuxer), ElementsAreArray(PeerPackets(Clip("demux_foreign.asf"))));
}

TEST(FfmpegDemuxer, TheSizeOfTheBufferAndOfThePiecesDoesNotMatter) {
    const auto expected = PeerPackets(Clip("demux_sound.wav"));
    for (const int bufferSize : {0, 1, 17, 524288}) {
        OpenClip clip(kWav, "demux_sound.wav", bufferSize);
        clip.reader.largestPiece = 333;
        EXPECT_THAT(ReadAll(&clip.demuxer), ElementsAreArray(expected)) << bufferSize;
    }
}

TEST(FfmpegDemuxer, ReadsOnTheCallersThreadWithTheOpaqueGiven) {
    OpenClip clip(kWav, "demux_sound.wav");
    const std::size_t afterOpen = clip.reader.threads.size();
    EXPECT_GT(afterOpen, 0U) << "the header is read in Open";
    ReadAll(&clip.demuxer);
    EXPECT_GT(clip.reader.threads.size(), afterOpen);
    EXPECT_THAT(clip.reader.threads, Each(std::this_thread::get_id()));
}

TEST(FfmpegDemuxer, OpensTheFormatNamedWithACustomInput) {
    FfmpegScript script;
    int openings = 0;
    script.openInput = [&](AVFormatContext** context, const char* url, FfmpegInFormat* format) {
        ++openings;
        EXPECT_STREQ(url, "");
        EXPECT_STREQ(format->name, "wav");
        AVFormatContext* fresh = avformat_alloc_context();
        EXPECT_EQ((*context)->flags, fresh->flags | AVFMT_FLAG_CUSTOM_IO);
        avformat_free_context(fresh);
        EXPECT_NE((*context)->pb, nullptr);
        EXPECT_EQ((*context)->pb->buffer_size, 5000);
        EXPECT_EQ((*context)->pb->write_flag, 0);
        EXPECT_EQ((*context)->pb->seek, nullptr);
        return RealOpenInput(context, url, format);
    };
    OpenClip clip(kWav, "demux_sound.wav", 5000);
    EXPECT_EQ(openings, 1);
}

TEST(FfmpegDemuxer, DoesNotSearchForStreamInfo) {
    FfmpegScript script;
    script.findStreamInfo = [](AVFormatContext*) {
        ADD_FAILURE() << "asked for";
        return 0;
    };
    OpenClip clip(kWav, "demux_sound.wav");
    EXPECT_EQ(clip.demuxer.GetStreamCount(), 1);
}

TEST(FfmpegDemuxer, TheEndIsSilentAndStays) {
    OpenClip clip(kWav, "demux_sound.wav");
    ReadAll(&clip.demuxer);
    LogCapture log;
    FfmpegAvPacket packet;
    EXPECT_FALSE(clip.demuxer.ReadNextFrame(&packet));
    EXPECT_FALSE(clip.demuxer.ReadNextFrame(&packet));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(FfmpegDemuxer, AReadErrorLooksLikeTheEnd) {
    OpenClip clip(kWav, "demux_sound.wav");
    FfmpegAvPacket packet;
    ASSERT_TRUE(clip.demuxer.ReadNextFrame(&packet));
    FfmpegScript script;
    script.readFrame = [](AVFormatContext*, AVPacket*) { return AVERROR(EIO); };
    LogCapture log;
    EXPECT_FALSE(clip.demuxer.ReadNextFrame(&packet));
    EXPECT_THAT(script.released, ElementsAre("av_free_packet")) << "the packet before is gone";
    packet.Release();
    EXPECT_THAT(script.released, ElementsAre("av_free_packet")) << "and nothing took its place";
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(FfmpegDemuxer, CreateRefusesAnUnknownFormat) {
    LogCapture log;
    FfmpegDemuxer demuxer;
    MemoryReader reader({});
    EXPECT_FALSE(demuxer.Create("unknown", 4096));
    EXPECT_FALSE(demuxer.Create("wav", 4096));
    EXPECT_FALSE(demuxer.Create(nullptr, 4096));
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "FfmpegDemuxer::Create: FindInFormat(unknown) FAILED!"),
                                        Ffmpeg(Severity::Error, "FfmpegDemuxer::Create: FindInFormat(wav) FAILED!"),
                                        Ffmpeg(Severity::Error, "FfmpegDemuxer::Create: FindInFormat() FAILED!")));
    EXPECT_FALSE(demuxer.Open(MemoryReader::Read, &reader));
    EXPECT_THAT(log.Take(), ElementsAre(CannotOpen("av_malloc(-1)")));
}

TEST(FfmpegDemuxer, AFailedCreateRemembersTheSizeOfTheOneBefore) {
    LogCapture log;
    FfmpegDemuxer demuxer;
    MemoryReader reader({});
    EXPECT_TRUE(demuxer.Create(kWav, 4096));
    EXPECT_FALSE(demuxer.Create("unknown", 100));
    log.Take();
    EXPECT_FALSE(demuxer.Open(MemoryReader::Read, &reader));
    EXPECT_THAT(log.Take(), ElementsAre(CannotOpen("av_malloc(4096)")));
}

TEST(FfmpegDemuxer, CreateSaysSoAndStartsClean) {
    LogCapture log;
    OpenClip clip(kWav, "demux_sound.wav");
    EXPECT_THAT(log.Take(), ElementsAre(Created()));
    FfmpegScript script;
    EXPECT_TRUE(clip.demuxer.Create(kAsf, 2048));
    EXPECT_THAT(log.Take(), ElementsAre(Created()));
    EXPECT_THAT(script.released, ElementsAre("avformat_close_input", "av_free")) << "context, then I/O context";
    EXPECT_EQ(clip.demuxer.GetStreamCount(), 0);
    MemoryReader reader(ReadFile(Clip("demux_foreign.asf")));
    EXPECT_TRUE(clip.demuxer.Open(MemoryReader::Read, &reader));
    EXPECT_EQ(clip.demuxer.GetStreamCount(), 2);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Sanitizers end the program at such a request.
TEST(FfmpegDemuxer, ANegativeSizeThrows) {
    LogCapture log;
    FfmpegDemuxer demuxer;
    EXPECT_THROW(demuxer.Create(kWav, -5), std::bad_alloc);
    EXPECT_THAT(log.Take(), IsEmpty());
    MemoryReader reader({});
    EXPECT_FALSE(demuxer.Open(MemoryReader::Read, &reader));
    EXPECT_THAT(log.Take(), ElementsAre(CannotOpen("av_malloc(-5)")));
}
#endif

TEST(FfmpegDemuxer, OpenTellsWhichAllocationFailed) {
    LogCapture log;
    FfmpegDemuxer demuxer;
    MemoryReader reader(ReadFile(Clip("demux_sound.wav")));
    ASSERT_TRUE(demuxer.Create(kWav, 4096));
    log.Take();
    {
        FfmpegScript script;
        script.allocContext = [] { return nullptr; };
        EXPECT_FALSE(demuxer.Open(MemoryReader::Read, &reader));
        EXPECT_THAT(log.Take(), ElementsAre(CannotOpen("avformat_alloc_context()")));
        EXPECT_THAT(script.released, IsEmpty());
    }
    {
        FfmpegScript script;
        script.allocIo = [] { return nullptr; };
        EXPECT_FALSE(demuxer.Open(MemoryReader::Read, &reader));
        EXPECT_THAT(log.Take(), ElementsAre(CannotOpen("avio_alloc_context()")));
        EXPECT_THAT(script.released, ElementsAre("av_free")) << "the buffer that it did not take";
    }
    {
        FfmpegScript script;
        script.malloc = [](std::size_t size) {
            EXPECT_EQ(size, 4096U);
            return nullptr;
        };
        EXPECT_FALSE(demuxer.Open(MemoryReader::Read, &reader));
        EXPECT_THAT(log.Take(), ElementsAre(CannotOpen("avio_alloc_context()")));
        EXPECT_THAT(script.released, ElementsAre("avformat_close_input")) << "the context of the attempt before";
    }
    EXPECT_TRUE(demuxer.Open(MemoryReader::Read, &reader)) << "a failure leaves the object usable";
    EXPECT_EQ(demuxer.GetStreamCount(), 1);
}

TEST(FfmpegDemuxer, AFailedOpeningKeepsItsInputUntilClose) {
    LogCapture log;
    FfmpegDemuxer demuxer;
    MemoryReader garbage(std::vector<unsigned char>(5000, 'x'));
    ASSERT_TRUE(demuxer.Create(kAvi, 4096));
    log.Take();
    FfmpegScript script;
    EXPECT_FALSE(demuxer.Open(MemoryReader::Read, &garbage));
    EXPECT_THAT(log.Take(), ElementsAre(CannotOpen("avformat_open_input()")));
    EXPECT_THAT(script.released, IsEmpty());
    EXPECT_EQ(demuxer.GetStreamCount(), 0);
    demuxer.Close();
    EXPECT_THAT(script.released, ElementsAre("av_free"));
    demuxer.Close();
    EXPECT_THAT(script.released, ElementsAre("av_free"));
}

TEST(FfmpegDemuxer, AnInputThatEndsAtOnceCannotBeOpened) {
    LogCapture log;
    FfmpegDemuxer demuxer;
    MemoryReader empty({});
    ASSERT_TRUE(demuxer.Create(kWav, 0));
    EXPECT_FALSE(demuxer.Open(MemoryReader::Read, &empty));
    EXPECT_FALSE(demuxer.Open(nullptr, nullptr));
    EXPECT_THAT(log.Take(),
                ElementsAre(Created(), CannotOpen("avformat_open_input()"), CannotOpen("avformat_open_input()")));
}

TEST(FfmpegDemuxer, ClosesAndOpensAgain) {
    const auto expected = PeerPackets(Clip("demux_sound.wav"));
    OpenClip clip(kWav, "demux_sound.wav");
    FfmpegAvPacket packet;
    EXPECT_TRUE(clip.demuxer.ReadNextFrame(&packet));
    clip.demuxer.Close();
    EXPECT_EQ(clip.demuxer.GetStreamCount(), 0);
    clip.reader.position = 0;
    ASSERT_TRUE(clip.demuxer.Open(MemoryReader::Read, &clip.reader));
    EXPECT_THAT(ReadAll(&clip.demuxer), ElementsAreArray(expected));
    clip.reader.position = 0;
    FfmpegScript script;
    ASSERT_TRUE(clip.demuxer.Open(MemoryReader::Read, &clip.reader)) << "without a Close between";
    EXPECT_THAT(script.released, ElementsAre("avformat_close_input", "av_free"));
    EXPECT_THAT(ReadAll(&clip.demuxer), ElementsAreArray(expected));
}

TEST(FfmpegDemuxer, DestroyForgetsTheFormatAndTheBuffer) {
    OpenClip clip(kWav, "demux_sound.wav");
    clip.demuxer.Destroy();
    clip.demuxer.Destroy();
    LogCapture log;
    EXPECT_FALSE(clip.demuxer.Open(MemoryReader::Read, &clip.reader));
    EXPECT_THAT(log.Take(), ElementsAre(CannotOpen("av_malloc(4096)")));
    EXPECT_TRUE(clip.demuxer.Create(kWav, 100));
}

TEST(FfmpegDemuxer, TheDestructorLogsAndFrees) {
    LogCapture log;
    std::ostringstream text;
    FfmpegScript script;
    {
        OpenClip clip(kWav, "demux_sound.wav");
        text << "FfmpegDemuxer::~FfmpegDemuxer(): this=" << &clip.demuxer;
        log.Take();
    }
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, text.str())));
    EXPECT_THAT(script.released, ElementsAre("avformat_close_input", "av_free"));
}

TEST(FfmpegDemuxer, NothingIsThereWhileNothingIsOpen) {
    FfmpegDemuxer demuxer;
    FfmpegAvPacket packet;
    int codec = 77;
    AUDIO_FORMAT format{};
    EXPECT_EQ(demuxer.GetStreamCount(), 0);
    EXPECT_EQ(demuxer.GetStreamType(0), 0);
    EXPECT_FALSE(demuxer.GetVideoStreamInfo(0, &codec));
    EXPECT_FALSE(demuxer.GetAudioStreamInfo(0, &codec, &format));
    EXPECT_FALSE(demuxer.ReadNextFrame(&packet));
    EXPECT_EQ(codec, 77);
}

TEST(FfmpegDemuxer, AStreamThatIsNotThereIsOfNoKind) {
    OpenClip clip(kAvi, "demux_plain.avi");
    int codec = 77;
    AUDIO_FORMAT format{};
    for (const int index : {-2147483647 - 1, -1, 2, 2147483647}) {
        EXPECT_EQ(clip.demuxer.GetStreamType(index), 0);
        EXPECT_FALSE(clip.demuxer.GetVideoStreamInfo(index, &codec));
        EXPECT_FALSE(clip.demuxer.GetAudioStreamInfo(index, &codec, &format));
    }
    EXPECT_EQ(codec, 77);
}

TEST(FfmpegDemuxer, OnlyVideoAndSoundHaveAType) {
    OpenStreams streams({{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264},
                         {AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AAC},
                         {AVMEDIA_TYPE_SUBTITLE, AV_CODEC_ID_SUBRIP},
                         {AVMEDIA_TYPE_DATA, AV_CODEC_ID_NONE},
                         {AVMEDIA_TYPE_ATTACHMENT, AV_CODEC_ID_NONE},
                         {AVMEDIA_TYPE_UNKNOWN, AV_CODEC_ID_NONE}});
    ASSERT_EQ(streams.demuxer.GetStreamCount(), 6);
    const int types[] = {1, 2, 0, 0, 0, 0};
    int codec = 77;
    AUDIO_FORMAT format{};
    for (int index = 0; index < 6; ++index) {
        EXPECT_EQ(streams.demuxer.GetStreamType(index), types[index]) << index;
        EXPECT_EQ(streams.demuxer.GetVideoStreamInfo(index, &codec), types[index] == 1) << index;
        EXPECT_EQ(streams.demuxer.GetAudioStreamInfo(index, &codec, &format), types[index] == 2) << index;
    }
}

TEST(FfmpegDemuxer, VideoCodecs) {
    const std::map<int, int> ids = {{21, 3}, {12, 4}, {4, 5}, {7, 7}, {27, 8}, {173, 9}, {AV_CODEC_ID_VP8, -1},
                                    {0, -1}};
    for (const auto& [avId, id] : ids) {
        OpenStreams streams({{AVMEDIA_TYPE_VIDEO, static_cast<AVCodecID>(avId)}});
        int codec = 77;
        EXPECT_TRUE(streams.demuxer.GetVideoStreamInfo(0, &codec));
        EXPECT_EQ(codec, id) << avId;
    }
}

TEST(FfmpegDemuxer, AudioCodecs) {
    const std::map<int, int> ids = {{73728, 0},
                                    {73729, 1},
                                    {86018, 3},
                                    {86017, 4},
                                    {65542, 100},
                                    {65543, 101},
                                    {65538, 102},
                                    {65536, 103},
                                    {69633, 104},
                                    {65537, 501},
                                    {AV_CODEC_ID_ADPCM_G726, -1},
                                    {AV_CODEC_ID_OPUS, -1}};
    for (const auto& [avId, id] : ids) {
        OpenStreams streams({{AVMEDIA_TYPE_AUDIO, static_cast<AVCodecID>(avId)}});
        int codec = 77;
        AUDIO_FORMAT format{};
        EXPECT_TRUE(streams.demuxer.GetAudioStreamInfo(0, &codec, &format));
        EXPECT_EQ(codec, id) << avId;
        EXPECT_EQ(format.sampleRate, 8000);
        EXPECT_EQ(format.channels, 3);
    }
}

TEST(FfmpegDemuxer, SampleFormats) {
    const int flags[] = {2, 1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 0, 0};
    for (int format = AV_SAMPLE_FMT_NONE; format <= AV_SAMPLE_FMT_S64P; ++format) {
        OpenStreams streams({{AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AAC, {1, 1000}, static_cast<AVSampleFormat>(format)}});
        int codec = 0;
        AUDIO_FORMAT told{};
        EXPECT_TRUE(streams.demuxer.GetAudioStreamInfo(0, &codec, &told));
        EXPECT_EQ(told.sampleFormat, flags[format + 1]) << format;
    }
}
