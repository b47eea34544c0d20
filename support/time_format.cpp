#include <boost/format.hpp>
#include <cstring>
#include <locale>
#include <stdexcept>

#include "codrelay/utils/time.h"

namespace {

constexpr unsigned long kMaxText = 65535;

const char* Format8601(bool extended) {
    return extended ? "%Y-%m-%dT%H:%M:%SZ" : "%Y%m%dT%H%M%SZ";
}

/// A breakdown that fails is formatted all the same, and so starts from zeros.
tm LocalFields(long t) {
    tm fields{};
    utils::LocalTime(t, &fields);
    return fields;
}

tm UtcFields(long t) {
    tm fields{};
    utils::GmTime(t, &fields);
    return fields;
}

}  // namespace

namespace utils {

std::string TmToStr(const tm& value, const char* format, unsigned long maxSize) {
    char small[64] = {};
    unsigned long size = 2 * std::strlen(format);
    if (size <= sizeof(small)) {
        if (const std::size_t length = std::strftime(small, sizeof(small) - 1, format, &value)) {
            return {small, length};
        }
        size = 2 * sizeof(small);
    }
    for (; size < maxSize; size *= 2) {
        std::string text(size, '\0');
        if (const std::size_t length = std::strftime(text.data(), size - 1, format, &value)) {
            text.resize(length);
            return text;
        }
    }
    throw std::runtime_error("TmToStr(): formatted result exceeds max buffer size: " + std::to_string(maxSize));
}

std::string TmToStr(const tm& value) {
    return TmToStr(value, "%Y/%m/%d %H:%M:%S", kMaxText);
}

std::string TimeToStr(const long& t, const char* format) {
    return TmToStr(LocalFields(t), format, kMaxText);
}

std::string TimeToStrUtc(const long& t, const char* format) {
    return TmToStr(UtcFields(t), format, kMaxText);
}

std::string TimeToStr8601(const long& t, bool extended) {
    return TimeToStr(t, Format8601(extended));
}

std::string TimeToStr8601Utc(const long& t, bool extended) {
    return TimeToStrUtc(t, Format8601(extended));
}

std::string TimeMsToStr8601Utc(long long ms, bool extended) {
    const long seconds = ms / 1000;
    const long long rest = ms - seconds * 1000;
    const std::string text = TimeToStrUtc(seconds, extended ? "%Y-%m-%dT%H:%M:%S" : "%Y%m%dT%H%M%S");
    // Whatever locale the host has set: this is a text for machines.
    boost::format form(extended ? "%1%.%2$03dZ" : "%1%%2$03dZ", std::locale::classic());
    return (form % text % rest).str();
}

}  // namespace utils
