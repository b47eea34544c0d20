#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <cstring>

#include "codrelay/utils/strings.h"
#include "support/byte_class.h"

namespace {

/// The length that the first byte of a multi-byte sequence announces; 0 for a byte that starts none.
std::size_t SequenceLength(unsigned char lead) {
    if (lead < 0xC0 || lead > 0xFD) {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : lead < 0xFC ? 5 : 6;
}

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

template <typename Convert>
std::string Converted(const std::string& text, Convert convert) {
    std::string result(text.size(), '\0');
    std::transform(text.begin(), text.end(), result.begin(), [&](char c) { return static_cast<char>(convert(c)); });
    return result;
}

}  // namespace

namespace utils {

bool CheckUtf8String(const char* text, unsigned long* badOffset) {
    const char* const end = text + std::strlen(text);
    for (const char* position = text; position != end;) {
        const std::size_t length = SequenceLength(static_cast<unsigned char>(*position));
        const bool fits = length != 0 && length <= static_cast<std::size_t>(end - position);
        if (!fits || !std::all_of(position + 1, position + length, IsContinuation)) {
            if (badOffset != nullptr) {
                *badOffset = static_cast<unsigned long>(position - text);
            }
            return false;
        }
        position += length;
    }
    return true;
}

std::string ToLower(const std::string& text) {
    return Converted(text, byte_class::Lower);
}

std::string ToUpper(const std::string& text) {
    return Converted(text, byte_class::Upper);
}

bool LessIgnoreCase(const std::string& a, const std::string& b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char left, char right) {
        return byte_class::Lower(left) < byte_class::Lower(right);
    });
}

bool SameIgnoreCase(const boost::string_view& a, const boost::string_view& b) {
    return boost::algorithm::iequals(a, b);
}

bool IsHexString(const std::string& text) {
    return std::all_of(text.begin(), text.end(), byte_class::IsHexDigit);
}

}  // namespace utils
