#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "common/codecs_at_hand.h"
#include "common/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using uvqlog::Severity;

namespace {

/// An id whose encoder name is missing, whatever the table says.
std::optional<int> g_NamelessId;

struct Disposal {
    void operator()(CVideoEncoderBase* encoder) const {
        encoder->DestroyEncoder();
        encoder->Delete();
    }
};
using Encoder = std::unique_ptr<CVideoEncoderBase, Disposal>;

LoggedLine LoadLine() {
    return Codrelay(Severity::Trace, "Load H264  encoder");
}

LoggedLine CantFind(const std::string& word) {
    return Codrelay(Severity::Critical, "Codrelay_VideoEncoder: Can't find video encoder " + word);
}

LoggedLine CantFindId(int id) {
    return Ffmpeg(Severity::Error, "NewFFmpegVideoEncoder: can't find CodecId " + std::to_string(id));
}

class VideoEncoderFactories : public testing::Test {
protected:
    void SetUp() override { SetFfmpegLogLevel("quiet"); }
    ~VideoEncoderFactories() override { g_NamelessId.reset(); }

    /// The codec behind an object, as it tells it when it is created.
    std::string CodecOf(CVideoEncoderBase& encoder) {
        m_Log.Take();
        encoder.CreateEncoder(encoder.GetSupportedColorSpaces(), 176, 144, 25, 800000, 0, 1, 50);
        return m_Log.Take().front().text;
    }

    LogCapture m_Log;
};

TEST_F(VideoEncoderFactories, BuildAnEncoderForEachIdThatHasOne) {
    for (const auto& [id, name] : {std::pair{VIDEO_CODEC_XVIDE, "mpeg4"},
                                   {VIDEO_CODEC_FLV, "flv"},
                                   {VIDEO_CODEC_MPEG4, "mpeg4"},
                                   {VIDEO_CODEC_H263, "h263"},
                                   {VIDEO_CODEC_JPEG, "mjpeg"},
                                   {VIDEO_CODEC_MJPEG, "mjpeg"}}) {
        const Encoder encoder(Codrelay_VideoEncoder(id, "hardware"));
        ASSERT_NE(encoder, nullptr);
        EXPECT_THAT(m_Log.Take(), IsEmpty());
        EXPECT_EQ(encoder->GetSupportedColorSpaces(), CSP_YUV420P);
        EXPECT_EQ(encoder->IsCreated(), 0U);
        EXPECT_EQ(CodecOf(*encoder),
                  std::string("CVideoEncoder::CreateEncoder: ") + name + " width = 176 height = 144");
        EXPECT_EQ(encoder->IsCreated(), 1U);
    }
}

TEST_F(VideoEncoderFactories, BuildH264WithALineOnTheWay) {
    for (const bool byName : {false, true}) {
        const Encoder encoder(byName ? Codrelay_VideoEncoder_H264(-5, "any") : Codrelay_VideoEncoder(8, "any"));
        ASSERT_NE(encoder, nullptr);
        EXPECT_THAT(m_Log.Take(), ElementsAre(LoadLine()));
        EXPECT_THAT(CodecOf(*encoder), StartsWith(std::string("CVideoEncoder::CreateEncoder: ") +
                                                  (IsH264ByX264() ? "libx264 " : "libopenh264 ")));
    }
}

TEST_F(VideoEncoderFactories, RefuseIdsBelowAndAboveTheRange) {
    for (const auto& [id, word] : {std::pair{-1, "none"},
                                   {1, "xvidf"},
                                   {2, "thr"},
                                   {10, "unknown"},
                                   {77, "unknown"},
                                   {-2, "unknown"},
                                   {32000, "raw"},
                                   {2147483647, "unknown"},
                                   {-2147483647 - 1, "unknown"}}) {
        EXPECT_EQ(Codrelay_VideoEncoder(id, ""), nullptr);
        EXPECT_THAT(m_Log.Take(), ElementsAre(CantFindId(id), CantFind(word)));
    }
}

TEST_F(VideoEncoderFactories, RefuseH265ForWantOfAName) {
    EXPECT_EQ(Codrelay_VideoEncoder(9, ""), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Error, "GetFFmpegVideoEncoderName 9 failed!"),
                                          Ffmpeg(Severity::Error, "NewFFmpegVideoEncoder: can't find name CodecId 9"),
                                          CantFind("h265")));
}

TEST_F(VideoEncoderFactories, TryH264TwiceBeforeTheyGiveUp) {
    g_NamelessId = VIDEO_CODEC_H264;
    const LoggedLine noName = Ffmpeg(Severity::Error, "NewFFmpegVideoEncoder: can't find name CodecId 8");
    EXPECT_EQ(Codrelay_VideoEncoder(8, ""), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(LoadLine(), noName, Codrelay(Severity::Critical, "Can't load encoder H264!"),
                                          noName, CantFind("h264")));
}

TEST_F(VideoEncoderFactories, TellTheIdAfterTheSubstitution) {
    g_NamelessId = VIDEO_CODEC_MPEG4;
    EXPECT_EQ(Codrelay_VideoEncoder(VIDEO_CODEC_XVIDE, ""), nullptr);
    EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Error, "NewFFmpegVideoEncoder: can't find name CodecId 4"),
                                          CantFind("mpeg4")));
}

TEST_F(VideoEncoderFactories, OfTheFfmpegLayerDoNotSubstitute) {
    for (const int id : {-1, 0, 1, 2, 10, 32000}) {
        EXPECT_EQ(NewFFmpegVideoEncoder(id, CSP_YUV420P, ""), nullptr);
        EXPECT_THAT(m_Log.Take(), ElementsAre(CantFindId(id)));
    }
}

TEST_F(VideoEncoderFactories, OfTheFfmpegLayerTakeAnyColorSpace) {
    for (const unsigned int colorSpace : {CSP_BGRA, CSP_NV12, 0U, 3U}) {
        const Encoder encoder(NewFFmpegVideoEncoder(VIDEO_CODEC_MPEG4, colorSpace, ""));
        ASSERT_NE(encoder, nullptr);
        EXPECT_THAT(m_Log.Take(), IsEmpty());
        EXPECT_EQ(encoder->GetSupportedColorSpaces(), colorSpace);
    }
}

TEST_F(VideoEncoderFactories, OfTheFfmpegLayerTellOfAColorSpaceThatNoCodecTakesAndBuildAllTheSame) {
    for (const unsigned int colorSpace : {CSP_YUV420P_ALT, CSP_YUYV422}) {
        const Encoder encoder(NewFFmpegVideoEncoder(VIDEO_CODEC_H264, colorSpace, ""));
        ASSERT_NE(encoder, nullptr);
        EXPECT_THAT(m_Log.Take(), ElementsAre(Ffmpeg(Severity::Error, "GetFFmpegPixelFormat " +
                                                                          std::to_string(colorSpace) + " failed!")));
    }
}

TEST_F(VideoEncoderFactories, HaveNoHardwareEncoder) {
    EXPECT_EQ(HwAccelVideoEncoder_H264("any"), nullptr);
    EXPECT_THAT(m_Log.Take(), IsEmpty());
}

}  // namespace

// The names that are wrapped at link time.
const char* RealName(int id) __asm__("__real__Z25GetFFmpegVideoEncoderNamei");
const char* WrappedName(int id) __asm__("__wrap__Z25GetFFmpegVideoEncoderNamei");

const char* WrappedName(int id) {
    return id == g_NamelessId ? nullptr : RealName(id);
}
