#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "audio/audio_encoder_fixture.h"
#include "codrelay/audio_format.h"
#include "common/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using uvqlog::Severity;

namespace {

constexpr float kLargest = 8192;
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();

LoggedLine Refusal() {
    return Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: encoding failed: -22");
}

/// Frames of AAC, sample by sample.
class AacRangeTest : public AudioEncoderTest {
protected:
    void PutSample(std::size_t index, float sample) {
        std::memcpy(in.data() + index * sizeof(sample), &sample, sizeof(sample));
    }

    // Noise, the same for the same seed.
    void PutNoise(float amplitude, std::size_t count, unsigned int seed) {
        std::minstd_rand random(seed);
        std::uniform_real_distribution<float> samples(-amplitude, amplitude);
        for (std::size_t i = 0; i < count; ++i) {
            PutSample(i, samples(random));
        }
    }

    std::vector<unsigned char> Packet() const { return {out.begin(), out.begin() + written}; }
};

TEST_F(AacRangeTest, EndsWhereFfmpegMayNotReturn) {
    for (const int channels : {1, 2}) {
        auto& encoder = Aac();
        ASSERT_TRUE(Create(encoder, 48000, channels, AUDIO_SAMPLE_FLT));
        const std::size_t count = std::size_t(1024) * static_cast<std::size_t>(channels);
        const float beyond = std::nextafter(kLargest, kInfinity);
        LogCapture log;
        for (const float sample : {beyond, -beyond, 32767.0f, -kInfinity, kInfinity, kNoNumber, -kNoNumber}) {
            for (const std::size_t index : {std::size_t(0), std::size_t(517), count - 2, count - 1}) {
                PutNoise(1, count, 1);
                PutSample(index, sample);
                consumed = written = 77;
                EXPECT_EQ(Encode(encoder, 65536), 0) << sample << " at " << index;
                EXPECT_EQ(consumed, 0u);
                EXPECT_EQ(written, 0u);
                EXPECT_EQ(pts, 0);
                EXPECT_THAT(log.Take(), ElementsAre(Refusal()));
                EXPECT_EQ(encoder.IsCreated(), 1);
            }
        }
    }
}

TEST_F(AacRangeTest, HoldsEverySampleUpToItsEnd) {
    for (const int channels : {1, 2}) {
        auto& encoder = Aac();
        ASSERT_TRUE(Create(encoder, 48000, channels, AUDIO_SAMPLE_FLT));
        const auto frameBytes = static_cast<unsigned int>(4096 * channels);
        LogCapture log;
        for (unsigned int i = 0; i < 8; ++i) {
            PutNoise(kLargest, frameBytes / 4, i);
            PutSample(0, kLargest);
            PutSample(frameBytes / 4 - 1, -kLargest);
            PutSample(frameBytes / 4, kNoNumber);  // of the next frame, at which nobody has looked yet
            EXPECT_EQ(Encode(encoder, frameBytes + 100), 1);
            EXPECT_EQ(consumed, frameBytes);
            EXPECT_EQ(written == 0, i == 0);
        }
        EXPECT_THAT(log.Take(), IsEmpty());
    }
}

// FFmpeg alone does not return from one of these frames.
TEST_F(AacRangeTest, KeepsOutSamplesOf16BitsThatAreGivenAsFloats) {
    auto& encoder = Aac();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_FLT, 24000));
    LogCapture log;
    for (unsigned int i = 0; i < 20; ++i) {
        PutNoise(32767, 1024, i);
        EXPECT_EQ(Encode(encoder, 4096), 0);
        EXPECT_THAT(log.Take(), ElementsAre(Refusal()));
    }
}

// Nothing of a refused frame stays inside: packets and times of the others are those without it.
TEST_F(AacRangeTest, LeavesTheEncoderAsItWas) {
    for (const int channels : {1, 2}) {
        auto& plain = Aac();
        auto& disturbed = Aac();
        ASSERT_TRUE(Create(plain, 48000, channels, AUDIO_SAMPLE_FLT));
        ASSERT_TRUE(Create(disturbed, 48000, channels, AUDIO_SAMPLE_FLT));
        const auto frameBytes = static_cast<unsigned int>(4096 * channels);
        const LogCapture quiet;
        for (unsigned int i = 0; i < 10; ++i) {
            for (unsigned int refused = 0; refused < i % 3; ++refused) {
                PutNoise(1, frameBytes / 4, 100 + i);
                PutSample(i, kInfinity);
                EXPECT_EQ(Encode(disturbed, frameBytes), 0);
            }
            PutNoise(0.5f, frameBytes / 4, i);
            EXPECT_EQ(Encode(plain, frameBytes), 1);
            const std::vector<unsigned char> expected = Packet();
            const long long expectedPts = pts;
            EXPECT_EQ(Encode(disturbed, frameBytes), 1);
            EXPECT_EQ(Packet(), expected) << i;
            EXPECT_EQ(pts, expectedPts) << i;
        }
    }
}

TEST_F(AacRangeTest, FollowsTheHostsClockBeforeItRefuses) {
    auto& encoder = Aac();
    ASSERT_TRUE(Create(encoder, 8000, 1, AUDIO_SAMPLE_FLT));
    PutSample(0, kNoNumber);
    LogCapture log;
    EXPECT_EQ(Encode(encoder, 4096, 90000), 0);
    EXPECT_EQ(pts, 0);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(Ffmpeg(Severity::Info, "CAudioEncoder::Encode: diffPts=0, change from=0, to=90000"), Refusal()));
    PutSample(0, 0);
    EXPECT_EQ(Encode(encoder, 4096), 1);
    EXPECT_EQ(Encode(encoder, 4096), 1);
    EXPECT_EQ(pts, 90000 - 1024);
}

// Their samples are integers, and bytes that would be no float are as good as any.
TEST_F(AacRangeTest, IsNotAskedForOtherCodecs) {
    struct {
        CAudioEncoder& encoder;
        int flag;
    } const rows[] = {{Pcm(), AUDIO_SAMPLE_S16}, {Mp3(), AUDIO_SAMPLE_S16}, {Mp3(), AUDIO_SAMPLE_S32}};
    std::fill(in.begin(), in.end(), static_cast<unsigned char>(0x7F));
    for (const auto& row : rows) {
        ASSERT_TRUE(Create(row.encoder, 44100, 2, row.flag));
        EXPECT_EQ(Encode(row.encoder, 9216), 1);
        EXPECT_GT(consumed, 0u);
    }
}

}  // namespace
