#include <algorithm>
#include <boost/date_time/posix_time/conversion.hpp>
#include <boost/date_time/posix_time/posix_time_io.hpp>
#include <cstdio>
#include <limits>
#include <locale>
#include <sstream>

#include "codrelay/utils/strings.h"
#include "codrelay/utils/time.h"

namespace {

namespace posix_time = boost::posix_time;

/// The parts of a time of day, in the order in which they are written.
struct ClockPart {
    int limit;
    int factor;
};
constexpr ClockPart kClockParts[] = {{24, 3600}, {60, 60}, {60, 1}};

struct PeriodUnit {
    const char* name;
    long long milliseconds;
};
constexpr PeriodUnit kPeriodUnits[] = {{"s", 1000}, {"m", 60000}, {"h", 3600000}, {"d", 86400000}};

/// Arithmetic that wraps round: fields and numbers are not checked, and need not fit.
int WrappingDifference(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

long long WrappingProduct(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) * static_cast<unsigned long long>(b));
}

bool IsAlphabetic(char c) {
    const bool ascii = static_cast<unsigned char>(c) <= 127;
    return ascii && std::use_facet<std::ctype<char>>(std::locale()).is(std::ctype_base::alpha, c);
}

posix_time::ptime ReadTime(const std::string& text, const std::string& format) {
    std::istringstream stream(text);
    stream.imbue(std::locale(stream.getloc(), new posix_time::time_input_facet(format)));
    posix_time::ptime time;
    stream >> time;
    return time;
}

}  // namespace

namespace utils {

bool ParseTimeString(const std::string& text, const std::string& delims, int* seconds) {
    if (text.empty()) {
        return false;
    }
    std::vector<std::string> tokens;
    SplitString(text, delims, true, &tokens);
    int sum = 0;
    const std::size_t count = std::min(tokens.size(), std::size(kClockParts));
    for (std::size_t i = 0; i < count; ++i) {
        const std::string& token = tokens[i];
        int value = 0;
        const bool parsed = StringToInt(token.data(), token.data() + token.size(), &value, false, nullptr);
        if (!parsed || value < 0 || value >= kClockParts[i].limit) {
            return false;
        }
        sum += value * kClockParts[i].factor;
    }
    *seconds = sum;
    return true;
}

bool ParseTimeString(const std::string& text, int* seconds) {
    return ParseTimeString(text, ":", seconds);
}

bool ParseTimezoneString(const std::string& text, int* seconds) {
    std::string offset;
    const char sign = SplitString(text, "+-", false, nullptr, &offset);
    int value = 0;
    if (sign == '\0' || !ParseTimeString(offset, &value)) {
        return false;
    }
    *seconds = sign == '-' ? -value : value;
    return true;
}

bool ParseIso8601Time(const std::string& text, tm* out) {
    return ParseCustomTimeString(text, "%4d-%2d-%2dT%2d:%2d:%2dZ", out);
}

bool ParseCustomTimeString(const std::string& text, const char* format, tm* out) {
    tm fields{};
    const int found = std::sscanf(ToUpper(text).c_str(), format, &fields.tm_year, &fields.tm_mon, &fields.tm_mday,
                                  &fields.tm_hour, &fields.tm_min, &fields.tm_sec);
    if (found != 6) {
        return false;
    }
    fields.tm_year = WrappingDifference(fields.tm_year, 1900);
    fields.tm_mon = WrappingDifference(fields.tm_mon, 1);
    *out = fields;
    return true;
}

long ParseTime(const std::string& text, const std::string& format, bool utc) {
    try {
        const posix_time::ptime time = ReadTime(text, format);
        if (time.is_not_a_date_time()) {
            return -1;
        }
        if (utc) {
            return posix_time::to_time_t(time);
        }
        tm fields = posix_time::to_tm(time);
        fields.tm_isdst = -1;
        return std::mktime(&fields);
    } catch (...) {
        // A text that names no real date tells so by an exception; to the caller it is a text like any other.
        return -1;
    }
}

long long ParseTimePeriod(const std::string& text, bool* failed) {
    *failed = true;
    const auto unitStart = std::find_if(text.begin(), text.end(), IsAlphabetic);
    const std::string number = TrimString({text.begin(), unitStart});
    const std::string name = ToLower(TrimString({unitStart, text.end()}));
    const auto unit = std::find_if(std::begin(kPeriodUnits), std::end(kPeriodUnits),
                                   [&](const PeriodUnit& candidate) { return name == candidate.name; });
    long long count = 0;
    if (unit == std::end(kPeriodUnits) ||
        !StringToInt(number.data(), number.data() + number.size(), &count, true, nullptr) ||
        count > std::numeric_limits<long long>::max() / unit->milliseconds) {
        return 0;
    }
    *failed = false;
    return WrappingProduct(count, unit->milliseconds);
}

boost::optional<long long> ParseTimePeriod(const std::string& text) {
    bool failed = true;
    const long long period = ParseTimePeriod(text, &failed);
    return boost::make_optional(!failed, period);
}

}  // namespace utils
