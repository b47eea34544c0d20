#include <algorithm>
#include <cstddef>
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

template <typename T>
struct Digits {
    T value;
    const char* stop;
    bool fits;
};

/// So many digits fit, whatever they are. Below an unsigned zero only zeros do.
template <unsigned Base, typename T, bool Negative>
constexpr std::ptrdiff_t SurelyFitting() {
    if (Negative && std::is_unsigned_v<T>) {
        return 0;
    }
    return Base == 10 ? std::numeric_limits<T>::digits10 : std::numeric_limits<T>::digits / 4;
}

/// Reads digits up to the first byte that is none, or that would take the number past the limit of its type. Negative
/// numbers are built downward from zero, so that the minimum is reached, and an unsigned type stays at zero.
template <unsigned Base, bool Negative, typename T>
Digits<T> ReadDigits(const char* position, const char* end) {
    T value = 0;
    const char* const unchecked = position + std::min(end - position, SurelyFitting<Base, T, Negative>());
    for (; position != end; ++position) {
        const unsigned digit = DigitValue<Base>(*position);
        if (digit >= Base) {
            break;
        }
        const T step = static_cast<T>(digit);
        if (position < unchecked) {
            value =
                static_cast<T>(Negative ? value * static_cast<T>(Base) - step : value * static_cast<T>(Base) + step);
            continue;
        }
        T next = 0;
        if (__builtin_mul_overflow(value, static_cast<T>(Base), &next) ||
            (Negative ? __builtin_sub_overflow(next, step, &next) : __builtin_add_overflow(next, step, &next))) {
            const T limit = Negative ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
            return {limit, position, false};
        }
        value = next;
    }
    return {value, position, true};
}

template <unsigned Base, typename T>
bool ParseNumber(const char* begin, const char* end, T* value, bool strict, const char** stop) {
    if (end == nullptr) {
        end = begin + std::strlen(begin);
    }
    const char* position = strict ? begin : std::find_if_not(begin, end, byte_class::IsSpace);
    const bool negative = position != end && *position == '-';
    if (negative || (position != end && *position == '+')) {
        ++position;
    }
    const auto digits = negative ? ReadDigits<Base, true, T>(position, end) : ReadDigits<Base, false, T>(position, end);
    *value = digits.value;
    if (stop != nullptr) {
        *stop = digits.stop;
    }
    return digits.fits && digits.stop != position && (!strict || digits.stop == end);
}

}  // namespace

namespace utils {

// NOLINTBEGIN(bugprone-macro-parentheses): T is a type
#define CODRELAY_NUMBER_PARSERS(T)                                                                      \
    bool StringToInt(const char* begin, const char* end, T* value, bool strict, const char** stop) {    \
        return ParseNumber<10>(begin, end, value, strict, stop);                                        \
    }                                                                                                   \
    bool HexStringToInt(const char* begin, const char* end, T* value, bool strict, const char** stop) { \
        return ParseNumber<16>(begin, end, value, strict, stop);                                        \
    }
// NOLINTEND(bugprone-macro-parentheses)

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
