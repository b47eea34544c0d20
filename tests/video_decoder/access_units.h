#pragma once

#include <string>
#include <vector>

using AccessUnit = std::vector<unsigned char>;

/// The packets of a file's first video stream as libavformat cuts them. Throws where it cannot.
std::vector<AccessUnit> AccessUnits(const std::string& path);
