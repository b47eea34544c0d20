#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "audio/audio_encoder.h"

/// Encoders that the test takes through their states itself, and what their calls fill in.
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
