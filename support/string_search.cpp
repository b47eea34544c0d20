#include <algorithm>
#include <cstring>

#include "codrelay/utils/strings.h"
#include "support/byte_class.h"

namespace utils {

const char* FindStr(const char* begin, const char* end, const char* what) {
    if (end == nullptr) {
        end = begin + std::strlen(begin);
    }
    const std::size_t length = std::strlen(what);
    if (length == 0) {
        return begin;
    }
    const char last = what[length - 1];
    for (const char* at = begin; static_cast<std::size_t>(end - at) >= length; ++at) {
        at = static_cast<const char*>(std::memchr(at, *what, static_cast<std::size_t>(end - at) - length + 1));
        if (at == nullptr) {
            break;
        }
        // Most places fail by the last character, which costs less than a call.
        if (at[length - 1] == last && std::memcmp(at, what, length) == 0) {
            return at;
        }
    }
    return end;
}

const char* FindStrIgnoreCase(const char* begin, const char* end, const char* what) {
    if (end == nullptr) {
        end = begin + std::strlen(begin);
    }
    return std::search(begin, end, what, what + std::strlen(what),
                       [](char a, char b) { return byte_class::Lower(a) == byte_class::Lower(b); });
}

std::pair<const char*, const char*> ExtractMessage(const char* begin, const char* end, const char* open,
                                                   const char* close, bool caseSensitive) {
    if (end == nullptr) {
        end = begin + std::strlen(begin);
    }
    const std::pair<const char*, const char*> nothing{end, end};
    if (*open == '\0' || *close == '\0') {
        return nothing;
    }
    const auto find = caseSensitive ? FindStr : FindStrIgnoreCase;
    const char* first = find(begin, end, open);
    // From the start of `open` on: the two markers may overlap, and hosts rely on that.
    const char* last = find(first, end, close);
    return last == end ? nothing : std::make_pair(first, last + std::strlen(close));
}

std::string GetIniField(const std::string& text, const std::string& key, const unsigned long& start) {
    const std::size_t found = key.empty() ? std::string::npos : text.find(key, start);
    if (found == std::string::npos) {
        return {};
    }
    const std::size_t first = found + key.size();
    const std::size_t lineFeed = text.find('\n', first);
    const bool carriageReturn = lineFeed != std::string::npos && lineFeed > first && text[lineFeed - 1] == '\r';
    const std::size_t last = carriageReturn ? lineFeed - 1 : std::min(lineFeed, text.size());
    return text.substr(first, last - first);
}

}  // namespace utils
