#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <numeric>

#include "audio/audio_encoder_fixture.h"
#include "audio/scripted_failures.h"
#include "codrelay/audio_format.h"
#include "common/allocation_counter.h"
#include "common/guarded_buffer.h"
#include "common/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

// What the codec was given last.
struct {
    const unsigned char* samples;
    const unsigned char* out;
    int64_t pts;
    int nbSamples;
} g_Encoded;

}  // namespace

extern "C" {

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

TEST_F(AudioEncoderTest, TakesStereoApartTheLeftChannelFirst) {
    struct {
        CAudioEncoder& encoder;
        int flag;
        std::size_t sampleBytes, frameSamples;
    } const rows[] = {{Mp3(), AUDIO_SAMPLE_S16, 2, 1152}, {Mp3(), AUDIO_SAMPLE_S32, 4, 1152}};
    std::iota(in.begin(), in.end(), static_cast<unsigned char>(0));
    for (const auto& row : rows) {
        ASSERT_TRUE(Create(row.encoder, 44100, 2, row.flag));
        const std::size_t plane = row.sampleBytes * row.frameSamples;
        // One byte on: the host's samples may lie anywhere.
        pts = 0;
        ASSERT_EQ(row.encoder.Encode(in.data() + 1, static_cast<unsigned int>(2 * plane), out.data(), 16384, consumed,
                                     written, pts),
                  1);
        for (std::size_t i = 0; i < plane; ++i) {
            const std::size_t group = i / row.sampleBytes * 2 * row.sampleBytes;
            ASSERT_EQ(g_Encoded.samples[i], in[1 + group + i % row.sampleBytes]) << "left, byte " << i;
            ASSERT_EQ(g_Encoded.samples[plane + i], in[1 + group + row.sampleBytes + i % row.sampleBytes])
                << "right, byte " << i;
        }
    }
}

TEST_F(AudioEncoderTest, GivesTheMemoryOfItsStagingBackWhenItIsDestroyed) {
    auto& encoder = Mp3();
    ASSERT_TRUE(Create(encoder, 44100, 2, AUDIO_SAMPLE_S16));
    const AllocationCounter allocations;
    encoder.DestroyEncoder();
    EXPECT_EQ(allocations.freed, 1);
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

// Hosts know the count of samples to wrap in 32 bits.
TEST_F(AudioEncoderTest, CountsTheBitsOfPcmIn32Bits) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    LogCapture log;
    EXPECT_EQ(Encode(encoder, 0x20000000u), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Error, "CAudioEncoder::Encode: input param error!")));
    EXPECT_EQ(Encode(encoder, 0x20000004u), 1);
    EXPECT_EQ(consumed, 4u);
    EXPECT_EQ(Encode(encoder, 0x80000004u), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: fill frame failed!")));
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
    const auto line = Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: fill frame failed!");
    EXPECT_THAT(log.Take(), ElementsAre(line));
    EXPECT_EQ(Encode(encoder, 20), 1);
    EXPECT_EQ(pts, 0);
    {
        const Failing failing("avcodec_fill_audio_frame");
        EXPECT_EQ(Encode(encoder, 20, 90000), 0);
    }
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Info, "CAudioEncoder::Encode: diffPts=-10, change from=10, to=90000"), line));
    EXPECT_EQ(Encode(encoder, 20), 1);
    EXPECT_EQ(pts, 90000) << "the clock has followed the host already";
}

// Also where the samples are taken apart, of which FFmpeg never sees the host's length.
TEST_F(AudioEncoderTest, RefusesALengthOfTwoGigabytesAndNoSamplesAtAll) {
    struct {
        CAudioEncoder& encoder;
        int channels, flag;
        unsigned int frameBytes;
    } const rows[] = {{Aac(), 1, AUDIO_SAMPLE_FLT, 4096},
                      {Aac(), 2, AUDIO_SAMPLE_FLT, 8192},
                      {Mp3(), 1, AUDIO_SAMPLE_S16, 2304},
                      {Mp3(), 2, AUDIO_SAMPLE_S16, 4608},
                      {Mp3(), 2, AUDIO_SAMPLE_S32, 9216}};
    const auto line = Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: fill frame failed!");
    const GuardedBuffer guard(1);  // nothing behind it may be read
    for (const auto& row : rows) {
        ASSERT_TRUE(Create(row.encoder, 44100, row.channels, row.flag));
        LogCapture log;
        for (const unsigned int length : {0x80000000u, UINT_MAX}) {
            pts = 5;
            EXPECT_EQ(row.encoder.Encode(guard.Last(1), length, out.data(), 16384, consumed, written, pts), 0);
            EXPECT_EQ(consumed, 0u);
            EXPECT_EQ(written, 0u);
            EXPECT_EQ(pts, 0);
            EXPECT_THAT(log.Take(), ElementsAre(line));
        }
        EXPECT_EQ(row.encoder.Encode(nullptr, row.frameBytes, out.data(), 16384, consumed, written, pts), 0);
        EXPECT_THAT(log.Take(), ElementsAre(line));
        EXPECT_EQ(Encode(row.encoder, row.frameBytes), 1) << "stays usable";
        EXPECT_EQ(consumed, row.frameBytes);
        EXPECT_EQ(g_Encoded.pts, 0) << "the failed calls did not move the clock";
    }
}

TEST_F(AudioEncoderTest, RefusesNoSamplesOfPcm) {
    auto& encoder = Pcm();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_S16));
    LogCapture log;
    EXPECT_EQ(encoder.Encode(nullptr, 20, out.data(), 100, consumed, written, pts), 0);
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(pts, 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: fill frame failed!")));
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

}  // namespace
