#include "audio/opus_decoder.h"

#include <gtest/gtest.h>
#include <opus/opus.h>

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "audio/audio_packets.h"
#include "audio/sound.h"
#include "common/allocation_counter.h"
#include "common/log_capture.h"
#include "common/process.h"
#include "common/test_media.h"

using testing::Each;
using testing::IsEmpty;

namespace {

std::optional<int> g_DecodeResult;
std::optional<int> g_InitResult;
std::optional<int> g_Size;
std::vector<int> g_Rooms;
const void* g_State = nullptr;

}  // namespace

extern "C" {

int __real_opus_decode(OpusDecoder* decoder, const unsigned char* data, opus_int32 length, opus_int16* out, int room,
                       int fec);
int __wrap_opus_decode(OpusDecoder* decoder, const unsigned char* data, opus_int32 length, opus_int16* out, int room,
                       int fec) {
    g_Rooms.push_back(room);
    return g_DecodeResult ? *g_DecodeResult : __real_opus_decode(decoder, data, length, out, room, fec);
}

int __real_opus_decoder_init(OpusDecoder* decoder, opus_int32 rate, int channels);
int __wrap_opus_decoder_init(OpusDecoder* decoder, opus_int32 rate, int channels) {
    g_State = decoder;
    return g_InitResult ? *g_InitResult : __real_opus_decoder_init(decoder, rate, channels);
}

int __real_opus_decoder_get_size(int channels);
int __wrap_opus_decoder_get_size(int channels) {
    return g_Size ? *g_Size : __real_opus_decoder_get_size(channels);
}

}  // extern "C"

namespace {

class OpusDecoderTest : public testing::Test {
protected:
    OpusDecoderTest() {
        g_DecodeResult.reset();
        g_InitResult.reset();
        g_Size.reset();
        g_Rooms.clear();
    }

    bool Create(int channels, int sampleRate) {
        return decoder.CreateDecoder(channels, sampleRate, sampleFormat, nullptr, 0);
    }

    int Decode(const Bytes& packet, unsigned int room) {
        Bytes copy = packet;
        return decoder.Decode(copy.data(), static_cast<unsigned int>(copy.size()), out.data(), room, consumed, written);
    }

    COpusDecoder decoder;
    int sampleFormat = -7;
    unsigned int consumed = 77;
    unsigned int written = 77;
    std::vector<short> out = std::vector<short>(48000 * 4);
};

// Packets of one length of time each, by libopus's own encoder.
std::vector<Bytes> Encode(const std::vector<short>& samples, int sampleRate, int channels, int milliseconds) {
    int error = 0;
    OpusEncoder* encoder = opus_encoder_create(sampleRate, channels, OPUS_APPLICATION_AUDIO, &error);
    const int frame = sampleRate / 1000 * milliseconds;
    const std::size_t step = static_cast<std::size_t>(frame * channels);
    std::vector<Bytes> packets;
    for (std::size_t at = 0; at + step <= samples.size(); at += step) {
        Bytes packet(4000);
        const int size = opus_encode(encoder, samples.data() + at, frame, packet.data(), 4000);
        EXPECT_GT(size, 0);
        packet.resize(static_cast<std::size_t>(size));
        packets.push_back(packet);
    }
    opus_encoder_destroy(encoder);
    return packets;
}

std::vector<short> Stereo(const std::vector<double>& left, const std::vector<double>& right) {
    std::vector<double> both;
    for (std::size_t i = 0; i < left.size(); ++i) {
        both.push_back(left[i]);
        both.push_back(right[i]);
    }
    return AsShorts(both);
}

std::vector<Bytes> StereoPackets(int milliseconds = 20) {
    return Encode(Stereo(Tone(500, 48000, 24000), Tone(1500, 48000, 24000)), 48000, 2, milliseconds);
}

TEST_F(OpusDecoderTest, ReportsTheRoomOf120Milliseconds) {
    EXPECT_EQ(decoder.GetMinOutBufLen(), 1920) << "before any creation";
    struct {
        int rate, channels, bytes;
    } const rows[] = {{8000, 1, 1920},  {8000, 2, 3840},  {12000, 1, 2880},  {12000, 2, 5760},  {16000, 1, 3840},
                      {16000, 2, 7680}, {24000, 1, 5760}, {24000, 2, 11520}, {48000, 1, 11520}, {48000, 2, 23040}};
    for (const auto& row : rows) {
        EXPECT_TRUE(Create(row.channels, row.rate));
        EXPECT_TRUE(decoder.IsCreated());
        EXPECT_EQ(decoder.GetMinOutBufLen(), row.bytes) << row.rate << " " << row.channels;
    }
    decoder.DestroyDecoder();
    EXPECT_EQ(decoder.GetMinOutBufLen(), 23040);
    EXPECT_EQ(sampleFormat, -7) << "not touched";
}

TEST_F(OpusDecoderTest, RefusesOtherRatesAndChannelsAndEndsAnEarlierDecoder) {
    LogCapture log;
    struct {
        int channels, rate;
    } const rows[] = {{2, 44100}, {2, 0}, {2, -1}, {2, 96000}, {0, 48000}, {3, 48000}, {-1, 48000}};
    for (const auto& row : rows) {
        ASSERT_TRUE(Create(2, 48000));
        EXPECT_FALSE(Create(row.channels, row.rate)) << row.channels << " " << row.rate;
        EXPECT_FALSE(decoder.IsCreated());
        EXPECT_EQ(Decode(Bytes(10), 100), 4);
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(OpusDecoderTest, FailsWithLibopus) {
    g_Size = 0;
    EXPECT_FALSE(Create(2, 48000));
    g_Size.reset();
    g_InitResult = OPUS_INTERNAL_ERROR;
    EXPECT_FALSE(Create(2, 48000));
    EXPECT_FALSE(decoder.IsCreated());
    EXPECT_EQ(decoder.GetMinOutBufLen(), 1920);
    g_InitResult.reset();
    EXPECT_TRUE(Create(2, 48000));
}

TEST_F(OpusDecoderTest, DecodesNothingBeforeItIsCreatedButTakesIt) {
    EXPECT_EQ(Decode(Bytes(10), 100), 4);
    EXPECT_EQ(consumed, 10u);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(decoder.Decode(nullptr, 0x80000000u, nullptr, 0, consumed, written), 4);
    EXPECT_EQ(consumed, 0x80000000u);
    ASSERT_TRUE(Create(1, 8000));
    decoder.DestroyDecoder();
    EXPECT_EQ(Decode(Bytes(10), 100), 4);
}

TEST_F(OpusDecoderTest, StartsAgainOnASecondCreation) {
    ASSERT_TRUE(Create(2, 48000));
    EXPECT_TRUE(Create(1, 8000));
    EXPECT_EQ(Decode(StereoPackets().at(0), 23040), 0);
    EXPECT_EQ(written, 320u);
}

TEST_F(OpusDecoderTest, KeepsItsMemoryWhileTheChannelsStay) {
    ASSERT_TRUE(Create(2, 48000));
    const void* state = g_State;
    decoder.DestroyDecoder();
    {
        const AllocationCounter allocations;
        ASSERT_TRUE(Create(2, 16000));
        EXPECT_EQ(allocations.count, 0);
    }
    EXPECT_EQ(g_State, state);
    EXPECT_EQ(Decode(StereoPackets().at(0), 7680), 0);
    EXPECT_EQ(written, 640u);
}

TEST_F(OpusDecoderTest, AllocatesNothingToDecode) {
    ASSERT_TRUE(Create(2, 48000));
    Bytes packet = StereoPackets().at(0);
    g_Rooms.reserve(10);
    const AllocationCounter allocations;
    decoder.Decode(packet.data(), static_cast<unsigned int>(packet.size()), out.data(), 23040, consumed, written);
    EXPECT_EQ(allocations.count, 0);
}

TEST_F(OpusDecoderTest, ReportsHalfOfTheBytesOfStereo) {
    ASSERT_TRUE(Create(2, 48000));
    std::fill(out.begin(), out.end(), short(9999));
    const Bytes packet = StereoPackets().at(3);
    EXPECT_EQ(Decode(packet, 23040), 0);
    EXPECT_EQ(consumed, packet.size());
    EXPECT_EQ(written, 1920u);
    EXPECT_EQ(std::count(out.begin(), out.begin() + 1920, 9999), 0) << "3840 bytes are in the buffer";
    EXPECT_EQ(std::count(out.begin() + 1920, out.end(), 9999), static_cast<long>(out.size()) - 1920);
}

// Each rate and channel count gives the samples of libopus, called beside.
TEST_F(OpusDecoderTest, GivesTheSamplesOfLibopusAtEveryRate) {
    const auto packets = StereoPackets();
    for (const int rate : {8000, 12000, 16000, 24000, 48000}) {
        for (const int channels : {1, 2}) {
            ASSERT_TRUE(Create(channels, rate));
            int error = 0;
            OpusDecoder* plain = opus_decoder_create(rate, channels, &error);
            std::vector<short> expected(out.size());
            for (Bytes packet : packets) {
                const int count = __real_opus_decode(plain, packet.data(), static_cast<int>(packet.size()),
                                                     expected.data(), rate / 1000 * 120, 0);
                ASSERT_EQ(count, rate / 50);
                ASSERT_EQ(Decode(packet, static_cast<unsigned int>(decoder.GetMinOutBufLen())), 0);
                ASSERT_EQ(written, static_cast<unsigned int>(count * 2));
                ASSERT_TRUE(std::equal(out.begin(), out.begin() + count * channels, expected.begin()));
            }
            opus_decoder_destroy(plain);
        }
    }
}

TEST_F(OpusDecoderTest, KeepsTonesInTheirChannels) {
    ASSERT_TRUE(Create(2, 48000));
    std::vector<short> sound;
    for (const Bytes& packet : StereoPackets()) {
        ASSERT_EQ(Decode(packet, 23040), 0);
        sound.insert(sound.end(), out.begin(), out.begin() + written);
    }
    sound.erase(sound.begin(), sound.begin() + 9600);
    const auto left = Channel(sound, 0, 2, 32767);
    const auto right = Channel(sound, 1, 2, 32767);
    EXPECT_NEAR(AmplitudeAt(500, 48000, left), 0.5, 0.05);
    EXPECT_NEAR(AmplitudeAt(1500, 48000, right), 0.5, 0.05);
    EXPECT_LT(AmplitudeAt(1500, 48000, left), 0.02);
    EXPECT_LT(AmplitudeAt(500, 48000, right), 0.02);
}

TEST_F(OpusDecoderTest, TellsOfTooLittleRoom) {
    ASSERT_TRUE(Create(2, 48000));
    const Bytes packet = StereoPackets().at(0);
    EXPECT_EQ(Decode(packet, 3839), 1);
    EXPECT_EQ(consumed, packet.size());
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(Decode(packet, 3840), 0);
}

TEST_F(OpusDecoderTest, TellsOfBrokenPacketsAndGoesOn) {
    ASSERT_TRUE(Create(2, 48000));
    const auto packets = StereoPackets();
    ASSERT_EQ(Decode(packets.at(0), 23040), 0);
    for (const Bytes& broken : {Bytes{0x03}, Bytes{0x03, 0}, Bytes{0x01, 0}}) {
        EXPECT_EQ(Decode(broken, 23040), 2);
        EXPECT_EQ(consumed, broken.size());
        EXPECT_EQ(written, 0u);
    }
    for (std::size_t i = 1; i < packets.size(); ++i) {
        EXPECT_EQ(Decode(packets[i], 23040), 0);
        EXPECT_EQ(written, 1920u);
    }
}

TEST_F(OpusDecoderTest, TellsOfNoRoomAtAll) {
    ASSERT_TRUE(Create(2, 48000));
    Bytes packet = StereoPackets().at(0);
    EXPECT_EQ(Decode(packet, 0), 3);
    EXPECT_EQ(Decode(packet, 3), 3) << "not one sample group";
    EXPECT_EQ(decoder.Decode(packet.data(), 3, nullptr, 23040, consumed, written), 3);
    EXPECT_EQ(consumed, 3u);
}

// libopus takes such a length for a negative one, and then the whole room on its stack before it refuses.
TEST_F(OpusDecoderTest, RefusesALengthOfTwoGigabytesWhateverTheRoom) {
    ASSERT_TRUE(Create(2, 48000));
    Bytes packet = StereoPackets().at(0);
    std::vector<short> large(32 << 20);
    for (const unsigned int length : {0x80000000u, 0xffffffffu}) {
        for (const unsigned int room : {0u, 3u, 23040u, 9000000u, 64u << 20}) {
            EXPECT_EQ(decoder.Decode(packet.data(), length, large.data(), room, consumed, written), 3) << room;
            EXPECT_EQ(consumed, length);
            EXPECT_EQ(written, 0u);
        }
    }
    EXPECT_THAT(g_Rooms, IsEmpty()) << "libopus is not troubled";
    EXPECT_EQ(Decode(packet, 23040), 0);
    EXPECT_EQ(written, 1920u);
}

TEST_F(OpusDecoderTest, TurnsEveryErrorOfLibopusIntoItsCode) {
    ASSERT_TRUE(Create(1, 8000));
    struct {
        int error, code;
    } const rows[] = {
        {OPUS_BAD_ARG, 3},       {OPUS_BUFFER_TOO_SMALL, 1}, {OPUS_INTERNAL_ERROR, 3}, {OPUS_INVALID_PACKET, 2},
        {OPUS_UNIMPLEMENTED, 3}, {OPUS_INVALID_STATE, 4},    {OPUS_ALLOC_FAIL, 3},     {-100, 3}};
    for (const auto& row : rows) {
        g_DecodeResult = row.error;
        EXPECT_EQ(Decode(Bytes(10), 1920), row.code) << row.error;
        EXPECT_EQ(consumed, 10u);
        EXPECT_EQ(written, 0u);
        EXPECT_EQ(Decode({}, 1920), row.code) << "concealing, " << row.error;
    }
    g_DecodeResult = 0;
    EXPECT_EQ(Decode(Bytes(10), 1920), 0);
    EXPECT_EQ(written, 0u) << "no samples are no failure";
    EXPECT_EQ(Decode({}, 1920), 0);
    EXPECT_EQ(written, 0u) << "nor where there is nothing to conceal with";
}

TEST_F(OpusDecoderTest, ConcealsALostPacketInTheWholeRoom) {
    for (const int rate : {8000, 48000}) {
        for (const int channels : {1, 2}) {
            ASSERT_TRUE(Create(channels, rate));
            ASSERT_EQ(Decode(StereoPackets().at(0), static_cast<unsigned int>(decoder.GetMinOutBufLen())), 0);
            const int unit = rate / 400;
            for (const int count : {unit, 8 * unit, 13 * unit, 48 * unit, 49 * unit, 400 * unit}) {
                const auto bytes = static_cast<unsigned int>(count * channels * 2);
                EXPECT_EQ(decoder.Decode(nullptr, 10, out.data(), bytes, consumed, written), 0) << count;
                EXPECT_EQ(consumed, 10u);
                EXPECT_EQ(written, static_cast<unsigned int>(count * 2));
                EXPECT_EQ(Decode({}, bytes), 0);
                EXPECT_EQ(consumed, 0u);
            }
        }
    }
}

TEST_F(OpusDecoderTest, ConcealsNoOtherLength) {
    ASSERT_TRUE(Create(2, 48000));
    for (const unsigned int bytes : {0u, 3u, 476u, 484u, 960u * 4 + 4}) {
        EXPECT_EQ(decoder.Decode(nullptr, 0, out.data(), bytes, consumed, written), 3) << bytes;
        EXPECT_EQ(written, 0u);
    }
    EXPECT_EQ(decoder.Decode(nullptr, 0, nullptr, 480, consumed, written), 3);
    EXPECT_THAT(g_Rooms, IsEmpty()) << "libopus is not troubled";
}

// libopus keeps about twice the room on its stack; the pieces must not be heard.
TEST_F(OpusDecoderTest, ConcealsInPiecesThatGiveTheSamplesOfOneCall) {
    ASSERT_TRUE(Create(2, 48000));
    int error = 0;
    OpusDecoder* plain = opus_decoder_create(48000, 2, &error);
    std::vector<short> expected(out.size());
    const auto packets = StereoPackets();
    for (std::size_t i = 0; i < 5; ++i) {
        Bytes packet = packets.at(i);
        ASSERT_EQ(Decode(packet, 23040), 0);
        __real_opus_decode(plain, packet.data(), static_cast<int>(packet.size()), expected.data(), 5760, 0);
    }
    g_Rooms.clear();
    const int count = 48000 / 400 * 137;
    ASSERT_EQ(__real_opus_decode(plain, nullptr, 0, expected.data(), count, 0), count);
    ASSERT_EQ(decoder.Decode(nullptr, 0, out.data(), static_cast<unsigned int>(count) * 4, consumed, written), 0);
    EXPECT_EQ(written, static_cast<unsigned int>(count) * 2);
    EXPECT_TRUE(std::equal(out.begin(), out.begin() + count * 2, expected.begin()));
    EXPECT_THAT(g_Rooms, Each(testing::Le(5760)));
    EXPECT_GT(g_Rooms.size(), 1u);
    // And what follows is the same too.
    Bytes packet = packets.at(6);
    ASSERT_EQ(Decode(packet, 23040), 0);
    __real_opus_decode(plain, packet.data(), static_cast<int>(packet.size()), expected.data(), 5760, 0);
    EXPECT_TRUE(std::equal(out.begin(), out.begin() + 1920, expected.begin()));
    opus_decoder_destroy(plain);
}

TEST_F(OpusDecoderTest, ConcealsAMinuteAtOnce) {
    ASSERT_TRUE(Create(2, 48000));
    ASSERT_EQ(Decode(StereoPackets().at(0), 23040), 0);
    std::vector<short> minute(48000 * 60 * 2);
    const auto bytes = static_cast<unsigned int>(minute.size() * 2);
    unsigned char byte = 0;
    for (unsigned char* in : {static_cast<unsigned char*>(nullptr), &byte}) {
        g_Rooms.clear();
        EXPECT_EQ(decoder.Decode(in, 0, minute.data(), bytes, consumed, written), 0);
        EXPECT_EQ(written, 48000u * 60 * 2);
        EXPECT_THAT(g_Rooms, Each(testing::Le(5760)));
    }
}

TEST_F(OpusDecoderTest, IsDisposedOfByDeleteAlone) {
    auto* another = new COpusDecoder;
    ASSERT_TRUE(another->CreateDecoder(2, 48000, sampleFormat, nullptr, 0));
    another->Delete();  // the leak check of a sanitized run counts
}

// The peer is opusdec, which drops the encoder's delay at the front and lays no noise over the samples when told so.
TEST_F(OpusDecoderTest, GivesTheSamplesOfOpusdec) {
    const auto stream = ReadAudioPackets(Clip("tones.opus"));
    ASSERT_TRUE(Create(2, 48000));
    std::vector<short> sound;
    for (const Bytes& packet : stream.packets) {
        ASSERT_EQ(Decode(packet, 23040), 0);
        sound.insert(sound.end(), out.begin(), out.begin() + written);
    }
    const ProcessResult peer =
        RunCommand("opusdec --quiet --no-dither --rate 48000 '" + Clip("tones.opus") + "' - 2>/dev/null");
    ASSERT_EQ(peer.exitCode, 0) << peer.err;
    std::vector<short> expected(peer.out.size() / 2);
    std::copy_n(peer.out.data(), expected.size() * 2, reinterpret_cast<char*>(expected.data()));
    ASSERT_GE(expected.size(), 2u * 48000);
    constexpr std::size_t kPreSkip = 312 * 2;
    ASSERT_GE(sound.size(), expected.size() + kPreSkip);
    // Both round from the same floating-point samples; opusdec does so outside libopus.
    int largest = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        largest = std::max(largest, std::abs(expected[i] - sound[kPreSkip + i]));
    }
    EXPECT_LE(largest, 1);
}

struct RealOpus {
    const char* file;
    int rate, channels;
    std::size_t samples;
    const char* sha1;
};

class RealOpusFiles : public OpusDecoderTest, public testing::WithParamInterface<RealOpus> {};

TEST_P(RealOpusFiles, GiveTheSamplesThatLibopusGave) {
    const auto file = RealFile(GetParam().file);
    if (!file) {
        GTEST_SKIP() << GetParam().file << " is not at hand";
    }
    ASSERT_TRUE(Create(GetParam().channels, GetParam().rate));
    std::string samples;
    for (const Bytes& packet : ReadAudioPackets(*file).packets) {
        ASSERT_EQ(Decode(packet, static_cast<unsigned int>(decoder.GetMinOutBufLen())), 0);
        samples.append(reinterpret_cast<const char*>(out.data()),
                       written * static_cast<unsigned int>(GetParam().channels));
    }
    EXPECT_EQ(samples.size(), GetParam().samples * 2 * static_cast<std::size_t>(GetParam().channels));
    EXPECT_EQ(RunCommand("sha1sum", samples).out.substr(0, 40), GetParam().sha1);
}

INSTANTIATE_TEST_SUITE_P(
    OpusDecoder, RealOpusFiles,
    testing::Values(
        RealOpus{"opus/bear.opus", 48000, 2, 132000, "fbb3e43b9e6c872338e1be9851eebe4de28cecaa"},
        RealOpus{"opus/bear.opus", 16000, 1, 44000, "7d6f03848354f4ec0acf8fdd567bff4fe7e39dcd"},
        RealOpus{"webm/bbb_1ch_48kHz_q10_opus.webm", 48000, 2, 144960, "df3f341e6da9f58561385b014b0f78df239dfc66"},
        RealOpus{"webm/bbb_1ch_48kHz_q10_opus.webm", 16000, 1, 48320, "22224d7d3202b98e9d03d92c5459cf64f745e005"}),
    [](const auto& row) {
        return std::string(row.param.file[0] == 'o' ? "Bear" : "Bunny") + "At" + std::to_string(row.param.rate);
    });

}  // namespace
