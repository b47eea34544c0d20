#include "codrelay/library.h"

#include <gmock/gmock.h>

#include <map>

#include "codrelay/ffmpeg_layer.h"
#include "common/log_capture.h"
#include "support/ffmpeg.h"

using testing::IsEmpty;
using testing::IsSubsetOf;
using testing::IsSupersetOf;
using uvqlog::Severity;

namespace {

// Puts FFmpeg's threshold back at the end of a test.
class FfmpegLogLevel : public testing::Test {
protected:
    ~FfmpegLogLevel() override { av_log_set_level(m_nBefore); }

private:
    int m_nBefore = av_log_get_level();
};

bool HasEncoder(const char* name) {
    return avcodec_find_encoder_by_name(name) != nullptr;
}

}  // namespace

TEST(Library, CreateAnswersOneWhateverTheCallback) {
    LogCapture log(Severity::Info);
    CodrelayCallback callback;
    EXPECT_EQ(Codrelay_Create(nullptr), 1);
    EXPECT_EQ(Codrelay_Create(&callback), 1);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(Library, CreateBeginsTheListing) {
    LogCapture log;
    Codrelay_Create(nullptr);
    const auto lines = log.Take();
    ASSERT_GT(lines.size(), 8U);
    EXPECT_EQ(lines[0], Ffmpeg(Severity::Trace, "CVideoEncoder: Register codec lib!"));
    EXPECT_EQ(lines[1], Ffmpeg(Severity::Trace, "EnumSupportedCodecs: -----------VIDEO ENCODERS--------------"));
}

TEST(Library, DestroyDoesNothing) {
    LogCapture log;
    const int level = av_log_get_level();
    Codrelay_Destroy();
    EXPECT_EQ(av_log_get_level(), level);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_FALSE(Codrelay_GetSupportedVideoEncoders().empty());
}

TEST(Library, SupportedVideoEncoders) {
    LogCapture log;
    const auto ids = Codrelay_GetSupportedVideoEncoders();
    EXPECT_EQ(ids, GetFFmpegSupportedVideoEncoders());
    EXPECT_THAT(ids, IsSubsetOf({3, 4, 5, 7, 8, 9}));
    EXPECT_THAT(ids, IsSupersetOf({3, 4, 5, 7})) << "FFmpeg brings these itself";
    EXPECT_EQ(ids.count(8) == 1, avcodec_find_encoder(AV_CODEC_ID_H264) != nullptr);
    EXPECT_EQ(ids.count(9) == 1, avcodec_find_encoder(AV_CODEC_ID_HEVC) != nullptr);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(Library, SupportedAudioEncoders) {
    const auto ids = Codrelay_GetSupportedAudioEncoders();
    EXPECT_EQ(ids, GetFFmpegSupportedAudioEncoders());
    EXPECT_THAT(ids, IsSubsetOf({0, 1, 3, 4, 5, 6, 7, 8, 100, 101, 102, 103, 104, 501}));
    EXPECT_THAT(ids, IsSupersetOf({3, 5, 6, 7, 8, 100, 101, 102, 103, 104, 501})) << "FFmpeg brings these itself";
    EXPECT_EQ(ids.count(0) == 1, HasEncoder("libopencore_amrnb"));
    EXPECT_EQ(ids.count(1) == 1, avcodec_find_encoder(AV_CODEC_ID_AMR_WB) != nullptr);
    EXPECT_EQ(ids.count(4) == 1, HasEncoder("libmp3lame"));
}

TEST(Library, HardwareAccelerationIsNeverThere) {
    EXPECT_THAT(Codrelay_GetSupportedVideoHwAccel(), IsEmpty());
}

TEST_F(FfmpegLogLevel, EachWordSetsItsLevel) {
    const std::map<std::string, int> levels = {{"trace", 56}, {"debug", 48},   {"verbose", 40},
                                               {"info", 32},  {"warning", 24}, {"error", 16},
                                               {"fatal", 8},  {"panic", 0},    {"quiet", -8}};
    for (const auto& [word, level] : levels) {
        Codrelay_SetFfmpegLogLevel(word);
        EXPECT_EQ(av_log_get_level(), level) << word;
        av_log_set_level(1);
        SetFfmpegLogLevel(word);
        EXPECT_EQ(av_log_get_level(), level) << word;
    }
}

TEST_F(FfmpegLogLevel, OtherWordsChangeNothing) {
    LogCapture log;
    av_log_set_level(17);
    for (const char* word : {"", "Debug", "DEBUG", "debug ", " debug", "debu", "warn", "16", "none"}) {
        Codrelay_SetFfmpegLogLevel(word);
        EXPECT_EQ(av_log_get_level(), 17) << word;
    }
    Codrelay_SetFfmpegLogLevel(std::string("debug\0", 6));
    EXPECT_EQ(av_log_get_level(), 17);
    EXPECT_THAT(log.Take(), IsEmpty());
}
