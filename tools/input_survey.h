#pragma once

#include <optional>
#include <string>

#include "packet_source.h"

/// What has to be known of a file before its packets can go into a container.
struct InputSurvey {
    /// The first stream of each sort.
    std::optional<StreamInfo> video;
    std::optional<StreamInfo> sound;
    /// Bytes of the first packet of sound.
    int soundBytes = 0;
    /// Pictures a second, rounded; 0 where the packets do not tell.
    unsigned int frameRate = 0;
};

/// Reads the start of the file.
InputSurvey SurveyInput(LibrarySession& session, const std::string& path);
