#include "video_input.h"

#include <cstdio>

#include "failure.h"
#include "media_names.h"
#include "picture_size.h"

namespace {

PictureSize ParseSize(const std::string& option, const std::string& text) {
    PictureSize size;
    int end = 0;
    const int found = std::sscanf(text.c_str(), "%5u%*1[x]%5u%n", &size.width, &size.height, &end);
    const bool whole = found == 2 && static_cast<std::size_t>(end) == text.size();
    const auto fits = [](unsigned int side) { return side > 0 && side <= 65535; };
    if (!whole || !fits(size.width) || !fits(size.height)) {
        throw CLI::ValidationError(option, "'" + text + "' is not a size such as 176x144");
    }
    return size;
}

StreamInfo FirstVideoStream(const PacketSource& source, const std::string& file) {
    const auto video = source.First(StreamType::Video);
    if (!video) {
        const bool hasSound = source.First(StreamType::Audio).has_value();
        throw Failure(file + ": has no video stream" + (hasSound ? "; codrelay audio decodes its sound" : ""));
    }
    if (!CanDecode(video->codecId)) {
        throw Failure(file + ": its video is in a codec that the library does not decode");
    }
    return *video;
}

PictureSize FindSize(LibrarySession& session, PacketSource& source, const StreamInfo& stream, const std::string& file) {
    PictureSizeFinder finder(session, stream.codecId);
    const auto feed = [&](const DEMUXER_PACKET& packet) {
        if (packet.streamIndex == stream.index) {
            finder.Feed(packet);
        }
    };
    while (!finder.IsDone() && source.ReadNext(feed)) {
    }
    if (!finder.HasPicture()) {
        throw Failure(file + ": " + NoPictureText(stream.codecId));
    }
    if (!finder.Size()) {
        throw Failure(file + ": its video does not carry the picture size; give it with --frame-size WxH");
    }
    return *finder.Size();
}

}  // namespace

std::string NoPictureText(int codecId) {
    const std::string text = "its " + VideoCodecName(codecId) + " video gives no picture";
    return codecId != VIDEO_CODEC_H265 ? text : text + "; MP4 keeps H.265's parameters out of the packets";
}

void AddLogOption(CLI::App& command, std::string& logLevel) {
    command.add_option("--log", logLevel, "Show the library's and FFmpeg's own messages from this level up")
        ->check(CLI::IsMember(LibrarySession::LogLevels()))
        ->option_text("LEVEL");
}

void AddSizeOption(CLI::App& command, const std::string& name, std::optional<PictureSize>& size,
                   const std::string& help) {
    command
        .add_option_function<std::string>(
            name, [name, &size](const std::string& text) { size = ParseSize(name, text); }, help)
        ->option_text("WxH");
}

void AddVideoInputOptions(CLI::App& command, VideoInputOptions& options, const std::string& fileName) {
    command.add_option(fileName, options.file, "The media file")->required();
    AddSizeOption(command, "--frame-size", options.frameSize, "The picture size, for a stream that does not carry it");
    AddLogOption(command, options.logLevel);
}

VideoInput FindVideoInput(LibrarySession& session, const VideoInputOptions& options) {
    PacketSource source(session, options.file);
    const StreamInfo stream = FirstVideoStream(source, options.file);
    return {stream, options.frameSize ? *options.frameSize : FindSize(session, source, stream, options.file)};
}
