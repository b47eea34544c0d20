#include "container/ffmpeg_av_packet.h"

#include <gmock/gmock.h>

#include <cstring>

#include "container/ffmpeg_script.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A packet of that many bytes which holds a reference to them.
void Fill(AVPacket* packet, int size) {
    ASSERT_EQ(av_new_packet(packet, size), 0);
    std::memset(packet->data, 7, static_cast<std::size_t>(size));
}

AVPacket PacketWithout(unsigned char* data, int size) {
    AVPacket packet{};
    av_init_packet(&packet);
    packet.data = data;
    packet.size = size;
    return packet;
}

unsigned char* Bytes(std::size_t size) {
    return static_cast<unsigned char*>(av_malloc(size));
}

}  // namespace

TEST(FfmpegAvPacket, BeginsEmpty) {
    FfmpegAvPacket packet;
    DEMUXER_PACKET facts;
    packet.GetDemuxerPacket(&facts);
    EXPECT_EQ(facts.data, nullptr);
    EXPECT_EQ(facts.size, 0);
    EXPECT_EQ(facts.streamIndex, 0);
    EXPECT_EQ(facts.pts, AV_NOPTS_VALUE);
    EXPECT_EQ(facts.dts, AV_NOPTS_VALUE);
    EXPECT_EQ(facts.keyFrame, 0U);
    EXPECT_EQ(packet.GetAvPacket()->pos, -1);
}

TEST(FfmpegAvPacket, ReleaseOfAFreshObjectDoesNothing) {
    FfmpegScript script;
    {
        FfmpegAvPacket packet;
        packet.Release();
    }
    EXPECT_THAT(script.released, IsEmpty());
}

TEST(FfmpegAvPacket, ReleaseTwiceFreesOnce) {
    FfmpegScript script;
    FfmpegAvPacket packet;
    Fill(packet.GetAvPacket(), 10);
    packet.SetValid(true);
    packet.Release();
    EXPECT_EQ(packet.GetAvPacket()->data, nullptr);
    EXPECT_EQ(packet.GetAvPacket()->size, 0);
    packet.Release();
    EXPECT_THAT(script.released, ElementsAre("av_free_packet"));
}

TEST(FfmpegAvPacket, WhatIsNotValidIsNotFreed) {
    FfmpegScript script;
    FfmpegAvPacket packet;
    packet.SetValid(true);
    packet.SetValid(false);
    packet.Release();
    EXPECT_THAT(script.released, IsEmpty());
}

TEST(FfmpegAvPacket, TheDestructorReleases) {
    FfmpegScript script;
    {
        FfmpegAvPacket packet;
        Fill(packet.GetAvPacket(), 10);
        packet.SetValid(true);
    }
    EXPECT_THAT(script.released, ElementsAre("av_free_packet"));
}

TEST(FfmpegAvPacket, OwnedBytesAreFreedBeforeThePacket) {
    FfmpegScript script;
    FfmpegAvPacket packet;
    const AVPacket source = PacketWithout(Bytes(5), 5);
    packet.SetPacket(&source, true);
    EXPECT_THAT(script.released, IsEmpty());
    packet.Release();
    EXPECT_THAT(script.released, ElementsAre("av_free", "av_free_packet"));
    EXPECT_EQ(packet.GetAvPacket()->data, nullptr);
    EXPECT_EQ(packet.GetAvPacket()->size, 0);
    packet.Release();
    EXPECT_THAT(script.released, ElementsAre("av_free", "av_free_packet"));
}

TEST(FfmpegAvPacket, OwnershipEndsWithTheRelease) {
    FfmpegScript script;
    FfmpegAvPacket packet;
    const AVPacket source = PacketWithout(Bytes(5), 5);
    packet.SetPacket(&source, true);
    packet.Release();
    script.released.clear();
    Fill(packet.GetAvPacket(), 3);
    packet.SetValid(true);
    packet.Release();
    EXPECT_THAT(script.released, ElementsAre("av_free_packet"));
}

TEST(FfmpegAvPacket, BorrowedBytesStay) {
    FfmpegScript script;
    unsigned char bytes[3] = {1, 2, 3};
    FfmpegAvPacket packet;
    const AVPacket source = PacketWithout(bytes, 3);
    packet.SetPacket(&source, false);
    packet.Release();
    EXPECT_THAT(script.released, ElementsAre("av_free_packet"));
}

TEST(FfmpegAvPacket, SetPacketReleasesWhatWasHeld) {
    FfmpegScript script;
    FfmpegAvPacket packet;
    const AVPacket first = PacketWithout(Bytes(5), 5);
    packet.SetPacket(&first, true);
    const AVPacket second = PacketWithout(Bytes(6), 6);
    packet.SetPacket(&second, true);
    EXPECT_THAT(script.released, ElementsAre("av_free", "av_free_packet"));
    EXPECT_EQ(packet.GetAvPacket()->data, second.data);
}

TEST(FfmpegAvPacket, SetPacketCopiesTheWholeRecord) {
    AVPacket source{};
    Fill(&source, 4);
    source.pts = 11;
    source.dts = -12;
    source.flags = AV_PKT_FLAG_KEY | AV_PKT_FLAG_DISCARD;
    source.stream_index = 3;
    source.duration = 14;
    source.pos = 15;
    FfmpegAvPacket packet;
    packet.SetPacket(&source, false);
    const AVPacket* held = packet.GetAvPacket();
    EXPECT_EQ(held->buf, source.buf);
    EXPECT_EQ(held->data, source.data);
    EXPECT_EQ(held->duration, 14);
    EXPECT_EQ(held->pos, 15);
    DEMUXER_PACKET facts;
    packet.GetDemuxerPacket(&facts);
    EXPECT_EQ(facts.data, source.data) << "borrowed, not copied";
    EXPECT_EQ(facts.size, 4);
    EXPECT_EQ(facts.streamIndex, 3);
    EXPECT_EQ(facts.pts, 11);
    EXPECT_EQ(facts.dts, -12);
    EXPECT_EQ(facts.keyFrame, 1U) << "the other flags do not show";
}
