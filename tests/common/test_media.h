#pragma once

#include <optional>
#include <string>
#include <vector>

/// The path of a clip that media/make_media.sh makes. REQUIRES: the script makes one of that name; throws otherwise.
std::string Clip(const std::string& name);

/// The path of a real file, such as "ts/sample_h264.ts", or nothing where those files are not at hand: the test then
/// skips. The folder is CODRELAY_MEDIA_DIR, from the environment or as configured.
std::optional<std::string> RealFile(const std::string& name);

/// The bytes of a file. Throws where it cannot be read.
std::vector<unsigned char> ReadFile(const std::string& path);
