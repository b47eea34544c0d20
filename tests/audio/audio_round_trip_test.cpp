// What the encoders make is decoded again and compared with what went in.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "audio/audio_packets.h"
#include "audio/sound.h"
#include "codrelay/audio_format.h"
#include "codrelay/factories.h"
#include "codrelay/media_ids.h"

namespace {

struct RoundTrip {
    const char* name;
    int id;
    int sampleFormat;
    int sampleRate;
    int channels;
    unsigned int bitRate;
    double floor;  // of the signal to noise, in dB
};

// The tones of the two channels: 500 Hz left, 1500 Hz right.
std::vector<std::vector<double>> Tones(const RoundTrip& trip) {
    const auto count = static_cast<std::size_t>(trip.sampleRate);
    std::vector<std::vector<double>> channels = {Tone(500, trip.sampleRate, count)};
    if (trip.channels == 2) {
        channels.push_back(Tone(1500, trip.sampleRate, count));
    }
    return channels;
}

template <typename Sample>
Bytes Interleaved(const std::vector<std::vector<double>>& channels, double fullScale) {
    std::vector<Sample> samples;
    for (std::size_t i = 0; i < channels[0].size(); ++i) {
        for (const auto& channel : channels) {
            samples.push_back(static_cast<Sample>(channel[i] * fullScale));
        }
    }
    Bytes bytes(samples.size() * sizeof(Sample));
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

Bytes AsInput(const RoundTrip& trip, const std::vector<std::vector<double>>& channels) {
    switch (trip.sampleFormat) {
        case AUDIO_SAMPLE_S16:
            return Interleaved<int16_t>(channels, 32767);
        case AUDIO_SAMPLE_S32:
            return Interleaved<int32_t>(channels, 2147483647.0);
        default:
            return Interleaved<float>(channels, 1);
    }
}

// Drives an encoder as a host does, in pieces of an odd size.
std::vector<Bytes> EncodeAll(const RoundTrip& trip, const Bytes& input) {
    CAudioEncoderBase* encoder = Codrelay_AudioEncoder(trip.id);
    const AUDIO_FORMAT format = {trip.sampleRate, trip.channels, trip.sampleFormat};
    EXPECT_TRUE(encoder->CreateEncoder(&format, trip.bitRate));
    std::vector<Bytes> packets;
    Bytes waiting;
    Bytes out(65536);
    for (std::size_t at = 0; at < input.size(); at += 5001) {
        waiting.insert(waiting.end(), input.begin() + static_cast<long>(at),
                       input.begin() + static_cast<long>(std::min(input.size(), at + 5001)));
        unsigned int consumed = 0;
        do {
            unsigned int written = 0;
            long long pts = 0;
            if (waiting.size() < 64) {
                break;
            }
            EXPECT_EQ(encoder->Encode(waiting.data(), static_cast<unsigned int>(waiting.size()), out.data(), 65536,
                                      consumed, written, pts),
                      1);
            waiting.erase(waiting.begin(), waiting.begin() + consumed);
            if (written > 0) {
                packets.emplace_back(out.begin(), out.begin() + written);
            }
        } while (consumed != 0);
    }
    encoder->DestroyEncoder();
    encoder->Delete();
    return packets;
}

std::vector<double> DecodedChannel(const RoundTrip& trip, const Decoded& decoded, std::size_t channel) {
    const auto step = static_cast<std::size_t>(trip.channels);
    return trip.id == AUDIO_CODEC_AAC ? Channel(decoded.As<float>(), channel, step)
                                      : Channel(decoded.As<short>(), channel, step, 32767);
}

class RoundTrips : public testing::TestWithParam<RoundTrip> {};

TEST_P(RoundTrips, KeepEachToneInItsChannel) {
    const RoundTrip& trip = GetParam();
    const auto tones = Tones(trip);
    const auto packets = EncodeAll(trip, AsInput(trip, tones));
    ReadyDecoder decoder(trip.id, trip.channels, trip.sampleRate);
    ASSERT_TRUE(decoder.IsReady());
    const Decoded decoded = DecodeAll(decoder.Get(), packets);
    for (std::size_t i = 0; i < tones.size(); ++i) {
        const double own = i == 0 ? 500 : 1500;
        const double other = i == 0 ? 1500 : 500;
        std::vector<double> sound = DecodedChannel(trip, decoded, i);
        ASSERT_GT(sound.size(), tones[i].size() * 8 / 10);
        const std::size_t delay = DelayOf(sound, tones[i], 4096, 2048, 3000);
        std::vector<double> expected = tones[i];
        expected.resize(sound.size() - delay);
        // Both without the codec's start.
        const std::vector<double> heard(sound.begin() + static_cast<long>(delay) + 4096, sound.end());
        std::vector<double> wanted(expected.begin() + 4096, expected.end());
        // LAME turns the sound down by up to 5 %; that is no noise.
        const double gain = AmplitudeAt(own, trip.sampleRate, heard) / 0.5;
        EXPECT_GT(gain, trip.id == AUDIO_CODEC_MP3 ? 0.94 : 0.98) << "channel " << i;
        EXPECT_LT(gain, 1.02) << "channel " << i;
        std::transform(wanted.begin(), wanted.end(), wanted.begin(), [=](double value) { return value * gain; });
        EXPECT_GT(SignalToNoise(heard, wanted), trip.floor) << "channel " << i;
        EXPECT_LT(AmplitudeAt(other, trip.sampleRate, heard), 0.005) << "cross-talk in channel " << i;
    }
}

// The floors lie a few dB below what each codec reaches at its bit rate.
INSTANTIATE_TEST_SUITE_P(
    Encoders, RoundTrips,
    testing::Values(RoundTrip{"PcmMono", AUDIO_CODEC_PCM_S16LE, AUDIO_SAMPLE_S16, 8000, 1, 0, 80},
                    RoundTrip{"PcmStereo", AUDIO_CODEC_PCM_S16LE, AUDIO_SAMPLE_S16, 44100, 2, 0, 80},
                    RoundTrip{"Mp3Mono", AUDIO_CODEC_MP3, AUDIO_SAMPLE_S16, 44100, 1, 128000, 70},
                    RoundTrip{"Mp3Stereo", AUDIO_CODEC_MP3, AUDIO_SAMPLE_S16, 44100, 2, 192000, 70},
                    RoundTrip{"Mp3StereoOf32Bits", AUDIO_CODEC_MP3, AUDIO_SAMPLE_S32, 48000, 2, 192000, 70},
                    RoundTrip{"Mp3StereoAt22050", AUDIO_CODEC_MP3, AUDIO_SAMPLE_S16, 22050, 2, 128000, 70},
                    RoundTrip{"AacMono", AUDIO_CODEC_AAC, AUDIO_SAMPLE_FLT, 44100, 1, 96000, 30},
                    RoundTrip{"AacStereo", AUDIO_CODEC_AAC, AUDIO_SAMPLE_FLT, 48000, 2, 128000, 30},
                    RoundTrip{"AacStereoAt16000", AUDIO_CODEC_AAC, AUDIO_SAMPLE_FLT, 16000, 2, 64000, 30}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Encoders, PcmComesBackBitForBit) {
    const RoundTrip trip = {"", AUDIO_CODEC_PCM_S16LE, AUDIO_SAMPLE_S16, 44100, 2, 0, 0};
    const Bytes input = AsInput(trip, Tones(trip));
    Bytes joined;
    for (const Bytes& packet : EncodeAll(trip, input)) {
        joined.insert(joined.end(), packet.begin(), packet.end());
    }
    EXPECT_GE(joined.size() + 64, input.size());
    EXPECT_TRUE(std::equal(joined.begin(), joined.end(), input.begin()));
}

}  // namespace
