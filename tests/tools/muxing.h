#pragma once

#include <string>
#include <vector>

#include "command.h"

/// Runs `codrelay` with arguments that make it mux. What a muxer leaves behind by design is named to the leak sanitizer
/// for these runs alone.
ProcessResult RunMuxing(const std::string& arguments);
/// Words to stand before the command where a test runs it by a shell script of its own.
std::string MuxingEnvironment();

/// Makes a file with the ffmpeg command. Throws where that fails.
void MakeByPeer(const std::string& arguments, const std::string& path);

/// A file as ffprobe and ffmpeg see it; a stream that is not there leaves its fields empty.
struct PeerFilm {
    std::string videoCodec;
    std::string size;
    int pictures = 0;
    std::string audioCodec;
    int soundPackets = 0;
    /// What ffmpeg has to say while it decodes all of it.
    std::string complaints;
};

PeerFilm ReadByPeer(const std::string& path);

/// The times of the packets of a stream ("v" or "a") in milliseconds, in their order.
std::vector<double> PacketTimes(const std::string& path, const std::string& stream);

/// How many milliseconds the nearest beep comes after each flash of a clip that is dark and silent between.
std::vector<double> BeepsAfterFlashes(const std::string& path);
