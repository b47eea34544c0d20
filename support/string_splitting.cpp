#include <algorithm>
#include <bitset>
#include <iterator>

#include "codrelay/utils/strings.h"
#include "support/byte_class.h"

namespace {

std::bitset<256> SetOf(const std::string& characters) {
    std::bitset<256> set;
    for (const char c : characters) {
        set.set(static_cast<unsigned char>(c));
    }
    return set;
}

/// Where the first character of `delims` that occurs in `text` at all stands; npos if none does.
std::size_t FindCut(const std::string& text, const std::string& delims) {
    for (const char delim : delims) {
        const std::size_t cut = text.find(delim);
        if (cut != std::string::npos) {
            return cut;
        }
    }
    return std::string::npos;
}

void Store(std::string part, bool trim, std::string* out) {
    if (out != nullptr) {
        *out = trim ? utils::TrimString(part) : std::move(part);
    }
}

}  // namespace

namespace utils {

void SplitString(const std::string& text, const std::string& delims, bool keepEmpty, std::vector<std::string>* out) {
    SplitString(text.begin(), text.end(), delims, keepEmpty, out);
}

void SplitString(std::string::const_iterator begin, std::string::const_iterator end, const std::string& delims,
                 bool keepEmpty, std::vector<std::string>* out) {
    const std::bitset<256> separators = SetOf(delims);
    std::vector<std::string> tokens;
    const auto pass = [&](std::string::const_iterator tokenEnd) {
        if (keepEmpty || begin != tokenEnd) {
            tokens.emplace_back(begin, tokenEnd);
        }
    };
    for (auto position = begin; position != end; ++position) {
        if (separators[static_cast<unsigned char>(*position)]) {
            pass(position);
            begin = position + 1;
        }
    }
    pass(end);
    out->swap(tokens);
}

char SplitString(const std::string& text, const std::string& delims, bool trim, std::string* first,
                 std::string* second) {
    const std::size_t cut = FindCut(text, delims);
    const bool found = cut != std::string::npos;
    const char delim = found ? text[cut] : '\0';
    // Both parts are taken before either is stored: `text` may be one of the outputs.
    std::string before = text.substr(0, cut);
    std::string behind = found ? text.substr(cut + 1) : std::string();
    Store(std::move(before), trim, first);
    Store(std::move(behind), trim, second);
    return delim;
}

std::string TrimString(const std::string& text) {
    const auto first = std::find_if_not(text.begin(), text.end(), byte_class::IsSpace);
    const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), byte_class::IsSpace).base();
    return {first, last};
}

std::string TrimLeading(const std::string& text, char c) {
    return text.substr(std::min(text.find_first_not_of(c), text.size()));
}

std::string TrimTrailing(const std::string& text, char c) {
    // npos, where nothing remains, is one below 0.
    return text.substr(0, text.find_last_not_of(c) + 1);
}

std::string TrimBothEnds(const std::string& text, char c) {
    return TrimLeading(TrimTrailing(text, c), c);
}

}  // namespace utils
