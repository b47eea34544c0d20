#include <gmock/gmock.h>

#include <charconv>
#include <iostream>
#include <limits>
#include <random>

#include "codrelay/utils/strings.h"
#include "exact_copy.h"

namespace {

constexpr bool kStrict = true;
constexpr bool kLenient = false;

/// What a parse tells; `used` is how many bytes lie before `stop`.
template <typename T>
struct Parsed {
    bool good;
    T value;
    std::ptrdiff_t used;

    bool operator==(const Parsed& other) const {
        return good == other.good && value == other.value && used == other.used;
    }
};

template <typename T>
void PrintTo(const Parsed<T>& parsed, std::ostream* out) {
    *out << (parsed.good ? "true" : "false") << ", value " << +parsed.value << ", " << parsed.used << " bytes used";
}

template <typename T>
bool Call(int base, const char* begin, const char* end, T* value, bool strict, const char** stop) {
    return base == 10 ? utils::StringToInt(begin, end, value, strict, stop)
                      : utils::HexStringToInt(begin, end, value, strict, stop);
}

/// Parses a range that ends where its memory ends. All ways to hand over the text must give the same.
template <typename T>
Parsed<T> Parse(int base, const std::string& text, bool strict) {
    const ExactCopy copy(text);
    const char* stop = nullptr;
    Parsed<T> result{false, T(99), 0};
    result.good = Call(base, copy.begin(), copy.end(), &result.value, strict, &stop);
    result.used = stop - copy.begin();

    T value = T(99);
    EXPECT_EQ(Call(base, copy.begin(), copy.end(), &value, strict, static_cast<const char**>(nullptr)), result.good);
    EXPECT_EQ(value, result.value);
    return result;
}

template <typename T>
Parsed<T> Dec(const std::string& text, bool strict = kStrict) {
    return Parse<T>(10, text, strict);
}

template <typename T>
Parsed<T> Hex(const std::string& text, bool strict = kStrict) {
    return Parse<T>(16, text, strict);
}

template <typename T>
using P = Parsed<T>;

TEST(StringToInt, IsExactAtTheLimitsOfInt) {
    EXPECT_EQ(Dec<int>("2147483647"), (P<int>{true, 2147483647, 10}));
    EXPECT_EQ(Dec<int>("2147483648"), (P<int>{false, 2147483647, 9}));
    EXPECT_EQ(Dec<int>("-2147483648"), (P<int>{true, -2147483647 - 1, 11}));
    EXPECT_EQ(Dec<int>("-2147483649"), (P<int>{false, -2147483647 - 1, 10}));
}

TEST(StringToInt, PointsAtTheDigitThatDoesNotFit) {
    const std::string text = "2147483648";
    int value = 0;
    const char* stop = nullptr;
    EXPECT_FALSE(utils::StringToInt(text.c_str(), nullptr, &value, kStrict, &stop));
    EXPECT_EQ(*stop, '8');
    EXPECT_EQ(stop, text.data() + 9);
}

TEST(StringToInt, StopsAtAnOverflowInTheLenientFormToo) {
    EXPECT_EQ(Dec<int>("99999999999 apples", kLenient), (P<int>{false, 2147483647, 9}));
    EXPECT_EQ(Dec<signed char>(" -1280", kLenient), (P<signed char>{false, -128, 5}));
}

TEST(HexStringToInt, IsExactAtTheLimitsOfInt) {
    EXPECT_EQ(Hex<int>("7fffffff"), (P<int>{true, 2147483647, 8}));
    EXPECT_EQ(Hex<int>("80000000"), (P<int>{false, 2147483647, 7}));
    EXPECT_EQ(Hex<int>("-80000000"), (P<int>{true, -2147483647 - 1, 9}));
    EXPECT_EQ(Hex<int>("-80000001"), (P<int>{false, -2147483647 - 1, 8}));
}

TEST(HexStringToInt, TakesDigitsOfBothCasesAndASign) {
    EXPECT_EQ(Hex<int>("aBcDeF"), (P<int>{true, 0xABCDEF, 6}));
    EXPECT_EQ(Hex<int>("0123456"), (P<int>{true, 0x123456, 7}));
    EXPECT_EQ(Hex<int>("789"), (P<int>{true, 0x789, 3}));
    EXPECT_EQ(Hex<int>("+1f"), (P<int>{true, 31, 3}));
    EXPECT_EQ(Hex<int>("-1F"), (P<int>{true, -31, 3}));
}

TEST(HexStringToInt, KnowsNoPrefix) {
    EXPECT_EQ(Hex<int>("0x1F", kLenient), (P<int>{true, 0, 1}));
    EXPECT_EQ(Hex<int>("0x1F", kStrict), (P<int>{false, 0, 1}));
}

TEST(StringToInt, IgnoresWhatStandsRoundTheNumberUnlessStrict) {
    EXPECT_EQ(Dec<int>("  12abc", kLenient), (P<int>{true, 12, 4}));
    EXPECT_EQ(Dec<int>("  12abc", kStrict), (P<int>{false, 0, 0}));
    EXPECT_EQ(Dec<int>("12abc", kLenient), (P<int>{true, 12, 2}));
    EXPECT_EQ(Dec<int>("12abc", kStrict), (P<int>{false, 12, 2}));
    EXPECT_EQ(Dec<int>("12 ", kStrict), (P<int>{false, 12, 2}));
    EXPECT_EQ(Dec<int>("\t\n\v\f\r 7", kLenient), (P<int>{true, 7, 7}));
}

TEST(StringToInt, RefusesATextWithoutDigits) {
    EXPECT_EQ(Dec<int>("", kStrict), (P<int>{false, 0, 0}));
    EXPECT_EQ(Dec<int>("", kLenient), (P<int>{false, 0, 0}));
    EXPECT_EQ(Dec<int>("   ", kLenient), (P<int>{false, 0, 3}));
    EXPECT_EQ(Dec<int>("   ", kStrict), (P<int>{false, 0, 0}));
    EXPECT_EQ(Dec<int>("abc", kLenient), (P<int>{false, 0, 0}));
}

TEST(StringToInt, StopsBehindASignWithoutDigits) {
    EXPECT_EQ(Dec<int>("-"), (P<int>{false, 0, 1}));
    EXPECT_EQ(Dec<int>("+"), (P<int>{false, 0, 1}));
    EXPECT_EQ(Dec<int>("  +x", kLenient), (P<int>{false, 0, 3}));
    EXPECT_EQ(Dec<int>("+-1"), (P<int>{false, 0, 1}));
    EXPECT_EQ(Dec<int>("- 1", kLenient), (P<int>{false, 0, 1}));
}

TEST(StringToInt, TakesANulForAnyOtherByteInsideAGivenRange) {
    EXPECT_EQ(Dec<int>(std::string("1\0002", 3), kLenient), (P<int>{true, 1, 1}));
}

TEST(StringToInt, RunsToTheTerminatorWithoutAnEnd) {
    int value = 0;
    const char* const text = " 12";
    const char* stop = nullptr;
    EXPECT_TRUE(utils::StringToInt(text, nullptr, &value, kLenient, &stop));
    EXPECT_EQ(value, 12);
    EXPECT_EQ(stop, text + 3);
    EXPECT_FALSE(utils::StringToInt("", nullptr, &value, kLenient, nullptr));
    EXPECT_EQ(value, 0);
}

TEST(StringToInt, SeesNothingBehindTheEndOfARangeInALargerText) {
    const std::string text = "12345";
    int value = 0;
    const char* stop = nullptr;
    EXPECT_TRUE(utils::StringToInt(text.data() + 1, text.data() + 3, &value, kStrict, &stop));
    EXPECT_EQ(value, 23);
    EXPECT_EQ(stop, text.data() + 3);
    EXPECT_FALSE(utils::StringToInt(text.data(), text.data(), &value, kLenient, &stop));
    EXPECT_EQ(stop, text.data());
    const std::string negative = "-1";
    EXPECT_FALSE(utils::StringToInt(negative.data(), negative.data(), &value, kLenient, &stop));
    EXPECT_EQ(stop, negative.data());
}

TEST(StringToInt, TakesBytesAbove127ForOrdinaryText) {
    for (int byte = 128; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(Dec<int>(text, kLenient), (P<int>{false, 0, 0})) << byte;
        EXPECT_EQ(Dec<int>("1" + text, kLenient), (P<int>{true, 1, 1})) << byte;
        EXPECT_EQ(Hex<int>("1" + text, kLenient), (P<int>{true, 1, 1})) << byte;
    }
}

TEST(HexStringToInt, TakesNoByteForADigitThatIsNone) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        const bool digit = std::string("0123456789abcdefABCDEF").find(text) != std::string::npos;
        EXPECT_EQ(Hex<int>(text).good, digit) << byte;
        EXPECT_EQ(Dec<int>(text).good, byte >= '0' && byte <= '9') << byte;
    }
}

// --- all ten types ---

template <typename T>
class NumberParsers : public testing::Test {};

using Types = testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, long, unsigned long,
                             long long, unsigned long long>;
TYPED_TEST_SUITE(NumberParsers, Types);

std::string InBase(int base, unsigned long long magnitude) {
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof(digits), magnitude, base).ptr};
}

/// The magnitude of the last number on one side of zero.
template <typename T>
unsigned long long Limit(bool negative) {
    const auto highest = static_cast<unsigned long long>(std::numeric_limits<T>::max());
    if (!negative) {
        return highest;
    }
    return std::is_signed_v<T> ? highest + 1 : 0;
}

/// `magnitude` plus one, as digits, also where no type holds it.
std::string PlusOne(int base, unsigned long long magnitude) {
    if (magnitude != std::numeric_limits<unsigned long long>::max()) {
        return InBase(base, magnitude + 1);
    }
    return base == 10 ? "18446744073709551616" : "10000000000000000";
}

/// The last number on the sign's side of zero, the one beyond it, and more text behind the last.
template <typename T>
void CheckLimit(int base, const std::string& sign, bool strict) {
    const bool negative = sign == "-";
    const T limit = negative ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
    const std::string last = sign + InBase(base, Limit<T>(negative));
    const std::string beyond = sign + PlusOne(base, Limit<T>(negative));
    const auto length = static_cast<std::ptrdiff_t>(last.size());
    EXPECT_EQ(Parse<T>(base, last, strict), (P<T>{true, limit, length})) << last;
    EXPECT_EQ(Parse<T>(base, last + "x", strict), (P<T>{!strict, limit, length})) << last;
    EXPECT_EQ(Parse<T>(base, last + "1", strict), (P<T>{false, limit, length})) << last;
    EXPECT_EQ(Parse<T>(base, beyond, strict), (P<T>{false, limit, static_cast<std::ptrdiff_t>(beyond.size()) - 1}))
        << beyond;
}

TYPED_TEST(NumberParsers, AreExactAtEveryLimitInBothBasesAndForms) {
    for (const int base : {10, 16}) {
        for (const char* const sign : {"", "+", "-"}) {
            CheckLimit<TypeParam>(base, sign, kStrict);
            CheckLimit<TypeParam>(base, sign, kLenient);
        }
    }
}

TYPED_TEST(NumberParsers, TakeAnyNumberOfLeadingZeros) {
    using T = TypeParam;
    const std::string zeros(40, '0');
    EXPECT_EQ(Dec<T>(zeros + "9"), (P<T>{true, 9, 41}));
    EXPECT_EQ(Hex<T>(zeros + "F"), (P<T>{true, 15, 41}));
    EXPECT_EQ(Dec<T>("-000"), (P<T>{true, 0, 4}));
    EXPECT_EQ(Hex<T>("-000"), (P<T>{true, 0, 4}));
}

TYPED_TEST(NumberParsers, WriteTheValueOnEveryFailure) {
    using T = TypeParam;
    for (const char* const text : {"", " ", "-", "+", "z", "--1"}) {
        EXPECT_EQ(Dec<T>(text, kLenient).value, 0) << text;
        EXPECT_EQ(Hex<T>(text, kLenient).value, 0) << text;
    }
}

TYPED_TEST(NumberParsers, RefuseANegativeNumberForAnUnsignedType) {
    using T = TypeParam;
    if (std::is_signed_v<T>) {
        EXPECT_EQ(Dec<T>("-001"), (P<T>{true, T(-1), 4}));
    } else {
        EXPECT_EQ(Dec<T>("-001"), (P<T>{false, 0, 3}));
        EXPECT_EQ(Hex<T>("-0f0"), (P<T>{false, 0, 2}));
        EXPECT_EQ(Dec<T>("-0x", kLenient), (P<T>{true, 0, 2}));
    }
}

// --- random texts beside std::from_chars ---

constexpr unsigned kSeed = 20240229;
constexpr int kTexts = 1000000;

/// Numbers of all lengths round the limits, in text of all sorts.
std::string RandomText(std::mt19937& random, int base, std::size_t longest) {
    static const std::string spaces = " \t\n\v\f\r";
    static const std::string others = "xgG-+ ./:@`\x80\xFF";
    static const std::string digits = "0123456789abcdefABCDEF";
    std::string text;
    while (random() % 8 == 0) {
        text += spaces[random() % spaces.size()];
    }
    if (random() % 2 == 0) {
        text += "+--"[random() % 3];
    }
    const std::size_t used = base == 10 ? 10 : digits.size();
    // Most numbers are about as long as the longest that fits.
    const std::size_t length =
        random() % 4 != 0 ? longest - random() % std::min<std::size_t>(longest, 3) : random() % 8;
    for (std::size_t i = 0; i < length; ++i) {
        text += i == 0 && random() % 4 == 0 ? '1' : digits[random() % used];
    }
    if (random() % 4 == 0) {
        text += others[random() % others.size()];
        text += digits[random() % used];
    }
    return text;
}

/// The same answer by way of std::from_chars, which knows no `+`, no space, no `-` before an unsigned number, and goes
/// on to the last digit of a number that does not fit.
template <typename T>
Parsed<T> Expected(int base, const std::string& text, bool strict) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* start = begin;
    while (!strict && start != end && std::string(" \t\n\v\f\r").find(*start) != std::string::npos) {
        ++start;
    }
    const bool negative = start != end && *start == '-';
    const char* const digits = start + (negative || (start != end && *start == '+') ? 1 : 0);
    // A sign goes to std::from_chars with its digits, and to an unsigned type not at all.
    const char* const first = negative && std::is_signed_v<T> ? start : digits;
    T value = 0;
    std::from_chars_result found{first, std::errc::invalid_argument};
    if (digits != end && *digits != '-') {
        found = std::from_chars(first, end, value, base);
    }
    if (found.ec == std::errc::invalid_argument) {
        return {false, 0, digits - begin};
    }
    if (found.ec == std::errc() && (!negative || std::is_signed_v<T> || value == 0)) {
        return {!strict || found.ptr == end, value, found.ptr - begin};
    }
    // Too large: the offending digit is the last that cannot be dropped.
    const char* stop = digits;
    while (std::from_chars(first, stop + 1, value, base).ec == std::errc() &&
           (!negative || std::is_signed_v<T> || value == 0)) {
        ++stop;
    }
    return {false, negative ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max(), stop - begin};
}

template <typename T>
void CompareRandomTexts(int base) {
    std::cout << "seed " << kSeed << "\n";
    std::mt19937 random(kSeed);
    const std::size_t longest = InBase(base, Limit<T>(false)).size() + 1;
    int good = 0;
    int limits = 0;
    for (int i = 0; i < kTexts; ++i) {
        const std::string text = RandomText(random, base, longest);
        const bool strict = random() % 2 == 0;
        const Parsed<T> expected = Expected<T>(base, text, strict);
        const ExactCopy copy(text);
        const char* stop = nullptr;
        Parsed<T> parsed{false, T(99), 0};
        parsed.good = Call(base, copy.begin(), copy.end(), &parsed.value, strict, &stop);
        parsed.used = stop - copy.begin();
        ASSERT_EQ(parsed, expected) << testing::PrintToString(text) << (strict ? ", strict" : ", lenient");
        good += parsed.good ? 1 : 0;
        limits += parsed.value == std::numeric_limits<T>::max() ? 1 : 0;
    }
    // The texts hold plenty of each kind, or the comparison says little.
    EXPECT_GT(good, kTexts / 8);
    EXPECT_LT(good, kTexts * 7 / 8);
    EXPECT_GT(limits, kTexts / 32);
}

TYPED_TEST(NumberParsers, ReadAMillionDecimalTextsAsTheStandardLibraryDoes) {
    CompareRandomTexts<TypeParam>(10);
}

TYPED_TEST(NumberParsers, ReadAMillionHexadecimalTextsAsTheStandardLibraryDoes) {
    CompareRandomTexts<TypeParam>(16);
}

}  // namespace
