#include "front/registry/media_vocabulary.h"

#include <gmock/gmock.h>

#include <climits>
#include <map>
#include <string>

#include "common/codecs_at_hand.h"
#include "common/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

using Names = std::map<int, const char*>;

// Asks for all ids round the table, and for the extremes: what is not in `expected` fails and says so.
void CheckNames(const char* (*lookUp)(int), const std::string& function, const Names& expected) {
    LogCapture log;
    const auto check = [&](int id) {
        const char* name = lookUp(id);
        const auto known = expected.find(id);
        if (known != expected.end()) {
            EXPECT_STREQ(name, known->second) << function << " " << id;
            EXPECT_THAT(log.Take(), IsEmpty());
        } else {
            EXPECT_EQ(name, nullptr) << function << " " << id;
            EXPECT_THAT(log.Take(),
                        ElementsAre(Ffmpeg(Severity::Error, function + " " + std::to_string(id) + " failed!")));
        }
    };
    for (int id = -3; id <= 600; ++id) {
        check(id);
    }
    // The low bytes of some are those of a known id.
    for (const int id : {INT_MIN, INT_MIN + 1, -65535, 32000, 65537, 16777217, INT_MAX}) {
        check(id);
    }
}

}  // namespace

TEST(MediaVocabulary, MuxerFormatsHaveLongNames) {
    CheckNames(GetMuxerFormatName, "GetMuxerFormatName",
               {{1, "FLV format"},
                {2, "MP4 (MPEG-4 Part 14)"},
                {3, "WebM file format"},
                {4, "3GP format"},
                {5, "3GP2 format"},
                {6, "AVI (Audio Video Interleaved)"},
                {7, "MPEG-2 transport stream format"}});
}

TEST(MediaVocabulary, VideoEncoders) {
    // x264 stands in where FFmpeg has no OpenH264.
    const char* h264 = IsH264ByX264() ? "libx264" : "libopenh264";
    CheckNames(GetFFmpegVideoEncoderName, "GetFFmpegVideoEncoderName",
               {{1, "libxvid"}, {3, "flv"}, {4, "mpeg4"}, {5, "h263"}, {6, "mjpeg"}, {7, "mjpeg"}, {8, h264}});
}

TEST(MediaVocabulary, VideoDecoders) {
    CheckNames(
        GetFFmpegVideoDecoderName, "GetFFmpegVideoDecoderName",
        {{1, "mpeg4"}, {3, "flv"}, {4, "mpeg4"}, {5, "h263"}, {6, "mjpeg"}, {7, "mjpeg"}, {8, "h264"}, {9, "hevc"}});
}

TEST(MediaVocabulary, AudioEncoders) {
    CheckNames(GetFFmpegAudioEncoderName, "GetFFmpegAudioEncoderName",
               {{0, "libopencore_amrnb"},
                {1, "libopencore_amrwb"},
                {3, "aac"},
                {4, "libmp3lame"},
                {5, "g726"},
                {6, "g726"},
                {7, "g726"},
                {8, "g726"},
                {100, "pcm_mulaw"},
                {101, "pcm_alaw"},
                {102, "pcm_u16le"},
                {103, "pcm_s16le"},
                {104, "adpcm_ima_wav"},
                {501, "pcm_s16be"}});
}

TEST(MediaVocabulary, AudioDecoders) {
    CheckNames(GetFFmpegAudioDecoderName, "GetFFmpegAudioDecoderName",
               {{0, "libopencore_amrnb"},
                {1, "libopencore_amrwb"},
                {3, "aac"},
                {4, "mp3"},
                {5, "g726"},
                {6, "g726"},
                {7, "g726"},
                {8, "g726"},
                {100, "pcm_mulaw"},
                {101, "pcm_alaw"},
                {102, "pcm_u16le"},
                {103, "pcm_s16le"},
                {104, "adpcm_ima_wav"},
                {501, "pcm_s16be"}});
}

TEST(MediaVocabulary, LogWords) {
    EXPECT_THAT(VideoCodecLogName, ElementsAre(testing::StrEq("xvide"), testing::StrEq("xvidf"), testing::StrEq("thr"),
                                               testing::StrEq("flv"), testing::StrEq("mpeg4"), testing::StrEq("h263"),
                                               testing::StrEq("jpeg"), testing::StrEq("mjpeg"), testing::StrEq("h264"),
                                               testing::StrEq("h265")));
}

TEST(MediaVocabulary, VideoIdsAndFfmpegs) {
    EXPECT_THAT(VideoCodecToAvCodecId, ElementsAre(21, 12, 4, 7, 7, 27, 173));
    const std::map<int, int> expected = {{21, 3}, {12, 4}, {4, 5}, {7, 7}, {27, 8}, {173, 9}};
    for (int id = 0; id <= 300; ++id) {
        const auto known = expected.find(id);
        EXPECT_EQ(VideoCodecFromAvCodecId(static_cast<AVCodecID>(id)), known != expected.end() ? known->second : -1)
            << id;
    }
}

TEST(MediaVocabulary, AudioIdsAndFfmpegs) {
    const std::map<int, int> expected = {{0, 0x12000},   {1, 0x12001},   {3, 0x15002},   {4, 0x15001},   {5, 0x1100b},
                                         {6, 0x1100b},   {7, 0x1100b},   {8, 0x1100b},   {100, 0x10006}, {101, 0x10007},
                                         {102, 0x10002}, {103, 0x10000}, {104, 0x11001}, {501, 0x10001}};
    LogCapture log;
    for (int id = -1; id <= 600; ++id) {
        const auto known = expected.find(id);
        EXPECT_EQ(AudioCodecToAvCodecId(id), known != expected.end() ? known->second : AV_CODEC_ID_NONE) << id;
    }
    for (const auto& [id, avId] : expected) {
        if (avId != AV_CODEC_ID_ADPCM_G726) {
            EXPECT_THAT(AudioCodecsFromAvCodecId(static_cast<AVCodecID>(avId)), ElementsAre(id));
        }
    }
    EXPECT_THAT(AudioCodecsFromAvCodecId(AV_CODEC_ID_ADPCM_G726), ElementsAre(5, 6, 7, 8));
    EXPECT_THAT(AudioCodecsFromAvCodecId(AV_CODEC_ID_OPUS), IsEmpty());
    EXPECT_THAT(AudioCodecsFromAvCodecId(AV_CODEC_ID_NONE), IsEmpty());
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(MediaVocabulary, PixelFormatsOfColourSpaces) {
    const std::map<int, int> expected = {{1, 0}, {2, 0}, {4, 1}, {8, 3}, {16, 2}, {32, 28}, {64, 23}};
    LogCapture log;
    for (int id = -1; id <= 256; ++id) {
        const auto known = expected.find(id);
        EXPECT_EQ(GetFFmpegPixelFormat(id), known != expected.end() ? known->second : -1) << id;
    }
    EXPECT_EQ(GetFFmpegPixelFormat(INT_MIN), AV_PIX_FMT_NONE);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(MediaVocabulary, PixelFormatsForCodecs) {
    LogCapture log;
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_MJPEG, 2), AV_PIX_FMT_YUVJ420P);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_H264, 2), AV_PIX_FMT_YUV420P);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_MJPEG, 16), AV_PIX_FMT_RGB24);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_H264, 8), AV_PIX_FMT_BGR24);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_H264, 32), AV_PIX_FMT_BGRA);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_H264, 64), AV_PIX_FMT_NV12);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_H264, 3), AV_PIX_FMT_NONE);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_H264, 0), AV_PIX_FMT_NONE);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_MJPEG, -1), AV_PIX_FMT_NONE);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(MediaVocabulary, CodecsRefuseTwoColourSpacesAloud) {
    LogCapture log;
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_H264, 1), AV_PIX_FMT_NONE);
    EXPECT_EQ(GetFFmpegPixelFormat(AV_CODEC_ID_MJPEG, 4), AV_PIX_FMT_NONE);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "GetFFmpegPixelFormat 1 failed!"),
                                        Ffmpeg(Severity::Error, "GetFFmpegPixelFormat 4 failed!")));
}

TEST(MediaVocabulary, ColourSpacesOfPixelFormats) {
    const std::map<int, unsigned int> expected = {{0, 2}, {1, 4}, {2, 16}, {3, 8}, {23, 64}, {28, 32}};
    LogCapture log;
    for (int format = AV_PIX_FMT_NONE; format < AV_PIX_FMT_NB; ++format) {
        const auto known = expected.find(format);
        EXPECT_EQ(GetInternalPixelFormat(static_cast<AVPixelFormat>(format)),
                  known != expected.end() ? known->second : 0U)
            << format;
        EXPECT_EQ(GetCspForHwFFmpegPixelFormat(static_cast<AVPixelFormat>(format)), 0);
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}
