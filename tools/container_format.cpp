#include "container_format.h"

#include <algorithm>
#include <filesystem>

#include "codrelay/media_ids.h"
#include "failure.h"
#include "media_names.h"

namespace {

// What every FFmpeg that we know both accepts and can read back in time: other codecs are refused, go in as unnamed
// bytes, or (AMR in AVI) come out slower than they went in.
const std::vector<ContainerFormat>& Formats() {
    static const std::vector<int> mobileVideo = {VIDEO_CODEC_H264, VIDEO_CODEC_MPEG4, VIDEO_CODEC_H263};
    static const std::vector<int> mobileAudio = {AUDIO_CODEC_AAC, AUDIO_CODEC_AMRNB, AUDIO_CODEC_AMRWB};
    static const std::vector<ContainerFormat> formats = {
        {"flv",
         MUXER_FORMAT_FLV,
         true,
         {VIDEO_CODEC_H264, VIDEO_CODEC_FLV},
         {AUDIO_CODEC_AAC, AUDIO_CODEC_MP3, AUDIO_CODEC_PCM_S16LE, AUDIO_CODEC_MULAW, AUDIO_CODEC_ALAW}},
        {"mp4",
         MUXER_FORMAT_MP4,
         false,
         {VIDEO_CODEC_H264, VIDEO_CODEC_H265, VIDEO_CODEC_MPEG4, VIDEO_CODEC_JPEG, VIDEO_CODEC_MJPEG},
         {AUDIO_CODEC_AAC, AUDIO_CODEC_MP3}},
        {"webm", MUXER_FORMAT_WEBM, false, {}, {}},
        {"3gp", MUXER_FORMAT_3GP, false, mobileVideo, mobileAudio},
        {"3g2", MUXER_FORMAT_3GP2, false, mobileVideo, mobileAudio},
        {"avi",
         MUXER_FORMAT_AVI,
         true,
         {VIDEO_CODEC_H264, VIDEO_CODEC_MPEG4, VIDEO_CODEC_H263, VIDEO_CODEC_FLV, VIDEO_CODEC_JPEG, VIDEO_CODEC_MJPEG},
         {AUDIO_CODEC_AAC, AUDIO_CODEC_MP3, AUDIO_CODEC_PCM_S16LE, AUDIO_CODEC_MULAW, AUDIO_CODEC_ALAW}},
        {"ts",
         MUXER_FORMAT_MPEGTS,
         true,
         {VIDEO_CODEC_H264, VIDEO_CODEC_H265, VIDEO_CODEC_MPEG4},
         {AUDIO_CODEC_AAC, AUDIO_CODEC_MP3}},
    };
    return formats;
}

std::vector<std::string> ContainerFormatNames() {
    std::vector<std::string> names;
    for (const ContainerFormat& format : Formats()) {
        names.emplace_back(format.name);
    }
    return names;
}

bool Holds(const std::vector<int>& codecs, int codec) {
    return std::find(codecs.begin(), codecs.end(), codec) != codecs.end();
}

/// Without the dot.
std::string SuffixOf(const std::string& path) {
    const std::string suffix = std::filesystem::path(path).extension().string();
    return suffix.empty() ? suffix : CLI::detail::to_lower(suffix.substr(1));
}

}  // namespace

void AddOutputOptions(CLI::App& command, std::string& out, std::string& format) {
    command.add_option("OUT", out, "The file to write; its suffix names the container")->required();
    command.add_option("--format", format, "The container, whatever the suffix")
        ->check(CLI::IsMember(ContainerFormatNames()))
        ->option_text("NAME");
}

const ContainerFormat& FindContainerFormat(const std::string& name, const std::string& path) {
    const std::string wanted = name.empty() ? SuffixOf(path) : name;
    const auto found = std::find_if(Formats().begin(), Formats().end(),
                                    [&wanted](const ContainerFormat& format) { return format.name == wanted; });
    if (found == Formats().end()) {
        throw Failure(path + ": its suffix names no container that can be written; name one with --format");
    }
    return *found;
}

void CheckCodecs(const ContainerFormat& format, int videoCodec, int audioCodec) {
    if (videoCodec != VIDEO_CODEC_NONE && !Holds(format.videoCodecs, videoCodec)) {
        throw Failure(std::string(format.name) + " does not take " + VideoCodecName(videoCodec) + " video");
    }
    if (audioCodec != -1 && !Holds(format.audioCodecs, audioCodec)) {
        throw Failure(std::string(format.name) + " does not take " + AudioCodecName(audioCodec) +
                      " sound; transcode --audio none leaves it out");
    }
}
