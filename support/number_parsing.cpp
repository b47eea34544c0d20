#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

#include "codrelay/utils/strings.h"
#include "support/byte_class.h"

namespace {

/// The value of a digit; `Base` or more for any other byte.
template <unsigned Base>
unsigned DigitValue(char c) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (Base == 10 || byte - '0' < 10) {
        return byte - '0';
    }
    const unsigned letter = (byte | 0x20U) - 'a';
    return letter < Base - 10 ? letter + 10 : Base;
}

template <typename Magnitude>
struct Digits {
    Magnitude magnitude;
    const char* stop;
    bool fits;
};

/// Reads digits up to the first byte that is none, or that takes the number past `limit`.
template <unsigned Base, typename Magnitude>
Digits<Magnitude> ReadDigits(const char* position, const char* end, Magnitude limit) {
    Magnitude magnitude = 0;
    for (; position != end; ++position) {
        const unsigned digit = DigitValue<Base>(*position);
        if (digit >= Base) {
            break;
        }
        if (magnitude > limit / Base || (magnitude == limit / Base && digit > limit % Base)) {
            return {limit, position, false};
        }
        magnitude = magnitude * Base + digit;
    }
    return {magnitude, position, true};
}

/// Numbers are read as a magnitude, so that both signs, the minimum included, and the unsigned types, whose negative
/// side ends at 0, share one rule.
template <unsigned Base, typename T>
bool ParseNumber(const char* begin, const char* end, T* value, bool strict, const char** stop) {
    using Magnitude = std::common_type_t<unsigned, std::make_unsigned_t<T>>;
    constexpr Magnitude highest{std::numeric_limits<T>::max()};
    constexpr Magnitude lowest = std::is_signed_v<T> ? highest + 1 : 0;

    if (end == nullptr) {
        end = begin + std::strlen(begin);
    }
    const char* position = strict ? begin : std::find_if_not(begin, end, byte_class::IsSpace);
    const bool negative = position != end && *position == '-';
    if (negative || (position != end && *position == '+')) {
        ++position;
    }
    const auto digits = negative ? ReadDigits<Base>(position, end, lowest) : ReadDigits<Base>(position, end, highest);
    *value = static_cast<T>(negative ? 0 - digits.magnitude : digits.magnitude);
    if (stop != nullptr) {
        *stop = digits.stop;
    }
    return digits.fits && digits.stop != position && (!strict || digits.stop == end);
}

}  // namespace

namespace utils {

#define CODRELAY_NUMBER_PARSERS(T)                                                                      \
    bool StringToInt(const char* begin, const char* end, T* value, bool strict, const char** stop) {    \
        return ParseNumber<10>(begin, end, value, strict, stop);                                        \
    }                                                                                                   \
    bool HexStringToInt(const char* begin, const char* end, T* value, bool strict, const char** stop) { \
        return ParseNumber<16>(begin, end, value, strict, stop);                                        \
    }

CODRELAY_NUMBER_PARSERS(signed char)
CODRELAY_NUMBER_PARSERS(unsigned char)
CODRELAY_NUMBER_PARSERS(short)
CODRELAY_NUMBER_PARSERS(unsigned short)
CODRELAY_NUMBER_PARSERS(int)
CODRELAY_NUMBER_PARSERS(unsigned int)
CODRELAY_NUMBER_PARSERS(long)
CODRELAY_NUMBER_PARSERS(unsigned long)
CODRELAY_NUMBER_PARSERS(long long)
CODRELAY_NUMBER_PARSERS(unsigned long long)

#undef CODRELAY_NUMBER_PARSERS

}  // namespace utils
