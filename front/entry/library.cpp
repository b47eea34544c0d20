#include "codrelay/library.h"

#include <vector>

#include "codrelay/ffmpeg_layer.h"
#include "front/registry/ffmpeg_registry.h"
#include "front/registry/media_vocabulary.h"

namespace {

using EncoderList = std::vector<AVCodecID> (CMainFFmpegLib::*)() const;

std::vector<AVCodecID> ListUnderLock(EncoderList list) {
    CMainFFmpegLib* lib = GetMainFfmpegCodecLib();
    const CMutexLocker locker(lib, true);
    return (lib->*list)();
}

struct LevelWord {
    const char* word;
    int level;
};

constexpr LevelWord kLevelWords[] = {
    {"trace", AV_LOG_TRACE}, {"debug", AV_LOG_DEBUG},     {"verbose", AV_LOG_VERBOSE},
    {"info", AV_LOG_INFO},   {"warning", AV_LOG_WARNING}, {"error", AV_LOG_ERROR},
    {"fatal", AV_LOG_FATAL}, {"panic", AV_LOG_PANIC},     {"quiet", AV_LOG_QUIET},
};

}  // namespace

int Codrelay_Create(CodrelayCallback* /*callback*/) {
    InitFfmpegCodecLib();
    return 1;
}

void Codrelay_Destroy() {}

std::set<int> Codrelay_GetSupportedVideoEncoders() {
    return GetFFmpegSupportedVideoEncoders();
}

std::set<int> Codrelay_GetSupportedAudioEncoders() {
    return GetFFmpegSupportedAudioEncoders();
}

std::set<int> Codrelay_GetSupportedVideoHwAccel() {
    return {};
}

void Codrelay_SetFfmpegLogLevel(const std::string& level) {
    SetFfmpegLogLevel(level);
}

std::set<int> GetFFmpegSupportedVideoEncoders() {
    std::set<int> supported;
    for (const AVCodecID id : ListUnderLock(&CMainFFmpegLib::GetFfmpegSupportedVideoEncoders)) {
        supported.insert(VideoCodecFromAvCodecId(id));
    }
    supported.erase(VIDEO_CODEC_NONE);
    return supported;
}

std::set<int> GetFFmpegSupportedAudioEncoders() {
    std::set<int> supported;
    for (const AVCodecID id : ListUnderLock(&CMainFFmpegLib::GetFfmpegSupportedAudioEncoders)) {
        const std::vector<int> ids = AudioCodecsFromAvCodecId(id);
        supported.insert(ids.begin(), ids.end());
    }
    return supported;
}

void SetFfmpegLogLevel(const std::string& level) {
    for (const LevelWord& known : kLevelWords) {
        if (level == known.word) {
            av_log_set_level(known.level);
        }
    }
}
