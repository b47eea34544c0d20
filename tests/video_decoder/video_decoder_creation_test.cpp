#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include "front/registry/ffmpeg_registry.h"
#include "video_decoder/opening_script.h"
#include "video_decoder/video_decoder_lifecycle_fixture.h"

using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using uvqlog::Severity;

extern "C" AVCodecContext* __real_avcodec_alloc_context3(const AVCodec* codec);

namespace {

TEST_F(VideoDecoderLifecycle, TellsItsColorSpace) {
    EXPECT_EQ(m_Decoder->GetSupportedColorSpaces(), CSP_YUV420P);
    EXPECT_EQ(m_Decoder->GetOutputColorSpace(), CSP_YUV420P);
    CVideoDecoder other(AV_CODEC_ID_H264, "h264", 12345, AV_PIX_FMT_NONE);
    EXPECT_EQ(other.GetSupportedColorSpaces(), 12345U);
    EXPECT_EQ(other.GetOutputColorSpace(), 12345U);
}

TEST_F(VideoDecoderLifecycle, CreatesAndDecodes) {
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kMjpegLine));
    EXPECT_EQ(DecodeOne(), 0);
    EXPECT_EQ(m_Frame->m_nWidth, 320U);
    EXPECT_EQ(m_Frame->m_nHeight, 240U);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

TEST_F(VideoDecoderLifecycle, FillsTheContextAndNothingElse) {
    OpeningScript script;
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(script.asked.codec_id, AV_CODEC_ID_MJPEG);
    EXPECT_EQ(script.asked.codec_type, AVMEDIA_TYPE_VIDEO);
    EXPECT_EQ(script.asked.pix_fmt, AV_PIX_FMT_YUVJ420P);
    EXPECT_EQ(script.asked.opaque, m_Decoder.operator->());
    EXPECT_EQ(script.asked.width, 320);
    EXPECT_EQ(script.asked.height, 240);
    EXPECT_FALSE(script.optionsGiven);

    AVCodecContext* untouched = __real_avcodec_alloc_context3(avcodec_find_decoder_by_name("mjpeg"));
    EXPECT_EQ(script.asked.thread_count, untouched->thread_count);
    EXPECT_EQ(script.asked.flags, untouched->flags);
    EXPECT_EQ(script.asked.flags2, untouched->flags2);
    EXPECT_EQ(script.asked.extradata, nullptr);
    avcodec_free_context(&untouched);
}

TEST_F(VideoDecoderLifecycle, WritesItsFirstLineBeforeItWaitsForTheLock) {
    std::promise<void> written;
    uvqlog::SetSink([&written](const uvqlog::LogEvent&) { written.set_value(); });
    GetMainFfmpegCodecLib()->Lock();
    std::thread creator([this] { EXPECT_EQ(m_Decoder.Create(320, 240), 1); });
    written.get_future().wait();  // for ever, if the lock came first
    GetMainFfmpegCodecLib()->Unlock();
    creator.join();
    uvqlog::SetSink(nullptr);
}

TEST_F(VideoDecoderLifecycle, LooksAtNothingBeforeItHasTheLock) {
    std::vector<std::string> withoutLock;
    std::vector<std::string> withLock;
    uvqlog::SetSink([&](const uvqlog::LogEvent& event) {
        (LibraryLockIsHeldElsewhere() ? withLock : withoutLock).emplace_back(event.text);
    });
    TestDecoder unknown({AV_CODEC_ID_H264, "h265000"});
    EXPECT_EQ(unknown.Create(320, 240), 0);
    EXPECT_EQ(m_Decoder->CreateDecoder(CSP_RGB24, 320, 240, nullptr), 0);
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(m_Decoder.Create(320, 240), 0);
    uvqlog::SetSink(nullptr);
    EXPECT_THAT(withoutLock, Each(EndsWith(" height = 240")));
    EXPECT_THAT(withLock, ElementsAre("FindCodec: Can't find codec 0. CodecId = 27, codecName = h265000, Encoder = 0",
                                      "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = 27, CodecName = "
                                      "h265000",
                                      "CVideoDecoder::CreateDecoder: unexpected colorspace: 16 vs. supported 2",
                                      "CVideoDecoder::CreateDecoder: Already created!"));
}

TEST_F(VideoDecoderLifecycle, SecondCreateIsRefusedAndTheDecoderGoesOn) {
    ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    m_Log.Take();
    OpeningScript script;
    EXPECT_EQ(m_Decoder->CreateDecoder(CSP_RGB24, 640, 480, nullptr), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mjpeg width = 640 height = 480"), CreateLine("Already created!")));
    EXPECT_THAT(script.calls, IsEmpty());
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, RefusesAnotherColorSpace) {
    for (const unsigned int colorSpace : {0U, CSP_YUV420P_ALT, CSP_RGB24, CSP_YUV420P | CSP_RGB24}) {
        EXPECT_EQ(m_Decoder->CreateDecoder(colorSpace, 320, 240, nullptr), 0);
        EXPECT_THAT(
            m_Log.Take(),
            ElementsAre(kMjpegLine, Ffmpeg(Severity::Critical, "CVideoDecoder::CreateDecoder: unexpected colorspace: " +
                                                                   std::to_string(colorSpace) + " vs. supported 2")));
    }
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
}

TEST_F(VideoDecoderLifecycle, SaysWhatItDidNotFind) {
    TestDecoder decoder({AV_CODEC_ID_H264, "h265000"});
    EXPECT_EQ(decoder.Create(320, 240), 0);
    EXPECT_THAT(
        m_Log.Take(),
        ElementsAre(
            CreateLine("h265000 width = 320 height = 240"),
            Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 27, codecName = h265000, Encoder = 0"),
            Ffmpeg(Severity::Critical,
                   "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = 27, CodecName = h265000")));
    Frame frame;
    EXPECT_EQ(decoder.Decode(m_Units[0], frame), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
}

TEST_F(VideoDecoderLifecycle, CodecOfAnotherIdIsNotFoundEither) {
    TestDecoder decoder({AV_CODEC_ID_H264, "hevc"});
    EXPECT_EQ(decoder.Create(320, 240), 0);
    EXPECT_EQ(m_Log.Take().back(),
              Ffmpeg(Severity::Critical,
                     "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = 27, CodecName = hevc"));
}

TEST_F(VideoDecoderLifecycle, NullNameIsAnEmptyOne) {
    TestDecoder decoder({AV_CODEC_ID_H264, nullptr});
    EXPECT_EQ(decoder.Create(1, 2), 0);
    EXPECT_THAT(
        m_Log.Take(),
        ElementsAre(CreateLine(" width = 1 height = 2"),
                    Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 27, codecName = , Encoder = 0"),
                    Ffmpeg(Severity::Critical,
                           "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = 27, CodecName = ")));
}

TEST_F(VideoDecoderLifecycle, NameOf128BytesHasNoTerminatorAndALongerOneIsCut) {
    for (const std::size_t length : {127U, 128U, 129U, 1000U}) {
        const std::string name(length, 'n');
        const std::string kept(std::min<std::size_t>(length, 128), 'n');
        TestDecoder decoder({AV_CODEC_ID_H264, name.c_str()}, {0x6f6f6f6f, AV_PIX_FMT_YUV420P});
        EXPECT_EQ(decoder.Create(1, 2), 0);
        EXPECT_THAT(m_Log.Take(),
                    ElementsAre(CreateLine(kept + " width = 1 height = 2"),
                                Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 27, codecName = " +
                                                            kept + ", Encoder = 0"),
                                Ffmpeg(Severity::Critical,
                                       "CVideoDecoder::CreateDecoder: find decoder failed! CodecId "
                                       "= 27, CodecName = " +
                                           kept)));
    }
}

TEST_F(VideoDecoderLifecycle, SurvivesAContextThatIsNotAllocated) {
    {
        OpeningScript script;
        script.noContext = true;
        EXPECT_EQ(m_Decoder.Create(320, 240), 0);
        EXPECT_THAT(script.calls, testing::Not(testing::Contains("close")));
    }
    EXPECT_THAT(m_Log.Take(), ElementsAre(kMjpegLine, Ffmpeg(Severity::Critical,
                                                             "CVideoDecoder::CreateDecoder: alloc context error!")));
    EXPECT_EQ(DecodeOne(), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, SurvivesAContextThatDoesNotOpen) {
    {
        OpeningScript script;
        script.openResult = -1234;
        EXPECT_EQ(m_Decoder.Create(320, 240), 0);
        EXPECT_THAT(script.calls, testing::Not(testing::Contains("close")));
    }
    EXPECT_THAT(
        m_Log.Take(),
        ElementsAre(kMjpegLine, Ffmpeg(Severity::Critical, "CVideoDecoder::OpenEncoder: avcodec open error = -1234")));
    EXPECT_EQ(DecodeOne(), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, SurvivesAFrameThatIsNotAllocated) {
    {
        OpeningScript script;
        script.noFrame = true;
        EXPECT_EQ(m_Decoder.Create(320, 240), 0);
        EXPECT_THAT(script.calls, testing::Contains("close"));
    }
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(kMjpegLine, Ffmpeg(Severity::Critical, "CVideoEncoder::CreateDecoder:Frame alloc error!")));
    EXPECT_EQ(DecodeOne(), 2);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kCreateFirst));
    EXPECT_EQ(m_Decoder.Create(320, 240), 1);
    EXPECT_EQ(DecodeOne(), 0);
}

TEST_F(VideoDecoderLifecycle, FfmpegRefusesPicturesThatAreTooLarge) {
    const std::string critical = "CVideoDecoder::OpenEncoder: avcodec open error = -22";
    EXPECT_EQ(m_Decoder.Create(16256, 16256), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mjpeg width = 16256 height = 16256"), Ffmpeg(Severity::Critical, critical)));
    EXPECT_EQ(m_Decoder.Create(4294967295U, 1), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre(CreateLine("mjpeg width = 4294967295 height = 1"), Ffmpeg(Severity::Critical, critical)));
    EXPECT_EQ(m_Decoder.Create(16255, 16256), 1);
}

TEST_F(VideoDecoderLifecycle, SizeZeroOpensAndHasNoFrames) {
    const std::pair<unsigned int, unsigned int> sizes[] = {{640, 0}, {0, 480}, {0, 0}};
    for (const auto& [width, height] : sizes) {
        EXPECT_EQ(m_Decoder.Create(width, height), 1);
        m_Log.Take();
        OpeningScript script;
        EXPECT_EQ(DecodeOne(), 4);
        EXPECT_THAT(m_Log.Take(), ElementsAre(kOutOfFrames));
        EXPECT_THAT(script.calls, IsEmpty());
        m_Decoder->DestroyDecoder();
    }
}

TEST_F(VideoDecoderLifecycle, Nv12OpensAndHasNoFrames) {
    TestDecoder decoder(kH264, {CSP_NV12, AV_PIX_FMT_NV12});
    ASSERT_EQ(decoder.Create(320, 240), 1);
    m_Log.Take();
    Frame frame;
    EXPECT_EQ(decoder.Decode(m_Units[0], frame), 4);
    EXPECT_THAT(m_Log.Take(), ElementsAre(kOutOfFrames));
}

TEST_F(VideoDecoderLifecycle, FlvSaysThatItDecodesIntoAnotherFormat) {
    const auto notice = [](const std::string& wanted) {
        return Ffmpeg(
            Severity::Error,
            "CVideoDecoder::CreateDecoder: decoder out pixFormat = yuv420p not equal m_nFfmpegPixFmt = " + wanted);
    };
    const LoggedLine flvLine = CreateLine("flv width = 320 height = 240");
    TestDecoder rgb(kFlv1, kRgb24);
    EXPECT_EQ(rgb.Create(320, 240), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(flvLine, notice("rgb24")));
    TestDecoder any(kFlv1, kAnyFormat);
    EXPECT_EQ(any.Create(320, 240), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(flvLine, notice("none")));
    TestDecoder yuv(kFlv1, kYuv420);
    EXPECT_EQ(yuv.Create(320, 240), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre(flvLine));
}

TEST_F(VideoDecoderLifecycle, OtherCodecsKeepTheFormatThatWasPreset) {
    for (const DecoderCodec codec : {kH264, kH265, kMpeg4, kMjpeg, kH263}) {
        for (const DecoderFormat format : {kAnyFormat, kYuv420, kRgb24, kBgra}) {
            TestDecoder decoder(codec, format);
            EXPECT_EQ(decoder.Create(320, 240), 1);
            EXPECT_THAT(m_Log.Take(), ElementsAre(CreateLine(std::string(codec.name) + " width = 320 height = 240")));
        }
    }
}

}  // namespace
