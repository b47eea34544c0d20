#include <array>
#include <future>
#include <vector>

#include "common/log_capture.h"
#include "encoder_under_test.h"
#include "ffmpeg_script.h"
#include "front/registry/ffmpeg_registry.h"
#include "test_picture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

class ChangeResolution : public testing::TestWithParam<int> {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    /// Encodes one picture of the encoder's size: true for a key packet.
    static bool EncodesToKey(EncoderUnderTest& encoder, int keyFrame) {
        TestPicture picture(encoder.m_nWidth, encoder.m_nHeight);
        PaintScene(picture, 3);
        std::vector<unsigned char> out(
            static_cast<std::size_t>(encoder.GetMaxOutFrameLength(encoder.m_nWidth, encoder.m_nHeight)));
        EXPECT_GT(encoder.Encode(&picture, out.data(), static_cast<unsigned int>(out.size()), &keyFrame), 0);
        return keyFrame == 1;
    }

    LogCapture m_Log;
    FfmpegScript m_Ffmpeg;
};

INSTANTIATE_TEST_SUITE_P(All, ChangeResolution, kFiveCodecs, CodecWord);

TEST_P(ChangeResolution, UpAndDownInMidStreamStartsANewStreamWithTheOldSettings) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 77, 0, 1000), 1);
    for (const auto& [width, height] : {std::pair{352U, 288U}, {128U, 96U}}) {
        EXPECT_TRUE(EncodesToKey(encoder, 1));
        EncodesToKey(encoder, 0);
        ASSERT_EQ(encoder.ChangeEncoderResolution(width, height), 1);
        EXPECT_EQ(encoder.IsCreated(), 1U);
        EXPECT_EQ(encoder.m_pCodecContext->width, static_cast<int>(width));
        EXPECT_EQ(encoder.m_pCodecContext->height, static_cast<int>(height));
        EXPECT_EQ(encoder.m_pCodecContext->bit_rate, 800000);
        EXPECT_EQ(encoder.m_nFrameRate, 25U);
        EXPECT_EQ(encoder.m_nReserved, 77U);
        EXPECT_EQ(encoder.m_nMaxKeyInterval, 1000);
        EXPECT_EQ(encoder.GetMode(), 1U);
        EXPECT_EQ(encoder.m_nNextPts, 1);
        EXPECT_TRUE(EncodesToKey(encoder, 0)) << "a new stream starts with a key picture";
    }
}

TEST_P(ChangeResolution, ToTheSameSizeGoesOnUnchanged) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.Create(), 1);
    EXPECT_TRUE(EncodesToKey(encoder, 1));
    const AVCodecContext* context = encoder.m_pCodecContext;
    const long long nextPts = encoder.m_nNextPts;
    m_Log.Take();
    EXPECT_EQ(encoder.ChangeEncoderResolution(176, 144), 1);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
    EXPECT_EQ(encoder.m_pCodecContext, context);
    EXPECT_EQ(encoder.m_nNextPts, nextPts);
    EXPECT_EQ(EncodesToKey(encoder, 0), GetParam() == VIDEO_CODEC_MJPEG);
}

TEST_P(ChangeResolution, OfAnEncoderThatWasNeverCreatedIsRefused) {
    EncoderUnderTest encoder(GetParam());
    EXPECT_EQ(encoder.ChangeEncoderResolution(352, 288), 0);
    EXPECT_EQ(encoder.ChangeEncoderResolution(0, 0), 0);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_P(ChangeResolution, OfADestroyedEncoderIsRefused) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.Create(), 1);
    encoder.DestroyEncoder();
    EXPECT_EQ(encoder.ChangeEncoderResolution(352, 288), 0);
    EXPECT_EQ(encoder.IsCreated(), 0U);
}

TEST_P(ChangeResolution, ThatCannotOpenLeavesTheEncoderNotCreated) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.Create(), 1);
    m_Log.Take();
    EXPECT_EQ(encoder.ChangeEncoderResolution(0, 0), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(Ffmpeg(Severity::Info, std::string("CVideoEncoder::CreateEncoder: ") +
                                                       GetFFmpegVideoEncoderName(GetParam()) + " width = 0 height = 0"),
                            Ffmpeg(Severity::Info, "max key interval 50"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::OpenEncoder: avcodec open error = -22"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Open encoder error " +
                                                           std::to_string(EncoderUnderTest::AvId(GetParam())))));
    EXPECT_EQ(encoder.IsCreated(), 0U);
    EXPECT_EQ(encoder.ChangeEncoderResolution(176, 144), 0);
    EXPECT_EQ(encoder.Create(), 1);
}

TEST_P(ChangeResolution, GivesABitRateOfZeroAgain) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.CreateWithRates(0, 0), 1);
    m_Log.Take();
    ASSERT_EQ(encoder.ChangeEncoderResolution(352, 288), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Info, std::string("CVideoEncoder::CreateEncoder: ") +
                                                                     GetFFmpegVideoEncoderName(GetParam()) +
                                                                     " width = 352 height = 288"),
                                          Ffmpeg(Severity::Error, "CVideoEncoder::OpenEncoder: bitrate = 0"),
                                          Ffmpeg(Severity::Info, "max key interval 50")));
    EXPECT_EQ(encoder.m_pCodecContext->bit_rate, DefaultBitRateOf(GetParam()));
}

TEST_P(ChangeResolution, CreatesThroughTheInterface) {
    class Watched : public EncoderUnderTest {
    public:
        using EncoderUnderTest::EncoderUnderTest;
        int CreateEncoder(unsigned int colorSpace, unsigned int width, unsigned int height, unsigned int frameRate,
                          unsigned int bitRate, unsigned int reserved, unsigned int mode, int maxKeyInterval) override {
            m_Arguments = {colorSpace, width,    height, frameRate,
                           bitRate,    reserved, mode,   static_cast<unsigned int>(maxKeyInterval)};
            return CVideoEncoder::CreateEncoder(colorSpace, width, height, frameRate, bitRate, reserved, mode,
                                                maxKeyInterval);
        }
        std::array<unsigned int, 8> m_Arguments{};
    };
    Watched encoder(GetParam());
    ASSERT_EQ(encoder.CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 77, 0, 12), 1);
    ASSERT_EQ(encoder.ChangeEncoderResolution(352, 288), 1);
    EXPECT_THAT(encoder.m_Arguments, ElementsAre(CSP_YUV420P, 352U, 288U, 25U, 800000U, 77U, 1U, 12U));
}

TEST_P(ChangeResolution, HoldsTheLibraryLockFromTheCloseToTheOpen) {
    int lockedCalls = 0;
    const auto expectLocked = [&lockedCalls] {
        const bool gotIt = std::async(std::launch::async, [] {
                               const bool taken = GetMainFfmpegCodecLib()->TryLock();
                               if (taken) {
                                   GetMainFfmpegCodecLib()->Unlock();
                               }
                               return taken;
                           }).get();
        lockedCalls += gotIt ? 0 : 1;
    };
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.Create(), 1);
    m_Ffmpeg.close = [&](AVCodecContext* context) {
        expectLocked();
        return __real_avcodec_close(context);
    };
    m_Ffmpeg.open = [&](AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
        expectLocked();
        return __real_avcodec_open2(context, codec, options);
    };
    ASSERT_EQ(encoder.ChangeEncoderResolution(352, 288), 1);
    EXPECT_EQ(lockedCalls, 2);
}

TEST(ChangeOfOneSide, IsAChange) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    ASSERT_EQ(encoder.Create(176, 144), 1);
    EXPECT_EQ(encoder.ChangeEncoderResolution(176, 160), 1);
    EXPECT_EQ(encoder.m_pCodecContext->height, 160);
    EXPECT_EQ(encoder.ChangeEncoderResolution(192, 160), 1);
    EXPECT_EQ(encoder.m_pCodecContext->width, 192);
}

// An encoder that was open before must not be closed a second time.
TEST(EncoderThatDoesNotOpen, IsNotClosedEither) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    FfmpegScript ffmpeg;
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    ASSERT_EQ(encoder.Create(), 1);
    encoder.DestroyEncoder();
    int closes = 0;
    ffmpeg.close = [&closes](AVCodecContext* context) {
        ++closes;
        return __real_avcodec_close(context);
    };
    ffmpeg.open = [](AVCodecContext* context, const AVCodec*, AVDictionary**) {
        av_freep(&context->priv_data);  // as FFmpeg does before it fails
        return -1;
    };
    EXPECT_EQ(encoder.Create(), 0);
    EXPECT_EQ(closes, 0);
}

}  // namespace
