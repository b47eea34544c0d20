#include <algorithm>
#include <numeric>
#include <vector>

#include "common/codecs_at_hand.h"
#include "common/guarded_buffer.h"
#include "common/log_capture.h"
#include "encoder_under_test.h"
#include "ffmpeg_script.h"
#include "test_picture.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

constexpr unsigned char kUntouched = 0xA5;
constexpr int kNoFrameInfo = 12345;

class Encode : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        av_log_set_level(AV_LOG_QUIET);
        PaintScene(m_Picture, 0);
        ASSERT_EQ(m_Encoder.Create(), 1);
        m_Out.assign(static_cast<std::size_t>(m_Encoder.GetMaxOutFrameLength(176, 144)), kUntouched);
        m_Log.Take();
    }

    int EncodePicture(int keyFrame) {
        m_nKeyFrame = keyFrame;
        return m_Encoder.Encode(&m_Picture, m_Out.data(), static_cast<unsigned int>(m_Out.size()), &m_nKeyFrame);
    }

    /// Bytes that may be a packet of H.264 as well: one NAL unit behind its start code, of nothing but 7.
    static std::vector<unsigned char> OwnBytes(std::size_t size) {
        std::vector<unsigned char> bytes(size, 7);
        const std::vector<unsigned char> startCode = {0, 0, 0, 1};
        std::copy_n(startCode.begin(), std::min(size, startCode.size()), bytes.begin());
        return bytes;
    }

    /// FFmpeg's answer is a packet of those bytes in memory of its own.
    void AnswerWithOwnPacket(int size, int flags) {
        m_Ffmpeg.encode = [size, flags](AVCodecContext*, AVPacket* packet, const AVFrame*, int* gotPacket) {
            packet->data = nullptr;
            packet->size = 0;
            EXPECT_EQ(av_new_packet(packet, size), 0);
            const std::vector<unsigned char> bytes = OwnBytes(static_cast<std::size_t>(size));
            std::copy(bytes.begin(), bytes.end(), packet->data);
            packet->flags = flags;
            *gotPacket = 1;
            return 0;
        };
    }

    static bool ByX264() { return GetParam() == VIDEO_CODEC_H264 && IsH264ByX264(); }

    FfmpegScript m_Ffmpeg;
    LogCapture m_Log;
    EncoderUnderTest m_Encoder{GetParam()};
    TestPicture m_Picture{176, 144};
    std::vector<unsigned char> m_Out;
    int m_nKeyFrame = 0;
};

INSTANTIATE_TEST_SUITE_P(All, Encode, kFiveCodecs, CodecWord);

TEST_P(Encode, HandsFfmpegTheCallersPixelsAndTheCallersBuffer) {
    int calls = 0;
    m_Ffmpeg.encode = [&](AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket) {
        ++calls;
        const unsigned char* pixels = m_Picture.GetData();
        EXPECT_EQ(context, m_Encoder.m_pCodecContext);
        EXPECT_EQ(frame->data[0], pixels);
        EXPECT_EQ(frame->data[1], pixels + 176 * 144);
        EXPECT_EQ(frame->data[2], pixels + 176 * 144 + 88 * 72);
        EXPECT_EQ(frame->data[3], nullptr);
        EXPECT_EQ(frame->linesize[0], 176);
        EXPECT_EQ(frame->linesize[1], 88);
        EXPECT_EQ(frame->linesize[2], 88);
        EXPECT_EQ(frame->buf[0], nullptr);
        EXPECT_EQ(frame->format, GetParam() == VIDEO_CODEC_MJPEG ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P);
        EXPECT_EQ(frame->width, 176);
        EXPECT_EQ(frame->height, 144);
        // What x264 writes is rewritten on its way to the caller.
        EXPECT_EQ(packet->data, ByX264() ? nullptr : m_Out.data());
        EXPECT_EQ(packet->size, ByX264() ? 0 : static_cast<int>(m_Out.size()));
        EXPECT_EQ(packet->buf, nullptr);
        EXPECT_EQ(packet->pts, AV_NOPTS_VALUE);
        EXPECT_EQ(packet->dts, AV_NOPTS_VALUE);
        EXPECT_EQ(packet->pos, -1);
        EXPECT_EQ(packet->flags, 0);
        EXPECT_EQ(*gotPacket, 0);
        return __real_avcodec_encode_video2(context, packet, frame, gotPacket);
    };
    EXPECT_GT(EncodePicture(1), 0);
    EXPECT_EQ(calls, 1);
}

TEST_P(Encode, LeavesThePictureAsItIs) {
    const std::vector<unsigned char> before = m_Picture.Bytes();
    m_Picture.m_nTimestamp = 99;
    EXPECT_GT(EncodePicture(1), 0);
    EXPECT_EQ(m_Picture.Bytes(), before);
    EXPECT_EQ(m_Picture.m_nTimestamp, 99);
}

TEST_P(Encode, DoesNotConsultThePicturesOwnSizeAndTime) {
    ASSERT_GT(EncodePicture(1), 0);
    const std::vector<unsigned char> packet = m_Out;
    m_Encoder.DestroyEncoder();
    ASSERT_EQ(m_Encoder.Create(), 1);
    m_Picture.m_nWidth = 0;
    m_Picture.m_nHeight = 7;
    m_Picture.m_nTimestamp = 123456;
    m_Picture.m_nColorSpace = CSP_BGRA;
    m_Out.assign(m_Out.size(), kUntouched);
    ASSERT_GT(EncodePicture(1), 0);
    EXPECT_EQ(m_Out, packet);
}

TEST_P(Encode, TellsH264ThePicturesNumberAndTheOthersNoTime) {
    std::vector<long long> times;
    m_Ffmpeg.encode = [&](AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* gotPacket) {
        times.push_back(frame->pts);
        return __real_avcodec_encode_video2(context, packet, frame, gotPacket);
    };
    for (int i = 0; i < 3; ++i) {
        EXPECT_GT(EncodePicture(0), 0);
    }
    if (GetParam() == VIDEO_CODEC_H264) {
        EXPECT_THAT(times, ElementsAre(1, 2, 3));
    } else {
        EXPECT_THAT(times, ElementsAre(AV_NOPTS_VALUE, AV_NOPTS_VALUE, AV_NOPTS_VALUE));
    }
}

TEST_P(Encode, TellsEachPictureWhatItIsToBe) {
    std::vector<AVPictureType> types;
    m_Ffmpeg.encode = [&](AVCodecContext*, AVPacket*, const AVFrame* frame, int*) {
        types.push_back(frame->pict_type);
        return 0;
    };
    for (const int keyFrame : {1, 0, -7, 2}) {
        EncodePicture(keyFrame);
    }
    // x264 would take a P for an order.
    const AVPictureType plain = ByX264() ? AV_PICTURE_TYPE_NONE : AV_PICTURE_TYPE_P;
    EXPECT_THAT(types, ElementsAre(AV_PICTURE_TYPE_I, plain, AV_PICTURE_TYPE_I, AV_PICTURE_TYPE_I));
}

TEST_P(Encode, MakesAKeyPictureWhereOneIsAskedFor) {
    const bool always = GetParam() == VIDEO_CODEC_MJPEG;
    std::vector<int> keys;
    for (const int ask : {0, 0, 1, 0, 5, 0}) {
        EXPECT_GT(EncodePicture(ask), 0);
        keys.push_back(m_nKeyFrame);
    }
    if (always) {
        EXPECT_THAT(keys, Each(1));
    } else {
        EXPECT_THAT(keys, ElementsAre(1, 0, 1, 0, 1, 0));
    }
}

TEST_P(Encode, WritesThePacketToTheFrontOfTheBufferAndNothingBehindItsEnd) {
    std::vector<unsigned char> guarded(m_Out.size() + 32, kUntouched);
    m_nKeyFrame = 1;
    const int bytes =
        m_Encoder.Encode(&m_Picture, guarded.data(), static_cast<unsigned int>(m_Out.size()), &m_nKeyFrame);
    ASSERT_GT(bytes, 0);
    EXPECT_NE(guarded[0] * 65536 + guarded[1] * 256 + guarded[2], kUntouched * 65793);
    EXPECT_THAT(std::vector<unsigned char>(guarded.end() - 32, guarded.end()), Each(kUntouched));
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_P(Encode, ASmallBufferLosesThePacketAndTheNextCallGoesOn) {
    m_nKeyFrame = kNoFrameInfo;
    const int result = m_Encoder.Encode(&m_Picture, m_Out.data(), 10, &m_nKeyFrame);
    EXPECT_EQ(result, GetParam() == VIDEO_CODEC_H264 ? -22 : -1);
    EXPECT_EQ(m_nKeyFrame, kNoFrameInfo);
    EXPECT_THAT(std::vector<unsigned char>(m_Out.begin() + 10, m_Out.end()), Each(kUntouched));
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    EXPECT_GT(EncodePicture(1), 0);
    EXPECT_EQ(m_nKeyFrame, 1);
}

TEST_P(Encode, ABufferOfNoBytesIsTooSmall) {
    m_nKeyFrame = kNoFrameInfo;
    EXPECT_LT(m_Encoder.Encode(&m_Picture, m_Out.data(), 0, &m_nKeyFrame), 0);
    EXPECT_EQ(m_nKeyFrame, kNoFrameInfo);
    EXPECT_THAT(m_Out, Each(kUntouched));
}

TEST_P(Encode, ANullBufferIsTooSmallAndThePacketCounts) {
    for (const unsigned int size : {0U, 1000000U}) {
        m_nKeyFrame = kNoFrameInfo;
        EXPECT_EQ(m_Encoder.Encode(&m_Picture, nullptr, size, &m_nKeyFrame), -10);
        EXPECT_EQ(m_nKeyFrame, kNoFrameInfo);
    }
    EXPECT_EQ(m_Encoder.m_Stat.m_nCount, 2);
    EXPECT_GT(EncodePicture(1), 0);
}

TEST_P(Encode, APacketInTheEncodersOwnMemoryIsCopied) {
    AnswerWithOwnPacket(100, AV_PKT_FLAG_KEY);
    EXPECT_EQ(EncodePicture(0), 100);
    EXPECT_EQ(m_nKeyFrame, 1);
    EXPECT_EQ(std::vector<unsigned char>(m_Out.begin(), m_Out.begin() + 100), OwnBytes(100));
    EXPECT_THAT(std::vector<unsigned char>(m_Out.begin() + 100, m_Out.end()), Each(kUntouched));
}

TEST_P(Encode, APacketInTheEncodersOwnMemoryMayFillTheBuffer) {
    AnswerWithOwnPacket(static_cast<int>(m_Out.size()), 0);
    EXPECT_EQ(EncodePicture(1), static_cast<int>(m_Out.size()));
    EXPECT_EQ(m_nKeyFrame, 0) << "asked for a key packet, got none";
    EXPECT_EQ(m_Out, OwnBytes(m_Out.size()));
}

TEST_P(Encode, APacketInTheEncodersOwnMemoryThatDoesNotFitIsLost) {
    AnswerWithOwnPacket(static_cast<int>(m_Out.size()) + 1, AV_PKT_FLAG_KEY);
    // Packets of x264's are always in memory of its own; too little room for them is what it is with OpenH264.
    EXPECT_EQ(EncodePicture(kNoFrameInfo), ByX264() ? AVERROR(EINVAL) : -10);
    EXPECT_EQ(m_nKeyFrame, kNoFrameInfo);
    EXPECT_THAT(m_Out, Each(kUntouched));
    EXPECT_EQ(m_Encoder.m_Stat.m_nCount, ByX264() ? 0 : 1);
}

TEST_P(Encode, AnEmptyPacketOfTheEncodersOwnIsNoByte) {
    AnswerWithOwnPacket(0, AV_PKT_FLAG_KEY);
    EXPECT_EQ(EncodePicture(0), 0);
    EXPECT_EQ(m_nKeyFrame, 1);
    EXPECT_THAT(m_Out, Each(kUntouched));
    // There is nothing to copy, so a missing buffer is none that is too small.
    EXPECT_EQ(m_Encoder.Encode(&m_Picture, nullptr, 0, &m_nKeyFrame), 0);
}

TEST_P(Encode, FlagsBesideTheKeyFlagDoNotShow) {
    AnswerWithOwnPacket(5, AV_PKT_FLAG_KEY | AV_PKT_FLAG_CORRUPT);
    EXPECT_EQ(EncodePicture(0), 5);
    EXPECT_EQ(m_nKeyFrame, 1);
    AnswerWithOwnPacket(5, AV_PKT_FLAG_CORRUPT);
    EXPECT_EQ(EncodePicture(1), 5);
    EXPECT_EQ(m_nKeyFrame, 0);
}

TEST_P(Encode, APacketInTheEncodersOwnMemoryIsLetGo) {
    unsigned char bytes[10] = {0, 0, 0, 1, 7, 7, 7, 7, 7, 7};
    bool letGo = false;
    m_Ffmpeg.encode = [&](AVCodecContext*, AVPacket* packet, const AVFrame*, int* gotPacket) {
        packet->data = bytes;
        packet->size = sizeof(bytes);
        packet->buf = av_buffer_create(
            bytes, sizeof(bytes), [](void* flag, unsigned char*) { *static_cast<bool*>(flag) = true; }, &letGo, 0);
        *gotPacket = 1;
        return 0;
    };
    EXPECT_EQ(EncodePicture(0), 10);
    EXPECT_TRUE(letGo);
}

TEST_P(Encode, APictureHeldBackGivesNothingAndIsNotCounted) {
    m_Ffmpeg.encode = [](AVCodecContext*, AVPacket* packet, const AVFrame*, int* gotPacket) {
        av_packet_unref(packet);
        *gotPacket = 0;
        return 0;
    };
    EXPECT_EQ(EncodePicture(1), 0);
    EXPECT_EQ(m_nKeyFrame, 0);
    EXPECT_EQ(m_Encoder.m_Stat.m_nCount, 0);
    EXPECT_THAT(m_Out, Each(kUntouched));
}

TEST_P(Encode, FfmpegsErrorIsPassedOnAndTheNextCallGoesOn) {
    m_Ffmpeg.encode = [](AVCodecContext*, AVPacket*, const AVFrame*, int*) { return AVERROR(ENOMEM); };
    EXPECT_EQ(EncodePicture(kNoFrameInfo), AVERROR(ENOMEM));
    EXPECT_EQ(m_nKeyFrame, kNoFrameInfo);
    EXPECT_EQ(m_Encoder.m_Stat.m_nCount, 0);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    m_Ffmpeg.encode = nullptr;
    EXPECT_GT(EncodePicture(1), 0);
}

TEST_P(Encode, AnErrorWithAPacketCountsAndStaysAnError) {
    m_Ffmpeg.encode = [](AVCodecContext*, AVPacket* packet, const AVFrame*, int* gotPacket) {
        packet->data = nullptr;
        packet->size = 0;
        EXPECT_EQ(av_new_packet(packet, 10), 0);
        *gotPacket = 1;
        return -5;
    };
    EXPECT_EQ(EncodePicture(kNoFrameInfo), -5);
    EXPECT_EQ(m_nKeyFrame, kNoFrameInfo);
    EXPECT_EQ(m_Encoder.m_Stat.m_nCount, 1);
    EXPECT_THAT(m_Out, Each(kUntouched));
}

TEST_P(Encode, OfAnEncoderThatIsNotCreatedFails) {
    m_Encoder.DestroyEncoder();
    EXPECT_EQ(EncodePicture(kNoFrameInfo), AVERROR(EINVAL));
    EXPECT_EQ(m_nKeyFrame, kNoFrameInfo);
    EncoderUnderTest never(GetParam());
    EXPECT_EQ(never.Encode(&m_Picture, m_Out.data(), 100, &m_nKeyFrame), AVERROR(EINVAL));
}

TEST_P(Encode, OfNothingFails) {
    class Empty : public CFrameBufferBase {
        unsigned char* GetData() override { return nullptr; }
        const unsigned char* GetConstData() override { return nullptr; }
    };
    Empty empty;
    int keyFrame = kNoFrameInfo;
    const auto size = static_cast<unsigned int>(m_Out.size());
    EXPECT_EQ(m_Encoder.Encode(nullptr, m_Out.data(), size, &keyFrame), AVERROR(EINVAL));
    EXPECT_EQ(m_Encoder.Encode(&empty, m_Out.data(), size, &keyFrame), AVERROR(EINVAL));
    EXPECT_EQ(m_Encoder.Encode(&m_Picture, m_Out.data(), size, nullptr), AVERROR(EINVAL));
    EXPECT_EQ(keyFrame, kNoFrameInfo);
    EXPECT_GT(EncodePicture(1), 0);
}

TEST_P(Encode, OfAPictureThatCannotBeLaidOutFailsBeforeFfmpegSeesThePictureBefore) {
    ASSERT_GT(EncodePicture(1), 0);
    int calls = 0;
    m_Ffmpeg.encode = [&calls](AVCodecContext*, AVPacket*, const AVFrame*, int*) {
        ++calls;
        return 0;
    };
    m_Encoder.m_nFfmpegPixFmt = AV_PIX_FMT_NONE;
    EXPECT_EQ(EncodePicture(kNoFrameInfo), AVERROR(EINVAL));
    EXPECT_EQ(m_nKeyFrame, kNoFrameInfo);
    EXPECT_EQ(calls, 0);
}

TEST_P(Encode, FillFrameMapsThePictureAlone) {
    TestPicture other(176, 144);
    m_Encoder.FillFrame(&other);
    EXPECT_EQ(m_Encoder.m_pFrame->data[0], other.GetData());
    EXPECT_EQ(m_Encoder.m_pFrame->data[2], other.GetData() + 176 * 144 + 88 * 72);
    EXPECT_EQ(m_Encoder.m_pFrame->linesize[1], 88);
    EXPECT_EQ(m_Encoder.m_pFrame->width, 176);
    EXPECT_EQ(m_Encoder.m_pFrame->height, 144);
    EXPECT_EQ(m_Encoder.m_pFrame->format, m_Encoder.m_pCodecContext->pix_fmt);
    EXPECT_EQ(m_Encoder.m_nNextPts, 1);
}

TEST(EncodeStatistics, ArePrintedByTheFirstCallThatEnds20SecondsLater) {
    av_log_set_level(AV_LOG_QUIET);
    long long now = 1000;
    FfmpegScript ffmpeg;
    ffmpeg.clock = [&now] { return now; };
    LogCapture log;
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    ASSERT_EQ(encoder.Create(), 1);
    log.Take();
    TestPicture picture(176, 144);
    std::vector<unsigned char> out(100000);
    const auto encode = [&](long long start, long long takes) {
        now = start;
        ffmpeg.encode = [&now, takes](AVCodecContext*, AVPacket* packet, const AVFrame*, int* gotPacket) {
            now += takes;
            packet->size = 1;
            *gotPacket = 1;
            return 0;
        };
        int keyFrame = 0;
        EXPECT_EQ(encoder.Encode(&picture, out.data(), 100000, &keyFrame), 1);
    };
    encode(2000, 30);
    encode(20938, 61);
    EXPECT_THAT(log.Take(), IsEmpty()) << "19999 ms";
    encode(21000, 0);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info,
                                   "CVideoEncoder::StatHelper: fps: 0, t: av: 30.3333, max: 61, trig: 1 in 3")));
}

/// A picture that ends where the process may no longer read.
class GuardedPicture : public CFrameBufferBase {
public:
    explicit GuardedPicture(TestPicture& painted) : m_Memory(painted.Bytes().size()) {
        m_pPixels = m_Memory.Last(painted.Bytes().size());
        std::copy(painted.Bytes().begin(), painted.Bytes().end(), m_pPixels);
    }
    unsigned char* GetData() override { return m_pPixels; }
    const unsigned char* GetConstData() override { return m_pPixels; }

private:
    GuardedBuffer m_Memory;
    unsigned char* m_pPixels;
};

class EncodeAtTheEdge : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(All, EncodeAtTheEdge, kFiveCodecs, CodecWord);

TEST_P(EncodeAtTheEdge, StaysInsideThePictureAndTheBufferAtAnySize) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    int encoded = 0;
    int lost = 0;
    for (const auto& [width, height] : {std::pair{1U, 1U},
                                        {2U, 2U},
                                        {8U, 8U},
                                        {15U, 15U},
                                        {16U, 16U},
                                        {17U, 19U},
                                        {33U, 24U},
                                        {40U, 40U},
                                        {61U, 47U},
                                        {64U, 64U},
                                        {128U, 96U},
                                        {176U, 144U}}) {
        EncoderUnderTest encoder(GetParam());
        if (encoder.Create(width, height) == 0) {
            continue;  // not one of H.263's sizes
        }
        const auto size = static_cast<std::size_t>(encoder.GetMaxOutFrameLength(width, height));
        const GuardedBuffer out(size);
        for (unsigned int number = 0; number < 4; ++number) {
            TestPicture painted(width, height);
            number < 2 ? PaintNoise(painted, number + 1) : PaintScene(painted, number);
            GuardedPicture picture(painted);
            int keyFrame = kNoFrameInfo;
            const int bytes = encoder.Encode(&picture, out.Last(size), static_cast<unsigned int>(size), &keyFrame);
            EXPECT_LE(bytes, static_cast<int>(size));
            EXPECT_EQ(keyFrame == kNoFrameInfo, bytes < 0);
            (bytes < 0 ? lost : encoded) += 1;
        }
    }
    EXPECT_GT(encoded, 0);
    EXPECT_GT(lost, 0) << "noise is what the margin is too small for";
}

TEST(EncodeH264, FailsBelow16PixelsUnlessX264Encodes) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    EncoderUnderTest encoder(VIDEO_CODEC_H264);
    ASSERT_EQ(encoder.Create(14, 14), 1);
    TestPicture picture(14, 14);
    std::vector<unsigned char> out(10000);
    int keyFrame = kNoFrameInfo;
    const int bytes = encoder.Encode(&picture, out.data(), 10000, &keyFrame);
    EXPECT_EQ(bytes > 0, IsH264ByX264());
    EXPECT_EQ(keyFrame, IsH264ByX264() ? 1 : kNoFrameInfo);
}

TEST(EncodeH264, IsEndedByAPictureOfNoiseUntilItIsCreatedAnewUnlessX264Encodes) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    EncoderUnderTest encoder(VIDEO_CODEC_H264);
    ASSERT_EQ(encoder.Create(64, 64), 1);
    TestPicture scene(64, 64);
    PaintScene(scene, 0);
    TestPicture noise(64, 64);
    PaintNoise(noise, 1);
    std::vector<unsigned char> out(100000);
    const auto encode = [&](TestPicture& picture) {
        int keyFrame = 0;
        return encoder.Encode(&picture, out.data(), 100000, &keyFrame);
    };
    EXPECT_GT(encode(scene), 0);
    if (IsH264ByX264()) {
        EXPECT_GT(encode(noise), 0);
        EXPECT_GT(encode(scene), 0);
        return;
    }
    EXPECT_EQ(encode(noise), AVERROR_UNKNOWN);
    EXPECT_EQ(encode(scene), AVERROR_UNKNOWN);
    encoder.DestroyEncoder();
    ASSERT_EQ(encoder.Create(64, 64), 1);
    EXPECT_GT(encode(scene), 0);
}

struct KeyCase {
    int id;
    int interval;
    std::vector<int> keys;
};

void PrintTo(const KeyCase& keys, std::ostream* out) {
    *out << VideoCodecLogName[keys.id] << " " << keys.interval;
}

class KeyInterval : public testing::TestWithParam<KeyCase> {};

std::vector<int> AllOf610() {
    std::vector<int> all(610);
    std::iota(all.begin(), all.end(), 0);
    return all;
}

INSTANTIATE_TEST_SUITE_P(
    All, KeyInterval,
    testing::Values(KeyCase{VIDEO_CODEC_MPEG4, -1, {0, 300, 600}}, KeyCase{VIDEO_CODEC_FLV, -1, {0, 300, 600}},
                    KeyCase{VIDEO_CODEC_H263, -1, {0, 300, 600}}, KeyCase{VIDEO_CODEC_H264, -1, {0, 300, 600}},
                    KeyCase{VIDEO_CODEC_MJPEG, -1, AllOf610()}, KeyCase{VIDEO_CODEC_MPEG4, 0, AllOf610()},
                    KeyCase{VIDEO_CODEC_FLV, 0, AllOf610()}, KeyCase{VIDEO_CODEC_H263, 0, AllOf610()},
                    KeyCase{VIDEO_CODEC_H264, 0, {0}}, KeyCase{VIDEO_CODEC_MJPEG, 0, AllOf610()},
                    KeyCase{VIDEO_CODEC_MPEG4, 1, AllOf610()}, KeyCase{VIDEO_CODEC_FLV, 1, AllOf610()},
                    KeyCase{VIDEO_CODEC_H263, 1, AllOf610()}, KeyCase{VIDEO_CODEC_H264, 1, AllOf610()},
                    KeyCase{VIDEO_CODEC_MPEG4, 250, {0, 250, 500}}, KeyCase{VIDEO_CODEC_FLV, 250, {0, 250, 500}},
                    KeyCase{VIDEO_CODEC_H263, 250, {0, 250, 500}}, KeyCase{VIDEO_CODEC_H264, 250, {0, 250, 500}}),
    [](const auto& test) {
        return std::string(VideoCodecLogName[test.param.id]) +
               (test.param.interval < 0 ? "Longest" : std::to_string(test.param.interval));
    });

TEST_P(KeyInterval, IsTheDistanceOfKeyPicturesThatNobodyAskedFor) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    EncoderUnderTest encoder(GetParam().id);
    ASSERT_EQ(encoder.CreateEncoder(CSP_YUV420P, 128, 96, 25, 800000, 0, 1, GetParam().interval), 1);
    TestPicture picture(128, 96);
    std::vector<unsigned char> out(1000000);
    std::vector<int> keys;
    for (int number = 0; number < 610; ++number) {
        PaintScene(picture, static_cast<unsigned int>(number));
        int keyFrame = 0;
        ASSERT_GT(encoder.Encode(&picture, out.data(), 1000000, &keyFrame), 0);
        if (keyFrame == 1) {
            keys.push_back(number);
        }
    }
    EXPECT_EQ(keys, GetParam().keys);
}

}  // namespace
