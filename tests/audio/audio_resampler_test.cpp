#include <algorithm>
#include <cstring>
#include <thread>

#include "audio/audio_resampler_fixture.h"
#include "common/log_capture.h"
#include "front/registry/ffmpeg_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

constexpr const char* kIncorrect = "CAudioResampler::Create: incorrect format params!";
constexpr const char* kTooLarge = "CAudioResampler::Create: Out buffer sizes too large";
constexpr const char* kWrongInput = "CAudioResampler::Create: wrong input format";
constexpr const char* kAllocError = "CAudioResampler::Create: resampler alloc error!";
constexpr const char* kInitError = "CAudioResampler::Create: resampler init error: -22";

bool g_InitTakesAnything = false;

}  // namespace

extern "C" int __real_swr_init(SwrContext* context);
extern "C" int __wrap_swr_init(SwrContext* context) {
    return g_InitTakesAnything ? 0 : __real_swr_init(context);
}

namespace {

struct Sizing {
    const char* name;
    AUDIO_FORMAT in;
    AUDIO_FORMAT out;
    unsigned int inBufLen;
    unsigned int expected;
};

class Sizings : public AudioResamplerTest, public testing::WithParamInterface<Sizing> {};

TEST_P(Sizings, ReportTheBufferThatHostsAllocate) {
    const Sizing& row = GetParam();
    EXPECT_TRUE(Create(row.in, row.out, row.inBufLen));
    EXPECT_EQ(room, row.expected);
}

// Worked out by hand. The first estimate is (2 * outSamples + 10000) * outFrame + 16384, the second
// outRate * inBufLen / inRate + 32768.
INSTANTIATE_TEST_SUITE_P(
    AudioResampler, Sizings,
    testing::Values(Sizing{"StereoToMonoUp", {8000, 2, AUDIO_SAMPLE_S16}, {48000, 1, AUDIO_SAMPLE_S16}, 4096, 60964},
                    // 4096 samples become 4097: an exact quotient gains one. 18194 + 16384 loses against 4096 + 32768.
                    Sizing{"SameFormat", {8000, 1, AUDIO_SAMPLE_U8}, {8000, 1, AUDIO_SAMPLE_U8}, 4096, 36864},
                    // (2 * 2 + 10000) * 1 + 16384 = 26388 loses against 1 + 32768.
                    Sizing{"OneByte", {8000, 1, AUDIO_SAMPLE_U8}, {8000, 1, AUDIO_SAMPLE_U8}, 1, 32769},
                    // 5 bytes are two groups of 4: 2 * 3 + 10000, times 4, + 16384.
                    Sizing{"RoundedUp", {8000, 2, AUDIO_SAMPLE_S16}, {8000, 2, AUDIO_SAMPLE_S16}, 5, 56408},
                    // 512 samples of 8 bytes become 3073 doubles: 16146 * 16 + 16384.
                    Sizing{"MonoDoubleUp", {8000, 1, AUDIO_SAMPLE_DBL}, {48000, 2, AUDIO_SAMPLE_DBL}, 4096, 274720},
                    // 512 become 86: 10172 * 1 + 16384 loses against 8000 * 4096 / 768000 + 32768.
                    Sizing{"Down", {48000, 2, AUDIO_SAMPLE_FLT}, {8000, 1, AUDIO_SAMPLE_U8}, 4096, 32853},
                    // Planes count as packed samples do: 12050 * 2 + 16384.
                    Sizing{"Planar", {8000, 1, AUDIO_SAMPLE_FLTP}, {8000, 1, AUDIO_SAMPLE_S16P}, 4096, 40484},
                    // 2^32 - 5001 samples become 2^32 - 5000, and 2 * that + 10000 wraps to 0: the first estimate is
                    // that of four samples, 16 + 16384. The second wraps to -20004 + 32768.
                    Sizing{"Wrapped", {1, 1, AUDIO_SAMPLE_U8}, {1, 1, AUDIO_SAMPLE_S32}, 0xFFFFEC77, 16400}),
    [](const auto& row) { return std::string(row.param.name); });

// The arithmetic once more, in 64 bits with an explicit wrap behind each operation.
unsigned int Twin(const AUDIO_FORMAT& in, const AUDIO_FORMAT& out, unsigned int inBufLen) {
    const auto bits = [](int flag) -> unsigned long long {
        switch (flag) {
            case AUDIO_SAMPLE_U8:
            case AUDIO_SAMPLE_U8P:
                return 8;
            case AUDIO_SAMPLE_S16:
            case AUDIO_SAMPLE_S16P:
                return 16;
            case AUDIO_SAMPLE_DBL:
            case AUDIO_SAMPLE_DBLP:
                return 64;
            default:
                return 32;
        }
    };
    const auto wrap = [](unsigned long long value) { return value & 0xffffffffULL; };
    const auto inRate = static_cast<unsigned long long>(in.sampleRate);
    const auto outRate = static_cast<unsigned long long>(out.sampleRate);
    const auto inFrame = bits(in.sampleFormat) / 8 * static_cast<unsigned long long>(in.channels);
    const auto outFrame = bits(out.sampleFormat) / 8 * static_cast<unsigned long long>(out.channels);
    const auto inSamples = wrap(inBufLen + inFrame - 1) / inFrame;
    const auto outSamples = wrap(wrap(inSamples * outRate) + inRate) / inRate;
    const auto first = wrap(std::max(wrap(wrap(2 * outSamples + 10000) * outFrame), 4 * outFrame) + 16384);
    const auto inBytes = wrap(wrap(static_cast<unsigned long long>(in.channels) * inRate) * bits(in.sampleFormat)) / 8;
    const auto outBytes =
        wrap(wrap(static_cast<unsigned long long>(out.channels) * outRate) * bits(out.sampleFormat)) / 8;
    if (first > 0x7fffffffULL || inBytes == 0) {
        return 0;
    }
    return static_cast<unsigned int>(std::max(first, wrap(wrap(outBytes * inBufLen) / inBytes + 32768)));
}

TEST_F(AudioResamplerTest, ReportsWhatTheTwinComputesForEveryFormatAndLength) {
    const int flags[] = {1, 2, 4, 8, 16, 32, 64, 128, 256, 512};
    const int rates[] = {8000, 44100, 192000};
    const unsigned int lengths[] = {1, 4095, 1000000, 44739243, 0x10000001, 0xffffffff};
    for (const int inFlag : flags) {
        for (const int outFlag : {AUDIO_SAMPLE_S16, AUDIO_SAMPLE_DBL}) {
            for (const int inRate : rates) {
                for (const unsigned int length : lengths) {
                    const AUDIO_FORMAT in = {inRate, 1 + length % 2 == 0 ? 1 : 2, inFlag};
                    const AUDIO_FORMAT out = {48000, 1, outFlag};
                    const unsigned int expected = Twin(in, out, length);
                    room = 77;
                    EXPECT_EQ(Create(in, out, length), expected != 0);
                    EXPECT_EQ(room, expected != 0 ? expected : 77) << inFlag << " " << inRate << " " << length;
                }
            }
        }
    }
}

// With a long input the products wrap, and the report is smaller than the output will be: hosts know these numbers.
TEST_F(AudioResamplerTest, WrapsTheProductOfTheByteRates) {
    // outSamples: 2^24 * 48000 wraps to 2^31, by 8000 that is 268436; (2 * 268436 + 10000) * 8 + 16384.
    // The byte rates: 384000 * 2^24 wraps to 0.
    EXPECT_TRUE(Create({8000, 1, AUDIO_SAMPLE_U8}, {48000, 2, AUDIO_SAMPLE_FLT}, 1 << 24));
    EXPECT_EQ(room, 4391360u);
}

struct Refused {
    const char* name;
    AUDIO_FORMAT in;
    AUDIO_FORMAT out;
    unsigned int inBufLen;
    Severity severity;
    const char* line;
};

class RefusedFormats : public AudioResamplerTest, public testing::WithParamInterface<Refused> {};

TEST_P(RefusedFormats, LogOneLineAndReportNothing) {
    const Refused& row = GetParam();
    LogCapture log;
    EXPECT_FALSE(Create(row.in, row.out, row.inBufLen));
    EXPECT_EQ(room, 77u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(row.severity, row.line)));
    // The copies stay all the same.
    EXPECT_EQ(std::memcmp(resampler.GetInFormat(), &row.in, sizeof(AUDIO_FORMAT)), 0);
    EXPECT_EQ(std::memcmp(resampler.GetOutFormat(), &row.out, sizeof(AUDIO_FORMAT)), 0);
}

constexpr AUDIO_FORMAT kMono = {8000, 1, AUDIO_SAMPLE_S16};

INSTANTIATE_TEST_SUITE_P(
    AudioResampler, RefusedFormats,
    testing::Values(Refused{"ThreeChannelsIn", {8000, 3, 2}, kMono, 100, Severity::Error, kIncorrect},
                    Refused{"ThreeChannelsOut", kMono, {8000, 3, 2}, 100, Severity::Error, kIncorrect},
                    Refused{"NoChannels", {8000, 0, 2}, kMono, 100, Severity::Error, kIncorrect},
                    Refused{"NegativeChannels", kMono, {8000, -1, 2}, 100, Severity::Error, kIncorrect},
                    Refused{"NoLength", kMono, kMono, 0, Severity::Error, kIncorrect},
                    Refused{"TwoFormats", {8000, 1, 3}, kMono, 100, Severity::Error, kIncorrect},
                    Refused{"NoFormat", kMono, {8000, 1, 0}, 100, Severity::Error, kIncorrect},
                    Refused{"UnknownFormat", kMono, {8000, 1, 1024}, 100, Severity::Error, kIncorrect},
                    Refused{"NegativeRateIn", {-8000, 1, 2}, kMono, 100, Severity::Critical, kAllocError},
                    Refused{"NegativeRateOut", kMono, {-1, 1, 2}, 100, Severity::Critical, kAllocError},
                    Refused{"NoRateIn", {0, 1, 2}, kMono, 100, Severity::Critical, kInitError},
                    Refused{"NoRateOut", kMono, {0, 1, 2}, 100, Severity::Critical, kInitError},
                    Refused{"HugeLength", {1, 1, 1}, {1, 1, 1}, 0x40000000, Severity::Critical, kTooLarge},
                    // 2 * 2^28 * 8 bits are 2^32: no bytes a second.
                    Refused{"WrappedByteRate", {1 << 28, 2, 1}, {1 << 28, 2, 1}, 100, Severity::Critical, kWrongInput}),
    [](const auto& row) { return std::string(row.param.name); });

// FFmpeg refuses that by itself; an FFmpeg that did not would have us divide by it.
TEST_F(AudioResamplerTest, RefusesNoRateWhereFfmpegDoesNot) {
    LogCapture log;
    g_InitTakesAnything = true;
    EXPECT_FALSE(Create({0, 1, AUDIO_SAMPLE_S16}, kMono, 100));
    g_InitTakesAnything = false;
    EXPECT_EQ(room, 77u);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, kWrongInput)));
}

TEST_F(AudioResamplerTest, WantsBothFormats) {
    LogCapture log;
    const auto line = Ffmpeg(Severity::Error, "CAudioResampler::Create: missing input params!");
    EXPECT_FALSE(resampler.Create(nullptr, &kMono, 100, room));
    EXPECT_FALSE(resampler.Create(&kMono, nullptr, 100, room));
    EXPECT_EQ(room, 77u);
    EXPECT_THAT(log.Take(), ElementsAre(line, line));
    EXPECT_EQ(resampler.GetInFormat()->sampleRate, 0);
}

TEST_F(AudioResamplerTest, ChecksForMissingFormatsWithoutTheLock) {
    GetMainFfmpegCodecLib()->Lock();
    std::thread other([&] { EXPECT_FALSE(resampler.Create(nullptr, nullptr, 100, room)); });
    other.join();
    GetMainFfmpegCodecLib()->Unlock();
}

TEST_F(AudioResamplerTest, KnowsTheLayoutsOfMonoAndStereo) {
    EXPECT_EQ(CAudioResampler::ConvertToFFmpegAudioLayout(1), 4);
    EXPECT_EQ(CAudioResampler::ConvertToFFmpegAudioLayout(2), 3);
    for (const int channels : {-1, 0, 3, 6}) {
        EXPECT_EQ(CAudioResampler::ConvertToFFmpegAudioLayout(channels), 0);
    }
}

TEST_F(AudioResamplerTest, KeepsItsFormats) {
    EXPECT_EQ(resampler.GetOutFormat()->channels, 0);
    const AUDIO_FORMAT out = {48000, 2, AUDIO_SAMPLE_FLT};
    EXPECT_TRUE(Create(kMono, out, 100));
    EXPECT_EQ(resampler.GetInFormat()->sampleRate, 8000);
    EXPECT_EQ(resampler.GetOutFormat()->sampleRate, 48000);
    EXPECT_EQ(resampler.GetOutFormat()->channels, 2);
    EXPECT_EQ(resampler.GetOutFormat()->sampleFormat, AUDIO_SAMPLE_FLT);
}

TEST_F(AudioResamplerTest, TakesItsOwnFormatsSwapped) {
    const AUDIO_FORMAT out = {48000, 2, AUDIO_SAMPLE_FLT};
    EXPECT_TRUE(Create(kMono, out, 100));
    EXPECT_TRUE(resampler.Create(resampler.GetOutFormat(), resampler.GetInFormat(), 100, room));
    EXPECT_EQ(resampler.GetInFormat()->sampleRate, 48000);
    EXPECT_EQ(resampler.GetOutFormat()->sampleRate, 8000);
}

TEST_F(AudioResamplerTest, IsDisposedOfByDelete) {
    auto* another = new CAudioResampler;
    another->Delete();  // the leak check of a sanitized run counts
}

// Not ready: never created, destroyed, failed.
TEST_F(AudioResamplerTest, ResamplesNothingWhenItIsNotReady) {
    const auto line = Ffmpeg(Severity::Error, "CAudioResampler::Resample: error!");
    Bytes in(100), out(100);
    unsigned int length = 55;
    LogCapture log;
    EXPECT_FALSE(resampler.Resample(in.data(), 100, out.data(), length));
    EXPECT_TRUE(Create(kMono, kMono, 100));
    resampler.Destroy();
    resampler.Destroy();
    EXPECT_FALSE(resampler.Resample(in.data(), 100, out.data(), length));
    EXPECT_TRUE(Create(kMono, kMono, 100));
    EXPECT_FALSE(Create({1, 1, 1}, {1, 1, 1}, 0x40000000));
    log.Take();
    EXPECT_FALSE(resampler.Resample(in.data(), 100, out.data(), length));
    EXPECT_THAT(log.Take(), ElementsAre(line));
    EXPECT_EQ(length, 55u);
}

TEST_F(AudioResamplerTest, StaysReadyWhenASecondCreateIsRefusedEarly) {
    EXPECT_TRUE(Create(kMono, kMono, 100));
    EXPECT_FALSE(Create(kMono, {8000, 3, 2}, 100));
    EXPECT_EQ(Resample(Bytes(100, 1)), Bytes(100, 1));
    EXPECT_FALSE(Create(kMono, {8000, 0, 2}, 100));
    EXPECT_EQ(Resample(Bytes(100, 1)), Bytes()) << "no channels, no room";
    EXPECT_FALSE(Create(kMono, kMono, 0));
    EXPECT_EQ(Resample(Bytes(0)), Bytes(100, 1)) << "what had no room before";
}

TEST_F(AudioResamplerTest, StartsAnewOnASecondCreate) {
    EXPECT_TRUE(Create(kMono, {48000, 1, AUDIO_SAMPLE_S16}, 1000));
    EXPECT_TRUE(Create(kMono, kMono, 1000));  // the leak check of a sanitized run counts
    EXPECT_EQ(Resample(Bytes(100, 1)).size(), 100u);
}

TEST_F(AudioResamplerTest, RefusesTwoPlanesOnEitherSide) {
    const auto line = Ffmpeg(Severity::Error, "CAudioResampler::Resample: error!");
    const AUDIO_FORMAT packed = {8000, 2, AUDIO_SAMPLE_S16};
    for (const int planar :
         {AUDIO_SAMPLE_U8P, AUDIO_SAMPLE_S16P, AUDIO_SAMPLE_S32P, AUDIO_SAMPLE_FLTP, AUDIO_SAMPLE_DBLP}) {
        Bytes in(100), out(100000);
        unsigned int length = 55;
        ASSERT_TRUE(Create({8000, 2, planar}, packed, 100));
        LogCapture log;
        EXPECT_FALSE(resampler.Resample(in.data(), 100, out.data(), length));
        ASSERT_TRUE(Create(packed, {8000, 2, planar}, 100));
        EXPECT_FALSE(resampler.Resample(in.data(), 100, out.data(), length));
        // The formats now told are others, the resampler is still the planar one.
        EXPECT_FALSE(Create(packed, packed, 0));
        EXPECT_FALSE(resampler.Resample(in.data(), 100, out.data(), length));
        EXPECT_THAT(log.Take(), ElementsAre(line, line, Ffmpeg(Severity::Error, kIncorrect), line));
        EXPECT_EQ(length, 55u);
    }
    ASSERT_TRUE(Create(packed, packed, 100));
    EXPECT_EQ(Resample(Bytes(100)).size(), 100u);
}

TEST_F(AudioResamplerTest, TakesOnePlane) {
    const std::vector<float> in = {0.5f, -0.5f, 0.25f};
    ASSERT_TRUE(Create({8000, 1, AUDIO_SAMPLE_FLTP}, {8000, 1, AUDIO_SAMPLE_S16P}, 100));
    EXPECT_EQ(As<short>(Resample(AsBytes(in))), (std::vector<short>{16384, -16384, 8192}));
}

TEST_F(AudioResamplerTest, RefusesMissingBuffers) {
    ASSERT_TRUE(Create(kMono, kMono, 100));
    Bytes in(100), out(100000);
    unsigned int length = 55;
    LogCapture log;
    EXPECT_FALSE(resampler.Resample(nullptr, 100, out.data(), length));
    EXPECT_FALSE(resampler.Resample(in.data(), 100, nullptr, length));
    EXPECT_EQ(log.Take().size(), 2u);
    EXPECT_EQ(length, 55u);
    EXPECT_TRUE(resampler.Resample(nullptr, 1, out.data(), length)) << "less than a sample group is nothing";
    EXPECT_EQ(length, 0u);
}

TEST_F(AudioResamplerTest, RefusesMoreSamplesThanFfmpegCounts) {
    ASSERT_TRUE(Create({192000, 1, AUDIO_SAMPLE_U8}, {8000, 1, AUDIO_SAMPLE_U8}, 100));
    unsigned char byte = 0;
    Bytes out(room);
    unsigned int length = 55;
    EXPECT_FALSE(resampler.Resample(&byte, 0x80000000u, out.data(), length));
}

// The first estimate wraps to little, the second is 2^31 and more.
TEST_F(AudioResamplerTest, OffersFfmpegNoMoreRoomThanItCounts) {
    ASSERT_TRUE(Create({1, 1, AUDIO_SAMPLE_U8}, {1, 1, AUDIO_SAMPLE_U8}, 0x80000000u));
    ASSERT_EQ(room, 0x80008000u);
    Bytes in(100, 7), out(100);
    unsigned int length = 0;
    EXPECT_TRUE(resampler.Resample(in.data(), 100, out.data(), length));
    EXPECT_EQ(length, 100u);
    EXPECT_EQ(out, in);
}

TEST_F(AudioResamplerTest, DropsAPartialSampleGroup) {
    ASSERT_TRUE(Create({8000, 2, AUDIO_SAMPLE_S16}, {8000, 2, AUDIO_SAMPLE_S16}, 100));
    EXPECT_EQ(Resample({1, 2, 3}).size(), 0u);
    EXPECT_EQ(Resample({1, 2, 3, 4, 5, 6, 7}), (Bytes{1, 2, 3, 4}));
}

TEST_F(AudioResamplerTest, OffersHalfOfTheRoomToStereo) {
    const AUDIO_FORMAT stereo = {8000, 2, AUDIO_SAMPLE_S16};
    ASSERT_TRUE(Create(stereo, stereo, 5));
    ASSERT_EQ(room, 56408u);
    Bytes in(60000);
    for (std::size_t i = 0; i < in.size(); ++i) {
        in[i] = static_cast<unsigned char>(i * 7 / 5);
    }
    const Bytes first = Resample(in);
    EXPECT_EQ(first.size(), 28204u);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), in.begin()));
    // The rest comes with the next calls.
    const Bytes second = Resample({});
    EXPECT_EQ(second.size(), 28204u);
    EXPECT_TRUE(std::equal(second.begin(), second.end(), in.begin() + 28204));
    EXPECT_EQ(Resample({}).size(), 60000u - 2 * 28204u);

    ASSERT_TRUE(Create({8000, 1, AUDIO_SAMPLE_S16}, {8000, 1, AUDIO_SAMPLE_S16}, 5));
    ASSERT_EQ(room, 36400u);
    EXPECT_EQ(Resample(in).size(), 36400u) << "all of the room to mono";
}

TEST_F(AudioResamplerTest, ResamplesWithoutTheLibraryLock) {
    ASSERT_TRUE(Create(kMono, kMono, 100));
    GetMainFfmpegCodecLib()->Lock();
    std::thread other([&] { EXPECT_EQ(Resample(Bytes(100)).size(), 100u); });
    other.join();
    GetMainFfmpegCodecLib()->Unlock();
}

}  // namespace
