// What lies behind the file demuxer that hosts see: FFmpeg's failures, the filter, the times.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

#include "common/digest.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "container/ffmpeg_script.h"
#include "container/file_reading.h"
#include "container/peer_packets.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

// A demuxer that was told these streams, and then reads what the script says.
struct ScriptedReading : Reading {
    explicit ScriptedReading(std::vector<FakeStream> streams) {
        script.openInput = [streams](AVFormatContext** context, const char*, FfmpegInFormat*) {
            return OpenFake(context, streams);
        };
        script.findStreamInfo = [](AVFormatContext*) { return 1; };  // no failure either
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

TEST(FfmepgFileDemuxer, ClosesWhenTheStreamsCannotBeLearnt) {
    LogCapture log;
    Reading reading;
    FfmpegScript script;
    script.findStreamInfo = [](AVFormatContext*) { return AVERROR(ENOMEM); };
    EXPECT_FALSE(reading.Open(Clip("demux_film.mp4")));
    EXPECT_FALSE(reading.demuxer.IsOpen());
    EXPECT_THAT(script.released, ElementsAre("avformat_close_input"));
    EXPECT_THAT(log.Take(), ElementsAre(Failed("avformat_find_stream_info")));
}

TEST(FfmepgFileDemuxer, ClosesWhenTheFilterCannotBeMade) {
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

// Half open, it would hand the first packet to a filter that is not there.
TEST(FfmepgFileDemuxer, ClosesWhenMemoryRunsOutBeforeTheFilter) {
    Reading reading;
    FfmpegScript script;
    script.initFilter = [](const char*) -> AVBitStreamFilterContext* { throw std::bad_alloc(); };
    EXPECT_THROW(reading.Open(Clip("demux_film.mp4")), std::bad_alloc);
    EXPECT_FALSE(reading.demuxer.IsOpen());
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_THAT(script.released, ElementsAre("avformat_close_input"));
    script.initFilter = nullptr;
    EXPECT_TRUE(reading.Open(Clip("demux_film.mp4")));
}

TEST(FfmepgFileDemuxer, TheFirstH264StreamIsTheOneFiltered) {
    ScriptedReading reading({{AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_H264},
                             {AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_HEVC},
                             {AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264},
                             {AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264}});
    std::vector<int> filtered;
    reading.script.filter = [&](StreamParameters* codec, std::uint8_t**, int*, const std::uint8_t*, int size, int) {
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

TEST(FfmepgFileDemuxer, AFilterThatGivesNothingLeavesThePacket) {
    ScriptedReading reading({{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264}});
    reading.script.filter = [](StreamParameters*, std::uint8_t**, int*, const std::uint8_t*, int, int) { return 0; };
    reading.next.pts = 3;
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    const unsigned char bytes[] = {9, 9, 9, 9};
    EXPECT_THAT(reading.callback.packets, ElementsAre(PacketFacts{0, 3, 0, 4, 0, Md5Of(bytes, sizeof(bytes))}));
    EXPECT_THAT(reading.script.released, IsEmpty());
}

TEST(FfmepgFileDemuxer, AFilteredPacketReplacesTheOneRead) {
    ScriptedReading reading({{AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AAC}, {AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264, {1, 100}}});
    std::vector<int> keys;
    reading.script.filter = [&](StreamParameters*, std::uint8_t** out, int* outSize, const std::uint8_t*, int,
                                int key) {
        keys.push_back(key);
        *out = static_cast<std::uint8_t*>(av_malloc(2));
        *outSize = 2;
        (*out)[0] = 1;
        (*out)[1] = 2;
        return 1;
    };
    reading.next.stream = 1;
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
                ElementsAre(PacketFacts{1, 70, -70, 2, 1, md5}, PacketFacts{1, 70, -70, 2, 0, md5}));
    EXPECT_THAT(keys, ElementsAre(1, 0));
}

TEST(FfmepgFileDemuxer, APacketThatTheFilterRefusesIsSkipped) {
    LogCapture log;
    ScriptedReading reading({{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264}});
    log.Take();
    reading.script.filter = [](StreamParameters*, std::uint8_t**, int*, const std::uint8_t*, int, int) { return -1; };
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Failed("filter filter")));
    EXPECT_THAT(reading.callback.packets, IsEmpty());
    EXPECT_THAT(reading.script.released, IsEmpty()) << "held until the next read";
    EXPECT_TRUE(reading.demuxer.IsOpen());
    reading.script.filter = [](StreamParameters*, std::uint8_t**, int*, const std::uint8_t*, int, int) { return 0; };
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 1);
    EXPECT_THAT(reading.script.released, ElementsAre("av_free_packet"));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(FfmepgFileDemuxer, WhatAFilterHasMadeBeforeItFailsIsFreed) {
    ScriptedReading reading({{AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_H264}});
    reading.script.filter = [](StreamParameters*, std::uint8_t** out, int* outSize, const std::uint8_t*, int, int) {
        *out = static_cast<std::uint8_t*>(av_malloc(2));
        *outSize = 2;
        return -1;
    };
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_THAT(reading.script.released, ElementsAre("av_free"));
    reading.script.released.clear();
    reading.script.filter = [](StreamParameters*, std::uint8_t** out, int*, const std::uint8_t* in, int, int) {
        *out = const_cast<std::uint8_t*>(in);
        return -1;
    };
    EXPECT_EQ(reading.demuxer.ReadNextFrame(), 0);
    EXPECT_THAT(reading.script.released, ElementsAre("av_free_packet"))
        << "the packet before; this one's bytes are its";
}

TEST(FfmepgFileDemuxer, ADamagedH264PacketIsSkippedAlone) {
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

TEST(FfmepgFileDemuxer, ABrokenHeaderFailsOneReadAndThenLeavesTheBytes) {
    LogCapture log;
    Reading reading;
    FfmpegScript script;
    script.findStreamInfo = [](AVFormatContext* context) {
        const int result = RealFindStreamInfo(context);
        ParametersOf(context->streams[0])->extradata_size = 5;
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

TEST(FfmepgFileDemuxer, AnEmptyH264PacketIsTheEndOfItsFilter) {
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

TEST(FfmepgFileDemuxer, TimesAreCutTowardsZeroInDoubleArithmetic) {
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

TEST(FfmepgFileDemuxer, SampleFormats) {
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
