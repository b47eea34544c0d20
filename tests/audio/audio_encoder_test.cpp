#include "audio/audio_encoder.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <thread>
#include <vector>

#include "audio/scripted_failures.h"
#include "codrelay/audio_format.h"
#include "common/allocation_counter.h"
#include "common/log_capture.h"
#include "front/registry/ffmpeg_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

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
// What the codec was given last.
struct {
    const unsigned char* samples;
    const unsigned char* out;
    int64_t pts;
    int nbSamples;
} g_Encoded;

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
    g_Opened = {context->codec_id,    context->codec_type, context->bit_rate,       context->sample_rate,
                context->channels,    context->sample_fmt, context->channel_layout, context->strict_std_compliance,
                g_Opened.knewItsCodec};
    return __real_avcodec_open2(context, codec, options);
}

int __real_avcodec_fill_audio_frame(AVFrame* frame, int channels, AVSampleFormat format, const uint8_t* samples,
                                    int size, int align);
int __wrap_avcodec_fill_audio_frame(AVFrame* frame, int channels, AVSampleFormat format, const uint8_t* samples,
                                    int size, int align) {
    return Failing::Is("avcodec_fill_audio_frame")
               ? AVERROR(EINVAL)
               : __real_avcodec_fill_audio_frame(frame, channels, format, samples, size, align);
}

int __real_avcodec_encode_audio2(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* got);
int __wrap_avcodec_encode_audio2(AVCodecContext* context, AVPacket* packet, const AVFrame* frame, int* got) {
    g_Encoded = {frame->extended_data[0], packet->data, frame->pts, frame->nb_samples};
    if (Failing::Is("packet size")) {
        packet->size += 1;
        packet->pts = 33;
        *got = 1;
        return 0;
    }
    if (Failing::Is("avcodec_encode_audio2")) {
        av_packet_new_side_data(packet, AV_PKT_DATA_SKIP_SAMPLES, 10);
        return AVERROR(ENOMEM);
    }
    return __real_avcodec_encode_audio2(context, packet, frame, got);
}

}  // extern "C"

namespace {

class AudioEncoderTest : public testing::Test {
protected:
    ~AudioEncoderTest() override {
        for (auto& encoder : m_Encoders) {
            encoder->DestroyEncoder();
        }
    }

    CAudioEncoder& Make(AVCodecID id, const char* name) {
        m_Encoders.push_back(std::make_unique<CAudioEncoder>(id, name));
        return *m_Encoders.back();
    }
    CAudioEncoder& Pcm() { return Make(AV_CODEC_ID_PCM_S16LE, "pcm_s16le"); }
    CAudioEncoder& Mp3() { return Make(AV_CODEC_ID_MP3, "libmp3lame"); }
    CAudioEncoder& Aac() { return Make(AV_CODEC_ID_AAC, "aac"); }

    static bool Create(CAudioEncoder& encoder, int sampleRate, int channels, int flag, unsigned int bitRate = 128000) {
        const AUDIO_FORMAT format = {sampleRate, channels, flag};
        return encoder.CreateEncoder(&format, bitRate);
    }

    int Encode(CAudioEncoder& encoder, unsigned int inLen, long long hostPts = 0) {
        pts = hostPts;
        return encoder.Encode(in.data(), inLen, out.data(), static_cast<unsigned int>(out.size()), consumed, written,
                              pts);
    }

    std::vector<unsigned char> in = std::vector<unsigned char>(65536);
    std::vector<unsigned char> out = std::vector<unsigned char>(65536);
    unsigned int consumed = 77;
    unsigned int written = 77;
    long long pts = 77;

private:
    std::vector<std::unique_ptr<CAudioEncoder>> m_Encoders;
};

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
}

TEST_F(AudioEncoderTest, RefusesASecondCreation) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    EXPECT_EQ(encoder.IsCreated(), 1);
    LogCapture log;
    EXPECT_FALSE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Warning, "CAudioEncoder::CreateEncoder: Already created!")));
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

TEST_F(AudioEncoderTest, SendsThreeChannelsWithTheLayoutOfStereo) {
    EXPECT_FALSE(Create(Aac(), 44100, 3, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(g_Opened.channels, 3);
    EXPECT_EQ(g_Opened.layout, AV_CH_LAYOUT_STEREO);
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

TEST_F(AudioEncoderTest, EncodesNothingBeforeItIsCreated) {
    auto& encoder = Aac();
    LogCapture log;
    EXPECT_EQ(Encode(encoder, 100, 5000), 0);
    EXPECT_EQ(pts, 0);
    EXPECT_EQ(consumed, 77u);
    EXPECT_EQ(written, 77u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CAudioEncoder::Encode: not created!")));
}

TEST_F(AudioEncoderTest, TakesOneFrameOfAacOrNothing) {
    auto& encoder = Aac();
    ASSERT_TRUE(Create(encoder, 44100, 2, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(Encode(encoder, 8191), 1);
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(Encode(encoder, 0), 1);
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(Encode(encoder, 10000), 1);
    EXPECT_EQ(consumed, 8192u);
    EXPECT_EQ(Encode(encoder, 65536), 1);
    EXPECT_EQ(consumed, 8192u);
}

TEST_F(AudioEncoderTest, TellsTheTimestampsOfThePackets) {
    auto& encoder = Aac();
    ASSERT_TRUE(Create(encoder, 44100, 1, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(Encode(encoder, 4096), 1);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(consumed, 4096u);
    EXPECT_EQ(pts, 0);
    for (const long long expected : {-1024, 0, 1024}) {
        EXPECT_EQ(Encode(encoder, 4096), 1);
        EXPECT_GT(written, 0u);
        EXPECT_EQ(pts, expected);
    }
    EXPECT_EQ(Encode(encoder, 10), 1);
    EXPECT_EQ(pts, 1024) << "that of the last packet";
}

TEST_F(AudioEncoderTest, FillsTheDelayOfMp3) {
    struct {
        int rate;
        unsigned int frameSamples;
        long long firstPts;
    } const rows[] = {{44100, 1152, -1105}, {22050, 576, -1105}};
    for (const auto& row : rows) {
        auto& encoder = Mp3();
        ASSERT_TRUE(Create(encoder, row.rate, 2, AUDIO_SAMPLE_S16, 0));  // more empty calls at lower bit rates
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(Encode(encoder, 10000), 1);
            EXPECT_EQ(consumed, row.frameSamples * 4);
            EXPECT_EQ(written, 0u);
            EXPECT_EQ(pts, 0);
        }
        EXPECT_EQ(Encode(encoder, 10000), 1);
        EXPECT_GT(written, 0u);
        EXPECT_EQ(pts, row.firstPts) << row.rate;
    }
}

TEST_F(AudioEncoderTest, TakesAllWholeSampleGroupsOfPcm) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 2, AUDIO_SAMPLE_S16));
    in = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    EXPECT_EQ(Encode(encoder, 11), 1);
    EXPECT_EQ(consumed, 8u);
    EXPECT_EQ(written, 8u);
    EXPECT_EQ(pts, 0);
    EXPECT_TRUE(std::equal(in.begin(), in.begin() + 8, out.begin()));
    EXPECT_EQ(Encode(encoder, 11), 1);
    EXPECT_EQ(pts, 2);
}

TEST_F(AudioEncoderTest, HandsPcmToTheCodecWhereItLies) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 2, AUDIO_SAMPLE_S16));
    EXPECT_EQ(Encode(encoder, 100), 1);
    EXPECT_EQ(g_Encoded.samples, in.data());
    EXPECT_EQ(g_Encoded.out, out.data());
}

TEST_F(AudioEncoderTest, HandsMonoToTheCodecWhereItLies) {
    auto& encoder = Aac();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(Encode(encoder, 4096), 1);
    EXPECT_EQ(g_Encoded.samples, in.data());
}

TEST_F(AudioEncoderTest, StagesStereoInOnePlace) {
    auto& encoder = Mp3();
    ASSERT_TRUE(Create(encoder, 44100, 2, AUDIO_SAMPLE_S16));
    const unsigned char* first = nullptr;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Encode(encoder, 4608), 1);
        EXPECT_NE(g_Encoded.samples, in.data());
        first = first == nullptr ? g_Encoded.samples : first;
        EXPECT_EQ(g_Encoded.samples, first);
    }
}

TEST_F(AudioEncoderTest, AllocatesNothingOfItsOwnToEncode) {
    auto& encoder = Mp3();
    ASSERT_TRUE(Create(encoder, 44100, 2, AUDIO_SAMPLE_S16));
    const AllocationCounter allocations;
    EXPECT_EQ(Encode(encoder, 4608), 1);
    EXPECT_EQ(allocations.count, 0);
}

TEST_F(AudioEncoderTest, TakesLessThanASampleGroupOfPcmForAnError) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 2, AUDIO_SAMPLE_S16));
    for (const unsigned int length : {0u, 3u}) {
        LogCapture log;
        consumed = 77;
        EXPECT_EQ(Encode(encoder, length, 90000), 0);
        EXPECT_EQ(consumed, 77u);
        EXPECT_EQ(pts, 0);
        EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CAudioEncoder::Encode: input param error!")));
    }
}

// A counted clock of 1000 samples at 8000 a second.
CAudioEncoder& CountTo1000(CAudioEncoder& encoder) {
    unsigned char in[2000] = {};
    unsigned char out[2000];
    unsigned int consumed;
    unsigned int written;
    long long pts = 0;
    EXPECT_EQ(encoder.Encode(in, 2000, out, 2000, consumed, written, pts), 1);
    return encoder;
}

TEST_F(AudioEncoderTest, FollowsTheHostWhenItIsMoreThanASecondAhead) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    CountTo1000(encoder);
    LogCapture log;
    EXPECT_EQ(Encode(encoder, 20, 9000), 1) << "the gap is the threshold";
    EXPECT_EQ(pts, 1000);
    EXPECT_THAT(log.Take(), IsEmpty());

    auto& second = Pcm();
    ASSERT_TRUE(Create(second, 8000, 1, AUDIO_SAMPLE_S16));
    CountTo1000(second);
    log.Take();
    EXPECT_EQ(Encode(second, 20, 9001), 1);
    EXPECT_EQ(pts, 9001);
    EXPECT_THAT(log.Take(),
                ElementsAre(Ffmpeg(Severity::Info, "CAudioEncoder::Encode: diffPts=-1000, change from=1000, to=9001")));
    EXPECT_EQ(Encode(second, 20, 0), 1);
    EXPECT_EQ(pts, 9011) << "counts on from there";
}

TEST_F(AudioEncoderTest, IgnoresOtherTimestamps) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    CountTo1000(encoder);
    LogCapture log;
    long long expected = 1000;
    for (const long long hostPts : {0LL, -1LL, LLONG_MIN, 500LL, 1500LL}) {
        EXPECT_EQ(Encode(encoder, 20, hostPts), 1);
        EXPECT_EQ(pts, expected);
        expected += 10;
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(AudioEncoderTest, StartsAtTheFirstTimestampAboveOneSecond) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    EXPECT_EQ(Encode(encoder, 20, 8001), 1);
    EXPECT_EQ(pts, 8001);
}

TEST_F(AudioEncoderTest, CountsOnAfterItWasMadeAnew) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    CountTo1000(encoder);
    EXPECT_EQ(Encode(encoder, 20), 1);
    encoder.DestroyEncoder();
    EXPECT_EQ(encoder.IsCreated(), 0);
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    EXPECT_EQ(Encode(encoder, 20), 1);
    EXPECT_EQ(pts, 1010);

    auto& aac = Aac();
    ASSERT_TRUE(Create(aac, 8000, 1, AUDIO_SAMPLE_FLT));
    for (int i = 0; i < 4; ++i) {
        Encode(aac, 4096);
    }
    EXPECT_EQ(pts, 1024);
    aac.DestroyEncoder();
    ASSERT_TRUE(Create(aac, 8000, 1, AUDIO_SAMPLE_FLT));
    EXPECT_EQ(Encode(aac, 4096), 1);
    EXPECT_EQ(pts, 1024) << "that of the last packet, of the encoder before";
    EXPECT_EQ(g_Encoded.pts, 4096);
}

TEST_F(AudioEncoderTest, WrapsItsClockAtTheEndOfTime) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    EXPECT_EQ(Encode(encoder, 20, LLONG_MAX), 1);
    EXPECT_EQ(pts, LLONG_MAX);
    EXPECT_EQ(Encode(encoder, 20, 0), 1);
    EXPECT_EQ(g_Encoded.pts, LLONG_MIN + 9);
}

TEST_F(AudioEncoderTest, TellsOfAFrameThatCannotBeFilled) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    LogCapture log;
    {
        const Failing failing("avcodec_fill_audio_frame");
        EXPECT_EQ(Encode(encoder, 20), 0);
    }
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(pts, 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: fill frame failed!")));
    EXPECT_EQ(Encode(encoder, 20), 1);
    EXPECT_EQ(pts, 0);
}

TEST_F(AudioEncoderTest, TellsOfAFailedEncoding) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    LogCapture log;
    {
        const Failing failing("avcodec_encode_audio2");  // with side data that must not be lost
        EXPECT_EQ(Encode(encoder, 20), 0);
    }
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: encoding failed: -12")));
    EXPECT_EQ(encoder.IsCreated(), 1);
    EXPECT_EQ(Encode(encoder, 20), 1);
    EXPECT_EQ(pts, 0) << "the failed frame did not move the clock";
}

TEST_F(AudioEncoderTest, FailsWhereThePacketDoesNotFit) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    LogCapture log;
    pts = 0;
    EXPECT_EQ(encoder.Encode(in.data(), 20, out.data(), 19, consumed, written, pts), 0);
    EXPECT_EQ(consumed, 0u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: encoding failed: -22")));
}

TEST_F(AudioEncoderTest, CutsThePacketsLengthToTheRoom) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    LogCapture log;
    const Failing failing("packet size");
    EXPECT_EQ(Encode(encoder, 20), 1);
    EXPECT_EQ(consumed, 20u);
    EXPECT_EQ(written, out.size());
    EXPECT_EQ(pts, 33);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CAudioEncoder::Encode: CRITICAL ERROR pkt.size > dwOutBufLen")));
}

// FFmpeg then allocates the packet; the leak check of a sanitized run counts.
TEST_F(AudioEncoderTest, EncodesIntoNoBuffer) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    pts = 0;
    EXPECT_EQ(encoder.Encode(in.data(), 20, nullptr, 100, consumed, written, pts), 1);
    EXPECT_EQ(consumed, 20u);
    EXPECT_EQ(written, 20u);
    LogCapture log;
    EXPECT_EQ(encoder.Encode(in.data(), 20, nullptr, 5, consumed, written, pts), 1);
    EXPECT_EQ(written, 5u);
    EXPECT_EQ(pts, 10);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical,
                                               "CAudioEncoder::Encode: CRITICAL ERROR pkt.size > dwOutBufLen")));
    auto& aac = Aac();
    ASSERT_TRUE(Create(aac, 44100, 2, AUDIO_SAMPLE_FLT));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(aac.Encode(in.data(), 8192, nullptr, 16384, consumed, written, pts), 1);
    }
    EXPECT_GT(written, 0u);
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
