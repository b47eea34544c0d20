#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>

#include "audio/aac_config.h"
#include "audio/audio_decoder_fixture.h"
#include "audio/g726_config.h"
#include "audio/scripted_failures.h"
#include "codrelay/audio_format.h"
#include "codrelay/media_ids.h"
#include "common/codecs_at_hand.h"
#include "common/ffmpeg_generation.h"
#include "common/log_capture.h"
#include "front/registry/ffmpeg_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

// What the decoder handed to FFmpeg at its last open.
struct OpenedContext {
    int sampleRate;
    int channels;
    uint64_t layout;
    int64_t bitRate;
    int bitsPerCodedSample;
    AVSampleFormat sampleFormat;
    int extradataSize;
    Bytes extradata;
};

OpenedContext g_Opened;

}  // namespace

extern "C" {

AVPacket* __real_av_packet_alloc();
AVPacket* __wrap_av_packet_alloc() {
    return Failing::Is("av_packet_alloc") ? nullptr : __real_av_packet_alloc();
}

AVCodecContext* __real_avcodec_alloc_context3(const AVCodec* codec);
AVCodecContext* __wrap_avcodec_alloc_context3(const AVCodec* codec) {
    return Failing::Is("avcodec_alloc_context3") ? nullptr : __real_avcodec_alloc_context3(codec);
}

void* __real_av_malloc(std::size_t size);
void* __wrap_av_malloc(std::size_t size) {
    return Failing::Is("av_malloc") ? nullptr : __real_av_malloc(size);
}

int __real_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options);
int __wrap_avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
    g_Opened = {context->sample_rate,           ChannelsOf(context), LayoutOf(*context, 0),   context->bit_rate,
                context->bits_per_coded_sample, context->sample_fmt, context->extradata_size, {}};
    if (context->extradata != nullptr) {
        g_Opened.extradata.assign(context->extradata, context->extradata + 5);
    }
    return __real_avcodec_open2(context, codec, options);
}

AVSampleFormat __real_av_get_packed_sample_fmt(AVSampleFormat format);
AVSampleFormat __wrap_av_get_packed_sample_fmt(AVSampleFormat format) {
    return Failing::Is("av_get_packed_sample_fmt") ? AV_SAMPLE_FMT_S64 : __real_av_get_packed_sample_fmt(format);
}

SwrContext* __real_swr_alloc_set_opts(SwrContext* context, int64_t outLayout, AVSampleFormat outFormat, int outRate,
                                      int64_t inLayout, AVSampleFormat inFormat, int inRate, int offset, void* log);
SwrContext* __wrap_swr_alloc_set_opts(SwrContext* context, int64_t outLayout, AVSampleFormat outFormat, int outRate,
                                      int64_t inLayout, AVSampleFormat inFormat, int inRate, int offset, void* log) {
    return Failing::Is("swr_alloc_set_opts") ? nullptr
                                             : __real_swr_alloc_set_opts(context, outLayout, outFormat, outRate,
                                                                         inLayout, inFormat, inRate, offset, log);
}

}  // extern "C"

namespace {

LoggedLine Created(const char* name, int sampleRate, int channels, int flag) {
    return Ffmpeg(Severity::Info, "CAudioDecoder::CreateDecoder: codecName = " + std::string(name) + ", sampleRate = " +
                                      std::to_string(sampleRate) + ", channels = " + std::to_string(channels) +
                                      ", sampleFmt = " + std::to_string(flag));
}

LoggedLine Destroyed() {
    return Ffmpeg(Severity::Trace, "CAudioDecoder::Destroy()");
}

TEST_F(AudioDecoderTest, ReportsTheOutputBufferToProvide) {
    EXPECT_EQ(Make(AUDIO_CODEC_MP3, "mp3").GetMinOutBufLen(), 384000);
}

TEST_F(AudioDecoderTest, IsDisposedOfByDelete) {
    auto* decoder = new CAudioDecoder(AUDIO_CODEC_MP3, "mp3");
    decoder->Delete();  // the leak check of a sanitized run counts
}

TEST_F(AudioDecoderTest, LogsWhatItOpened) {
    LogCapture log;
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    EXPECT_TRUE(Create(decoder, 2, 44100));
    EXPECT_EQ(sampleFormat, AUDIO_SAMPLE_S16);
    EXPECT_THAT(log.Take(), ElementsAre(Created("pcm_s16le", 44100, 2, AUDIO_SAMPLE_S16)));
    decoder.DestroyDecoder();
    EXPECT_THAT(log.Take(), ElementsAre(Destroyed()));
}

TEST_F(AudioDecoderTest, HandsItsSettingsToFfmpeg) {
    EXPECT_TRUE(Create(Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le"), 2, 44100));
    EXPECT_EQ(g_Opened.sampleRate, 44100);
    EXPECT_EQ(g_Opened.channels, 2);
    EXPECT_EQ(g_Opened.layout, AV_CH_LAYOUT_STEREO);
    EXPECT_TRUE(Create(Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le"), 6, 8000));
    EXPECT_EQ(g_Opened.channels, 6);
    EXPECT_EQ(g_Opened.layout, AV_CH_LAYOUT_5POINT1_BACK);
}

TEST_F(AudioDecoderTest, RefusesIdsThatItDoesNotKnow) {
    for (const int id : {2, 9, 20, 99, 105, 500, 502, -1}) {
        LogCapture log;
        EXPECT_FALSE(Create(Make(id, "mp3"), 1, 8000)) << id;
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Critical,
                                       "CAudioDecoder::CreateDecoder: can't find CodecId " + std::to_string(id))));
    }
    EXPECT_EQ(sampleFormat, -7);
}

TEST_F(AudioDecoderTest, RefusesASecondCreationAndStaysUsable) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    sampleFormat = -7;
    LogCapture log;
    EXPECT_FALSE(Create(decoder, 2, 48000));
    EXPECT_EQ(sampleFormat, -7);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Warning, "CAudioDecoder::CreateDecoder: Already created!")));
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0);
    EXPECT_EQ(written, 8u);
}

TEST_F(AudioDecoderTest, CanBeCreatedAgainAfterDestroy) {
    auto& decoder = Make(AUDIO_CODEC_AAC, "aac");
    for (const int rate : {44100, 8000}) {
        ASSERT_TRUE(Create(decoder, 2, rate));
        decoder.DestroyDecoder();
        decoder.DestroyDecoder();
    }
}

TEST_F(AudioDecoderTest, CreatesUnderTheLibraryLockAndReleasesIt) {
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    EXPECT_TRUE(Create(decoder, 1, 8000));
    GetMainFfmpegCodecLib()->Lock();
    decoder.Destroy(0);
    GetMainFfmpegCodecLib()->Unlock();
    EXPECT_FALSE(Create(Make(AUDIO_CODEC_MP3, "no such"), 1, 8000));
    std::thread other([] {
        EXPECT_TRUE(GetMainFfmpegCodecLib()->TryLock());
        GetMainFfmpegCodecLib()->Unlock();
    });
    other.join();
}

TEST_F(AudioDecoderTest, TellsOfADecoderThatFfmpegLacks) {
    LogCapture log;
    EXPECT_FALSE(Create(Make(AUDIO_CODEC_AAC, "nonesuch"), 1, 8000));
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Error,
                           "FindCodec: Can't find codec 0. CodecId = 86018, codecName = nonesuch, Encoder = 0"),
                    Ffmpeg(Severity::Critical, "CAudioDecoder::CreateDecoder: codec not found: nonesuch (id: 86018)"),
                    Destroyed()));
}

TEST_F(AudioDecoderTest, TakesNoNameForAnEmptyOne) {
    LogCapture log;
    EXPECT_FALSE(Create(Make(AUDIO_CODEC_AAC, nullptr), 1, 8000));
    EXPECT_EQ(log.Take().at(1).text, "CAudioDecoder::CreateDecoder: codec not found:  (id: 86018)");
}

TEST_F(AudioDecoderTest, KeepsTheFirst128BytesOfAName) {
    LogCapture log;
    EXPECT_FALSE(Create(Make(AUDIO_CODEC_AAC, std::string(200, 'x').c_str()), 1, 8000));
    EXPECT_EQ(log.Take().at(1).text,
              "CAudioDecoder::CreateDecoder: codec not found: " + std::string(128, 'x') + " (id: 86018)");
}

TEST_F(AudioDecoderTest, FailsWithoutAPacketAndDestroysNothing) {
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    LogCapture log;
    {
        const Failing failing("av_packet_alloc");
        EXPECT_FALSE(Create(decoder, 1, 8000));
    }
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CAudioDecoder::CreateDecoder: could not allocate audio packet")));
    EXPECT_TRUE(Create(decoder, 1, 8000));
}

struct CreationFailure {
    const char* function;
    const char* line;
};

class CreationFailures : public AudioDecoderTest, public testing::WithParamInterface<CreationFailure> {};

// Each leaves the decoder so that it can be created.
TEST_P(CreationFailures, LogOneLineAndDestroy) {
    auto& decoder = Make(AUDIO_CODEC_AAC, "aac");
    LogCapture log;
    {
        const Failing failing(GetParam().function);
        EXPECT_FALSE(Create(decoder, 2, 44100));
    }
    auto lines = log.Take();
    if (!lines.empty() && lines.front().severity == Severity::Info) {
        lines.erase(lines.begin());  // of the configuration, where the failure lies behind it
    }
    EXPECT_THAT(lines, ElementsAre(Ffmpeg(Severity::Critical, GetParam().line), Destroyed()));
    EXPECT_TRUE(Create(decoder, 2, 44100));
}

INSTANTIATE_TEST_SUITE_P(
    AudioDecoder, CreationFailures,
    testing::Values(CreationFailure{"avcodec_alloc_context3",
                                    "CAudioDecoder::CreateDecoder: could not allocate audio codec context"},
                    CreationFailure{"av_malloc", "CAudioDecoder::CreateDecoder: alloc extra data error!"},
                    CreationFailure{"swr_alloc_set_opts", "CAudioResampler::Create: resampler alloc error!"}),
    [](const auto& row) { return std::string("Of_") + row.param.function; });

TEST_F(AudioDecoderTest, SetsTheFormatToZeroWhereItHasNoFlag) {
    LogCapture log;
    const Failing failing("av_get_packed_sample_fmt");
    EXPECT_FALSE(Create(Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le"), 2, 44100));
    EXPECT_EQ(sampleFormat, 0);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Critical, "CAudioDecoder::CreateDecoder: get audio format error!"), Destroyed()));
}

struct Refusal {
    int id;
    const char* name;
    int channels;
    int sampleRate;
    const char* line;
};

class Refusals : public AudioDecoderTest, public testing::WithParamInterface<Refusal> {};

TEST_P(Refusals, AreFfmpegs) {
    SKIP_WITHOUT_DECODER(GetParam().name);
    LogCapture log;
    EXPECT_FALSE(Create(Make(GetParam().id, GetParam().name), GetParam().channels, GetParam().sampleRate));
    EXPECT_EQ(sampleFormat, -7);
    auto lines = log.Take();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.back(), Destroyed());
    EXPECT_EQ(lines[lines.size() - 2], Ffmpeg(Severity::Critical, GetParam().line));
}

constexpr const char* kNotImplemented =
    "CAudioDecoder::CreateDecoder: could not open codec: Not yet implemented in FFmpeg, patches welcome";
constexpr const char* kNotPermitted = "CAudioDecoder::CreateDecoder: could not open codec: Operation not permitted";
constexpr const char* kInvalidData =
    "CAudioDecoder::CreateDecoder: could not open codec: Invalid data found when processing input";

INSTANTIATE_TEST_SUITE_P(
    AudioDecoder, Refusals,
    testing::Values(Refusal{AUDIO_CODEC_AMRNB, "libopencore_amrnb", 2, 8000, kNotImplemented},
                    Refusal{AUDIO_CODEC_AMRWB, "libopencore_amrwb", 2, 16000, kNotImplemented},
                    Refusal{AUDIO_CODEC_G726_32, "g726", 2, 8000, kNotImplemented},
                    Refusal{AUDIO_CODEC_AAC, "aac", 0, 44100, kNotPermitted},
                    Refusal{AUDIO_CODEC_ADPCM_IMA_WAV, "adpcm_ima_wav", 1, 44100, kInvalidData},
                    // Layout 0 on both sides of the resampler, and rate 0.
                    Refusal{AUDIO_CODEC_AAC, "aac", 3, 44100, "CAudioResampler::Create: resampler init error: -22"},
                    Refusal{AUDIO_CODEC_MP3, "mp3", 3, 44100, "CAudioResampler::Create: resampler init error: -22"},
                    Refusal{AUDIO_CODEC_MP3, "mp3", 2, 0, "CAudioResampler::Create: resampler init error: -22"}),
    [](const auto& row) {
        return std::string(row.param.name) + "_" + std::to_string(row.param.channels) + "_channels_at_" +
               std::to_string(row.param.sampleRate);
    });

struct Opening {
    int id;
    const char* name;
    int channels;
    int flag;
};

class Openings : public AudioDecoderTest, public testing::WithParamInterface<Opening> {};

TEST_P(Openings, ReportThePackedFormat) {
    SKIP_WITHOUT_DECODER(GetParam().name);
    auto& decoder = Make(GetParam().id, GetParam().name);
    EXPECT_TRUE(Create(decoder, GetParam().channels, 16000));
    EXPECT_EQ(sampleFormat, GetParam().flag);
}

INSTANTIATE_TEST_SUITE_P(AudioDecoder, Openings,
                         testing::Values(Opening{AUDIO_CODEC_AMRNB, "libopencore_amrnb", 1, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_AMRNB, "libopencore_amrnb", 0, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_AMRWB, "libopencore_amrwb", 1, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_AAC, "aac", 1, AUDIO_SAMPLE_FLT},
                                         Opening{AUDIO_CODEC_AAC, "aac", 2, AUDIO_SAMPLE_FLT},
                                         Opening{AUDIO_CODEC_MP3, "mp3", 1, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_MP3, "mp3", 2, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_G726_16, "g726", 1, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_MULAW, "pcm_mulaw", 2, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_ALAW, "pcm_alaw", 1, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_PCM_U16LE, "pcm_u16le", 2, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_PCM_S16LE, "pcm_s16le", 6, AUDIO_SAMPLE_S16},
                                         Opening{AUDIO_CODEC_PCM_S16BE, "pcm_s16be", 1, AUDIO_SAMPLE_S16}),
                         [](const auto& row) {
                             return std::string(row.param.name) + "_" + std::to_string(row.param.channels);
                         });

TEST_F(AudioDecoderTest, OpensG726At8000WhateverIsAskedFor) {
    const std::map<int, std::pair<int, int>> bits = {{AUDIO_CODEC_G726_16, {16000, 2}},
                                                     {AUDIO_CODEC_G726_24, {24000, 3}},
                                                     {AUDIO_CODEC_G726_32, {32000, 4}},
                                                     {AUDIO_CODEC_G726_40, {40000, 5}}};
    for (const auto& [id, expected] : bits) {
        LogCapture log;
        EXPECT_TRUE(Create(Make(id, "g726"), 1, 44100));
        EXPECT_EQ(g_Opened.sampleRate, 8000);
        EXPECT_EQ(g_Opened.sampleFormat, AV_SAMPLE_FMT_S16);
        EXPECT_EQ(g_Opened.bitRate, expected.first);
        EXPECT_EQ(g_Opened.bitsPerCodedSample, expected.second);
        EXPECT_THAT(log.Take(), ElementsAre(Created("g726", 8000, 1, AUDIO_SAMPLE_S16)));
    }
}

TEST_F(AudioDecoderTest, RefusesOtherIdsOnTheRoadOfG726) {
    AVCodecContext context{};
    for (const int id : {4, 9}) {
        LogCapture log;
        EXPECT_FALSE(ConfigureG726(id, &context));
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Error, "CAudioDecoder::OpenDecoder: unexpected G726 decoder!")));
    }
}

TEST_F(AudioDecoderTest, BuildsTheConfigurationOfAac) {
    LogCapture log;
    EXPECT_TRUE(Create(Make(AUDIO_CODEC_AAC, "aac"), 2, 44100));
    EXPECT_EQ(g_Opened.extradataSize, 2);
    EXPECT_EQ(g_Opened.extradata, (Bytes{0x12, 0x10, 0x56, 0xE5, 0x00}));
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Info, "CAudioDecoder: AAC extradata 12 10"),
                                        Created("aac", 44100, 2, AUDIO_SAMPLE_FLT)));
}

TEST_F(AudioDecoderTest, WritesTheConfigurationInTwoDigitsEach) {
    LogCapture log;
    EXPECT_TRUE(Create(Make(AUDIO_CODEC_AAC, "aac"), 1, 88200));
    EXPECT_EQ(log.Take().at(0), Ffmpeg(Severity::Info, "CAudioDecoder: AAC extradata 10 88"));
    EXPECT_TRUE(Create(Make(AUDIO_CODEC_AAC, "aac"), 1, 44100));
    EXPECT_EQ(log.Take().at(0), Ffmpeg(Severity::Info, "CAudioDecoder: AAC extradata 12 08"));
    unsigned char config[5];
    WriteAacConfig(config, 11, 300);  // channels in the low eight bits
    EXPECT_EQ(Bytes(config, config + 5), (Bytes{0x15, 0xE0, 0x56, 0xE5, 0x00}));
}

TEST_F(AudioDecoderTest, OpensAacAtAnUnlistedRateAsIfAt96000) {
    LogCapture log;
    EXPECT_TRUE(Create(Make(AUDIO_CODEC_AAC, "aac"), 2, 50000));
    EXPECT_EQ(g_Opened.extradata, (Bytes{0x10, 0x10, 0x56, 0xE5, 0x00}));
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CAudioDecoder::Decode: wrong mpeg sample rate"),
                                        Ffmpeg(Severity::Info, "CAudioDecoder: AAC extradata 10 10"),
                                        Created("aac", 50000, 2, AUDIO_SAMPLE_FLT)));
}

TEST_F(AudioDecoderTest, KnowsTheMpegRates) {
    const int rates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000};
    LogCapture log;
    for (int index = 0; index < 12; ++index) {
        EXPECT_EQ(CAudioDecoder::GetMpegIndexFromSampleRate(rates[index]), index);
    }
    EXPECT_THAT(log.Take(), IsEmpty());
    for (const int rate : {0, -1, 7350, 50000, 192000}) {
        EXPECT_EQ(CAudioDecoder::GetMpegIndexFromSampleRate(rate), 0);
        EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CAudioDecoder::Decode: wrong mpeg sample rate")));
    }
}

}  // namespace
