// Hosts read these records through the layout that they were compiled with.

#include <gtest/gtest.h>

#include <cstddef>

#include "codrelay/codrelay.h"
#include "uvqlog/uvqlog.h"

namespace {

TEST(Records, AudioFormatIsThreeIntegers) {
    EXPECT_EQ(sizeof(AUDIO_FORMAT), 12u);
    EXPECT_EQ(offsetof(AUDIO_FORMAT, sampleRate), 0u);
    EXPECT_EQ(offsetof(AUDIO_FORMAT, channels), 4u);
    EXPECT_EQ(offsetof(AUDIO_FORMAT, sampleFormat), 8u);
}

TEST(Records, DemuxerPacket) {
    EXPECT_EQ(sizeof(DEMUXER_PACKET), 40u);
    EXPECT_EQ(offsetof(DEMUXER_PACKET, data), 0u);
    EXPECT_EQ(offsetof(DEMUXER_PACKET, size), 8u);
    EXPECT_EQ(offsetof(DEMUXER_PACKET, streamIndex), 12u);
    EXPECT_EQ(offsetof(DEMUXER_PACKET, pts), 16u);
    EXPECT_EQ(offsetof(DEMUXER_PACKET, dts), 24u);
    EXPECT_EQ(offsetof(DEMUXER_PACKET, keyFrame), 32u);
}

TEST(Records, MuxerParam) {
    EXPECT_EQ(sizeof(MUXER_PARAM), 32u);
    EXPECT_EQ(offsetof(MUXER_PARAM, videoCodec), 0u);
    EXPECT_EQ(offsetof(MUXER_PARAM, audioCodec), 4u);
    EXPECT_EQ(offsetof(MUXER_PARAM, width), 8u);
    EXPECT_EQ(offsetof(MUXER_PARAM, height), 12u);
    EXPECT_EQ(offsetof(MUXER_PARAM, sampleRate), 16u);
    EXPECT_EQ(offsetof(MUXER_PARAM, channels), 20u);
    EXPECT_EQ(offsetof(MUXER_PARAM, audioBitRate), 24u);
    EXPECT_EQ(offsetof(MUXER_PARAM, durationSec), 28u);
}

TEST(Records, TransformRectangles) {
    using Zoom = CVideoTransformBase::ZOOM_RECT;
    using Crop = CVideoTransformBase::CROP_RECT;
    EXPECT_EQ(sizeof(Zoom), 16u);
    EXPECT_EQ(offsetof(Zoom, left), 0u);
    EXPECT_EQ(offsetof(Zoom, top), 4u);
    EXPECT_EQ(offsetof(Zoom, right), 8u);
    EXPECT_EQ(offsetof(Zoom, bottom), 12u);
    EXPECT_EQ(sizeof(Crop), 16u);
    EXPECT_EQ(offsetof(Crop, x), 0u);
    EXPECT_EQ(offsetof(Crop, y), 4u);
    EXPECT_EQ(offsetof(Crop, w), 8u);
    EXPECT_EQ(offsetof(Crop, h), 12u);
}

class Frame : public CFrameBufferBase {
public:
    unsigned char* GetData() override { return nullptr; }
    const unsigned char* GetConstData() override { return nullptr; }
};

template <typename Field>
std::ptrdiff_t OffsetIn(const CFrameBufferBase& frame, const Field& field) {
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&frame);
}

TEST(Records, FrameBufferFields) {
    const Frame frame;
    EXPECT_EQ(OffsetIn(frame, frame.m_nTimestamp), 8);
    EXPECT_EQ(OffsetIn(frame, frame.m_nColorSpace), 16);
    EXPECT_EQ(OffsetIn(frame, frame.m_nWidth), 20);
    EXPECT_EQ(OffsetIn(frame, frame.m_nHeight), 24);
    EXPECT_EQ(OffsetIn(frame, frame.m_Extras), 32);
    EXPECT_EQ(sizeof(frame.m_nTimestamp), 8u);
    EXPECT_EQ(sizeof(CFrameBufferBase), 32 + sizeof(frame.m_Extras));
}

TEST(Records, LocksAndThreads) {
    EXPECT_EQ(sizeof(utils::ThreadMutex), 8u);
    EXPECT_EQ(sizeof(CMutexLocker), 16u);
    EXPECT_EQ(sizeof(CThread), 40u);
    EXPECT_EQ(sizeof(CConditionWait), 96u);
}

TEST(Records, LogRecordsAreMadeByTheMediaLibrary) {
    // The media library allocates records with the size that it was compiled with.
    EXPECT_EQ(sizeof(uvqlog::LogRecord), 48u);
}

TEST(Ids, StandAsHostsKnowThem) {
    EXPECT_EQ(VIDEO_CODEC_NONE, -1);
    EXPECT_EQ(VIDEO_CODEC_XVIDE, 0);
    EXPECT_EQ(VIDEO_CODEC_XVIDF, 1);
    EXPECT_EQ(VIDEO_CODEC_THR, 2);
    EXPECT_EQ(VIDEO_CODEC_FLV, 3);
    EXPECT_EQ(VIDEO_CODEC_MPEG4, 4);
    EXPECT_EQ(VIDEO_CODEC_H263, 5);
    EXPECT_EQ(VIDEO_CODEC_JPEG, 6);
    EXPECT_EQ(VIDEO_CODEC_MJPEG, 7);
    EXPECT_EQ(VIDEO_CODEC_H264, 8);
    EXPECT_EQ(VIDEO_CODEC_H265, 9);
    EXPECT_EQ(VIDEO_CODEC_RAW, 32000);
    EXPECT_EQ(CSP_YUV420P_ALT, 1u);
    EXPECT_EQ(CSP_YUV420P, 2u);
    EXPECT_EQ(CSP_YUYV422, 4u);
    EXPECT_EQ(CSP_BGR24, 8u);
    EXPECT_EQ(CSP_RGB24, 16u);
    EXPECT_EQ(CSP_BGRA, 32u);
    EXPECT_EQ(CSP_NV12, 64u);
    EXPECT_EQ(AUDIO_CODEC_AMRNB, 0);
    EXPECT_EQ(AUDIO_CODEC_AMRWB, 1);
    EXPECT_EQ(AUDIO_CODEC_AAC, 3);
    EXPECT_EQ(AUDIO_CODEC_MP3, 4);
    EXPECT_EQ(AUDIO_CODEC_G726_16, 5);
    EXPECT_EQ(AUDIO_CODEC_G726_24, 6);
    EXPECT_EQ(AUDIO_CODEC_G726_32, 7);
    EXPECT_EQ(AUDIO_CODEC_G726_40, 8);
    EXPECT_EQ(AUDIO_CODEC_OPUS, 20);
    EXPECT_EQ(AUDIO_CODEC_MULAW, 100);
    EXPECT_EQ(AUDIO_CODEC_ALAW, 101);
    EXPECT_EQ(AUDIO_CODEC_PCM_U16LE, 102);
    EXPECT_EQ(AUDIO_CODEC_PCM_S16LE, 103);
    EXPECT_EQ(AUDIO_CODEC_ADPCM_IMA_WAV, 104);
    EXPECT_EQ(AUDIO_CODEC_PCM_S16BE, 501);
    EXPECT_EQ(MUXER_FORMAT_FLV, 1);
    EXPECT_EQ(MUXER_FORMAT_MP4, 2);
    EXPECT_EQ(MUXER_FORMAT_WEBM, 3);
    EXPECT_EQ(MUXER_FORMAT_3GP, 4);
    EXPECT_EQ(MUXER_FORMAT_3GP2, 5);
    EXPECT_EQ(MUXER_FORMAT_AVI, 6);
    EXPECT_EQ(MUXER_FORMAT_MPEGTS, 7);
    EXPECT_EQ(DEMUXER_FORMAT_WAV, 1);
    EXPECT_EQ(DEMUXER_FORMAT_ASF, 2);
    EXPECT_EQ(AUDIO_SAMPLE_U8, 1);
    EXPECT_EQ(AUDIO_SAMPLE_S16, 2);
    EXPECT_EQ(AUDIO_SAMPLE_S32, 4);
    EXPECT_EQ(AUDIO_SAMPLE_FLT, 8);
    EXPECT_EQ(AUDIO_SAMPLE_DBL, 16);
    EXPECT_EQ(AUDIO_SAMPLE_U8P, 32);
    EXPECT_EQ(AUDIO_SAMPLE_S16P, 64);
    EXPECT_EQ(AUDIO_SAMPLE_S32P, 128);
    EXPECT_EQ(AUDIO_SAMPLE_FLTP, 256);
    EXPECT_EQ(AUDIO_SAMPLE_DBLP, 512);
}

}  // namespace
