#include "container/mux_combination.h"

#include <numeric>

#include "common/test_media.h"

const std::map<std::string, Sound> kSounds = {
    {"adts", {AUDIO_CODEC_AAC, "mux_aac_adts.aac", 44100, 1, 64000, "aac"}},
    {"aac", {AUDIO_CODEC_AAC, "mux_aac_raw.mp4", 44100, 1, 64000, "aac"}},
    {"adts48", {AUDIO_CODEC_AAC, "mux_aac_adts_48000.aac", 48000, 2, 128000, "aac"}},
    {"aac48", {AUDIO_CODEC_AAC, "mux_aac_raw_48000.mp4", 48000, 2, 128000, "aac"}},
    {"mp3", {AUDIO_CODEC_MP3, "mux_mp3_48000.mp3", 48000, 2, 128000, "mp3"}},
    {"s16le", {AUDIO_CODEC_PCM_S16LE, "mux_s16le.wav", 44100, 1, 705600, "pcm_s16le"}},
    {"mulaw", {AUDIO_CODEC_MULAW, "mux_mulaw.wav", 8000, 1, 64000, "pcm_mulaw"}},
    {"alaw", {AUDIO_CODEC_ALAW, "mux_alaw.wav", 8000, 1, 64000, "pcm_alaw"}},
    {"amrnb", {AUDIO_CODEC_AMRNB, nullptr, 8000, 1, 12200, "amr_nb", 32, 0x3C}},
    {"amrwb", {AUDIO_CODEC_AMRWB, nullptr, 16000, 1, 12650, "amr_wb", 33, 0x14}},
    {"g726", {AUDIO_CODEC_G726_32, nullptr, 8000, 1, 32000, "adpcm_g726", 80}},
    {"g726_as_64000", {AUDIO_CODEC_G726_32, nullptr, 8000, 1, 64000, "adpcm_g726", 80}},
    {"u16le", {AUDIO_CODEC_PCM_U16LE, nullptr, 44100, 1, 705600, "pcm_u16le", 1764}},
    {"s16be", {AUDIO_CODEC_PCM_S16BE, nullptr, 44100, 1, 705600, "pcm_s16be", 1764}},
    {"ima", {AUDIO_CODEC_ADPCM_IMA_WAV, "mux_ima.wav", 44100, 1, 176400, "adpcm_ima_wav"}},
};

const std::map<std::string, Video> kVideos = {
    {"h264", {VIDEO_CODEC_H264, "mux_h264.264", 320, 240, "h264"}},
    {"h265", {VIDEO_CODEC_H265, "mux_h265.265", 320, 240, "hevc"}},
    {"mpeg4", {VIDEO_CODEC_MPEG4, "mux_mpeg4.avi", 320, 240, "mpeg4"}},
    {"mjpeg", {VIDEO_CODEC_MJPEG, "mux_mjpeg.avi", 320, 240, "mjpeg"}},
    {"flv1", {VIDEO_CODEC_FLV, "mux_flv1.flv", 320, 240, "flv1"}},
    {"h263", {VIDEO_CODEC_H263, "mux_h263.avi", 352, 288, "h263"}},
};

const std::map<std::string, int> kFormats = {
    {"flv", MUXER_FORMAT_FLV},  {"mp4", MUXER_FORMAT_MP4}, {"webm", MUXER_FORMAT_WEBM}, {"3gp", MUXER_FORMAT_3GP},
    {"3g2", MUXER_FORMAT_3GP2}, {"avi", MUXER_FORMAT_AVI}, {"ts", MUXER_FORMAT_MPEGTS},
};

void PrintTo(const Combination& combination, std::ostream* out) {
    *out << combination.format << " of " << combination.video << " and " << combination.sound;
}

std::string NameOf(const testing::TestParamInfo<Combination>& info) {
    return info.param.format + "_" + info.param.video + "_" + info.param.sound;
}

std::vector<Combination> Combine(const std::string& format, const std::vector<std::string>& videos,
                                 const std::vector<std::string>& sounds) {
    std::vector<Combination> all;
    for (const std::string& video : videos) {
        for (const std::string& sound : sounds) {
            all.push_back({format, video, sound});
        }
    }
    return all;
}

std::vector<Combination> Joined(std::initializer_list<std::vector<Combination>> lists) {
    std::vector<Combination> all;
    for (const auto& list : lists) {
        all.insert(all.end(), list.begin(), list.end());
    }
    return all;
}

MUXER_PARAM ParamFor(const Combination& combination) {
    const Video& video = kVideos.at(combination.video);
    const Sound& sound = kSounds.at(combination.sound);
    return {video.id, sound.id, video.width, video.height, sound.sampleRate, sound.channels, sound.bitRate, 4};
}

namespace {

// Four seconds in blocks of 20 ms. A muxer does not look into them; AMR's first byte tells the frame's length.
std::vector<Block> MadeBlocks(const Sound& sound) {
    std::vector<Block> blocks(200, Block{std::vector<unsigned char>(sound.blockBytes, 0x55), true});
    for (Block& block : blocks) {
        block.bytes[0] = sound.blockHead;
    }
    return blocks;
}

std::vector<Block> BlocksOf(const Sound& sound) {
    return sound.clip != nullptr ? ReadBlocks(Clip(sound.clip)) : MadeBlocks(sound);
}

}  // namespace

Material::Material(const Combination& combination)
    : pictures(ReadBlocks(Clip(kVideos.at(combination.video).clip))), blocks(BlocksOf(kSounds.at(combination.sound))) {}

long long Material::BlockTime(std::size_t index) const {
    return static_cast<long long>(index) * 4000 / static_cast<long long>(blocks.size());
}

long long Material::SoundBytes() const {
    return std::accumulate(blocks.begin(), blocks.end(), 0LL, [](long long sum, const Block& block) {
        return sum + static_cast<long long>(block.bytes.size());
    });
}
