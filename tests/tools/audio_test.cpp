#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "command.h"
#include "common/digest.h"
#include "common/test_media.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::Values;

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kIntegerHeader = 44;
constexpr std::size_t kFloatHeader = 58;

/// A WAV file's samples, and what the peer says of it.
struct Sound {
    Bytes samples;
    std::string description;
};

Bytes SamplesOf(const Bytes& wav, std::size_t header) {
    return {wav.begin() + static_cast<std::ptrdiff_t>(header), wav.end()};
}

/// "codec,rate,channels,length in samples".
std::string PeersWord(const std::string& wav) {
    const ProcessResult peer = RunCommand(
        "ffprobe -v error -show_entries stream=codec_name,sample_rate,channels,duration_ts -of csv=p=0 " + Quoted(wav));
    EXPECT_THAT(peer.err, IsEmpty());
    return peer.out.substr(0, peer.out.find('\n'));
}

Sound Decode(const std::string& file, const std::string& options = "") {
    const ScratchFolder scratch;
    const std::string out = scratch.Path("out.wav");
    const ProcessResult run = RunCodrelay("audio " + Quoted(file) + " " + out + " " + options);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, HasSubstr(", damaged 0, time "));
    if (run.exitCode != 0) {
        return {};
    }
    const std::string description = PeersWord(out);
    const bool isFloat = description.rfind("pcm_f32le", 0) == 0;
    return {SamplesOf(ReadFile(out), isFloat ? kFloatHeader : kIntegerHeader), description};
}

std::string Sha1Of(const Bytes& bytes) {
    Digest digest = Digest::Sha1();
    digest.Add(bytes.data(), bytes.size());
    return digest.Finish();
}

std::vector<float> Floats(const Bytes& bytes) {
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

void ExpectComplaint(const std::string& arguments, const std::string& complaint) {
    const ProcessResult run = RunCodrelay(arguments);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_EQ(run.err, "codrelay: " + complaint + "\n");
}

/// The first audio stream of a real file, as the list beside the files has it.
struct RealSound {
    std::string file;
    std::string codec;
    /// "sha1=..." of the samples, or the reason why there are none.
    std::string bareDecoder;
};

void PrintTo(const RealSound& sound, std::ostream* out) {
    *out << sound.file;
}

std::string PartOf(const std::string& list, const std::string& stream) {
    const std::size_t at = list.find(stream + ":");
    return at == std::string::npos ? "" : list.substr(at, list.find(';', at) - at);
}

std::vector<RealSound> ReadManifest() {
    std::vector<RealSound> sounds;
    std::ifstream manifest(RealFile("MANIFEST.tsv").value_or(""));
    std::string line;
    std::getline(manifest, line);
    while (std::getline(manifest, line)) {
        const std::vector<std::string> fields = Fields(line);
        const std::size_t mark = fields.at(8).find(":audio ");
        // Raw telephone audio says nothing of itself and is no container.
        if (mark != std::string::npos && fields.at(0).rfind("g726/", 0) != 0) {
            const std::string rest = fields[8].substr(mark + 7);
            sounds.push_back(
                {fields[0], rest.substr(0, rest.find(' ')), PartOf(fields.at(13), fields[8].substr(mark - 1, 1))});
        }
    }
    return sounds;
}

/// The library decodes it out of a container.
bool IsDecoded(const RealSound& sound) {
    const std::vector<std::string> codecs = {"aac",      "mp3",       "amr_nb",    "amr_wb",
                                             "pcm_alaw", "pcm_mulaw", "pcm_s16le", "pcm_s16be"};
    return std::find(codecs.begin(), codecs.end(), sound.codec) != codecs.end();
}

std::vector<RealSound> Sounds(bool decoded) {
    std::vector<RealSound> sounds = ReadManifest();
    sounds.erase(std::remove_if(sounds.begin(), sounds.end(),
                                [decoded](const RealSound& sound) { return IsDecoded(sound) != decoded; }),
                 sounds.end());
    return sounds;
}

std::string TestName(const testing::TestParamInfo<RealSound>& info) {
    std::string name = info.param.file;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

class RealAudio : public testing::TestWithParam<RealSound> {};
class RealForeignAudio : public testing::TestWithParam<RealSound> {};

// Without the files there is nothing to instantiate.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealAudio);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealForeignAudio);

}  // namespace

TEST(RealAudioFiles, AreAtHand) {
    if (!RealFile("MANIFEST.tsv")) {
        GTEST_SKIP() << "no real files here";
    }
    EXPECT_GE(Sounds(true).size(), 15u);
    EXPECT_GE(Sounds(false).size(), 4u);
}

TEST_P(RealAudio, GivesTheSamplesOfTheList) {
    const std::string& expected = GetParam().bareDecoder;
    ASSERT_THAT(expected, HasSubstr("sha1="));
    EXPECT_EQ("sha1=" + Sha1Of(Decode(*RealFile(GetParam().file)).samples), expected.substr(expected.find("sha1=")));
}

TEST_P(RealForeignAudio, IsRefusedWithTheReason) {
    const ScratchFolder scratch;
    const std::string path = *RealFile(GetParam().file);
    ExpectComplaint("audio " + Quoted(path) + " " + scratch.Path("out.wav"),
                    path + (GetParam().codec == "adpcm_ima_wav"
                                ? ": its adpcm_ima_wav audio, 44100 Hz with 1 channels, is not decoded by the library, "
                                  "which is not told the size of its blocks"
                                : ": its audio is in a codec that the demuxers have no id for, such as Opus or G.726"));
    EXPECT_FALSE(std::filesystem::exists(scratch.Path("out.wav")));
}

INSTANTIATE_TEST_SUITE_P(List, RealAudio, testing::ValuesIn(Sounds(true)), TestName);
INSTANTIATE_TEST_SUITE_P(List, RealForeignAudio, testing::ValuesIn(Sounds(false)), TestName);

TEST(Audio, PlainSamplesComeAsTheyAre) {
    const Sound sound = Decode(Clip("demux_sound.wav"));
    EXPECT_EQ(sound.description, "pcm_s16le,22050,2,22050");
    const Bytes original = ReadFile(Clip("demux_sound.wav"));
    EXPECT_EQ(sound.samples, Bytes(original.end() - 22050 * 4, original.end()));
}

TEST(Audio, TheSummaryTellsWhatCame) {
    const ScratchFolder scratch;
    const ProcessResult run = RunCodrelay("audio " + Quoted(Clip("demux_sound.wav")) + " " + scratch.Path("out.wav") +
                                          " --rate 8000 --channels 1 --format u8");
    EXPECT_THAT(run.err, StartsWith("packets in 22, samples out 8000 (u8, 8000 Hz, channels 1), damaged 0, time "));
}

TEST(Audio, AFilmGivesItsSound) {
    EXPECT_THAT(Decode(Clip("demux_film.mp4")).description, StartsWith("pcm_f32le,44100,2,"));
}

// What Matroska holds in one packet is more than the decoder asks room for.
TEST(Audio, LongPacketsAreTaken) {
    const ScratchFolder scratch;
    RunCommand("ffmpeg -nostdin -v error -f lavfi -i 'sine=d=3:r=48000,asetnsamples=n=144000' -ac 2 -c:a pcm_s16le " +
               scratch.Path("long.mkv"));
    EXPECT_EQ(Decode(scratch.Path("long.mkv")).samples.size(), 144000u * 4);
}

struct Wanted {
    const char* options;
    const char* description;
};

class AudioFormats : public testing::TestWithParam<Wanted> {};

TEST_P(AudioFormats, AreWhatThePeerReads) {
    EXPECT_EQ(Decode(Clip("demux_sound.wav"), GetParam().options).description, GetParam().description);
}

// Not a sample is lost at the end, whatever the rate.
INSTANTIATE_TEST_SUITE_P(
    Options, AudioFormats,
    Values(Wanted{"--format s16", "pcm_s16le,22050,2,22050"}, Wanted{"--format s32", "pcm_s32le,22050,2,22050"},
           Wanted{"--format flt", "pcm_f32le,22050,2,22050"}, Wanted{"--format u8", "pcm_u8,22050,2,22050"},
           Wanted{"--channels 1", "pcm_s16le,22050,1,22050"}, Wanted{"--rate 1000", "pcm_s16le,1000,2,1000"},
           Wanted{"--rate 8000", "pcm_s16le,8000,2,8000"}, Wanted{"--rate 48000", "pcm_s16le,48000,2,48000"},
           Wanted{"--rate 384000", "pcm_s16le,384000,2,384000"},
           Wanted{"--rate 44100 --channels 1 --format u8", "pcm_u8,44100,1,44100"}));

// An odd number of bytes is padded, and the padding is not counted.
TEST(Audio, AnOddLengthIsPadded) {
    const ScratchFolder scratch;
    const std::string out = scratch.Path("out.wav");
    RunCodrelay("audio " + Quoted(Clip("demux_sound.wav")) + " " + out + " --rate 11025 --channels 1 --format u8");
    EXPECT_EQ(std::filesystem::file_size(out), kIntegerHeader + 11025 + 1);
    EXPECT_EQ(PeersWord(out), "pcm_u8,11025,1,11025");
}

// The peer's filter is the same; it ends differently, with a mirror of the sound where we have silence.
TEST(Audio, ResampledSoundIsThatOfThePeer) {
    const std::vector<float> ours =
        Floats(Decode(Clip("demux_sound.wav"), "--rate 48000 --channels 1 --format flt").samples);
    const ScratchFolder scratch;
    RunCommand("ffmpeg -nostdin -v error -i " + Clip("demux_sound.wav") + " -ar 48000 -ac 1 -c:a pcm_f32le -f f32le " +
               scratch.Path("peer.f32le"));
    const std::vector<float> theirs = Floats(ReadFile(scratch.Path("peer.f32le")));
    ASSERT_EQ(ours.size(), 48000u);
    ASSERT_GE(theirs.size(), 47900u);
    float loudest = 0;
    for (std::size_t i = 0; i < 47800; ++i) {
        ASSERT_NEAR(ours[i], theirs[i], 1e-3) << i;
        loudest = std::max(loudest, std::abs(ours[i]));
    }
    EXPECT_GT(loudest, 0.1f);
}

TEST(BadAudio, FilesWithoutItAreTold) {
    const ScratchFolder scratch;
    const std::string path = Clip("mpeg4.avi");
    ExpectComplaint("audio " + Quoted(path) + " " + scratch.Path("out.wav"), path + ": has no audio stream");
    const std::string foreign = Clip("demux_foreign.asf");
    ExpectComplaint("audio " + Quoted(foreign) + " " + scratch.Path("out.wav"),
                    foreign + ": its audio is in a codec that the demuxers have no id for, such as Opus or G.726");
}

// The headers are whole, all else is noise.
TEST(BadAudio, SoundThatCannotBeDecodedIsTold) {
    const ScratchFolder scratch;
    const std::string path = scratch.Path("noise.mov");
    RunCommand("ffmpeg -nostdin -v error -f lavfi -i sine=d=1 -c:a aac -bsf:a noise=amount=1 " + path);
    const std::string out = scratch.Path("out.wav");
    const ProcessResult run = RunCodrelay("audio " + path + " " + out);
    if (run.exitCode == 0) {
        EXPECT_THAT(run.err, testing::Not(HasSubstr("damaged 0,")));
    } else {
        EXPECT_EQ(run.err, "codrelay: " + path + ": its aac audio gives no sound\n");
        EXPECT_FALSE(std::filesystem::exists(out));
    }
}

TEST(BadAudio, WhatTheLibraryDoesNotMixIsTold) {
    const ScratchFolder scratch;
    RunCommand("ffmpeg -nostdin -v error -f lavfi -i sine=d=1 -ac 6 " + scratch.Path("six.wav"));
    EXPECT_EQ(Decode(scratch.Path("six.wav")).description, "pcm_s16le,44100,6,44100");
    ExpectComplaint("audio " + scratch.Path("six.wav") + " " + scratch.Path("out.wav") + " --channels 2",
                    "the library does not convert s16 at 44100 Hz with 6 channels to s16 at 44100 Hz with 2 channels");
    RunCommand("ffmpeg -nostdin -v error -f lavfi -i sine=d=1 -ac 6 -c:a aac " + scratch.Path("six.mp4"));
    ExpectComplaint(
        "audio " + scratch.Path("six.mp4") + " " + scratch.Path("out.wav"),
        scratch.Path("six.mp4") + ": its aac audio, 44100 Hz with 6 channels, is not decoded by the library");
}

class BadAudioOutputs : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(BadAudioOutputs, EndWithOneAndOneLine) {
    const auto& [path, complaint] = GetParam();
    ExpectComplaint("audio " + Quoted(Clip("demux_sound.wav")) + " " + path,
                    std::string(path) + ": cannot be written: " + complaint);
}

INSTANTIATE_TEST_SUITE_P(Paths, BadAudioOutputs,
                         Values(std::pair("/no/such/folder/out.wav", "No such file or directory"),
                                std::pair("/", "Is a directory"), std::pair("/dev/full", "No space left on device")));

TEST(BadAudio, TheInputIsNotWrittenOver) {
    const ScratchFolder scratch;
    const std::string path = scratch.Path("sound.wav");
    std::filesystem::copy_file(Clip("demux_sound.wav"), path);
    ExpectComplaint("audio " + path + " " + path, path + ": is the input; it would be written over");
    EXPECT_EQ(ReadFile(path), ReadFile(Clip("demux_sound.wav")));
}

class WrongAudioUsage : public testing::TestWithParam<const char*> {};

TEST_P(WrongAudioUsage, ExitsWithTwo) {
    const ProcessResult run = RunCodrelay(GetParam());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("--help"));
}

INSTANTIATE_TEST_SUITE_P(Arguments, WrongAudioUsage,
                         Values("audio", "audio x", "audio x y --rate 999", "audio x y --rate 384001",
                                "audio x y --channels 0", "audio x y --channels 3", "audio x y --format s24",
                                "audio x y --format fltp"));
