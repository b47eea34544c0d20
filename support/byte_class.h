#pragma once

#include <cctype>

/// The C library's character classes for bytes of any value: isspace and its kin know no negative char.
namespace byte_class {

inline bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}
inline bool IsHexDigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}
inline unsigned char Lower(char c) {
    return static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(c)));
}
inline unsigned char Upper(char c) {
    return static_cast<unsigned char>(std::toupper(static_cast<unsigned char>(c)));
}

}  // namespace byte_class
