#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "library_session.h"
#include "packet_source.h"
#include "picture_decoder.h"

/// What every command that decodes takes: the file, and what may be said about its video.
struct VideoInputOptions {
    std::string file;
    std::optional<PictureSize> frameSize;
    std::string logLevel;
};

/// Adds `--log LEVEL`.
void AddLogOption(CLI::App& command, std::string& logLevel);
/// Adds an option that takes a size such as 176x144.
void AddSizeOption(CLI::App& command, const std::string& name, std::optional<PictureSize>& size,
                   const std::string& help);
/// `fileName` is how the help calls the file.
void AddVideoInputOptions(CLI::App& command, VideoInputOptions& options, const std::string& fileName = "FILE");

/// The first video stream of a file, and the size of its pictures.
struct VideoInput {
    StreamInfo stream;
    PictureSize size;
};

/// Finds it; a file without video, or video that gives no picture, is a `Failure`.
VideoInput FindVideoInput(LibrarySession& session, const VideoInputOptions& options);

/// What to say of video that gave no picture at all.
std::string NoPictureText(int codecId);
