#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "codrelay/codrelay.h"
#include "common/log_capture.h"

namespace {

using testing::ElementsAre;
using uvqlog::Severity;

MUXER_PARAM H264AndMp3() {
    return {VIDEO_CODEC_H264, AUDIO_CODEC_MP3, 320, 240, 44100, 2, 128000, 1};
}

TEST(MuxerFactories, SayThatThereAreNoParametersAtDifferentSeverities) {
    LogCapture log;
    EXPECT_EQ(Codrelay_MuxerMem(MUXER_FORMAT_FLV, nullptr), nullptr);
    EXPECT_EQ(Codrelay_MuxerFile(MUXER_FORMAT_FLV, nullptr, "x"), nullptr);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Error, "Create Muxer 1 failed! Wrong param!"),
                            Ffmpeg(Severity::Info, "NewFFmpegMuxerFile: Create Muxer 1 failed! Wrong param!")));
}

TEST(MuxerFactories, RefuseAnUnknownFormat) {
    MUXER_PARAM param = H264AndMp3();
    LogCapture log;
    EXPECT_EQ(Codrelay_MuxerMem(8, &param), nullptr);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, "NewFFmpegMuxerMem: Loading muxer... 8"),
                                        Ffmpeg(Severity::Error, "GetMuxerFormatName 8 failed!"),
                                        Ffmpeg(Severity::Warning, "CMuxerMem::Create: wrong param!"),
                                        Ffmpeg(Severity::Critical, "Create Muxer 8 failed!")));
    EXPECT_EQ(Codrelay_MuxerFile(0, &param, "x"), nullptr);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, "NewFFmpegMuxerFile: Loading muxer... 0"),
                                        Ffmpeg(Severity::Error, "GetMuxerFormatName 0 failed!"),
                                        Ffmpeg(Severity::Warning, "CMuxerFile::Create: wrong param!"),
                                        Ffmpeg(Severity::Critical, "NewFFmpegMuxerFile: Create 0 failed!")));
}

TEST(MuxerFactories, LeaveTheCallersRecordAsItWas) {
    MUXER_PARAM param = H264AndMp3();
    const MUXER_PARAM before = param;
    Codrelay_SetFfmpegLogLevel("quiet");
    CMuxerMemBase* muxer = Codrelay_MuxerMem(MUXER_FORMAT_FLV, &param);
    ASSERT_NE(muxer, nullptr);
    muxer->Delete();
    EXPECT_EQ(std::memcmp(&before, &param, sizeof(param)), 0);
}

// A muxer that has both streams says so of the sound alone; one without sound takes no block of it.
TEST(MuxerFactories, TakeAnAudioIdWithoutACodecAsNoSound) {
    Codrelay_SetFfmpegLogLevel("quiet");
    for (const int id : {2, AUDIO_CODEC_OPUS, -1}) {
        MUXER_PARAM param = H264AndMp3();
        param.audioCodec = id;
        LogCapture log;
        CMuxerMemBase* muxer = Codrelay_MuxerMem(MUXER_FORMAT_FLV, &param);
        ASSERT_NE(muxer, nullptr);
        EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Trace, "NewFFmpegMuxerMem: Loading muxer... 1"),
                                            Ffmpeg(Severity::Trace, "CMuxerMem::Create: format FLV format"),
                                            Ffmpeg(Severity::Trace, "CMuxerMem::Create: success!")));
        muxer->Delete();
    }
}

TEST(MuxerFactories, TakeAVideoIdWithoutACodecAsNoPicture) {
    Codrelay_SetFfmpegLogLevel("quiet");
    for (const int id : {VIDEO_CODEC_THR, 10, VIDEO_CODEC_NONE}) {
        MUXER_PARAM param = H264AndMp3();
        param.videoCodec = id;
        LogCapture log;
        CMuxerFileBase* muxer = Codrelay_MuxerFile(MUXER_FORMAT_AVI, &param, "x");
        ASSERT_NE(muxer, nullptr);
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Trace, "NewFFmpegMuxerFile: Loading muxer... 6"),
                                Ffmpeg(Severity::Trace, "CMuxerFile::Create: format AVI (Audio Video Interleaved)"),
                                Ffmpeg(Severity::Trace, "CMuxerFile::Create: add audio stream!"),
                                Ffmpeg(Severity::Trace, "CMuxerFile::Create: success!")));
        muxer->Delete();
    }
}

TEST(MuxerFactories, TakeEveryVideoIdFromFlvToH265) {
    Codrelay_SetFfmpegLogLevel("quiet");
    for (int id = VIDEO_CODEC_FLV; id <= VIDEO_CODEC_H265; ++id) {
        MUXER_PARAM param = H264AndMp3();
        param.videoCodec = id;
        LogCapture log;
        CMuxerFileBase* muxer = Codrelay_MuxerFile(MUXER_FORMAT_AVI, &param, "x");
        ASSERT_NE(muxer, nullptr);
        EXPECT_THAT(log.Take(), testing::Contains(Ffmpeg(Severity::Trace, "CMuxerFile::Create: add video stream!")));
        muxer->Delete();
    }
}

}  // namespace
