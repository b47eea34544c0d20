#include <gtest/gtest.h>

#include "audio/audio_decoder.h"
#include "audio/audio_encoder.h"
#include "audio/audio_resampler.h"
#include "audio/opus_decoder.h"
#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "common/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

constexpr int kFfmpegIds[] = {0, 1, 3, 4, 5, 6, 7, 8, 100, 101, 102, 103, 104, 501};

TEST(AudioFactories, BuildADecoderForEveryIdOfFfmpegs) {
    LogCapture log;
    for (const int id : kFfmpegIds) {
        for (CAudioDecoderBase* decoder : {Codrelay_AudioDecoder(id), NewFFmpegAudioDecoder(id)}) {
            ASSERT_NE(dynamic_cast<CAudioDecoder*>(decoder), nullptr) << id;
            decoder->Delete();
        }
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(AudioFactories, BuildAnEncoderForEveryIdOfFfmpegs) {
    LogCapture log;
    for (const int id : kFfmpegIds) {
        for (CAudioEncoderBase* encoder : {Codrelay_AudioEncoder(id), NewFFmpegAudioEncoder(id)}) {
            ASSERT_NE(dynamic_cast<CAudioEncoder*>(encoder), nullptr) << id;
            encoder->Delete();
        }
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(AudioFactories, BindEachIdToItsEncoder) {
    const std::pair<int, int> supported[] = {{AUDIO_CODEC_PCM_S16LE, 2},
                                             {AUDIO_CODEC_MP3, 6},
                                             {AUDIO_CODEC_AAC, 8},
                                             {AUDIO_CODEC_AMRNB, 0},
                                             {AUDIO_CODEC_MULAW, 0}};
    for (const auto& [id, formats] : supported) {
        CAudioEncoderBase* encoder = Codrelay_AudioEncoder(id);
        EXPECT_EQ(encoder->GetSupportedFormats(), formats) << id;
        encoder->Delete();
    }
}

TEST(AudioFactories, ReachOpusByTheUpperLayerAlone) {
    LogCapture log;
    CAudioDecoderBase* decoder = Codrelay_AudioDecoder(AUDIO_CODEC_OPUS);
    EXPECT_NE(dynamic_cast<COpusDecoder*>(decoder), nullptr);
    decoder->Delete();
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(NewFFmpegAudioDecoder(AUDIO_CODEC_OPUS), nullptr);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "GetFFmpegAudioDecoderName 20 failed!"),
                                        Ffmpeg(Severity::Error, "NewFFmpegAudioDecoder: can't find name CodecId 20")));
}

TEST(AudioFactories, RefuseOtherIds) {
    for (const int id : {-1, 2, 9, 19, 21, 99, 105, 500, 502}) {
        LogCapture log;
        const std::string number = std::to_string(id);
        EXPECT_EQ(Codrelay_AudioDecoder(id), nullptr);
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Error, "GetFFmpegAudioDecoderName " + number + " failed!"),
                                Ffmpeg(Severity::Error, "NewFFmpegAudioDecoder: can't find name CodecId " + number)));
        EXPECT_EQ(Codrelay_AudioEncoder(id), nullptr);
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Error, "NewFFmpegAudioEncoder: can't find CodecId " + number)));
    }
}

TEST(AudioFactories, HaveNoOpusEncoder) {
    LogCapture log;
    EXPECT_EQ(Codrelay_AudioEncoder(AUDIO_CODEC_OPUS), nullptr);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "NewFFmpegAudioEncoder: can't find CodecId 20")));
}

TEST(AudioFactories, BuildResamplers) {
    for (CAudioResamplerBase* resampler : {Codrelay_AudioResampler(), NewFFmpegAudioResampler()}) {
        ASSERT_NE(dynamic_cast<CAudioResampler*>(resampler), nullptr);
        EXPECT_EQ(resampler->GetInFormat()->sampleRate, 0);
        resampler->Delete();
    }
}

}  // namespace
