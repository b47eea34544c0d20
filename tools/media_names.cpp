#include "media_names.h"

#include <map>

#include "codrelay/media_ids.h"

namespace {

const std::map<std::string, unsigned int>& ColorSpaces() {
    static const std::map<std::string, unsigned int> spaces = {
        {"yuv420p", CSP_YUV420P}, {"rgb24", CSP_RGB24}, {"bgr24", CSP_BGR24}, {"bgra", CSP_BGRA}};
    return spaces;
}

std::string NameIn(const std::map<int, const char*>& names, int id) {
    const auto found = names.find(id);
    return found != names.end() ? found->second : "unknown";
}

const std::map<int, const char*>& AudioNames() {
    static const std::map<int, const char*> names = {{AUDIO_CODEC_AMRNB, "amrnb"},
                                                     {AUDIO_CODEC_AMRWB, "amrwb"},
                                                     {AUDIO_CODEC_AAC, "aac"},
                                                     {AUDIO_CODEC_MP3, "mp3"},
                                                     {AUDIO_CODEC_G726_16, "g726_16"},
                                                     {AUDIO_CODEC_G726_24, "g726_24"},
                                                     {AUDIO_CODEC_G726_32, "g726_32"},
                                                     {AUDIO_CODEC_G726_40, "g726_40"},
                                                     {AUDIO_CODEC_OPUS, "opus"},
                                                     {AUDIO_CODEC_MULAW, "mulaw"},
                                                     {AUDIO_CODEC_ALAW, "alaw"},
                                                     {AUDIO_CODEC_PCM_U16LE, "pcm_u16le"},
                                                     {AUDIO_CODEC_PCM_S16LE, "pcm_s16le"},
                                                     {AUDIO_CODEC_ADPCM_IMA_WAV, "adpcm_ima_wav"},
                                                     {AUDIO_CODEC_PCM_S16BE, "pcm_s16be"}};
    return names;
}

}  // namespace

std::string VideoCodecName(int id) {
    return NameIn({{VIDEO_CODEC_FLV, "flv"},
                   {VIDEO_CODEC_MPEG4, "mpeg4"},
                   {VIDEO_CODEC_H263, "h263"},
                   {VIDEO_CODEC_JPEG, "jpeg"},
                   {VIDEO_CODEC_MJPEG, "mjpeg"},
                   {VIDEO_CODEC_H264, "h264"},
                   {VIDEO_CODEC_H265, "h265"}},
                  id);
}

std::string AudioCodecName(int id) {
    return NameIn(AudioNames(), id);
}

std::vector<int> AudioCodecs() {
    std::vector<int> ids;
    for (const auto& [id, name] : AudioNames()) {
        ids.push_back(id);
    }
    return ids;
}

std::vector<std::string> ColorSpaceNames() {
    std::vector<std::string> names;
    for (const auto& [name, id] : ColorSpaces()) {
        names.push_back(name);
    }
    return names;
}

unsigned int ColorSpaceOfName(const std::string& name) {
    return ColorSpaces().at(name);
}
