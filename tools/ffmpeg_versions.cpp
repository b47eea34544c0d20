#include "ffmpeg_versions.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace {

std::string VersionText(unsigned int version) {
    return std::to_string(AV_VERSION_MAJOR(version)) + "." + std::to_string(AV_VERSION_MINOR(version)) + "." +
           std::to_string(AV_VERSION_MICRO(version));
}

}  // namespace

std::vector<FfmpegVersion> FfmpegVersions() {
    return {
        {"libavutil", VersionText(LIBAVUTIL_VERSION_INT), VersionText(avutil_version())},
        {"libavcodec", VersionText(LIBAVCODEC_VERSION_INT), VersionText(avcodec_version())},
        {"libavformat", VersionText(LIBAVFORMAT_VERSION_INT), VersionText(avformat_version())},
        {"libavfilter", VersionText(LIBAVFILTER_VERSION_INT), VersionText(avfilter_version())},
        {"libswscale", VersionText(LIBSWSCALE_VERSION_INT), VersionText(swscale_version())},
        {"libswresample", VersionText(LIBSWRESAMPLE_VERSION_INT), VersionText(swresample_version())},
    };
}
