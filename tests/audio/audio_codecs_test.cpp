// Every id decodes real data from end to end. The material is made by the ffmpeg command or by other people's
// encoders, and so are the samples that are expected.

#include <gtest/gtest.h>
#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>
#include <opencore-amrwb/dec_if.h>
#include <vo-amrwbenc/enc_if.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>

#include "audio/audio_packets.h"
#include "audio/sound.h"
#include "codrelay/audio_format.h"
#include "codrelay/ffmpeg_vocabulary.h"
#include "codrelay/media_ids.h"
#include "common/codecs_at_hand.h"
#include "common/log_capture.h"
#include "common/process.h"
#include "common/test_media.h"

using testing::Each;

namespace {

// What the command decodes, given its arguments before and behind the input, in the format of the machine that is
// named.
template <typename Sample>
std::vector<Sample> FfmpegDecodes(const std::string& arguments, const char* format, const std::string& input = "") {
    const ProcessResult result = RunCommand("ffmpeg -v error " + arguments + " -f " + format + " -", input);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    std::vector<Sample> samples(result.out.size() / sizeof(Sample));
    std::memcpy(samples.data(), result.out.data(), samples.size() * sizeof(Sample));
    return samples;
}

std::string AsText(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

struct RawCodec {
    const char* name;
    int id;
    int channels;
    const char* clip;
    const char* inputArguments;
    std::size_t packetBytes;
};

class RawCodecs : public testing::TestWithParam<RawCodec> {};

// These are integer codecs: every bit counts.
TEST_P(RawCodecs, GiveTheSamplesOfTheFfmpegCommand) {
    const RawCodec& row = GetParam();
    const std::string clip = Clip(row.clip);
    ReadyDecoder decoder(row.id, row.channels, 8000);
    ASSERT_TRUE(decoder.IsReady());
    EXPECT_EQ(decoder.SampleFormat(), AUDIO_SAMPLE_S16);
    const Decoded decoded = DecodeAll(decoder.Get(), CutIntoPackets(ReadFile(clip), row.packetBytes));
    EXPECT_THAT(decoded.results, Each(0));
    const auto expected = FfmpegDecodes<short>(std::string(row.inputArguments) + " -i '" + clip + "'", "s16le");
    EXPECT_GE(expected.size(), 4000u);
    EXPECT_EQ(decoded.As<short>(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, RawCodecs,
    testing::Values(RawCodec{"G726At16", AUDIO_CODEC_G726_16, 1, "murmur_16.g726", "-f g726 -code_size 2 -ar 8000", 40},
                    RawCodec{"G726At24", AUDIO_CODEC_G726_24, 1, "murmur_24.g726", "-f g726 -code_size 3 -ar 8000", 60},
                    RawCodec{"G726At32", AUDIO_CODEC_G726_32, 1, "murmur_32.g726", "-f g726 -code_size 4 -ar 8000", 80},
                    RawCodec{"G726At40", AUDIO_CODEC_G726_40, 1, "murmur_40.g726", "-f g726 -code_size 5 -ar 8000",
                             100},
                    RawCodec{"Mulaw", AUDIO_CODEC_MULAW, 1, "tones.mulaw", "-f mulaw -ar 8000 -ac 1", 160},
                    RawCodec{"MulawStereo", AUDIO_CODEC_MULAW, 2, "tones.mulaw", "-f mulaw -ar 8000 -ac 2", 160},
                    RawCodec{"Alaw", AUDIO_CODEC_ALAW, 1, "tones.alaw", "-f alaw -ar 8000 -ac 1", 160},
                    RawCodec{"U16LE", AUDIO_CODEC_PCM_U16LE, 2, "tones.u16le", "-f u16le -ar 8000 -ac 2", 1000},
                    RawCodec{"S16LE", AUDIO_CODEC_PCM_S16LE, 2, "tones.s16le", "-f s16le -ar 8000 -ac 2", 1000},
                    RawCodec{"S16BE", AUDIO_CODEC_PCM_S16BE, 2, "tones.s16be", "-f s16be -ar 8000 -ac 2", 1000}),
    [](const auto& row) { return std::string(row.param.name); });

// A codec of 16 kbit/s is a rough one, yet it must be the sound that went in.
TEST(Codecs, G726SoundsLikeItsInput) {
    struct {
        int id;
        const char* clip;
        std::size_t packetBytes;
        double floor;
    } const rows[] = {{AUDIO_CODEC_G726_16, "murmur_16.g726", 40, 5},
                      {AUDIO_CODEC_G726_24, "murmur_24.g726", 60, 10},
                      {AUDIO_CODEC_G726_32, "murmur_32.g726", 80, 15},
                      {AUDIO_CODEC_G726_40, "murmur_40.g726", 100, 20}};
    const Bytes original = ReadFile(Clip("murmur.s16le"));
    std::vector<short> input(original.size() / 2);
    std::memcpy(input.data(), original.data(), original.size());
    for (const auto& row : rows) {
        ReadyDecoder decoder(row.id, 1, 8000);
        const auto sound =
            DecodeAll(decoder.Get(), CutIntoPackets(ReadFile(Clip(row.clip)), row.packetBytes)).As<short>();
        EXPECT_GT(SignalToNoise(Channel(sound, 0, 1, 32767), Channel(input, 0, 1, 32767)), row.floor) << row.clip;
    }
}

TEST(Codecs, G726OfTheStandardsOwnVectorGivesTheSamplesOfTheFfmpegCommand) {
    const auto file = RealFile("g726/itu_rn32fa_4bit.g726");
    if (!file) {
        GTEST_SKIP() << "the vector is not at hand";
    }
    ReadyDecoder decoder(AUDIO_CODEC_G726_32, 1, 8000);
    const Decoded decoded = DecodeAll(decoder.Get(), CutIntoPackets(ReadFile(*file), 80));
    EXPECT_EQ(decoded.samples.size(), 16384u * 2);
    EXPECT_EQ(decoded.As<short>(), FfmpegDecodes<short>("-f g726 -code_size 4 -ar 8000 -i '" + *file + "'", "s16le"));
}

class AacStreams : public testing::TestWithParam<std::pair<int, int>> {};

// Raw frames, as a demuxer of MP4 gives them. Both sides compute in 32-bit floating point with other code for the
// transforms; half a step of 16-bit sound is far above what that makes and far below what can be heard.
TEST_P(AacStreams, GiveTheSamplesOfTheFfmpegCommand) {
    const auto [rate, channels] = GetParam();
    const std::string clip = Clip("tones_" + std::to_string(rate) + "_" + std::to_string(channels) + ".aac");
    AudioPackets stream = ReadAudioPackets(clip);
    ASSERT_EQ(stream.codecId, AV_CODEC_ID_AAC);
    std::transform(stream.packets.begin(), stream.packets.end(), stream.packets.begin(), WithoutAdtsHeader);
    ReadyDecoder decoder(AUDIO_CODEC_AAC, channels, rate);
    ASSERT_TRUE(decoder.IsReady());
    EXPECT_EQ(decoder.SampleFormat(), AUDIO_SAMPLE_FLT);
    const Decoded decoded = DecodeAll(decoder.Get(), stream.packets);
    EXPECT_THAT(decoded.results, Each(0));
    const auto samples = decoded.As<float>();
    const auto expected = FfmpegDecodes<float>("-i '" + clip + "'", "f32le");
    ASSERT_EQ(samples.size(), expected.size());
    ASSERT_GT(samples.size(), static_cast<std::size_t>(rate) * static_cast<std::size_t>(channels) / 2);
    EXPECT_LT(LargestDifference(Channel(samples, 0, 1), Channel(expected, 0, 1)), 1.0 / 65536);
    // The tones are where they belong.
    const auto left = Channel(samples, static_cast<std::size_t>(4096 * channels), static_cast<std::size_t>(channels));
    EXPECT_NEAR(AmplitudeAt(500, rate, left), 0.4, 0.04);
}

INSTANTIATE_TEST_SUITE_P(Codecs, AacStreams,
                         testing::Values(std::pair(8000, 1), std::pair(8000, 2), std::pair(11025, 2),
                                         std::pair(12000, 2), std::pair(16000, 2), std::pair(22050, 2),
                                         std::pair(24000, 2), std::pair(32000, 2), std::pair(44100, 1),
                                         std::pair(44100, 2), std::pair(48000, 2), std::pair(64000, 2),
                                         std::pair(88200, 2), std::pair(96000, 1), std::pair(96000, 2)),
                         [](const auto& row) {
                             return "At" + std::to_string(row.param.first) +
                                    (row.param.second == 1 ? "Mono" : "Stereo");
                         });

TEST(Codecs, AacFramesWithAHeaderGiveTheSameSamples) {
    const AudioPackets stream = ReadAudioPackets(Clip("tones_44100_2.aac"));
    std::vector<Bytes> raw;
    std::transform(stream.packets.begin(), stream.packets.end(), std::back_inserter(raw), WithoutAdtsHeader);
    ReadyDecoder one(AUDIO_CODEC_AAC, 2, 44100);
    ReadyDecoder other(AUDIO_CODEC_AAC, 2, 44100);
    EXPECT_EQ(DecodeAll(one.Get(), stream.packets).samples, DecodeAll(other.Get(), raw).samples);
}

// The index of a wrong rate is mended by the frames' own headers.
TEST(Codecs, AacCreatedAtAnUnlistedRateDecodesFramesThatTellTheirs) {
    const LogCapture quiet;
    const AudioPackets stream = ReadAudioPackets(Clip("tones_44100_2.aac"));
    ReadyDecoder right(AUDIO_CODEC_AAC, 2, 44100);
    ReadyDecoder wrong(AUDIO_CODEC_AAC, 2, 50000);
    const Decoded decoded = DecodeAll(wrong.Get(), stream.packets);
    EXPECT_THAT(decoded.results, Each(0));
    EXPECT_EQ(decoded.samples, DecodeAll(right.Get(), stream.packets).samples);
}

// Raw frames of 44100 in a decoder set up for 96000 have other bands than it believes.
TEST(Codecs, AacCreatedAtAnUnlistedRateRefusesRawFramesOfAnother) {
    const LogCapture quiet;
    const AudioPackets stream = ReadAudioPackets(Clip("tones_44100_2.aac"));
    ReadyDecoder wrong(AUDIO_CODEC_AAC, 2, 50000);
    std::vector<Bytes> raw;
    std::transform(stream.packets.begin(), stream.packets.end(), std::back_inserter(raw), WithoutAdtsHeader);
    EXPECT_THAT(DecodeAll(wrong.Get(), raw).results, testing::Contains(2));
}

class Mp3Streams : public testing::TestWithParam<std::pair<int, int>> {};

// The command's integer decoder is the same algorithm; the last bit may round otherwise.
TEST_P(Mp3Streams, GiveTheSamplesOfTheFfmpegCommand) {
    const auto [rate, channels] = GetParam();
    const std::string clip = Clip("tones_" + std::to_string(rate) + "_" + std::to_string(channels) + ".mp3");
    ReadyDecoder decoder(AUDIO_CODEC_MP3, channels, rate);
    ASSERT_TRUE(decoder.IsReady());
    EXPECT_EQ(decoder.SampleFormat(), AUDIO_SAMPLE_S16);
    const Decoded decoded = DecodeAll(decoder.Get(), ReadAudioPackets(clip).packets);
    EXPECT_THAT(decoded.results, Each(0));
    const auto samples = decoded.As<short>();
    const auto expected = FfmpegDecodes<short>("-c:a mp3 -i '" + clip + "'", "s16le");
    ASSERT_EQ(samples.size(), expected.size());
    ASSERT_GT(samples.size(), static_cast<std::size_t>(rate) * static_cast<std::size_t>(channels) / 2);
    EXPECT_LE(LargestDifference(Channel(samples, 0, 1), Channel(expected, 0, 1)), 1);
    const auto left =
        Channel(samples, static_cast<std::size_t>(4096 * channels), static_cast<std::size_t>(channels), 32767);
    EXPECT_NEAR(AmplitudeAt(500, rate, left), 0.4, 0.04);
}

INSTANTIATE_TEST_SUITE_P(Codecs, Mp3Streams,
                         testing::Values(std::pair(22050, 1), std::pair(44100, 1), std::pair(44100, 2),
                                         std::pair(48000, 2)),
                         [](const auto& row) {
                             return "At" + std::to_string(row.param.first) +
                                    (row.param.second == 1 ? "Mono" : "Stereo");
                         });

// AMR: the frames come from the encoder libraries. The decoder library, called beside, gives the very bits; the
// command's own decoder computes in floating point, so that only the sound can be compared: a difference of a tenth of
// the sound is what the lowest rate makes.

std::vector<Bytes> AmrNbFrames(const std::vector<short>& sound, Mode mode) {
    void* encoder = Encoder_Interface_init(0);
    std::vector<Bytes> frames;
    for (std::size_t at = 0; at + 160 <= sound.size(); at += 160) {
        Bytes frame(64);
        frame.resize(
            static_cast<std::size_t>(Encoder_Interface_Encode(encoder, mode, sound.data() + at, frame.data(), 0)));
        frames.push_back(frame);
    }
    Encoder_Interface_exit(encoder);
    return frames;
}

std::vector<Bytes> AmrWbFrames(const std::vector<short>& sound, int mode) {
    void* encoder = E_IF_init();
    std::vector<Bytes> frames;
    for (std::size_t at = 0; at + 320 <= sound.size(); at += 320) {
        Bytes frame(128);
        frame.resize(static_cast<std::size_t>(E_IF_encode(encoder, mode, sound.data() + at, frame.data(), 0)));
        frames.push_back(frame);
    }
    E_IF_exit(encoder);
    return frames;
}

Bytes AmrFile(const char* head, const std::vector<Bytes>& frames) {
    Bytes file(head, head + std::strlen(head));
    for (const Bytes& frame : frames) {
        file.insert(file.end(), frame.begin(), frame.end());
    }
    return file;
}

TEST(Codecs, AmrNbGivesTheSamplesOfItsLibraryAndTheSoundOfTheFfmpegCommand) {
    SKIP_WITHOUT_DECODER("libopencore_amrnb");
    for (const Mode mode : {MR475, MR795, MR122}) {
        const auto frames = AmrNbFrames(AsShorts(Murmur(8000, 16000)), mode);
        ReadyDecoder decoder(AUDIO_CODEC_AMRNB, 1, 8000);
        ASSERT_TRUE(decoder.IsReady());
        EXPECT_EQ(decoder.SampleFormat(), AUDIO_SAMPLE_S16);
        const Decoded decoded = DecodeAll(decoder.Get(), frames);
        EXPECT_THAT(decoded.results, Each(0));
        const auto samples = decoded.As<short>();
        ASSERT_EQ(samples.size(), 16000u);
        void* plain = Decoder_Interface_init();
        std::vector<short> expected(16000);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            Decoder_Interface_Decode(plain, frames[i].data(), expected.data() + i * 160, 0);
        }
        Decoder_Interface_exit(plain);
        EXPECT_EQ(samples, expected);
        const auto peer = FfmpegDecodes<short>("-f amr -i -", "s16le", AsText(AmrFile("#!AMR\n", frames)));
        ASSERT_EQ(peer.size(), samples.size());
        EXPECT_GT(SignalToNoise(Channel(samples, 0, 1, 32767), Channel(peer, 0, 1, 32767)), 20) << mode;
    }
}

TEST(Codecs, AmrWbGivesTheSamplesOfItsLibraryAndTheSoundOfTheFfmpegCommand) {
    SKIP_WITHOUT_DECODER("libopencore_amrwb");
    for (const int mode : {0, 2, 8}) {
        const auto frames = AmrWbFrames(AsShorts(Murmur(16000, 32000)), mode);
        ReadyDecoder decoder(AUDIO_CODEC_AMRWB, 1, 16000);
        ASSERT_TRUE(decoder.IsReady());
        EXPECT_EQ(decoder.SampleFormat(), AUDIO_SAMPLE_S16);
        const Decoded decoded = DecodeAll(decoder.Get(), frames);
        EXPECT_THAT(decoded.results, Each(0));
        const auto samples = decoded.As<short>();
        ASSERT_EQ(samples.size(), 32000u);
        void* plain = D_IF_init();
        std::vector<short> expected(32000);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            D_IF_decode(plain, frames[i].data(), expected.data() + i * 320, 0);
        }
        D_IF_exit(plain);
        EXPECT_EQ(samples, expected);
        const auto peer = FfmpegDecodes<short>("-f amr -i -", "s16le", AsText(AmrFile("#!AMR-WB\n", frames)));
        ASSERT_EQ(peer.size(), samples.size());
        EXPECT_GT(SignalToNoise(Channel(samples, 0, 1, 32767), Channel(peer, 0, 1, 32767)), 20) << mode;
    }
}

TEST(Codecs, AacOfOneChannelCopiesOnePlaneOfAStereoFrame) {
    const AudioPackets stream = ReadAudioPackets(Clip("tones_44100_2.aac"));
    ReadyDecoder stereo(AUDIO_CODEC_AAC, 2, 44100);
    ReadyDecoder mono(AUDIO_CODEC_AAC, 1, 44100);
    const auto expected = DecodeAll(stereo.Get(), stream.packets).As<float>();
    const Decoded decoded = DecodeAll(mono.Get(), stream.packets);
    EXPECT_THAT(decoded.results, Each(0));
    const auto samples = decoded.As<float>();
    ASSERT_EQ(samples.size(), expected.size()) << "the size of two planes";
    for (std::size_t frame = 0; frame + 2048 <= samples.size(); frame += 2048) {
        for (std::size_t i = 0; i < 1024; ++i) {
            ASSERT_EQ(samples[frame + i], expected[frame + 2 * i]);
        }
    }
}

std::vector<Bytes> AdtsFrames(const std::string& stream) {
    std::vector<Bytes> frames;
    for (std::size_t at = 0; at + 7 <= stream.size();) {
        const auto byte = [&](std::size_t i) {
            return static_cast<unsigned int>(static_cast<unsigned char>(stream[i]));
        };
        const std::size_t size = (byte(at + 3) & 3) << 11 | byte(at + 4) << 3 | byte(at + 5) >> 5;
        frames.emplace_back(stream.begin() + static_cast<long>(at), stream.begin() + static_cast<long>(at + size));
        at += size;
    }
    return frames;
}

// Its frames tell their channels themselves. The place of all six is counted, and the first two stand in front.
TEST(Codecs, AacOfSixChannelsGivesTheFirstTwoInAStereoDecoder) {
    const ProcessResult made = RunCommand(
        "ffmpeg -v error -f lavfi -i 'aevalsrc=0.4*sin(3000*t)|0.4*sin(9000*t)|0.3*sin(5000*t)|0|0|0:c=5.1:s=44100:d=1'"
        " -c:a aac -b:a 384k -f adts -");
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const std::vector<Bytes> frames = AdtsFrames(made.out);
    ASSERT_GT(frames.size(), 40u);
    ReadyDecoder decoder(AUDIO_CODEC_AAC, 2, 44100);
    const Decoded decoded = DecodeAll(decoder.Get(), frames);
    EXPECT_THAT(decoded.results, Each(0));
    constexpr std::size_t kFrame = std::size_t(1024) * 6;
    const auto samples = decoded.As<float>();
    ASSERT_EQ(samples.size(), frames.size() * kFrame);
    const auto expected = FfmpegDecodes<float>("-f aac -i -", "f32le", made.out);
    ASSERT_EQ(expected.size(), samples.size());
    for (std::size_t frame = 0; frame < samples.size(); frame += kFrame) {
        for (std::size_t i = 0; i < 1024; ++i) {
            ASSERT_NEAR(samples[frame + 2 * i], expected[frame + 6 * i], 1.0 / 65536);
            ASSERT_NEAR(samples[frame + 2 * i + 1], expected[frame + 6 * i + 1], 1.0 / 65536);
        }
    }
}

// Every file whose codec has an id gives the samples that a bare decoder gave, as the list beside the files tells.
struct Listed {
    std::string file;
    std::string codec;
    int stream;
    std::size_t samples;
    std::string sha1;
};

std::vector<Listed> ListedSound(const std::string& manifest) {
    const Bytes bytes = ReadFile(manifest);
    std::stringstream lines(AsText(bytes));
    std::vector<Listed> listed;
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> cells;
        std::stringstream row(line);
        for (std::string cell; std::getline(row, cell, '\t');) {
            cells.push_back(cell);
        }
        for (int stream = 0; cells.size() > 13 && stream < 4; ++stream) {
            const std::string number = std::to_string(stream) + ":";
            const std::size_t sound = cells[8].find(number + "audio ");
            const std::size_t decoded = cells[13].find(number);
            if (sound == std::string::npos || decoded == std::string::npos) {
                continue;
            }
            const std::string codec = cells[8].substr(sound + 8, cells[8].find(' ', sound + 8) - sound - 8);
            const std::string result = cells[13].substr(decoded, cells[13].find(';', decoded) - decoded);
            const std::size_t samples = result.find("samples=");
            if (samples != std::string::npos) {
                listed.push_back({cells[0], codec, stream, std::stoul(result.substr(samples + 8)),
                                  result.substr(result.find("sha1=") + 5, 40)});
            }
        }
    }
    return listed;
}

int IdOf(const std::string& codec) {
    const std::pair<const char*, int> ids[] = {{"aac", AUDIO_CODEC_AAC},
                                               {"mp3", AUDIO_CODEC_MP3},
                                               {"amr_nb", AUDIO_CODEC_AMRNB},
                                               {"amr_wb", AUDIO_CODEC_AMRWB},
                                               {"pcm_s16le", AUDIO_CODEC_PCM_S16LE},
                                               {"pcm_s16be", AUDIO_CODEC_PCM_S16BE},
                                               {"pcm_alaw", AUDIO_CODEC_ALAW},
                                               {"pcm_mulaw", AUDIO_CODEC_MULAW}};
    for (const auto& [name, id] : ids) {
        if (codec == name) {
            return id;
        }
    }
    return -1;
}

TEST(Codecs, RealFilesGiveTheSamplesOfABareDecoder) {
    const auto manifest = RealFile("MANIFEST.tsv");
    if (!manifest) {
        GTEST_SKIP() << "no real files at hand";
    }
    int checked = 0;
    for (const Listed& row : ListedSound(*manifest)) {
        SCOPED_TRACE(row.file);
        if (IdOf(row.codec) < 0 || !HasDecoder(GetFFmpegAudioDecoderName(IdOf(row.codec)))) {
            continue;
        }
        const AudioPackets stream = ReadAudioPackets(RealFile(row.file).value());
        ReadyDecoder decoder(IdOf(row.codec), stream.channels, stream.sampleRate);
        ASSERT_TRUE(decoder.IsReady());
        const Decoded decoded = DecodeAll(decoder.Get(), stream.packets);
        const std::size_t sampleBytes = decoder.SampleFormat() == AUDIO_SAMPLE_FLT ? 4 : 2;
        EXPECT_EQ(decoded.samples.size(), row.samples * sampleBytes * static_cast<std::size_t>(stream.channels));
        EXPECT_EQ(RunCommand("sha1sum", AsText(decoded.samples)).out.substr(0, 40), row.sha1);
        ++checked;
    }
    // The two of AMR are not in every FFmpeg; the tests above say so.
    EXPECT_GE(checked, HasDecoder("libopencore_amrnb") ? 15 : 13);
}

}  // namespace
