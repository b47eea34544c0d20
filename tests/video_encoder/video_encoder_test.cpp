#include "video_encoder/video_encoder.h"

#include <string>

#include "common/codecs_at_hand.h"
#include "common/log_capture.h"
#include "encoder_under_test.h"
#include "ffmpeg_script.h"
#include "test_picture.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::Eq;
using testing::Field;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

LoggedLine CreateLine(const std::string& name, const std::string& width, const std::string& height) {
    return Ffmpeg(Severity::Info,
                  "CVideoEncoder::CreateEncoder: " + name + " width = " + width + " height = " + height);
}

TEST(VideoEncoderSetUp, ANewObjectKnowsItsConstantsAndIsNotCreated) {
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    EXPECT_EQ(encoder.GetSupportedColorSpaces(), CSP_YUV420P);
    EXPECT_EQ(encoder.GetSupportedModes(), 1U);
    EXPECT_EQ(encoder.GetEncoderKind(), 2U);
    EXPECT_EQ(encoder.IsCreated(), 0U);
    EXPECT_EQ(encoder.GetMode(), 0U);
    EXPECT_EQ(encoder.GetColorSpace(), 0U);
    EXPECT_EQ(encoder.m_pCodecContext, nullptr);
    EXPECT_EQ(encoder.m_Stat.m_nTriggerMs, 30);
}

TEST(VideoEncoderSetUp, ColorSpacesAndModesAreTestedAsMasks) {
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    EXPECT_TRUE(encoder.IsColorSpaceSupported(CSP_YUV420P));
    EXPECT_TRUE(encoder.IsColorSpaceSupported(CSP_YUV420P | CSP_BGRA));
    EXPECT_FALSE(encoder.IsColorSpaceSupported(CSP_YUV420P_ALT | CSP_BGRA));
    EXPECT_FALSE(encoder.IsColorSpaceSupported(0));
    EXPECT_TRUE(encoder.IsModeSupported(0));
    EXPECT_TRUE(encoder.IsModeSupported(1));
    EXPECT_FALSE(encoder.IsModeSupported(2));
    EXPECT_TRUE(encoder.IsModeSupported(3));
}

TEST(VideoEncoderSetUp, TheMaskTestsAskThroughTheInterface) {
    class Widened : public EncoderUnderTest {
    public:
        using EncoderUnderTest::EncoderUnderTest;
        unsigned int GetSupportedColorSpaces() override { return CSP_BGRA; }
        unsigned int GetSupportedModes() override { return 4; }
    };
    Widened encoder(VIDEO_CODEC_MPEG4);
    EXPECT_TRUE(encoder.IsColorSpaceSupported(CSP_BGRA));
    EXPECT_FALSE(encoder.IsColorSpaceSupported(CSP_YUV420P));
    EXPECT_TRUE(encoder.IsModeSupported(4));
    EXPECT_FALSE(encoder.IsModeSupported(1));
    EXPECT_TRUE(encoder.IsModeSupported(0));
}

TEST(VideoEncoderSetUp, TheOutputLengthIsARawPictureAndAMargin) {
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    EXPECT_EQ(encoder.GetMaxOutFrameLength(176, 144), 176 * 144 * 3 / 2 + 64);
    EXPECT_EQ(encoder.GetMaxOutFrameLength(17, 9), 17 * 9 + 2 * 9 * 5 + 64);
    EXPECT_EQ(encoder.GetMaxOutFrameLength(1, 1), 3 + 64);
    EXPECT_EQ(encoder.GetMaxOutFrameLength(0, 0), AVERROR(EINVAL) + 64);
    EXPECT_EQ(encoder.GetMaxOutFrameLength(4294967295U, 2), AVERROR(EINVAL) + 64);
}

class VideoEncoderOfCodec : public testing::TestWithParam<int> {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    LogCapture m_Log;
    FfmpegScript m_Ffmpeg;
};

INSTANTIATE_TEST_SUITE_P(All, VideoEncoderOfCodec, kFiveCodecs, CodecWord);

TEST_P(VideoEncoderOfCodec, CreateKeepsWhatItWasGiven) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 77, 0, 1000), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(CreateLine(GetFFmpegVideoEncoderName(GetParam()), "176", "144"),
                                          Ffmpeg(Severity::Info, "max key interval 300")));
    EXPECT_EQ(encoder.IsCreated(), 1U);
    EXPECT_EQ(encoder.GetMode(), 1U);
    EXPECT_EQ(encoder.GetColorSpace(), CSP_YUV420P);
    EXPECT_EQ(encoder.m_nWidth, 176U);
    EXPECT_EQ(encoder.m_nHeight, 144U);
    EXPECT_EQ(encoder.m_nFrameRate, 25U);
    EXPECT_EQ(encoder.m_nBitRate, 800000U);
    EXPECT_EQ(encoder.m_nReserved, 77U);
    EXPECT_EQ(encoder.m_nMaxKeyInterval, 1000);
    EXPECT_EQ(encoder.m_nNextPts, 1);
    EXPECT_EQ(encoder.m_nOpened, 1U);
}

TEST_P(VideoEncoderOfCodec, ASecondCreateChangesNothing) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.Create(), 1);
    const AVCodecContext* context = encoder.m_pCodecContext;
    m_Log.Take();
    EXPECT_EQ(encoder.CreateEncoder(CSP_BGRA, 352, 288, 0, 0, 0, 9, 0), 0);
    EXPECT_THAT(m_Log.Take(), ElementsAre(CreateLine(GetFFmpegVideoEncoderName(GetParam()), "352", "288"),
                                          Ffmpeg(Severity::Info, "CVideoEncoder::CreateEncoder: Already created!")));
    EXPECT_EQ(encoder.IsCreated(), 1U);
    EXPECT_EQ(encoder.m_pCodecContext, context);
    EXPECT_EQ(encoder.m_nWidth, 176U);
}

TEST_P(VideoEncoderOfCodec, ZeroRatesStandForDefaultsAndStayZeroInTheObject) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.CreateWithRates(0, 0), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(CreateLine(GetFFmpegVideoEncoderName(GetParam()), "176", "144"),
                                          Ffmpeg(Severity::Error, "CVideoEncoder::OpenEncoder: bitrate = 0"),
                                          Ffmpeg(Severity::Info, "max key interval 50")));
    EXPECT_EQ(encoder.m_nBitRate, 0U);
    EXPECT_EQ(encoder.m_nFrameRate, 0U);
    EXPECT_EQ(encoder.m_pCodecContext->bit_rate, DefaultBitRateOf(GetParam()));
    EXPECT_EQ(encoder.m_pCodecContext->time_base.den, GetParam() == VIDEO_CODEC_MJPEG ? 1 : 20);
}

TEST_P(VideoEncoderOfCodec, DestroyKeepsTheSettingsAndTheEncoderCanBeCreatedAgain) {
    EncoderUnderTest encoder(GetParam());
    ASSERT_EQ(encoder.Create(), 1);
    encoder.DestroyEncoder();
    EXPECT_EQ(encoder.IsCreated(), 0U);
    EXPECT_EQ(encoder.m_pCodecContext, nullptr);
    EXPECT_EQ(encoder.m_pFrame, nullptr);
    EXPECT_EQ(encoder.m_pOpenOptions, nullptr);
    EXPECT_EQ(encoder.GetMode(), 1U);
    EXPECT_EQ(encoder.GetColorSpace(), CSP_YUV420P);
    EXPECT_EQ(encoder.m_nWidth, 176U);
    EXPECT_EQ(encoder.m_nHeight, 144U);
    EXPECT_EQ(encoder.m_nBitRate, 800000U);
    EXPECT_EQ(encoder.m_nOpened, 1U);
    encoder.DestroyEncoder();
    EXPECT_EQ(encoder.Create(352, 288), 1);
}

TEST_P(VideoEncoderOfCodec, AFailedOpenIsToldTwiceAndLeavesTheEncoderNotCreated) {
    int closed = 0;
    m_Ffmpeg.close = [&closed](AVCodecContext* context) {
        ++closed;
        return __real_avcodec_close(context);
    };
    EncoderUnderTest encoder(GetParam());
    EXPECT_EQ(encoder.Create(0, 0), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine(GetFFmpegVideoEncoderName(GetParam()), "0", "0"),
                            Ffmpeg(Severity::Info, "max key interval 50"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::OpenEncoder: avcodec open error = -22"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Open encoder error " +
                                                           std::to_string(EncoderUnderTest::AvId(GetParam())))));
    EXPECT_EQ(encoder.IsCreated(), 0U);
    EXPECT_EQ(encoder.m_nOpened, 0U);
    EXPECT_EQ(encoder.m_pCodecContext, nullptr);
    EXPECT_EQ(encoder.m_pOpenOptions, nullptr);
    EXPECT_EQ(closed, 0);
    EXPECT_EQ(encoder.Create(), 1);
}

TEST_P(VideoEncoderOfCodec, AMissingContextIsToldTwice) {
    m_Ffmpeg.allocContext = [](const AVCodec*) -> AVCodecContext* { return nullptr; };
    EncoderUnderTest encoder(GetParam());
    EXPECT_EQ(encoder.Create(), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine(GetFFmpegVideoEncoderName(GetParam()), "176", "144"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::OpenEncoder: alloc context error!"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Open encoder error " +
                                                           std::to_string(EncoderUnderTest::AvId(GetParam())))));
    m_Ffmpeg.allocContext = nullptr;
    EXPECT_EQ(encoder.Create(), 1);
}

TEST_P(VideoEncoderOfCodec, AMissingFrameClosesTheCodecAgain) {
    m_Ffmpeg.allocFrame = []() -> AVFrame* { return nullptr; };
    int closed = 0;
    m_Ffmpeg.close = [&closed](AVCodecContext* context) {
        ++closed;
        return __real_avcodec_close(context);
    };
    EncoderUnderTest encoder(GetParam());
    EXPECT_EQ(encoder.Create(), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine(GetFFmpegVideoEncoderName(GetParam()), "176", "144"),
                            Ffmpeg(Severity::Info, "max key interval 50"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder:Frame alloc error!")));
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(encoder.IsCreated(), 0U);
    EXPECT_EQ(encoder.m_pCodecContext, nullptr);
    EXPECT_EQ(encoder.m_nOpened, 1U);
    m_Ffmpeg.allocFrame = nullptr;
    EXPECT_EQ(encoder.Create(), 1);
}

TEST_P(VideoEncoderOfCodec, DeleteDoesNotCloseFfmpeg) {
    int closed = 0;
    m_Ffmpeg.close = [&closed](AVCodecContext*) {
        ++closed;
        return 0;
    };
    class Bare : public CVideoEncoder {
    public:
        using CVideoEncoder::CVideoEncoder;
        using CVideoEncoder::m_pCodecContext;
        using CVideoEncoder::m_pFrame;
        using CVideoEncoder::m_pOpenOptions;
    };
    const int avId = EncoderUnderTest::AvId(GetParam());
    auto* encoder = new Bare(avId, GetFFmpegVideoEncoderName(GetParam()), CSP_YUV420P,
                             GetFFmpegPixelFormat(static_cast<AVCodecID>(avId), CSP_YUV420P));
    ASSERT_EQ(encoder->CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 0, 1, 50), 1);
    AVCodecContext* context = encoder->m_pCodecContext;
    AVFrame* frame = encoder->m_pFrame;
    AVDictionary* options = encoder->m_pOpenOptions;
    static_cast<CVideoEncoderBase*>(encoder)->Delete();
    EXPECT_EQ(closed, 0);
    __real_avcodec_close(context);
    av_free(context);
    av_frame_free(&frame);
    av_dict_free(&options);
}

class VideoEncoderArguments : public testing::Test {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    LogCapture m_Log;
    FfmpegScript m_Ffmpeg;
    EncoderUnderTest m_Encoder{VIDEO_CODEC_MPEG4};
};

TEST_F(VideoEncoderArguments, AnotherColorSpaceIsRefusedBeforeAnythingIsStored) {
    EXPECT_EQ(m_Encoder.CreateEncoder(CSP_YUV420P_ALT, 176, 144, 25, 800000, 0, 1, 50), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mpeg4", "176", "144"),
                            Ffmpeg(Severity::Error, "CVideoEncoder::CreateEncoder: Check input colorspace!")));
    EXPECT_EQ(m_Encoder.GetColorSpace(), 0U);
    EXPECT_EQ(m_Encoder.GetMode(), 0U);
    EXPECT_EQ(m_Encoder.m_nWidth, 0U);
}

TEST_F(VideoEncoderArguments, AModeOfTwoIsRefusedAfterTheColorSpaceIsStored) {
    EXPECT_EQ(m_Encoder.CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 0, 2, 50), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mpeg4", "176", "144"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Encoder mode error!")));
    EXPECT_EQ(m_Encoder.GetColorSpace(), CSP_YUV420P);
    EXPECT_EQ(m_Encoder.GetMode(), 0U);
    EXPECT_EQ(m_Encoder.m_nWidth, 0U);
}

TEST_F(VideoEncoderArguments, ModesZeroAndOneAreTheSame) {
    for (const unsigned int mode : {0U, 1U}) {
        EXPECT_EQ(m_Encoder.CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 0, mode, 50), 1);
        EXPECT_EQ(m_Encoder.GetMode(), 1U);
        m_Encoder.DestroyEncoder();
    }
}

TEST_F(VideoEncoderArguments, AnUnknownCodecNameIsToldThreeTimes) {
    EncoderUnderTest encoder(AV_CODEC_ID_H264, "nosuch");
    EXPECT_EQ(encoder.Create(), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("nosuch", "176", "144"),
                            Ffmpeg(Severity::Error,
                                   "FindCodec: Can't find codec 0. CodecId = 27, codecName = nosuch, Encoder = 1"),
                            Ffmpeg(Severity::Critical,
                                   "CVideoEncoder::OpenEncoder: find encoder failed! CodecId = 27, CodecName = nosuch"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Open encoder error 27")));
    EXPECT_EQ(encoder.IsCreated(), 0U);
    EXPECT_EQ(encoder.ChangeEncoderResolution(352, 288), 0);
}

TEST_F(VideoEncoderArguments, ANameOfAnotherCodecIsRefused) {
    EncoderUnderTest encoder(AV_CODEC_ID_H264, "mpeg4");
    EXPECT_EQ(encoder.Create(), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mpeg4", "176", "144"),
                            Ffmpeg(Severity::Error,
                                   "FindCodec: Can't find codec 1. CodecId = 27, codecName = mpeg4, Encoder = 1"),
                            Ffmpeg(Severity::Critical,
                                   "CVideoEncoder::OpenEncoder: find encoder failed! CodecId = 27, CodecName = mpeg4"),
                            Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Open encoder error 27")));
}

TEST_F(VideoEncoderArguments, ANullNameIsAnEmptyOne) {
    EncoderUnderTest encoder(AV_CODEC_ID_H264, nullptr);
    EXPECT_EQ(encoder.Create(), 0);
    EXPECT_THAT(m_Log.Take(), testing::Contains(Ffmpeg(Severity::Critical,
                                                       "CVideoEncoder::OpenEncoder: find encoder failed! CodecId = 27, "
                                                       "CodecName = ")));
}

TEST_F(VideoEncoderArguments, ALongNameIsCutAt128Bytes) {
    const std::string name(200, 'n');
    EncoderUnderTest encoder(AV_CODEC_ID_H264, name.c_str());
    EXPECT_EQ(encoder.Create(), 0);
    EXPECT_THAT(m_Log.Take(), testing::Contains(CreateLine(name.substr(0, 128), "176", "144")));
}

TEST_F(VideoEncoderArguments, AColorSpaceThatTheCodecCannotTakeShowsAtTheOpen) {
    CVideoEncoder encoder(AV_CODEC_ID_MPEG4, "mpeg4", CSP_BGRA, AV_PIX_FMT_BGRA);
    EXPECT_EQ(encoder.CreateEncoder(CSP_BGRA, 176, 144, 25, 800000, 0, 1, 50), 0);
    EXPECT_THAT(m_Log.Take(),
                testing::Contains(Ffmpeg(Severity::Critical, "CVideoEncoder::OpenEncoder: avcodec open error = -22")));
}

TEST_F(VideoEncoderArguments, KeyIntervalsAreLimitedAsUnsignedNumbers) {
    for (const auto& [given, used] : {std::pair{-1, 300},
                                      {0, 0},
                                      {1, 1},
                                      {299, 299},
                                      {300, 300},
                                      {301, 300},
                                      {2147483647, 300},
                                      {-2147483647 - 1, 300}}) {
        ASSERT_EQ(m_Encoder.CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 0, 1, given), 1);
        EXPECT_EQ(m_Encoder.m_pCodecContext->gop_size, used);
        EXPECT_EQ(m_Encoder.m_nMaxKeyInterval, given);
        EXPECT_THAT(m_Log.Take(),
                    testing::Contains(Ffmpeg(Severity::Info, "max key interval " + std::to_string(used))));
        m_Encoder.DestroyEncoder();
    }
}

TEST_F(VideoEncoderArguments, StatisticsOutliveTheCodec) {
    ASSERT_EQ(m_Encoder.Create(), 1);
    TestPicture picture(176, 144);
    PaintScene(picture, 0);
    std::vector<unsigned char> out(static_cast<std::size_t>(m_Encoder.GetMaxOutFrameLength(176, 144)));
    int keyFrame = 1;
    ASSERT_GT(m_Encoder.Encode(&picture, out.data(), static_cast<unsigned int>(out.size()), &keyFrame), 0);
    m_Encoder.DestroyEncoder();
    EXPECT_EQ(m_Encoder.m_Stat.m_nCount, 1);
    ASSERT_EQ(m_Encoder.Create(), 1);
    EXPECT_EQ(m_Encoder.m_Stat.m_nCount, 1);
}

struct SizeCase {
    int id;
    unsigned int width, height;
    int created;
};

void PrintTo(const SizeCase& size, std::ostream* out) {
    *out << VideoCodecLogName[size.id] << " " << size.width << "x" << size.height;
}

class VideoEncoderSizes : public testing::TestWithParam<SizeCase> {};

INSTANTIATE_TEST_SUITE_P(
    All, VideoEncoderSizes,
    testing::Values(SizeCase{VIDEO_CODEC_H263, 128, 96, 1}, SizeCase{VIDEO_CODEC_H263, 176, 144, 1},
                    SizeCase{VIDEO_CODEC_H263, 352, 288, 1}, SizeCase{VIDEO_CODEC_H263, 704, 576, 1},
                    SizeCase{VIDEO_CODEC_H263, 1408, 1152, 1}, SizeCase{VIDEO_CODEC_H263, 640, 360, 0},
                    SizeCase{VIDEO_CODEC_H263, 176, 145, 0}, SizeCase{VIDEO_CODEC_H264, 1920, 1080, 1},
                    SizeCase{VIDEO_CODEC_H264, 4096, 2304, 1},
                    SizeCase{VIDEO_CODEC_H264, 4096, 4096, IsH264ByX264() ? 1 : 0},
                    SizeCase{VIDEO_CODEC_H264, 16, 16, 1}, SizeCase{VIDEO_CODEC_MPEG4, 8192, 8192, 0},
                    SizeCase{VIDEO_CODEC_MPEG4, 2, 2, 1}, SizeCase{VIDEO_CODEC_FLV, 1920, 1080, 1},
                    SizeCase{VIDEO_CODEC_MJPEG, 1, 1, 1}, SizeCase{VIDEO_CODEC_MPEG4, 4294967295U, 16, 0}),
    [](const auto& test) {
        return std::string(VideoCodecLogName[test.param.id]) + std::to_string(test.param.width) + "x" +
               std::to_string(test.param.height);
    });

TEST_P(VideoEncoderSizes, AreTheCodecsOwn) {
    av_log_set_level(AV_LOG_QUIET);
    const LogCapture log;
    EncoderUnderTest encoder(GetParam().id);
    EXPECT_EQ(encoder.Create(GetParam().width, GetParam().height), GetParam().created);
    EXPECT_EQ(encoder.IsCreated(), static_cast<unsigned int>(GetParam().created));
}

}  // namespace
