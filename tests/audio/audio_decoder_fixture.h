#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "audio/audio_decoder.h"
#include "audio/audio_packets.h"

/// Decoders that the test takes through their states itself, and what their calls fill in.
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
