#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>

#include "audio/audio_encoder_fixture.h"
#include "audio/scripted_failures.h"
#include "codrelay/audio_format.h"
#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "front/registry/ffmpeg_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

// What the encoder handed to FFmpeg at its last open.
struct OpenedContext {
    AVCodecID codecId;
    AVMediaType type;
    int64_t bitRate;
    int sampleRate;
    int channels;
    AVSampleFormat sampleFormat;
    uint64_t layout;
    int compliance;
    bool knewItsCodec;
};

OpenedContext g_Opened;

}  // namespace

extern "C" {

AVFrame* __real_av_frame_alloc();
AVFrame* __wrap_av_frame_alloc() {
    return Failing::Is("av_frame_alloc") ? nullptr : __real_av_frame_alloc();
}

AVCodecContext* __real_avcodec_alloc_context3(const AVCodec* codec);
AVCodecContext* __wrap_avcodec_alloc_context3(const AVCodec* codec) {
    g_Opened.knewItsCodec = codec != nullptr;
    return Failing::Is("avcodec_alloc_context3") ? nullptr : __real_avcodec_alloc_context3(codec);
}

int __real_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options);
int __wrap_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
    g_Opened = {context->codec_id,    context->codec_type, context->bit_rate,     context->sample_rate,
                ChannelsOf(context),  context->sample_fmt, LayoutOf(*context, 0), context->strict_std_compliance,
                g_Opened.knewItsCodec};
    return __real_avcodec_open2(context, codec, options);
}

}  // extern "C"

namespace {

LoggedLine OpenError(int sampleRate, int channels, int flag) {
    return Ffmpeg(Severity::Critical,
                  "CAudioEncoder::OpenEncoder: avcodec open error. sampleRate = " + std::to_string(sampleRate) +
                      ", channels = " + std::to_string(channels) + ", sampleFormat = " + std::to_string(flag));
}

LoggedLine CreateError() {
    return Ffmpeg(Severity::Critical, "CAudioEncoder::CreateEncoder: Open encoder error!");
}

TEST_F(AudioEncoderTest, TellsItsFormats) {
    struct {
        AVCodecID id;
        int supported;
        int preferred;
    } const rows[] = {{AV_CODEC_ID_PCM_S16LE, 2, 2}, {AV_CODEC_ID_MP3, 6, 2},        {AV_CODEC_ID_AAC, 8, 8},
                      {AV_CODEC_ID_AMR_NB, 0, 0},    {AV_CODEC_ID_ADPCM_G726, 0, 0}, {AV_CODEC_ID_PCM_S16BE, 0, 0}};
    for (const auto& row : rows) {
        auto& encoder = Make(row.id, "x");
        EXPECT_EQ(encoder.GetSupportedFormats(), row.supported) << row.id;
        EXPECT_EQ(encoder.GetDefaultFormat(), row.preferred) << row.id;
        EXPECT_EQ(encoder.GetMinOutBufLen(), 16384);
        EXPECT_EQ(encoder.GetAuxValue(), 0);
        EXPECT_EQ(encoder.IsCreated(), 0);
    }
}

TEST_F(AudioEncoderTest, IsDisposedOfByDelete) {
    auto* encoder = new CAudioEncoder(AV_CODEC_ID_AAC, "aac");
    encoder->Delete();  // the leak check of a sanitized run counts
}

TEST_F(AudioEncoderTest, HandsItsSettingsToFfmpeg) {
    EXPECT_TRUE(Create(Aac(), 48000, 1, AUDIO_SAMPLE_FLT, 64000));
    EXPECT_EQ(g_Opened.codecId, AV_CODEC_ID_AAC);
    EXPECT_EQ(g_Opened.type, AVMEDIA_TYPE_AUDIO);
    EXPECT_EQ(g_Opened.bitRate, 64000);
    EXPECT_EQ(g_Opened.sampleRate, 48000);
    EXPECT_EQ(g_Opened.channels, 1);
    EXPECT_EQ(g_Opened.layout, AV_CH_LAYOUT_MONO);
    EXPECT_EQ(g_Opened.compliance, -2);
    EXPECT_FALSE(g_Opened.knewItsCodec);
}

TEST_F(AudioEncoderTest, TakesNoBitRateFor196608) {
    EXPECT_TRUE(Create(Aac(), 48000, 2, AUDIO_SAMPLE_FLT, 0));
    EXPECT_EQ(g_Opened.bitRate, 196608);
}

TEST_F(AudioEncoderTest, OpensWithThePlanarTwinWhereTheCodecListsNoPackedFormat) {
    EXPECT_TRUE(Create(Aac(), 48000, 2, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(g_Opened.sampleFormat, AV_SAMPLE_FMT_FLTP);
    EXPECT_TRUE(Create(Mp3(), 48000, 2, AUDIO_SAMPLE_S16));
    EXPECT_EQ(g_Opened.sampleFormat, AV_SAMPLE_FMT_S16P);
    EXPECT_TRUE(Create(Mp3(), 48000, 1, AUDIO_SAMPLE_S32));
    EXPECT_EQ(g_Opened.sampleFormat, AV_SAMPLE_FMT_S32P);
    EXPECT_TRUE(Create(Pcm(), 48000, 2, AUDIO_SAMPLE_S16));
    EXPECT_EQ(g_Opened.sampleFormat, AV_SAMPLE_FMT_S16);
}

TEST_F(AudioEncoderTest, LeavesThePackedFormatToACodecThatListsNone) {
    AVCodec codec{};
    EXPECT_EQ(FormatForEncoder(&codec, AV_SAMPLE_FMT_S16), AV_SAMPLE_FMT_S16);
    const AVSampleFormat others[] = {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_NONE};
    codec.sample_fmts = others;
    EXPECT_EQ(FormatForEncoder(&codec, AV_SAMPLE_FMT_S16), AV_SAMPLE_FMT_S16);
    EXPECT_EQ(FormatForEncoder(&codec, AV_SAMPLE_FMT_NONE), AV_SAMPLE_FMT_NONE);
    EXPECT_EQ(FormatForEncoder(&codec, AV_SAMPLE_FMT_FLT), AV_SAMPLE_FMT_FLTP);
    const AVSampleFormat both[] = {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_NONE};
    codec.sample_fmts = both;
    EXPECT_EQ(FormatForEncoder(&codec, AV_SAMPLE_FMT_FLT), AV_SAMPLE_FMT_FLT);
}

TEST_F(AudioEncoderTest, RefusesASecondCreation) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    EXPECT_EQ(encoder.IsCreated(), 1);
    LogCapture log;
    EXPECT_FALSE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    EXPECT_FALSE(Create(encoder, 8000, 1, AUDIO_SAMPLE_FLT)) << "a format that is not even looked at";
    const auto line = Ffmpeg(Severity::Warning, "CAudioEncoder::CreateEncoder: Already created!");
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
    EXPECT_EQ(encoder.IsCreated(), 1);
}

TEST_F(AudioEncoderTest, RefusesFormatsThatTheCodecDoesNotTake) {
    const auto line = Ffmpeg(Severity::Error, "CAudioEncoder::CreateEncoder: Unsupported input format!");
    LogCapture log;
    EXPECT_FALSE(Create(Mp3(), 44100, 2, AUDIO_SAMPLE_FLT));
    EXPECT_FALSE(Create(Aac(), 44100, 2, AUDIO_SAMPLE_S16));
    EXPECT_FALSE(Create(Aac(), 44100, 2, AUDIO_SAMPLE_FLTP));
    EXPECT_FALSE(Create(Pcm(), 44100, 2, 0));
    EXPECT_FALSE(Create(Make(AV_CODEC_ID_PCM_MULAW, "pcm_mulaw"), 8000, 1, AUDIO_SAMPLE_S16));
    EXPECT_THAT(log.Take(), ElementsAre(line, line, line, line, line));
}

TEST_F(AudioEncoderTest, LeavesTheRestToFfmpeg) {
    LogCapture log;
    struct {
        CAudioEncoder& encoder;
        int rate, channels, flag;
    } const rows[] = {{Aac(), 44100, 3, 8}, {Mp3(), 44100, 3, 2}, {Pcm(), 44100, 3, 2},
                      {Aac(), 50000, 2, 8}, {Pcm(), 44100, 2, 3}, {Mp3(), 0, 2, 2}};
    for (const auto& row : rows) {
        EXPECT_FALSE(Create(row.encoder, row.rate, row.channels, row.flag));
        EXPECT_THAT(log.Take(), ElementsAre(OpenError(row.rate, row.channels, row.flag), CreateError()));
        EXPECT_EQ(row.encoder.IsCreated(), 0);
    }
}

TEST_F(AudioEncoderTest, RefusesRatesThatLeaveAacNoBandwidth) {
    LogCapture log;
    struct {
        int channels;
        unsigned int bitRate;
    } const rows[] = {{1, 1}, {1, 4}, {2, 9}, {0, 9}, {1, 0x80000000U}, {2, UINT_MAX}};
    for (const auto& row : rows) {
        EXPECT_FALSE(Create(Aac(), 44100, row.channels, AUDIO_SAMPLE_FLT, row.bitRate)) << row.bitRate;
        EXPECT_THAT(log.Take(), ElementsAre(OpenError(44100, row.channels, AUDIO_SAMPLE_FLT), CreateError()));
    }
    EXPECT_TRUE(Create(Aac(), 44100, 1, AUDIO_SAMPLE_FLT, 5));
    EXPECT_TRUE(Create(Aac(), 44100, 2, AUDIO_SAMPLE_FLT, 10));
    EXPECT_TRUE(Create(Mp3(), 44100, 1, AUDIO_SAMPLE_S16, 4));
}

// Later generations know the layout alone and would open it, so there FFmpeg is not asked.
TEST_F(AudioEncoderTest, RefusesThreeChannelsWithTheLayoutOfStereo) {
    g_Opened = {};
    LogCapture log(Severity::Error);
    EXPECT_FALSE(Create(Aac(), 44100, 3, AUDIO_SAMPLE_FLT));
    EXPECT_THAT(log.Take(), ElementsAre(OpenError(44100, 3, AUDIO_SAMPLE_FLT), CreateError()));
    EXPECT_EQ(g_Opened.channels, IsReferenceFfmpeg() ? 3 : 0);
    EXPECT_EQ(g_Opened.layout, IsReferenceFfmpeg() ? AV_CH_LAYOUT_STEREO : 0);
}

TEST_F(AudioEncoderTest, OpensNoChannelsAsStereo) {
    auto& encoder = Aac();
    EXPECT_TRUE(Create(encoder, 44100, 0, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(Encode(encoder, 10000), 1);
    EXPECT_EQ(consumed, 8192u);
}

TEST_F(AudioEncoderTest, TellsOfAnEncoderThatFfmpegLacks) {
    LogCapture log;
    EXPECT_FALSE(Create(Make(AV_CODEC_ID_AAC, "nonesuch"), 44100, 2, AUDIO_SAMPLE_FLT));
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Error,
                                   "FindCodec: Can't find codec 0. CodecId = 86018, codecName = nonesuch, Encoder = 1"),
                            Ffmpeg(Severity::Critical, "CAudioEncoder::OpenEncoder: find codec 86018, nonesucherror!"),
                            CreateError()));
    EXPECT_FALSE(Create(Make(AV_CODEC_ID_AAC, nullptr), 44100, 2, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(log.Take().at(1).text, "CAudioEncoder::OpenEncoder: find codec 86018, error!");
    EXPECT_FALSE(Create(Make(AV_CODEC_ID_AAC, std::string(300, 'y').c_str()), 44100, 2, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(log.Take().at(1).text,
              "CAudioEncoder::OpenEncoder: find codec 86018, " + std::string(128, 'y') + "error!");
}

TEST_F(AudioEncoderTest, FailsWithoutMemoryAndCanBeTriedAgain) {
    auto& encoder = Aac();
    LogCapture log;
    {
        const Failing failing("avcodec_alloc_context3");
        EXPECT_FALSE(Create(encoder, 44100, 2, AUDIO_SAMPLE_FLT));
        EXPECT_THAT(
            log.Take(),
            ElementsAre(Ffmpeg(Severity::Critical, "CAudioEncoder::OpenEncoder: alloc context error!"), CreateError()));
    }
    {
        const Failing failing("av_frame_alloc");
        EXPECT_FALSE(Create(encoder, 44100, 2, AUDIO_SAMPLE_FLT));
        EXPECT_THAT(
            log.Take(),
            ElementsAre(Ffmpeg(Severity::Critical, "CAudioEncoder::OpenEncoder: alloc frame error!"), CreateError()));
    }
    EXPECT_TRUE(Create(encoder, 44100, 2, AUDIO_SAMPLE_FLT));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(AudioEncoderTest, LocksWhereItOpensAndCloses) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    GetMainFfmpegCodecLib()->Lock();
    std::thread other([&] { EXPECT_EQ(Encode(encoder, 20), 1); });
    other.join();
    encoder.Destroy(0);
    GetMainFfmpegCodecLib()->Unlock();
    std::thread free([] {
        EXPECT_TRUE(GetMainFfmpegCodecLib()->TryLock());
        GetMainFfmpegCodecLib()->Unlock();
    });
    free.join();
}

TEST_F(AudioEncoderTest, MayBeDestroyedAtAnyTime) {
    auto& encoder = Mp3();
    encoder.DestroyEncoder();
    ASSERT_TRUE(Create(encoder, 44100, 2, AUDIO_SAMPLE_S16));
    encoder.DestroyEncoder();
    encoder.DestroyEncoder();
    EXPECT_EQ(encoder.IsCreated(), 0);
}

}  // namespace
