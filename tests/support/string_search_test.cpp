#include <gmock/gmock.h>

#include "codrelay/utils/strings.h"
#include "exact_copy.h"
#include "random_text.h"

namespace {

TEST(FindStr, GivesTheFirstOccurrence) {
    const std::string text = "abcabc";
    const char* const begin = text.c_str();
    const char* const end = begin + text.size();
    EXPECT_EQ(utils::FindStr(begin, end, "bc"), begin + 1);
    EXPECT_EQ(utils::FindStr(begin + 2, end, "bc"), begin + 4);
    EXPECT_EQ(utils::FindStr(begin, nullptr, "ca"), begin + 2);
    EXPECT_EQ(utils::FindStr(begin, end, "abcabc"), begin);
}

TEST(FindStr, GivesTheEndOfTheRangeForATextThatDoesNotOccur) {
    const std::string text = "abcabc";
    const char* const begin = text.c_str();
    EXPECT_EQ(utils::FindStr(begin, begin + 3, "ca"), begin + 3);
    EXPECT_EQ(utils::FindStr(begin, begin + 2, "abc"), begin + 2);
    EXPECT_EQ(utils::FindStr(begin, nullptr, "B"), begin + 6);
    EXPECT_EQ(utils::FindStr(begin, begin, "a"), begin);
}

TEST(FindStr, FindsAnEmptyTextAtTheStart) {
    const std::string text = "abc";
    const char* const begin = text.c_str();
    EXPECT_EQ(utils::FindStr(begin, begin + 3, ""), begin);
    EXPECT_EQ(utils::FindStr(begin, begin, ""), begin);
    EXPECT_EQ(utils::FindStrIgnoreCase(begin, nullptr, ""), begin);
    EXPECT_EQ(utils::FindStrIgnoreCase(begin, begin, ""), begin);
}

TEST(FindStr, LooksBehindANulInsideAGivenRange) {
    const std::string text("a\0bc", 4);
    const char* const begin = text.data();
    EXPECT_EQ(utils::FindStr(begin, begin + 4, "bc"), begin + 2);
    EXPECT_EQ(utils::FindStrIgnoreCase(begin, begin + 4, "BC"), begin + 2);
    EXPECT_EQ(utils::FindStr(begin, nullptr, "bc"), begin + 1);
}

TEST(FindStrIgnoreCase, ComparesBothSidesInLowerCase) {
    const std::string text = "abCABc";
    const char* const begin = text.c_str();
    const char* const end = begin + text.size();
    EXPECT_EQ(utils::FindStrIgnoreCase(begin, end, "Bc"), begin + 1);
    EXPECT_EQ(utils::FindStrIgnoreCase(begin, nullptr, "cAb"), begin + 2);
    EXPECT_EQ(utils::FindStrIgnoreCase(begin, begin + 2, "ABC"), begin + 2);
    EXPECT_EQ(utils::FindStrIgnoreCase(begin, nullptr, "x"), end);
    EXPECT_EQ(utils::FindStrIgnoreCase(begin, nullptr, "\xC3"), end);
}

using Range = std::pair<std::ptrdiff_t, std::ptrdiff_t>;

/// Offsets of what is found; both are the text's length where nothing is.
Range Extract(const std::string& text, const char* open, const char* close, bool caseSensitive = true) {
    const ExactCopy copy(text);
    const auto found = utils::ExtractMessage(copy.begin(), copy.end(), open, close, caseSensitive);
    const auto terminated = utils::ExtractMessage(text.c_str(), nullptr, open, close, caseSensitive);
    EXPECT_EQ(terminated.first - text.c_str(), found.first - copy.begin());
    EXPECT_EQ(terminated.second - text.c_str(), found.second - copy.begin());
    return {found.first - copy.begin(), found.second - copy.begin()};
}

TEST(ExtractMessage, KeepsBothMarkers) {
    EXPECT_EQ(Extract("x<a>y<b>", "<", ">"), Range(1, 4));
    EXPECT_EQ(Extract("[[a]]", "[[", "]]"), Range(0, 5));
}

TEST(ExtractMessage, LooksForTheCloseFromTheStartOfTheOpen) {
    EXPECT_EQ(Extract("xaby", "ab", "b"), Range(1, 3));
    EXPECT_EQ(Extract("|a|", "|", "|"), Range(0, 1));
    EXPECT_EQ(Extract("xaby", "ab", "abx"), Range(4, 4));
    EXPECT_EQ(Extract(">x<a>", "<", ">"), Range(2, 5));
}

TEST(ExtractMessage, GivesTheEndTwiceWhereAMarkerIsMissingOrEmpty) {
    EXPECT_EQ(Extract("x<a>", "{", ">"), Range(4, 4));
    EXPECT_EQ(Extract("x<a>", "<", "}"), Range(4, 4));
    EXPECT_EQ(Extract(">x<a", "<", ">"), Range(4, 4));
    EXPECT_EQ(Extract("x<a>", "", ">"), Range(4, 4));
    EXPECT_EQ(Extract("x<a>", "<", ""), Range(4, 4));
    EXPECT_EQ(Extract("x", "xy", "x"), Range(1, 1));
    EXPECT_EQ(Extract("", "x", "x"), Range(0, 0));
}

TEST(ExtractMessage, ComparesInLowerCaseOnBothSidesUnlessToldNotTo) {
    EXPECT_EQ(Extract("x<A>y</a>", "<a>", "</A>", false), Range(1, 9));
    EXPECT_EQ(Extract("x<A>y</a>", "<a>", "</A>", true), Range(9, 9));
}

TEST(ExtractMessage, StaysInsideTheRange) {
    const std::string text = "<a>";
    const auto found = utils::ExtractMessage(text.data(), text.data() + 2, "<", ">", true);
    EXPECT_EQ(found.first, text.data() + 2);
    EXPECT_EQ(found.second, text.data() + 2);
}

TEST(GetIniField, GivesTheRestOfTheLineBehindTheKey) {
    EXPECT_EQ(utils::GetIniField("name=x\r\nother=y", "name=", 0), "x");
    EXPECT_EQ(utils::GetIniField("name=x\nother=y", "name=", 0), "x");
    EXPECT_EQ(utils::GetIniField("name=x\r\nother=y", "other=", 0), "y");
    EXPECT_EQ(utils::GetIniField("name=x\r\n\r\n", "name", 0), "=x");
    EXPECT_EQ(utils::GetIniField("name=\r\n", "name=", 0), "");
    EXPECT_EQ(utils::GetIniField("name=\n", "name=", 0), "");
    EXPECT_EQ(utils::GetIniField("name=", "name=", 0), "");
    EXPECT_EQ(utils::GetIniField("name=a value that goes on to the end of the text", "name=", 0),
              "a value that goes on to the end of the text");
}

TEST(GetIniField, FindsTheKeyAnywhere) {
    EXPECT_EQ(utils::GetIniField("filename=x\nname=y", "name=", 0), "x");
    EXPECT_EQ(utils::GetIniField("filename=x\nname=y", "name=", 5), "y");
    EXPECT_EQ(utils::GetIniField("filename=x\nname=y", "name=", 12), "");
}

TEST(GetIniField, FindsAKeyThatGoesOverALineEnd) {
    EXPECT_EQ(utils::GetIniField("name=x\n[b]\nname=y\nz", "[b]\nname=", 0), "y");
    EXPECT_EQ(utils::GetIniField("[b]\nname=y", "[b]\n", 0), "name=y");
}

TEST(GetIniField, LeavesACarriageReturnOutOnlyJustBeforeTheLineFeed) {
    EXPECT_EQ(utils::GetIniField("k=a\rb\r\r\n", "k=", 0), "a\rb\r");
    EXPECT_EQ(utils::GetIniField("k=a\r", "k=", 0), "a\r");
    EXPECT_EQ(utils::GetIniField("k=\r\nx", "k=\r", 0), "");
}

TEST(GetIniField, GivesNothingForNoKeyOrAStartBehindTheText) {
    EXPECT_EQ(utils::GetIniField("k=a", "", 0), "");
    EXPECT_EQ(utils::GetIniField("k=a", "x", 0), "");
    EXPECT_EQ(utils::GetIniField("k=a", "k=", 3), "");
    EXPECT_EQ(utils::GetIniField("k=a", "k=", 4), "");
    EXPECT_EQ(utils::GetIniField("k=a", "k=", ~0UL), "");
    EXPECT_EQ(utils::GetIniField("", "k", 0), "");
}

// --- beside a slow, obvious twin ---

std::size_t SlowFind(const std::string& text, const std::string& what, char (*fold)(char)) {
    for (std::size_t at = 0; at + what.size() <= text.size(); ++at) {
        std::size_t same = 0;
        while (same < what.size() && fold(text[at + same]) == fold(what[same])) {
            ++same;
        }
        if (same == what.size()) {
            return at;
        }
    }
    return text.size();
}

char AsItIs(char c) {
    return c;
}
char AsciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

TEST(FindStr, GivesWhatItsObviousTwinGives) {
    RandomText random;
    for (int i = 0; i < 500000; ++i) {
        const std::string text = random.Make("abAB\xC1\xE1", 16);
        const std::string what = random.Make("abAB\xC1\xE1", 4);
        const ExactCopy copy(text);
        const char* const found = utils::FindStr(copy.begin(), copy.end(), what.c_str());
        ASSERT_EQ(static_cast<std::size_t>(found - copy.begin()), SlowFind(text, what, AsItIs)) << text << ", " << what;
        const char* const folded = utils::FindStrIgnoreCase(copy.begin(), copy.end(), what.c_str());
        ASSERT_EQ(static_cast<std::size_t>(folded - copy.begin()), SlowFind(text, what, AsciiLower))
            << text << ", " << what;
    }
}

}  // namespace
