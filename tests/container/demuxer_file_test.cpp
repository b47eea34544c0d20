#include "container/demuxer_file.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "codrelay/media_ids.h"
#include "common/digest.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "container/ffmpeg_script.h"
#include "container/peer_packets.h"
#include "container/recording_callback.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;
using uvqlog::Severity;

namespace {

LoggedLine FilterMade() {
    return Ffmpeg(Severity::Trace, "FfmepgFileDemuxer cretate filter");
}

LoggedLine Failed(const std::string& what) {
    return Ffmpeg(Severity::Error, "FfmepgFileDemuxer " + what + " error");
}

// A demuxer on a file, with what it hands out.
struct Reading {
    bool Open(const std::string& path) { return demuxer.Open(path.c_str(), &callback); }
    int ReadToEnd() {
        int packets = 0;
        while (demuxer.ReadNextFrame() == 1) {
            ++packets;
        }
        return packets;
    }

    RecordingCallback callback;
    CDemuxerFile demuxer;
};

std::vector<PacketFacts> PacketsOf(const std::string& path) {
    Reading reading;
    EXPECT_TRUE(reading.Open(path));
    EXPECT_GT(reading.ReadToEnd(), 0);
    return reading.callback.packets;
}

// What the peer reads, times in milliseconds.
std::vector<PacketFacts> Expected(const std::string& path) {
    return InMilliseconds(PeerPackets(path), PeerTimeBases(path));
}

// A file of the test's own, gone at its end.
class OwnFile {
public:
    OwnFile(const std::string& name, const std::string& content) : m_Path(testing::TempDir() + name) {
        std::ofstream(m_Path, std::ios::binary) << content;
    }
    ~OwnFile() { std::filesystem::remove(m_Path); }
    const std::string& Path() const { return m_Path; }

private:
    std::string m_Path;
};

void ExpectCannotOpen(const char* path) {
    LogCapture log;
    Reading reading;
    EXPECT_FALSE(reading.demuxer.Open(path, &reading.callback));
    EXPECT_FALSE(reading.demuxer.IsOpen());
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_THAT(reading.callback.packets, IsEmpty());
    EXPECT_THAT(log.Take(), ElementsAre(Failed("avformat_open_input")));
}

// A demuxer that was told these streams, and then reads what the script says.
struct ScriptedReading : Reading {
    explicit ScriptedReading(std::vector<FakeStream> streams) {
        script.openInput = [streams](AVFormatContext** context, const char*, AVInputFormat*) {
            return OpenFake(context, streams);
        };
        script.findStreamInfo = [](AVFormatContext*) { return 0; };
        script.readFrame = [this](AVFormatContext*, AVPacket* packet) {
            EXPECT_EQ(av_new_packet(packet, 4), 0);
            std::fill(packet->data, packet->data + 4, static_cast<unsigned char>(9));
            packet->stream_index = next.stream;
            packet->pts = next.pts;
            packet->dts = next.dts;
            packet->flags = next.flags;
            packet->duration = 5;
            packet->pos = 6;
            return 0;
        };
        EXPECT_TRUE(Open("scripted"));
    }

    struct {
        int stream = 0;
        std::int64_t pts = 0;
        std::int64_t dts = 0;
        int flags = 0;
    } next;
    FfmpegScript script;
};

}  // namespace

TEST(DemuxerFile, TellsTheStreamsOfAFilm) {
    LogCapture log;
    Reading reading;
    EXPECT_FALSE(reading.demuxer.IsOpen());
    ASSERT_TRUE(reading.Open(Clip("demux_film.mp4")));
    EXPECT_THAT(log.Take(), ElementsAre(FilterMade()));
    EXPECT_TRUE(reading.demuxer.IsOpen());
    ASSERT_EQ(reading.demuxer.GetStreamCount(), 2);
    EXPECT_EQ(reading.demuxer.GetStreamType(0), 1);
    EXPECT_EQ(reading.demuxer.GetStreamType(1), 2);
    int codec = 77;
    AUDIO_FORMAT format = {1, 2, 3};
    EXPECT_FALSE(reading.demuxer.GetVideoStreamInfo(1, &codec));
    EXPECT_FALSE(reading.demuxer.GetAudioStreamInfo(0, &codec, &format));
    EXPECT_EQ(codec, 77);
    EXPECT_EQ(format.sampleFormat, 3);
    EXPECT_TRUE(reading.demuxer.GetVideoStreamInfo(0, &codec));
    EXPECT_EQ(codec, VIDEO_CODEC_H264);
    EXPECT_TRUE(reading.demuxer.GetAudioStreamInfo(1, &codec, &format));
    EXPECT_EQ(codec, AUDIO_CODEC_AAC);
    EXPECT_EQ(format.sampleRate, 44100);
    EXPECT_EQ(format.channels, 2);
    EXPECT_EQ(format.sampleFormat, AUDIO_SAMPLE_FLTP);
}

TEST(DemuxerFile, HandsOutH264WithStartCodesAndTimesInMilliseconds) {
    for (const char* name : {"demux_film.mp4", "demux_film.mkv", "demux_film.ts"}) {
        const std::string path = Clip(name);
        const auto expected = WithBytes(Expected(path), 0, PeerAnnexB(path, 0));
        EXPECT_THAT(PacketsOf(path), ElementsAreArray(expected)) << name;
    }
}

TEST(DemuxerFile, OnlyTheFirstOfTwoH264StreamsIsFiltered) {
    const std::string path = Clip("demux_two.mp4");
    const auto expected = Expected(path);
    const auto packets = PacketsOf(path);
    EXPECT_THAT(packets, ElementsAreArray(WithBytes(expected, 0, PeerAnnexB(path, 0))));
    EXPECT_THAT(OfStream(packets, 1), ElementsAreArray(OfStream(expected, 1)));
}

TEST(DemuxerFile, WithoutH264ThereIsNoFilter) {
    LogCapture log;
    FfmpegScript script;
    script.initFilter = [](const char*) -> AVBitStreamFilterContext* {
        ADD_FAILURE() << "asked for";
        return nullptr;
    };
    for (const char* name : {"demux_plain.avi", "demux_foreign.asf", "demux_sound.wav"}) {
        EXPECT_THAT(PacketsOf(Clip(name)), ElementsAreArray(Expected(Clip(name)))) << name;
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(DemuxerFile, ATimeThatIsNotThereStaysSo) {
    const auto video = OfStream(PacketsOf(Clip("demux_plain.avi")), 0);
    ASSERT_THAT(video, SizeIs(25));
    for (std::size_t i = 0; i < video.size(); ++i) {
        const auto time = static_cast<std::int64_t>(i) * 40;
        const bool isBPicture = i % 3 == 2 || i % 3 == 0;
        EXPECT_EQ(video[i].dts, time);
        EXPECT_EQ(video[i].pts, isBPicture && i > 0 ? time : AV_NOPTS_VALUE) << i;
    }
    const auto first = PacketsOf(Clip("demux_film.mkv")).front();
    EXPECT_EQ(first.pts, 23) << "milliseconds already";
    EXPECT_EQ(first.dts, AV_NOPTS_VALUE);
}

TEST(DemuxerFile, AStreamThatIsNeitherVideoNorSoundIsReadAsWell) {
    Reading reading;
    ASSERT_TRUE(reading.Open(Clip("demux_film.mkv")));
    ASSERT_EQ(reading.demuxer.GetStreamCount(), 3);
    int codec = 77;
    AUDIO_FORMAT format{};
    EXPECT_EQ(reading.demuxer.GetStreamType(2), 0);
    EXPECT_FALSE(reading.demuxer.GetVideoStreamInfo(2, &codec));
    EXPECT_FALSE(reading.demuxer.GetAudioStreamInfo(2, &codec, &format));
    reading.ReadToEnd();
    const auto texts = OfStream(reading.callback.packets, 2);
    ASSERT_THAT(texts, SizeIs(1));
    EXPECT_EQ(texts[0].md5, Md5Of("text", 4));
    EXPECT_EQ(texts, OfStream(Expected(Clip("demux_film.mkv")), 2));
}

TEST(DemuxerFile, CodecsWithoutAnIdAreMinusOne) {
    Reading reading;
    ASSERT_TRUE(reading.Open(Clip("demux_foreign.asf")));
    int video = 77;
    int audio = 77;
    AUDIO_FORMAT format{};
    EXPECT_TRUE(reading.demuxer.GetVideoStreamInfo(0, &video));
    EXPECT_TRUE(reading.demuxer.GetAudioStreamInfo(1, &audio, &format));
    EXPECT_EQ(video, -1);
    EXPECT_EQ(audio, -1);
    EXPECT_EQ(format.sampleFormat, AUDIO_SAMPLE_FLTP) << "the search for stream info finds it";
}

TEST(DemuxerFile, AfterTheEndEveryReadGivesZero) {
    Reading reading;
    ASSERT_TRUE(reading.Open(Clip("demux_sound.wav")));
    const int packets = reading.ReadToEnd();
    EXPECT_THAT(reading.callback.packets, SizeIs(static_cast<std::size_t>(packets)));
    LogCapture log;
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_TRUE(reading.demuxer.IsOpen());
    EXPECT_THAT(reading.callback.packets, SizeIs(static_cast<std::size_t>(packets)));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(DemuxerFile, TheCallbacksAnswerIsIgnored) {
    Reading reading;
    reading.callback.result = -1;
    ASSERT_TRUE(reading.Open(Clip("demux_sound.wav")));
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
}

TEST(DemuxerFile, ReadsWithoutACallback) {
    Reading reading;
    ASSERT_TRUE(reading.demuxer.Open(Clip("demux_film.mp4").c_str(), nullptr));
    EXPECT_EQ(static_cast<std::size_t>(reading.ReadToEnd()), PeerPackets(Clip("demux_film.mp4")).size());
    EXPECT_THAT(reading.callback.packets, IsEmpty());
}

TEST(DemuxerFile, BytesStayUntilTheNextReadOrClose) {
    Reading reading;
    FfmpegScript script;
    ASSERT_TRUE(reading.Open(Clip("demux_sound.wav")));
    ASSERT_EQ(reading.demuxer.ReadNextFrame(), 1);
    EXPECT_EQ(FactsOf(reading.callback.last), reading.callback.packets.back());
    ASSERT_TRUE(reading.Open(Clip("demux_plain.avi"))) << "closes the first";
    EXPECT_THAT(script.released, ElementsAre("avformat_close_input"));
    EXPECT_EQ(FactsOf(reading.callback.last), reading.callback.packets.back()) << "still held";
    EXPECT_EQ(reading.demuxer.GetStreamCount(), 2);
    script.released.clear();
    ASSERT_EQ(reading.demuxer.ReadNextFrame(), 1);
    EXPECT_THAT(script.released, ElementsAre("av_free_packet"));
}

TEST(DemuxerFile, CloseGivesUpFilterContextAndPacket) {
    Reading reading;
    FfmpegScript script;
    ASSERT_TRUE(reading.Open(Clip("demux_film.mp4")));
    ASSERT_EQ(reading.demuxer.ReadNextFrame(), 1);
    script.released.clear();
    reading.demuxer.Close();
    EXPECT_FALSE(reading.demuxer.IsOpen());
    EXPECT_THAT(script.released,
                ElementsAre("av_bitstream_filter_close", "avformat_close_input", "av_free", "av_free_packet"));
    script.released.clear();
    reading.demuxer.Close();
    EXPECT_THAT(script.released, IsEmpty());
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_TRUE(reading.Open(Clip("demux_film.mp4"))) << "and again";
}

TEST(DemuxerFile, TheDestructorFreesThePacketThenTheReader) {
    FfmpegScript script;
    {
        Reading reading;
        ASSERT_TRUE(reading.Open(Clip("demux_film.mp4")));
        ASSERT_EQ(reading.demuxer.ReadNextFrame(), 1);
        script.released.clear();
    }
    EXPECT_THAT(script.released,
                ElementsAre("av_free", "av_free_packet", "av_bitstream_filter_close", "avformat_close_input"));
}

TEST(DemuxerFile, NothingIsThereWhileNothingIsOpen) {
    CDemuxerFile demuxer;
    int codec = 77;
    AUDIO_FORMAT format{};
    EXPECT_EQ(demuxer.GetStreamCount(), 0);
    EXPECT_EQ(demuxer.GetStreamType(0), 0);
    EXPECT_FALSE(demuxer.GetVideoStreamInfo(0, &codec));
    EXPECT_FALSE(demuxer.GetAudioStreamInfo(0, &codec, &format));
    EXPECT_EQ(demuxer.ReadNextFrame(), 0);
    demuxer.Close();
    EXPECT_FALSE(demuxer.IsOpen());
}

TEST(DemuxerFile, AStreamThatIsNotThereIsOfNoKind) {
    Reading reading;
    ASSERT_TRUE(reading.Open(Clip("demux_film.mp4")));
    int codec = 77;
    AUDIO_FORMAT format{};
    for (const int index : {-2147483647 - 1, -1, 2, 2147483647}) {
        EXPECT_EQ(reading.demuxer.GetStreamType(index), 0);
        EXPECT_FALSE(reading.demuxer.GetVideoStreamInfo(index, &codec));
        EXPECT_FALSE(reading.demuxer.GetAudioStreamInfo(index, &codec, &format));
    }
}

TEST(DemuxerFile, RefusesWhatIsNoMediaFile) {
    const std::string film = [] {
        const auto bytes = ReadFile(Clip("demux_film.mp4"));
        return std::string(bytes.begin(), bytes.begin() + 2000);
    }();
    const OwnFile empty("empty.mp4", "");
    const OwnFile text("text.txt", "This is not a film.\n");
    const OwnFile truncated("truncated.mp4", film);
    ExpectCannotOpen("/no/such/file.mp4");
    ExpectCannotOpen("");
    ExpectCannotOpen(nullptr);
    ExpectCannotOpen(testing::TempDir().c_str());
    ExpectCannotOpen(empty.Path().c_str());
    ExpectCannotOpen(text.Path().c_str());
    ExpectCannotOpen(truncated.Path().c_str());
}

TEST(DemuxerFile, AFailedOpenClosesWhatWasOpen) {
    Reading reading;
    ASSERT_TRUE(reading.Open(Clip("demux_film.mp4")));
    EXPECT_FALSE(reading.Open("/no/such/file.mp4"));
    EXPECT_FALSE(reading.demuxer.IsOpen());
    EXPECT_EQ(reading.demuxer.GetStreamCount(), 0);
    EXPECT_TRUE(reading.Open(Clip("demux_film.mp4")));
}

TEST(DemuxerFile, ClosesWhenTheStreamsCannotBeLearnt) {
    LogCapture log;
    Reading reading;
    FfmpegScript script;
    script.findStreamInfo = [](AVFormatContext*) { return AVERROR(ENOMEM); };
    EXPECT_FALSE(reading.Open(Clip("demux_film.mp4")));
    EXPECT_FALSE(reading.demuxer.IsOpen());
    EXPECT_THAT(script.released, ElementsAre("avformat_close_input"));
    EXPECT_THAT(log.Take(), ElementsAre(Failed("avformat_find_stream_info")));
}

TEST(DemuxerFile, ClosesWhenTheFilterCannotBeMade) {
    LogCapture log;
    Reading reading;
    FfmpegScript script;
    script.initFilter = [](const char* name) -> AVBitStreamFilterContext* {
        EXPECT_STREQ(name, "h264_mp4toannexb");
        return nullptr;
    };
    EXPECT_FALSE(reading.Open(Clip("demux_film.mp4")));
    EXPECT_FALSE(reading.demuxer.IsOpen());
    EXPECT_THAT(script.released, ElementsAre("avformat_close_input"));
    EXPECT_THAT(log.Take(), ElementsAre(FilterMade(), Failed("cretate filter")));
    script.initFilter = nullptr;
    EXPECT_TRUE(reading.Open(Clip("demux_film.mp4")));
}

TEST(DemuxerFile, TheFirstH264StreamIsTheOneFiltered) {
    ScriptedReading reading({{AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_H264},
                             {AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_HEVC},
                             {AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264},
                             {AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264}});
    std::vector<int> filtered;
    reading.script.filter = [&](AVCodecContext* codec, std::uint8_t**, int*, const std::uint8_t*, int size, int) {
        EXPECT_EQ(codec->codec_type, AVMEDIA_TYPE_VIDEO);
        EXPECT_EQ(size, 4);
        filtered.push_back(reading.next.stream);
        return 0;
    };
    for (int stream = 0; stream < 4; ++stream) {
        reading.next.stream = stream;
        EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    }
    EXPECT_THAT(filtered, ElementsAre(2));
}

TEST(DemuxerFile, AFilterThatGivesNothingLeavesThePacket) {
    ScriptedReading reading({{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264}});
    reading.script.filter = [](AVCodecContext*, std::uint8_t**, int*, const std::uint8_t*, int, int) { return 0; };
    reading.next.pts = 3;
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    const unsigned char bytes[] = {9, 9, 9, 9};
    EXPECT_THAT(reading.callback.packets, ElementsAre(PacketFacts{0, 3, 0, 4, 0, Md5Of(bytes, sizeof(bytes))}));
    EXPECT_THAT(reading.script.released, IsEmpty());
}

TEST(DemuxerFile, AFilteredPacketReplacesTheOneRead) {
    ScriptedReading reading({{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264, {1, 100}}});
    std::vector<int> keys;
    reading.script.filter = [&](AVCodecContext*, std::uint8_t** out, int* outSize, const std::uint8_t*, int, int key) {
        keys.push_back(key);
        *out = static_cast<std::uint8_t*>(av_malloc(2));
        *outSize = 2;
        (*out)[0] = 1;
        (*out)[1] = 2;
        return 1;
    };
    reading.next.pts = 7;
    reading.next.dts = -7;
    reading.next.flags = AV_PKT_FLAG_KEY | AV_PKT_FLAG_CORRUPT;
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    EXPECT_THAT(reading.script.released, ElementsAre("av_free_packet")) << "the packet as read";
    reading.next.flags = AV_PKT_FLAG_CORRUPT;
    reading.script.released.clear();
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    EXPECT_THAT(reading.script.released, ElementsAre("av_free", "av_free_packet", "av_free_packet"))
        << "the filtered bytes, then the next packet as read";
    const unsigned char bytes[] = {1, 2};
    const std::string md5 = Md5Of(bytes, sizeof(bytes));
    EXPECT_THAT(reading.callback.packets,
                ElementsAre(PacketFacts{0, 70, -70, 2, 1, md5}, PacketFacts{0, 70, -70, 2, 0, md5}));
    EXPECT_THAT(keys, ElementsAre(1, 0));
}

TEST(DemuxerFile, APacketThatTheFilterRefusesIsSkipped) {
    LogCapture log;
    ScriptedReading reading({{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264}});
    log.Take();
    reading.script.filter = [](AVCodecContext*, std::uint8_t**, int*, const std::uint8_t*, int, int) { return -1; };
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Failed("filter filter")));
    EXPECT_THAT(reading.callback.packets, IsEmpty());
    EXPECT_THAT(reading.script.released, IsEmpty()) << "held until the next read";
    EXPECT_TRUE(reading.demuxer.IsOpen());
    reading.script.filter = [](AVCodecContext*, std::uint8_t**, int*, const std::uint8_t*, int, int) { return 0; };
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    EXPECT_THAT(reading.script.released, ElementsAre("av_free_packet"));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(DemuxerFile, ADamagedH264PacketIsSkippedAlone) {
    LogCapture log;
    Reading reading;
    FfmpegScript script;
    int packets = 0;
    script.readFrame = [&](AVFormatContext* context, AVPacket* packet) {
        const int result = RealReadFrame(context, packet);
        if (result == 0 && packet->stream_index == 0 && ++packets == 2) {
            packet->data[0] = 0x7f;  // the length of its first unit
        }
        return result;
    };
    const auto peer = PeerAnnexB(Clip("demux_two.mp4"), 0);
    ASSERT_TRUE(reading.Open(Clip("demux_two.mp4")));
    log.Take();
    const int before = reading.ReadToEnd();
    EXPECT_EQ(before, 2) << "one of each video stream";
    EXPECT_THAT(log.Take(), ElementsAre(Failed("filter filter")));
    reading.ReadToEnd();
    EXPECT_THAT(log.Take(), IsEmpty());
    const auto video = OfStream(reading.callback.packets, 0);
    ASSERT_EQ(video.size(), peer.size() - 1);
    EXPECT_EQ(video[0].md5, peer[0].md5);
    for (std::size_t i = 1; i < video.size(); ++i) {
        EXPECT_EQ(video[i].md5, peer[i + 1].md5);
    }
}

TEST(DemuxerFile, ABrokenHeaderFailsOneReadAndThenLeavesTheBytes) {
    LogCapture log;
    Reading reading;
    FfmpegScript script;
    script.findStreamInfo = [](AVFormatContext* context) {
        const int result = RealFindStreamInfo(context);
        context->streams[0]->codec->extradata_size = 5;
        return result;
    };
    ASSERT_TRUE(reading.Open(Clip("demux_film.mp4")));
    log.Take();
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Failed("filter filter")));
    reading.ReadToEnd();
    EXPECT_THAT(log.Take(), IsEmpty());
    auto expected = OfStream(Expected(Clip("demux_film.mp4")), 0);
    expected.erase(expected.begin());
    EXPECT_THAT(OfStream(reading.callback.packets, 0), ElementsAreArray(expected));
}

TEST(DemuxerFile, AnEmptyH264PacketIsTheEndOfItsFilter) {
    LogCapture log;
    Reading reading;
    FfmpegScript script;
    int packets = 0;
    script.readFrame = [&](AVFormatContext* context, AVPacket* packet) {
        const int result = RealReadFrame(context, packet);
        if (result == 0 && packet->stream_index == 0 && ++packets == 1) {
            packet->data = nullptr;
            packet->size = 0;
        }
        return result;
    };
    ASSERT_TRUE(reading.Open(Clip("demux_film.mp4")));
    log.Take();
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    EXPECT_EQ(reading.callback.last.size, 0);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(reading.ReadToEnd(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Failed("filter filter")));
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1) << "sound goes on";
    EXPECT_EQ(reading.callback.last.streamIndex, 1);
}

TEST(DemuxerFile, TimesAreCutTowardsZeroInDoubleArithmetic) {
    struct {
        AVRational base;
        std::int64_t ticks;
        std::int64_t milliseconds;
    } const cases[] = {
        {{1, 90000}, 90000, 1000},
        {{1, 90000}, 179, 1},
        {{1, 90000}, -179, -1},
        {{1, 90000}, 89, 0},
        {{1, 90000}, -89, 0},
        {{1, 1000}, 12345, 12345},
        {{1, 1000}, INT64_MAX, INT64_MAX},  // untouched
        {{2, 2000}, 12345, 12345},
        {{1, 49}, 49, 999},  // where exact arithmetic gives 1000
        {{1001, 30000}, 2, 66},
        {{1, 1}, 5, 5000},
        {{1, 90000}, 9223372036854775LL, 102481911520608LL},
        {{1, 1}, INT64_MAX, -1000},                  // the product with 1000 wraps
        {{1000, 1}, 9000000000000000LL, INT64_MIN},  // what does not fit
        {{-1000, 1}, 9000000000000000LL, INT64_MIN},
        {{1, 0}, 5, INT64_MIN},
        {{0, 0}, 5, INT64_MIN},
    };
    for (const auto& one : cases) {
        ScriptedReading reading({{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_MPEG4, one.base}});
        reading.next.pts = one.ticks;
        reading.next.dts = AV_NOPTS_VALUE;
        EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
        reading.next.pts = AV_NOPTS_VALUE;
        reading.next.dts = one.ticks;
        EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
        const auto& packets = reading.callback.packets;
        EXPECT_EQ(packets[0].pts, one.milliseconds) << one.ticks << " of " << one.base.num << "/" << one.base.den;
        EXPECT_EQ(packets[0].dts, AV_NOPTS_VALUE);
        EXPECT_EQ(packets[1].pts, AV_NOPTS_VALUE);
        EXPECT_EQ(packets[1].dts, one.milliseconds);
    }
}

TEST(DemuxerFile, SampleFormats) {
    const int flags[] = {0, 1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 0, 0};
    for (int format = AV_SAMPLE_FMT_NONE; format <= AV_SAMPLE_FMT_S64P; ++format) {
        ScriptedReading reading(
            {{AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AAC, {1, 1000}, static_cast<AVSampleFormat>(format)}});
        int codec = 0;
        AUDIO_FORMAT told{};
        EXPECT_TRUE(reading.demuxer.GetAudioStreamInfo(0, &codec, &told));
        EXPECT_EQ(told.sampleFormat, flags[format + 1]) << format;
        EXPECT_EQ(told.sampleRate, 8000);
        EXPECT_EQ(told.channels, 3);
    }
}
