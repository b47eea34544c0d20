#pragma once

#include <cstring>
#include <string>

/// What an object keeps of the codec's name that it is given: at most 128 bytes, nothing of null.
inline std::string KeptCodecName(const char* name) {
    return name != nullptr ? std::string(name, strnlen(name, 128)) : std::string();
}
