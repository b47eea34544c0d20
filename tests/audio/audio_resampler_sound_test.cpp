// What comes out of the resampler, sample by sample.

#include <algorithm>
#include <cmath>

#include "audio/audio_resampler_fixture.h"
#include "audio/sound.h"

namespace {

TEST_F(AudioResamplerTest, GivesTheSameSamplesForChunksOfAnySize) {
    const AUDIO_FORMAT in = {8000, 2, AUDIO_SAMPLE_S16};
    const AUDIO_FORMAT out = {44100, 1, AUDIO_SAMPLE_S16};
    std::vector<short> samples = AsShorts(Murmur(8000, 8000));
    const Bytes bytes = AsBytes(samples);
    ASSERT_TRUE(Create(in, out, static_cast<unsigned int>(bytes.size())));
    const Bytes whole = Resample(bytes);
    ASSERT_TRUE(Create(in, out, static_cast<unsigned int>(bytes.size())));
    Bytes chunked;
    std::size_t at = 0;
    for (std::size_t size = 4; at < bytes.size(); size = size % 1000 + 52) {
        const std::size_t end = std::min(bytes.size(), at + size);
        const Bytes part =
            Resample(Bytes(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(end)));
        chunked.insert(chunked.end(), part.begin(), part.end());
        at = end;
    }
    EXPECT_EQ(chunked, whole);
    EXPECT_GT(whole.size(), 4000u / 8 * 44100 / 1000 * 2 - 200);
}

TEST_F(AudioResamplerTest, SpreadsMonoOverStereoAndBack) {
    const std::vector<short> mono = {100, -200, 30000};
    ASSERT_TRUE(Create({8000, 1, AUDIO_SAMPLE_S16}, {8000, 2, AUDIO_SAMPLE_S16}, 100));
    const auto stereo = As<short>(Resample(AsBytes(mono)));
    // FFmpeg shares the power: each side gets 1 / sqrt(2).
    EXPECT_EQ(stereo, (std::vector<short>{71, 71, -141, -141, 21213, 21213}));
    ASSERT_TRUE(Create({8000, 2, AUDIO_SAMPLE_S16}, {8000, 1, AUDIO_SAMPLE_S16}, 100));
    EXPECT_EQ(As<short>(Resample(AsBytes(stereo))), (std::vector<short>{71, -141, 21213}));
    EXPECT_EQ(As<short>(Resample(AsBytes(std::vector<short>{1000, 3000}))), std::vector<short>{2000}) << "the mean";
}

// Floats may be larger than 1, so FFmpeg keeps the power where they come out, and the mean where integers do.
TEST_F(AudioResamplerTest, AddsThePowerOfBothSidesWhereFloatsComeOut) {
    const Bytes mono = AsBytes(std::vector<float>{0.5f});
    const Bytes stereo = AsBytes(std::vector<float>{0.5f, 0.5f});
    ASSERT_TRUE(Create({8000, 1, AUDIO_SAMPLE_FLT}, {8000, 2, AUDIO_SAMPLE_FLT}, 100));
    const auto spread = As<float>(Resample(mono));
    ASSERT_EQ(spread.size(), 2u);
    EXPECT_FLOAT_EQ(spread[0], static_cast<float>(0.5 * std::sqrt(0.5)));
    EXPECT_FLOAT_EQ(spread[1], spread[0]);
    ASSERT_TRUE(Create({8000, 2, AUDIO_SAMPLE_FLT}, {8000, 1, AUDIO_SAMPLE_FLT}, 100));
    const auto added = As<float>(Resample(stereo));
    ASSERT_EQ(added.size(), 1u);
    EXPECT_FLOAT_EQ(added[0], static_cast<float>(0.5 * std::sqrt(2.0)));
    const Bytes integers = AsBytes(std::vector<short>{16384, 16384});
    ASSERT_TRUE(Create({8000, 2, AUDIO_SAMPLE_S16}, {8000, 1, AUDIO_SAMPLE_FLT}, 100));
    EXPECT_EQ(As<float>(Resample(integers)), added);
    ASSERT_TRUE(Create({8000, 2, AUDIO_SAMPLE_FLT}, {8000, 1, AUDIO_SAMPLE_S16}, 100));
    EXPECT_EQ(As<short>(Resample(stereo)), std::vector<short>{16384});
}

// Every packed format to every other: ramps that each can hold exactly enough.
TEST_F(AudioResamplerTest, ConvertsEveryPackedFormatToEveryOther) {
    const auto bytesOf = [](int flag, const std::vector<double>& values) {
        switch (flag) {
            case AUDIO_SAMPLE_U8: {
                Bytes samples;
                for (const double value : values) {
                    samples.push_back(static_cast<unsigned char>(value * 128 + 128));
                }
                return samples;
            }
            case AUDIO_SAMPLE_S16: {
                std::vector<int16_t> samples;
                for (const double value : values) {
                    samples.push_back(static_cast<int16_t>(value * 32768));
                }
                return AsBytes(samples);
            }
            case AUDIO_SAMPLE_S32: {
                std::vector<int32_t> samples;
                for (const double value : values) {
                    samples.push_back(static_cast<int32_t>(value * 2147483648.0));
                }
                return AsBytes(samples);
            }
            case AUDIO_SAMPLE_FLT:
                return AsBytes(std::vector<float>(values.begin(), values.end()));
            default:
                return AsBytes(values);
        }
    };
    // Steps of 1/128, which every format holds exactly.
    std::vector<double> values;
    for (int step = -128; step < 128; ++step) {
        values.push_back(step / 128.0);
    }
    const int flags[] = {AUDIO_SAMPLE_U8, AUDIO_SAMPLE_S16, AUDIO_SAMPLE_S32, AUDIO_SAMPLE_FLT, AUDIO_SAMPLE_DBL};
    for (const int from : flags) {
        for (const int to : flags) {
            for (const int channels : {1, 2}) {
                ASSERT_TRUE(Create({8000, channels, from}, {8000, channels, to}, 4096));
                EXPECT_EQ(Resample(bytesOf(from, values)), bytesOf(to, values)) << from << " to " << to;
            }
        }
    }
}

TEST_F(AudioResamplerTest, KeepsTheAmplitudeOfEveryPitchInThePassBand) {
    struct {
        int inRate, outRate;
    } const rows[] = {{8000, 48000}, {48000, 8000}, {44100, 48000}, {48000, 16000}};
    for (const auto& row : rows) {
        const int lower = std::min(row.inRate, row.outRate);
        for (const double part : {0.01, 0.05, 0.1, 0.2, 0.3, 0.4}) {
            const double frequency = part * lower;
            const auto count = static_cast<std::size_t>(row.inRate);
            const std::vector<double> tone = Tone(frequency, row.inRate, count);
            ASSERT_TRUE(Create({row.inRate, 1, AUDIO_SAMPLE_DBL}, {row.outRate, 1, AUDIO_SAMPLE_DBL},
                               static_cast<unsigned int>(count * 8)));
            std::vector<double> out = As<double>(Resample(AsBytes(tone)));
            ASSERT_GT(out.size(), static_cast<std::size_t>(row.outRate) * 9 / 10);
            out.erase(out.begin(), out.begin() + row.outRate / 10);  // where the filter starts
            const double decibels = 20 * std::log10(AmplitudeAt(frequency, row.outRate, out) / 0.5);
            EXPECT_NEAR(decibels, 0, 0.1) << row.inRate << " to " << row.outRate << " at " << frequency;
        }
    }
}

}  // namespace
