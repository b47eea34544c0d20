// The two headers come first and alone: they stand by themselves, and cost a host no stream, date or format machinery.
// clang-format off
#include "codrelay/utils/strings.h"
#include "codrelay/utils/time.h"

#if defined(_GLIBCXX_IOSTREAM) || defined(_GLIBCXX_SSTREAM) || defined(BOOST_FORMAT_HPP) || \
    defined(POSIX_TIME_PTIME_HPP___) || defined(BOOST_STRING_PREDICATE_HPP)
#error "a public header drags in what a host should not pay for"
#endif
// clang-format on

#include <gtest/gtest.h>

namespace {

using boost::optional;
using Text = const std::string&;
using View = boost::basic_string_view<char>;

/// True if the shared library has the function, with exactly these types.
template <typename Function>
bool Has(Function* function) {
    Function* volatile bound = function;
    return bound != nullptr;
}

template <typename T>
class UtilityHeadersOf : public testing::Test {};

using Numbers = testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                               unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(UtilityHeadersOf, Numbers);

TYPED_TEST(UtilityHeadersOf, HoldBothNumberParsers) {
    EXPECT_TRUE(Has<bool(const char*, const char*, TypeParam*, bool, const char**)>(utils::StringToInt));
    EXPECT_TRUE(Has<bool(const char*, const char*, TypeParam*, bool, const char**)>(utils::HexStringToInt));
}

TEST(UtilityHeaders, KeepTheTypesOfTheTextFunctions) {
    using Iterator = std::string::const_iterator;
    using Tokens = std::vector<std::string>*;
    using Pair = std::pair<const char*, const char*>;
    EXPECT_TRUE(Has<void(Text, Text, bool, Tokens)>(utils::SplitString));
    EXPECT_TRUE(Has<void(Iterator, Iterator, Text, bool, Tokens)>(utils::SplitString));
    EXPECT_TRUE(Has<char(Text, Text, bool, std::string*, std::string*)>(utils::SplitString));
    EXPECT_TRUE(Has<std::string(Text)>(utils::TrimString));
    EXPECT_TRUE(Has<std::string(Text, char)>(utils::TrimLeading));
    EXPECT_TRUE(Has<std::string(Text, char)>(utils::TrimTrailing));
    EXPECT_TRUE(Has<std::string(Text, char)>(utils::TrimBothEnds));
    EXPECT_TRUE(Has<const char*(const char*, const char*, const char*)>(utils::FindStr));
    EXPECT_TRUE(Has<const char*(const char*, const char*, const char*)>(utils::FindStrIgnoreCase));
    EXPECT_TRUE(Has<Pair(const char*, const char*, const char*, const char*, bool)>(utils::ExtractMessage));
    EXPECT_TRUE(Has<bool(const char*, unsigned long*)>(utils::CheckUtf8String));
    EXPECT_TRUE(Has<std::string(Text)>(utils::ToLower));
    EXPECT_TRUE(Has<std::string(Text)>(utils::ToUpper));
    EXPECT_TRUE(Has<bool(Text, Text)>(utils::LessIgnoreCase));
    EXPECT_TRUE(Has<bool(const View&, const View&)>(utils::SameIgnoreCase));
    EXPECT_TRUE(Has<bool(Text)>(utils::IsHexString));
    EXPECT_TRUE(Has<std::string(Text, Text, const unsigned long&)>(utils::GetIniField));
    EXPECT_TRUE(Has<View(const View&, const View&, optional<int>, optional<int>)>(utils::GetSegmentSeq));
    EXPECT_TRUE(Has<View(const View&, const View&, optional<int>)>(utils::GetSegment));
}

TEST(UtilityHeaders, KeepTheShapeOfTheSegmentIterator) {
    using Iterator = utils::SegmentIterator;
    EXPECT_TRUE((std::is_constructible_v<Iterator, const View&, const View&>));
    EXPECT_TRUE((std::is_same_v<decltype(&Iterator::HasNext), bool (Iterator::*)() const>));
    EXPECT_TRUE((std::is_same_v<decltype(&Iterator::Next), View (Iterator::*)()>));
    EXPECT_EQ(sizeof(Iterator), 2 * sizeof(View) + 8);
}

TEST(UtilityHeaders, KeepTheTypesOfTheTimeFunctions) {
    EXPECT_TRUE(Has<bool(long, tm*)>(utils::LocalTime));
    EXPECT_TRUE(Has<bool(long, tm*)>(utils::GmTime));
    EXPECT_TRUE(Has<long()>(utils::TimeZoneShift));
    EXPECT_TRUE(Has<long(tm*, bool)>(utils::TmToTimeT));
    EXPECT_TRUE(Has<std::string(const tm&, const char*, unsigned long)>(utils::TmToStr));
    EXPECT_TRUE(Has<std::string(const tm&)>(utils::TmToStr));
    EXPECT_TRUE(Has<std::string(const long&, const char*)>(utils::TimeToStr));
    EXPECT_TRUE(Has<std::string(const long&, const char*)>(utils::TimeToStrUtc));
    EXPECT_TRUE(Has<std::string(const long&, bool)>(utils::TimeToStr8601));
    EXPECT_TRUE(Has<std::string(const long&, bool)>(utils::TimeToStr8601Utc));
    EXPECT_TRUE(Has<std::string(long long, bool)>(utils::TimeMsToStr8601Utc));
    EXPECT_TRUE(Has<bool(Text, Text, int*)>(utils::ParseTimeString));
    EXPECT_TRUE(Has<bool(Text, int*)>(utils::ParseTimeString));
    EXPECT_TRUE(Has<bool(Text, int*)>(utils::ParseTimezoneString));
    EXPECT_TRUE(Has<bool(Text, tm*)>(utils::ParseIso8601Time));
    EXPECT_TRUE(Has<bool(Text, const char*, tm*)>(utils::ParseCustomTimeString));
    EXPECT_TRUE(Has<long(Text, Text, bool)>(utils::ParseTime));
    EXPECT_TRUE(Has<long long(Text, bool*)>(utils::ParseTimePeriod));
    EXPECT_TRUE(Has<optional<long long>(Text)>(utils::ParseTimePeriod));
}

// The examples speak plain C++; here an assertion that fails is a test that fails.
using namespace utils;
#undef assert
#define assert(condition) EXPECT_TRUE(condition)
#include "utility_examples.inc"

}  // namespace
