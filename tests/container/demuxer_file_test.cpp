#include "container/demuxer_file.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "codrelay/media_ids.h"
#include "common/digest.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "container/ffmpeg_script.h"
#include "container/file_reading.h"
#include "container/peer_packets.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::vector<PacketFacts> PacketsOf(const std::string& path) {
    Reading reading;
    EXPECT_TRUE(reading.Open(path));
    EXPECT_GT(reading.ReadToEnd(), 0);
    return reading.callback.packets;
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

TEST(DemuxerFile, WhatTheCallbackThrowsPassesToTheHost) {
    class Throwing : public RecordingCallback {
    public:
        int OnPacket(DEMUXER_PACKET* packet) override {
            RecordingCallback::OnPacket(packet);
            if (packets.size() == 2) {
                throw std::runtime_error("the host's own");
            }
            return 0;
        }
    } callback;
    CDemuxerFile demuxer;
    ASSERT_TRUE(demuxer.Open(Clip("demux_film.mp4").c_str(), &callback));
    const auto expected = PacketsOf(Clip("demux_film.mp4"));
    LogCapture log;
    EXPECT_EQ(demuxer.ReadNextFrame(), 1);
    EXPECT_THROW(demuxer.ReadNextFrame(), std::runtime_error);
    EXPECT_TRUE(demuxer.IsOpen());
    while (demuxer.ReadNextFrame() == 1) {
    }
    EXPECT_THAT(callback.packets, ElementsAreArray(expected)) << "none is lost";
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(DemuxerFile, ReadsWithoutACallback) {
    Reading reading;
    ASSERT_TRUE(reading.Open(Clip("demux_film.mp4")));
    ASSERT_TRUE(reading.demuxer.Open(Clip("demux_film.mp4").c_str(), nullptr)) << "the callback before is forgotten";
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
