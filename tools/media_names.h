#pragma once

#include <string>
#include <vector>

/// The library's words for its ids, "unknown" for an id that it has no word for.
std::string VideoCodecName(int id);
std::string AudioCodecName(int id);

/// The ids of sound that it has words for.
std::vector<int> AudioCodecs();

/// The colour spaces that --csp takes.
std::vector<std::string> ColorSpaceNames();
/// REQUIRES: `name` is one of ColorSpaceNames().
unsigned int ColorSpaceOfName(const std::string& name);
