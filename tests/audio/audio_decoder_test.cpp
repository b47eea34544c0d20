#include "audio/audio_decoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <thread>

#include "audio/aac_config.h"
#include "audio/audio_packets.h"
#include "audio/g726_config.h"
#include "audio/scripted_failures.h"
#include "codrelay/audio_format.h"
#include "codrelay/media_ids.h"
#include "common/allocation_counter.h"
#include "common/log_capture.h"
#include "common/test_media.h"
#include "front/registry/ffmpeg_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

// What the decoder handed to FFmpeg at its last open.
struct OpenedContext {
    int sampleRate;
    int channels;
    int64_t bitRate;
    int bitsPerCodedSample;
    AVSampleFormat sampleFormat;
    int extradataSize;
    Bytes extradata;
};

OpenedContext g_Opened;
// Errors that the next calls give, in this order.
std::vector<int> g_ReceiveErrors;

}  // namespace

extern "C" {

AVPacket* __real_av_packet_alloc();
AVPacket* __wrap_av_packet_alloc() {
    return Failing::Is("av_packet_alloc") ? nullptr : __real_av_packet_alloc();
}

AVFrame* __real_av_frame_alloc();
AVFrame* __wrap_av_frame_alloc() {
    return Failing::Is("av_frame_alloc") ? nullptr : __real_av_frame_alloc();
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
    g_Opened = {context->sample_rate,
                context->channels,
                context->bit_rate,
                context->bits_per_coded_sample,
                context->sample_fmt,
                context->extradata_size,
                {}};
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

int __real_swr_convert(SwrContext* context, uint8_t** out, int outCount, const uint8_t** in, int inCount);
int __wrap_swr_convert(SwrContext* context, uint8_t** out, int outCount, const uint8_t** in, int inCount) {
    return Failing::Is("swr_convert") ? AVERROR(ENOMEM) : __real_swr_convert(context, out, outCount, in, inCount);
}

int __real_avcodec_receive_frame(AVCodecContext* context, AVFrame* frame);
int __wrap_avcodec_receive_frame(AVCodecContext* context, AVFrame* frame) {
    if (!g_ReceiveErrors.empty()) {
        const int error = g_ReceiveErrors.front();
        g_ReceiveErrors.erase(g_ReceiveErrors.begin());
        if (error != 0) {
            return error;
        }
    }
    const int result = __real_avcodec_receive_frame(context, frame);
    if (result == 0 && Failing::Is("samples")) {
        frame->nb_samples = 0;
    }
    return result;
}

}  // extern "C"

namespace {

// A decoder that the test takes through its states itself.
class AudioDecoderTest : public testing::Test {
protected:
    ~AudioDecoderTest() override {
        for (auto& decoder : m_Decoders) {
            decoder->DestroyDecoder();
        }
    }

    CAudioDecoder& Make(int id, const char* name) {
        m_Decoders.push_back(std::make_unique<CAudioDecoder>(id, name));
        return *m_Decoders.back();
    }

    bool Create(CAudioDecoder& decoder, int channels, int sampleRate) {
        return decoder.CreateDecoder(channels, sampleRate, sampleFormat, nullptr, 0);
    }

    int Decode(CAudioDecoder& decoder, const Bytes& packet, unsigned int room) {
        Bytes copy = packet;
        return decoder.Decode(copy.data(), static_cast<unsigned int>(copy.size()), out.data(), room, consumed, written);
    }

    int sampleFormat = -7;
    unsigned int consumed = 77;
    unsigned int written = 77;
    std::vector<short> out = std::vector<short>(192000);

private:
    std::vector<std::unique_ptr<CAudioDecoder>> m_Decoders;
};

LoggedLine Created(const char* name, int sampleRate, int channels, int flag) {
    return Ffmpeg(Severity::Info, "CAudioDecoder::CreateDecoder: codecName = " + std::string(name) + ", sampleRate = " +
                                      std::to_string(sampleRate) + ", channels = " + std::to_string(channels) +
                                      ", sampleFmt = " + std::to_string(flag));
}

LoggedLine Destroyed() {
    return Ffmpeg(Severity::Trace, "CAudioDecoder::Destroy()");
}

std::vector<Bytes> Mp3Frames(const char* clip) {
    return ReadAudioPackets(Clip(clip)).packets;
}

Bytes Joined(const Bytes& a, const Bytes& b) {
    Bytes both = a;
    both.insert(both.end(), b.begin(), b.end());
    return both;
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

TEST_F(AudioDecoderTest, DecodesNothingBeforeItIsCreated) {
    LogCapture log;
    EXPECT_EQ(Decode(Make(AUDIO_CODEC_MP3, "mp3"), Bytes(10), 1000), 2);
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CAudioDecoder::Decode: You should create first!")));
}

TEST_F(AudioDecoderTest, DecodesNothingOfNothing) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    const auto line = Ffmpeg(Severity::Warning, "CAudioDecoder::Decode: Nothing to decode!");
    LogCapture log;
    unsigned char byte = 0;
    EXPECT_EQ(decoder.Decode(nullptr, 1, out.data(), 100, consumed, written), 2);
    EXPECT_EQ(decoder.Decode(&byte, 0, out.data(), 100, consumed, written), 2);
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
}

TEST_F(AudioDecoderTest, SaysNothingOfAMissingBuffer) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    LogCapture log;
    Bytes in(8);
    for (const unsigned int room : {0u, 0x80000000u}) {
        EXPECT_EQ(decoder.Decode(in.data(), 8, out.data(), room, consumed, written), 2);
        EXPECT_EQ(consumed, 8u);
    }
    EXPECT_EQ(decoder.Decode(in.data(), 8, nullptr, 100, consumed, written), 2);
    EXPECT_EQ(consumed, 8u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(Decode(decoder, in, 100), 0);
}

TEST_F(AudioDecoderTest, AllocatesItsFrameAtTheFirstPacket) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    {
        LogCapture log;
        const Failing failing("av_frame_alloc");
        EXPECT_EQ(Decode(decoder, Bytes(8), 100), 2);
        EXPECT_EQ(consumed, 0u);
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Critical, "CAudioDecoder::Decode: Could not allocate audio frame")));
    }
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0);
    const Failing failing("av_frame_alloc");
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0) << "the frame is kept";
}

TEST_F(AudioDecoderTest, TakesPcmOfAPartialSampleGroupForAFailure) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 2, 8000));
    LogCapture log;
    EXPECT_EQ(Decode(decoder, {1, 0, 2, 0, 3, 0, 4, 0, 5, 0}, 100), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(consumed, 10u);
    EXPECT_THAT((std::vector<short>(out.begin(), out.begin() + 5)), ElementsAre(1, 2, 3, 4, 0)) << "the whole groups";
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                               "CAudioDecoder::DecodePacket: Error during decoding: Invalid data found "
                                               "when processing input")));
    EXPECT_EQ(Decode(decoder, {6, 0, 7, 0}, 100), 0);
    EXPECT_EQ(written, 4u);
    EXPECT_EQ(out[0], 6);
}

TEST_F(AudioDecoderTest, TellsOfABrokenPacketAndGoesOn) {
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    LogCapture log;
    EXPECT_EQ(Decode(decoder, Bytes(417, 0x55), 384000), 2);
    EXPECT_EQ(consumed, 417u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(
                                Severity::Error,
                                "CAudioDecoder::DecodePacket: Error submitting the packet to the decoder: Invalid data "
                                "found when processing input")));
    EXPECT_EQ(Decode(decoder, frames.at(0), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, RefusesAPacketOfTwoGigabytes) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    unsigned char byte = 0;
    EXPECT_EQ(decoder.Decode(&byte, 0x80000000u, out.data(), 100, consumed, written), 2);
    EXPECT_EQ(consumed, 0x80000000u);
}

TEST_F(AudioDecoderTest, TellsOfAnErrorBehindTheFirstFrame) {
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    LogCapture log;
    EXPECT_EQ(Decode(decoder, Joined(frames.at(0), Bytes(417, 0x55)), 384000), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                               "CAudioDecoder::DecodePacket: Error during decoding: Invalid data found "
                                               "when processing input")));
    EXPECT_EQ(Decode(decoder, frames.at(1), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, EndsAPacketAtTheEndOfTheStreamToo) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    g_ReceiveErrors = {0, AVERROR_EOF};
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0);
    EXPECT_EQ(written, 8u);
}

TEST_F(AudioDecoderTest, WritesAllFramesOfAPacket) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& one = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(one, 2, 44100));
    std::vector<short> expected;
    for (const auto& frame : {frames.at(0), frames.at(1)}) {
        ASSERT_EQ(Decode(one, frame, 384000), 0);
        expected.insert(expected.end(), out.begin(), out.begin() + written / 2);
    }
    auto& both = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(both, 2, 44100));
    EXPECT_EQ(Decode(both, Joined(frames.at(0), frames.at(1)), 384000), 0);
    EXPECT_EQ(written, 2u * 1152 * 4);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), out.begin()));
}

TEST_F(AudioDecoderTest, FailsWhereTheSecondFrameDoesNotFit) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    // Tones from the third frame on.
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Decode(decoder, frames.at(i), 384000), 0);
    }
    LogCapture log;
    std::fill(out.begin(), out.end(), short(0));
    const Bytes packet = Joined(frames.at(3), frames.at(4));
    EXPECT_EQ(Decode(decoder, packet, 1152 * 4 + 4607), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(consumed, packet.size());
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error,
                                               "CAudioDecoder::DecodePacket: Output buffer size is too small for the "
                                               "current frame (4607 < 4608)")));
    EXPECT_NE(std::count(out.begin(), out.begin() + 2304, 0), 2304) << "the first frame is in the buffer";
    EXPECT_EQ(std::count(out.begin() + 2304, out.end(), 0), static_cast<long>(out.size()) - 2304);
}

// A failed packet must leave nothing inside: the next would give stale samples, the one after that be refused.
TEST_F(AudioDecoderTest, GivesTheNextPacketsOwnFramesAfterFailures) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& undisturbed = Make(AUDIO_CODEC_MP3, "mp3");
    auto& disturbed = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(undisturbed, 2, 44100));
    ASSERT_TRUE(Create(disturbed, 2, 44100));
    for (std::size_t i = 0; i + 1 < 12; i += 2) {
        const Bytes packet = Joined(frames.at(i), frames.at(i + 1));
        ASSERT_EQ(Decode(undisturbed, packet, 384000), 0);
        const std::vector<short> expected = out;
        const bool spoilt = i < 8;
        ASSERT_EQ(Decode(disturbed, packet, spoilt ? 100 : 384000), spoilt ? 2 : 0) << i;
        if (!spoilt) {
            EXPECT_EQ(written, 2u * 1152 * 4);
            EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + 2304, out.begin())) << i;
        }
    }
}

TEST_F(AudioDecoderTest, LeavesNothingInsideAfterAFailureOfTheResampler) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    LogCapture log;
    for (int i = 0; i < 4; ++i) {
        const Failing failing("swr_convert");
        EXPECT_EQ(Decode(decoder, Joined(frames.at(0), frames.at(1)), 384000), 2);
        EXPECT_THAT(log.Take(),
                    ElementsAre(Ffmpeg(Severity::Critical,
                                       "CAudioDecoder::DecodePacket: failed to resample planar data: Cannot "
                                       "allocate memory")));
    }
    EXPECT_EQ(Decode(decoder, frames.at(2), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, TakesAMonoFrameInAStereoDecoderForAResamplerFailure) {
    const auto mono = Mp3Frames("tones_44100_1.mp3");
    const auto stereo = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    LogCapture log;
    EXPECT_EQ(Decode(decoder, mono.at(0), 384000), 2);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Critical,
                                   "CAudioDecoder::DecodePacket: failed to resample planar data: Invalid argument")));
    EXPECT_EQ(Decode(decoder, stereo.at(0), 384000), 0);
    EXPECT_EQ(written, 1152u * 4);
}

TEST_F(AudioDecoderTest, CopiesOnePlaneOfTwoInAMonoDecoder) {
    const auto stereo = Mp3Frames("tones_44100_2.mp3");
    auto& expected = Make(AUDIO_CODEC_MP3, "mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(expected, 2, 44100));
    ASSERT_TRUE(Create(decoder, 1, 44100));
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_EQ(Decode(expected, stereo.at(i), 384000), 0);
        const std::vector<short> both = out;
        std::fill(out.begin(), out.end(), short(99));
        ASSERT_EQ(Decode(decoder, stereo.at(i), 384000), 0);
        EXPECT_EQ(written, 1152u * 4);
        for (std::size_t k = 0; k < 1152; ++k) {
            ASSERT_EQ(out[k], both[2 * k]) << i << " " << k;
            ASSERT_EQ(out[1152 + k], 99) << "not written";
        }
    }
}

TEST_F(AudioDecoderTest, AddsNothingForAFrameWithoutSamples) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    const Failing failing("samples");
    EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0);
    EXPECT_EQ(written, 0u);
}

TEST_F(AudioDecoderTest, Gives426BytesFor80OfG726At24Kbit) {
    auto& decoder = Make(AUDIO_CODEC_G726_24, "g726");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    EXPECT_EQ(Decode(decoder, Bytes(80, 0x5a), 1000), 0);
    EXPECT_EQ(written, 426u);
}

TEST_F(AudioDecoderTest, AllocatesNothingOfItsOwnAfterTheFirstPacket) {
    const auto frames = Mp3Frames("tones_44100_2.mp3");
    auto& decoder = Make(AUDIO_CODEC_MP3, "mp3");
    ASSERT_TRUE(Create(decoder, 2, 44100));
    ASSERT_EQ(Decode(decoder, frames.at(0), 384000), 0);
    Bytes packet = frames.at(1);
    const Failing failing("av_frame_alloc");
    const AllocationCounter allocations;
    EXPECT_EQ(
        decoder.Decode(packet.data(), static_cast<unsigned int>(packet.size()), out.data(), 384000, consumed, written),
        0);
    EXPECT_EQ(allocations.count, 0);
}

TEST_F(AudioDecoderTest, DecodesWithoutTheLibraryLock) {
    auto& decoder = Make(AUDIO_CODEC_PCM_S16LE, "pcm_s16le");
    ASSERT_TRUE(Create(decoder, 1, 8000));
    GetMainFfmpegCodecLib()->Lock();
    std::thread other([&] { EXPECT_EQ(Decode(decoder, Bytes(8), 100), 0); });
    other.join();
    GetMainFfmpegCodecLib()->Unlock();
}

}  // namespace
