#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "audio/audio_resampler.h"
#include "codrelay/audio_format.h"

using Bytes = std::vector<unsigned char>;

/// A resampler that the test takes through its states itself.
class AudioResamplerTest : public testing::Test {
protected:
    ~AudioResamplerTest() override { resampler.Destroy(); }

    bool Create(const AUDIO_FORMAT& in, const AUDIO_FORMAT& out, unsigned int inBufLen) {
        return resampler.Create(&in, &out, inBufLen, room);
    }

    // The whole input in one call.
    Bytes Resample(const Bytes& in) {
        Bytes data = in;
        Bytes out(room);
        unsigned int length = 0;
        EXPECT_TRUE(resampler.Resample(data.data(), static_cast<unsigned int>(data.size()), out.data(), length));
        out.resize(length);
        return out;
    }

    CAudioResampler resampler;
    unsigned int room = 77;
};

template <typename Sample>
Bytes AsBytes(const std::vector<Sample>& samples) {
    Bytes bytes(samples.size() * sizeof(Sample));
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

template <typename Sample>
std::vector<Sample> As(const Bytes& bytes) {
    std::vector<Sample> samples(bytes.size() / sizeof(Sample));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(Sample));
    return samples;
}
