#pragma once

#include <string>
#include <vector>

/// One of FFmpeg's libraries: the version of the headers that we were built with, and of what is loaded now.
struct FfmpegVersion {
    const char* library;
    std::string compiled;
    std::string loaded;
};

std::vector<FfmpegVersion> FfmpegVersions();
